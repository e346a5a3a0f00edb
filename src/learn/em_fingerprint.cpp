// What tells networks apart whose statistics must not be mixed up.
#include <string_view>

#include "learn/em_statistics.h"
#include "network/node_operations.h"

namespace tv {
namespace {

class Fingerprint {
 public:
  void add(uint64_t number) noexcept {
    hash_ = (hash_ ^ number) * 0x9e3779b97f4a7c15;
    hash_ ^= hash_ >> 29;
  }
  void add_text(std::string_view text) noexcept {
    add(text.size());
    for (const char c : text) add(static_cast<unsigned char>(c));
  }
  uint64_t value() const noexcept { return hash_; }

 private:
  uint64_t hash_ = 0xcbf29ce484222325;
};

}  // namespace

uint64_t fingerprint_of(const std::vector<Family>& families) {
  Fingerprint result;
  result.add(families.size());
  if (families.empty()) return result.value();
  std::vector<uint64_t> position(families.front().node->domain->node_count + 1);
  for (uint64_t f = 0; f < families.size(); ++f) position[families[f].node->number] = f;
  for (const Family& family : families) {
    Node& node = *family.node;
    const char* const name = name_of(node);
    if (!name) throw std::bad_alloc();
    result.add_text(name);
    for (const int trait :
         {static_cast<int>(node.category), static_cast<int>(node.kind), int{family.is_learned}})
      result.add(static_cast<uint64_t>(trait));
    result.add(node.number_of_states);
    for (const std::string& label : node.state_labels) result.add_text(label);
    result.add(family.table->nodes.size());
    for (const Node* member : family.table->nodes) result.add(position[member->number]);
  }
  return result.value();
}

tv_status_t check_network(const EmStatistics& statistics, uint64_t fingerprint) noexcept {
  if (statistics.network == fingerprint) return tv_status_none;
  return refuse(tv_status_usage,
                "the statistics are of another network: its nodes, states or parents differ, or what is "
                "learned");
}

}  // namespace tv

#include "network/node_addition.h"

#include <utility>

#include "api/memory.h"
#include "network/node_operations.h"

namespace tv {
namespace {

// Without what hangs on them, taking nodes out needs no memory.
void strip(Node& node) noexcept {
  node.table.reset();
  node.blank_table.reset();
  node.experience_table.reset();
  node.fading_table.reset();
  node.model.reset();
}

}  // namespace

NodeAddition::NodeAddition(Domain& domain) noexcept
    : domain_(domain),
      node_count_(domain.node_count),
      chain_potentials_(domain.chain_potentials.size()),
      table_count_(domain.table_count),
      compiled_(std::exchange(domain.compiled, false)),
      forest_(std::move(domain.forest)) {
  domain_.forest = {nullptr, nullptr};
  std::swap(initial_triangulation_, domain.initial_triangulation);
}

NodeAddition::~NodeAddition() {
  if (kept_) return;
  while (domain_.chain_potentials.size() > chain_potentials_) domain_.chain_potentials.pop_back();
  for (Node* node = domain_.nodes.first(); node && node->number > node_count_; node = node->next) {
    strip(*node);
    node->neighbors.clear();
  }
  while (domain_.node_count > node_count_) delete_node(*domain_.nodes.first());
  domain_.table_count = table_count_;
  domain_.forest = std::move(forest_);
  domain_.compiled = compiled_;
  std::swap(initial_triangulation_, domain_.initial_triangulation);
}

Node** NodeAddition::new_nodes() const noexcept {
  const size_t count = domain_.node_count - node_count_;
  Node** list = static_cast<Node**>(_tv_allocate(size_multiply(count + 1, sizeof(Node*))));
  if (!list) return nullptr;
  list[count] = nullptr;
  Node* node = domain_.nodes.first();
  for (size_t i = count; i-- > 0; node = node->next) list[i] = node;
  return list;
}

}  // namespace tv

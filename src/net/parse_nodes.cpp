// Adding the nodes of a file to a domain. A failure takes the new nodes out again; until it is clear that
// there is none, what compilation made of the domain is kept aside.

#include <utility>

#include "api/boundary.h"
#include "net/file_access.h"
#include "net/parser.h"

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

class Addition {
 public:
  explicit Addition(Domain& domain) noexcept
      : domain_(domain),
        node_count_(domain.node_count),
        chain_potentials_(domain.chain_potentials.size()),
        table_count_(domain.table_count),
        compiled_(std::exchange(domain.compiled, false)),
        forest_(std::move(domain.forest)) {
    domain_.forest = {nullptr, nullptr};
    std::swap(initial_triangulation_, domain.initial_triangulation);
  }
  ~Addition() {
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
  Addition(const Addition&) = delete;
  Addition& operator=(const Addition&) = delete;

  // The new nodes in file order; null when there is no memory for the list.
  Node** new_nodes() const noexcept {
    const size_t count = domain_.node_count - node_count_;
    Node** list = static_cast<Node**>(_tv_allocate(size_multiply(count + 1, sizeof(Node*))));
    if (!list) return nullptr;
    list[count] = nullptr;
    Node* node = domain_.nodes.first();
    for (size_t i = count; i-- > 0; node = node->next) list[i] = node;
    return list;
  }
  void keep() noexcept { kept_ = true; }

 private:
  Domain& domain_;
  size_t node_count_, chain_potentials_, table_count_;
  bool compiled_;
  decltype(Domain::forest) forest_;
  NodeList initial_triangulation_;
  bool kept_ = false;
};

Node** parse_nodes(Domain& domain, const char* file_name, MessageHandler handler) {
  Addition addition(domain);
  const auto read = [&](Lexer& lexer) { return NetParser(lexer, domain).parse_more_nodes(); };
  if (tv_status_t status = read_file(file_name, handler, read)) {
    store_status(status);
    return nullptr;
  }
  Node** const nodes = addition.new_nodes();
  if (nodes && nodes[0]) addition.keep();
  return nodes;
}

}  // namespace
}  // namespace tv

tv_node_t** tv_domain_parse_nodes(tv_domain_t* domain, const char* file_name, tv_error_handler_t handler,
                                  void* handler_data) {
  return tv::guarded(static_cast<tv_node_t**>(nullptr), [&]() -> tv_node_t** {
    if (!tv::check(domain && file_name)) return nullptr;
    return tv::parse_nodes(*domain, file_name, {handler, handler_data});
  });
}

// What would each single observation tell about one node?  Builds the wet-lawn network by hand, then observes
// every state of every other node in turn and shows how the belief in rain moves.
//
//   c++ -std=c++20 whatif.cpp $(pkg-config --cflags --libs tarvo) -o whatif
#include <tarvo.h>

#include <cstdio>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

struct DomainDelete {
  void operator()(tv_domain_t* domain) const { tv_domain_delete(domain); }
};
using Domain = std::unique_ptr<tv_domain_t, DomainDelete>;

void expect(tv_status_t status) {
  if (status != tv_status_none) throw std::runtime_error(tv_error_message());
}

// A node with the states yes and no. `probabilities` has the last parent varying faster than the first, and
// the states of the node itself fastest of all.
tv_node_t* add_node(const Domain& domain, const char* name, std::vector<tv_node_t*> parents,
                    std::initializer_list<tv_number_t> probabilities) {
  tv_node_t* node = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
  if (!node) expect(tv_error_code());
  expect(tv_node_set_name(node, name));
  expect(tv_node_set_number_of_states(node, 2));
  expect(tv_node_set_state_label(node, 0, "yes"));
  expect(tv_node_set_state_label(node, 1, "no"));
  // A new parent becomes the first node of the table, so the last of the list is added first.
  for (auto parent = parents.rbegin(); parent != parents.rend(); ++parent)
    expect(tv_node_add_parent(node, *parent));
  tv_number_t* data = tv_table_get_data(tv_node_get_table(node));
  for (tv_number_t probability : probabilities) *data++ = probability;
  expect(tv_node_touch_table(node));
  return node;
}

}  // namespace

int main() try {
  const Domain domain(tv_new_domain());
  tv_node_t* cloudy = add_node(domain, "cloudy", {}, {0.5f, 0.5f});
  tv_node_t* sprinkler = add_node(domain, "sprinkler", {cloudy}, {0.1f, 0.9f, 0.5f, 0.5f});
  tv_node_t* rain = add_node(domain, "rain", {cloudy}, {0.8f, 0.2f, 0.2f, 0.8f});
  tv_node_t* wet_lawn =
      add_node(domain, "wet_lawn", {sprinkler, rain}, {0.99f, 0.01f, 0.9f, 0.1f, 0.9f, 0.1f, 0, 1});
  expect(tv_domain_compile(domain.get()));

  std::printf("P(rain) = %.4f\n", static_cast<double>(tv_node_get_belief(rain, 0)));
  for (tv_node_t* node : {cloudy, sprinkler, wet_lawn}) {
    for (size_t state = 0; state < tv_node_get_number_of_states(node); ++state) {
      expect(tv_node_select_state(node, state));
      expect(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal));
      std::printf("P(rain | %s = %s) = %.4f\n", tv_node_get_name(node), tv_node_get_state_label(node, state),
                  static_cast<double>(tv_node_get_belief(rain, 0)));
    }
    expect(tv_node_retract_findings(node));
  }
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "whatif: %s\n", error.what());
  return 1;
}

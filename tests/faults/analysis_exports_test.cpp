// Analyses under failing allocation.

#include "faults/export_world.h"

namespace test {
namespace {

tv_node_t* function_of(World& w) { return tv_domain_get_node_by_name(net(w), "f"); }

void simulated(World& w) {
  with_function(w);
  tv_domain_simulate(net(w));
}
void simulated_decision(World& w) {
  decided(w);
  tv_domain_simulate(net(w));
}

void simulate(World& w) {
  if (tv_domain_simulate(net(w))) return;
  double sum = 0;
  for (tv_node_t* node = tv_domain_get_first_node(net(w)); node; node = tv_node_get_next(node))
    if (tv_node_get_kind(node) == tv_kind_discrete)
      sum = 3 * sum + static_cast<double>(tv_node_get_sampled_state(node));
    else if (node != w.gain)
      sum += tv_node_get_sampled_value(node);
  note(w, sum);
}

const Cases cases = {
    {"tv_domain_simulate", plain, simulate},
    {"tv_domain_simulate", propagated, simulate},
    {"tv_domain_simulate", with_function, simulate},
    {"tv_domain_simulate", decided, simulate},
    {"tv_domain_simulate", propagated_values, simulate},
    {"tv_domain_simulate_cases", with_cases,
     [](World& w) { note(w, tv_domain_simulate_cases(net(w), 5, 0.5)); }},
    {"tv_domain_simulate_cases", propagated_values,
     [](World& w) { note(w, tv_domain_simulate_cases(net(w), 5, 0.5)); }},
    {"tv_domain_simulate_data_set", propagated_values,
     [](World& w) { w.made_data.reset(tv_domain_simulate_data_set(net(w), 5, 0.5)); }},
    ASKS_FOR_NOTHING(tv_node_get_sampled_state, simulated, w.a),
    ASKS_FOR_NOTHING(tv_node_get_sampled_value, simulated, function_of(w)),
    ASKS_FOR_NOTHING(tv_node_get_sampled_utility, simulated_decision, w.gain),
    {"tv_domain_get_d_connected_nodes", with_evidence,
     [](World& w) { w.list.reset(tv_domain_get_d_connected_nodes(net(w), two_nodes(w), nullptr, nullptr)); }},
    {"tv_domain_are_d_separated", with_evidence,
     [](World& w) {
       note(w, tv_domain_are_d_separated(net(w), two_nodes(w), two_nodes(w), nullptr, nullptr));
     }},
    {"tv_domain_get_minimal_separator", plain,
     [](World& w) {
       tv_node_t *from[] = {w.alone, nullptr}, *to[] = {w.d, nullptr};
       w.list.reset(tv_domain_get_minimal_separator(net(w), from, to, nullptr, nullptr, nullptr));
     }},
    {"tv_domain_get_requisite_nodes", with_evidence,
     [](World& w) { w.list.reset(tv_domain_get_requisite_nodes(net(w), two_nodes(w), nullptr, nullptr)); }},
    {"tv_domain_get_requisite_findings", with_evidence,
     [](World& w) {
       w.list.reset(tv_domain_get_requisite_findings(net(w), two_nodes(w), nullptr, nullptr));
     }},
    {"tv_domain_get_barren_nodes", with_evidence,
     [](World& w) { w.list.reset(tv_domain_get_barren_nodes(net(w), two_nodes(w), nullptr, nullptr)); }},
    {"tv_node_get_markov_blanket", plain, [](World& w) { w.list.reset(tv_node_get_markov_blanket(w.b)); }},
};

}  // namespace
}  // namespace test

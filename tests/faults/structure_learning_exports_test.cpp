// Structures learned from cases, by each method, under failing allocation.
#include "faults/export_world.h"

namespace test {
namespace {

tv_structure_learner_t* learner_of(World& w) { return w.learner.get(); }

// All nodes have cases that depend on each other; some cells are missing.
void with_dependent_cases(World& w) {
  tv_domain_set_number_of_cases(net(w), 60);
  for (size_t i = 0; i < 60; ++i) {
    tv_node_t* const nodes[] = {w.a, w.b, w.c, w.d, w.alone};
    for (size_t k = 0; k < 5; ++k) {
      const size_t states = tv_node_get_number_of_states(nodes[k]);
      if ((i * 7 + k) % 11 > 0) tv_node_set_case_state(nodes[k], i, ((i >> (k / 2)) + (i % 5 == 0)) % states);
    }
  }
  w.learner.reset(tv_new_structure_learner());
  tv_structure_learner_set_cases_per_degree(learner_of(w), 0);
}

void with_method(World& w, tv_structure_method_t method) {
  with_dependent_cases(w);
  tv_structure_learner_set_method(learner_of(w), method);
  tv_structure_learner_set_target(learner_of(w), "b");
}
void testing_links(World& w) {
  with_method(w, tv_structure_method_tests);
  tv_structure_learner_set_collider_rule(learner_of(w), tv_collider_rule_majority);
  tv_structure_learner_set_concurrency_level(learner_of(w), 2);
}
void testing_values(World& w) {
  with_regressions(w);
  with_method(w, tv_structure_method_tests);
  for (size_t i = 0; i < 60; ++i)
    for (tv_node_t* node : {w.x, w.y})
      tv_node_set_case_value(
          node, i, static_cast<double>((i * i) % 17) + (node == w.x ? 0.0 : 0.1 * static_cast<double>(i)));
}
void searching_greedily(World& w) {
  with_method(w, tv_structure_method_greedy);
  tv_structure_learner_set_restarts(learner_of(w), 1);
  tv_structure_learner_set_tabu_steps(learner_of(w), 3);
  tv_structure_learner_set_max_total_weight(learner_of(w), 60);
}
void searching_exactly(World& w) { with_method(w, tv_structure_method_exact); }
void growing_a_tree(World& w) { with_method(w, tv_structure_method_tree); }
void classifying(World& w) { with_method(w, tv_structure_method_naive_bayes); }
void classifying_with_a_tree(World& w) { with_method(w, tv_structure_method_tan); }
void classifying_with_hidden_nodes(World& w) { with_method(w, tv_structure_method_hierarchical); }
void completing(World& w) {
  with_method(w, tv_structure_method_greedy);
  tv_structure_learner_set_tabu_steps(learner_of(w), 0);
  tv_structure_learner_set_max_completions(learner_of(w), 1);
  tv_domain_set_max_number_of_em_iterations(net(w), 1);
}

void learn(World& w) { w.made_structure.reset(tv_domain_learn_structure(net(w), learner_of(w))); }

struct DeleteBootstrap {
  void operator()(tv_bootstrap_t* bootstrap) const { tv_bootstrap_delete(bootstrap); }
};
using Bootstrap = std::unique_ptr<tv_bootstrap_t, DeleteBootstrap>;

// How often there are links, as one number.
void note_frequencies(World& w, const tv_bootstrap_t* bootstrap) {
  for (size_t a = 0; bootstrap && a < 5; ++a)
    for (size_t b = 0; b < a; ++b)
      w.number = w.number * 0.75 + tv_bootstrap_get_frequency(bootstrap, a, b, tv_structure_link_none);
}

// A bootstrap that is made before the fault.
Bootstrap kept;
void with_bootstrap(World& w) {
  searching_exactly(w);
  kept.reset(tv_domain_bootstrap_structure(net(w), learner_of(w), 3));
}

const Cases cases = {
    {"tv_domain_learn_structure", testing_links, learn},
    {"tv_domain_learn_structure", testing_values, learn},
    {"tv_domain_learn_structure", searching_greedily, learn},
    {"tv_domain_learn_structure", searching_exactly, learn},
    {"tv_domain_learn_structure", growing_a_tree, learn},
    {"tv_domain_learn_structure", classifying, learn},
    {"tv_domain_learn_structure", classifying_with_a_tree, learn},
    {"tv_domain_learn_structure", classifying_with_hidden_nodes, learn},
    {"tv_domain_learn_structure", completing, learn},
    {"tv_domain_bootstrap_structure", testing_links,
     [](World& w) {
       const Bootstrap bootstrap(tv_domain_bootstrap_structure(net(w), learner_of(w), 2));
       note_frequencies(w, bootstrap.get());
     }},
    {"tv_bootstrap_new_structure", with_bootstrap,
     [](World& w) { w.made_structure.reset(tv_bootstrap_new_structure(kept.get(), 0.3)); }},
    {"tv_bootstrap_get_frequency", with_bootstrap, [](World& w) { note_frequencies(w, kept.get()); },
     Case::never_fails},
    {"tv_bootstrap_get_number_of_samples", with_bootstrap,
     [](World& w) { note(w, tv_bootstrap_get_number_of_samples(kept.get())); }, Case::never_fails},
    {"tv_bootstrap_delete", with_bootstrap, [](World& w) { note(w, tv_bootstrap_delete(kept.release())); },
     Case::never_fails},
};

}  // namespace
}  // namespace test

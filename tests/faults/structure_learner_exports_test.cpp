// Learners of structures under failing allocation.

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "faults/export_world.h"

namespace test {
namespace {

constexpr char kLong[] = "a node with a name that needs memory";

// Constraints over nodes of the network and of others.
void learning(World& w) {
  with_cases(w);
  w.learner.reset(tv_new_structure_learner());
  tv_structure_learner_t* const learner = w.learner.get();
  tv_structure_learner_set_tier(learner, "a", 1);
  tv_structure_learner_set_tier(learner, "b", 2);
  tv_structure_learner_require_link(learner, "a", "b");
  tv_structure_learner_forbid_adjacency(learner, "c", "alone");
}
void searching(World& w) {
  learning(w);
  tv_structure_learner_set_method(w.learner.get(), tv_structure_method_exact);
  tv_structure_learner_set_max_parents(w.learner.get(), 2);
  tv_structure_learner_clear_constraints(w.learner.get());
  tv_structure_learner_require_link(w.learner.get(), "a", "b");
  tv_structure_learner_require_adjacency(w.learner.get(), "b", "c");
}
void classifying(World& w) {
  w.learner.reset(tv_new_structure_learner());
  tv_structure_learner_set_method(w.learner.get(), tv_structure_method_tan);
  tv_structure_learner_set_target(w.learner.get(), "a");
  tv_structure_learner_require_adjacency(w.learner.get(), "b", "c");
}
// Cases of all nodes, as many as are needed for a hidden node between a and the others.
void with_complete_cases(World& w) {
  learning(w);
  tv_structure_learner_clear_constraints(w.learner.get());
  tv_structure_learner_set_target(w.learner.get(), "a");
  tv_domain_set_number_of_cases(net(w), 80);
  for (size_t i = 0; i < 80; ++i) {
    const size_t hidden = i * i / 3 % 2;
    tv_node_set_case_state(w.a, i, i % 2);
    tv_node_set_case_state(w.b, i, i % 11 ? hidden : 2);
    tv_node_set_case_state(w.c, i, i % 9 ? hidden : 1 - hidden);
    tv_node_set_case_state(w.d, i, i % 13 ? hidden : 1 - hidden);
    tv_node_set_case_state(w.alone, i, i / 5 % 2);
  }
}
template <tv_structure_method_t method>
void learning_by(World& w) {
  with_complete_cases(w);
  tv_structure_learner_set_method(w.learner.get(), method);
  tv_structure_learner_set_spanning(w.learner.get(), method == tv_structure_method_tan);
  tv_structure_learner_set_concurrency_level(w.learner.get(), method == tv_structure_method_tree ? 2 : 1);
}
// The class a, which has no influence on what its children are.
void classified(World& w) {
  with_complete_cases(w);
  for (tv_node_t* node : {w.b, w.c}) tv_node_remove_parent(w.d, node);
  tv_node_add_parent(w.d, w.a);
  set_table(w.b, {1, 2, 1, 1, 1, 1});
  tv_node_get_table(w.d);
  compiled(w);
}
const std::string kFile = testing::TempDir() + "tarvo_constraint_faults_" + std::to_string(getpid());
void with_constraint_file(World& w) {
  learning(w);
  std::ofstream(kFile) << "tier 3: x, \"" << kLong << "\";\nrequire b - \"" << kLong << "\";\n";
}
tv_structure_learner_t* learner_of(World& w) { return w.learner.get(); }

void parse_text(World& w) {
  note(w, tv_structure_learner_parse_constraints_string(
              learner_of(w), "tier 1: p; no links in tier 1; forbid p -> \"a long name between quotes\";",
              nullptr, nullptr));
}

void check_constraints(World& w) {
  note(w, tv_domain_check_constraints(net(w), learner_of(w), nullptr, nullptr));
}

void learn_structure(World& w) { w.made_structure.reset(tv_domain_learn_structure(net(w), learner_of(w))); }
void tune_classifier(World& w) {
  double before = 0, after = 0;
  note(w, tv_node_tune_classifier(w.a, 0.5, 3, 0.5, 1, &before, &after));
  w.number += before + 10 * after;
}

#define SETS(name, value)                                                                                   \
  {                                                                                                         \
    "tv_structure_learner_set_" #name, learning,                                                            \
        [](World& w) { note(w, tv_structure_learner_set_##name(learner_of(w), value)); }, Case::never_fails \
  }
#define GETS(name) ASKS_FOR_NOTHING(tv_structure_learner_get_##name, learning, learner_of(w))

const Cases cases = {
    {"tv_new_structure_learner", plain, [](World& w) { w.learner.reset(tv_new_structure_learner()); }},
    {"tv_structure_learner_delete", learning,
     [](World& w) { note(w, tv_structure_learner_delete(w.learner.release())); }, Case::never_fails},
    SETS(method, tv_structure_method_exact),
    GETS(method),
    SETS(test, tv_independence_test_chi_squared),
    GETS(test),
    SETS(significance, 0.01),
    GETS(significance),
    SETS(cases_per_degree, 1),
    GETS(cases_per_degree),
    SETS(max_conditioning_size, 1),
    GETS(max_conditioning_size),
    SETS(collider_rule, tv_collider_rule_majority),
    GETS(collider_rule),
    SETS(score, tv_structure_score_aic),
    GETS(score),
    SETS(equivalent_sample_size, 2),
    GETS(equivalent_sample_size),
    SETS(max_parents, 3),
    GETS(max_parents),
    SETS(max_total_weight, 1000),
    GETS(max_total_weight),
    SETS(tabu_steps, 3),
    GETS(tabu_steps),
    SETS(restarts, 3),
    GETS(restarts),
    SETS(seed, 3),
    GETS(seed),
    SETS(concurrency_level, 3),
    GETS(concurrency_level),
    SETS(spanning, 0),
    GETS(spanning),
    SETS(max_completions, 2),
    GETS(max_completions),
    GETS(target),
    {"tv_structure_learner_set_target", learning,
     [](World& w) { note(w, tv_structure_learner_set_target(learner_of(w), kLong)); }},
    {"tv_structure_learner_leave_out_node", learning,
     [](World& w) { note(w, tv_structure_learner_leave_out_node(learner_of(w), kLong)); }},
    {"tv_structure_learner_require_link", learning,
     [](World& w) { note(w, tv_structure_learner_require_link(learner_of(w), "p", kLong)); }},
    {"tv_structure_learner_require_adjacency", learning,
     [](World& w) { note(w, tv_structure_learner_require_adjacency(learner_of(w), "p", kLong)); }},
    {"tv_structure_learner_forbid_link", learning,
     [](World& w) { note(w, tv_structure_learner_forbid_link(learner_of(w), "p", kLong)); }},
    {"tv_structure_learner_forbid_adjacency", learning,
     [](World& w) { note(w, tv_structure_learner_forbid_adjacency(learner_of(w), "p", kLong)); }},
    {"tv_structure_learner_set_tier", learning,
     [](World& w) { note(w, tv_structure_learner_set_tier(learner_of(w), kLong, 4)); }},
    {"tv_structure_learner_forbid_links_in_tier", learning,
     [](World& w) { note(w, tv_structure_learner_forbid_links_in_tier(learner_of(w), 4)); }},
    {"tv_structure_learner_clear_constraints", learning,
     [](World& w) { note(w, tv_structure_learner_clear_constraints(learner_of(w))); }, Case::never_fails},
    {"tv_structure_learner_parse_constraints", with_constraint_file,
     [](World& w) {
       note(w, tv_structure_learner_parse_constraints(learner_of(w), kFile.c_str(), nullptr, nullptr));
     }},
    {"tv_structure_learner_parse_constraints_string", learning, parse_text},
    {"tv_structure_learner_constraints_to_string", learning,
     [](World& w) { w.own_text.reset(tv_structure_learner_constraints_to_string(learner_of(w))); }},
    {"tv_domain_learn_structure", learning_by<tv_structure_method_tree>, learn_structure},
    {"tv_domain_learn_structure", learning_by<tv_structure_method_tan>, learn_structure},
    {"tv_domain_learn_structure", learning_by<tv_structure_method_hierarchical>, learn_structure},
    {"tv_node_tune_classifier", classified, tune_classifier},
    {"tv_domain_check_constraints", learning, check_constraints},
    {"tv_domain_check_constraints", searching, check_constraints},
    {"tv_domain_check_constraints", classifying, check_constraints},
};

}  // namespace
}  // namespace test

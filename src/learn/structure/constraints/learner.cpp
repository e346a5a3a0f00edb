// Learners: their settings, what takes part, and the constraints that hosts give one by one.
#include "learn/structure/constraints/learner.h"

#include <cmath>
#include <limits>

#include "api/boundary.h"

namespace tv {
namespace {

template <class Value>
tv_status_t set(StructureLearner* learner, Value LearnerSettings::*setting, Value value) noexcept {
  if (!check(learner != nullptr)) return tv_status_usage;
  learner->settings.*setting = value;
  return tv_status_none;
}

// One of the values from the first to `last`.
template <class Choice>
tv_status_t set_choice(StructureLearner* learner, Choice LearnerSettings::*setting, Choice value, Choice last,
                       const char* what) noexcept {
  if (!check(learner != nullptr)) return tv_status_usage;
  if (value < 0 || value > last)
    return refuse(tv_status_usage, "there is no %s %d", what, static_cast<int>(value));
  learner->settings.*setting = value;
  return tv_status_none;
}

tv_status_t set_number(StructureLearner* learner, double LearnerSettings::*setting, double value,
                       bool is_valid, const char* rule) noexcept {
  if (!check(learner != nullptr)) return tv_status_usage;
  if (!is_valid) return refuse(tv_status_usage, "%s, not %g", rule, value);
  learner->settings.*setting = value;
  return tv_status_none;
}

template <class Value>
Value get(const StructureLearner* learner, Value LearnerSettings::*setting, Value failure) noexcept {
  return check(learner != nullptr) ? learner->settings.*setting : failure;
}

tv_status_t add_link(StructureLearner* learner, ConstraintKind kind, const char* from, const char* to) {
  return guarded([&]() -> tv_status_t {
    if (!check(learner && from && to)) return tv_status_usage;
    Constraint constraint{kind, from, to};
    if (constraint.from == constraint.to)
      return refuse(tv_status_usage, "a link from node \"%s\" to itself", from);
    learner->constraints.links.insert(std::move(constraint));
    return tv_status_none;
  });
}

}  // namespace

bool put_into_tier(Constraints& constraints, std::string name, size_t tier) {
  return constraints.tiers.emplace(std::move(name), tier).first->second == tier;
}

}  // namespace tv

using Settings = tv::LearnerSettings;

tv_structure_learner_t* tv_new_structure_learner(void) {
  return tv::guarded(static_cast<tv_structure_learner_t*>(nullptr), []() -> tv_structure_learner_t* {
    tv::check(true);
    return new tv_structure_learner_s;
  });
}

tv_status_t tv_structure_learner_delete(tv_structure_learner_t* learner) {
  if (!tv::check(learner != nullptr)) return tv_status_usage;
  delete learner;
  return tv_status_none;
}

tv_status_t tv_structure_learner_set_method(tv_structure_learner_t* learner, tv_structure_method_t method) {
  return tv::set_choice(learner, &Settings::method, method, tv_structure_method_hierarchical, "method");
}

tv_structure_method_t tv_structure_learner_get_method(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::method, tv_structure_method_error);
}

tv_status_t tv_structure_learner_set_test(tv_structure_learner_t* learner, tv_independence_test_t test) {
  return tv::set_choice(learner, &Settings::test, test, tv_independence_test_chi_squared, "test");
}

tv_independence_test_t tv_structure_learner_get_test(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::test, tv_independence_test_error);
}

tv_status_t tv_structure_learner_set_significance(tv_structure_learner_t* learner, double significance) {
  return tv::set_number(learner, &Settings::significance, significance,
                        significance > 0.0 && significance < 1.0,
                        "a level of significance lies between 0 and 1");
}

double tv_structure_learner_get_significance(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::significance, -1.0);
}

tv_status_t tv_structure_learner_set_cases_per_degree(tv_structure_learner_t* learner, double cases) {
  return tv::set_number(learner, &Settings::cases_per_degree, cases, cases >= 0.0 && std::isfinite(cases),
                        "cases for each degree of freedom are a finite number from 0 on");
}

double tv_structure_learner_get_cases_per_degree(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::cases_per_degree, -1.0);
}

tv_status_t tv_structure_learner_set_max_conditioning_size(tv_structure_learner_t* learner, size_t size) {
  return tv::set(learner, &Settings::max_conditioning_size, size);
}

size_t tv_structure_learner_get_max_conditioning_size(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::max_conditioning_size, tv::kNone);
}

tv_status_t tv_structure_learner_set_collider_rule(tv_structure_learner_t* learner, tv_collider_rule_t rule) {
  return tv::set_choice(learner, &Settings::collider_rule, rule, tv_collider_rule_majority, "collider rule");
}

tv_collider_rule_t tv_structure_learner_get_collider_rule(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::collider_rule, tv_collider_rule_error);
}

tv_status_t tv_structure_learner_set_score(tv_structure_learner_t* learner, tv_structure_score_t score) {
  return tv::set_choice(learner, &Settings::score, score, tv_structure_score_k2, "score");
}

tv_structure_score_t tv_structure_learner_get_score(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::score, tv_structure_score_error);
}

tv_status_t tv_structure_learner_set_equivalent_sample_size(tv_structure_learner_t* learner, double size) {
  return tv::set_number(learner, &Settings::equivalent_sample_size, size, size > 0.0 && std::isfinite(size),
                        "an equivalent sample size is positive and finite");
}

double tv_structure_learner_get_equivalent_sample_size(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::equivalent_sample_size, -1.0);
}

tv_status_t tv_structure_learner_set_max_parents(tv_structure_learner_t* learner, size_t count) {
  return tv::set(learner, &Settings::max_parents, count);
}

size_t tv_structure_learner_get_max_parents(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::max_parents, tv::kNone);
}

tv_status_t tv_structure_learner_set_max_total_weight(tv_structure_learner_t* learner, double weight) {
  return tv::set_number(learner, &Settings::max_total_weight, weight, weight >= 0.0,
                        "a total weight is a number from 0 on");
}

double tv_structure_learner_get_max_total_weight(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::max_total_weight, -1.0);
}

tv_status_t tv_structure_learner_set_tabu_steps(tv_structure_learner_t* learner, size_t steps) {
  return tv::set(learner, &Settings::tabu_steps, steps);
}

size_t tv_structure_learner_get_tabu_steps(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::tabu_steps, tv::kNone);
}

tv_status_t tv_structure_learner_set_restarts(tv_structure_learner_t* learner, size_t restarts) {
  return tv::set(learner, &Settings::restarts, restarts);
}

size_t tv_structure_learner_get_restarts(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::restarts, tv::kNone);
}

tv_status_t tv_structure_learner_set_seed(tv_structure_learner_t* learner, uint64_t seed) {
  return tv::set(learner, &Settings::seed, seed);
}

uint64_t tv_structure_learner_get_seed(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::seed, std::numeric_limits<uint64_t>::max());
}

tv_status_t tv_structure_learner_set_concurrency_level(tv_structure_learner_t* learner, size_t level) {
  if (!tv::check(learner != nullptr)) return tv_status_usage;
  if (level == 0) return tv::refuse(tv_status_usage, "a structure is learned on at least 1 thread");
  learner->settings.threads = level;
  return tv_status_none;
}

size_t tv_structure_learner_get_concurrency_level(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::threads, tv::kNone);
}

tv_status_t tv_structure_learner_set_spanning(tv_structure_learner_t* learner, int spanning) {
  return tv::set(learner, &Settings::is_spanning, spanning != 0);
}

int tv_structure_learner_get_spanning(const tv_structure_learner_t* learner) {
  return tv::check(learner != nullptr) ? learner->settings.is_spanning : -1;
}

tv_status_t tv_structure_learner_set_max_completions(tv_structure_learner_t* learner, size_t rounds) {
  return tv::set(learner, &Settings::max_completions, rounds);
}

size_t tv_structure_learner_get_max_completions(const tv_structure_learner_t* learner) {
  return tv::get(learner, &Settings::max_completions, tv::kNone);
}

tv_status_t tv_structure_learner_set_target(tv_structure_learner_t* learner, const char* name) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(learner != nullptr)) return tv_status_usage;
    learner->target = std::string(name ? name : "");
    return tv_status_none;
  });
}

const char* tv_structure_learner_get_target(const tv_structure_learner_t* learner) {
  return tv::check(learner != nullptr) && !learner->target.empty() ? learner->target.c_str() : nullptr;
}

tv_status_t tv_structure_learner_leave_out_node(tv_structure_learner_t* learner, const char* name) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(learner && name)) return tv_status_usage;
    learner->left_out.insert(name);
    return tv_status_none;
  });
}

tv_status_t tv_structure_learner_require_link(tv_structure_learner_t* learner, const char* from,
                                              const char* to) {
  return tv::add_link(learner, tv::ConstraintKind::require_link, from, to);
}

tv_status_t tv_structure_learner_require_adjacency(tv_structure_learner_t* learner, const char* a,
                                                   const char* b) {
  return tv::add_link(learner, tv::ConstraintKind::require_adjacency, a, b);
}

tv_status_t tv_structure_learner_forbid_link(tv_structure_learner_t* learner, const char* from,
                                             const char* to) {
  return tv::add_link(learner, tv::ConstraintKind::forbid_link, from, to);
}

tv_status_t tv_structure_learner_forbid_adjacency(tv_structure_learner_t* learner, const char* a,
                                                  const char* b) {
  return tv::add_link(learner, tv::ConstraintKind::forbid_adjacency, a, b);
}

tv_status_t tv_structure_learner_set_tier(tv_structure_learner_t* learner, const char* name, size_t tier) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(learner && name)) return tv_status_usage;
    if (!tv::put_into_tier(learner->constraints, name, tier))
      return tv::refuse(tv_status_usage, "node \"%s\" is in tier %zu already", name,
                        learner->constraints.tiers.find(name)->second);
    return tv_status_none;
  });
}

tv_status_t tv_structure_learner_forbid_links_in_tier(tv_structure_learner_t* learner, size_t tier) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(learner != nullptr)) return tv_status_usage;
    learner->constraints.closed_tiers.insert(tier);
    return tv_status_none;
  });
}

tv_status_t tv_structure_learner_clear_constraints(tv_structure_learner_t* learner) {
  if (!tv::check(learner != nullptr)) return tv_status_usage;
  learner->constraints = {};
  return tv_status_none;
}

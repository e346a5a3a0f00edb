// The record of a learner: how structures are found, and what experts know, by names of nodes.
#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "api/status.h"

namespace tv {

enum class ConstraintKind { require_link, require_adjacency, forbid_link, forbid_adjacency };

struct Constraint {
  ConstraintKind kind;
  std::string from, to;

  auto operator<=>(const Constraint&) const = default;
};

struct Constraints {
  std::set<Constraint> links;
  std::map<std::string, size_t> tiers;  // by name of the node
  std::set<size_t> closed_tiers;        // without links between their nodes

  bool operator==(const Constraints&) const = default;
};

// False where the node is in another tier already.
bool put_into_tier(Constraints& constraints, std::string name, size_t tier);

struct LearnerSettings {
  tv_structure_method_t method = tv_structure_method_tests;
  tv_independence_test_t test = tv_independence_test_g_squared;
  double significance = 0.05;
  double cases_per_degree = 1.0;
  size_t max_conditioning_size = kNone;
  tv_collider_rule_t collider_rule = tv_collider_rule_plain;
  tv_structure_score_t score = tv_structure_score_bic;
  double equivalent_sample_size = 1.0;
  size_t max_parents = kNone;
  double max_total_weight = 0.0;  // 0: no limit
  size_t tabu_steps = 100;
  size_t restarts = 0;
  uint64_t seed = 1;
  size_t threads = 1;
  bool is_spanning = true;
  size_t max_completions = 0;
};

}  // namespace tv

struct tv_structure_learner_s {
  tv::LearnerSettings settings;
  std::string target;  // empty where there is none
  std::set<std::string> left_out;
  tv::Constraints constraints;
};

namespace tv {

using StructureLearner = tv_structure_learner_s;

}  // namespace tv

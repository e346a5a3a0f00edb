// From a domain and the names that a learner speaks of to numbered nodes and knowledge about them. Whatever
// contradicts each other is told, not only what is found first.
#include "learn/structure/constraints/learning_problem.h"

#include <algorithm>

#include "api/boundary.h"
#include "learn/structure/constraints/knowledge_checks.h"
#include "network/cases.h"
#include "network/node_operations.h"

namespace tv {
namespace {

using Kind = ConstraintKind;

tv_status_t collect_nodes(LearningProblem& problem) {
  for (Node& node : problem.domain->nodes) {
    if (node.category != tv_category_chance || !is_discrete_or_continuous(node)) continue;
    if (!name_of(node)) return current_status();
    if (!problem.learner->left_out.contains(node.name)) problem.nodes.push_back(&node);
  }
  std::sort(problem.nodes.begin(), problem.nodes.end(),
            [](const Node* a, const Node* b) { return a->name < b->name; });
  return tv_status_none;
}

size_t find(const LearningProblem& problem, const std::string& name) {
  const auto place = std::lower_bound(problem.nodes.begin(), problem.nodes.end(), name,
                                      [](const Node* node, const std::string& n) { return node->name < n; });
  if (place == problem.nodes.end() || (*place)->name != name) return kNone;
  return static_cast<size_t>(place - problem.nodes.begin());
}

// Of a name that none of the nodes has which take part.
std::string absence(const LearningProblem& problem, const std::string& name) {
  const Node* const node = find_node(*problem.domain, name);
  if (!node) return "\"" + name + "\", which is no node of the domain";
  const bool is_chance = node->category == tv_category_chance;
  return "node \"" + name + (is_chance ? "\", which is left out" : "\", which is no chance node");
}

bool has_constraint(const LearningProblem& problem, Kind kind, size_t from, size_t to) {
  return problem.learner->constraints.links.contains(
      {kind, problem.nodes[from]->name, problem.nodes[to]->name});
}

void forbid_by_kind(LearningProblem& problem) {
  for (size_t a = 0; a < problem.size(); ++a) {
    problem.knowledge.forbid(a, a);
    for (size_t b = 0; b < problem.size(); ++b)
      if (is_continuous(*problem.nodes[a]) && is_discrete(*problem.nodes[b])) problem.knowledge.forbid(a, b);
  }
}

void forbid_by_tier(LearningProblem& problem) {
  const Constraints& constraints = problem.learner->constraints;
  std::vector<size_t> tiers(problem.size(), kNone);
  bool has_tiers = false;
  for (const auto& [name, tier] : constraints.tiers) {
    const size_t node = find(problem, name);
    if (node == kNone) continue;
    tiers[node] = tier;
    has_tiers = true;
  }
  if (!has_tiers) return;
  const auto has_tier = [&](size_t v) {
    return constraints.tiers.contains(problem.nodes[v]->name);  // whatever its number
  };
  for (size_t a = 0; a < problem.size(); ++a) {
    if (!has_tier(a)) continue;
    const bool is_closed = constraints.closed_tiers.contains(tiers[a]);
    for (size_t b = 0; b < problem.size(); ++b)
      if (tiers[b] < tiers[a] || (is_closed && tiers[a] == tiers[b] && has_tier(b)))
        problem.knowledge.forbid(a, b);
  }
  problem.knowledge.tiers = std::move(tiers);
}

// Required links of one direction leave the other one no room.
void take_links(LearningProblem& problem) {
  Knowledge& knowledge = problem.knowledge;
  for (const Constraint& constraint : problem.learner->constraints.links) {
    const size_t from = find(problem, constraint.from), to = find(problem, constraint.to);
    if (from == kNone || to == kNone) continue;
    const bool is_required =
        constraint.kind == Kind::require_link || constraint.kind == Kind::require_adjacency;
    if (is_required) knowledge.require_any(from, to);
    if (constraint.kind != Kind::require_adjacency)
      knowledge.forbid(is_required ? to : from, is_required ? from : to);
    if (constraint.kind == Kind::forbid_adjacency) knowledge.forbid(to, from);
  }
}

void check_names(const LearningProblem& problem, Contradictions& contradictions) {
  const Constraints& constraints = problem.learner->constraints;
  std::set<std::string> absent;
  const auto look_at = [&](const std::string& name) {
    if (find(problem, name) == kNone && absent.insert(name).second)
      contradictions.tell("constraints name " + absence(problem, name));
  };
  for (const auto& [name, tier] : constraints.tiers) look_at(name);
  for (const Constraint& constraint : constraints.links) {
    look_at(constraint.from);
    look_at(constraint.to);
  }
}

// Each required link alone: whether it is allowed.
void check_links(const LearningProblem& problem, Contradictions& contradictions) {
  for (const Constraint& constraint : problem.learner->constraints.links) {
    const size_t from = find(problem, constraint.from), to = find(problem, constraint.to);
    if (from == kNone || to == kNone) continue;
    const std::string forward = objection(problem, from, to);
    if (constraint.kind == Kind::require_link && !forward.empty()) {
      const bool is_told = from > to && has_constraint(problem, Kind::require_link, to, from);
      if (!is_told)
        contradictions.tell("the link " + shown(problem, from) + " -> " + shown(problem, to) +
                            " is required, but " + forward);
    }
    if (constraint.kind != Kind::require_adjacency || forward.empty()) continue;
    const std::string backward = objection(problem, to, from);
    if (backward.empty()) continue;
    contradictions.tell("a link between " + shown(problem, from) + " and " + shown(problem, to) +
                        " is required, but " + forward +
                        (forward == backward ? std::string() : ", and " + backward));
  }
}

void find_target(LearningProblem& problem, Contradictions& contradictions) {
  const std::string& name = problem.learner->target;
  const tv_structure_method_t method = problem.settings().method;
  const bool classifies = method >= tv_structure_method_naive_bayes;
  if (!name.empty()) problem.target = find(problem, name);
  if (!classifies && method != tv_structure_method_tree) return;
  if (!name.empty() && problem.target == kNone)
    contradictions.tell("the target is " + absence(problem, name));
  else if (classifies && name.empty())
    contradictions.tell("classification needs a target");
  else if (classifies && !is_discrete(*problem.nodes[problem.target]))
    contradictions.tell("the target " + shown(problem, problem.target) +
                        " is continuous, where classification needs a discrete node");
}

void check_score(const LearningProblem& problem, Contradictions& contradictions) {
  const LearnerSettings& settings = problem.settings();
  const bool is_used = settings.method != tv_structure_method_tests || settings.max_completions > 0;
  if (!is_used || (settings.score != tv_structure_score_bdeu && settings.score != tv_structure_score_k2))
    return;
  for (size_t v = 0; v < problem.size(); ++v) {
    if (is_discrete(*problem.nodes[v])) continue;
    contradictions.tell("the score is for discrete nodes alone, and node " + shown(problem, v) +
                        " is continuous");
    return;
  }
}

// A case that counts nothing tells nothing.
bool is_known_somewhere(const Node& node) noexcept {
  if (node.cases.empty()) return false;
  for (size_t i = 0; i < node.domain->cases.count; ++i)
    if (case_is_set(node, i) && case_count(*node.domain, i) > 0) return true;
  return false;
}

void check_cases(const LearningProblem& problem, Contradictions& contradictions) {
  if (problem.domain->cases.count == 0) return contradictions.tell("the domain has no cases");
  for (size_t v = 0; v < problem.size(); ++v)
    if (!is_known_somewhere(*problem.nodes[v]))
      contradictions.tell("node " + shown(problem, v) + " is known in no case");
}

// Everything but the cases.
tv_status_t read_constraints(LearningProblem& problem, Contradictions& contradictions) {
  if (tv_status_t status = collect_nodes(problem)) return status;
  if (problem.nodes.empty()) contradictions.tell("the domain has no chance node that is not left out");
  problem.knowledge = Knowledge(problem.size());
  forbid_by_kind(problem);
  forbid_by_tier(problem);
  take_links(problem);
  find_target(problem, contradictions);
  check_score(problem, contradictions);
  check_names(problem, contradictions);
  check_links(problem, contradictions);
  check_required_links(problem, contradictions);
  check_shape(problem, contradictions);
  return tv_status_none;
}

}  // namespace

std::string shown(const LearningProblem& problem, size_t node) {
  return "\"" + problem.nodes[node]->name + "\"";
}

std::string objection(const LearningProblem& problem, size_t from, size_t to) {
  if (problem.knowledge.allows(from, to)) return {};
  const Constraints& constraints = problem.learner->constraints;
  const std::string a = shown(problem, from), b = shown(problem, to);
  if (is_continuous(*problem.nodes[from]) && is_discrete(*problem.nodes[to]))
    return "the continuous node " + a + " can be no parent of " + b + ", which is discrete";
  const auto first = constraints.tiers.find(problem.nodes[from]->name);
  const auto second = constraints.tiers.find(problem.nodes[to]->name);
  if (first != constraints.tiers.end() && second != constraints.tiers.end()) {
    if (second->second < first->second) return b + " is in an earlier tier than " + a;
    if (first->second == second->second && constraints.closed_tiers.contains(first->second)) {
      const std::string lower = from < to ? a : b, upper = from < to ? b : a;
      return lower + " and " + upper + " are in tier " + std::to_string(first->second) +
             ", which has no links";
    }
  }
  if (has_constraint(problem, Kind::forbid_adjacency, from, to) ||
      has_constraint(problem, Kind::forbid_adjacency, to, from))
    return "links between the two are forbidden";
  if (has_constraint(problem, Kind::forbid_link, from, to)) return a + " -> " + b + " is forbidden";
  return b + " -> " + a + " is required";
}

tv_status_t state_problem(Domain& domain, const StructureLearner& learner, MessageHandler handler,
                          LearningProblem& problem) {
  problem.domain = &domain;
  problem.learner = &learner;
  Contradictions contradictions(handler);
  if (tv_status_t status = read_constraints(problem, contradictions)) return status;
  check_cases(problem, contradictions);
  return contradictions.outcome();
}

Structure empty_structure(const LearningProblem& problem) {
  Structure structure;
  for (const Node* node : problem.nodes) structure.nodes.push_back({node->name, 0});
  structure.graph = PartialGraph(problem.size());
  structure.knowledge = problem.knowledge;
  return structure;
}

}  // namespace tv

tv_status_t tv_domain_check_constraints(tv_domain_t* domain, const tv_structure_learner_t* learner,
                                        tv_error_handler_t handler, void* handler_data) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain && learner)) return tv_status_usage;
    tv::LearningProblem problem{domain, learner, {}, {}};
    tv::Contradictions contradictions({handler, handler_data});
    if (tv_status_t status = tv::read_constraints(problem, contradictions)) return status;
    return contradictions.outcome();
  });
}

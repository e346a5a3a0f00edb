// Cycles and crowds of required links, and the shapes of trees and classifiers. Undirected required links
// count with their only direction where one alone is allowed.
#include "learn/structure/constraints/knowledge_checks.h"

#include <algorithm>

#include "learn/structure/constraints/required_links.h"

namespace tv {
namespace {

using Lists = std::vector<std::vector<size_t>>;

// The nodes of some cycle along the lists, empty where there is none. In undirected graphs the way back to
// where one came from closes none.
class CycleFinder {
 public:
  CycleFinder(const Lists& next, bool directed)
      : next_(next), directed_(directed), steps_(next.size()), state_(next.size(), State::unseen) {}

  std::vector<size_t> find() {
    for (size_t v = 0; v < next_.size(); ++v) {
      if (state_[v] != State::unseen) continue;
      enter(v);
      while (!path_.empty())
        if (const size_t end = advance(); end != kNone) {
          path_.erase(path_.begin(), std::find(path_.begin(), path_.end(), end));
          return path_;
        }
    }
    return {};
  }

 private:
  enum class State : char { unseen, on_path, done };

  void enter(size_t v) {
    state_[v] = State::on_path;
    path_.push_back(v);
  }

  // One step from the end of the path; a node of the path that it leads to.
  size_t advance() {
    const size_t v = path_.back();
    if (steps_[v] == next_[v].size()) {
      state_[v] = State::done;
      path_.pop_back();
      return kNone;
    }
    const size_t to = next_[v][steps_[v]++];
    const bool is_way_back = !directed_ && path_.size() > 1 && path_[path_.size() - 2] == to;
    if (state_[to] == State::unseen)
      enter(to);
    else if (state_[to] == State::on_path && !is_way_back)
      return to;
    return kNone;
  }

  const Lists& next_;
  const bool directed_;
  std::vector<size_t> steps_;  // by node: how many of its neighbors have been looked at
  std::vector<State> state_;
  std::vector<size_t> path_;
};

std::string shown_cycle(const LearningProblem& problem, const std::vector<size_t>& cycle, const char* line) {
  std::string text;
  for (const size_t v : cycle) text += shown(problem, v) + line;
  return text + shown(problem, cycle.front());
}

std::vector<size_t> required_parents(const Knowledge& knowledge, size_t v) {
  std::vector<size_t> parents;
  for (size_t a = 0; a < knowledge.size(); ++a)
    if (must_lead(knowledge, a, v)) parents.push_back(a);
  return parents;
}

void check_number_of_parents(const LearningProblem& problem, Contradictions& contradictions) {
  const tv_structure_method_t method = problem.settings().method;
  const size_t most = problem.settings().max_parents;
  if ((method != tv_structure_method_greedy && method != tv_structure_method_exact) || most == kNone) return;
  const size_t before = contradictions.count();
  const std::string limit = "more than " + std::to_string(most) + " parent" + (most == 1 ? "" : "s");
  for (size_t v = 0; v < problem.size(); ++v)
    if (required_parents(problem.knowledge, v).size() > most)
      contradictions.tell("the required links give node " + shown(problem, v) + " " + limit);
  if (contradictions.count() == before && order_of_required_links(problem.knowledge, most).empty())
    contradictions.tell("whichever way the required links lead, some node has " + limit);
}

// Tables are indexed by what counts are, and larger ones could not be learned.
void check_sizes(const LearningProblem& problem, Contradictions& contradictions) {
  for (size_t v = 0; v < problem.size(); ++v) {
    double entries = std::max(static_cast<double>(problem.nodes[v]->number_of_states), 1.0);
    for (const size_t parent : required_parents(problem.knowledge, v))
      if (is_discrete(*problem.nodes[parent]))
        entries *= static_cast<double>(problem.nodes[parent]->number_of_states);
    if (entries > kMostTableEntries)
      contradictions.tell("the required parents of node " + shown(problem, v) +
                              " have more configurations than counts can index",
                          tv_status_size_too_large);
  }
}

// Whether all links of a tree may lead away from one of its nodes. `parents` is overwritten for the others.
bool can_be_root(const Knowledge& knowledge, const Lists& next, size_t root, std::vector<size_t>& parents) {
  std::vector<size_t> waiting{root};
  parents[root] = kNone;
  while (!waiting.empty()) {
    const size_t v = waiting.back();
    waiting.pop_back();
    for (const size_t child : next[v]) {
      if (child == parents[v]) continue;
      if (!knowledge.allows(v, child)) return false;
      parents[child] = v;
      waiting.push_back(child);
    }
  }
  return true;
}

// Each tree of required links has a node that it can lead away from.
void check_roots(const LearningProblem& problem, const Lists& next, Contradictions& contradictions) {
  std::vector<bool> is_seen(next.size(), false);
  std::vector<size_t> parents(next.size(), kNone);
  for (size_t v = 0; v < next.size(); ++v) {
    if (is_seen[v] || next[v].empty()) continue;
    std::vector<size_t> tree{v};
    is_seen[v] = true;
    for (size_t i = 0; i < tree.size(); ++i)
      for (const size_t other : next[tree[i]])
        if (!is_seen[other]) {
          is_seen[other] = true;
          tree.push_back(other);
        }
    const bool has_target = std::find(tree.begin(), tree.end(), problem.target) != tree.end();
    if (has_target) tree = {problem.target};
    if (std::any_of(tree.begin(), tree.end(),
                    [&](size_t root) { return can_be_root(problem.knowledge, next, root, parents); }))
      continue;
    contradictions.tell("the required links about node " + shown(problem, v) + " cannot all lead away from " +
                        (has_target ? "the target" : "one node") + ", as those of a tree do");
  }
}

// The required links between all nodes but `left_out` are part of some tree, or of several.
void check_tree(const LearningProblem& problem, size_t left_out, Contradictions& contradictions) {
  const size_t before = contradictions.count();
  const Knowledge& knowledge = problem.knowledge;
  for (size_t v = 0; v < problem.size(); ++v) {
    if (v == left_out) continue;
    std::vector<size_t> parents = required_parents(knowledge, v);
    std::erase(parents, left_out);
    if (parents.size() > 1)
      contradictions.tell("the required links give node " + shown(problem, v) + " the parents " +
                          shown(problem, parents[0]) + " and " + shown(problem, parents[1]) +
                          ", where a tree gives one");
    if (v == problem.target && !parents.empty())
      contradictions.tell("the required link from " + shown(problem, parents[0]) +
                          " leads into the root of the tree, " + shown(problem, v));
  }
  const Lists next = required_neighbors(knowledge, false, left_out);
  if (const std::vector<size_t> cycle = CycleFinder(next, false).find(); !cycle.empty())
    contradictions.tell("the required links " + shown_cycle(problem, cycle, " - ") +
                        " are no part of a tree");
  if (contradictions.count() == before) check_roots(problem, next, contradictions);
}

void check_links_from_target(const LearningProblem& problem, Contradictions& contradictions) {
  for (size_t v = 0; v < problem.size(); ++v)
    if (v != problem.target && !problem.knowledge.allows(problem.target, v))
      contradictions.tell("the method links the target " + shown(problem, problem.target) + " to " +
                          shown(problem, v) + ", but " + objection(problem, problem.target, v));
}

// No link is required that `has_link` does not know.
template <class HasLink>
void check_no_other_links(const LearningProblem& problem, Contradictions& contradictions, HasLink has_link) {
  for (size_t a = 0; a < problem.size(); ++a)
    for (size_t b = a + 1; b < problem.size(); ++b)
      if (is_required(problem.knowledge, a, b) && !has_link(a, b))
        contradictions.tell("a link between " + shown(problem, a) + " and " + shown(problem, b) +
                            " is required, but the method never has it");
}

void check_hierarchical(const LearningProblem& problem, Contradictions& contradictions) {
  if (problem.settings().max_completions > 0)
    contradictions.tell("cases are not completed for structures with hidden nodes, which no case knows");
  for (size_t v = 0; v < problem.size(); ++v)
    if (v != problem.target && is_continuous(*problem.nodes[v]))
      contradictions.tell("hierarchical structures are for discrete nodes alone, and node " +
                          shown(problem, v) + " is continuous");
  check_no_other_links(problem, contradictions, [](size_t, size_t) { return false; });
}

}  // namespace

void check_required_links(const LearningProblem& problem, Contradictions& contradictions) {
  const Lists children = required_neighbors(problem.knowledge, true);
  if (const std::vector<size_t> cycle = CycleFinder(children, true).find(); !cycle.empty())
    contradictions.tell("the required links close a cycle: " + shown_cycle(problem, cycle, " -> "),
                        tv_status_cyclic_network);
  else
    check_number_of_parents(problem, contradictions);
  check_sizes(problem, contradictions);
}

void check_shape(const LearningProblem& problem, Contradictions& contradictions) {
  const size_t target = problem.target;
  const tv_structure_method_t method = problem.settings().method;
  if (method == tv_structure_method_tree) check_tree(problem, kNone, contradictions);
  if (method < tv_structure_method_naive_bayes || target == kNone || is_continuous(*problem.nodes[target]))
    return;
  check_links_from_target(problem, contradictions);
  if (method == tv_structure_method_naive_bayes)
    check_no_other_links(problem, contradictions,
                         [target](size_t a, size_t b) { return a == target || b == target; });
  if (method == tv_structure_method_tan) check_tree(problem, target, contradictions);
  if (method == tv_structure_method_hierarchical) check_hierarchical(problem, contradictions);
}

}  // namespace tv

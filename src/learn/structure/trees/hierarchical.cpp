// What is hidden follows from what is observed, case by case, so that hidden nodes are columns like others.
#include "learn/structure/trees/hierarchical.h"

#include <algorithm>
#include <numeric>
#include <set>

#include "learn/structure/counts/pieces.h"
#include "learn/structure/trees/classifiers.h"
#include "learn/structure/trees/hidden_states.h"
#include "learn/structure/trees/pair_gains.h"
#include "network/node_operations.h"

namespace tv {
namespace {

// Two nodes below the target; the better pair first.
struct Pair {
  double gain;
  uint32_t a, b;

  bool operator<(const Pair& other) const noexcept {
    if (gain != other.gain) return gain > other.gain;
    return a != other.a ? a < other.a : b < other.b;
  }
};

CaseColumns copy_of(const CaseColumns& columns) {
  std::vector<uint32_t> rows(columns.rows());
  std::iota(rows.begin(), rows.end(), 0);
  return columns.sample(rows);
}

class HierarchySearch {
 public:
  HierarchySearch(const LearningProblem& problem, const CaseColumns& columns, ProgressMeter& progress)
      : problem_(problem),
        columns_(copy_of(columns)),
        logarithms_(columns.total(), !columns.is_weighted()),
        settings_(settings_for_gains(problem.settings())),
        progress_(progress),
        target_(static_cast<uint32_t>(problem.target)),
        parents_(problem.size(), problem.target) {}

  tv_status_t run() {
    for (uint32_t v = 0; v < problem_.size(); ++v) {
      if (v == target_) continue;
      if (tv_status_t status = pair_up(v)) return status;
      top_.insert(v);
    }
    while (!pairs_.empty()) {
      const Pair pair = *pairs_.begin();
      pairs_.erase(pairs_.begin());
      if (!top_.contains(pair.a) || !top_.contains(pair.b)) continue;
      if (tv_status_t status = progress_.advance()) return store_status(status);
      HiddenStates states = find_hidden_states(columns_, logarithms_, target_, pair.a, pair.b);
      if (states.count < 2 || !(states.gain > 0)) continue;
      if (tv_status_t status = add_hidden_node(pair, std::move(states))) return status;
    }
    return tv_status_none;
  }

  bool has_hidden_nodes() const noexcept { return parents_.size() > problem_.size(); }

  // All nodes with the hidden ones among them, in the order of their names.
  Structure structure() const {
    Structure result;
    for (const Node* node : problem_.nodes) result.nodes.push_back({node->name, 0});
    size_t number = 0;
    for (size_t v = problem_.size(); v < parents_.size(); ++v) {
      std::string name;
      do name = "H" + std::to_string(++number);
      while (find_node(*problem_.domain, name));
      result.nodes.push_back({std::move(name), columns_.states(v)});
    }
    std::vector<size_t> order(parents_.size()), place(parents_.size());
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(),
              [&](size_t a, size_t b) { return result.nodes[a].name < result.nodes[b].name; });
    std::vector<StructureNode> nodes;
    for (size_t i = 0; i < order.size(); ++i) {
      place[order[i]] = i;
      nodes.push_back(std::move(result.nodes[order[i]]));
    }
    result.nodes = std::move(nodes);
    result.graph = PartialGraph(parents_.size());
    for (size_t v = 0; v < parents_.size(); ++v)
      if (v != target_) result.graph.direct(place[parents_[v]], place[v]);
    return result;
  }

 private:
  // With all nodes below the target.
  tv_status_t pair_up(uint32_t v) {
    const std::vector<uint32_t> others(top_.begin(), top_.end());
    const size_t threads = std::min(settings_.threads, std::max<size_t>(others.size(), 1));
    std::vector<IndependenceTester> testers;
    for (size_t i = 0; i < threads; ++i) testers.emplace_back(columns_, logarithms_, settings_);
    std::vector<TestResult> results(others.size());
    const uint32_t given[] = {target_};
    const tv_status_t status = run_pieces(others.size(), threads, progress_, [&](size_t thread, size_t i) {
      results[i] = testers[thread].test(others[i], v, given);
      return tv_status_none;
    });
    if (status) return status;
    for (size_t i = 0; i < others.size(); ++i)
      if (results[i].p_value <= settings_.significance && has_cases_enough(others[i], v))
        pairs_.insert({gain_of(results[i], columns_.total()), others[i], v});
    return tv_status_none;
  }

  // By the rule of tests that are not asked for gains.
  bool has_cases_enough(uint32_t a, uint32_t b) const noexcept {
    double degrees = static_cast<double>(columns_.occurring(target_));
    for (const uint32_t v : {a, b}) degrees *= static_cast<double>(columns_.occurring(v)) - 1.0;
    return columns_.total() >= problem_.settings().cases_per_degree * degrees;
  }

  tv_status_t add_hidden_node(const Pair& pair, HiddenStates states) {
    const uint32_t hidden = static_cast<uint32_t>(parents_.size());
    columns_.add(states.count, std::move(states.codes));
    parents_.push_back(problem_.target);
    for (const uint32_t child : {pair.a, pair.b}) {
      parents_[child] = hidden;
      top_.erase(child);
    }
    if (tv_status_t status = pair_up(hidden)) return status;
    top_.insert(hidden);
    return tv_status_none;
  }

  const LearningProblem& problem_;
  CaseColumns columns_;  // of the nodes, then of hidden ones
  const CountLogarithms logarithms_;
  const LearnerSettings settings_;
  ProgressMeter& progress_;
  const uint32_t target_;
  std::vector<size_t> parents_;  // by column; the target's own means nothing
  std::set<uint32_t> top_;       // below the target
  std::set<Pair> pairs_;         // that are to be looked at
};

}  // namespace

tv_status_t learn_hierarchical(const LearningProblem& problem, const CaseColumns& columns,
                               ProgressMeter& progress, Structure& structure) {
  HierarchySearch search(problem, columns, progress);
  if (tv_status_t status = search.run()) return status;
  if (!search.has_hidden_nodes()) return learn_naive_bayes(problem, columns, progress, structure);
  structure = search.structure();
  return tv_status_none;
}

}  // namespace tv

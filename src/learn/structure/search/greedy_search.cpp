// What each link that could be added or removed would gain is kept in a table, of which a step changes the
// columns of one or two nodes.
#include "learn/structure/search/greedy_search.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <unordered_set>

#include "learn/structure/counts/pieces.h"
#include "learn/structure/graph/search_graph.h"
#include "learn/structure/search/clique_weight.h"

namespace tv {
namespace {

constexpr double kNever = -std::numeric_limits<double>::infinity();
constexpr double kLeastGain = 1e-7;  // less is rounding

// Fewer rows, over all families that are to be scored, are not worth waking threads for.
constexpr size_t kLeastShared = 500000;

enum class Move { add, remove, reverse, none };

struct Step {
  Move move = Move::none;
  uint32_t from = 0, to = 0;
  double gain = kNever;
};

class GreedySearch {
 public:
  GreedySearch(const LearningProblem& problem, const CaseColumns& columns, ProgressMeter& progress,
               const PartialGraph& start)
      : problem_(problem),
        settings_(problem.settings()),
        columns_(columns),
        progress_(progress),
        logarithms_(columns.total(), !columns.is_weighted()),
        graph_(start),
        best_graph_(start),
        random_(settings_.seed),
        workers_(settings_.threads) {
    for (size_t thread = 0; thread < settings_.threads; ++thread)
      scorers_.emplace_back(columns, logarithms_, settings_);
    gains_.resize(size() * size());
    family_scores_.resize(size());
  }

  // `error` where the host asked to stop; the best graph is one that may be used all the same, if there is
  // any.
  tv_status_t run() {
    if (tv_status_t status = evaluate_all()) return status;
    keep_best();
    if (tv_status_t status = climb()) return status;
    for (size_t i = 0; i < settings_.restarts; ++i) {
      if (tv_status_t status = perturb()) return status;
      if (tv_status_t status = climb()) return status;
    }
    return tv_status_none;
  }

  bool has_best() const noexcept { return has_best_; }
  PartialGraph best_graph() const { return best_graph_.graph(); }
  double best_score() const noexcept { return best_score_; }

 private:
  size_t size() const noexcept { return graph_.size(); }
  double& gain(size_t from, size_t to) noexcept { return gains_[to * size() + from]; }

  double score() const noexcept {
    double sum = 0.0;
    for (const double family : family_scores_) sum += family;
    return sum;
  }

  // ---- What steps gain ----

  tv_status_t evaluate_all() {
    for (uint32_t node = 0; node < size(); ++node)
      if (tv_status_t status = evaluate(node)) return status;
    return tv_status_none;
  }

  bool may_add(uint32_t from, uint32_t to) const noexcept {
    return from != to && problem_.knowledge.allows(from, to);
  }

  // The family of a node without one of its parents, or with another one.
  std::vector<uint32_t> toggled(uint32_t from, uint32_t to) const {
    std::vector<uint32_t> parents = graph_.parents(to);
    const auto place = std::lower_bound(parents.begin(), parents.end(), from);
    if (graph_.has_link(from, to))
      parents.erase(place);
    else
      parents.insert(place, from);
    return parents;
  }

  // Of all families that a step may give to the node.
  tv_status_t evaluate(uint32_t node) {
    if (!cache_.find(node, graph_.parents(node)))
      cache_.insert(node, graph_.parents(node), scorers_[0].score(node, graph_.parents(node)));
    family_scores_[node] = *cache_.find(node, graph_.parents(node));
    std::vector<uint32_t> unknown;
    for (uint32_t other = 0; other < size(); ++other) {
      gain(other, node) = kNever;
      if (!may_add(other, node)) continue;
      const std::vector<uint32_t> parents = toggled(other, node);
      if (parents.size() > settings_.max_parents && !graph_.has_link(other, node)) continue;
      if (const double* known = cache_.find(node, parents))
        gain(other, node) = *known - family_scores_[node];
      else
        unknown.push_back(other);
    }
    std::vector<double> scores(unknown.size(), kNever);
    const size_t threads = unknown.size() * columns_.rows() < kLeastShared ? 1 : settings_.threads;
    const tv_status_t status = run_pieces(
        unknown.size(), threads, progress_,
        [&](size_t thread, size_t i) -> tv_status_t {
          const std::vector<uint32_t> parents = toggled(unknown[i], node);
          if (scorers_[thread].bound(node, parents) >= family_scores_[node])
            scores[i] = scorers_[thread].score(node, parents);
          return tv_status_none;
        },
        &workers_);
    if (status) return status;
    for (size_t i = 0; i < unknown.size(); ++i) {
      if (scores[i] == kNever) continue;  // it need not be so once the family has another score
      gain(unknown[i], node) = scores[i] - family_scores_[node];
      cache_.insert(node, toggled(unknown[i], node), scores[i]);
    }
    return tv_status_none;
  }

  // ---- Steps ----

  bool may_remove(uint32_t from, uint32_t to) const noexcept {
    return !problem_.knowledge.requires_any(from, to);
  }
  bool may_reverse(uint32_t from, uint32_t to) const noexcept {
    return problem_.knowledge.allows(to, from) && graph_.parents(from).size() < settings_.max_parents &&
           graph_.can_reverse(from, to);
  }

  // The best step that leads to a graph which has not been `visited`; of equally good ones the first.
  Step best_step(const std::unordered_set<uint64_t>& visited) {
    Step best;
    const auto offer = [&](Move move, uint32_t from, uint32_t to, double gain_of_it) {
      if (gain_of_it > best.gain && !visited.contains(hash_after({move, from, to, gain_of_it})))
        best = {move, from, to, gain_of_it};
    };
    for (uint32_t to = 0; to < size(); ++to)
      for (uint32_t from = 0; from < size(); ++from) {
        const double own = gain(from, to);
        if (!graph_.has_link(from, to)) {
          if (own > best.gain && graph_.can_add(from, to)) offer(Move::add, from, to, own);
          continue;
        }
        if (own > best.gain && may_remove(from, to)) offer(Move::remove, from, to, own);
        const double both = own + gain(to, from);
        if (both > best.gain && may_reverse(from, to)) offer(Move::reverse, from, to, both);
      }
    return best;
  }

  uint64_t hash_after(const Step& step) const noexcept {
    uint64_t hash = graph_.hash() ^ SearchGraph::hash_of_link(step.from, step.to);
    if (step.move == Move::reverse) hash ^= SearchGraph::hash_of_link(step.to, step.from);
    return hash;
  }

  void make(const Step& step) {
    if (step.move == Move::add) return graph_.add(step.from, step.to);
    graph_.remove(step.from, step.to);
    if (step.move == Move::reverse) graph_.add(step.to, step.from);
  }

  // Whether cliques would be heavier than they may be; the graph stays as it is.
  bool is_too_heavy(const Step& step) {
    if (settings_.max_total_weight == 0 || step.move == Move::remove) return false;
    PartialGraph graph = graph_.graph();
    graph.separate(step.from, step.to);
    if (step.move == Move::add)
      graph.direct(step.from, step.to);
    else
      graph.direct(step.to, step.from);
    return total_clique_weight(problem_, graph) > settings_.max_total_weight;
  }

  tv_status_t take(const Step& step) {
    make(step);
    if (tv_status_t status = evaluate(step.to)) return status;
    return step.move == Move::reverse ? evaluate(step.from) : tv_status_none;
  }

  // ---- The search ----

  // To a local maximum, and on from there as long as the tabu list lets it.
  tv_status_t climb() {
    std::unordered_set<uint64_t> visited{graph_.hash()};
    double top = score();
    for (size_t steps_down = 0; steps_down <= settings_.tabu_steps;) {
      Step step = best_step(visited);
      while (step.move != Move::none && is_too_heavy(step)) {
        visited.insert(hash_after(step));
        step = best_step(visited);
      }
      if (step.move == Move::none || (steps_down == settings_.tabu_steps && step.gain <= kLeastGain)) break;
      if (tv_status_t status = take(step)) return status;
      visited.insert(graph_.hash());
      const double now = score();
      steps_down = now > top + kLeastGain ? 0 : steps_down + 1;
      top = std::max(top, now);
      keep_best();
    }
    return tv_status_none;
  }

  void keep_best() {
    const double now = score();
    if (has_best_ && now <= best_score_ + kLeastGain) return;
    best_graph_ = graph_;
    best_score_ = now;
    has_best_ = true;
  }

  // Some random steps away from the best graph.
  tv_status_t perturb() {
    graph_ = best_graph_;
    if (tv_status_t status = evaluate_all()) return status;
    const size_t steps = std::max<size_t>(2, size() / 4);
    for (size_t i = 0, attempts = 0; i < steps && attempts < 100 * steps; ++attempts) {
      Step step;
      step.from = static_cast<uint32_t>(random_() % size());
      step.to = static_cast<uint32_t>(random_() % size());
      if (!set_move(step, random_() % 2 == 0) || is_too_heavy(step)) continue;
      if (tv_status_t status = take(step)) return status;
      ++i;
    }
    return tv_status_none;
  }

  // What can be done about two nodes; of a link that there is, it is removed or reversed.
  bool set_move(Step& step, bool removes) {
    if (step.from == step.to) return false;
    if (!graph_.has_link(step.from, step.to)) {
      step.move = Move::add;
      return gain(step.from, step.to) > kNever && graph_.can_add(step.from, step.to);
    }
    step.move = removes ? Move::remove : Move::reverse;
    return removes ? may_remove(step.from, step.to)
                   : may_reverse(step.from, step.to) && gain(step.to, step.from) > kNever;
  }

  const LearningProblem& problem_;
  const LearnerSettings& settings_;
  const CaseColumns& columns_;
  ProgressMeter& progress_;
  const CountLogarithms logarithms_;
  std::vector<FamilyScorer> scorers_;  // by thread
  ScoreCache cache_;
  SearchGraph graph_, best_graph_;
  double best_score_ = 0.0;
  bool has_best_ = false;
  std::vector<double> gains_;  // [to][from] of adding or removing the link; kNever where that may not be
  std::vector<double> family_scores_;  // by node
  std::mt19937_64 random_;
  Workers workers_;
};

}  // namespace

tv_status_t search_greedily(const LearningProblem& problem, const CaseColumns& columns,
                            ProgressMeter& progress, Structure& structure) {
  GreedySearch search(problem, columns, progress, structure.graph);
  const tv_status_t status = search.run();
  if (status && !(progress.is_stopped() && search.has_best())) return status;
  structure.is_finished = !status;
  structure.graph = search.best_graph();
  structure.score = search.best_score();
  return tv_status_none;
}

}  // namespace tv

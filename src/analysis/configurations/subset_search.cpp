#include "analysis/configurations/subset_search.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "api/status.h"

namespace tv {
namespace {

constexpr double kImpossible = -std::numeric_limits<double>::infinity();
constexpr double kRounding = 1e-9;  // of a bound, in logarithms

// One that was found, and its states by depth.
struct Found {
  double log_probability;
  std::vector<uint32_t> states;
  // The worse one last; ties are decided by the states, so that the order is always the same.
  bool operator<(const Found& other) const noexcept {
    if (log_probability != other.log_probability) return log_probability > other.log_probability;
    return states < other.states;
  }
};

class SubsetSearch {
 public:
  SubsetSearch(ConfigurationBounds& bounds, const SubsetRequest& request, ProgressMeter& progress)
      : bounds_(bounds),
        request_(request),
        progress_(progress),
        log_least_(request.least_probability > 0.0 ? std::log(request.least_probability) : kImpossible),
        states_(bounds.nodes().size()) {}

  tv_status_t run() {
    if (states_.empty()) {
      add(0.0);
      return tv_status_none;
    }
    if (tv_status_t status = go_deeper()) return status;
    while (!levels_.empty()) {
      if (tv_status_t status = progress_.advance()) return status;
      Level& level = levels_.back();
      const size_t depth = levels_.size() - 1;
      if (level.next == level.states.size() || is_cut(level.states[level.next].first)) {
        levels_.pop_back();
        if (depth > 0) bounds_.unassign(depth - 1);
        continue;
      }
      if (request_.max_steps && steps_++ == request_.max_steps) return stop(), tv_status_none;
      const auto [log_bound, state] = level.states[level.next++];
      states_[depth] = static_cast<uint32_t>(state);
      if (depth + 1 == states_.size()) {
        add(log_bound);
        continue;
      }
      if (tv_status_t status = bounds_.assign(depth, state)) return status;
      if (tv_status_t status = go_deeper()) return status;
    }
    return tv_status_none;
  }

  void take(Configurations& result) {
    std::sort_heap(found_.begin(), found_.end());
    result.bound = std::exp(std::min(std::max(log_least_, open_bound_), 0.0));
    if (is_full()) result.bound = std::max(std::exp(found_.back().log_probability), std::exp(open_bound_));
    result.is_complete = open_bound_ == kImpossible;
    for (const Found& found : found_) {
      result.log_probabilities.push_back(std::min(found.log_probability, 0.0));
      result.states.insert(result.states.end(), found.states.begin(), found.states.end());
    }
  }

 private:
  // States of the node at one depth that are still to be tried, and their bounds, the best first.
  struct Level {
    std::vector<std::pair<double, size_t>> states;
    size_t next = 0;
  };

  bool is_full() const noexcept { return found_.size() == request_.most; }

  bool is_cut(double log_bound) const noexcept {
    if (log_bound == kImpossible || log_bound < log_least_ - kRounding) return true;
    return is_full() && log_bound <= found_.front().log_probability;
  }

  tv_status_t go_deeper() {
    Level level;
    std::vector<double> log_bounds;
    if (tv_status_t status = bounds_.bound(levels_.size(), log_bounds)) return status;
    for (size_t s = 0; s < log_bounds.size(); ++s) level.states.emplace_back(log_bounds[s], s);
    std::stable_sort(level.states.begin(), level.states.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    levels_.push_back(std::move(level));
    return tv_status_none;
  }

  void add(double log_probability) {
    if (log_probability < log_least_ - kRounding * kRounding) return;
    found_.push_back({log_probability, states_});
    std::push_heap(found_.begin(), found_.end());
    if (found_.size() <= request_.most) return;
    std::pop_heap(found_.begin(), found_.end());
    found_.pop_back();
  }

  // What has not been tried may be as probable as its bound says.
  void stop() {
    for (const Level& level : levels_)
      if (level.next < level.states.size() && !is_cut(level.states[level.next].first))
        open_bound_ = std::max(open_bound_, level.states[level.next].first);
    while (levels_.size() > 1) {
      levels_.pop_back();
      bounds_.unassign(levels_.size() - 1);
    }
  }

  ConfigurationBounds& bounds_;
  const SubsetRequest& request_;
  ProgressMeter& progress_;
  const double log_least_;
  double open_bound_ = kImpossible;  // of what was not searched
  size_t steps_ = 0;
  std::vector<Level> levels_;
  std::vector<uint32_t> states_;  // by depth
  std::vector<Found> found_;      // a heap with the worst one in front
};

}  // namespace

tv_status_t search_subset(ConfigurationBounds& bounds, const SubsetRequest& request, ProgressMeter& progress,
                          Configurations& result) {
  SubsetSearch search(bounds, request, progress);
  if (tv_status_t status = search.run()) return store_status(status);
  search.take(result);
  return tv_status_none;
}

}  // namespace tv

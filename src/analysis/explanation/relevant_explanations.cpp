// The most relevant explanations of the evidence (Yuan, Lim and Lu 2011), by looking at all of them.
#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "analysis/evidence_query.h"
#include "api/boundary.h"
#include "inference/answers/joint_marginal.h"
#include "network/refusals.h"

struct tv_relevant_explanations_s {
  struct Entry {
    std::vector<tv::Node*> nodes;
    std::vector<size_t> states;
    double factor, probability;
  };
  std::vector<Entry> entries;
};

namespace tv {
namespace {

using Explanations = tv_relevant_explanations_s;

constexpr size_t kMaxCells = size_t{1} << 20;  // choices of nodes and states
constexpr double kEqual = 1e-5;                // a relative difference of factors that means nothing
constexpr double kNoFactor = -1;               // of what is impossible or certain before the evidence

// The probabilities of all choices of some nodes and a state for each. A node has one digit more than states,
// its last, for a choice that leaves it out.
class Choices {
 public:
  explicit Choices(const NodeList& nodes) {
    for (const Node* node : nodes) states_.push_back(node->number_of_states);
    strides_.resize(states_.size());
    for (size_t i = states_.size(); i-- > 0;) {
      strides_[i] = size_;
      size_ *= states_[i] + 1;
    }
  }

  size_t size() const noexcept { return size_; }
  size_t nodes() const noexcept { return states_.size(); }
  size_t states(size_t i) const noexcept { return states_[i]; }
  size_t stride(size_t i) const noexcept { return strides_[i]; }
  size_t digit(size_t cell, size_t i) const noexcept { return cell / strides_[i] % (states_[i] + 1); }
  bool leaves_out(size_t cell, size_t i) const noexcept { return digit(cell, i) == states_[i]; }

  // The cell that leaves out one node more, or one that states it.
  size_t without(size_t cell, size_t i) const noexcept {
    return cell + (states_[i] - digit(cell, i)) * strides_[i];
  }
  size_t with(size_t cell, size_t i, size_t state) const noexcept {
    return cell - (digit(cell, i) - state) * strides_[i];
  }

  std::vector<double> sums_of(const Table& joint) const {
    std::vector<double> sums(size_, 0);
    for (size_t entry = 0; entry < joint.size; ++entry) sums[cell_of(entry)] = joint.data[entry];
    for (size_t i = 0; i < states_.size(); ++i)
      for (size_t cell = 0; cell < size_; ++cell)
        if (!leaves_out(cell, i)) sums[without(cell, i)] += sums[cell];
    return sums;
  }

  // Of all but this choice: that the first node differs, or that it does not and the second one does, and so
  // on. Nothing is subtracted, so that no digits are lost.
  double complement(const std::vector<double>& sums, size_t cell) const noexcept {
    double sum = 0;
    size_t agreed = size_ - 1;
    for (size_t i = 0; i < states_.size(); ++i) {
      if (leaves_out(cell, i)) continue;
      const size_t state = digit(cell, i);
      for (size_t s = 0; s < states_[i]; ++s)
        if (s != state) sum += sums[with(agreed, i, s)];
      agreed = with(agreed, i, state);
    }
    return sum;
  }

 private:
  size_t cell_of(size_t entry) const noexcept {
    size_t cell = 0;
    for (size_t i = states_.size(); i-- > 0; entry /= states_[i]) cell += entry % states_[i] * strides_[i];
    return cell;
  }

  std::vector<size_t> states_, strides_;
  size_t size_ = 1;
};

class ExplanationSearch {
 public:
  ExplanationSearch(const NodeList& targets, const Table& before, const Table& after)
      : targets_(targets),
        choices_(targets),
        before_(choices_.sums_of(before)),
        after_(choices_.sums_of(after)) {
    factors_.reserve(choices_.size());
    for (size_t cell = 0; cell < choices_.size(); ++cell) factors_.push_back(factor(cell));
  }

  std::unique_ptr<Explanations> best(size_t count) const {
    std::vector<size_t> cells = minimal_cells();
    std::stable_sort(cells.begin(), cells.end(),
                     [&](size_t a, size_t b) { return factors_[a] > factors_[b]; });
    auto result = std::make_unique<Explanations>();
    for (size_t i = 0; i < std::min(count, cells.size()); ++i) result->entries.push_back(entry(cells[i]));
    return result;
  }

 private:
  // P(e | x) / P(e | not x), by Bayes' rule from the odds of x with and without e.
  double factor(size_t cell) const noexcept {
    const double before = before_[cell], others = choices_.complement(before_, cell);
    if (!(before > 0) || !(others > 0)) return kNoFactor;
    const double others_after = choices_.complement(after_, cell);
    if (!(others_after > 0)) return std::numeric_limits<double>::infinity();
    return after_[cell] / others_after * (others / before);
  }

  // Those that no part of them, and nothing that they are a part of, is preferred to.
  std::vector<size_t> minimal_cells() const {
    std::vector<double> best_part(choices_.size(), kNoFactor), best_whole(choices_.size(), kNoFactor);
    for (size_t cell = choices_.size(); cell-- > 0;)
      for (size_t i = 0; i < choices_.nodes(); ++i)
        if (!choices_.leaves_out(cell, i)) {
          const size_t part = choices_.without(cell, i);
          if (part == choices_.size() - 1) continue;
          best_part[cell] = std::max({best_part[cell], best_part[part], factors_[part]});
        }
    for (size_t cell = 0; cell < choices_.size(); ++cell)
      for (size_t i = 0; i < choices_.nodes(); ++i)
        for (size_t s = 0; choices_.leaves_out(cell, i) && s < choices_.states(i); ++s) {
          const size_t whole = choices_.with(cell, i, s);
          best_whole[cell] = std::max({best_whole[cell], best_whole[whole], factors_[whole]});
        }
    std::vector<size_t> cells;
    for (size_t cell = 0; cell + 1 < choices_.size(); ++cell)
      if (factors_[cell] > 1 + kEqual && best_part[cell] < factors_[cell] * (1 - kEqual) &&
          best_whole[cell] <= factors_[cell] * (1 + kEqual))
        cells.push_back(cell);
    return cells;
  }

  Explanations::Entry entry(size_t cell) const {
    Explanations::Entry entry{{}, {}, factors_[cell], after_[cell] / after_.back()};
    for (size_t i = 0; i < choices_.nodes(); ++i)
      if (!choices_.leaves_out(cell, i)) {
        entry.nodes.push_back(targets_[i]);
        entry.states.push_back(choices_.digit(cell, i));
      }
    return entry;
  }

  const NodeList& targets_;
  const Choices choices_;
  const std::vector<double> before_, after_;  // the evidence
  std::vector<double> factors_;
};

tv_status_t collect_targets(const Domain& domain, Node* const* listed, NodeList& targets) {
  size_t cells = 1;
  for (size_t i = 0; listed[i]; ++i) {
    Node& node = *listed[i];
    if (tv_status_t status = check_open_question(&node)) return status;
    if (node.domain != &domain)
      return refuse(tv_status_usage, "node \"%s\" belongs to another network", shown_name(node));
    if (targets.contains(&node))
      return refuse(tv_status_usage, "node \"%s\" is listed twice", shown_name(node));
    targets.push_back(&node);
    cells = size_multiply(cells, size_add(node.number_of_states, 1));
    if (cells > kMaxCells)
      return refuse(tv_status_usage, "the nodes have more than %zu choices of some of them and their states",
                    kMaxCells);
  }
  return targets.empty() ? refuse(tv_status_usage, "there is no node to explain the evidence with")
                         : tv_status_none;
}

Explanations* find(Domain* domain, Node* const* listed, size_t count) {
  if (!check(domain && listed)) return nullptr;
  NodeList targets;
  if (collect_targets(*domain, listed, targets)) return nullptr;
  EvidenceQuery query(*domain, "propagation");
  if (query.start() || query.propagate()) return nullptr;
  const std::unique_ptr<Table> before = joint_marginal(query.state(), targets);
  if (!before) return nullptr;
  query.enter_all();
  if (query.propagate()) return nullptr;
  const std::unique_ptr<Table> after = joint_marginal(query.state(), targets);
  if (!after) return nullptr;
  return ExplanationSearch(targets, *before, *after).best(count).release();
}

const Explanations::Entry* checked_entry(const Explanations* explanations, size_t index) noexcept {
  return check(explanations && index < explanations->entries.size()) ? &explanations->entries[index]
                                                                     : nullptr;
}

template <class T>
const T* list_of(const Explanations* explanations, size_t index, size_t* count,
                 std::vector<T> Explanations::Entry::*list) noexcept {
  const Explanations::Entry* const entry = checked_entry(count ? explanations : nullptr, index);
  if (!entry) return nullptr;
  *count = (entry->*list).size();
  return (entry->*list).data();
}

double number_of(const Explanations* explanations, size_t index,
                 double Explanations::Entry::*number) noexcept {
  const Explanations::Entry* const entry = checked_entry(explanations, index);
  return entry ? entry->*number : -1;
}

}  // namespace
}  // namespace tv

tv_relevant_explanations_t* tv_domain_find_relevant_explanations(tv_domain_t* domain, tv_node_t** targets,
                                                                 size_t count) {
  return tv::guarded<tv_relevant_explanations_t*>(nullptr, [&] { return tv::find(domain, targets, count); });
}

tv_status_t tv_relevant_explanations_delete(tv_relevant_explanations_t* explanations) {
  if (!tv::check(explanations)) return tv_status_usage;
  delete explanations;
  return tv_status_none;
}

size_t tv_relevant_explanations_get_number(const tv_relevant_explanations_t* explanations) {
  return tv::check(explanations) ? explanations->entries.size() : tv::kNone;
}

tv_node_t* const* tv_relevant_explanations_get_nodes(const tv_relevant_explanations_t* explanations,
                                                     size_t index, size_t* count) {
  return tv::list_of(explanations, index, count, &tv_relevant_explanations_s::Entry::nodes);
}

const size_t* tv_relevant_explanations_get_states(const tv_relevant_explanations_t* explanations,
                                                  size_t index, size_t* count) {
  return tv::list_of(explanations, index, count, &tv_relevant_explanations_s::Entry::states);
}

double tv_relevant_explanations_get_factor(const tv_relevant_explanations_t* explanations, size_t index) {
  return tv::number_of(explanations, index, &tv_relevant_explanations_s::Entry::factor);
}

double tv_relevant_explanations_get_probability(const tv_relevant_explanations_t* explanations,
                                                size_t index) {
  return tv::number_of(explanations, index, &tv_relevant_explanations_s::Entry::probability);
}

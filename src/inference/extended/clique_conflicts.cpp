#include "inference/extended/clique_conflicts.h"

#include <algorithm>

#include "inference/evidence/evidence.h"
#include "inference/extended/extended_propagation.h"
#include "inference/former_potentials.h"
#include "inference/schedule/subtree.h"

namespace tv {
namespace {

// For its lifetime, restores the evidence of the pending nodes before the last step.
class FormerEvidence {
 public:
  explicit FormerEvidence(TreeEngine& engine) : engine_(engine) {
    present_.reserve(engine.former_states.size());
    for (size_t i = 0; i < engine.former_states.size(); ++i) {
      NodeState& data = engine[*engine.pending[i]];
      present_.push_back(data.propagated_state);
      data.propagated_state = engine.former_states[i];
    }
    exchange_findings();
  }
  ~FormerEvidence() {
    exchange_findings();
    for (size_t i = 0; i < present_.size(); ++i) engine_[*engine_.pending[i]].propagated_state = present_[i];
  }
  FormerEvidence(const FormerEvidence&) = delete;
  FormerEvidence& operator=(const FormerEvidence&) = delete;

 private:
  void exchange_findings() noexcept {
    auto finding = engine_.former_findings.begin();
    for (size_t i = 0; i < engine_.former_states.size(); ++i) {
      if (engine_.former_states[i] != kFindingVector) continue;
      const Node& node = *engine_.pending[i];
      const auto states = static_cast<ptrdiff_t>(node.number_of_states);
      if (engine_.former_findings.end() - finding < states) return;  // there was no memory for more
      std::swap_ranges(finding, finding + states, engine_.propagated_finding(node));
      finding += states;
    }
  }

  TreeEngine& engine_;
  std::vector<ptrdiff_t> present_;
};

// The sum of the ratios of two messages through a separator (or the largest, where maxima are propagated).
// The former one may have dimensions that the present evidence has reduced. What was impossible before has
// the ratio zero.
class MessageRatio {
 public:
  MessageRatio(const TreeEngine& engine, const NodeList& members, const ExtendedPropagation& present,
               size_t separator) noexcept
      : engine_(engine), members_(members), present_(present), separator_(separator) {}

  double compare(const ExtendedPropagation& former, const std::vector<size_t>& former_strides,
                 bool maximizes) const {
    const std::vector<size_t> strides = present_.strides(separator_);
    const WideArray& message = present_.message(separator_);
    const int64_t exponent = present_.exponent(separator_) - former.exponent(separator_);
    double total = 0.0;
    for (size_t i = 0; i < message.size(); ++i) {
      WideNumber above = entry(message, i);
      const size_t then = former_index(i, strides, former_strides);
      const WideNumber below = entry(former.message(separator_), then);
      if (!(above.mantissa > 0.0) || !(below.mantissa > 0.0)) continue;
      if (!(former.outward_message(separator_).mantissas[then] > 0.0)) continue;
      above.exponent += exponent - below.exponent;
      above.multiply(1.0 / below.mantissa);
      total = maximizes ? std::max(total, above.value()) : total + above.value();
    }
    return total;
  }

 private:
  size_t former_index(size_t index, const std::vector<size_t>& strides,
                      const std::vector<size_t>& former_strides) const noexcept {
    if (engine_.tree->sparse) return index;  // no node is reduced
    size_t former = 0;
    for (size_t m = 0; m < members_.size(); ++m) {
      if (former_strides[m] == 0) continue;
      const size_t state = strides[m] ? index / strides[m] % members_[m]->number_of_states
                                      : static_cast<size_t>(engine_[*members_[m]].propagated_state);
      former += former_strides[m] * state;
    }
    return former;
  }

  const TreeEngine& engine_;
  const NodeList& members_;
  const ExtendedPropagation& present_;
  size_t separator_;
};

}  // namespace

tv_status_t measure_conflicts(TreeEngine& engine) {
  if (engine.conflict_root == TreeEngine::kNoConflictRoot) return tv_status_none;
  const bool is_lost = engine.marginals_only && engine.saved_potentials.are_lost;
  if (is_lost || engine.conflict_root == TreeEngine::kLostConflicts) return tv_status_no_equilibrium;
  const FormerNumbers numbers = former_numbers(engine);
  const size_t root = engine.conflict_root;
  ExtendedPropagation present(engine, engine.equilibrium, tv_evidence_normal);
  ExtendedPropagation former(engine, engine.former_equilibrium, tv_evidence_normal);
  if (tv_status_t status = present.collect(root)) return status;
  std::vector<std::vector<size_t>> former_strides(engine.separators.size());
  {
    const FormerEvidence evidence(engine);
    if (tv_status_t status = former.collect(root)) return status;
    if (tv_status_t status = former.distribute({})) return status;
    for (size_t s = 0; s < former_strides.size(); ++s)
      if (engine.separators[s].separator) former_strides[s] = former.strides(s);
  }
  clear_marks(engine);
  for (const uint32_t clique : engine.measured) {
    mark_clique(engine, clique);
    engine.cliques[clique].conflict = engine.cliques[clique].finding_probability;
  }
  order_from(engine, root);
  for (size_t i = engine.order.size(); i-- > 1;) {
    CliqueWork& work = engine.cliques[engine.order[i]];
    const CliqueLink& link = work.links[engine.reached_by[engine.order[i]]];
    engine.cliques[link.neighbor].conflict *= work.conflict;
    const MessageRatio ratio(engine, engine.separators[link.separator].separator->members, present,
                             link.separator);
    work.conflict /=
        ratio.compare(former, former_strides[link.separator], engine.equilibrium == tv_equilibrium_max);
  }
  engine.cliques[root].conflict = engine.conflict;
  engine.conflict_root = TreeEngine::kNoConflictRoot;
  return tv_status_none;
}

}  // namespace tv

// Entering cases into states of their own, over the forest of the domain.
#include "learn/case_propagation.h"

#include <algorithm>

#include "api/boundary.h"
#include "inference/answers/joint_marginal.h"
#include "inference/elimination/elimination_schedule.h"
#include "inference/evidence/evidence.h"
#include "inference/propagate.h"
#include "inference/reset.h"
#include "learn/complete_cases.h"
#include "network/cases.h"
#include "tables/kernels/parallel.h"

namespace tv {
namespace {

constexpr size_t kParts = 16;  // of the cases, each with sums of its own, whatever the number of threads

}  // namespace

class CasePropagator::State {
 public:
  State(Domain& domain, const std::vector<Family>& families) : families_(families) {
    state_.domain = &domain;
    state_.entered.resize(domain.forest->nodes.size());
  }

  tv_status_t start() {
    if (tv_status_t status = create_engines(state_)) return status;
    for (const auto& engine : state_.trees) engine->tables_touched = false;
    return tv_status_none;
  }

  tv_status_t add(size_t row, std::vector<FamilyCounts>& counts, double& log_likelihood) {
    const double weight = static_cast<double>(case_count(*state_.domain, row));
    retract();
    for (const Family& family : families_) enter(*family.node, row);
    tv_status_t status = propagate_state(state_, tv_equilibrium_sum, tv_evidence_normal);
    if (status == tv_status_overflow && state_.domain->counters.discrete > 0)
      status = enter_piece_by_piece(row);
    if (status) return status;
    for (size_t f = 0; f < families_.size(); ++f) {
      const Family& family = families_[f];
      if (!family.is_learned) continue;
      if (family_is_complete(family, row)) {
        add_complete_family(family, row, weight, counts[f]);
        continue;
      }
      const std::unique_ptr<Table> marginal = joint_marginal(state_, family.table->nodes);
      if (!marginal) return current_status();
      add_marginal(family, *marginal, weight, counts[f]);
    }
    for (const auto& engine : state_.trees) log_likelihood += weight * engine->log_constant;
    return tv_status_none;
  }

 private:
  void retract() {
    retract_listed_findings(state_);
    for (const auto& engine : state_.trees) recover_tree(*engine);
  }

  void enter(Node& node, size_t row) {
    if (!case_is_set(node, row)) return;
    if (is_discrete(node)) {
      _tv_node_select_state(node, case_state(node, row), &state_);
    } else {
      _tv_node_enter_value(node, case_value(node, row), &state_);
    }
  }

  // Messages grow less when one finding follows the other.
  tv_status_t enter_piece_by_piece(size_t row) {
    retract();
    for (const Family& family : families_) {
      if (!is_discrete(*family.node) || !case_is_set(*family.node, row)) continue;
      enter(*family.node, row);
      if (tv_status_t status = propagate_state(state_, tv_equilibrium_sum, tv_evidence_normal)) return status;
    }
    for (const Family& family : families_)
      if (is_continuous(*family.node)) enter(*family.node, row);
    return propagate_state(state_, tv_equilibrium_sum, tv_evidence_normal);
  }

  InferenceState state_;
  const std::vector<Family>& families_;
};

// One part of the cases, done by whichever thread comes first.
struct CasePropagator::Part {
  std::vector<FamilyCounts> counts;
  double log_likelihood = 0.0;
  tv_status_t status = tv_status_none;
};

CasePropagator::CasePropagator(Domain& domain, const std::vector<Family>& families, size_t threads) noexcept
    : domain_(domain), families_(families), threads_(threads) {}
CasePropagator::~CasePropagator() = default;

// An idle state, or null.
std::unique_ptr<CasePropagator::State> CasePropagator::take_state() {
  const std::lock_guard lock(mutex_);
  if (idle_.empty()) return nullptr;
  std::unique_ptr<State> state = std::move(idle_.back());
  idle_.pop_back();
  return state;
}

void CasePropagator::run(const std::vector<uint32_t>& rows, std::vector<Part>& parts, size_t begin,
                         size_t end) {
  std::unique_ptr<State> state = take_state();
  tv_status_t status = tv_status_none;
  if (!state) {
    state = std::make_unique<State>(domain_, families_);
    status = state->start();
  }
  for (size_t i = begin; i < end; ++i) {
    Part& part = parts[i];
    part.status = status;
    const UnitRange range = units_of_thread(rows.size(), parts.size(), i);
    for (size_t r = range.begin; r < range.end && part.status == tv_status_none; ++r)
      part.status = state->add(rows[r], part.counts, part.log_likelihood);
    if (part.status) return;
  }
  const std::lock_guard lock(mutex_);
  idle_.push_back(std::move(state));
}

tv_status_t CasePropagator::add(const std::vector<uint32_t>& rows, std::vector<FamilyCounts>& counts,
                                double& log_likelihood) {
  if (rows.empty()) return tv_status_none;
  std::vector<Part> parts(std::min(kParts, rows.size()));
  for (Part& part : parts) part.counts = cleared(counts);
  struct Work {
    CasePropagator& propagator;
    const std::vector<uint32_t>& rows;
    std::vector<Part>& parts;
  } work{*this, rows, parts};
  // A failing allocation stops at the boundary of the thread, as it does at that of the library.
  const auto task = [](void* data, size_t begin, size_t end) {
    auto& [propagator, its_rows, all] = *static_cast<Work*>(data);
    const tv_status_t status =
        guarded([&, &self = propagator, &some = its_rows, &them = all]() -> tv_status_t {
          self.run(some, them, begin, end);
          return tv_status_none;
        });
    if (status) all[begin].status = status;
  };
  run_on_threads(parts.size(), std::min(threads_, parts.size()), task, &work);
  for (const Part& part : parts) {
    if (part.status) return store_status(part.status);
    log_likelihood += part.log_likelihood;
    add_counts(counts, part.counts);
  }
  return tv_status_none;
}

void add_marginal(const Family& family, const Table& marginal, double weight, FamilyCounts& counts) {
  const size_t count = family.table->continuous_count;
  for (size_t c = 0; c < family.size(); ++c) {
    const double number = weight * static_cast<double>(marginal.data[c]);
    counts.numbers[c] += number;
    if (count == 0 || number == 0.0) continue;
    const double* const block = marginal.cg_data.data() + c * marginal.cg_size;
    const auto mean = [&](size_t i) {
      return i == 0 ? 1.0 : counts.deviation(i - 1, block[cg_mean_index(i - 1)]);
    };
    double* moment = counts.moments.data() + c * moment_count(count);
    for (size_t i = 0; i <= count; ++i)
      for (size_t j = 0; j <= i; ++j)
        *moment++ += number * (mean(i) * mean(j) + (j == 0 ? 0.0 : block[cg_covariance_index(i - 1, j - 1)]));
  }
}

}  // namespace tv

// Splitting cases and solving what they leave open.
#include "learn/case_groups.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "api/boundary.h"
#include "learn/group_solver.h"
#include "network/cases.h"
#include "network/domain.h"
#include "tables/kernels/parallel.h"

namespace tv {
namespace {

// A part of the problems has counts of its own; there are so many parts, whatever the number of threads.
constexpr size_t kParts = 16;
constexpr size_t kWorkOfAPart = 16384;  // joint states times families
constexpr size_t kRowsTogether = 256;   // are split while they are in the nearest cache

}  // namespace

bool can_be_grouped(const Domain& domain, const std::vector<Family>& families) noexcept {
  if (domain.counters.continuous > 0 || domain.counters.decision > 0 || !domain.chain_potentials.empty() ||
      !domain.required_instantiations.empty())
    return false;
  for (const Family& family : families)
    if (family.size() > std::numeric_limits<uint32_t>::max() || family.node->linked_node) return false;
  return true;
}

CaseGroups::CaseGroups(const std::vector<Family>& families, GroupFinder& finder)
    : families_(families),
      finder_(finder),
      problems_(finder_),
      rows_(families.size()),
      ignored_((families.size() + 63) / 64),
      left_(ignored_) {
  for (const Family& family : families) {
    const CaseColumn& cases = family.node->cases;
    columns_.push_back(cases.states.empty() ? nullptr : cases.states.data());
    complete_.push_back(empty_counts(family));
  }
}

void CaseGroups::split(const Domain& domain, size_t first, size_t count) {
  is_wide_.assign(count, 0);
  for (size_t begin = 0; begin < count; begin += kRowsTogether) {
    const size_t rows = std::min(kRowsTogether, count - begin);
    read_rows(first + begin, rows);
    for (size_t i = 0; i < rows; ++i) {
      const size_t row = first + begin + i;
      const double weight = static_cast<double>(case_count(domain, row));
      if (!(weight > 0.0) || split_case(rows_.states(i), rows_.missing(i), weight)) continue;
      is_wide_[begin + i] = 1;
      wide_.push_back(static_cast<uint32_t>(row));
    }
  }
  problems_.seal();
  order_problems();
  divide_problems();
  count_complete_families(domain, first, count);
  is_wide_ = {};
}

// By the first problem of their group: the numbers of groups depend on other blocks, which may be elsewhere.
void CaseGroups::order_problems() {
  std::vector<uint32_t> first(finder_.size(), static_cast<uint32_t>(problems_.size()));
  for (uint32_t p = 0; p < problems_.size(); ++p)
    first[problems_.group(p)] = std::min(first[problems_.group(p)], p);
  order_.resize(problems_.size());
  std::iota(order_.begin(), order_.end(), 0);
  std::stable_sort(order_.begin(), order_.end(), [&](uint32_t a, uint32_t b) {
    return first[problems_.group(a)] < first[problems_.group(b)];
  });
}

void CaseGroups::read_rows(size_t first, size_t count) {
  rows_.reset(count);
  for (size_t c = 0; c < columns_.size(); ++c) {
    if (!columns_[c]) continue;
    for (size_t i = 0; i < count; ++i)
      if (const int16_t state = columns_[c][first + i]; state != kMissingCase) rows_.set(i, c, state);
  }
}

// Into parts of about the same work.
void CaseGroups::divide_problems() {
  const auto work_of = [&](uint32_t problem) {
    return finder_.group(problems_.group(problem)).schedule.work();
  };
  size_t work = 0;
  for (const uint32_t problem : order_) work += work_of(problem);
  const size_t parts = std::min(kParts, work / kWorkOfAPart + 1);
  parts_.assign(1, 0);
  size_t done = 0;
  for (size_t p = 0; p < order_.size(); ++p) {
    if (parts_.size() < parts && done >= work / parts * parts_.size()) parts_.push_back(p);
    done += work_of(order_[p]);
  }
  parts_.push_back(order_.size());
}

// Whether all its groups are small enough.
bool CaseGroups::split_case(const int16_t* states, const uint64_t* missing, double count) {
  numbers_.clear();
  std::copy_n(missing, left_.size(), left_.begin());
  for (size_t w = 0; w < left_.size(); ++w)
    while (left_[w] != 0) {
      const auto node = static_cast<uint32_t>(64 * w + static_cast<size_t>(std::countr_zero(left_[w])));
      numbers_.push_back(finder_.find(node, missing, ignored_.data()));
      if (numbers_.back() == GroupFinder::kWide || finder_.group(numbers_.back()).is_wide) return false;
      for (size_t i = 0; i < left_.size(); ++i) left_[i] &= ~finder_.found()[i];
    }
  for (const uint32_t group : numbers_) {
    const size_t problem = problems_.find(group, states);
    if (problem == weights_.size()) weights_.push_back(0.0);
    weights_[problem] += count;
  }
  return true;
}

// Column by column, family by family.
void CaseGroups::count_complete_families(const Domain& domain, size_t first, size_t count) {
  std::vector<uint32_t> places(count);
  std::vector<unsigned char> lacks(count);
  for (size_t f = 0; f < families_.size(); ++f) {
    const auto& members = finder_.graph().members[f];
    if (std::any_of(members.begin(), members.end(), [&](uint32_t c) { return !columns_[c]; })) continue;
    std::fill(places.begin(), places.end(), 0);
    std::copy(is_wide_.begin(), is_wide_.end(), lacks.begin());
    for (size_t i = 0; i < members.size(); ++i) {
      const int16_t* const column = columns_[members[i]] + first;
      const auto stride = static_cast<uint32_t>(families_[f].strides[i]);
      for (size_t row = 0; row < count; ++row) {
        lacks[row] |= column[row] == kMissingCase;
        places[row] += static_cast<uint32_t>(column[row]) * stride;
      }
    }
    double* const numbers = complete_[f].numbers.data();
    const std::vector<tv_number_t>& counts = domain.cases.counts;
    for (size_t row = 0; row < count; ++row)
      if (!lacks[row])
        numbers[places[row]] += counts.empty() ? 1.0 : static_cast<double>(counts[first + row]);
  }
}

struct CaseGroups::Part {
  std::vector<FamilyCounts> counts;
  double log_likelihood = 0.0;
  tv_status_t status = tv_status_none;
};

tv_status_t CaseGroups::solve(Part& part, size_t begin, size_t end) const {
  GroupSolver solver(finder_, problems_);
  for (size_t p = begin; p < end; ++p) {
    const uint32_t problem = order_[p];
    if (!solver.solve(problem)) return tv_status_inconsistency_or_underflow;
    part.log_likelihood += weights_[problem] * solver.log_likelihood();
    const GroupSchedule& schedule = solver.schedule();
    const uint32_t* const bases = problems_.bases(problem);
    for (size_t k = 0; k < schedule.stages().size(); ++k) {
      const GroupSchedule::Stage& stage = schedule.stages()[k];
      const double* const joint = solver.joint(k).data();
      for (uint32_t i = stage.first_family; i < stage.last_family; ++i) {
        const uint32_t f = schedule.families()[i];
        if (!families_[f].is_learned) continue;
        double* const numbers = part.counts[f].numbers.data() + bases[i];
        const uint32_t* const places = solver.maps()[k].places[i - stage.first_family].data();
        for (size_t j = 0; j < stage.joint; ++j) numbers[places[j]] += weights_[problem] * joint[j];
      }
    }
  }
  return tv_status_none;
}

tv_status_t CaseGroups::expect(std::vector<FamilyCounts>& counts, double& log_likelihood,
                               size_t threads) const {
  for (size_t f = 0; f < families_.size(); ++f) {
    const std::vector<double>& numbers = complete_[f].numbers;
    const tv_number_t* const table = families_[f].table->data.data();
    for (size_t i = 0; i < numbers.size(); ++i)
      if (numbers[i] > 0.0) log_likelihood += numbers[i] * std::log(static_cast<double>(table[i]));
    if (families_[f].is_learned) counts[f].add(complete_[f]);
  }
  if (problems_.size() == 0) return tv_status_none;
  std::vector<Part> parts(parts_.size() - 1);
  for (Part& part : parts) part.counts = empty_counts(families_);
  struct Context {
    const CaseGroups& groups;
    std::vector<Part>& parts;
  } context{*this, parts};
  const auto task = [](void* data, size_t begin, size_t end) {
    auto& [groups, all] = *static_cast<Context*>(data);
    // A failing allocation stops at the boundary of the thread.
    for (size_t i = begin; i < end; ++i)
      all[i].status = guarded([&, &cases = groups, &part = all[i]]() -> tv_status_t {
        return cases.solve(part, cases.parts_[i], cases.parts_[i + 1]);
      });
  };
  run_on_threads(parts.size(), std::min(threads, parts.size()), task, &context);
  for (const Part& part : parts) {
    if (part.status) return part.status;
    log_likelihood += part.log_likelihood;
    add_counts(counts, part.counts);
  }
  return tv_status_none;
}

}  // namespace tv

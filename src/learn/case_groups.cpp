// Splitting cases and solving what they leave open.
#include "learn/case_groups.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>

#include "learn/case_splitter.h"
#include "learn/group_solver.h"
#include "learn/thread_tasks.h"
#include "network/cases.h"
#include "network/domain.h"
#include "tables/limits.h"

namespace tv {
namespace {

// A part of the problems has counts of its own; there are so many parts, whatever the number of threads.
constexpr size_t kParts = 16;
constexpr size_t kWorkOfAPart = 16384;  // joint states times families
constexpr size_t kSplitters = 2;        // at most; as many whatever the number of threads
constexpr size_t kRowsTogether = 2048;  // are counted while they are in the nearest cache

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
    : families_(families), finder_(finder), problems_(finder_) {
  for (const Family& family : families) {
    const CaseColumn& cases = family.node->cases;
    columns_.push_back(cases.states.empty() ? nullptr : cases.states.data());
    complete_.push_back(empty_counts(family));
  }
}

tv_status_t CaseGroups::split(const Domain& domain, size_t first, size_t count, size_t threads) {
  std::vector<std::unique_ptr<CaseSplitter>> splitters(std::min(kSplitters, count / limits.split_cases + 1));
  const auto split_share = [&](size_t i) {
    const UnitRange share = units_of_thread(count, splitters.size(), i);
    splitters[i] = std::make_unique<CaseSplitter>(families_, columns_);
    splitters[i]->split(domain, first + share.begin, share.end - share.begin);
    return tv_status_none;
  };
  if (tv_status_t status = run_tasks(splitters.size(), threads, split_share)) return status;
  for (const auto& splitter : splitters) {
    splitter->move_to(finder_, problems_, weights_);
    wide_.insert(wide_.end(), splitter->wide_cases().begin(), splitter->wide_cases().end());
  }
  problems_.seal();
  order_problems();
  divide_problems();
  std::vector<unsigned char> is_wide(count);
  for (const uint32_t row : wide_) is_wide[row - first] = 1;
  return run_tasks(families_.size(), threads, [&](size_t f) {
    count_complete_family(f, domain, first, is_wide);
    return tv_status_none;
  });
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

// Column by column, for some rows at a time.
void CaseGroups::count_complete_family(size_t f, const Domain& domain, size_t first,
                                       const std::vector<unsigned char>& is_wide) {
  const std::vector<uint32_t>& members = finder_.graph().members[f];
  if (std::any_of(members.begin(), members.end(), [&](uint32_t c) { return !columns_[c]; })) return;
  double* const numbers = complete_[f].numbers.data();
  const std::vector<tv_number_t>& counts = domain.cases.counts;
  std::array<uint32_t, kRowsTogether> places;
  std::array<unsigned char, kRowsTogether> lacks;
  for (size_t begin = 0; begin < is_wide.size(); begin += kRowsTogether) {
    const size_t rows = std::min(kRowsTogether, is_wide.size() - begin);
    places.fill(0);
    std::copy_n(is_wide.data() + begin, rows, lacks.data());
    for (size_t i = 0; i < members.size(); ++i) {
      const int16_t* const column = columns_[members[i]] + first + begin;
      const auto stride = static_cast<uint32_t>(families_[f].strides[i]);
      for (size_t row = 0; row < rows; ++row) {
        lacks[row] |= column[row] == kMissingCase;
        places[row] += static_cast<uint32_t>(column[row]) * stride;
      }
    }
    for (size_t row = 0; row < rows; ++row)
      if (!lacks[row])
        numbers[places[row]] += counts.empty() ? 1.0 : static_cast<double>(counts[first + begin + row]);
  }
}

struct CaseGroups::Part {
  std::vector<FamilyCounts> counts;
  double log_likelihood = 0.0;
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
  const tv_status_t status =
      run_tasks(parts.size(), threads, [&](size_t i) { return solve(parts[i], parts_[i], parts_[i + 1]); });
  if (status) return status;
  for (const Part& part : parts) {
    log_likelihood += part.log_likelihood;
    add_counts(counts, part.counts);
  }
  return tv_status_none;
}

}  // namespace tv

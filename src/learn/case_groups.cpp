// Splitting cases and solving what they leave open.
#include "learn/case_groups.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "api/boundary.h"
#include "network/cases.h"
#include "tables/kernels/parallel.h"
#include "tables/limits.h"

namespace tv {
namespace {

// A part of the problems has counts of its own; there are so many parts, whatever the number of threads.
constexpr size_t kParts = 16;
constexpr uint32_t kNoGroup = static_cast<uint32_t>(-1);
constexpr size_t kWorkOfAPart = 16384;  // joint states times families

}  // namespace

size_t CaseGroups::HashOfList::operator()(const std::vector<uint32_t>& list) const noexcept {
  uint64_t hash = list.size();
  for (const uint32_t entry : list) hash = (hash ^ entry) * 0x9e3779b97f4a7c15, hash ^= hash >> 29;
  return hash;
}

CaseGroups::CaseGroups(const std::vector<Family>& families) : families_(families), graph_(families) {
  for (const Family& family : families) {
    const CaseColumn& cases = family.node->cases;
    columns_.push_back(cases.states.empty() ? nullptr : cases.states.data());
    complete_.push_back(empty_counts(family));
  }
  root_.resize(families.size());
}

void CaseGroups::split(const Domain& domain) {
  const size_t count = domain.cases.count;
  is_wide_.assign(count, 0);
  for (uint32_t row = 0; row < count; ++row) {
    const double weight = static_cast<double>(case_count(domain, row));
    if (weight > 0.0) split_case(row, weight);
  }
  std::stable_sort(problems_.begin(), problems_.end(),
                   [](const Problem& a, const Problem& b) { return a.group < b.group; });
  table_.clear();
  divide_problems();
  count_complete_families(domain);
}

// Into parts of about the same work.
void CaseGroups::divide_problems() {
  size_t work = 0;
  for (const Problem& problem : problems_) work += groups_[problem.group].schedule.work();
  const size_t parts = std::min(kParts, work / kWorkOfAPart + 1);
  parts_.assign(1, 0);
  size_t done = 0;
  for (size_t p = 0; p < problems_.size(); ++p) {
    if (parts_.size() < parts && done >= work / parts * parts_.size()) parts_.push_back(p);
    done += groups_[problems_[p].group].schedule.work();
  }
  parts_.push_back(problems_.size());
}

void CaseGroups::split_case(uint32_t row, double count) {
  missing_.clear();
  for (uint32_t c = 0; c < columns_.size(); ++c)
    if (!columns_[c] || columns_[c][row] == kMissingCase) missing_.push_back(c);
  if (missing_.empty()) return;
  find_groups(row);
  numbers_.clear();
  for (size_t i = 0; i < by_root_.size();) {
    nodes_.clear();
    for (const uint32_t root = by_root_[i].first; i < by_root_.size() && by_root_[i].first == root; ++i)
      nodes_.push_back(by_root_[i].second);
    numbers_.push_back(nodes_.size() > limits.group_nodes ? kNoGroup : group_of(nodes_));
    if (numbers_.back() != kNoGroup && !groups_[numbers_.back()].is_wide) continue;
    is_wide_[row] = 1;
    wide_.push_back(row);
    return;
  }
  for (const uint32_t group : numbers_) add_problem(group, row, count);
}

// Missing nodes that a family joins get the same root.
void CaseGroups::find_groups(uint32_t row) {
  const auto is_missing = [&](uint32_t c) { return !columns_[c] || columns_[c][row] == kMissingCase; };
  const auto root_of = [&](uint32_t c) {
    while (root_[c] != c) c = root_[c] = root_[root_[c]];
    return c;
  };
  for (const uint32_t c : missing_) root_[c] = c;
  for (const uint32_t c : missing_)
    for (const uint32_t f : graph_.families_of[c])
      for (const uint32_t other : graph_.members[f]) {
        if (other >= c || !is_missing(other)) continue;
        const uint32_t a = root_of(c), b = root_of(other);
        root_[std::max(a, b)] = std::min(a, b);
      }
  by_root_.clear();
  for (const uint32_t c : missing_) by_root_.emplace_back(root_of(c), c);
  std::sort(by_root_.begin(), by_root_.end());
}

uint32_t CaseGroups::group_of(const std::vector<uint32_t>& nodes) {
  if (const auto known = group_numbers_.find(nodes); known != group_numbers_.end()) return known->second;
  const auto number = static_cast<uint32_t>(groups_.size());
  groups_.push_back({GroupSchedule(graph_, nodes)});
  Group& group = groups_.back();
  group.is_wide = group.schedule.most_joint() > static_cast<double>(limits.joint_states);
  const size_t work = group.schedule.work();
  if (!group.is_wide && kept_ + work <= limits.kept_places) {
    group.maps = group.schedule.maps(graph_);
    kept_ += work;
  }
  group_numbers_.emplace(nodes, number);
  return number;
}

size_t CaseGroups::problem_slot(const Problem& problem) const noexcept {
  const size_t length = groups_[problem.group].schedule.families().size();
  const uint32_t* const bases = bases_.data() + problem.first_base;
  uint64_t hash = problem.group;
  for (size_t i = 0; i < length; ++i) hash = (hash ^ bases[i]) * 0x9e3779b97f4a7c15, hash ^= hash >> 29;
  size_t slot = hash & (table_.size() - 1);
  for (; table_[slot] != 0; slot = (slot + 1) & (table_.size() - 1)) {
    const Problem& known = problems_[table_[slot] - 1];
    if (known.group == problem.group && std::equal(bases, bases + length, bases_.data() + known.first_base))
      break;
  }
  return slot;
}

void CaseGroups::enlarge_table() {
  table_.assign(std::max<size_t>(1024, 2 * table_.size()), 0);
  for (uint32_t i = 0; i < problems_.size(); ++i) table_[problem_slot(problems_[i])] = i + 1;
}

void CaseGroups::add_problem(uint32_t number, uint32_t row, double count) {
  if (2 * problems_.size() >= table_.size()) enlarge_table();
  const Group& group = groups_[number];
  const Problem problem{bases_.size(), count, number};
  for (const uint32_t f : group.schedule.families()) {
    size_t base = 0;
    for (size_t i = 0; i < graph_.members[f].size(); ++i) {
      const int16_t* const column = columns_[graph_.members[f][i]];
      if (column && column[row] != kMissingCase)
        base += static_cast<size_t>(column[row]) * families_[f].strides[i];
    }
    bases_.push_back(static_cast<uint32_t>(base));
  }
  const size_t slot = problem_slot(problem);
  if (table_[slot] != 0) {
    problems_[table_[slot] - 1].count += count;
    bases_.resize(problem.first_base);
    return;
  }
  problems_.push_back(problem);
  table_[slot] = static_cast<uint32_t>(problems_.size());
}

// Column by column, family by family.
void CaseGroups::count_complete_families(const Domain& domain) {
  const size_t count = domain.cases.count;
  std::vector<uint32_t> places(count);
  std::vector<unsigned char> lacks(count);
  for (size_t f = 0; f < families_.size(); ++f) {
    const auto& members = graph_.members[f];
    if (std::any_of(members.begin(), members.end(), [&](uint32_t c) { return !columns_[c]; })) continue;
    std::fill(places.begin(), places.end(), 0);
    std::copy(is_wide_.begin(), is_wide_.end(), lacks.begin());
    for (size_t i = 0; i < members.size(); ++i) {
      const int16_t* const column = columns_[members[i]];
      const auto stride = static_cast<uint32_t>(families_[f].strides[i]);
      for (size_t row = 0; row < count; ++row) {
        lacks[row] |= column[row] == kMissingCase;
        places[row] += static_cast<uint32_t>(column[row]) * stride;
      }
    }
    double* const numbers = complete_[f].numbers.data();
    const std::vector<tv_number_t>& counts = domain.cases.counts;
    for (size_t row = 0; row < count; ++row)
      if (!lacks[row]) numbers[places[row]] += counts.empty() ? 1.0 : static_cast<double>(counts[row]);
  }
}

// Solves problems one after the other, forward and backward through the stages of their schedules.
class CaseGroups::Solver {
 public:
  Solver(const CaseGroups& groups, std::vector<FamilyCounts>& counts) : groups_(groups), counts_(counts) {}

  double log_likelihood = 0.0;

  tv_status_t solve(const Problem& problem) {
    const Group& group = groups_.groups_[problem.group];
    if (group.maps.empty() && problem.group != last_made_) {
      made_ = group.schedule.maps(groups_.graph_);
      last_made_ = problem.group;
    }
    maps_ = (group.maps.empty() ? made_ : group.maps).data();
    bases_ = groups_.bases_.data() + problem.first_base;
    schedule_ = &group.schedule;
    if (!go_forward(problem.count)) return tv_status_inconsistency_or_underflow;
    go_backward(problem.count);
    return tv_status_none;
  }

 private:
  using Stage = GroupSchedule::Stage;

  // Scaled before they become too small; the last sum is scaled to 1. False for a problem that is impossible.
  bool go_forward(double count) {
    const std::vector<Stage>& stages = schedule_->stages();
    sums_.resize(std::max(sums_.size(), stages.size() + 1));
    products_.resize(std::max(products_.size(), stages.size()));
    scales_.assign(stages.size(), 1.0);
    sums_[0].assign(1, 1.0);
    for (size_t k = 0; k < stages.size(); ++k) {
      const Stage& stage = stages[k];
      multiply(stage, maps_[k], count, products_[k]);
      const size_t states = stage.joint / stage.before;
      const uint32_t* const after = maps_[k].after.data();
      const double *const before = sums_[k].data(), *const product = products_[k].data();
      sums_[k + 1].assign(stage.after, 0.0);
      double* const sum = sums_[k + 1].data();
      for (size_t j = 0; j < stage.before; ++j)
        for (size_t i = j * states; i < (j + 1) * states; ++i) sum[after[i]] += before[j] * product[i];
      double total = 0.0;
      for (size_t j = 0; j < stage.after; ++j) total += sum[j];
      if (!(total > 0.0)) return false;
      if (total > kFaint && k + 1 < stages.size()) continue;
      scales_[k] = total;
      log_likelihood += count * std::log(total);
      for (size_t j = 0; j < stage.after; ++j) sum[j] /= total;
    }
    return true;
  }

  // The product of the families that are complete with the stage. A factor that all of it has in common is
  // taken out before it becomes too small, and counts for nothing but the likelihood.
  void multiply(const Stage& stage, const GroupSchedule::StageMaps& maps, double count,
                std::vector<double>& product) {
    product.assign(stage.joint, 1.0);
    for (uint32_t i = stage.first_family; i < stage.last_family; ++i) {
      const tv_number_t* const table = family(i).table->data.data() + bases_[i];
      const uint32_t* const places = maps.places[i - stage.first_family].data();
      for (size_t j = 0; j < stage.joint; ++j) product[j] *= static_cast<double>(table[places[j]]);
      if ((i - stage.first_family) % kFamiliesOfALook != kFamiliesOfALook - 1) continue;
      const double largest = *std::max_element(product.begin(), product.end());
      if (largest > kFaint || !(largest > 0.0)) continue;
      for (double& number : product) number /= largest;
      log_likelihood += count * std::log(largest);
    }
  }

  // What the later stages make of each joint state comes back, and each family takes its marginal.
  void go_backward(double count) {
    const std::vector<Stage>& stages = schedule_->stages();
    later_.assign(1, count);
    for (size_t k = stages.size(); k-- > 0;) {
      const Stage& stage = stages[k];
      const size_t states = stage.joint / stage.before;
      const uint32_t* const after = maps_[k].after.data();
      const double *const before = sums_[k].data(), scale = 1.0 / scales_[k];
      double* const product = products_[k].data();  // becomes the joint marginal
      earlier_.assign(stage.before, 0.0);
      for (size_t j = 0; j < stage.before; ++j)
        for (size_t i = j * states; i < (j + 1) * states; ++i) {
          const double rest = product[i] * (later_[after[i]] * scale);
          earlier_[j] += rest;
          product[i] = before[j] * rest;
        }
      for (uint32_t i = stage.first_family; i < stage.last_family; ++i) {
        if (!family(i).is_learned) continue;
        double* const numbers = counts_[schedule_->families()[i]].numbers.data() + bases_[i];
        const uint32_t* const places = maps_[k].places[i - stage.first_family].data();
        for (size_t j = 0; j < stage.joint; ++j) numbers[places[j]] += product[j];
      }
      later_.swap(earlier_);
    }
  }

  const Family& family(uint32_t i) const noexcept { return groups_.families_[schedule_->families()[i]]; }

  static constexpr double kFaint = 1e-30;
  static constexpr uint32_t kFamiliesOfALook = 4;  // so many numbers of tables leave a product above zero

  const CaseGroups& groups_;
  std::vector<FamilyCounts>& counts_;
  // Of the problem that is being solved.
  const GroupSchedule* schedule_ = nullptr;
  const GroupSchedule::StageMaps* maps_ = nullptr;
  const uint32_t* bases_ = nullptr;
  std::vector<std::vector<double>> sums_;      // by stage: what the earlier ones make of the nodes before it
  std::vector<std::vector<double>> products_;  // by stage: of its families
  std::vector<double> scales_;                 // by stage
  std::vector<double> later_, earlier_;
  std::vector<GroupSchedule::StageMaps> made_;  // of the last group whose maps are not kept
  uint32_t last_made_ = static_cast<uint32_t>(-1);
};

tv_status_t CaseGroups::expect(std::vector<FamilyCounts>& counts, double& log_likelihood, size_t threads) {
  for (size_t f = 0; f < families_.size(); ++f) {
    const std::vector<double>& numbers = complete_[f].numbers;
    const tv_number_t* const table = families_[f].table->data.data();
    for (size_t i = 0; i < numbers.size(); ++i)
      if (numbers[i] > 0.0) log_likelihood += numbers[i] * std::log(static_cast<double>(table[i]));
    if (families_[f].is_learned) counts[f].add(complete_[f]);
  }
  if (problems_.empty()) return tv_status_none;
  struct Part {
    std::vector<FamilyCounts> counts;
    double log_likelihood = 0.0;
    tv_status_t status = tv_status_none;
  };
  std::vector<Part> parts(parts_.size() - 1);
  for (Part& part : parts)
    for (const Family& family : families_)
      part.counts.push_back(family.is_learned ? empty_counts(family) : FamilyCounts());
  struct Context {
    const CaseGroups& groups;
    std::vector<Part>& parts;
  } context{*this, parts};
  const auto task = [](void* data, size_t begin, size_t end) {
    auto& [groups, all] = *static_cast<Context*>(data);
    for (size_t i = begin; i < end; ++i) {
      Part& part = all[i];
      // A failing allocation stops at the boundary of the thread.
      part.status = guarded([&]() -> tv_status_t {
        Solver solver(groups, part.counts);
        for (size_t p = groups.parts_[i]; p < groups.parts_[i + 1]; ++p)
          if (tv_status_t status = solver.solve(groups.problems_[p])) return status;
        part.log_likelihood = solver.log_likelihood;
        return tv_status_none;
      });
    }
  };
  run_on_threads(parts.size(), std::min(threads, parts.size()), task, &context);
  for (const Part& part : parts) {
    if (part.status) return part.status;
    log_likelihood += part.log_likelihood;
    for (size_t f = 0; f < families_.size(); ++f)
      if (families_[f].is_learned) counts[f].add(part.counts[f]);
  }
  return tv_status_none;
}

}  // namespace tv

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
constexpr size_t kWorkOfAPart = 16384;  // joint states times families

}  // namespace

size_t CaseGroups::HashOfList::operator()(const std::vector<uint32_t>& list) const noexcept {
  uint64_t hash = list.size();
  for (const uint32_t entry : list) hash = (hash ^ entry) * 0x9e3779b97f4a7c15, hash ^= hash >> 29;
  return hash;
}

CaseGroups::CaseGroups(const std::vector<Family>& families) : families_(families) {
  const Domain& domain = *families.front().node->domain;
  column_.resize(domain.node_count);
  for (uint32_t f = 0; f < families.size(); ++f) column_[families[f].node->number - 1] = f;
  families_of_.resize(families.size());
  for (uint32_t f = 0; f < families.size(); ++f) {
    members_.emplace_back();
    for (const Node* member : families[f].members) {
      members_[f].push_back(column_[member->number - 1]);
      families_of_[members_[f].back()].push_back(f);
    }
    states_.push_back(static_cast<uint32_t>(families[f].node->number_of_states));
    const CaseColumn& cases = families[f].node->cases;
    columns_.push_back(cases.states.empty() ? nullptr : cases.states.data());
    complete_.push_back(empty_counts(families[f]));
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
  const auto work_of = [&](const Problem& problem) {
    const Group& group = groups_[problem.group];
    return group.joint_states * group.families.size();
  };
  size_t work = 0;
  for (const Problem& problem : problems_) work += work_of(problem);
  const size_t parts = std::min(kParts, work / kWorkOfAPart + 1);
  parts_.assign(1, 0);
  size_t done = 0;
  for (size_t p = 0; p < problems_.size(); ++p) {
    if (parts_.size() < parts && done >= work / parts * parts_.size()) parts_.push_back(p);
    done += work_of(problems_[p]);
  }
  parts_.push_back(problems_.size());
}

void CaseGroups::split_case(uint32_t row, double count) {
  missing_.clear();
  for (uint32_t c = 0; c < columns_.size(); ++c)
    if (!columns_[c] || columns_[c][row] == kMissingCase) missing_.push_back(c);
  if (missing_.empty()) return;
  find_groups(row);
  std::vector<uint32_t> numbers;
  for (const std::vector<uint32_t>& nodes : found_) {
    double joint = 1.0;
    for (const uint32_t c : nodes) joint *= states_[c];
    if (joint > static_cast<double>(limits.joint_states)) {
      is_wide_[row] = 1;
      wide_.push_back(row);
      return;
    }
    numbers.push_back(group_of(nodes));
  }
  for (const uint32_t group : numbers) add_problem(group, row, count);
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
    for (const uint32_t f : families_of_[c])
      for (const uint32_t other : members_[f]) {
        if (other >= c || !is_missing(other)) continue;
        const uint32_t a = root_of(c), b = root_of(other);
        root_[std::max(a, b)] = std::min(a, b);
      }
  found_.clear();
  by_root_.clear();
  for (const uint32_t c : missing_) by_root_.emplace_back(root_of(c), c);
  std::sort(by_root_.begin(), by_root_.end());
  for (size_t i = 0; i < by_root_.size(); ++i) {
    if (i == 0 || by_root_[i].first != by_root_[i - 1].first) found_.emplace_back();
    found_.back().push_back(by_root_[i].second);
  }
}

uint32_t CaseGroups::group_of(const std::vector<uint32_t>& nodes) {
  const auto [place, is_new] = group_numbers_.emplace(nodes, static_cast<uint32_t>(groups_.size()));
  if (!is_new) return place->second;
  Group group;
  group.nodes = nodes;
  for (const uint32_t c : nodes)
    group.families.insert(group.families.end(), families_of_[c].begin(), families_of_[c].end());
  std::sort(group.families.begin(), group.families.end());
  group.families.erase(std::unique(group.families.begin(), group.families.end()), group.families.end());
  group.joint_states = 1;
  for (const uint32_t c : nodes) group.joint_states *= states_[c];
  const size_t offsets = group.joint_states * group.families.size();
  if (offsets_kept_ + offsets <= limits.kept_offsets) {
    group.offsets = offsets_of(group);
    offsets_kept_ += offsets;
  }
  groups_.push_back(std::move(group));
  return place->second;
}

std::vector<CaseGroups::Offsets> CaseGroups::offsets_of(const Group& group) const {
  std::vector<Offsets> result;
  for (const uint32_t f : group.families) {
    Offsets offsets{0};
    for (const uint32_t c : group.nodes) {
      const auto member = std::find(members_[f].begin(), members_[f].end(), c);
      const size_t stride = member == members_[f].end()
                                ? 0
                                : families_[f].strides[static_cast<size_t>(member - members_[f].begin())];
      Offsets longer;
      for (const uint32_t offset : offsets)
        for (uint32_t s = 0; s < states_[c]; ++s)
          longer.push_back(offset + static_cast<uint32_t>(s * stride));
      offsets = std::move(longer);
    }
    result.push_back(std::move(offsets));
  }
  return result;
}

size_t CaseGroups::problem_slot(const Problem& problem) const noexcept {
  const size_t length = groups_[problem.group].families.size();
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
  for (const uint32_t f : group.families) {
    size_t base = 0;
    for (size_t i = 0; i < members_[f].size(); ++i) {
      const int16_t* const column = columns_[members_[f][i]];
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
    const auto& members = members_[f];
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

tv_status_t CaseGroups::solve(size_t begin, size_t end, double* joint, std::vector<FamilyCounts>& counts,
                              double& log_likelihood) const {
  std::vector<Offsets> made;  // of the last group whose offsets are not kept
  uint32_t last = static_cast<uint32_t>(-1);
  for (size_t p = begin; p < end; ++p) {
    const Problem& problem = problems_[p];
    const Group& group = groups_[problem.group];
    const uint32_t* const bases = bases_.data() + problem.first_base;
    const size_t size = group.joint_states;
    if (group.offsets.empty() && problem.group != last) {
      made = offsets_of(group);
      last = problem.group;
    }
    const std::vector<Offsets>& all_offsets = group.offsets.empty() ? made : group.offsets;
    std::fill(joint, joint + size, 1.0);
    for (size_t i = 0; i < group.families.size(); ++i) {
      const tv_number_t* const table = families_[group.families[i]].table->data.data() + bases[i];
      const uint32_t* const offsets = all_offsets[i].data();
      for (size_t j = 0; j < size; ++j) joint[j] *= static_cast<double>(table[offsets[j]]);
    }
    double sum = 0.0;
    for (size_t j = 0; j < size; ++j) sum += joint[j];
    if (!(sum > 0.0)) return tv_status_inconsistency_or_underflow;
    log_likelihood += problem.count * std::log(sum);
    const double scale = problem.count / sum;
    for (size_t i = 0; i < group.families.size(); ++i) {
      if (!families_[group.families[i]].is_learned) continue;
      double* const numbers = counts[group.families[i]].numbers.data() + bases[i];
      const uint32_t* const offsets = all_offsets[i].data();
      for (size_t j = 0; j < size; ++j) numbers[offsets[j]] += joint[j] * scale;
    }
  }
  return tv_status_none;
}

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
    std::vector<double> joint = std::vector<double>(limits.joint_states);
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
        return groups.solve(groups.parts_[i], groups.parts_[i + 1], part.joint.data(), part.counts,
                            part.log_likelihood);
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

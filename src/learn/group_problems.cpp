#include "learn/group_problems.h"

#include <algorithm>

namespace tv {

size_t GroupProblems::slot(const Problem& problem) const noexcept {
  const size_t length = finder_.group(problem.group).schedule.families().size();
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

void GroupProblems::enlarge_table() {
  table_.assign(std::max<size_t>(1024, 2 * table_.size()), 0);
  for (uint32_t i = 0; i < problems_.size(); ++i) table_[slot(problems_[i])] = i + 1;
}

size_t GroupProblems::find(uint32_t group, const int16_t* states) {
  finder_.append_bases(finder_.group(group), states, bases_);
  return find_last(group);
}

size_t GroupProblems::find(uint32_t group, const GroupProblems& others, size_t problem) {
  const uint32_t* const bases = others.bases(problem);
  bases_.insert(bases_.end(), bases, bases + finder_.group(group).schedule.families().size());
  return find_last(group);
}

size_t GroupProblems::find_last(uint32_t group) {
  if (2 * problems_.size() >= table_.size()) enlarge_table();
  const Problem problem{bases_.size() - finder_.group(group).schedule.families().size(), group};
  const size_t place = slot(problem);
  if (table_[place] != 0) {
    bases_.resize(problem.first_base);
    return table_[place] - 1;
  }
  problems_.push_back(problem);
  table_[place] = static_cast<uint32_t>(problems_.size());
  return problems_.size() - 1;
}

void GroupProblems::seal() { table_ = {}; }

void GroupProblems::clear() {
  problems_.clear();
  bases_.clear();
  table_.clear();
}

}  // namespace tv

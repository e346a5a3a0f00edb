#include "predict/group_predictor.h"

#include <algorithm>

#include "network/cases.h"

namespace tv {
namespace {

void include(ColumnSet& set, uint32_t column) noexcept { set[column / 64] |= uint64_t{1} << column % 64; }

bool holds(const uint64_t* set, uint32_t column) noexcept { return set[column / 64] >> column % 64 & 1; }

bool table_has_zero(const Table& table) noexcept {
  return std::find(table.data.data(), table.data.data() + table.size, tv_number_t{0}) !=
         table.data.data() + table.size;
}

}  // namespace

GroupPredictor::GroupPredictor(const PredictionModel& model, std::vector<AnswerList>& answers)
    : model_(model),
      answers_(answers),
      finder_(model.families),
      problems_(finder_),
      solver_(finder_, problems_),
      words_((model.columns() + 63) / 64),
      targets_(words_),
      children_(model.columns() * words_),
      in_zeros_(words_),
      barren_(words_),
      left_(words_) {
  for (const PredictionTarget& target : model.targets) include(targets_, target.column);
  const FamilyGraph& graph = finder_.graph();
  std::vector<uint32_t> open(model.columns());  // by column: children that are not in the order yet
  for (uint32_t f = 0; f < model.columns(); ++f) {
    const bool has_zeros = table_has_zero(*model.families[f].table);
    if (has_zeros) with_zeros_.push_back(f);
    for (const uint32_t member : graph.members[f]) {
      if (has_zeros) include(in_zeros_, member);
      if (member == f) continue;
      children_[member * words_ + f / 64] |= uint64_t{1} << f % 64;
      ++open[member];
    }
  }
  for (uint32_t f = 0; f < model.columns(); ++f)
    if (open[f] == 0) children_first_.push_back(f);
  for (size_t i = 0; i < children_first_.size(); ++i)
    for (const uint32_t member : graph.members[children_first_[i]])
      if (member != children_first_[i] && --open[member] == 0) children_first_.push_back(member);
}

// Missing nodes without anything to be told or asked below them. Their families sum to one.
void GroupPredictor::find_barren(const uint64_t* missing) {
  for (size_t w = 0; w < words_; ++w) barren_[w] = missing[w] & ~targets_[w];
  for (const uint32_t column : children_first_) {
    if (!holds(barren_.data(), column)) continue;
    const uint64_t* const children = children_.data() + column * words_;
    uint64_t needed = 0;
    for (size_t w = 0; w < words_; ++w) needed |= children[w] & ~barren_[w];
    if (needed != 0) barren_[column / 64] &= ~(uint64_t{1} << column % 64);
  }
}

// Whether a family of which nothing is missing is impossible.
bool GroupPredictor::has_zero(const int16_t* states) const noexcept {
  for (const uint32_t f : with_zeros_) {
    const std::vector<uint32_t>& members = finder_.graph().members[f];
    const Family& family = model_.families[f];
    size_t place = 0, i = 0;
    for (; i < members.size() && states[members[i]] != kMissingCase; ++i)
      place += static_cast<size_t>(states[members[i]]) * family.strides[i];
    if (i == members.size() && !(family.table->data[place] > 0)) return true;
  }
  return false;
}

uint32_t GroupPredictor::add_answer(uint32_t column) {
  AnswerList& list = answers_[model_.target_of[column]];
  const uint32_t answer = list.add();
  double* const distribution = list[answer];
  const size_t states = list.length();
  const std::vector<GroupSchedule::Stage>& stages = solver_.schedule().stages();
  size_t k = 0;
  while (stages[k].nodes.back() != column) ++k;
  const std::vector<double>& joint = solver_.joint(k);
  double sum = 0.0;
  for (size_t j = 0; j < stages[k].joint; ++j) distribution[j % states] += joint[j];
  for (size_t s = 0; s < states; ++s) sum += distribution[s];
  for (size_t s = 0; s < states; ++s) distribution[s] /= sum;
  return answer;
}

void GroupPredictor::solve(size_t problem) {
  first_answer_.push_back(kNotPossible);
  if (!solver_.solve(problem)) return;
  first_answer_.back() = static_cast<uint32_t>(given_.size());
  for_each_column(finder_.found().data(), words_, [&](uint32_t column) {
    if (holds(targets_.data(), column)) given_.push_back(add_answer(column));
  });
}

bool GroupPredictor::find_problem(uint32_t node, const int16_t* states, const uint64_t* missing,
                                  size_t& problem) {
  const uint32_t group = finder_.find(node, missing, barren_.data());
  if (group == GroupFinder::kWide || finder_.group(group).is_wide) return false;
  problem = problems_.find(group, states);
  if (problem == first_answer_.size()) solve(problem);
  return true;
}

GroupPredictor::Outcome GroupPredictor::answer_row(const int16_t* states, const uint64_t* missing,
                                                   uint32_t* numbers) {
  if (has_zero(states)) return Outcome::impossible;
  find_barren(missing);
  // Beside the targets, all that may be impossible.
  for (size_t w = 0; w < words_; ++w) left_[w] = missing[w] & ~barren_[w] & (targets_[w] | in_zeros_[w]);
  for (size_t w = 0; w < words_; ++w)
    while (left_[w] != 0) {
      size_t problem = 0;
      const auto node = static_cast<uint32_t>(64 * w + static_cast<size_t>(std::countr_zero(left_[w])));
      if (!find_problem(node, states, missing, problem)) return Outcome::open;
      if (first_answer_[problem] == kNotPossible) return Outcome::impossible;
      const uint32_t* given = given_.data() + first_answer_[problem];
      for (size_t i = 0; i < words_; ++i) {
        const uint64_t found = finder_.found()[i];
        left_[i] &= ~found;
        for (uint64_t asked = found & targets_[i]; asked != 0; asked &= asked - 1)
          numbers[model_.target_of[64 * i + static_cast<size_t>(std::countr_zero(asked))]] = *given++;
      }
    }
  return Outcome::answered;
}

void GroupPredictor::answer(const RowBlock& block, size_t row, uint32_t* numbers) {
  const Outcome outcome = answer_row(block.states().states(row), block.states().missing(row), numbers);
  if (outcome == Outcome::answered) return;
  std::fill_n(numbers, model_.targets.size(),
              outcome == Outcome::open ? AnswerList::kOpen : AnswerList::kImpossible);
}

size_t GroupPredictor::bytes() const noexcept {
  return problems_.bytes() + finder_.bytes() + (first_answer_.size() + given_.size()) * sizeof(uint32_t);
}

void GroupPredictor::clear() {
  finder_.clear();
  problems_.clear();
  solver_.forget();
  first_answer_.clear();
  given_.clear();
}

}  // namespace tv

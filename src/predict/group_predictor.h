// Predictions from the group of missing nodes that a target belongs to: nothing beyond the observed states
// around it matters, so rows that agree in them get the same answer, which is computed once.
#pragma once

#include "learn/group_solver.h"
#include "predict/answers.h"
#include "predict/row_block.h"

namespace tv {

class GroupPredictor {
 public:
  // Where everything is discrete and the families alone are the distribution.
  GroupPredictor(const PredictionModel& model, std::vector<AnswerList>& answers);

  // Answers all targets of a row, by target in `numbers`; they stay open where a group is too wide.
  void answer(const RowBlock& block, size_t row, uint32_t* numbers);

  size_t bytes() const noexcept;  // of what is kept, about
  void clear();                   // with the answers

 private:
  static constexpr uint32_t kNotPossible = static_cast<uint32_t>(-1);

  enum class Outcome { answered, impossible, open };
  Outcome answer_row(const int16_t* states, const uint64_t* missing, uint32_t* numbers);
  void find_barren(const uint64_t* missing);
  bool has_zero(const int16_t* states) const noexcept;
  // The group of a missing node and the problem that it poses; false where it is too wide.
  bool find_problem(uint32_t node, const int16_t* states, const uint64_t* missing, size_t& problem);
  void solve(size_t problem);
  uint32_t add_answer(uint32_t column);

  const PredictionModel& model_;
  std::vector<AnswerList>& answers_;
  GroupFinder finder_;
  GroupProblems problems_;
  GroupSolver solver_;
  const size_t words_;
  ColumnSet targets_;
  std::vector<uint32_t> children_first_;  // columns, each before its parents
  std::vector<uint64_t> children_;        // by column, as a set
  std::vector<uint32_t> with_zeros_;      // families whose tables have zeros
  ColumnSet in_zeros_;                    // their members
  ColumnSet barren_, left_;
  std::vector<uint32_t> first_answer_;  // by problem: in given_, or that it is not possible
  std::vector<uint32_t> given_;  // answers of a problem, by target of its group in the order of columns
};

}  // namespace tv

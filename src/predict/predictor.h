// Answers rows on several threads. Every row has the same answer, bit for bit, whichever thread it comes to.
#pragma once

#include <memory>

#include "predict/group_predictor.h"
#include "predict/query_predictor.h"
#include "tables/kernels/parallel.h"

namespace tv {

class Predictor {
 public:
  // As many threads as there are processors for, at most.
  Predictor(const PredictionModel& model, size_t threads);
  ~Predictor();

  static constexpr size_t kRowsOfACall = 1 << 14;  // are worth a call, and need little room

  // The answers of rows `first` and on; those of earlier calls are gone.
  tv_status_t run(const RowSource& source, size_t first, size_t count);

  size_t threads() const noexcept { return workers_.size(); }
  // Rows of the last call, counted from its first: the thread that answered one, and the number that its
  // answer has there, or AnswerList::kImpossible.
  size_t thread_of(size_t row) const noexcept;
  uint32_t answer(size_t row, size_t target) const noexcept { return numbers_[row * targets_ + target]; }
  const AnswerList& answers(size_t thread, size_t target) const noexcept;
  double truth(size_t row, size_t target) const noexcept { return truths_[row * targets_ + target]; }
  // Numbers of answers are those of before as long as this has not changed.
  size_t generation(size_t thread) const noexcept;

 private:
  struct Worker;

  UnitRange share_of(size_t thread) const noexcept;
  bool any_open() const noexcept;
  void work_on(Worker& worker, const RowSource& source, size_t thread);
  void answer_by_groups(Worker& worker, const RowSource& source, size_t first, size_t count);
  void answer_by_query(Worker& worker, const RowSource& source, size_t first, size_t count);
  tv_status_t run_workers(const RowSource& source);

  const PredictionModel& model_;
  const size_t targets_;
  std::vector<std::unique_ptr<Worker>> workers_;
  size_t first_ = 0, count_ = 0;
  bool by_groups_ = false;  // what the workers are to do
  std::vector<uint32_t> numbers_;
  std::vector<double> truths_;
};

}  // namespace tv

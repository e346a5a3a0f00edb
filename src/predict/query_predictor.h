// Predictions by propagating each row, where rows cannot be answered from small groups. Rows that observe the
// same are answered once.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "inference/query.h"
#include "predict/answers.h"
#include "predict/row_block.h"

namespace tv {

class QueryPredictor {
 public:
  QueryPredictor(const PredictionModel& model, std::vector<AnswerList>& answers)
      : model_(model), answers_(answers) {}

  // Makes the query, where there is none yet. To be called by one thread at a time.
  tv_status_t start();

  // Answers all targets of a row, by target in `numbers`.
  tv_status_t answer(const RowBlock& block, size_t row, uint32_t* numbers);

  size_t bytes() const noexcept;  // of what is kept, about
  void clear();                   // with the answers

 private:
  void make_key(const RowBlock& block, size_t row);
  tv_status_t enter(const RowBlock& block, size_t row);
  tv_status_t propagate(const RowBlock& block, size_t row, uint32_t* numbers);
  tv_status_t read(uint32_t* numbers);

  const PredictionModel& model_;
  std::vector<AnswerList>& answers_;
  std::unique_ptr<tv_query_t> query_;
  std::unordered_map<std::string, size_t> known_;  // by the bytes of what a row observes: its first in given_
  std::vector<uint32_t> given_;
  std::string key_;
};

}  // namespace tv

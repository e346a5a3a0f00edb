// The answers about all rows of a batch. Equal answers are kept once.
#pragma once

#include "predict/measures.h"
#include "predict/predictor.h"

struct tv_predictions_s {
  struct Target {
    bool is_discrete;
    tv::AnswerList answers;
    std::vector<uint32_t> numbers;  // by row, or AnswerList::kImpossible
    std::vector<double> truths;     // by row: the state or the value; NaN where nobody knows
  };

  explicit tv_predictions_s(const tv::PredictionModel& model);

  const double* answer(size_t row, size_t target) const noexcept {
    const uint32_t number = targets[target].numbers[row];
    return number == tv::AnswerList::kImpossible ? nullptr : targets[target].answers[number];
  }

  size_t rows = 0;
  std::vector<Target> targets;
  std::vector<double> weights;  // by row
};

namespace tv {

// What every call begins with: a domain to predict from, and the nodes.
tv_status_t begin_prediction(Domain& domain, Node* const* targets, PredictionModel& model);

// Answers all rows of a source and adds them to the predictions. Threads are those of the domain; `error`
// where its progress handler stops.
tv_status_t predict_rows(const PredictionModel& model, const RowSource& source,
                         tv_predictions_s& predictions);

}  // namespace tv

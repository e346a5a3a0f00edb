// What hosts ask of predictions and of their measures.
#include <cmath>

#include "api/boundary.h"
#include "predict/predictions.h"

namespace tv {
namespace {

using Predictions = tv_predictions_s;
using Measures = tv_measures_s;

bool is_cell(const Predictions* predictions, size_t row, size_t target) noexcept {
  return predictions && row < predictions->rows && target < predictions->targets.size();
}

// The answer about a target of the right kind; null with the status stored. An impossible row has none.
const double* checked_answer(const Predictions* predictions, size_t row, size_t target, bool is_discrete) {
  if (!check(is_cell(predictions, row, target) && predictions->targets[target].is_discrete == is_discrete))
    return nullptr;
  const double* const answer = predictions->answer(row, target);
  if (!answer) refuse(tv_status_inconsistency_or_underflow, "row %zu is impossible", row);
  return answer;
}

double checked_moment(const Predictions* predictions, size_t row, size_t target, size_t moment) {
  const double* const answer = checked_answer(predictions, row, target, false);
  return answer ? answer[moment] : -1;
}

// Null, with the status stored, where nobody knows it.
const double* checked_truth(const Predictions* predictions, size_t row, size_t target, bool is_discrete) {
  if (!check(is_cell(predictions, row, target) && predictions->targets[target].is_discrete == is_discrete))
    return nullptr;
  const double& truth = predictions->targets[target].truths[row];
  return require(!std::isnan(truth), tv_status_no_value) ? &truth : nullptr;
}

std::unique_ptr<Measures> measure(const Predictions& predictions, size_t target) {
  const Predictions::Target& answers = predictions.targets[target];
  auto measures = std::make_unique<Measures>(answers.answers.length(), answers.is_discrete);
  for (size_t row = 0; row < predictions.rows; ++row)
    measures->add(predictions.answer(row, target), answers.truths[row], predictions.weights[row]);
  return measures;
}

// A sum over rows, divided by their number; -1 where there are none.
double mean_of(const Measures* measures, double Measures::*sum) noexcept {
  return require(measures->weight > 0.0, tv_status_no_value) ? measures->*sum / measures->weight : -1;
}

double mean_over(const Measures* measures, double Measures::*sum, bool is_discrete) noexcept {
  return check(measures && measures->is_discrete == is_discrete) ? mean_of(measures, sum) : -1;
}

}  // namespace
}  // namespace tv

tv_status_t tv_predictions_delete(tv_predictions_t* predictions) {
  if (!tv::check(predictions)) return tv_status_usage;
  delete predictions;
  return tv_status_none;
}

size_t tv_predictions_get_number_of_rows(const tv_predictions_t* predictions) {
  return tv::check(predictions) ? predictions->rows : tv::kNone;
}

size_t tv_predictions_get_number_of_targets(const tv_predictions_t* predictions) {
  return tv::check(predictions) ? predictions->targets.size() : tv::kNone;
}

int tv_predictions_is_possible(const tv_predictions_t* predictions, size_t row) {
  return tv::check(tv::is_cell(predictions, row, 0)) ? predictions->answer(row, 0) != nullptr : -1;
}

double tv_predictions_get_probability(const tv_predictions_t* predictions, size_t row, size_t target,
                                      size_t state) {
  const bool is_state =
      tv::is_cell(predictions, row, target) && state < predictions->targets[target].answers.length();
  if (!tv::check(is_state)) return -1;
  const double* const answer = tv::checked_answer(predictions, row, target, true);
  return answer ? answer[state] : -1;
}

size_t tv_predictions_get_state(const tv_predictions_t* predictions, size_t row, size_t target) {
  const double* const answer = tv::checked_answer(predictions, row, target, true);
  return answer ? tv::most_probable(answer, predictions->targets[target].answers.length()) : tv::kNone;
}

double tv_predictions_get_mean(const tv_predictions_t* predictions, size_t row, size_t target) {
  return tv::checked_moment(predictions, row, target, 0);
}

double tv_predictions_get_variance(const tv_predictions_t* predictions, size_t row, size_t target) {
  return tv::checked_moment(predictions, row, target, 1);
}

size_t tv_predictions_get_true_state(const tv_predictions_t* predictions, size_t row, size_t target) {
  const double* const truth = tv::checked_truth(predictions, row, target, true);
  return truth ? static_cast<size_t>(*truth) : tv::kNone;
}

double tv_predictions_get_true_value(const tv_predictions_t* predictions, size_t row, size_t target) {
  const double* const truth = tv::checked_truth(predictions, row, target, false);
  return truth ? *truth : -1;
}

tv_measures_t* tv_predictions_new_measures(const tv_predictions_t* predictions, size_t target) {
  return tv::guarded<tv_measures_t*>(nullptr, [&]() -> tv_measures_t* {
    if (!tv::check(predictions && target < predictions->targets.size())) return nullptr;
    return tv::measure(*predictions, target).release();
  });
}

tv_status_t tv_measures_delete(tv_measures_t* measures) {
  if (!tv::check(measures)) return tv_status_usage;
  delete measures;
  return tv_status_none;
}

double tv_measures_get_number_of_rows(const tv_measures_t* measures) {
  return tv::check(measures) ? measures->weight : -1;
}

double tv_measures_get_number_of_impossible_rows(const tv_measures_t* measures) {
  return tv::check(measures) ? measures->impossible : -1;
}

double tv_measures_get_log_loss(const tv_measures_t* measures) {
  return tv::check(measures) ? tv::mean_of(measures, &tv_measures_s::log_loss) : -1;
}

double tv_measures_get_brier_score(const tv_measures_t* measures) {
  return tv::mean_over(measures, &tv_measures_s::squares, true);
}

double tv_measures_get_accuracy(const tv_measures_t* measures) {
  return tv::mean_over(measures, &tv_measures_s::correct, true);
}

double tv_measures_get_mean_squared_error(const tv_measures_t* measures) {
  return tv::mean_over(measures, &tv_measures_s::squares, false);
}

double tv_measures_get_mean_absolute_error(const tv_measures_t* measures) {
  return tv::mean_over(measures, &tv_measures_s::absolutes, false);
}

double tv_measures_get_confusion(const tv_measures_t* measures, size_t state, size_t predicted) {
  const bool is_valid =
      measures && measures->is_discrete && state < measures->size && predicted < measures->size;
  if (!tv::check(is_valid)) return -1;
  const auto count = measures->confusion.find(state * measures->size + predicted);
  return count == measures->confusion.end() ? 0.0 : count->second;
}

double tv_measures_get_area_under_curve(tv_measures_t* measures, size_t state) {
  return tv::guarded(-1.0, [&]() -> double {
    if (!tv::check(measures && measures->is_discrete && state < measures->size)) return -1;
    const double area = measures->area(state);
    return tv::require(!std::isnan(area), tv_status_no_value) ? area : -1;
  });
}

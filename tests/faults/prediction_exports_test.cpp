// Predictions and their measures under failing allocation.

#include <gtest/gtest.h>

#include <array>

#include "faults/export_world.h"
#include "tables/limits.h"

namespace test {
namespace {

const char kRows[] = "a,b,d,note\n#0,#1,,one\n#1,,#0,two\n?,#2,#1,three\n";

void with_rows(World& w) {
  compiled(w);
  tv_domain_set_concurrency_level(net(w), 2);
  w.data.reset(tv_new_data_set());
  tv_data_set_parse_csv_string(w.data.get(), kRows, ',', nullptr, nullptr);
  tv_data_set_delete_column(w.data.get(), 3);
}

void with_values_to_predict(World& w) {
  with_regressions(w);
  tv_node_set_name(w.x, "x");
  for (size_t i = 0; i < 2; ++i) tv_node_set_conditional_variance(w.x, i, 2.0);
  compiled(w);
  w.data.reset(tv_new_data_set());
  tv_data_set_parse_csv_string(w.data.get(), "x,a\n1.5,#0\n-2,#1\n1.5,#0\n", ',', nullptr, nullptr);
}

void with_cases_to_learn_from(World& w) {
  with_cases(w);
  compiled(w);
  tv_node_get_experience_table(w.b);
  tv_domain_set_max_number_of_em_iterations(net(w), 2);
}

// What is predicted, as one number.
void note_predictions(World& w, tv_predictions_t* made) {
  const World::Predictions predictions(made);
  if (!made) return;
  for (size_t row = 0; row < tv_predictions_get_number_of_rows(made); ++row) {
    const double p = tv_predictions_get_probability(made, row, 0, 0);
    w.number = w.number * 0.75 + (tv_error_code() ? tv_predictions_get_mean(made, row, 0) : p);
  }
}

std::array<tv_node_t*, 2> target(tv_node_t* node) { return {node, nullptr}; }

tv_predictions_t* predict(World& w, tv_node_t* node) {
  return tv_domain_predict(net(w), w.data.get(), nullptr, target(node).data(), tv_unmatched_error, nullptr,
                           nullptr);
}

void predict_csv(World& w) {
  const char* const kept[] = {"note", nullptr};
  tv_measures_t* measures = nullptr;
  const std::unique_ptr<std::FILE, World::Close> from(
      fmemopen(const_cast<char*>(kRows), sizeof kRows - 1, "r")),
      to(std::fopen("/dev/null", "w"));
  if (tv_domain_predict_csv(net(w), from.get(), to.get(), ',', nullptr, target(w.c).data(), kept,
                            tv_unmatched_error, nullptr, nullptr, &measures) == tv_status_none)
    note(w, tv_measures_get_number_of_rows(World::Measures(measures).get()));
}

void predicted(World& w) {
  with_rows(w);
  w.predictions.reset(predict(w, w.b));
}
void predicted_values(World& w) {
  with_values_to_predict(w);
  w.predictions.reset(predict(w, w.x));
}
void measured(World& w) {
  predicted(w);
  w.measures.reset(tv_predictions_new_measures(w.predictions.get(), 0));
}
void measured_values(World& w) {
  predicted_values(w);
  w.measures.reset(tv_predictions_new_measures(w.predictions.get(), 0));
}

tv_predictions_t* predictions_of(World& w) { return w.predictions.get(); }
tv_measures_t* measures_of(World& w) { return w.measures.get(); }

// Rows of which no group is narrow enough.
void predict_by_queries(World& w) {
  const size_t usual = tv::limits.joint_states;
  tv::limits.joint_states = 0;
  note_predictions(w, predict(w, w.c));
  tv::limits.joint_states = usual;
}

const Cases cases = {
    {"tv_domain_predict", with_rows, [](World& w) { note_predictions(w, predict(w, w.c)); }},
    {"tv_domain_predict", with_rows, predict_by_queries},
    {"tv_domain_predict", with_values_to_predict, [](World& w) { note_predictions(w, predict(w, w.y)); }},
    {"tv_domain_predict_cases", with_cases_to_learn_from,
     [](World& w) { note_predictions(w, tv_domain_predict_cases(net(w), target(w.d).data())); }},
    {"tv_domain_cross_validate", with_cases_to_learn_from,
     [](World& w) { note_predictions(w, tv_domain_cross_validate(net(w), target(w.a).data(), 2, 1)); }},
    {"tv_domain_predict_csv", with_rows, predict_csv},
    {"tv_predictions_new_measures", predicted,
     [](World& w) {
       const World::Measures measures(tv_predictions_new_measures(predictions_of(w), 0));
       if (measures) note(w, tv_measures_get_log_loss(measures.get()));
     }},
    {"tv_measures_get_area_under_curve", measured,
     [](World& w) { note(w, tv_measures_get_area_under_curve(measures_of(w), 1)); }},
    {"tv_predictions_delete", predicted,
     [](World& w) { note(w, tv_predictions_delete(w.predictions.release())); }, Case::never_fails},
    {"tv_measures_delete", measured, [](World& w) { note(w, tv_measures_delete(w.measures.release())); },
     Case::never_fails},
    ASKS_FOR_NOTHING(tv_predictions_get_number_of_rows, predicted, predictions_of(w)),
    ASKS_FOR_NOTHING(tv_predictions_get_number_of_targets, predicted, predictions_of(w)),
    ASKS_FOR_NOTHING(tv_predictions_is_possible, predicted, predictions_of(w), 1),
    ASKS_FOR_NOTHING(tv_predictions_get_probability, predicted, predictions_of(w), 1, 0, 2),
    ASKS_FOR_NOTHING(tv_predictions_get_state, predicted, predictions_of(w), 1, 0),
    ASKS_FOR_NOTHING(tv_predictions_get_true_state, predicted, predictions_of(w), 2, 0),
    ASKS_FOR_NOTHING(tv_predictions_get_mean, predicted_values, predictions_of(w), 1, 0),
    ASKS_FOR_NOTHING(tv_predictions_get_variance, predicted_values, predictions_of(w), 1, 0),
    ASKS_FOR_NOTHING(tv_predictions_get_true_value, predicted_values, predictions_of(w), 1, 0),
    ASKS_FOR_NOTHING(tv_measures_get_number_of_rows, measured, measures_of(w)),
    ASKS_FOR_NOTHING(tv_measures_get_number_of_impossible_rows, measured, measures_of(w)),
    ASKS_FOR_NOTHING(tv_measures_get_log_loss, measured, measures_of(w)),
    ASKS_FOR_NOTHING(tv_measures_get_brier_score, measured, measures_of(w)),
    ASKS_FOR_NOTHING(tv_measures_get_accuracy, measured, measures_of(w)),
    ASKS_FOR_NOTHING(tv_measures_get_confusion, measured, measures_of(w), 1, 2),
    ASKS_FOR_NOTHING(tv_measures_get_mean_squared_error, measured_values, measures_of(w)),
    ASKS_FOR_NOTHING(tv_measures_get_mean_absolute_error, measured_values, measures_of(w)),
};

}  // namespace
}  // namespace test

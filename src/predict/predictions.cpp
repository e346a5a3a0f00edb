#include "predict/predictions.h"

#include <cmath>

#include "api/boundary.h"
#include "inference/answers/queries.h"
#include "inference/query.h"
#include "network/domain.h"
#include "network/node_operations.h"
#include "network/progress.h"

tv_predictions_s::tv_predictions_s(const tv::PredictionModel& model) {
  for (const tv::PredictionTarget& target : model.targets)
    targets.push_back({tv::is_discrete(*target.node), tv::AnswerList(target.size), {}, {}});
}

namespace tv {
namespace {

// Numbers that threads gave their answers, and those that the answers have in the whole.
class Renumbering {
 public:
  Renumbering(const Predictor& predictor, size_t targets)
      : predictor_(predictor), maps_(predictor.threads() * targets), targets_(targets) {}

  uint32_t number_of(size_t thread, size_t target, uint32_t number, AnswerList& all) {
    if (number == AnswerList::kImpossible) return number;
    Map& map = maps_[thread * targets_ + target];
    if (map.generation != predictor_.generation(thread)) map = {predictor_.generation(thread), {}};
    if (number >= map.numbers.size()) map.numbers.resize(number + size_t{1}, AnswerList::kOpen);
    uint32_t& known = map.numbers[number];
    if (known == AnswerList::kOpen) {
      known = all.add();
      const double* const answer = predictor_.answers(thread, target)[number];
      std::copy_n(answer, all.length(), all[known]);
    }
    return known;
  }

 private:
  struct Map {
    size_t generation = 0;
    std::vector<uint32_t> numbers = {};
  };

  const Predictor& predictor_;
  std::vector<Map> maps_;
  size_t targets_;
};

}  // namespace

tv_status_t begin_prediction(Domain& domain, Node* const* targets, PredictionModel& model) {
  if (!require_compiled(domain)) return current_status();
  if (tv_status_t status = check_tables_for_queries(domain)) return status;
  return make_prediction_model(domain, targets, model);
}

tv_status_t predict_rows(const PredictionModel& model, const RowSource& source,
                         tv_predictions_s& predictions) {
  const size_t rows = source.rows();
  Predictor predictor(model, model.domain->concurrency_level);
  Renumbering numbers(predictor, model.targets.size());
  ProgressMeter progress(*model.domain, "predicting", rows / Predictor::kRowsOfACall + 1);
  for (size_t first = 0; first < rows; first += Predictor::kRowsOfACall) {
    if (tv_status_t status = progress.advance()) return store_status(status);
    const size_t count = std::min(Predictor::kRowsOfACall, rows - first);
    if (tv_status_t status = predictor.run(source, first, count)) return status;
    for (size_t t = 0; t < model.targets.size(); ++t) {
      tv_predictions_s::Target& target = predictions.targets[t];
      for (size_t i = 0; i < count; ++i) {
        target.numbers.push_back(
            numbers.number_of(predictor.thread_of(i), t, predictor.answer(i, t), target.answers));
        target.truths.push_back(predictor.truth(i, t));
      }
    }
    for (size_t i = 0; i < count; ++i) predictions.weights.push_back(source.weight(first + i));
    predictions.rows += count;
  }
  return tv_status_none;
}

}  // namespace tv

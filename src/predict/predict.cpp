// Predictions for the rows of a data set, for the cases of a domain, and by cross-validation.
#include <algorithm>
#include <random>

#include "api/boundary.h"
#include "network/cases.h"
#include "network/domain.h"
#include "network/node_operations.h"
#include "predict/predictions.h"

namespace tv {
namespace {

using Predictions = tv_predictions_s;

// The columns that are about nodes. What does not fit is told.
tv_status_t match_rows(const PredictionModel& model, const DataSet& data, Node* const* nodes,
                       tv_unmatched_t unmatched, MessageHandler handler,
                       std::vector<ColumnObservations>& columns) {
  const bool is_strict = unmatched == tv_unmatched_error;
  UnmatchedItems items(handler);
  const auto use_of = [](size_t) { return ColumnUse::observations; };
  const auto note = [&](const std::string& message) { items.note(kNone, message, is_strict); };
  if (tv_status_t status = match_columns(*model.domain, data, nodes, use_of, note, columns)) return status;
  if (tv_status_t status = check_states(model, columns)) return status;
  for (const ColumnObservations& column : columns)
    column.for_each_unfit(
        [&](size_t row, const std::string& message) { items.note(row, message, is_strict); });
  return items.status();
}

Predictions* predict_data(Domain& domain, const DataSet& data, Node* const* nodes, Node* const* targets,
                          tv_unmatched_t unmatched, MessageHandler handler) {
  PredictionModel model;
  if (begin_prediction(domain, targets, model)) return nullptr;
  std::vector<ColumnObservations> columns;
  if (store_status(match_rows(model, data, nodes, unmatched, handler, columns))) return nullptr;
  auto predictions = std::make_unique<Predictions>(model);
  const DataRows rows(model, data, std::move(columns));
  return predict_rows(model, rows, *predictions) ? nullptr : predictions.release();
}

Predictions* predict_cases(Domain& domain, Node* const* targets) {
  PredictionModel model;
  if (begin_prediction(domain, targets, model)) return nullptr;
  auto predictions = std::make_unique<Predictions>(model);
  return predict_rows(model, CaseRows(model), *predictions) ? nullptr : predictions.release();
}

// ---- Cross-validation ----

// A permutation of the cases; the same on every machine.
std::vector<size_t> shuffled(size_t count, uint64_t seed) {
  std::vector<size_t> order(count);
  for (size_t i = 0; i < count; ++i) order[i] = i;
  std::mt19937_64 random(seed);
  for (size_t i = count; i > 1; --i) std::swap(order[i - 1], order[random() % i]);
  return order;
}

class CrossValidation {
 public:
  CrossValidation(Domain& domain, Node* const* targets, size_t folds, uint64_t seed)
      : domain_(domain), targets_(targets), folds_(folds), order_(shuffled(domain.cases.count, seed)) {}

  tv_status_t run(const PredictionModel& model, std::unique_ptr<Predictions>& result) {
    result = std::make_unique<Predictions>(model);
    for (Predictions::Target& target : result->targets) {
      target.numbers.resize(order_.size());
      target.truths.resize(order_.size());
    }
    result->rows = order_.size();
    for (size_t row = 0; row < order_.size(); ++row)
      result->weights.push_back(static_cast<double>(case_count(domain_, row)));
    for (size_t fold = 0; fold < folds_; ++fold)
      if (tv_status_t status = run_fold(fold, *result)) return status;
    return tv_status_none;
  }

 private:
  // A copy learns from the cases of the other folds, which alone count there.
  tv_status_t run_fold(size_t fold, Predictions& result) {
    const std::unique_ptr<Domain> copy = clone_domain(domain_);
    if (!copy) return current_status();
    const UnitRange own = units_of_thread(order_.size(), folds_, fold);
    for (size_t i = own.begin; i < own.end; ++i)
      if (tv_status_t status = tv_domain_set_case_count(copy.get(), order_[i], 0)) return status;
    if (tv_status_t status = compile_like_original(*copy)) return status;
    copy->progress_handler = domain_.progress_handler;
    copy->progress_data = domain_.progress_data;
    if (tv_status_t status = tv_domain_learn_tables(copy.get())) return status;
    return predict_fold(*copy,
                        {order_.begin() + static_cast<ptrdiff_t>(own.begin),
                         order_.begin() + static_cast<ptrdiff_t>(own.end)},
                        result);
  }

  Node* twin(const Node& node, Domain& copy) const {
    auto it = copy.nodes.begin();
    for (const Node& own : domain_.nodes) {
      if (&own == &node) return &*it;
      ++it;
    }
    return nullptr;
  }

  tv_status_t compile_like_original(Domain& copy) const {
    Node* const* eliminated = tv_domain_get_elimination_order(&domain_);
    if (!eliminated) return current_status();
    std::vector<Node*> order;
    for (; *eliminated; ++eliminated) order.push_back(twin(**eliminated, copy));
    order.push_back(nullptr);
    if (tv_status_t status = tv_domain_triangulate_with_order(&copy, order.data())) return status;
    return tv_domain_compile(&copy);
  }

  tv_status_t predict_fold(Domain& copy, const std::vector<size_t>& rows, Predictions& result) const {
    std::vector<Node*> targets;
    for (Node* const* target = targets_; *target; ++target) targets.push_back(twin(**target, copy));
    targets.push_back(nullptr);
    PredictionModel model;
    if (tv_status_t status = begin_prediction(copy, targets.data(), model)) return status;
    Predictions part(model);
    if (tv_status_t status = predict_rows(model, CaseRows(model, rows), part)) return status;
    for (size_t t = 0; t < part.targets.size(); ++t) {
      Predictions::Target& all = result.targets[t];
      const uint32_t first = all.answers.size();
      for (uint32_t a = 0; a < part.targets[t].answers.size(); ++a)
        std::copy_n(part.targets[t].answers[a], all.answers.length(), all.answers[all.answers.add()]);
      for (size_t i = 0; i < rows.size(); ++i) {
        const uint32_t number = part.targets[t].numbers[i];
        all.numbers[rows[i]] = number == AnswerList::kImpossible ? number : first + number;
        all.truths[rows[i]] = part.targets[t].truths[i];
      }
    }
    return tv_status_none;
  }

  Domain& domain_;
  Node* const* targets_;
  size_t folds_;
  std::vector<size_t> order_;
};

Predictions* cross_validate(Domain& domain, Node* const* targets, size_t folds, uint64_t seed) {
  PredictionModel model;
  if (begin_prediction(domain, targets, model)) return nullptr;
  if (folds < 2 || folds > domain.cases.count) {
    refuse(tv_status_usage, "%zu folds of %zu cases: every fold needs a case, and another one to learn from",
           folds, domain.cases.count);
    return nullptr;
  }
  std::unique_ptr<Predictions> result;
  const tv_status_t status = CrossValidation(domain, targets, folds, seed).run(model, result);
  return store_status(status) ? nullptr : result.release();
}

}  // namespace
}  // namespace tv

tv_predictions_t* tv_domain_predict(tv_domain_t* domain, const tv_data_set_t* data, tv_node_t* const* nodes,
                                    tv_node_t* const* targets, tv_unmatched_t unmatched,
                                    tv_error_handler_t handler, void* handler_data) {
  return tv::guarded<tv_predictions_t*>(nullptr, [&]() -> tv_predictions_t* {
    const bool is_valid = domain && data && targets &&
                          (unmatched == tv_unmatched_error || unmatched == tv_unmatched_missing) &&
                          tv::nodes_belong_to(*domain, *data, nodes);
    if (!tv::check(is_valid)) return nullptr;
    return tv::predict_data(*domain, *data, nodes, targets, unmatched, {handler, handler_data});
  });
}

tv_predictions_t* tv_domain_predict_cases(tv_domain_t* domain, tv_node_t* const* targets) {
  return tv::guarded<tv_predictions_t*>(nullptr, [&]() -> tv_predictions_t* {
    return tv::check(domain && targets) ? tv::predict_cases(*domain, targets) : nullptr;
  });
}

tv_predictions_t* tv_domain_cross_validate(tv_domain_t* domain, tv_node_t* const* targets, size_t folds,
                                           uint64_t seed) {
  return tv::guarded<tv_predictions_t*>(nullptr, [&]() -> tv_predictions_t* {
    return tv::check(domain && targets) ? tv::cross_validate(*domain, targets, folds, seed) : nullptr;
  });
}

#include "predict/query_predictor.h"

#include <algorithm>
#include <cmath>

#include "api/status.h"
#include "network/cases.h"
#include "network/node_operations.h"

namespace tv {

tv_status_t QueryPredictor::start() {
  if (query_) return tv_status_none;
  query_.reset(tv_domain_new_query(model_.domain));
  return query_ ? tv_status_none : current_status();
}

void QueryPredictor::make_key(const RowBlock& block, size_t row) {
  const int16_t* const states = block.states().states(row);
  key_.assign(reinterpret_cast<const char*>(states), model_.columns() * sizeof *states);
  if (const double* const values = block.values(row))
    key_.append(reinterpret_cast<const char*>(values), model_.columns() * sizeof *values);
}

tv_status_t QueryPredictor::enter(const RowBlock& block, size_t row) {
  if (tv_status_t status = tv_query_retract_findings(query_.get())) return status;
  const int16_t* const states = block.states().states(row);
  const double* const values = block.values(row);
  for (size_t c = 0; c < model_.columns(); ++c) {
    Node* const node = model_.families[c].node;
    tv_status_t status = tv_status_none;
    if (states[c] != kMissingCase)
      status = tv_query_select_state(query_.get(), node, static_cast<size_t>(states[c]));
    else if (values && !std::isnan(values[c]))
      status = tv_query_enter_value(query_.get(), node, values[c]);
    if (status) return status;
  }
  return tv_status_none;
}

tv_status_t QueryPredictor::read(uint32_t* numbers) {
  for (size_t t = 0; t < model_.targets.size(); ++t) {
    const PredictionTarget& target = model_.targets[t];
    numbers[t] = answers_[t].add();
    double* const answer = answers_[t][numbers[t]];
    if (is_continuous(*target.node)) {
      answer[0] = tv_query_get_mean(query_.get(), target.node);
      answer[1] = tv_query_get_variance(query_.get(), target.node);
    } else {
      for (size_t s = 0; s < target.size; ++s)
        answer[s] = static_cast<double>(tv_query_get_belief(query_.get(), target.node, s));
    }
    if (tv_status_t status = current_status()) return status;
  }
  return tv_status_none;
}

tv_status_t QueryPredictor::propagate(const RowBlock& block, size_t row, uint32_t* numbers) {
  if (tv_status_t status = enter(block, row)) return status;
  const tv_status_t status = tv_query_propagate(query_.get(), tv_equilibrium_sum, tv_evidence_normal);
  if (status == tv_status_none) return read(numbers);
  if (status != tv_status_inconsistency_or_underflow) return status;
  std::fill_n(numbers, model_.targets.size(), AnswerList::kImpossible);
  return tv_status_none;
}

tv_status_t QueryPredictor::answer(const RowBlock& block, size_t row, uint32_t* numbers) {
  make_key(block, row);
  const size_t targets = model_.targets.size();
  if (const auto known = known_.find(key_); known != known_.end()) {
    std::copy_n(given_.begin() + static_cast<ptrdiff_t>(known->second), targets, numbers);
    return tv_status_none;
  }
  if (tv_status_t status = propagate(block, row, numbers)) return status;
  known_.emplace(key_, given_.size());
  given_.insert(given_.end(), numbers, numbers + targets);
  return tv_status_none;
}

size_t QueryPredictor::bytes() const noexcept {
  constexpr size_t kEntry = 96;  // of the table of known rows, beside the key itself
  return known_.size() * (key_.size() + kEntry) + given_.size() * sizeof(uint32_t);
}

void QueryPredictor::clear() {
  known_.clear();
  given_.clear();
}

}  // namespace tv

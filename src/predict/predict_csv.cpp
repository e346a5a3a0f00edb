// Predictions from a CSV text into another one, some rows at a time, so that the memory they take does not
// grow with their number.
#include <algorithm>
#include <charconv>
#include <optional>

#include "api/boundary.h"
#include "data/csv_reader.h"
#include "data/csv_writer.h"
#include "network/domain.h"
#include "network/node_operations.h"
#include "network/progress.h"
#include "predict/predictions.h"
#include "text/output.h"

namespace tv {
namespace {

constexpr int kDigits = 9;

struct CsvPrediction {
  Domain* domain;
  std::FILE* from;
  std::FILE* to;
  char separator;
  const char* const* missing;  // texts; null for the usual ones
  Node* const* targets;
  const char* const* kept;  // names of columns that are copied; null for none
  bool is_strict;
  bool measures;
  MessageHandler handler;
};

// What the answers of one thread about one target look like.
class AnswerTexts {
 public:
  void begin(size_t generation) {
    if (generation != generation_) texts_.clear();
    generation_ = generation;
  }
  const std::string* known(uint32_t number) const noexcept {
    return number < texts_.size() && !texts_[number].empty() ? &texts_[number] : nullptr;
  }
  const std::string& add(uint32_t number, std::string text) {
    if (number >= texts_.size()) texts_.resize(number + size_t{1});
    return texts_[number] = std::move(text);
  }

 private:
  size_t generation_ = 0;
  std::vector<std::string> texts_;
};

class CsvPredictor {
 public:
  CsvPredictor(const CsvPrediction& order, const PredictionModel& model)
      : order_(order),
        model_(model),
        source_(order.from),
        rows_(data_, source_, order.separator, order.handler),
        sink_(order.to),
        unmatched_(order.handler, "line"),
        predictor_(model, model.domain->concurrency_level),
        texts_(predictor_.threads() * model.targets.size()) {
    for (const PredictionTarget& target : model.targets)
      if (order.measures)
        measures_.push_back(std::make_unique<tv_measures_s>(target.size, is_discrete(*target.node)));
  }

  // The texts that mean missing have the rules of data sets.
  tv_status_t prepare() {
    if (order_.missing)
      if (tv_status_t status = tv_data_set_set_missing_texts(&data_, order_.missing)) return status;
    if (data_.missing.texts().front().find(order_.separator) == std::string::npos) return tv_status_none;
    return refuse(tv_status_usage, "what is written for missing items holds the separator");
  }

  tv_status_t run() {
    if (tv_status_t status = rows_.next(Predictor::kRowsOfACall)) return status;
    if (tv_status_t status = match()) return status;
    write_header();
    ProgressMeter progress(*model_.domain, "predicting", 0);
    while (data_.number_of_rows() > 0) {
      if (tv_status_t status = progress.advance()) return status;
      source_rows_->update();
      if (tv_status_t status = check_items()) return status;
      if (tv_status_t status = predictor_.run(*source_rows_, 0, data_.number_of_rows())) return status;
      write_rows();
      if (sink_.status()) return sink_.status();
      source_rows_->forget_columns_of_more_than(CsvRows::kMostKeptItems);
      if (tv_status_t status = rows_.next(Predictor::kRowsOfACall)) return status;
    }
    return sink_.finish();
  }

  std::vector<std::unique_ptr<tv_measures_s>>& measures() noexcept { return measures_; }

 private:
  tv_status_t match() {
    for (const char* const* name = order_.kept; name && *name; ++name) {
      kept_.push_back(find_column(data_, *name));
      if (kept_.back() == kNone) return refuse(tv_status_usage, "there is no column \"%s\"", *name);
    }
    const auto use_of = [&](size_t column) {
      return std::find(kept_.begin(), kept_.end(), column) == kept_.end() ? ColumnUse::observations
                                                                          : ColumnUse::observations_if_any;
    };
    const auto note = [&](const std::string& message) { unmatched_.note(kNone, message, order_.is_strict); };
    std::vector<ColumnObservations> columns;
    if (tv_status_t status = match_columns(*model_.domain, data_, nullptr, use_of, note, columns))
      return status;
    if (tv_status_t status = check_states(model_, columns)) return status;
    source_rows_.emplace(model_, data_, std::move(columns));
    return unmatched_.status();
  }

  tv_status_t check_items() {
    for (const ColumnObservations& column : source_rows_->columns())
      column.for_each_unfit([&](size_t row, const std::string& message) {
        unmatched_.note(rows_.line(row), message, order_.is_strict);
      });
    return unmatched_.status();
  }

  // ---- Writing ----

  void write_header() {
    line_.clear();
    for (const size_t column : kept_)
      add_cell(csv_name(data_.columns[column]->name_text(), order_.separator));
    for (const PredictionTarget& target : model_.targets) {
      const std::string name = name_of(*target.node);
      if (is_discrete(*target.node)) {
        add_cell(csv_name("predicted(" + name + ")", order_.separator));
        for (size_t s = 0; s < target.size; ++s)
          add_cell(csv_name("P(" + name + "=" + item_of_state(*target.node, s) + ")", order_.separator));
      } else {
        add_cell(csv_name("mean(" + name + ")", order_.separator));
        add_cell(csv_name("variance(" + name + ")", order_.separator));
      }
    }
    end_line();
  }

  void write_rows() {
    for (size_t i = 0; i < texts_.size(); ++i)
      texts_[i].begin(predictor_.generation(i / model_.targets.size()));
    for (size_t row = 0; row < data_.number_of_rows(); ++row) {
      for (const size_t column : kept_) add_kept(*data_.columns[column], row);
      const size_t thread = predictor_.thread_of(row);
      for (size_t t = 0; t < model_.targets.size(); ++t) {
        const uint32_t number = predictor_.answer(row, t);
        const bool is_possible = number != AnswerList::kImpossible;
        if (order_.measures)
          measures_[t]->add(is_possible ? predictor_.answers(thread, t)[number] : nullptr,
                            predictor_.truth(row, t), 1.0);
        add_cell(is_possible ? text_of(thread, t, number) : text_of_none(t));
      }
      end_line();
    }
  }

  void add_kept(const DataColumn& column, size_t row) {
    const Code code = column.codes[row];
    const std::string& missing = data_.missing.texts().front();
    add_cell(code == kMissingCode ? missing
                                  : csv_item(column.items.text(code), order_.separator, data_.missing));
  }

  const std::string& text_of(size_t thread, size_t t, uint32_t number) {
    AnswerTexts& texts = texts_[thread * model_.targets.size() + t];
    if (const std::string* known = texts.known(number)) return *known;
    const PredictionTarget& target = model_.targets[t];
    const double* const answer = predictor_.answers(thread, t)[number];
    std::string text;
    if (is_discrete(*target.node)) {
      const size_t state = most_probable(answer, target.size);
      text = csv_item(item_of_state(*target.node, state), order_.separator, data_.missing) + order_.separator;
    }
    for (size_t i = 0; i < target.size; ++i) {
      if (i > 0) text += order_.separator;
      char digits[32];
      text.append(
          digits,
          std::to_chars(digits, digits + sizeof digits, answer[i], std::chars_format::general, kDigits).ptr);
    }
    return texts.add(number, std::move(text));
  }

  std::string text_of_none(size_t t) const {
    const PredictionTarget& target = model_.targets[t];
    const std::string& missing = data_.missing.texts().front();
    std::string text = missing;
    const size_t more = is_discrete(*target.node) ? target.size : 1;
    for (size_t i = 0; i < more; ++i) text.append(1, order_.separator).append(missing);
    return text;
  }

  void add_cell(std::string_view text) {
    if (has_cell_) line_ += order_.separator;
    has_cell_ = true;
    line_ += text;
  }

  void end_line() {
    line_ += '\n';
    sink_.text(line_);
    line_.clear();
    has_cell_ = false;
  }

  const CsvPrediction& order_;
  const PredictionModel& model_;
  DataSet data_;
  CsvSource source_;
  CsvRows rows_;
  OutputSink sink_;
  UnmatchedItems unmatched_;
  std::optional<DataRows> source_rows_;
  Predictor predictor_;
  std::vector<AnswerTexts> texts_;  // by thread and target
  std::vector<size_t> kept_;
  std::vector<std::unique_ptr<tv_measures_s>> measures_;
  std::string line_;
  bool has_cell_ = false;
};

tv_status_t predict_csv(const CsvPrediction& order, tv_measures_t** measures) {
  PredictionModel model;
  if (tv_status_t status = begin_prediction(*order.domain, order.targets, model)) return status;
  for (const PredictionTarget& target : model.targets)
    if (!name_of(*target.node)) return tv_status_no_memory;
  CsvPredictor predictor(order, model);
  if (tv_status_t status = predictor.prepare()) return status;
  if (tv_status_t status = predictor.run()) return status;
  for (size_t t = 0; measures && t < model.targets.size(); ++t)
    measures[t] = predictor.measures()[t].release();
  return tv_status_none;
}

}  // namespace
}  // namespace tv

tv_status_t tv_domain_predict_csv(tv_domain_t* domain, FILE* from, FILE* to, char separator,
                                  const char* const* missing, tv_node_t* const* targets,
                                  const char* const* kept_columns, tv_unmatched_t unmatched,
                                  tv_error_handler_t handler, void* handler_data, tv_measures_t** measures) {
  return tv::guarded([&]() -> tv_status_t {
    const bool is_valid = domain && from && to && targets && tv::is_csv_separator(separator) &&
                          (unmatched == tv_unmatched_error || unmatched == tv_unmatched_missing);
    if (!tv::check(is_valid)) return tv_status_usage;
    return tv::predict_csv({domain,
                            from,
                            to,
                            separator,
                            missing,
                            targets,
                            kept_columns,
                            unmatched == tv_unmatched_error,
                            measures != nullptr,
                            {handler, handler_data}},
                           measures);
  });
}

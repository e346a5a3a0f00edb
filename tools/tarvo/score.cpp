// tarvo score, and what it shares with tarvo learn.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "case_rows.h"
#include "files.h"
#include "learn.h"
#include "progress.h"
#include "propagation.h"
#include "row_messages.h"

namespace program {
namespace {

// Fails with the first case that cannot be.
void expect_possible_cases(const Network& network, tv_domain_t* domain, const std::string& data_file,
                           size_t first_row = 0) {
  const Activity searching("looking for the case that is impossible");
  for (size_t i = 0; i < tv_domain_get_number_of_cases(domain); ++i) {
    if (!(tv_domain_get_case_count(domain, i) > 0)) continue;
    if (tv_domain_enter_case(domain, i) ||
        tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal))
      throw Failure(kFailed, shown_file(data_file) + ": row " + std::to_string(first_row + i + 1) +
                                 " is impossible in " + network.file());
  }
}

}  // namespace

void load_cases(const Network& network, const CaseOptions& options, const RowRange* rows) {
  const DataSet data = load_data(options.data, rows);
  if (rows && tv_data_set_get_number_of_rows(data.get()) != rows->count)
    throw Failure(kFailed, options.data.file + ": it has changed while it was read");
  const size_t counts =
      options.count_column.empty() ? SIZE_MAX : column_named(data.get(), options.count_column, options.data);
  const std::string file = shown_file(options.data.file);
  RowMessages messages(options.data.file, RowMessages::kRows, rows);
  const Activity reading("reading " + file);
  const tv_status_t status = tv_domain_add_cases(network.domain(), data.get(), nullptr, counts,
                                                 options.lenient ? tv_unmatched_missing : tv_unmatched_error,
                                                 RowMessages::tell, &messages);
  messages.end(status, network, options.lenient);
  expect(status, file);
  if (tv_data_set_get_number_of_rows(data.get()) == 0 && !rows) fail_without_cases(file);
}

void fail_without_cases(const std::string& file) { throw Failure(kFailed, file + ": there are no cases"); }

void fail_for_cases(const Network& network, tv_domain_t* domain, const std::string& data_file,
                    size_t first_row) {
  const tv_status_t status = tv_error_code();
  const std::string message = library_message();
  if (status == tv_status_inconsistency_or_underflow)
    expect_possible_cases(network, domain, data_file, first_row);
  throw Failure(kFailed, network.file() + ": " + message);
}

Scores scores_of(const Network& network, tv_domain_t* domain, const std::string& data_file) {
  const Activity scoring("computing the log-likelihood");
  Scores scores{};
  for (size_t i = 0; i < tv_domain_get_number_of_cases(domain); ++i)
    scores.cases += static_cast<double>(tv_domain_get_case_count(domain, i));
  scores.log_likelihood = tv_domain_get_log_likelihood(domain);
  if (tv_error_code()) fail_for_cases(network, domain, data_file);
  if (!std::isfinite(scores.log_likelihood)) expect_possible_cases(network, domain, data_file);
  scores.aic = tv_domain_get_AIC(domain);
  scores.bic = tv_domain_get_BIC(domain);
  expect(tv_error_code(), network.file());
  return scores;
}

Json json_of(const Scores& scores) {
  return {{"cases", json_number(scores.cases)},
          {"log_likelihood", json_number(scores.log_likelihood)},
          {"log_likelihood_per_case", json_number(scores.log_likelihood / scores.cases)},
          {"aic", json_number(scores.aic)},
          {"bic", json_number(scores.bic)}};
}

void print_scores(const Scores& scores) {
  const auto shown = [](double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", number);
    return std::string(text);
  };
  print_table({{"cases", shown(scores.cases)},
               {"log-likelihood", shown(scores.log_likelihood)},
               {"  per case", significant(scores.log_likelihood / scores.cases)},
               {"AIC", shown(scores.aic)},
               {"BIC", shown(scores.bic)}},
              "  ");
}

ExitCode score(const ScoreOptions& options) {
  const Network network(options.source);
  load_cases(network, options.cases);
  compile(network, options.triangulation);
  tv_domain_set_em_concurrency_level(network.domain(), options.threads);
  const Scores scores = scores_of(network, network.domain(), options.cases.data.file);
  if (options.format == Format::kJson) {
    Json document = {{"command", "score"}, {"file", network.file()}, {"data", options.cases.data.file}};
    document.update(json_of(scores));
    print_json(document);
  } else if (options.format == Format::kCsv) {
    const CsvWriter csv({"quantity", "value"});
    const Json figures = json_of(scores);
    for (const auto& [name, value] : figures.items()) csv.row({name, value.dump()});
  } else {
    std::printf("%s\n", printable(network.file()).c_str());
    print_scores(scores);
  }
  return kSuccess;
}

}  // namespace program

// Predictions from file to file, cross-validation, and the report of both.
#include "predict.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>

#include "files.h"
#include "progress.h"
#include "propagation.h"
#include "ranks_input.h"
#include "row_messages.h"

namespace program {
namespace {

struct Delete {
  void operator()(tv_measures_t* measures) const { tv_measures_delete(measures); }
  void operator()(tv_predictions_t* predictions) const { tv_predictions_delete(predictions); }
};
using Measures = std::unique_ptr<tv_measures_t, Delete>;

std::vector<tv_node_t*> target_list(const Network& network, const std::vector<std::string>& names) {
  std::vector<tv_node_t*> targets;
  for (const std::string& name : names) {
    targets.push_back(network.find(name));
    if (!is_discrete(targets.back()) && !is_continuous(targets.back()))
      throw Failure(kFailed, network.file() + ": node \"" + name + "\" has no distribution to predict");
  }
  targets.push_back(nullptr);
  return targets;
}

// ---- The report ----

// A measure, or null where there is nothing to compare.
Json measure(double value) { return tv_error_code() ? Json() : json_number(value); }

Json json_of(tv_node_t* target, tv_measures_t* measures) {
  Json report = {{"node", name_of(target)},
                 {"rows", json_number(tv_measures_get_number_of_rows(measures))},
                 {"impossible_rows", json_number(tv_measures_get_number_of_impossible_rows(measures))},
                 {"log_loss", measure(tv_measures_get_log_loss(measures))}};
  if (is_continuous(target)) {
    report["mean_squared_error"] = measure(tv_measures_get_mean_squared_error(measures));
    report["mean_absolute_error"] = measure(tv_measures_get_mean_absolute_error(measures));
    return report;
  }
  report["brier_score"] = measure(tv_measures_get_brier_score(measures));
  report["accuracy"] = measure(tv_measures_get_accuracy(measures));
  report["states"] = Json::array();
  for (size_t s = 0; s < states_of(target); ++s) {
    Json confusion = Json::array();
    for (size_t other = 0; other < states_of(target); ++other)
      confusion.push_back(json_number(tv_measures_get_confusion(measures, s, other)));
    report["states"].push_back({{"state", state_name(target, s)},
                                {"area_under_curve", measure(tv_measures_get_area_under_curve(measures, s))},
                                {"predicted_as", confusion}});
  }
  return report;
}

void print_states(const Json& states) {
  TextTable table = {{"true state", "area"}};
  for (const Json& state : states) table[0].push_back("as " + state["state"].get<std::string>());
  for (const Json& state : states) {
    const Json& area = state["area_under_curve"];
    table.push_back({printable(state["state"]), area.is_null() ? "" : significant(area)});
    for (const Json& count : state["predicted_as"]) table.back().push_back(significant(count));
  }
  print_table(table);
}

void print_text(const Json& targets) {
  for (const Json& target : targets) {
    std::printf("%s\n", printable(target["node"]).c_str());
    TextTable table;
    for (const auto& [name, value] : target.items()) {
      if (name == "node" || name == "states" || (name == "impossible_rows" && value == 0)) continue;
      std::string words = name;
      for (char& c : words)
        if (c == '_') c = ' ';
      table.push_back({words, value.is_null() ? "" : significant(value)});
    }
    print_table(table, "  ");
    if (target.contains("states") && target["rows"] > 0) print_states(target["states"]);
  }
}

void print_csv(const Json& targets) {
  const CsvWriter csv({"node", "state", "predicted_as", "quantity", "value"});
  for (const Json& target : targets) {
    const std::string node = target["node"];
    for (const auto& [name, value] : target.items())
      if (name != "node" && name != "states")
        csv.row({node, "", "", name, value.is_null() ? "" : value.dump()});
    if (!target.contains("states")) continue;
    for (const Json& state : target["states"]) {
      const Json& area = state["area_under_curve"];
      csv.row({node, state["state"], "", "area_under_curve", area.is_null() ? "" : area.dump()});
      for (size_t s = 0; s < target["states"].size(); ++s)
        csv.row(
            {node, state["state"], target["states"][s]["state"], "rows", state["predicted_as"][s].dump()});
    }
  }
}

void print_report(Json document, const Json& targets, Format format) {
  document["targets"] = targets;
  if (format == Format::kJson)
    print_json(document);
  else if (format == Format::kCsv)
    print_csv(targets);
  else
    print_text(targets);
}

// ---- From file to file ----

StreamOwner open_data(const std::string& file, const RowRange* rows) {
  if (rows) return open_rows(file, *rows);
  if (file == "-") return {stdin, [](std::FILE*) { return 0; }};
  StreamOwner stream(std::fopen(file.c_str(), "rb"), std::fclose);
  if (!stream) throw Failure(kFailed, file + ": " + std::strerror(errno));
  return stream;
}

std::vector<const char*> text_list(const std::vector<std::string>& texts) {
  std::vector<const char*> list;
  for (const std::string& text : texts) list.push_back(text.c_str());
  list.push_back(nullptr);
  return list;
}

// The answers about the rows of this rank go to the stream. What they are worth is told where one rank has
// all of them.
std::vector<Measures> predict_rows(const Network& network, const PredictOptions& options,
                                   const std::vector<tv_node_t*>& targets, std::FILE* to,
                                   const RowRange* rows) {
  const DataOptions& data = options.cases.data;
  const StreamOwner from = open_data(data.file, rows);
  RowMessages messages(data.file, RowMessages::kLines, rows);
  const std::vector<const char*> missing = text_list(data.missing), kept = text_list(options.kept);
  std::vector<tv_measures_t*> made(targets.size() - 1);
  const Activity predicting("predicting");
  errno = 0;
  const tv_status_t status = tv_domain_predict_csv(
      network.domain(), from.get(), to, separator_of(data), data.missing.empty() ? nullptr : missing.data(),
      targets.data(), kept.data(), options.cases.lenient ? tv_unmatched_missing : tv_unmatched_error,
      RowMessages::tell, &messages, rows ? nullptr : made.data());
  const std::string reason = std::strerror(errno ? errno : EIO);
  const bool is_no_csv = status == tv_status_parse && tv_error_line() > 0;  // which has been told
  const std::string message = library_message();
  if (is_no_csv) throw Failure(kFailed, "");
  if (status == tv_status_io)
    throw Failure(kFailed, (std::ferror(to) ? (options.to == "-" ? "standard output" : options.to)
                                            : shown_file(data.file)) +
                               ": " + reason);
  messages.end(status, network, options.cases.lenient);
  if (status) throw Failure(kFailed, message);
  std::vector<Measures> measures;
  for (tv_measures_t* one : made)
    if (one) measures.emplace_back(one);
  return measures;
}

// ---- On several ranks ----

constexpr uint64_t kRowsOfBlock = 4096;

void skip_header(std::FILE* answers) {
  bool is_quoted = false;
  for (int c; (c = std::fgetc(answers)) != EOF && (c != '\n' || is_quoted);) is_quoted ^= c == '"';
}

// The answers of the ranks come to the first one in their order, piece by piece.
void collect_answers(const Ranks& ranks, std::FILE* answers) {
  constexpr size_t kPiece = size_t{1} << 22;
  if (!ranks.is_first()) {
    std::rewind(answers);
    skip_header(answers);
  }
  for (size_t from = 1; from < ranks.size(); ++from)
    for (bool is_over = false; !is_over;) {
      std::string piece;
      if (ranks.rank() == from) {
        piece.resize(kPiece);
        piece.resize(std::fread(piece.data(), 1, kPiece, answers));
        if (std::ferror(answers))
          throw Failure(kFailed, "temporary file: " + std::string(std::strerror(errno)));
      }
      const std::vector<std::string> pieces = ranks.gather(std::move(piece));
      if (ranks.is_first()) std::fwrite(pieces[from].data(), 1, pieces[from].size(), answers);
      is_over = ranks.broadcast(ranks.is_first() && pieces[from].empty() ? "." : "") == ".";
    }
}

void predict_on_ranks(Ranks& ranks, const Network& network, const PredictOptions& options,
                      const std::vector<tv_node_t*>& targets) {
  const RowRange rows = rows_of_this_rank(ranks, options.cases.data, kRowsOfBlock);
  std::unique_ptr<FileWriter> to;
  StreamOwner part(nullptr, std::fclose);
  if (ranks.is_first())
    to = std::make_unique<FileWriter>(options.to);
  else
    part.reset(std::tmpfile());
  std::FILE* const answers = to ? to->stream() : part.get();
  if (!answers) throw Failure(kFailed, "temporary file: " + std::string(std::strerror(errno)));
  predict_rows(network, options, targets, answers, &rows);
  ranks.tell_kept();
  collect_answers(ranks, answers);
  if (to) to->commit();
}

}  // namespace

ExitCode predict(const PredictOptions& options) {
  if (options.to == "-" && options.format != Format::kText)
    throw Failure(kWrongUsage,
                  "the answers themselves go to the standard output, so there is no room for --format");
  Ranks& ranks = Ranks::of_this_run();
  expect_files_for_ranks(ranks, options.source, options.cases.data);
  if (ranks.are_many() && options.format != Format::kText)
    throw Failure(kWrongUsage, "under mpirun the answers are written, but there is no report for --format");
  const Network network = read_network(ranks, options.source);
  const std::vector<tv_node_t*> targets = target_list(network, options.targets);
  compile(network, options.triangulation);
  tv_domain_set_concurrency_level(network.domain(), options.threads);
  if (ranks.are_many()) {
    predict_on_ranks(ranks, network, options, targets);
    return kSuccess;
  }
  FileWriter to(options.to);
  const std::vector<Measures> measures = predict_rows(network, options, targets, to.stream(), nullptr);
  to.commit();
  if (options.to == "-") return kSuccess;
  Json reports = Json::array();
  for (size_t t = 0; t < measures.size(); ++t) reports.push_back(json_of(targets[t], measures[t].get()));
  print_report({{"command", "predict"},
                {"file", network.file()},
                {"data", options.cases.data.file},
                {"out", options.to}},
               reports, options.format);
  return kSuccess;
}

ExitCode validate(const ValidateOptions& validation) {
  const LearnOptions& options = validation.learning;
  expect_files_for_ranks(Ranks::of_this_run(), options.source, options.cases.data);
  const Network network(options.source);
  const std::vector<tv_node_t*> targets = target_list(network, validation.targets);
  load_cases(network, options.cases);
  give_experience(network, options);
  compile(network, options.triangulation);
  tv_domain_t* const domain = network.domain();
  tv_domain_set_concurrency_level(domain, options.threads);
  tv_domain_set_em_concurrency_level(domain, options.threads);
  tv_domain_set_max_number_of_em_iterations(domain, options.iterations);
  tv_domain_set_log_likelihood_tolerance(domain, options.tolerance);
  const Activity validating("learning from all folds but one");
  const std::unique_ptr<tv_predictions_t, Delete> predictions(
      tv_domain_cross_validate(domain, targets.data(), validation.folds, options.seed));
  if (!predictions) fail_for_cases(network, domain, options.cases.data.file);
  Json reports = Json::array();
  for (size_t t = 0; targets[t]; ++t) {
    const Measures measures(tv_predictions_new_measures(predictions.get(), t));
    if (!measures) fail_with_status(network.file());
    reports.push_back(json_of(targets[t], measures.get()));
  }
  print_report({{"command", "validate"},
                {"file", network.file()},
                {"data", options.cases.data.file},
                {"folds", validation.folds}},
               reports, options.format);
  return kSuccess;
}

}  // namespace program

// tarvo simulate: cases drawn from a network, as a file of comma-separated values.
#include <cstdio>
#include <nlohmann/json.hpp>

#include "analysis_commands.h"
#include "progress.h"
#include "propagation.h"

namespace program {
namespace {

constexpr double kBytesOfCell = 16;  // at most, while cells become items

void expect_room(const Network& network, size_t count) {
  const double need = kBytesOfCell * static_cast<double>(count) * static_cast<double>(network.nodes().size());
  if (network.memory_limit() > 0 && need > static_cast<double>(network.memory_limit()))
    throw Failure(kFailed, network.file() + ": so many cases take more memory than --memory-limit allows");
}

void compile_and_propagate(const Network& network, const SimulateOptions& options) {
  compile(network, options.triangulation);
  propagate(network);
}

// A network without evidence is not compiled unless it has to be.
DataSet draw(const Network& network, const SimulateOptions& options, bool has_evidence) {
  if (has_evidence) compile_and_propagate(network, options);
  const Activity drawing("drawing cases");
  const auto cases = [&] {
    return DataSet(tv_domain_simulate_data_set(network.domain(), options.count, options.missing_share));
  };
  expect(tv_domain_seed_random(network.domain(), options.seed), network.file());
  DataSet data = cases();
  if (!data && !has_evidence && tv_error_code() == tv_status_not_compiled) {
    compile_and_propagate(network, options);
    data = cases();
  }
  if (!data) fail_with_status(network.file());
  return data;
}

void report(const Network& network, const SimulateOptions& options, const tv_data_set_t* data) {
  const size_t columns = tv_data_set_get_number_of_columns(data);
  if (options.format == Format::kText && options.out.to != "-")
    std::printf("%s: %zu cases of %zu nodes in %s\n", printable(network.file()).c_str(), options.count,
                columns, printable(options.out.to).c_str());
  Json document = {{"command", "simulate"},
                   {"file", network.file()},
                   {"out", options.out.to},
                   {"cases", options.count},
                   {"columns", columns},
                   {"seed", options.seed},
                   {"missing_share", options.missing_share}};
  add_evidence(document, entered_evidence(network));
  if (options.format == Format::kJson) print_json(document);
  if (options.format != Format::kCsv) return;
  const CsvWriter csv({"quantity", "value"});
  for (const char* quantity : {"cases", "columns", "seed", "missing_share"})
    csv.row({quantity, document[quantity].dump()});
}

}  // namespace

ExitCode simulate(const SimulateOptions& options) {
  DataOptions out = options.out;
  out.format = options.format;
  expect_room_for_report(out);
  const std::vector<Finding> findings = parse_findings(options.evidence);
  const Network network(options.source);
  expect_room(network, options.count);
  enter_evidence(network, findings, options.evidence.case_file);
  const DataSet data = draw(network, options, !entered_evidence(network).empty());
  save_data(data.get(), out);
  report(network, options, data.get());
  return kSuccess;
}

}  // namespace program

// tarvo check: everything about a network that cannot be, or is hardly meant as it stands.
#include "check.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "memory.h"
#include "progress.h"

namespace program {
namespace {

const char* name_of(Severity severity) {
  return severity == Severity::kError ? "error" : severity == Severity::kWarning ? "warning" : "note";
}

struct Verdict {
  size_t errors = 0, warnings = 0, notes = 0;
  bool is_sound() const { return errors + warnings == 0; }
};

Verdict verdict_of(const Network& network, const Remarks& remarks) {
  Verdict verdict;
  for (const Message& message : network.messages().all())
    ++(message.is_warning ? verdict.warnings : verdict.errors);
  for (const Remark& remark : remarks)
    ++(remark.severity == Severity::kError     ? verdict.errors
       : remark.severity == Severity::kWarning ? verdict.warnings
                                               : verdict.notes);
  return verdict;
}

std::string counted(size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void print_as_text(const Network& network, const Remarks& remarks, const Verdict& verdict) {
  for (const Message& message : network.messages().all())
    std::printf("%s\n", network.messages().shown(message).c_str());
  const std::string file = printable(network.file());
  for (const Remark& remark : remarks)
    std::printf("%s: %s (%s): %s\n", file.c_str(), name_of(remark.severity), remark.certainty.c_str(),
                printable(remark.text).c_str());
  std::printf("%s: %s: %s, %s, %s\n", file.c_str(),
              network.domain() ? counted(network.nodes().size(), "node").c_str() : "no network",
              counted(verdict.errors, "error").c_str(), counted(verdict.warnings, "warning").c_str(),
              counted(verdict.notes, "note").c_str());
}

void print_as_json(const Network& network, const Remarks& remarks, const Verdict& verdict) {
  Json document = {
      {"command", "check"},          {"file", network.file()},   {"nodes", network.nodes().size()},
      {"sound", verdict.is_sound()}, {"errors", verdict.errors}, {"warnings", verdict.warnings},
      {"notes", verdict.notes},      {"remarks", Json::array()}};
  for (const Message& message : network.messages().all())
    document["remarks"].push_back({{"severity", message.is_warning ? "warning" : "error"},
                                   {"kind", "text"},
                                   {"certainty", "certain"},
                                   {"line", message.line ? Json(message.line) : Json()},
                                   {"column", message.column ? Json(message.column) : Json()},
                                   {"node", Json()},
                                   {"text", message.text}});
  for (const Remark& remark : remarks)
    document["remarks"].push_back({{"severity", name_of(remark.severity)},
                                   {"kind", remark.kind},
                                   {"certainty", remark.certainty},
                                   {"line", Json()},
                                   {"column", Json()},
                                   {"node", remark.node.empty() ? Json() : Json(remark.node)},
                                   {"text", remark.text}});
  print_json(document);
}

void print_as_csv(const Network& network, const Remarks& remarks) {
  const CsvWriter csv({"severity", "kind", "certainty", "line", "column", "node", "text"});
  const auto number = [](size_t value) { return value ? std::to_string(value) : ""; };
  for (const Message& message : network.messages().all())
    csv.row({message.is_warning ? "warning" : "error", "text", "certain", number(message.line),
             number(message.column), "", message.text});
  for (const Remark& remark : remarks)
    csv.row({name_of(remark.severity), remark.kind, remark.certainty, "", "", remark.node, remark.text});
}

}  // namespace

ExitCode check(const CheckOptions& options) {
  const Network network(options.source, Network::kKeepMessages);
  Remarks remarks;
  if (network.domain()) {
    const Activity checking("checking " + network.file());
    check_labels(network, remarks);
    check_tables(network, remarks);
    check_links(network, remarks);
    check_by_propagation(network, options.triangulation, remarks);
  }
  std::stable_sort(remarks.begin(), remarks.end(),
                   [](const Remark& a, const Remark& b) { return a.severity < b.severity; });
  const Verdict verdict = verdict_of(network, remarks);
  if (options.format == Format::kText) print_as_text(network, remarks, verdict);
  if (options.format == Format::kJson) print_as_json(network, remarks, verdict);
  if (options.format == Format::kCsv) print_as_csv(network, remarks);
  return verdict.is_sound() ? kSuccess : kFailed;
}

}  // namespace program

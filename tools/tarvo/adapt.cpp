// tarvo adapt: a network that learns from cases, one after the other.
#include <cmath>
#include <nlohmann/json.hpp>

#include "case_file.h"
#include "commands.h"
#include "experience.h"
#include "files.h"
#include "network_format.h"
#include "progress.h"
#include "propagation.h"
#include "save_network.h"

namespace program {
namespace {

// What became of the cases.
struct Tally {
  size_t cases = 0, observations = 0;  // a case with a count is that many observations
  std::vector<size_t> impossible;      // cases, from 1
};

void expect_net(const AdaptOptions& options) {
  if (options.to != "-" && format_of(options.to) != "net")
    throw Failure(kWrongUsage,
                  "only NET holds experience counts, so \"" + options.to + "\" must end in .net");
  if (options.to == "-" && options.format != Format::kText)
    throw Failure(kWrongUsage,
                  "the network itself goes to the standard output, so there is no room for --format");
}

// Gives experience to the nodes whose file says nothing of it.
void give_experience(const Network& network, double count) {
  for (tv_node_t* node : network.nodes()) {
    if (!is_discrete(node) || tv_node_get_category(node) != tv_category_chance) continue;
    if (tv_node_has_experience_table(node) == 1) continue;
    set_experience(node, count, network.file());
  }
}

size_t observations_of(const Network& network, const std::string& file, size_t index) {
  const tv_number_t count = tv_domain_get_case_count(network.domain(), index);
  if (count < 0 || std::floor(count) != count || count > 1e9f)
    throw Failure(kFailed, shown_file(file) + ": case " + std::to_string(index + 1) + " counts " +
                               shortest(count) + ", but observations come one by one");
  return static_cast<size_t>(count);
}

// Whether the case is possible.
bool take_in(const Network& network, size_t index) {
  tv_domain_t* domain = network.domain();
  expect(tv_domain_enter_case(domain, index), network.file());
  const tv_status_t status = tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal);
  if (status == tv_status_inconsistency_or_underflow) return false;
  expect(status, network.file());
  expect(tv_domain_adapt(domain), network.file());
  return true;
}

Tally take_in_all(const Network& network, const std::string& file) {
  const Activity adapting("adapting " + network.file());
  Tally tally;
  tally.cases = tv_domain_get_number_of_cases(network.domain());
  for (size_t index = 0; index < tally.cases; ++index)
    for (size_t left = observations_of(network, file, index); left > 0; --left) {
      if (!take_in(network, index)) {
        tally.impossible.push_back(index + 1);
        break;
      }
      ++tally.observations;
    }
  return tally;
}

void report(const Network& network, const AdaptOptions& options, const Tally& tally) {
  if (options.format == Format::kJson)
    print_json({{"command", "adapt"},
                {"file", network.file()},
                {"case_file", shown_file(options.cases)},
                {"out", options.to},
                {"cases", tally.cases},
                {"observations", tally.observations},
                {"impossible", tally.impossible}});
  if (options.format == Format::kCsv) {
    const CsvWriter csv({"quantity", "value"});
    csv.row({"cases", std::to_string(tally.cases)});
    csv.row({"observations", std::to_string(tally.observations)});
    for (const size_t number : tally.impossible) csv.row({"impossible", std::to_string(number)});
  }
  if (options.format != Format::kText) return;
  std::FILE* const stream = options.to == "-" ? stderr : stdout;
  for (const size_t number : tally.impossible)
    std::fprintf(stream, "case %zu is impossible and was left out\n", number);
  std::fprintf(stream, "%zu observation%s taken in\n", tally.observations,
               tally.observations == 1 ? "" : "s");
}

}  // namespace

ExitCode adapt(const AdaptOptions& options) {
  expect_net(options);
  const Network network(options.source);
  if (options.experience > 0) give_experience(network, options.experience);
  read_cases(network, options.cases);
  compile(network, options.triangulation);
  const Tally tally = take_in_all(network, options.cases);
  save_network(network.domain(), network.file(), options.to, "net");
  report(network, options, tally);
  return kSuccess;
}

}  // namespace program

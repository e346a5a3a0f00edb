// How observations and what they tell are shown: text, JSON and CSV.
#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "next.h"
#include "terminal.h"

namespace program {
namespace {

constexpr size_t kBar = 20;

bool is_for_decision(const NextObservations& next) { return is_decision(next.target); }

bool tells(const Observation& observation) { return observation.information > 0 || observation.value > 0; }

TextTable table_of(const NextObservations& next, const std::vector<Observation>& list,
                   const Terminal& terminal) {
  const bool decides = is_for_decision(next);
  TextTable table = {{"observe"}};
  if (decides)
    table[0].insert(table[0].end(), {"worth"});
  else
    table[0].insert(table[0].end(), {"bits", "errors"});
  if (next.has_prices) table[0].push_back("price");
  double most = 0;
  for (const Observation& each : list) most = std::max(most, decides ? each.value : each.information);
  for (const Observation& each : list) {
    if (!tells(each)) continue;
    std::vector<std::string> row = {name_of(each.node)};
    if (decides) {
      row.push_back(rounded(each.value));
    } else {
      row.push_back(rounded(each.information));
      row.push_back(each.error_reduction > 0 ? "-" + rounded(each.error_reduction) : "0");
    }
    if (next.has_prices) row.push_back(rounded(each.price));
    if (terminal.is_terminal)
      row.push_back(terminal.bar((decides ? each.value : each.information) / most, kBar));
    table.push_back(row);
  }
  return table;
}

void print_list(const NextObservations& next, const std::vector<Observation>& list) {
  const Terminal terminal;
  const TextTable table = table_of(next, list, terminal);
  if (table.size() > 1) print_table(table);
  const size_t silent = list.size() + 1 - table.size();
  const bool decides = is_for_decision(next);
  if (table.size() == 1)
    std::printf("    nothing that could be observed %s\n", decides ? "is worth anything" : "tells anything");
  else if (silent == 1)
    std::printf("    one more %s\n", decides ? "is worth nothing" : "tells nothing");
  else if (silent > 1)
    std::printf("    %zu more %s\n", silent, decides ? "are worth nothing" : "tell nothing");
}

Json json_of(const NextObservations& next, const std::vector<Observation>& list) {
  Json array = Json::array();
  for (const Observation& each : list) {
    Json entry = {{"node", name_of(each.node)}};
    if (is_for_decision(next)) {
      entry["value"] = json_number(each.value);
    } else {
      entry["information"] = json_number(each.information);
      entry["error_reduction"] = json_number(each.error_reduction);
    }
    entry["price"] = json_number(each.price);
    array.push_back(entry);
  }
  return array;
}

void print_rows(const CsvWriter& csv, const NextObservations& next, const std::vector<Observation>& list,
                bool is_sequence) {
  for (size_t i = 0; i < list.size(); ++i) {
    const Observation& each = list[i];
    const std::string name = name_of(each.node), step = is_sequence ? std::to_string(i + 1) : "";
    if (is_for_decision(next)) {
      csv.row({name, step, "value", shortest(each.value)});
    } else {
      csv.row({name, step, "information", shortest(each.information)});
      csv.row({name, step, "error_reduction", shortest(each.error_reduction)});
    }
    csv.row({name, step, "price", shortest(each.price)});
  }
}

}  // namespace

void print_as_text(const Network& network, const NextObservations& next) {
  std::printf("%s: %zu nodes, evidence on %zu\n", printable(network.file()).c_str(), network.nodes().size(),
              next.evidence.size());
  std::printf("\n%s\n", heading_of(next.target).c_str());
  if (is_for_decision(next))
    std::printf(
        "    what observations are worth before it is made; without any, the expected utility is %s\n",
        significant(next.expected_utility).c_str());
  else
    std::printf("    %s bits are open; its most probable state is the wrong one with probability %s\n",
                rounded(next.entropy).c_str(), rounded(next.error).c_str());
  std::printf("\n");
  print_list(next, next.ranking);
  if (next.sequence.empty()) return;
  std::printf("\nOne after the other, each with what it adds\n");
  print_list(next, next.sequence);
  double sum = 0;
  for (const Observation& each : next.sequence) sum += each.information;
  std::printf("    together %s bits; no set of so many tells more than %s\n", rounded(sum).c_str(),
              rounded(next.bound).c_str());
}

void print_as_json(const Network& network, const NextOptions& options, const NextObservations& next) {
  Json document = {{"command", "next"}, {"file", network.file()}, {"target", name_of(next.target)}};
  add_evidence(document, next.evidence);
  if (is_for_decision(next)) {
    document["expected_utility"] = json_number(next.expected_utility);
  } else {
    document["entropy"] = json_number(next.entropy);
    document["error"] = json_number(next.error);
  }
  document["observations"] = json_of(next, next.ranking);
  if (options.length > 0) {
    document["sequence"] = json_of(next, next.sequence);
    document["bound"] = json_number(next.bound);
  }
  print_json(document);
}

void print_as_csv(const NextObservations& next) {
  const CsvWriter csv({"node", "step", "quantity", "value"});
  print_rows(csv, next, next.ranking, false);
  print_rows(csv, next, next.sequence, true);
  if (is_for_decision(next)) {
    csv.row({"", "", "expected_utility", shortest(next.expected_utility)});
  } else {
    csv.row({"", "", "entropy", shortest(next.entropy)});
    csv.row({"", "", "error", shortest(next.error)});
    if (!next.sequence.empty()) csv.row({"", "", "bound", shortest(next.bound)});
  }
}

}  // namespace program

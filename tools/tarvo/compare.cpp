// tarvo compare: the links of two networks, and how far their graphs are from each other.
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

#include "commands.h"
#include "network.h"

namespace program {
namespace {

struct DeleteStructure {
  void operator()(tv_structure_t* structure) const { tv_structure_delete(structure); }
};
using StructureOwner = std::unique_ptr<tv_structure_t, DeleteStructure>;

struct Link {
  std::string from, to;
  bool is_directed;
};

struct Distance {
  std::optional<size_t> value;
  std::string trouble;  // why there is none
};

struct Comparison {
  std::string files[2];
  size_t nodes[2], links[2];
  std::vector<std::string> other_nodes[2];  // that only one of the two has
  std::vector<Link> other_links[2];
  std::vector<Link> reversed;       // as they lead in the first network
  std::vector<Link> half_directed;  // those that have a direction in one of the two alone
  Distance hamming, of_classes, intervention;
};

StructureOwner structure_of(const Network& network) {
  StructureOwner structure(tv_domain_get_structure(network.domain()));
  if (!structure) fail_with_status(network.file());
  return structure;
}

const char* name_in(const tv_structure_t* structure, size_t node) {
  return tv_structure_get_node_name(structure, node);
}

bool is_in(const tv_structure_t* structure, const char* name) {
  return tv_structure_get_node_by_name(structure, name) != SIZE_MAX;
}

tv_structure_link_t link_between(const tv_structure_t* structure, const char* from, const char* to) {
  if (!is_in(structure, from) || !is_in(structure, to)) return tv_structure_link_none;
  return tv_structure_get_link_between(structure, tv_structure_get_node_by_name(structure, from),
                                       tv_structure_get_node_by_name(structure, to));
}

// The nodes and links of one of the two, and where the other one has them, too, how.
void list_differences(const StructureOwner (&structures)[2], size_t which, Comparison& comparison) {
  const tv_structure_t *structure = structures[which].get(), *other = structures[1 - which].get();
  comparison.nodes[which] = tv_structure_get_number_of_nodes(structure);
  comparison.links[which] = tv_structure_get_number_of_links(structure);
  for (size_t node = 0; node < comparison.nodes[which]; ++node)
    if (!is_in(other, name_in(structure, node)))
      comparison.other_nodes[which].push_back(name_in(structure, node));
  for (size_t i = 0; i < comparison.links[which]; ++i) {
    size_t from = 0, to = 0;
    const tv_structure_link_t kind = tv_structure_get_link(structure, i, &from, &to);
    const Link link{name_in(structure, from), name_in(structure, to), kind == tv_structure_link_directed};
    const tv_structure_link_t twin = link_between(other, link.from.c_str(), link.to.c_str());
    if (twin == tv_structure_link_none)
      comparison.other_links[which].push_back(link);
    else if (link.is_directed && twin == tv_structure_link_undirected)
      comparison.half_directed.push_back(link);
    else if (which == 0 && link.is_directed && twin == tv_structure_link_reversed)
      comparison.reversed.push_back(link);
  }
}

// The library refuses what has no such distance, and says why; anything else ends the command.
Distance distance_of(size_t value) {
  if (value != SIZE_MAX) return {value, {}};
  if (tv_error_code() != tv_status_usage) fail_with_status("the networks cannot be compared");
  return {std::nullopt, library_message()};
}

Distance distance_of_classes(const StructureOwner (&structures)[2]) {
  StructureOwner classes[2];
  for (size_t i : {0, 1}) {
    classes[i].reset(tv_structure_new_class(structures[i].get()));
    if (!classes[i]) return distance_of(SIZE_MAX);
  }
  return distance_of(tv_structure_get_hamming_distance(classes[0].get(), classes[1].get()));
}

Comparison compare(const Network& first, const Network& second) {
  const StructureOwner structures[2] = {structure_of(first), structure_of(second)};
  Comparison comparison{};
  comparison.files[0] = first.file();
  comparison.files[1] = second.file();
  for (size_t i : {0, 1}) list_differences(structures, i, comparison);
  const tv_structure_t *a = structures[0].get(), *b = structures[1].get();
  comparison.hamming = distance_of(tv_structure_get_hamming_distance(a, b));
  comparison.of_classes = distance_of_classes(structures);
  comparison.intervention = distance_of(tv_structure_get_intervention_distance(a, b));
  return comparison;
}

// ---- Text ----

void print_links(const std::string& title, const std::vector<Link>& links) {
  if (links.empty()) return;
  std::printf("\n%s\n", printable(title).c_str());
  for (const Link& link : links)
    std::printf("  %s %s %s\n", printable(link.from).c_str(), link.is_directed ? "->" : "-",
                printable(link.to).c_str());
}

std::string shown(const Distance& distance) {
  return distance.value ? std::to_string(*distance.value) : "none: " + distance.trouble;
}

void print_text(const Comparison& comparison) {
  TextTable sizes = {{"", "nodes", "links"}};
  for (size_t i : {0, 1})
    sizes.push_back({printable(comparison.files[i]), std::to_string(comparison.nodes[i]),
                     std::to_string(comparison.links[i])});
  print_table(sizes, "");
  for (size_t i : {0, 1}) {
    if (comparison.other_nodes[i].empty()) continue;
    std::printf("\nNodes only in %s\n", printable(comparison.files[i]).c_str());
    for (const std::string& name : comparison.other_nodes[i]) std::printf("  %s\n", printable(name).c_str());
  }
  for (size_t i : {0, 1}) print_links("Links only in " + comparison.files[i], comparison.other_links[i]);
  print_links("Links reversed in " + comparison.files[1], comparison.reversed);
  print_links("Links with a direction in one of the two", comparison.half_directed);
  std::string effects = shown(comparison.intervention);
  if (comparison.intervention.value)
    effects +=
        " of " + std::to_string(comparison.nodes[0] * (comparison.nodes[0] - (comparison.nodes[0] > 0)));
  std::printf("\nDistances\n");
  print_table({{"structural Hamming distance", shown(comparison.hamming)},
               {"  of the equivalence classes", shown(comparison.of_classes)},
               {"structural intervention distance", effects}},
              "  ");
}

// ---- JSON and CSV ----

Json json_of(const std::vector<Link>& links) {
  Json list = Json::array();
  for (const Link& link : links)
    list.push_back({{"from", link.from}, {"to", link.to}, {"directed", link.is_directed}});
  return list;
}

Json json_of(const Distance& distance) { return distance.value ? Json(*distance.value) : Json(); }

Json json_of(const Comparison& comparison) {
  return {{"command", "compare"},
          {"file", comparison.files[0]},
          {"other", comparison.files[1]},
          {"nodes", comparison.nodes[0]},
          {"other_nodes", comparison.nodes[1]},
          {"links", comparison.links[0]},
          {"other_links", comparison.links[1]},
          {"nodes_only_in_file", comparison.other_nodes[0]},
          {"nodes_only_in_other", comparison.other_nodes[1]},
          {"links_only_in_file", json_of(comparison.other_links[0])},
          {"links_only_in_other", json_of(comparison.other_links[1])},
          {"links_reversed", json_of(comparison.reversed)},
          {"links_directed_in_one", json_of(comparison.half_directed)},
          {"hamming_distance", json_of(comparison.hamming)},
          {"hamming_distance_of_classes", json_of(comparison.of_classes)},
          {"intervention_distance", json_of(comparison.intervention)}};
}

// The same as in JSON: a row for each number, node and link.
void print_csv(const Json& document) {
  const CsvWriter csv({"quantity", "from", "to", "value"});
  for (const auto& [quantity, entry] : document.items()) {
    if (entry.is_number()) csv.row({quantity, "", "", entry.dump()});
    if (!entry.is_array()) continue;
    for (const Json& element : entry)
      if (element.is_string())
        csv.row({quantity, element.get<std::string>(), "", ""});
      else
        csv.row({quantity, element.at("from").get<std::string>(), element.at("to").get<std::string>(), ""});
  }
}

}  // namespace

ExitCode compare(const CompareOptions& options) {
  Source second = options.other;
  second.memory_limit = options.source.memory_limit;
  const Network first(options.source), other(second);
  const Comparison comparison = compare(first, other);
  if (options.format == Format::kJson)
    print_json(json_of(comparison));
  else if (options.format == Format::kCsv)
    print_csv(json_of(comparison));
  else
    print_text(comparison);
  return kSuccess;
}

}  // namespace program

// How the figures of a network are shown: text, JSON and CSV.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "figures.h"
#include "memory.h"

namespace program {
namespace {

std::string size_text(size_t size) { return size == kTooLarge ? "HUGE" : std::to_string(size); }
Json size_json(size_t size) { return size == kTooLarge ? Json() : Json(size); }

// Without a fraction as far as integers are exact.
Json count_json(double count) {
  return count < 0x1p53 ? Json(static_cast<uint64_t>(count)) : json_number(count);
}

Json json_of(const NetworkFigures& figures) {
  Json categories = Json::object();
  for (const auto& [name, count] : figures.categories) categories[name] = count;
  return {{"links", figures.links},
          {"categories", categories},
          {"most_states", figures.most_states},
          {"free_parameters", count_json(figures.parameters)},
          {"table_entries", count_json(figures.entries)},
          {"largest_family",
           {{"node", figures.largest.child},
            {"nodes", figures.largest.members},
            {"entries", count_json(figures.largest.entries)}}}};
}

Json json_of(const ForestFigures& figures) {
  Json forest = {{"method", figures.method}};
  if (!figures.trouble.empty()) {
    forest["trouble"] = figures.trouble;
    return forest;
  }
  forest.update({{"cliques", figures.cliques},
                 {"trees", figures.trees},
                 {"treewidth", figures.treewidth},
                 {"table_size", size_json(figures.table_size)},
                 {"continuous_size", size_json(figures.cg_size)},
                 {"cost", size_json(figures.cost)},
                 {"memory_needed", size_json(figures.memory)},
                 {"cost_at_least", count_json(figures.bound)},
                 {"milliseconds", figures.milliseconds}});
  forest.update(json_of(figures.compression));
  forest["components"] = Json::array();
  for (const ComponentFigures& component : figures.components)
    forest["components"].push_back({{"nodes", component.members},
                                    {"first_node", component.first},
                                    {"cost", count_json(component.cost)},
                                    {"cost_at_least", count_json(component.bound)},
                                    {"optimal", component.is_optimal()}});
  return forest;
}

bool is_optimal(const ForestFigures& figures) {
  return std::all_of(figures.components.begin(), figures.components.end(),
                     [](const ComponentFigures& component) { return component.is_optimal(); });
}

std::string beyond_limit(const Network& network, size_t bytes) {
  const size_t limit = network.memory_limit();
  return limit > 0 && bytes > limit ? ", over the limit of " + memory_text(limit) : "";
}

std::string compressed_column(const ForestFigures& figures) {
  const auto& memory = figures.compression.memory;
  if (!memory) return "";
  const std::string text = memory_text(memory->compressed);
  return std::string(text.size() < 12 ? 12 - text.size() : 1, ' ') + text;
}

constexpr size_t kMostComponents = 10;

void print_components(const ForestFigures& figures) {
  if (figures.components.empty()) return;
  const size_t shown = std::min(figures.components.size(), kMostComponents);
  std::printf("\nPrime components that are not complete%s\n",
              shown < figures.components.size() ? ", the costliest of them" : "");
  TextTable table = {{"nodes", "with", "cost", ""}};
  for (size_t i = 0; i < shown; ++i) {
    const ComponentFigures& component = figures.components[i];
    char certainty[64] = "optimal";
    if (!component.is_optimal())
      std::snprintf(certainty, sizeof certainty, "at most %.3g times the least",
                    component.cost / component.bound);
    char cost[32];
    std::snprintf(cost, sizeof cost, component.cost < 0x1p53 ? "%.0f" : "%.3g", component.cost);
    table.push_back({std::to_string(component.members), component.first, cost, certainty});
  }
  print_table(table, "  ");
}

}  // namespace

void print_network(const Network& network, const NetworkFigures& figures) {
  std::string categories;
  for (const auto& [name, count] : figures.categories)
    categories += (categories.empty()     ? ""
                   : name == "continuous" ? "; "
                                          : ", ") +
                  std::to_string(count) + " " + name;
  std::printf("%s\n", printable(network.file()).c_str());
  std::printf("  nodes           %zu (%s)\n", network.nodes().size(), categories.c_str());
  std::printf("  links           %zu\n", figures.links);
  std::printf("  most states     %zu\n", figures.most_states);
  std::printf("  parameters      %.0f free, %.0f table entries\n", figures.parameters, figures.entries);
  std::printf("  largest family  %s: %zu nodes, %.0f entries\n", figures.largest.child.c_str(),
              figures.largest.members, figures.largest.entries);
}

void print_forest(const Network& network, const ForestFigures& figures) {
  std::printf("\nJunction forest (%s)\n", figures.method.c_str());
  std::printf("  cliques         %zu in %zu tree%s\n", figures.cliques, figures.trees,
              figures.trees == 1 ? "" : "s");
  std::printf("  treewidth       %zu\n", figures.treewidth);
  std::printf("  table size      %s entries in cliques and separators\n",
              size_text(figures.table_size).c_str());
  if (figures.cg_size > 0)
    std::printf("  continuous      %s means and covariances beside them\n",
                size_text(figures.cg_size).c_str());
  std::printf("  cost            %s entries in cliques%s\n", size_text(figures.cost).c_str(),
              is_optimal(figures) ? ", the least that is possible" : "");
  std::printf("  memory needed   %s to compile it%s\n", memory_text(figures.memory).c_str(),
              beyond_limit(network, figures.memory).c_str());
  if (const auto& memory = figures.compression.memory)
    std::printf("  compressed      %s%s%s\n", memory_text(memory->compressed).c_str(),
                ratio_text(*memory).c_str(), beyond_limit(network, memory->compressed).c_str());
  if (figures.compression.kept)
    std::printf("  kept mass       %s\n", significant(*figures.compression.kept).c_str());
  print_components(figures);
}

void print_comparison_header(const CompressionOptions& compression) {
  std::printf("\n%-15s %8s %6s %10s %14s %14s %11s%s %9s\n", "method", "cliques", "trees", "treewidth",
              "table size", "cost", "memory", compression.compress ? "  compressed" : "", "ms");
}

void print_compared(const ForestFigures& figures) {
  if (figures.trouble.empty())
    std::printf("%-15s %8zu %6zu %10zu %14s %14s %11s%s %9.2f\n", figures.method.c_str(), figures.cliques,
                figures.trees, figures.treewidth, size_text(figures.table_size).c_str(),
                size_text(figures.cost).c_str(), memory_text(figures.memory).c_str(),
                compressed_column(figures).c_str(), figures.milliseconds);
  else
    std::printf("%-15s %s\n", figures.method.c_str(), figures.trouble.c_str());
  std::fflush(stdout);
}

void print_as_json(const Network& network, const Figures& figures) {
  Json document = {{"command", "info"}, {"file", network.file()}, {"nodes", network.nodes().size()}};
  document.update(json_of(figures.network));
  document["memory_limit"] = network.memory_limit() ? Json(network.memory_limit()) : Json();
  document["treewidth_at_least"] = figures.hopeless ? Json(figures.hopeless) : Json();
  document["forests"] = Json::array();
  for (const ForestFigures& forest : figures.forests) document["forests"].push_back(json_of(forest));
  print_json(document);
}

// A row for each number; those of the network stand without a method.
void print_as_csv(const Network& network, const Figures& figures) {
  const CsvWriter csv({"method", "quantity", "value"});
  const auto print = [&](const std::string& method, const std::string& quantity, const Json& value) {
    csv.row({method, quantity,
             value.is_null()     ? ""
             : value.is_string() ? value.get<std::string>()
                                 : value.dump()});
  };
  print("", "nodes", network.nodes().size());
  const Json own = json_of(figures.network);
  for (const auto& [quantity, value] : own.items())
    if (!value.is_object()) print("", quantity, value);
  for (const auto& [name, count] : figures.network.categories) print("", name + "_nodes", count);
  print("", "largest_family", figures.network.largest.child);
  print("", "largest_family_entries", count_json(figures.network.largest.entries));
  if (figures.hopeless) print("", "treewidth_at_least", figures.hopeless);
  for (const ForestFigures& forest : figures.forests) {
    const Json entries = json_of(forest);
    for (const auto& [quantity, value] : entries.items())
      if (quantity != "method" && !value.is_array()) print(forest.method, quantity, value);
  }
}

}  // namespace program

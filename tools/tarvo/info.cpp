// tarvo info: the size of a network, and of its junction forest under one triangulation method or under each.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "commands.h"
#include "memory.h"

namespace program {
namespace {

size_t number_of_states(const tv_node_t* node) {
  return is_discrete(node) ? tv_node_get_number_of_states(node) : 1;
}

// Sizes as doubles: they are shown, and a product of many state counts passes any integer.
struct Family {
  std::string child;
  size_t members = 0;
  double entries = 0;     // of the child's table
  double parameters = 0;  // entries that are free: the last of each distribution follows from the others
};

Family family_of(tv_node_t* node) {
  Family family{tv_node_get_name(node), 1, 1, 1};
  double regression = 2;  // an intercept, a variance, and a coefficient for each continuous parent
  for (const tv_node_t* parent : each(tv_node_get_parents(node))) {
    ++family.members;
    family.entries *= static_cast<double>(number_of_states(parent));
    regression += is_continuous(parent);
  }
  if (is_continuous(node)) {
    family.parameters = family.entries *= regression;
    return family;
  }
  const double states = static_cast<double>(number_of_states(node));
  const bool is_distribution = is_discrete(node) && tv_node_get_category(node) == tv_category_chance;
  family.parameters = family.entries * (is_distribution ? states - 1 : states);
  family.entries *= states;
  return family;
}

void print_network(const Network& network) {
  static constexpr std::pair<tv_node_category_t, const char*> kCategories[] = {
      {tv_category_chance, "chance"},
      {tv_category_decision, "decision"},
      {tv_category_utility, "utility"},
      {tv_category_function, "function"}};
  std::string categories;
  for (const auto& [category, name] : kCategories) {
    const auto count = std::count_if(
        network.nodes().begin(), network.nodes().end(),
        [wanted = category](const tv_node_t* node) { return tv_node_get_category(node) == wanted; });
    if (count) categories += (categories.empty() ? "" : ", ") + std::to_string(count) + " " + name;
  }

  const auto continuous = std::count_if(network.nodes().begin(), network.nodes().end(), is_continuous);
  if (continuous) categories += "; " + std::to_string(continuous) + " continuous";

  size_t links = 0, most_states = 0;
  double parameters = 0, entries = 0;
  Family largest;
  for (tv_node_t* node : network.nodes()) {
    const Family family = family_of(node);
    links += family.members - 1;
    parameters += family.parameters;
    entries += family.entries;
    most_states = std::max(most_states, number_of_states(node));
    if (family.entries > largest.entries) largest = family;
  }
  std::printf("%s\n", network.file().c_str());
  std::printf("  nodes           %zu (%s)\n", network.nodes().size(), categories.c_str());
  std::printf("  links           %zu\n", links);
  std::printf("  most states     %zu\n", most_states);
  std::printf("  parameters      %.0f free, %.0f table entries\n", parameters, entries);
  std::printf("  largest family  %s: %zu nodes, %.0f entries\n", largest.child.c_str(), largest.members,
              largest.entries);
}

constexpr size_t kTooLarge = static_cast<size_t>(-1);

std::string size_text(size_t size) { return size == kTooLarge ? "HUGE" : std::to_string(size); }

struct ForestFigures {
  size_t cliques = 0, trees = 0, treewidth = 0;
  size_t table_size = 0;  // entries of all clique and separator tables; kTooLarge past the range of size_t
  size_t cg_size = 0;     // numbers for the continuous members of all of them, likewise
  size_t cost = 0;        // entries of all clique tables, likewise
  size_t memory = 0;      // bytes that compiling would take, likewise
  double milliseconds = 0;
};

ForestFigures triangulate(const Network& network, tv_triangulation_method_t method) {
  tv_domain_t* domain = network.domain();
  const auto start = std::chrono::steady_clock::now();
  expect(tv_domain_triangulate(domain, method), network.file());
  ForestFigures figures;
  figures.milliseconds =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  figures.cliques = tv_domain_get_number_of_cliques(domain);
  figures.cost = tv_domain_get_jt_cost(domain);
  figures.treewidth = treewidth(domain);
  figures.memory = tv_domain_get_memory_need(domain);
  for (tv_junction_tree_t* tree = tv_domain_get_first_junction_tree(domain); tree;
       tree = tv_jt_get_next(tree)) {
    ++figures.trees;
    const auto add = [](size_t& total, size_t size) {
      total = size > kTooLarge - total ? kTooLarge : total + size;
    };
    add(figures.table_size, tv_jt_get_total_size(tree));
    add(figures.cg_size, tv_jt_get_total_cg_size(tree));
  }
  return figures;
}

void print_forest(const ForestFigures& figures, const std::string& method) {
  std::printf("\nJunction forest (%s)\n", method.c_str());
  std::printf("  cliques         %zu in %zu tree%s\n", figures.cliques, figures.trees,
              figures.trees == 1 ? "" : "s");
  std::printf("  treewidth       %zu\n", figures.treewidth);
  std::printf("  table size      %s entries in cliques and separators\n",
              size_text(figures.table_size).c_str());
  if (figures.cg_size > 0)
    std::printf("  continuous      %s means and covariances beside them\n",
                size_text(figures.cg_size).c_str());
  std::printf("  cost            %s entries in cliques\n", size_text(figures.cost).c_str());
  std::printf("  memory needed   %s to compile it\n", memory_text(figures.memory).c_str());
}

void print_comparison(const Network& network) {
  std::printf("\n%-15s %8s %6s %10s %14s %14s %11s %9s\n", "method", "cliques", "trees", "treewidth",
              "table size", "cost", "memory", "ms");
  for (const auto& [name, method] : kMethods) {
    try {
      const ForestFigures figures = triangulate(network, method);
      std::printf("%-15s %8zu %6zu %10zu %14s %14s %11s %9.2f\n", name.c_str(), figures.cliques,
                  figures.trees, figures.treewidth, size_text(figures.table_size).c_str(),
                  size_text(figures.cost).c_str(), memory_text(figures.memory).c_str(), figures.milliseconds);
      std::fflush(stdout);
      expect(tv_domain_uncompile(network.domain()), network.file());
    } catch (const Failure&) {
      std::printf("%-15s not available: %s\n", name.c_str(),
                  tv_error_name(static_cast<unsigned>(tv_error_code())));
    }
  }
}

}  // namespace

ExitCode show_info(const std::string& file, const std::string& method) {
  const Network network(file);
  print_network(network);
  std::fflush(stdout);
  if (method == "all")
    print_comparison(network);
  else
    print_forest(triangulate(network, method_by_name(method)), method);
  return kSuccess;
}

}  // namespace program

// tarvo info: the size of a network, and of its junction forest under one triangulation method or under each.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <set>

#include "figures.h"
#include "lower_bound.h"
#include "memory.h"
#include "progress.h"
#include "propagation.h"

namespace program {
namespace {

// A comparison of methods is not held up by one that may take for ever.
constexpr size_t kMostCompared = 20000;

size_t number_of_states(const tv_node_t* node) { return is_discrete(node) ? states_of(node) : 1; }

Family family_of(tv_node_t* node) {
  Family family{name_of(node), 1, 1, 1};
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

NetworkFigures figures_of(const Network& network) {
  static constexpr std::pair<tv_node_category_t, const char*> kCategories[] = {
      {tv_category_chance, "chance"},
      {tv_category_decision, "decision"},
      {tv_category_utility, "utility"},
      {tv_category_function, "function"}};
  NetworkFigures figures;
  const auto count = [&](const char* name, auto test) {
    const auto number = std::count_if(network.nodes().begin(), network.nodes().end(), test);
    if (number) figures.categories.emplace_back(name, static_cast<size_t>(number));
  };
  for (const auto& [category, name] : kCategories)
    count(name, [wanted = category](const tv_node_t* node) { return tv_node_get_category(node) == wanted; });
  count("continuous", is_continuous);
  for (tv_node_t* node : network.nodes()) {
    const Family family = family_of(node);
    figures.links += family.members - 1;
    figures.parameters += family.parameters;
    figures.entries += family.entries;
    figures.most_states = std::max(figures.most_states, number_of_states(node));
    if (family.entries > figures.largest.entries) figures.largest = family;
  }
  return figures;
}

void read_forest(tv_domain_t* domain, ForestFigures& figures) {
  figures.cliques = tv_domain_get_number_of_cliques(domain);
  figures.cost = tv_domain_get_jt_cost(domain);
  figures.treewidth = treewidth(domain);
  figures.memory = tv_domain_get_memory_need(domain);
  const auto add = [](size_t& total, size_t size) {
    total = size > kTooLarge - total ? kTooLarge : total + size;
  };
  for (tv_junction_tree_t* tree = tv_domain_get_first_junction_tree(domain); tree;
       tree = tv_jt_get_next(tree)) {
    ++figures.trees;
    add(figures.table_size, tv_jt_get_total_size(tree));
    add(figures.cg_size, tv_jt_get_total_cg_size(tree));
  }
}

// All members are moral neighbours of each other.
bool is_complete(tv_node_t** members) {
  for (tv_node_t** member = members; *member; ++member) {
    std::set<const tv_node_t*> neighbors{*member};
    for (const tv_node_t* neighbor : each(tv_node_get_moral_neighbors(*member))) neighbors.insert(neighbor);
    for (tv_node_t** other = members; *other; ++other)
      if (!neighbors.count(*other)) return false;
  }
  return true;
}

void read_components(tv_domain_t* domain, ForestFigures& figures) {
  for (size_t i = 0; i < tv_domain_get_number_of_prime_components(domain); ++i) {
    ComponentFigures component;
    tv_node_t** members = tv_domain_get_prime_component(domain, i);
    if (!members) fail_with_status(figures.method);
    component.first = name_of(members[0]);
    while (members[component.members]) ++component.members;
    component.cost = tv_domain_get_prime_component_cost(domain, i);
    component.bound = tv_domain_get_prime_component_bound(domain, i);
    figures.bound += component.bound;
    if (!is_complete(members)) figures.components.push_back(component);
  }
  std::stable_sort(figures.components.begin(), figures.components.end(),
                   [](const ComponentFigures& a, const ComponentFigures& b) { return a.cost > b.cost; });
}

// Nothing is compiled unless there is an approximation to look at.
CompressionFigures compression_of(const Network& network, const std::string& method,
                                  const CompressionOptions& options, size_t full_memory) {
  CompressionFigures figures;
  if (options.approximates()) {
    const Activity compiling("compiling " + network.file());
    figures = compile_triangulated(network, method, options);
    if (!options.compress) figures.kept = approximate(network, options);
  } else if (options.compress) {
    figures.memory = {full_memory, compressed_memory_need(network)};
  }
  return figures;
}

ForestFigures triangulated(const Network& network, const TriangulationOptions& options,
                           const CompressionOptions& compression) {
  const Activity triangulating("triangulating " + network.file() + " by " + options.method);
  ForestFigures figures;
  figures.method = options.decider();
  const auto start = std::chrono::steady_clock::now();
  const tv_status_t status = triangulate(network, options);
  figures.milliseconds =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  if (status == tv_status_none) {
    read_forest(network.domain(), figures);
    read_components(network.domain(), figures);
    figures.compression = compression_of(network, figures.method, compression, figures.memory);
  } else {
    figures.trouble = library_message();
  }
  tv_domain_uncompile(network.domain());
  return figures;
}

}  // namespace

ExitCode show_info(const InfoOptions& options) {
  const bool compares = options.triangulation.method == "all", is_text = options.format == Format::kText;
  if (compares && options.compression.approximates())
    throw Failure(kWrongUsage, "--approximate compiles; beside it stands one --triangulation, not all");
  const Network network(options.source);
  expect_possible(network, options.compression);
  if (options.compression.approximates()) expect_to_fit(network, network.nodes());
  Figures figures{figures_of(network), {}, options.compression.compress ? 0 : hopeless_treewidth(network)};
  if (is_text) {
    print_network(network, figures.network);
    if (figures.hopeless)
      std::printf("\nToo large to compile: %s.\n", explain_hopeless(figures.hopeless).c_str());
    else if (compares)
      print_comparison_header(options.compression);
    std::fflush(stdout);
  }
  for (const auto& [name, method] : kMethods) {
    if (figures.hopeless || (!compares && name != options.triangulation.method)) continue;
    TriangulationOptions with_method = options.triangulation;
    with_method.method = name;
    if (compares && with_method.max_separators == 0) with_method.max_separators = kMostCompared;
    const ForestFigures forest = triangulated(network, with_method, options.compression);
    if (!compares && !forest.trouble.empty()) throw Failure(kFailed, network.file() + ": " + forest.trouble);
    if (is_text) compares ? print_compared(forest) : print_forest(network, forest);
    figures.forests.push_back(forest);
  }
  if (options.format == Format::kJson) print_as_json(network, figures);
  if (options.format == Format::kCsv) print_as_csv(network, figures);
  return kSuccess;
}

}  // namespace program

#include "learning.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <random>
#include <set>

#include "timing.h"

namespace bench {
namespace {

// Every chance node is learned; uniform tables where `from_uniform` says so.
void prepare(tv_domain_t* domain, bool from_uniform) {
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node)) {
    tv_node_get_experience_table(node);
    if (!from_uniform) continue;
    tv_table_t* const table = tv_node_get_table(node);
    std::fill_n(tv_table_get_data(table), tv_table_get_size(table),
                1.0f / static_cast<float>(tv_node_get_number_of_states(node)));
    expect(tv_node_touch_table(node));
  }
}

// Of learning with so many iterations, preparation included; the least of some repeats.
double time_of(const tv_domain_t* domain, size_t iterations, size_t threads, size_t repeats) {
  double least = 0.0;
  for (size_t r = 0; r < repeats; ++r) {
    const Domain copy(tv_domain_clone(const_cast<tv_domain_t*>(domain)));
    if (!copy) expect(tv_error_code());
    expect(tv_domain_set_max_number_of_em_iterations(copy.get(), iterations));
    expect(tv_domain_set_log_likelihood_tolerance(copy.get(), 0.0));
    expect(tv_domain_set_em_concurrency_level(copy.get(), threads));
    expect(tv_domain_compile(copy.get()));
    const double time = milliseconds([&] { expect(tv_domain_learn_tables(copy.get())); });
    if (r == 0 || time < least) least = time;
  }
  return least;
}

void report(const std::string& name, const tv_domain_t* domain, std::initializer_list<size_t> numbers,
            size_t repeats) {
  std::printf("%-28s %8zu", name.c_str(), tv_domain_get_number_of_cases(domain));
  for (const size_t threads : {1, 2})
    for (const size_t iterations : {size_t{1}, size_t{10}})
      if (std::find(numbers.begin(), numbers.end(), iterations) != numbers.end())
        std::printf(" %10.1f", time_of(domain, iterations, threads, repeats));
      else
        std::printf(" %10s", "");
  std::printf("\n");
}

void add_file(const Domain& domain, const std::string& file) {
  const DataSet data(tv_csv_parse_data_set(file.c_str(), ',', nullptr, nullptr));
  if (!data) expect(tv_error_code());
  expect(tv_domain_add_cases(domain.get(), data.get(), nullptr, static_cast<size_t>(-1), tv_unmatched_error,
                             nullptr, nullptr));
}

// The numbers of a discrete node's table, drawn anew.
void draw_table(tv_node_t* node, std::mt19937_64& random) {
  const size_t states = tv_node_get_number_of_states(node);
  float* const numbers = tv_table_get_data(tv_node_get_table(node));
  for (size_t i = 0; i < tv_table_get_size(tv_node_get_table(node)); i += states) {
    float sum = 0.0f;
    for (size_t s = 0; s < states; ++s)
      sum += numbers[i + s] = 0.1f + static_cast<float>(random() % 1000) / 1e3f;
    for (size_t s = 0; s < states; ++s) numbers[i + s] /= sum;
  }
}

tv_node_t* add_discrete(const Domain& domain, const std::string& name, size_t states,
                        const std::vector<tv_node_t*>& parents, std::mt19937_64& random) {
  tv_node_t* const node = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
  expect(tv_node_set_name(node, name.c_str()));
  expect(tv_node_set_number_of_states(node, states));
  for (tv_node_t* const parent : parents) expect(tv_node_add_parent(node, parent));
  draw_table(node, random);
  return node;
}

Domain new_domain() {
  Domain domain(tv_new_domain());
  if (!domain) expect(tv_error_code());
  return domain;
}

// So many rows of states of these nodes, of which a part is missing.
void draw_cases(const std::vector<tv_node_t*>& nodes, size_t rows, unsigned missing_percent,
                std::mt19937_64& random) {
  expect(tv_domain_set_number_of_cases(tv_node_get_domain(nodes[0]), rows));
  for (size_t row = 0; row < rows; ++row)
    for (tv_node_t* const node : nodes)
      if (random() % 100 >= missing_percent)
        expect(tv_node_set_case_state(node, row, random() % tv_node_get_number_of_states(node)));
}

// A class that no case knows, and what it makes of some signs, a tenth of which are missing.
Domain hidden_class(size_t signs, size_t rows) {
  Domain domain = new_domain();
  std::mt19937_64 random(1);
  tv_node_t* const hidden = add_discrete(domain, "class", 4, {}, random);
  std::vector<tv_node_t*> children;
  for (size_t i = 0; i < signs; ++i)
    children.push_back(add_discrete(domain, "sign" + std::to_string(i), 3, {hidden}, random));
  draw_cases(children, rows, 10, random);
  return domain;
}

// Each node has up to three parents among the few before it; a twentieth of the cells is missing.
Domain random_network(size_t count, size_t rows) {
  Domain domain = new_domain();
  std::mt19937_64 random(2);
  std::vector<tv_node_t*> nodes;
  for (size_t i = 0; i < count; ++i) {
    std::set<tv_node_t*> parents;
    for (size_t k = random() % 4; k > 0 && i > 0; --k)
      parents.insert(nodes[i - 1 - random() % std::min<size_t>(i, 6)]);
    nodes.push_back(add_discrete(domain, "n" + std::to_string(i), 2 + random() % 3,
                                 {parents.begin(), parents.end()}, random));
  }
  draw_cases(nodes, rows, 5, random);
  return domain;
}

// Pairs of regressions on two states each, which follow from one root; a tenth of states and of values is
// missing.
Domain mixed_network(size_t pairs, size_t rows) {
  Domain domain = new_domain();
  std::mt19937_64 random(3);
  std::normal_distribution<double> normal;
  std::vector<tv_node_t*> discrete{add_discrete(domain, "root", 3, {}, random)}, values;
  const auto add_value = [&](const std::string& name, tv_node_t* state, tv_node_t* parent) {
    tv_node_t* const node = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
    expect(tv_node_set_name(node, name.c_str()));
    expect(tv_node_add_parent(node, state));
    if (parent) expect(tv_node_add_parent(node, parent));
    for (size_t s = 0; s < 2; ++s) {
      expect(tv_node_set_intercept(node, s, static_cast<double>(s)));
      if (parent) expect(tv_node_set_coefficient(node, parent, s, 0.5));
      expect(tv_node_set_conditional_variance(node, s, 2.0));
    }
    values.push_back(node);
    return node;
  };
  for (size_t i = 0; i < pairs; ++i) {
    const std::string number = std::to_string(i);
    for (const char* name : {"a", "b"})
      discrete.push_back(add_discrete(domain, name + number, 2, {discrete[0]}, random));
    tv_node_t* const x = add_value("x" + number, discrete[discrete.size() - 2], nullptr);
    add_value("y" + number, discrete.back(), x);
  }
  draw_cases(discrete, rows, 10, random);
  for (size_t row = 0; row < rows; ++row)
    for (tv_node_t* const node : values)
      if (random() % 10) expect(tv_node_set_case_value(node, row, normal(random)));
  return domain;
}

// An unconnected node with values, whose presence makes learning propagate each case that lacks something.
void force_propagation(const Domain& domain) {
  tv_node_t* const node = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
  expect(tv_node_set_conditional_variance(node, 0, 1.0));
}

void report_generated(const std::string& name, const Domain& domain, size_t repeats) {
  prepare(domain.get(), false);
  report(name, domain.get(), {1, 10}, repeats);
}

}  // namespace

bool run_learning(const std::string& folder, const std::string& networks, size_t repeats) {
  std::printf(
      "Milliseconds of tv_domain_learn_tables, one and ten iterations, on one thread and on two.\n\n");
  std::printf("%-28s %8s %10s %10s %10s %10s\n", "data", "cases", "1: one", "ten", "2: one", "ten");
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename();
    const std::string network = networks + "/" + name.substr(0, name.find_first_of("_.")) + ".net";
    if (name.find(".csv") == std::string::npos || !std::filesystem::exists(network)) continue;
    const Domain domain = load_network(network.c_str());
    prepare(domain.get(), true);
    add_file(domain, entry.path());
    report(name, domain.get(), {1, 10}, repeats);
  }
  report_generated("hidden class, 20 signs", hidden_class(20, 50000), repeats);
  report_generated("10 mixed pairs", mixed_network(10, 2000), repeats);
  const Domain random = random_network(400, 3000);
  report_generated("random, 400 nodes", random, repeats);
  force_propagation(random);
  report("  each case propagated", random.get(), {1}, 1);
  return true;
}

}  // namespace bench

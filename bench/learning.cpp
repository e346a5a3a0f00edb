#include "learning.h"

#include <cstdio>
#include <filesystem>
#include <random>

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

void report(const std::string& name, const tv_domain_t* domain, size_t repeats) {
  std::printf("%-28s %8zu", name.c_str(), tv_domain_get_number_of_cases(domain));
  for (const size_t threads : {1, 2})
    for (const size_t iterations : {1, 10})
      std::printf(" %10.1f", time_of(domain, iterations, threads, repeats));
  std::printf("\n");
}

void add_file(const Domain& domain, const std::string& file) {
  const DataSet data(tv_csv_parse_data_set(file.c_str(), ',', nullptr, nullptr));
  if (!data) expect(tv_error_code());
  expect(tv_domain_add_cases(domain.get(), data.get(), nullptr, static_cast<size_t>(-1), tv_unmatched_error,
                             nullptr, nullptr));
}

// A class that no case knows, and what it makes of some signs, a tenth of which are missing.
Domain hidden_class(size_t signs, size_t rows) {
  Domain domain(tv_new_domain());
  if (!domain) expect(tv_error_code());
  std::mt19937_64 random(1);
  const auto add = [&](const std::string& name, size_t states, tv_node_t* parent) {
    tv_node_t* const node = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
    expect(tv_node_set_name(node, name.c_str()));
    expect(tv_node_set_number_of_states(node, states));
    if (parent) expect(tv_node_add_parent(node, parent));
    float* const numbers = tv_table_get_data(tv_node_get_table(node));
    for (size_t i = 0; i < tv_table_get_size(tv_node_get_table(node)); i += states) {
      float sum = 0.0f;
      for (size_t s = 0; s < states; ++s)
        sum += numbers[i + s] = 0.1f + static_cast<float>(random() % 1000) / 1e3f;
      for (size_t s = 0; s < states; ++s) numbers[i + s] /= sum;
    }
    return node;
  };
  tv_node_t* const hidden = add("class", 4, nullptr);
  std::vector<tv_node_t*> children;
  for (size_t i = 0; i < signs; ++i) children.push_back(add("sign" + std::to_string(i), 3, hidden));
  expect(tv_domain_set_number_of_cases(domain.get(), rows));
  for (size_t row = 0; row < rows; ++row)
    for (tv_node_t* const child : children)
      if (random() % 10) expect(tv_node_set_case_state(child, row, random() % 3));
  return domain;
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
    report(name, domain.get(), repeats);
  }
  const Domain domain = hidden_class(20, 50000);
  prepare(domain.get(), false);
  report("hidden class, 20 signs", domain.get(), repeats);
  return true;
}

}  // namespace bench

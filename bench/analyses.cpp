#include "analyses.h"

#include <cstdio>
#include <cstdlib>
#include <random>

#include "timing.h"

namespace bench {
namespace {

// Each node has up to two parents among the `window` nodes before it.
Domain random_graph(size_t count, size_t window, unsigned seed, std::vector<tv_node_t*>& nodes) {
  Domain domain(tv_new_domain());
  std::mt19937 random(seed);
  for (size_t v = 0; v < count; ++v) {
    tv_node_t* node = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
    for (int p = 0; p < 2 && v > 0; ++p) {
      tv_node_t* parent = nodes[v - 1 - random() % std::min(window, v)];
      bool is_new = true;
      for (tv_node_t** other = tv_node_get_parents(node); *other; ++other) is_new &= *other != parent;
      if (is_new) expect(tv_node_add_parent(node, parent));
    }
    nodes.push_back(node);
  }
  return domain;
}

size_t length_of(tv_node_t** list) {
  size_t length = 0;
  while (list && list[length]) ++length;
  std::free(list);
  return length;
}

template <class Work>
double median_time(size_t repeats, const Work& work) {
  std::vector<double> times;
  for (size_t i = 0; i < repeats; ++i) times.push_back(milliseconds(work));
  return median(times);
}

}  // namespace

bool run_separation(size_t count, size_t repeats) {
  std::printf(
      "%zu nodes with up to two parents   d-connected        ms   separator        ms   requisite        "
      "ms\n",
      count);
  for (const size_t window : {size_t{10}, size_t{1000}, count}) {
    std::vector<tv_node_t*> nodes;
    const Domain domain = random_graph(count, window, 1, nodes);
    tv_node_t *from[] = {nodes[count / 2], nullptr}, *to[] = {nodes[count - 1], nullptr};
    std::vector<tv_node_t*> known;
    for (size_t v = 0; v < count; v += 7)
      if (v != count / 2 && v != count - 1) known.push_back(nodes[v]);
    known.push_back(nullptr);
    size_t connected = 0, separator = 0, requisite = 0;
    const double of_connected = median_time(repeats, [&] {
      connected = length_of(tv_domain_get_d_connected_nodes(domain.get(), from, known.data(), nullptr));
    });
    const double of_separator = median_time(repeats, [&] {
      separator =
          length_of(tv_domain_get_minimal_separator(domain.get(), from, to, known.data(), nullptr, nullptr));
    });
    const double of_requisite = median_time(repeats, [&] {
      requisite = length_of(tv_domain_get_requisite_nodes(domain.get(), from, known.data(), nullptr));
    });
    std::printf("  among the %-6zu before it   %13zu  %8.2f   %9zu  %8.2f   %9zu  %8.2f\n", window, connected,
                of_connected, separator, of_separator, requisite, of_requisite);
  }
  return true;
}

void print_simulation(const Workload& workload, size_t cases) {
  const Domain domain = load_network(workload.source.c_str());
  const auto draw = [&](const char* how) {
    expect(tv_domain_set_number_of_cases(domain.get(), 0));
    const double start = processor_time();
    expect(tv_domain_simulate(domain.get()));
    const double first = processor_time() - start;
    expect(tv_domain_simulate_cases(domain.get(), cases, 0));
    const double all = processor_time() - start - first;
    std::printf("%-14s %-16s first %9.3f ms   %zu cases %9.1f ms   %7.3f us a case\n", workload.name.c_str(),
                how, first, cases, all, all * 1e3 / static_cast<double>(cases));
  };
  draw("no evidence");
  expect(tv_domain_set_number_of_cases(domain.get(), 0));
  expect(tv_domain_compile(domain.get()));
  for (const auto& [node, state] : drawn_evidence(domain.get(), 1)) expect(tv_node_select_state(node, state));
  expect(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal));
  draw("a fifth observed");
}

}  // namespace bench

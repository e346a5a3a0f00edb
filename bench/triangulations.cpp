#include "triangulations.h"

#include <cstdio>

#include "cases.h"
#include "memory.h"

namespace bench {
namespace {

// A component with more separators than any exact search could do something with is split.
constexpr size_t kMostSeparators = 20000;

struct Way {
  const char* name;
  tv_triangulation_method_t method;
  size_t effort;
};

struct Figures {
  double cost = 0, triangulate = 0, first = 0, fresh = 0, peak = 0;
};

Figures measure(const Workload& workload, const Way& way, size_t repeats) {
  Figures figures;
  std::vector<double> triangulate, first, fresh;
  for (size_t i = 0; i < repeats; ++i) {
    const Domain domain = load_network(workload.source.c_str());
    expect(tv_domain_set_triangulation_effort(domain.get(), way.effort));
    expect(tv_domain_set_max_number_of_separators(domain.get(), kMostSeparators));
    const size_t live_before = live_bytes();
    reset_peak();
    triangulate.push_back(milliseconds([&] { expect(tv_domain_triangulate(domain.get(), way.method)); }));
    figures.cost = static_cast<double>(tv_domain_get_jt_cost(domain.get()));
    first.push_back(milliseconds([&] { expect(tv_domain_compile(domain.get())); }));
    const Cases cases(domain.get());
    for (size_t set = 0; set < 10; ++set) {
      const Evidence evidence = cases.of(set, set);
      fresh.push_back(milliseconds([&] {
        ask(domain.get(), evidence);
        read_all_beliefs(domain.get());
      }));
    }
    figures.peak = std::max(figures.peak, static_cast<double>(peak_bytes() - live_before) / (1 << 20));
  }
  figures.triangulate = median(triangulate);
  figures.first = median(first);
  figures.fresh = median(fresh);
  return figures;
}

}  // namespace

void print_triangulation_titles(size_t effort) {
  std::printf(
      "Triangulations: total clique weight; milliseconds to triangulate, to allocate and propagate first, "
      "and for "
      "a\nfresh case (another set of observed nodes, all beliefs); MiB at the peak above the network. "
      "greedy: "
      "best_greedy;\nauto, its search for as long as a propagation takes; search with an effort of "
      "%zu; exact by minimal separators, of\nwhich %zu at most are looked at in a component.\n\n",
      effort, kMostSeparators);
  std::printf("%-18s %-8s %14s %12s %10s %10s %9s\n", "network", "way", "total weight", "triangulate",
              "first", "fresh", "peak");
}

void print_triangulations(const Workload& workload, size_t effort, size_t repeats) {
  const Way ways[] = {{"greedy", tv_method_best_greedy, 0},
                      {"auto", tv_method_best_greedy, TV_EFFORT_AUTO},
                      {"search", tv_method_best_greedy, effort},
                      {"exact", tv_method_total_weight, 0}};
  for (const Way& way : ways) {
    const Figures figures = measure(workload, way, repeats);
    std::printf("%-18s %-8s %14.0f %12.3f %10.3f %10.3f %9.2f\n", workload.name.c_str(), way.name,
                figures.cost, figures.triangulate, figures.first, figures.fresh, figures.peak);
    std::fflush(stdout);
  }
}

}  // namespace bench

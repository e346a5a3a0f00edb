#include "sensitivity.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "timing.h"

namespace bench {
namespace {

// The least time of several runs.
template <class Work>
double least_time(size_t repeats, const Work& work) {
  double least = 1e30;
  for (size_t r = 0; r < repeats; ++r) least = std::min(least, milliseconds(work));
  return least;
}

// A table is touched, so that nothing is kept from the run before.
void propagate_anew(const Domain& domain) {
  expect(tv_node_touch_table(tv_domain_get_first_node(domain.get())));
  expect(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal));
  double sum = 0;
  for (tv_node_t* node = tv_domain_get_first_node(domain.get()); node; node = tv_node_get_next(node))
    sum += static_cast<double>(tv_node_get_belief(node, 0));
  if (!(sum > 0)) throw std::runtime_error("no beliefs");
}

void find_configurations(const Domain& domain, size_t count) {
  tv_configurations_t* found = tv_domain_find_configurations(domain.get(), count);
  if (!found) expect(tv_error_code());
  expect(tv_configurations_delete(found));
}

// The node whose belief is farthest from certain among those with two states, or with as few as possible.
tv_node_t* hypothesis_of(const Domain& domain) {
  tv_node_t* best = nullptr;
  const auto rank = [](tv_node_t* node) {
    return static_cast<double>(tv_node_get_number_of_states(node)) - tv_node_get_entropy(node) / 100;
  };
  for (tv_node_t* node = tv_domain_get_first_node(domain.get()); node; node = tv_node_get_next(node))
    if (tv_node_get_number_of_states(node) > 1 && (!best || rank(node) < rank(best))) best = node;
  return best;
}

}  // namespace

void print_sensitivity_titles() {
  std::printf(
      "unit: milliseconds of a propagation without evidence from the potentials, and of reading a belief of "
      "each node; the\n"
      "best configuration, the thousand best ones; the number of parameters, all derivatives of the "
      "probability of one\n"
      "hypothesis with two or three states, and of the probability of the evidence: in units.\n\n"
      "%-12s %9s %8s %8s %10s %10s %9s\n",
      "network", "unit", "best", "1000", "parameters", "hypothesis", "evidence");
}

void print_sensitivity(const Workload& workload, size_t repeats) {
  const Domain domain = load_network(workload.source.c_str());
  expect(tv_domain_compile(domain.get()));
  const double unit = least_time(3 * repeats, [&] { propagate_anew(domain); });
  const double best = least_time(repeats, [&] { find_configurations(domain, 1); });
  const double thousand = least_time(repeats, [&] { find_configurations(domain, 1000); });
  tv_node_t* const node = hypothesis_of(domain);
  size_t parameters = 0;
  const double hypothesis = least_time(repeats, [&] {
    tv_sensitivity_t* found = tv_node_analyze_sensitivity(node, 0);
    if (!found) expect(tv_error_code());
    parameters = tv_sensitivity_get_number_of_parameters(found);
    expect(tv_sensitivity_delete(found));
  });
  const double evidence = least_time(repeats, [&] {
    tv_sensitivity_t* found = tv_domain_analyze_evidence_sensitivity(domain.get());
    if (!found) expect(tv_error_code());
    expect(tv_sensitivity_delete(found));
  });
  std::printf("%-12s %9.4f %8.2f %8.2f %10zu %10.2f %9.2f\n", workload.name.c_str(), unit, best / unit,
              thousand / unit, parameters, hypothesis / unit, evidence / unit);
  std::fflush(stdout);
}

}  // namespace bench

// Chains in which every fourth node is observed: what a changed likelihood between two of them can reach is
// the same few nodes, however long the chain is. The second figure is for everything observed anew.
#include "changes.h"

#include <tarvo.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <random>
#include <vector>

namespace bench {
namespace {

struct Chain {
  std::unique_ptr<tv_domain_t, tv_status_t (*)(tv_domain_t*)> domain{tv_new_domain(), tv_domain_delete};
  std::vector<tv_node_t*> nodes;
};

Chain chain(size_t length) {
  Chain made;
  for (size_t i = 0; i < length; ++i) {
    tv_node_t* node = tv_domain_new_node(made.domain.get(), tv_category_chance, tv_kind_discrete);
    tv_node_set_number_of_states(node, 2);
    if (i > 0) tv_node_add_parent(node, made.nodes.back());
    tv_table_t* table = tv_node_get_table(node);
    const tv_number_t numbers[] = {0.7f, 0.3f, 0.2f, 0.8f};
    std::copy_n(numbers, tv_table_get_size(table), tv_table_get_data(table));
    tv_node_touch_table(node);
    made.nodes.push_back(node);
  }
  return made;
}

template <class Work>
double microseconds(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

bool propagate(const Chain& chain) {
  return tv_domain_propagate(chain.domain.get(), tv_equilibrium_sum, tv_evidence_normal) == tv_status_none;
}

struct Times {
  double change = 0, anew = 0;
};

bool measure(size_t length, size_t repeats, Times& times) {
  const Chain made = chain(length);
  if (tv_domain_compile(made.domain.get()) != tv_status_none) return false;
  std::mt19937 random(1);
  bool sound = true;
  std::vector<double> anew;
  for (size_t i = 0; i < repeats; ++i)
    anew.push_back(microseconds([&] {
      tv_domain_retract_findings(made.domain.get());
      for (size_t n = 0; n < length; n += 4) tv_node_select_state(made.nodes[n], random() % 2);
      sound &= propagate(made);
    }));
  std::vector<double> changes;
  for (size_t i = 0; i < 200 * repeats; ++i) {
    tv_node_t* node = made.nodes[random() % (length / 4) * 4 + 2];
    const auto likelihood = static_cast<tv_number_t>(1 + random() % 9) / 10;
    double belief = 0;
    changes.push_back(microseconds([&] {
      tv_node_enter_finding(node, 0, likelihood);
      sound &= propagate(made);
      belief = tv_node_get_belief(node, 0);
    }));
    sound &= belief > 0 && belief < 1;
  }
  times = {median(changes), median(anew)};
  return sound;
}

}  // namespace

bool run_changes(size_t repeats) {
  std::printf(
      "Microseconds. change: one likelihood of a chain with every fourth node observed, propagated and "
      "read;\n"
      "anew: all observations. The last line is longest over shortest.\n\n%10s %10s %12s\n",
      "nodes", "change", "anew");
  Times shortest, longest;
  for (const size_t length : {200, 2000, 20000}) {
    if (!measure(length, repeats, longest)) return false;
    if (length == 200) shortest = longest;
    std::printf("%10zu %10.2f %12.1f\n", length, longest.change, longest.anew);
  }
  std::printf("%10s %10.2f %12.1f\n", "ratio", longest.change / shortest.change,
              longest.anew / shortest.anew);
  return true;
}

}  // namespace bench

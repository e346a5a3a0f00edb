// Generated decision models: a hidden process over time that is observed and steered, with decisions that
// remember little of what came before.
#include "decisions.h"

#include <tarvo.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {
namespace {

struct DomainDelete {
  void operator()(tv_domain_t* domain) const { tv_domain_delete(domain); }
};

void demand(bool condition) {
  if (!condition) throw std::runtime_error(tv_error_name(static_cast<unsigned>(tv_error_code())));
}

struct Model {
  Model() : domain(tv_new_domain()) {}

  double uniform() { return std::uniform_real_distribution<>(0, 1)(random); }

  tv_node_t* add(tv_node_category_t category, size_t states, const std::vector<tv_node_t*>& parents) {
    tv_node_t* node = tv_domain_new_node(domain.get(), category, tv_kind_discrete);
    if (states > 0) demand(tv_node_set_number_of_states(node, states) == tv_status_none);
    for (tv_node_t* parent : parents) demand(tv_node_add_parent(node, parent) == tv_status_none);
    tv_table_t* table = tv_node_get_table(node);
    tv_number_t* data = tv_table_get_data(table);
    if (category == tv_category_decision) {
      decisions.push_back(node);
    } else {
      for (size_t i = 0; i < tv_table_get_size(table); ++i)
        data[i] = static_cast<tv_number_t>(states > 0 ? 0.05 + uniform() : 20 * uniform() - 10);
    }
    return node;
  }

  // In each step the hidden state is observed `observations` times; the decision sees these and the last
  // `memory` decisions and first observations before it.
  void add_steps(size_t steps, size_t hidden_states, size_t observations, size_t memory) {
    tv_node_t *hidden = nullptr, *decision = nullptr;
    std::vector<tv_node_t*> remembered;
    for (size_t t = 0; t < steps; ++t) {
      hidden = add(tv_category_chance, hidden_states,
                   hidden ? std::vector<tv_node_t*>{hidden, decision} : std::vector<tv_node_t*>{});
      std::vector<tv_node_t*> seen;
      const size_t now = t == 0 ? observations + memory : observations;
      for (size_t i = 0; i < now; ++i) seen.push_back(add(tv_category_chance, 2, {hidden}));
      std::vector<tv_node_t*> parents = seen;
      for (size_t i = 0; i < memory && i < remembered.size(); ++i)
        parents.push_back(remembered[remembered.size() - 1 - i]);
      decision = add(tv_category_decision, 2, parents);
      add(tv_category_utility, 0, {hidden, decision});
      remembered.push_back(seen[0]);
      remembered.push_back(decision);
    }
  }

  std::unique_ptr<tv_domain_t, DomainDelete> domain;
  std::mt19937 random{1};
  std::vector<tv_node_t*> decisions;
};

double milliseconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

// The library reports progress once for every policy that it looks at.
int count_policies(const char* task, double, void* data) {
  if (std::strcmp(task, "policies") == 0) ++*static_cast<size_t*>(data);
  return 0;
}

void forget_policies(const Model& model) {
  for (tv_node_t* decision : model.decisions) {
    tv_table_t* table = tv_node_get_table(decision);
    std::fill_n(tv_table_get_data(table), tv_table_get_size(table), 0.5f);
    demand(tv_node_touch_table(decision) == tv_status_none);
  }
}

void propagate(const Model& model) {
  demand(tv_domain_propagate(model.domain.get(), tv_equilibrium_sum, tv_evidence_normal) == tv_status_none);
}

void measure(const char* name, size_t repeats, size_t steps, size_t hidden, size_t observations,
             size_t memory) {
  Model model;
  model.add_steps(steps, hidden, observations, memory);
  tv_domain_t* domain = model.domain.get();
  demand(tv_domain_compile(domain) == tv_status_none);
  size_t looked_at = 0;
  demand(tv_domain_set_progress_handler(domain, count_policies, &looked_at) == tv_status_none);
  std::vector<double> updates, propagations;
  double before = 0;
  for (size_t i = 0; i < repeats || updates.size() < 5; ++i) {
    forget_policies(model);
    auto start = std::chrono::steady_clock::now();
    propagate(model);
    propagations.push_back(milliseconds_since(start));
    before = tv_domain_get_expected_utility(domain);
    looked_at = 0;
    start = std::chrono::steady_clock::now();
    demand(tv_domain_update_policies(domain) == tv_status_none);
    updates.push_back(milliseconds_since(start));
  }
  const double time = median(updates);
  std::printf("%-22s %9zu %10zu %10.3f %10.3f %9zu %12.0f %10.3f %10.3f\n", name, model.decisions.size(),
              tv_domain_get_jt_cost(domain), median(propagations), time, looked_at,
              1000 * static_cast<double>(looked_at) / time, before, tv_domain_get_expected_utility(domain));
  std::fflush(stdout);
}

}  // namespace

bool run_decisions(size_t repeats) {
  std::printf(
      "Milliseconds. propagate: from the potentials, with expected utilities. update: all policies from "
      "uniform ones,\n"
      "propagation included. policies: how many were looked at, and how many of them a second. utility: "
      "before and after.\n\n");
  std::printf("%-22s %9s %10s %10s %10s %9s %12s %10s %10s\n", "network", "decisions", "cost", "propagate",
              "update", "policies", "a second", "before", "after");
  try {
    measure("10 with 8 parents", repeats, 10, 4, 6, 2);
    measure("10 with 12 parents", repeats, 10, 4, 8, 4);
    measure("100 with 3 parents", repeats, 100, 3, 1, 2);
  } catch (const std::runtime_error& error) {
    std::printf("failed: %s\n", error.what());
    return false;
  }
  return true;
}

}  // namespace bench

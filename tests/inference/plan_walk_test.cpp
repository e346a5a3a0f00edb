// A random walk through what a host may do between two propagations, over domains that use elimination plans,
// with one, two and three threads, and one that does not. Those with plans give the same bits for every
// number of threads; the other one shows the same state and nearly the same numbers.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <set>

#include "inference/elimination/elimination_schedule.h"
#include "support/builders.h"

namespace test {
namespace {

struct Observed {
  std::vector<double> exact;    // states, flags and counts
  std::vector<double> numbers;  // beliefs, constants, conflicts
};

class Host {
 public:
  Host(uint64_t seed, size_t threads, bool plans) : threads_(threads), plans_(plans) {
    Generator random(seed);
    values_ = static_cast<Values>(seed % 2);
    domain_ = new_domain();
    std::vector<tv_node_t*> nodes;
    const size_t count = 4 + random.below(16);
    for (size_t i = 0; i < count; ++i) {
      tv_node_t* node = tv_domain_new_node(domain_.get(), tv_category_chance, tv_kind_discrete);
      tv_node_set_number_of_states(node, random.chance(0.08) ? 1 : 2 + random.below(3));
      std::set<size_t> parents;
      for (size_t p = random.below(4); p > 0 && i > 0; --p)
        parents.insert(i - 1 - random.below(std::min<size_t>(i, 5)));
      for (const size_t parent : parents) tv_node_add_parent(node, nodes[parent]);
      nodes.push_back(node);
      if (random.chance(0.9)) set_random_table(random, node, values_);
    }
    if (seed % 3 == 0) {
      tv_node_t* const required = random.pick(nodes);
      domain_->required_instantiations = {required};
      tv_node_select_state(required, 0);
    }
    tv_domain_set_concurrency_level(domain_.get(), threads);
    tv_domain_set_grain_size(domain_.get(), 1);
  }

  // Returns the status; all hosts do the same for the same seed.
  tv_status_t step(uint64_t seed) {
    tv::limits.entries_for_elimination = plans_ ? 0 : 1u << 30;
    Generator random(seed);
    const double kind = random.uniform();
    tv_domain_t* const domain = domain_.get();
    if (!tv_domain_is_compiled(domain)) {
      const tv_status_t status = tv_domain_compile(domain);
      if (status) tv_domain_retract_findings(domain);
      return status;
    }
    if (kind < 0.32) {
      for (size_t i = random.below(3) + 1; i > 0; --i) change_evidence(random, any(random), Findings::any);
    } else if (kind < 0.37) {
      for (tv_node_t* node : nodes_of(domain))
        if (random.chance(0.3)) tv_node_select_state(node, random.below(tv_node_get_number_of_states(node)));
    } else if (kind < 0.45) {  // the same nodes again with other states
      for (tv_node_t* node : nodes_of(domain))
        if (tv_node_get_selected_state(node) >= 0)
          tv_node_select_state(node, random.below(tv_node_get_number_of_states(node)));
      return tv_domain_reset_inference_engine(domain);
    } else if (kind < 0.72) {
      return propagate(random);
    } else if (kind < 0.75) {
      set_random_table(random, any(random), values_);
    } else if (kind < 0.76) {
      tv_node_t* const node = any(random);
      tv_table_get_data(tv_node_get_table(node));
      return tv_node_touch_table(node);
    } else if (kind < 0.81) {
      return tv_domain_reset_inference_engine(domain);
    } else if (kind < 0.83) {
      return tv_domain_retract_findings(domain);
    } else if (kind < 0.835) {
      return tv_domain_initialize(domain);
    } else if (kind < 0.85) {
      return tv_domain_save_to_memory(domain);
    } else if (kind < 0.87) {
      return tv_domain_reclaim_memory_tables(domain);
    } else if (kind < 0.89 && threads_ > 1) {
      tv_domain_set_concurrency_level(domain, 1 + random.below(3));
    } else if (kind < 0.91) {
      tv_domain_set_grain_size(domain, random.chance(0.5) ? 1 : 10000);
    } else if (kind < 0.96) {
      return reorder(random, tv_node_get_table(any(random)));
    }
    return tv_status_none;
  }

  // Now and then the host has looked at the numbers before, or changes them afterwards.
  tv_status_t reorder(Generator& random, tv_table_t* table) {
    std::vector<tv_node_t*> order;
    for (tv_node_t** node = tv_table_get_nodes(table); *node; ++node) order.push_back(*node);
    const bool looks = random.chance(0.3), changes = random.chance(0.3);
    if (looks) tv_table_get_data(table);
    for (size_t i = order.size() - 1; i > 1; --i) std::swap(order[i - 1], order[random.below(i)]);
    tv_node_t* const node = order.back();
    order.push_back(nullptr);
    const tv_status_t status = tv_table_reorder_nodes(table, order.data());
    if (changes) set_random_table(random, node, values_);
    return status;
  }

  Observed observe(uint64_t seed) {
    tv::limits.entries_for_elimination = plans_ ? 0 : 1u << 30;
    Generator random(seed);
    Observed found;
    const auto exact = [&](auto value) { found.exact.push_back(static_cast<double>(value)); };
    const auto number = [&](double value) { found.numbers.push_back(value); };
    tv_domain_t* const domain = domain_.get();
    exact(tv_domain_is_compiled(domain));
    exact(tv_domain_evidence_to_propagate(domain));
    exact(tv_domain_tables_to_propagate(domain));
    exact(tv_domain_evidence_is_propagated(domain));
    exact(tv_domain_likelihood_is_propagated(domain));
    exact(tv_domain_evidence_mode_is(domain, tv_evidence_normal));
    exact(tv_domain_evidence_mode_is(domain, tv_evidence_fast_retraction));
    number(tv_domain_get_log_normalization_constant(domain));
    number(std::log(tv_domain_get_conflict(domain)));
    std::vector<tv_clique_t*> cliques = {nullptr};
    if (!tv_domain_is_compiled(domain)) return found;
    for (tv_junction_tree_t* jt = tv_domain_get_first_junction_tree(domain); jt; jt = tv_jt_get_next(jt)) {
      exact(tv_jt_equilibrium_is(jt, tv_equilibrium_sum));
      exact(tv_jt_equilibrium_is(jt, tv_equilibrium_max));
      exact(tv_jt_evidence_to_propagate(jt));
      exact(tv_jt_evidence_is_propagated(jt));
      exact(jt->engine->evidence_to_propagate);
      exact(tv_jt_likelihood_is_propagated(jt));
      number(std::log(tv_jt_get_conflict(jt)));
      number(jt->engine->step_log_constant);
    }
    const bool measures = random.chance(0.5);
    for (tv_clique_t* c = tv_domain_get_first_clique(domain); c; c = tv_clique_get_next(c)) {
      cliques.push_back(c);
      if (measures) number(std::log(tv_clique_get_conflict(c)));
    }
    for (tv_node_t* node : nodes_of(domain)) {
      exact(tv_node_get_selected_state(node));
      exact(tv_node_get_propagated_state(node));
      exact(tv_node_evidence_to_propagate(node));
      exact(tv_node_evidence_is_propagated(node));
      exact(tv_node_likelihood_is_propagated(node));
      exact(std::find(cliques.begin(), cliques.end(), tv_node_get_conflict_clique(node)) - cliques.begin());
      for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s) {
        exact(tv_node_get_propagated_finding(node, s));
        if (tv_domain_equilibrium_is(domain, tv_equilibrium_none) == 1) continue;
        number(tv_node_get_belief(node, s));
      }
    }
    if (random.chance(0.15)) look_at_tables(random, found);
    return found;
  }

  void look_at_tables(Generator& random, Observed& found) {
    tv_domain_t* const domain = domain_.get();
    if (random.chance(0.5)) {
      tv_node_t* a = any(random);
      tv_node_t* b = any(random);
      found.numbers.push_back(tv_node_get_entropy(a));
      found.numbers.push_back(tv_node_get_mutual_information(a, b));
      tv_node_t* list[] = {a, b, nullptr};
      const TableOwner table(a == b ? nullptr : tv_domain_get_marginal(domain, list));
      found.exact.push_back(table != nullptr);
      if (table) add(table.get(), found);
    }
    if (random.chance(0.5)) return;
    const size_t skipped = random.below(3);
    size_t position = 0;
    for (tv_clique_t* c = tv_domain_get_first_clique(domain); c; c = tv_clique_get_next(c))
      if (position++ >= skipped) add(tv_clique_get_probability_table(c), found);
  }

  bool is_invalid() const { return tv_domain_equilibrium_is(domain_.get(), tv_equilibrium_none) == 1; }

 private:
  tv_node_t* any(Generator& random) { return random.pick(nodes_of(domain_.get())); }

  static void add(tv_table_t* table, Observed& found) {
    const float* data = tv_table_get_data(table);
    found.exact.push_back(data != nullptr);
    if (!data) return;
    double sum = 0.0;
    for (size_t i = 0; i < tv_table_get_size(table); ++i) sum += static_cast<double>(data[i]);
    for (size_t i = 0; i < tv_table_get_size(table); ++i)
      found.numbers.push_back(static_cast<double>(data[i]) / sum);
  }

  tv_status_t propagate(Generator& random) {
    const tv_equilibrium_t equilibrium = random.chance(0.85) ? tv_equilibrium_sum : tv_equilibrium_max;
    const tv_evidence_mode_t mode = random.chance(0.85) ? tv_evidence_normal : tv_evidence_fast_retraction;
    if (random.chance(0.8)) return tv_domain_propagate(domain_.get(), equilibrium, mode);
    for (tv_junction_tree_t* jt = tv_domain_get_first_junction_tree(domain_.get()); jt;
         jt = tv_jt_get_next(jt)) {
      if (random.chance(0.2)) continue;
      const tv_status_t status = random.chance(0.5)
                                     ? tv_jt_propagate(jt, equilibrium, mode)
                                     : tv_clique_propagate(tv_jt_get_root(jt), equilibrium, mode);
      if (status) return status;
    }
    return tv_status_none;
  }

  size_t threads_;
  bool plans_;
  Values values_ = Values::positive;
  DomainOwner domain_;
};

bool same_bits(const Observed& a, const Observed& b) {
  if (a.numbers.size() != b.numbers.size()) return false;
  for (size_t i = 0; i < a.numbers.size(); ++i)
    if (std::bit_cast<uint64_t>(a.numbers[i]) != std::bit_cast<uint64_t>(b.numbers[i])) return false;
  return true;
}

TEST(PlanWalk, HostsSeeTheSame) {
  const size_t usual = tv::limits.entries_for_elimination;
  size_t answers = 0, failures = 0;
  for (uint64_t seed = 0; seed < 100; ++seed) {
    Host hosts[] = {Host(seed, 1, true), Host(seed, 2, true), Host(seed, 3, true), Host(seed, 1, false)};
    for (uint64_t step = 0; step < 120; ++step) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << " step " << step);
      const uint64_t chosen = Generator(seed * 1000 + step).next();
      tv_status_t status[4];
      for (size_t h = 0; h < 4; ++h) status[h] = hosts[h].step(chosen);
      ASSERT_EQ(status[0], status[1]);
      ASSERT_EQ(status[0], status[2]);
      ASSERT_EQ(status[0], status[3]);
      failures += status[0] != 0;
      Observed found[4];
      for (size_t h = 0; h < 4; ++h) found[h] = hosts[h].observe(chosen + 1);
      for (size_t h = 1; h < 3; ++h) ASSERT_TRUE(same_bits(found[0], found[h])) << h;
      for (size_t h = 1; h < 4; ++h) {
        ASSERT_EQ(found[h].exact.size(), found[0].exact.size()) << h;
        for (size_t i = 0; i < found[0].exact.size(); ++i)
          ASSERT_EQ(found[h].exact[i], found[0].exact[i]) << h << " at " << i;
      }
      ASSERT_EQ(found[0].numbers.size(), found[3].numbers.size());
      for (size_t i = 0; i < found[0].numbers.size(); ++i) {
        const double a = found[0].numbers[i], b = found[3].numbers[i];
        if (a == b || (std::isnan(a) && std::isnan(b))) continue;
        ASSERT_NEAR(a, b, 2e-5 * std::max(1.0, std::abs(b))) << i;
      }
      answers += !hosts[0].is_invalid();
    }
  }
  tv::limits.entries_for_elimination = usual;
  EXPECT_GT(answers, 6000u);
  EXPECT_GT(failures, 1000u);
}

}  // namespace
}  // namespace test

// The same bits for every number of threads and every instruction set.

#include <gtest/gtest.h>

#include <bit>
#include <cstdlib>
#include <cstring>

#include "inference/elimination/elimination_schedule.h"
#include "support/builders.h"
#include "support/oracle.h"
#include "tables/kernels/kernels.h"

namespace test {
namespace {

// All beliefs and constants of one network after propagations of every kind, as their bits.
std::vector<uint64_t> answers(uint64_t seed, size_t level) {
  Generator random(seed);
  // Large enough that tables are split over threads.
  const NetworkShape shape{
      .max_nodes = 10, .max_joint = 150000, .max_states = 7, .max_parents = 6, .link_chance = 0.9};
  const DomainOwner domain = random_network(random, static_cast<Values>(seed % 2), shape);
  tv_domain_set_grain_size(domain.get(), 1);
  tv_domain_set_concurrency_level(domain.get(), level);
  std::vector<uint64_t> bits{static_cast<uint64_t>(tv_domain_compile(domain.get())),
                             tv_domain_get_jt_cost(domain.get())};
  const auto add = [&bits](double value) {
    uint64_t pattern;
    std::memcpy(&pattern, &value, sizeof pattern);
    bits.push_back(pattern);
  };
  for (tv_equilibrium_t equilibrium : {tv_equilibrium_sum, tv_equilibrium_max})
    for (tv_evidence_mode_t mode : {tv_evidence_normal, tv_evidence_fast_retraction}) {
      for (tv_node_t* node : nodes_of(domain.get()))
        if (random.chance(0.3)) change_evidence(random, node, Findings::any);
      bits.push_back(static_cast<uint64_t>(tv_domain_propagate(domain.get(), equilibrium, mode)));
      add(tv_domain_get_log_normalization_constant(domain.get()));
      for (tv_node_t* node : nodes_of(domain.get()))
        for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s) add(tv_node_get_belief(node, s));
    }
  std::vector<tv_node_t*> list = nodes_of(domain.get());
  list.resize(std::min<size_t>(list.size(), 3));
  list.push_back(nullptr);
  if (const TableOwner table{tv_domain_get_marginal(domain.get(), list.data())})
    for (size_t i = 0; i < tv_table_get_size(table.get()); ++i) add(tv_table_get_data(table.get())[i]);
  return bits;
}

TEST(Reproducible, ThreadsAndInstructionSets) {
  const tv::Kernels& usual = tv::kernels();
  size_t compared = 0, large = 0;
  for (uint64_t seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    const std::vector<uint64_t> expected = answers(seed, 1);
    large += expected[1] > 20000;
    for (size_t level : {2, 4}) EXPECT_EQ(answers(seed, level), expected) << level << " threads";
    for (const tv::Kernels* const* target = tv::available_kernels(); *target; ++target) {
      tv::use_kernels(**target);
      EXPECT_EQ(answers(seed, 1), expected) << (*target)->name;
      ++compared;
    }
    tv::use_kernels(usual);
  }
  EXPECT_GE(compared, 40u);
  EXPECT_GE(large, 5u) << "most tables were too small for more than one thread";
}

// A tree with many subtrees: each node hangs on one or two of those a little before it.
DomainOwner branching_network(uint64_t seed) {
  Generator random(seed);
  DomainOwner domain = new_domain();
  std::vector<tv_node_t*> nodes;
  for (size_t i = 0; i < 150; ++i) {
    tv_node_t* const node = add_node(domain.get(), ("n" + std::to_string(i)).c_str(), 2 + random.below(4));
    if (i > 0) {
      tv_node_t* const parent = nodes[i - 1 - random.below(std::min<size_t>(i, 12))];
      EXPECT_EQ(tv_node_add_parent(node, parent), tv_status_none);
      tv_node_t** const above = tv_node_get_parents(parent);
      if (*above && random.chance(0.7)) {
        EXPECT_EQ(tv_node_add_parent(node, *above), tv_status_none);
      }
    }
    nodes.push_back(node);
  }
  for (tv_node_t* node : nodes) set_random_table(random, node, static_cast<Values>(seed % 3));
  return domain;
}

// What follows from some evidence, asked several times so that cached schedules serve it, or the status of a
// failure. The domain is a new one, since the way to an answer may change the last digit.
std::vector<uint64_t> answers_of(uint64_t seed, size_t level) {
  const DomainOwner owner = branching_network(seed);
  tv_domain_t* const domain = owner.get();
  EXPECT_EQ(tv_domain_compile(domain), tv_status_none);
  tv_domain_set_grain_size(domain, 1);
  tv_domain_set_concurrency_level(domain, level);
  std::vector<uint64_t> bits;
  for (size_t round = 0; round < 9; ++round) {
    Generator random(10 * seed + round % 3);
    EXPECT_EQ(tv_domain_retract_findings(domain), tv_status_none);
    for (tv_node_t* node : nodes_of(domain))
      if (round % 3 > 0 && random.chance(0.15)) change_evidence(random, node, Findings::any);
    bits.push_back(
        static_cast<uint64_t>(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal)));
    const auto add = [&bits](double value) { bits.push_back(std::bit_cast<uint64_t>(value)); };
    add(tv_domain_get_log_normalization_constant(domain));
    add(tv_domain_get_conflict(domain));
    for (tv_node_t* node : nodes_of(domain))
      for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s) add(tv_node_get_belief(node, s));
  }
  return bits;
}

// Schedules for even seeds, elimination schedules for odd ones.
TEST(Reproducible, BranchesThatArePropagatedAtTheSameTime) {
  const size_t usual = tv::limits.entries_for_elimination;
  for (uint64_t seed = 0; seed < 12; ++seed) {
    SCOPED_TRACE(seed);
    tv::limits.entries_for_elimination = seed % 2 ? 0 : 1u << 30;
    const std::vector<uint64_t> expected = answers_of(seed, 1);
    for (size_t level : {2, 3}) EXPECT_EQ(answers_of(seed, level), expected) << level << " threads";
  }
  tv::limits.entries_for_elimination = usual;
}

#if defined(__x86_64__)  // other machines have one
TEST(ReproducibleDeathTest, TheEnvironmentForcesAnInstructionSet) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process each time: the choice is made once
  for (const char* name : {"baseline", "avx2", "avx512"}) {
    setenv("TARVO_KERNELS", name, 1);
    EXPECT_EXIT(
        {
          const tv::Kernels& used = tv::kernels();
          bool available = false;
          for (const tv::Kernels* const* target = tv::available_kernels(); *target; ++target)
            available |= std::strcmp((*target)->name, name) == 0;
          std::_Exit(available && std::strcmp(used.name, name) != 0);
        },
        testing::ExitedWithCode(0), "")
        << name;
  }
  unsetenv("TARVO_KERNELS");
}
#endif

}  // namespace
}  // namespace test

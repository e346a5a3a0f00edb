// Many cases through queries: the same bits in one thread and in many, and whatever other states have cached.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <thread>

#include "inference/engine.h"
#include "inference/query.h"
#include "inference/schedule/schedule_cache.h"
#include "support/builders.h"
#include "support/cg_builders.h"
#include "support/other_ways.h"
#include "support/queries.h"

namespace test {
namespace {

struct Case {
  std::vector<std::pair<tv_node_t*, double>> values;  // a state, or the value of a continuous node
};

// Of a few sets of observed nodes, so that they come again.
std::vector<Case> draw_cases(Generator& random, const DomainOwner& domain, size_t count) {
  constexpr size_t kSets = 5;
  std::vector<Case> cases(count);
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  std::vector<bool> observed[kSets];
  for (std::vector<bool>& set : observed)
    for (size_t i = 0; i < nodes.size(); ++i) set.push_back(random.chance(0.3));
  for (Case& each : cases) {
    const std::vector<double> drawn = draw_case(random, domain.get());
    const std::vector<bool>& set = observed[random.below(kSets)];
    for (size_t i = 0; i < nodes.size(); ++i)
      if (set[i]) each.values.emplace_back(nodes[i], drawn[i]);
  }
  return cases;
}

uint64_t mix(uint64_t hash, double number) {
  return (hash ^ std::bit_cast<uint64_t>(number)) * 1099511628211u;
}

// All answers of a query to one case, as one number that tells every bit.
uint64_t answers_of(tv_query_t* query, tv_domain_t* domain, const Case& found) {
  tv_query_retract_findings(query);
  for (const auto& [node, value] : found.values) {
    if (tv_node_get_kind(node) == tv_kind_continuous)
      tv_query_enter_value(query, node, value);
    else
      tv_query_select_state(query, node, static_cast<size_t>(value));
  }
  uint64_t hash = static_cast<uint64_t>(tv_query_propagate(query, tv_equilibrium_sum, tv_evidence_normal));
  for (const tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node)) {
    if (tv_node_get_kind(node) == tv_kind_continuous)
      hash = mix(mix(hash, tv_query_get_mean(query, node)), tv_query_get_variance(query, node));
    else
      for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s)
        hash = mix(hash, tv_query_get_belief(query, node, s));
  }
  return mix(hash, tv_query_get_log_normalization_constant(query));
}

// The moments of the case that the query has answered last, which other tests hold against the exact ones.
void expect_moments_of_domain(tv_query_t* query, tv_domain_t* domain, const Case& found) {
  tv_domain_retract_findings(domain);
  for (const auto& [node, value] : found.values) {
    if (tv_node_get_kind(node) == tv_kind_continuous)
      tv_node_enter_value(node, value);
    else
      tv_node_select_state(node, static_cast<size_t>(value));
  }
  ASSERT_EQ(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  for (const tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node)) {
    if (tv_node_get_kind(node) != tv_kind_continuous) continue;
    const double mean = tv_node_get_mean(node), variance = tv_node_get_variance(node);
    EXPECT_NEAR(tv_query_get_mean(query, node), mean, 1e-5 * std::max(1.0, std::abs(mean)));
    EXPECT_NEAR(tv_query_get_variance(query, node), variance, 1e-5 * std::max(1.0, variance));
  }
}

// With finding vectors; with schedules for sets of observed nodes, by elimination always, sometimes or never.
constexpr const char* kWays[] = {"", "reduced+kept", "planned+kept", "eager+kept", "lazy+tabled+kept"};

// Eight threads with a query each, while the domain itself is propagated, get the answers of one after the
// other, bit by bit. The thread sanitizer sees what they share.
void expect_same_bits_on_threads(const DomainOwner& domain, Generator& random) {
  constexpr size_t kThreads = 8, kCases = 96;
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const std::vector<Case> cases = draw_cases(random, domain, kCases);
  std::vector<uint64_t> expected(kCases), found(kCases);
  QueryOwner alone = new_query(domain);
  for (size_t i = 0; i < kCases; ++i) expected[i] = answers_of(alone.get(), domain.get(), cases[i]);
  expect_moments_of_domain(alone.get(), domain.get(), cases.back());
  alone.reset();  // and with it the schedules that it has cached
  std::vector<QueryOwner> queries;
  for (size_t t = 0; t < kThreads; ++t) queries.push_back(new_query(domain));
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      for (size_t i = t; i < kCases; i += kThreads)
        found[i] = answers_of(queries[t].get(), domain.get(), cases[i]);
    });
  tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, expected);
}

TEST(QueryCases, OnThreadsHaveTheSameBits) {
  for (const char* way : kWays) {
    SCOPED_TRACE(way);
    const KeptLimits usual;
    ASSERT_TRUE(set_limits(way));
    Generator random(11);
    expect_same_bits_on_threads(random_network(random, Values::positive, {.max_nodes = 30}), random);
  }
  Generator random(11);
  expect_same_bits_on_threads(random_cg_network(random, {.zero_variance = 0, .zero_weight = 0}), random);
}

// The domain's answers to the cases, one after the other.
std::vector<uint64_t> answers_of_domain(tv_domain_t* domain, const std::vector<Case>& cases) {
  std::vector<uint64_t> list;
  for (const Case& each : cases) {
    tv_domain_retract_findings(domain);
    tv_domain_reset_inference_engine(domain);
    for (const auto& [node, value] : each.values) tv_node_select_state(node, static_cast<size_t>(value));
    uint64_t hash =
        static_cast<uint64_t>(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal));
    for (tv_node_t* node : nodes_of(domain))
      for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s)
        hash = mix(hash, tv_node_get_belief(node, s));
    list.push_back(mix(hash, tv_domain_get_log_normalization_constant(domain)));
  }
  return list;
}

std::vector<uint64_t> answers_of_query(const DomainOwner& domain, const std::vector<Case>& cases) {
  const QueryOwner query = new_query(domain);
  std::vector<uint64_t> list;
  for (const Case& each : cases) list.push_back(answers_of(query.get(), domain.get(), each));
  return list;
}

struct Copy {
  explicit Copy(uint64_t seed) : random(seed) {
    domain = random_network(random, Values::positive, {.max_nodes = 24, .max_states = 3});
    EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    cases = draw_cases(random, domain, 40);
  }

  Generator random;
  DomainOwner domain;
  std::vector<Case> cases;
};

// The domain, a query that is open all the time and others take schedules from each other, which were built
// for memory elsewhere; nobody's bits tell.
TEST(QueryCases, HaveTheBitsOfThoseThatShareNothing) {
  for (const char* way : kWays)
    for (uint64_t seed = 0; seed < 12; ++seed) {
      SCOPED_TRACE(std::string(way) + " " + std::to_string(seed));
      const KeptLimits usual;
      ASSERT_TRUE(set_limits(way));
      Copy alone(seed), another(seed), together(seed);
      const std::vector<uint64_t> of_query = answers_of_query(alone.domain, alone.cases);
      const std::vector<uint64_t> of_domain = answers_of_domain(another.domain.get(), another.cases);
      const QueryOwner open = new_query(together.domain);
      for (size_t i = 0; i < together.cases.size(); i += 3)
        answers_of(open.get(), together.domain.get(), together.cases[i]);
      EXPECT_EQ(answers_of_domain(together.domain.get(), together.cases), of_domain);
      EXPECT_EQ(answers_of_query(together.domain, together.cases), of_query);
    }
}

// What the domain has cached, queries need not build.
TEST(QueryCases, AreServedByTheSchedulesOfTheDomain) {
  const KeptLimits usual;
  ASSERT_TRUE(set_limits("reduced+tabled+kept"));
  Copy copy(3);
  answers_of_domain(copy.domain.get(), {copy.cases[0]});
  const QueryOwner query = new_query(copy.domain);
  answers_of(query.get(), copy.domain.get(), copy.cases[0]);
  size_t shared = 0;
  for (const auto& engine : query->state.trees) {
    const tv::TreeEngine& own = *engine->tree->engine;
    const auto of_domain = own.schedules->find(own, tv_equilibrium_sum);
    const auto of_query = engine->schedules->find(*engine, tv_equilibrium_sum);
    EXPECT_EQ(of_query.schedule, of_domain.schedule);
    shared += of_domain.schedule != nullptr;
  }
  EXPECT_GT(shared, 0u);
}

// A query that is over still holds its schedule, in which a node without a table counts as uniform.
TEST(QueryCases, LeaveNoScheduleOfAnotherLayout) {
  const KeptLimits usual;
  ASSERT_TRUE(set_limits("reduced+tabled+kept"));
  const DomainOwner domain = new_domain();
  tv_node_t* const cause = add_node(domain.get(), "cause", 2, {}, {0.25f, 0.75f});
  tv_node_t* const effect = add_node(domain.get(), "effect", 2, {cause});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const QueryOwner query = new_query(domain);
  tv_query_select_state(query.get(), effect, 0);
  ASSERT_EQ(tv_query_propagate(query.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  EXPECT_NEAR(tv_query_get_belief(query.get(), cause, 0), 0.25, 1e-6);
  set_table(effect, {0.9f, 0.1f, 0.3f, 0.7f});
  tv_node_select_state(effect, 0);
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  EXPECT_NEAR(tv_node_get_belief(cause, 0), 0.225 / 0.45, 1e-6);
}

}  // namespace
}  // namespace test

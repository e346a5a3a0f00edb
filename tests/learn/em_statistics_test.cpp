// Learning from parts of the cases, whose statistics travel as bytes.
#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <limits>

#include "em_world.h"
#include "learn/em_statistics_bytes.h"
#include "support/other_ways.h"

namespace test {
namespace {

struct DeleteStatistics {
  void operator()(tv_em_statistics_t* statistics) const { tv_em_statistics_delete(statistics); }
};
using Statistics = std::unique_ptr<tv_em_statistics_t, DeleteStatistics>;

std::string bytes_of(const Statistics& statistics) {
  size_t size = 0;
  const std::unique_ptr<void, decltype(&std::free)> bytes(tv_em_statistics_to_bytes(statistics.get(), &size),
                                                          std::free);
  EXPECT_TRUE(bytes) << tv_error_message();
  return {static_cast<const char*>(bytes.get()), size};
}

Statistics parsed(tv_domain_t* domain, const std::string& bytes) {
  return Statistics(tv_domain_parse_em_statistics(domain, bytes.data(), bytes.size()));
}

// A network and cases, some of which lack something.
struct World {
  DomainOwner domain;
  std::vector<Row> rows;
  std::vector<double> weights;
};

World discrete_world() {
  Generator random(11);
  World world;
  const auto links = [&] {
    size_t count = 0;
    for (tv_node_t* node : nodes_of(world.domain.get())) count += count_nodes(tv_node_get_parents(node));
    return count;
  };
  while (!world.domain || links() < 8)
    world.domain = random_network(random, Values::positive, {7, 500, 4, 3, 0.5});
  const std::vector<tv_node_t*> nodes = nodes_of(world.domain.get());
  normalize(nodes);
  give_experience(random, nodes);
  world.rows = random_rows(random, nodes, 640, 0.3);
  for (size_t r = 0; r < world.rows.size(); ++r) world.weights.push_back(0.3 * static_cast<double>(r % 4));
  return world;
}

// Two regressions on a hidden class, the values far from 0, and missing here and there; one is never known
// in some blocks.
World mixed_world() {
  Generator random(12);
  World world{new_domain(), {}, {}};
  tv_domain_t* const domain = world.domain.get();
  tv_node_t* const kind = add_node(domain, "kind", 2, {}, {0.4f, 0.6f});
  add_node(domain, "sign", 3, {kind}, {0.2f, 0.3f, 0.5f, 0.6f, 0.1f, 0.3f});
  std::vector<tv_node_t*> values;
  for (const char* name : {"x", "y"}) {
    values.push_back(tv_domain_new_node(domain, tv_category_chance, tv_kind_continuous));
    tv_node_set_name(values.back(), name);
    tv_node_add_parent(values.back(), kind);
  }
  tv_node_add_parent(values[1], values[0]);
  for (size_t c = 0; c < 2; ++c) {
    tv_node_set_intercept(values[0], c, 100.0 + static_cast<double>(c));
    tv_node_set_conditional_variance(values[0], c, 4.0);
    tv_node_set_intercept(values[1], c, c ? 47.0 : 147.0);
    tv_node_set_coefficient(values[1], values[0], c, c ? 0.5 : -0.5);
    tv_node_set_conditional_variance(values[1], c, 9.0);
  }
  const std::vector<tv_node_t*> nodes = nodes_of(domain);
  for (tv_node_t* node : nodes) {
    tv_table_t* const table = tv_node_get_experience_table(node);
    std::fill_n(tv_table_get_data(table), tv_table_get_size(table), is_discrete(node) ? 2.0f : 3.0f);
  }
  world.rows = random_rows(random, nodes, 70, 0.4);
  for (size_t r = 0; r < world.rows.size(); ++r)
    for (size_t v = 0; v < nodes.size(); ++v)
      if (!is_discrete(nodes[v]))
        world.rows[r][v] =
            random.chance(0.3) || (r < 40 && nodes[v] == values[1]) ? NAN : world.rows[r][v] + 95.0;
  world.weights.assign(world.rows.size(), 1.0);
  return world;
}

DomainOwner with_cases(const World& world, size_t begin, size_t end) {
  DomainOwner domain(tv_domain_clone(world.domain.get()));
  const auto part = [&](const auto& all) {
    return std::vector(all.begin() + static_cast<ptrdiff_t>(begin),
                       all.begin() + static_cast<ptrdiff_t>(end));
  };
  store(domain.get(), nodes_of(domain.get()), part(world.rows), part(world.weights));
  EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none) << tv_error_message();
  return domain;
}

// All that learning leaves behind.
std::vector<double> learned(tv_domain_t* domain, double log_likelihood) {
  std::vector<double> bits{log_likelihood};
  for (tv_node_t* node : nodes_of(domain)) {
    const Distribution found = distribution_of(node);
    for (const std::vector<double>* list :
         {&found.numbers, &found.intercepts, &found.variances, &found.experience})
      bits.insert(bits.end(), list->begin(), list->end());
    for (const std::vector<double>& list : found.coefficients)
      bits.insert(bits.end(), list.begin(), list.end());
  }
  return bits;
}

constexpr size_t kIterations = 3;

std::vector<double> learned_at_once(const World& world) {
  const DomainOwner domain = with_cases(world, 0, world.rows.size());
  tv_domain_set_max_number_of_em_iterations(domain.get(), kIterations);
  tv_domain_set_log_likelihood_tolerance(domain.get(), 0.0);
  EXPECT_EQ(tv_domain_learn_tables(domain.get()), tv_status_none) << tv_error_message();
  EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  return learned(domain.get(), tv_domain_get_log_likelihood(domain.get()));
}

// Domains that know a part of the cases each. The last begins with block `last`.
struct Parts {
  Parts(const World& world, const std::vector<size_t>& blocks) {
    const size_t size = tv_get_em_block_size(), count = world.rows.size();
    for (size_t i = 0; i < blocks.size(); ++i) {
      first.push_back(blocks[i] * size);
      const size_t end = i + 1 < blocks.size() ? blocks[i + 1] * size : count;
      domains.push_back(with_cases(world, std::min(first[i], count), std::min(end, count)));
    }
  }

  // The sum of all parts, added in this order after a journey as bytes.
  Statistics expect(const std::vector<size_t>& order) const {
    Statistics sum;
    for (const size_t i : order) {
      const Statistics own(tv_domain_new_em_statistics(domains[i].get(), first[i]));
      EXPECT_TRUE(own) << tv_error_message();
      Statistics arrived = parsed(domains[0].get(), bytes_of(own));
      EXPECT_TRUE(arrived) << tv_error_message();
      if (!sum)
        sum = std::move(arrived);
      else
        EXPECT_EQ(tv_em_statistics_add(sum.get(), arrived.get()), tv_status_none) << tv_error_message();
    }
    return sum;
  }

  std::vector<size_t> first;
  std::vector<DomainOwner> domains;
};

std::vector<double> learned_from_parts(const World& world, const std::vector<size_t>& blocks) {
  const Parts parts(world, blocks);
  const Statistics known(tv_domain_new_em_prior(parts.domains.back().get()));
  EXPECT_TRUE(known) << tv_error_message();
  std::vector<size_t> order(blocks.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = order.size() - 1 - i;
  for (size_t k = 1; k <= kIterations; ++k) {
    Statistics sum = parts.expect(order), other = parsed(parts.domains[0].get(), bytes_of(known));
    if (k % 2 == 0) sum.swap(other);  // what is known may come first
    EXPECT_EQ(tv_em_statistics_add(sum.get(), other.get()), tv_status_none) << tv_error_message();
    EXPECT_EQ(tv_em_statistics_get_number_of_cases(sum.get()), world.rows.size());
    for (const DomainOwner& domain : parts.domains) {
      EXPECT_EQ(tv_em_statistics_set_tables(sum.get(), domain.get()), tv_status_none) << tv_error_message();
      if (k < kIterations) continue;
      EXPECT_EQ(tv_em_statistics_set_experience(sum.get(), domain.get()), tv_status_none);
    }
    std::rotate(order.begin(), order.begin() + 1, order.end());
  }
  const std::vector<double> bits =
      learned(parts.domains[0].get(), tv_em_statistics_get_log_likelihood(parts.expect(order).get()));
  for (const DomainOwner& domain : parts.domains) EXPECT_EQ(learned(domain.get(), bits[0]), bits);
  return bits;
}

// Of problems that are shared, and of cases that are propagated; beyond the last case there is a part
// without any.
TEST(EmStatistics, PartsOfTheCasesGiveTheSameBits) {
  for (const auto& make : {discrete_world, mixed_world})
    for (const size_t joint_states : {4096, 1}) {
      const KeptLimits kept;
      tv::limits.block_cases = make == mixed_world ? 8 : 50;
      tv::limits.joint_states = joint_states;
      const World world = make();
      const std::vector<double> bits = learned_at_once(world);
      for (const std::vector<size_t>& blocks :
           std::vector<std::vector<size_t>>{{0}, {0, 3}, {0, 4, 7}, {0, 1, 2, 3, 5, 20}})
        ASSERT_EQ(learned_from_parts(world, blocks), bits) << joint_states << " " << blocks.size();
      // More bits than tables have.
      EXPECT_TRUE(bytes_of(Parts(world, {0, 4, 7}).expect({1, 0, 2})) ==
                  bytes_of(Parts(world, {0}).expect({0})));
    }
}

TEST(EmStatistics, TellWhatTheyHold) {
  const KeptLimits kept;
  tv::limits.block_cases = 8;
  const World world = discrete_world();
  const Parts parts(world, {0});
  const Statistics all = parts.expect({0});
  size_t incomplete = 0;
  double count = 0.0;
  for (size_t r = 0; r < world.rows.size(); ++r) {
    incomplete +=
        std::any_of(world.rows[r].begin(), world.rows[r].end(), [](double x) { return std::isnan(x); });
    count += static_cast<double>(static_cast<float>(world.weights[r]));
  }
  EXPECT_EQ(tv_em_statistics_get_number_of_incomplete_cases(all.get()), incomplete);
  EXPECT_NEAR(tv_em_statistics_get_case_count(all.get()), count, 1e-9);
  EXPECT_EQ(tv_em_statistics_get_log_likelihood(all.get()),
            tv_domain_get_log_likelihood(parts.domains[0].get()));
  EXPECT_EQ(tv_em_statistics_get_number_of_cases(nullptr), static_cast<size_t>(-1));
  EXPECT_EQ(tv_em_statistics_get_log_likelihood(nullptr), 1.0);
}

TEST(EmStatistics, NothingIsAddedTwiceOrFromElsewhere) {
  const KeptLimits kept;
  tv::limits.block_cases = 8;
  const World world = discrete_world();
  const Parts parts(world, {0, 5, 9});
  const Statistics sum = parts.expect({0, 2}), again = parts.expect({1, 2});
  const Statistics known(tv_domain_new_em_prior(parts.domains[0].get()));
  ASSERT_EQ(tv_em_statistics_add(sum.get(), known.get()), tv_status_none);
  const std::string before = bytes_of(sum);
  for (const Statistics* wrong : {&again, &known, &sum}) {
    EXPECT_EQ(tv_em_statistics_add(sum.get(), wrong->get()), tv_status_usage);
    EXPECT_EQ(bytes_of(sum), before);
  }
  EXPECT_EQ(tv_domain_new_em_statistics(parts.domains[1].get(), 12), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_domain_new_em_statistics(world.domain.get(), 8), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_not_compiled);
  tv_node_select_state(nodes_of(parts.domains[0].get())[0], 0);
  tv_domain_propagate(parts.domains[0].get(), tv_equilibrium_sum, tv_evidence_normal);
  EXPECT_EQ(tv_domain_new_em_prior(parts.domains[0].get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

// The same tables, as far as sizes go, of networks that differ in one thing.
TEST(EmStatistics, NetworksAreToldApart) {
  const auto make = [](int difference) {
    DomainOwner domain = new_domain();
    tv_node_t* const a = add_node(domain.get(), "a", 2);
    tv_node_t* const b = add_node(domain.get(), difference == 1 ? "another" : "b", 2);
    tv_node_t* const c = add_node(domain.get(), "c", difference == 2 ? 4 : 2, {difference == 3 ? b : a});
    tv_node_set_state_label(a, 0, difference == 4 ? "no" : "yes");
    tv_node_get_experience_table(c);
    if (difference == 5) tv_node_get_experience_table(b);
    tv_domain_new_case(domain.get());
    EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    return domain;
  };
  const DomainOwner domain = make(0), same = make(0);
  const Statistics sum(tv_domain_new_em_statistics(same.get(), 0));
  EXPECT_TRUE(parsed(domain.get(), bytes_of(sum)));
  for (int difference = 1; difference <= 5; ++difference) {
    const DomainOwner other = make(difference);
    const Statistics foreign(tv_domain_new_em_statistics(other.get(), tv_get_em_block_size()));
    EXPECT_EQ(tv_em_statistics_add(sum.get(), foreign.get()), tv_status_usage) << difference;
    EXPECT_EQ(tv_em_statistics_set_tables(sum.get(), other.get()), tv_status_usage) << difference;
    EXPECT_EQ(tv_em_statistics_set_experience(sum.get(), other.get()), tv_status_usage) << difference;
    EXPECT_FALSE(parsed(other.get(), bytes_of(sum))) << difference;
    EXPECT_EQ(tv_error_code(), tv_status_usage);
  }
}

// What was found out about the cases is not used for others.
TEST(EmStatistics, ChangedCasesAreSplitAnew) {
  const KeptLimits kept;
  tv::limits.block_cases = 8;
  const World world = mixed_world();
  const DomainOwner domain = with_cases(world, 0, world.rows.size());
  tv_node_t* const kind = tv_domain_get_node_by_name(domain.get(), "kind");
  tv_node_t* const x = tv_domain_get_node_by_name(domain.get(), "x");
  size_t first = 0;
  const std::vector<std::function<void()>> changes = {
      [] {},
      [&] { tv_node_set_case_state(kind, 3, 1); },
      [&] { tv_node_set_case_value(x, 5, 99.0); },
      [&] { tv_node_unset_case(x, 6); },
      [&] { tv_domain_set_case_count(domain.get(), 7, 2.5f); },
      [&] { tv_domain_set_number_of_cases(domain.get(), 50); },
      [&] { first = 16; },
      [&] { tv::limits.block_cases = 16; },
      [&] { tv_table_get_data(tv_node_get_table(kind))[0] = 0.3f; },
      [&] { std::fill_n(tv_table_get_data(tv_node_get_experience_table(kind)), 1, -1.0f); },
      [&] { tv_node_set_number_of_states(kind, 3), tv_domain_compile(domain.get()); }};
  for (size_t i = 0; i < changes.size(); ++i) {
    changes[i]();
    const DomainOwner fresh(tv_domain_clone(domain.get()));
    ASSERT_EQ(tv_domain_compile(fresh.get()), tv_status_none);
    const Statistics found(tv_domain_new_em_statistics(domain.get(), first));
    const Statistics expected(tv_domain_new_em_statistics(fresh.get(), first));
    ASSERT_TRUE(found && expected) << i << tv_error_message();
    EXPECT_TRUE(bytes_of(found) == bytes_of(expected)) << i;
  }
}

// What is not known beforehand counts for nothing: then the cases alone make tables and experience.
TEST(EmStatistics, WithoutPriorTheCasesAloneDecide) {
  const DomainOwner domain = new_domain();
  tv_node_t* const coin = add_node(domain.get(), "coin", 2, {}, {0.5f, 0.5f});
  tv_table_get_data(tv_node_get_experience_table(coin))[0] = 10.0f;
  for (size_t r = 0; r < 4; ++r) {
    tv_domain_new_case(domain.get());
    tv_node_set_case_state(coin, r, r == 0);
  }
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const Statistics statistics(tv_domain_new_em_statistics(domain.get(), 0));
  ASSERT_EQ(tv_em_statistics_set_tables(statistics.get(), domain.get()), tv_status_none);
  EXPECT_EQ(tv_table_get_data(tv_node_get_table(coin))[0], 0.75f);
  ASSERT_EQ(tv_em_statistics_set_experience(statistics.get(), domain.get()), tv_status_none);
  EXPECT_EQ(tv_table_get_data(tv_node_get_experience_table(coin))[0], 4.0f);
}

// Every bit of damage is noticed, and so are words that a sum over damaged ones would approve of.
TEST(EmStatistics, DamageIsNoticed) {
  const World world = discrete_world();
  const Parts parts(world, {0});
  tv_domain_t* const domain = parts.domains[0].get();
  const std::string sound = bytes_of(parts.expect({0}));
  ASSERT_EQ(sound.substr(0, 8), "TVEMSTAT");
  EXPECT_EQ(bytes_of(parsed(domain, sound)), sound);
  const auto expect_refusal = [&](const std::string& bytes, const std::string& what) {
    EXPECT_FALSE(parsed(domain, bytes)) << what;
    EXPECT_EQ(tv_error_code(), tv_status_parse) << what;
  };
  for (size_t i = 0; i < sound.size(); i += 3) {
    std::string damaged = sound;
    damaged[i] = static_cast<char>(damaged[i] ^ (1 << i % 8));
    expect_refusal(damaged, "byte " + std::to_string(i));
    expect_refusal(sound.substr(0, i), "length " + std::to_string(i));
  }
  expect_refusal(sound + std::string(8, '\0'), "more");
  const auto with_word = [&](size_t place, uint64_t word) {
    std::string bytes = sound;
    const auto put = [&](size_t at, uint64_t value) {
      for (size_t i = 0; i < 8; ++i) bytes[at + i] = static_cast<char>(value >> 8 * i);
    };
    put(8 * place, word);
    put(bytes.size() - 8,
        tv::sum_of_words(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size() - 8));
    return bytes;
  };
  const uint64_t nan = std::bit_cast<uint64_t>(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(with_word(1, 1), sound);
  for (const auto& [place, word] : std::vector<std::pair<size_t, uint64_t>>{
           {1, 2},                        // version
           {3, 9},                        // size of blocks
           {4, 2},                        // nodes
           {4, uint64_t{1} << 61},        // so many that their size is no number
           {5, 1},                        // a prior
           {5, 2},                        //
           {6, uint64_t{1} << 50},        // first block
           {7, 64},                       // level
           {8, 0},                        // cases
           {8, 65537},                    //
           {9, 641},                      // those that lack something
           {10, nan},                     // counts
           {11, nan},                     // log-likelihood
           {12, nan},                     // numbers
           {12, uint64_t{1} << 63 | 1}})  // negative
    expect_refusal(with_word(place, word), std::to_string(place));
}

}  // namespace
}  // namespace test

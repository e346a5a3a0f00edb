// Propagations by elimination plans, compared with those over the tables of the tree: another algorithm for
// the same answers. Everything that a host can see must be what it would be with tables.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>

#include "inference/elimination/elimination_schedule.h"
#include "inference/schedule/schedule_cache.h"
#include "support/builders.h"
#include "support/other_ways.h"

namespace test {
namespace {

class Planning {
 public:
  explicit Planning(bool always) {
    tv::limits.entries_for_elimination = always ? 0 : 1000000;
    tv::limits.finding_vectors = 0;
  }

 private:
  KeptLimits usual_;
};

// Wide enough for cliques of thousands of entries, in several parts, with nodes of one state.
DomainOwner wide_network(Generator& random, size_t count, Values values) {
  DomainOwner domain = new_domain();
  std::vector<tv_node_t*> nodes;
  for (size_t i = 0; i < count; ++i) {
    tv_node_t* node = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
    tv_node_set_number_of_states(node, random.chance(0.05) ? 1 : 2 + random.below(4));
    std::set<size_t> parents;
    const size_t targets = random.below(4);
    for (size_t p = 0; p < targets && i > 0; ++p)
      parents.insert(i - 1 - random.below(std::min<size_t>(i, 7)));
    for (const size_t parent : parents) tv_node_add_parent(node, nodes[parent]);
    nodes.push_back(node);
    set_random_table(random, node, values);
  }
  return domain;
}

void enter_some(Generator& random, tv_domain_t* a, tv_domain_t* b) {
  const std::vector<tv_node_t*> nodes = nodes_of(a), others = nodes_of(b);
  tv_domain_retract_findings(a);
  tv_domain_retract_findings(b);
  for (size_t i = 0; i < nodes.size(); ++i) {
    const size_t states = tv_node_get_number_of_states(nodes[i]);
    if (random.chance(0.25)) {
      const size_t state = random.below(states);
      tv_node_select_state(nodes[i], state);
      tv_node_select_state(others[i], state);
    } else if (states > 1 && random.chance(0.1)) {
      for (size_t s = 0; s < states; ++s) {
        const auto weight = static_cast<float>(random.uniform());
        tv_node_enter_finding(nodes[i], s, weight);
        tv_node_enter_finding(others[i], s, weight);
      }
    }
  }
}

std::vector<float> beliefs_of(tv_domain_t* domain) {
  std::vector<float> beliefs;
  for (tv_node_t* node : nodes_of(domain))
    for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s)
      beliefs.push_back(tv_node_get_belief(node, s));
  return beliefs;
}

void expect_near(const std::vector<float>& found, const std::vector<float>& expected) {
  ASSERT_EQ(found.size(), expected.size());
  for (size_t i = 0; i < found.size(); ++i) ASSERT_NEAR(found[i], expected[i], 1e-5) << i;
}

std::vector<float> normalized(tv_table_t* table) {
  const float* data = tv_table_get_data(table);
  std::vector<float> numbers(data, data + tv_table_get_size(table));
  double sum = 0.0;
  for (const float number : numbers) sum += static_cast<double>(number);
  for (float& number : numbers) number = static_cast<float>(static_cast<double>(number) / sum);
  return numbers;
}

void expect_same_state(tv_domain_t* a, tv_domain_t* b) {
  expect_near(beliefs_of(a), beliefs_of(b));
  EXPECT_NEAR(tv_domain_get_log_normalization_constant(a), tv_domain_get_log_normalization_constant(b), 1e-4);
  EXPECT_NEAR(std::log(tv_domain_get_conflict(a)), std::log(tv_domain_get_conflict(b)), 1e-4);
  EXPECT_EQ(tv_domain_equilibrium_is(a, tv_equilibrium_sum), 1);
  tv_clique_t* other = tv_domain_get_first_clique(b);
  for (tv_clique_t* clique = tv_domain_get_first_clique(a); clique; clique = tv_clique_get_next(clique)) {
    expect_near(normalized(tv_clique_get_probability_table(clique)),
                normalized(tv_clique_get_probability_table(other)));
    EXPECT_NEAR(tv_clique_get_conflict(clique) / tv_clique_get_conflict(other), 1.0, 1e-4);
    other = tv_clique_get_next(other);
  }
}

std::vector<float> pair_marginal(tv_domain_t* domain, size_t first, size_t second) {
  const std::vector<tv_node_t*> nodes = nodes_of(domain);
  tv_node_t* pair[] = {nodes[first], nodes[second], nullptr};
  const TableOwner table(tv_domain_get_marginal(domain, pair));
  return table ? normalized(table.get()) : std::vector<float>();
}

struct Setting {
  Values values;
  size_t nodes;
};

class EliminationAgainstTree : public testing::TestWithParam<Setting> {};

TEST_P(EliminationAgainstTree, AllThatAHostSeesIsTheSame) {
  size_t answered = 0;
  for (uint64_t seed = 0; seed < 25; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = wide_network(random, GetParam().nodes, GetParam().values);
    const DomainOwner other(tv_domain_clone(domain.get()));
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    ASSERT_EQ(tv_domain_compile(other.get()), tv_status_none);
    for (int round = 0; round < 6; ++round) {
      enter_some(random, domain.get(), other.get());
      tv_domain_reset_inference_engine(domain.get());
      tv_domain_reset_inference_engine(other.get());
      const auto propagate = [&](tv_domain_t* one, bool planned) {
        const Planning planning(planned);
        return tv_domain_propagate(one, tv_equilibrium_sum, tv_evidence_normal);
      };
      const tv_status_t status = propagate(other.get(), false);
      ASSERT_EQ(propagate(domain.get(), true), status);
      if (status) continue;
      ++answered;
      const std::vector<float> before = beliefs_of(domain.get());
      if (random.chance(0.5)) {
        const size_t first = random.below(GetParam().nodes), second = (first + 1) % GetParam().nodes;
        expect_near(pair_marginal(domain.get(), first, second), pair_marginal(other.get(), first, second));
      }
      if (random.chance(0.5)) expect_same_state(domain.get(), other.get());
      EXPECT_EQ(beliefs_of(domain.get()), before) << "asking for tables must not change an answer";
      const size_t node = random.below(GetParam().nodes);
      const size_t states = tv_node_get_number_of_states(nodes_of(domain.get())[node]);
      tv_node_select_state(nodes_of(domain.get())[node], states - 1);
      tv_node_select_state(nodes_of(other.get())[node], states - 1);
      const tv_status_t next = propagate(other.get(), false);
      ASSERT_EQ(propagate(domain.get(), true), next);
      if (!next) expect_same_state(domain.get(), other.get());
    }
  }
  EXPECT_GT(answered, 40u);
}

INSTANTIATE_TEST_SUITE_P(Networks, EliminationAgainstTree,
                         testing::Values(Setting{Values::positive, 12}, Setting{Values::positive, 30},
                                         Setting{Values::zeros, 12}, Setting{Values::extreme, 12}));

// Which nodes a host reads does not matter, nor that the same nodes were observed before.
TEST(Elimination, RepeatedPatternsGiveTheSameBits) {
  const Planning planning(true);
  Generator random(7);
  const DomainOwner domain = wide_network(random, 30, Values::positive);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  const auto ask = [&](size_t state) {
    tv_domain_retract_findings(domain.get());
    for (size_t i = 0; i < nodes.size(); i += 5)
      tv_node_select_state(nodes[i], state % tv_node_get_number_of_states(nodes[i]));
    EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    return beliefs_of(domain.get());
  };
  ask(1);  // from the equilibrium of the compiled domain
  const std::vector<float> first = ask(0), second = ask(1);
  EXPECT_NE(first, second);
  EXPECT_EQ(ask(0), first);
  EXPECT_EQ(ask(1), second);
  tv_domain_set_concurrency_level(domain.get(), 3);
  tv_domain_set_grain_size(domain.get(), 1);
  EXPECT_EQ(ask(0), first);
}

// A kept plan is of no use for a node that had no table.
TEST(Elimination, ANodeGetsATable) {
  const Planning planning(true);
  const DomainOwner domain = new_domain();
  tv_node_t* const cause = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
  ASSERT_EQ(tv_node_set_number_of_states(cause, 2), tv_status_none);
  tv_node_t* const effect = add_node(domain.get(), "effect", 2, {cause}, {0.5f, 0.5f, 0.2f, 0.8f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const auto belief = [&] {
    EXPECT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
    EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    return tv_node_get_belief(effect, 0);
  };
  EXPECT_NEAR(belief(), 0.35, 1e-6);
  EXPECT_NEAR(belief(), 0.35, 1e-6);
  set_table(cause, {1.0f, 0.0f});
  EXPECT_NEAR(belief(), 0.5, 1e-6);
}

// What is read after a potential has changed is still the equilibrium from before.
TEST(Elimination, TablesAreThoseOfThePotentialsThatWerePropagated) {
  const Planning planning(true);
  const DomainOwner domain = new_domain();
  tv_node_t* const cause = add_node(domain.get(), "cause", 2, {}, {0.25f, 0.75f});
  tv_node_t* const effect = add_node(domain.get(), "effect", 2, {cause}, {0.5f, 0.5f, 0.2f, 0.8f});
  add_node(domain.get(), "other", 2, {effect}, {0.5f, 0.5f, 0.2f, 0.8f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  float* const numbers = tv_table_get_data(tv_node_get_table(cause));
  set_table(cause, {1.0f, 0.0f});
  expect_near(pair_marginal(domain.get(), 0, 1), {0.125f, 0.125f, 0.15f, 0.6f});
  EXPECT_FLOAT_EQ(tv_table_get_data(tv_node_get_table(cause))[0], 1.0f) << "but the new numbers are there";
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  expect_near(pair_marginal(domain.get(), 0, 1), {0.5f, 0.5f, 0.0f, 0.0f});

  // Numbers that change without notice: rather no answer than one from other potentials.
  ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  numbers[0] = 0.0f;
  numbers[1] = 1.0f;
  ASSERT_EQ(tv_node_touch_table(cause), tv_status_none);
  tv_node_t* pair[] = {cause, effect, nullptr};
  EXPECT_EQ(tv_domain_get_marginal(domain.get(), pair), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_no_equilibrium);
  EXPECT_NEAR(tv_node_get_belief(effect, 0), 0.5, 1e-6);
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  expect_near(pair_marginal(domain.get(), 0, 1), {0.0f, 0.0f, 0.2f, 0.8f});
}

// Which schedules there are depends on the number of threads, which plans there are must not.
TEST(Elimination, EliminationSchedulesAreCachedBesideOthersInUse) {
  Generator random(11);
  const DomainOwner domain = wide_network(random, 20, Values::positive);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  const auto ask = [&](size_t observed, bool planned) {
    const Planning planning(planned);
    tv_domain_retract_findings(domain.get());
    tv_node_select_state(nodes[observed], 0);
    ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  };
  for (size_t i = 0; i < 30; ++i) ask(i % 10, false);
  ask(12, true);
  ask(12, true);
  const auto is_kept = [](const tv::JunctionTree& tree) {
    return tree.engine->schedules->find(*tree.engine, tv_equilibrium_sum).elimination != nullptr;
  };
  EXPECT_TRUE(is_kept(*tv::placement(*nodes[12]).tree));
}

// Sixty weak hints: their product is far below what single precision holds.
// 13 to 15 hints make products that single precision holds with a few digits only, 60 none at all.
TEST(Elimination, LeavesTinyProductsToTheTree) {
  const Planning planning(true);
  for (const int count : {5, 13, 14, 15, 60}) {
    SCOPED_TRACE(count);
    const DomainOwner domain = new_domain();
    tv_node_t* cause = add_node(domain.get(), "cause", 2, {}, {0.5f, 0.5f});
    std::vector<tv_node_t*> hints;
    for (int i = 0; i < count; ++i)
      hints.push_back(add_node(domain.get(), ("hint" + std::to_string(i)).c_str(), 2, {cause},
                               {0.999f, 0.001f, 0.9989f, 0.0011f}));
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    for (int round = 0; round < 3; ++round) {
      tv_domain_retract_findings(domain.get());
      ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
      for (tv_node_t* hint : hints) tv_node_select_state(hint, 1);
      ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
      const double odds = std::pow(1.1, count);
      EXPECT_NEAR(tv_node_get_belief(cause, 1), odds / (1 + odds), 1e-5);
      EXPECT_NEAR(tv_domain_get_log_normalization_constant(domain.get()),
                  count * std::log(0.001) + std::log((1 + odds) / 2), 1e-4);
    }
  }
}

// Hubs with hundreds of children, which are cut off from each other: one for each thread.
TEST(Elimination, VerticesOfHighDegreeBecomeSubtrees) {
  const Planning planning(true);
  Generator random(3);
  const DomainOwner domain = new_domain();
  tv_node_t* const root = add_node(domain.get(), "root", 2);
  for (size_t h = 0; h < 6; ++h) {
    tv_node_t* const hub = add_node(domain.get(), nullptr, 4, {root});
    set_random_table(random, hub, Values::positive);
    for (size_t i = 0; i < 400; ++i) {
      tv_node_t* const child = add_node(domain.get(), nullptr, 3, {hub});
      set_random_table(random, child, Values::positive);
      if (i < 20) enter_findings(child, {0.5f, 0.25f, 1.0f});
    }
  }
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_domain_set_grain_size(domain.get(), 1);
  std::vector<std::vector<float>> found;
  for (const size_t level : {1, 2, 3}) {
    tv_domain_set_concurrency_level(domain.get(), level);
    tv_node_select_state(root, 1);
    ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    found.push_back(beliefs_of(domain.get()));
  }
  EXPECT_EQ(found[1], found[0]);
  EXPECT_EQ(found[2], found[0]);
}

TEST(Elimination, ImpossibleEvidenceAndAStopLeaveTheEvidence) {
  const Planning planning(true);
  const DomainOwner domain = new_domain();
  tv_node_t* cause = add_node(domain.get(), "cause", 2, {}, {1.0f, 0.0f});
  tv_node_t* effect = add_node(domain.get(), "effect", 2, {cause}, {0.5f, 0.5f, 0.2f, 0.8f});
  add_node(domain.get(), "open", 2, {effect}, {0.5f, 0.5f, 0.2f, 0.8f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
  tv_node_select_state(cause, 1);
  EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal),
            tv_status_inconsistency_or_underflow);
  EXPECT_EQ(tv_domain_equilibrium_is(domain.get(), tv_equilibrium_none), 1);
  EXPECT_EQ(tv_node_get_selected_state(cause), 1);
  tv_node_select_state(cause, 0);
  tv_domain_set_progress_handler(
      domain.get(), [](const char*, double, void*) { return 1; }, nullptr);
  EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_error);
  EXPECT_EQ(tv_domain_equilibrium_is(domain.get(), tv_equilibrium_none), 1);
  tv_domain_set_progress_handler(domain.get(), nullptr, nullptr);
  EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  EXPECT_NEAR(tv_node_get_belief(effect, 1), 0.5, 1e-6);
}

// ---- The cliques of the open nodes ----

bool includes_all(const tv::EliminationTree& tree, uint32_t clique, const std::set<uint32_t>& ranks) {
  const tv::EliminationTree::Clique& record = tree.cliques[clique];
  return std::includes(tree.begin(record), tree.end(record), ranks.begin(), ranks.end());
}

void expect_junction_tree(const tv::ReducedGraph& graph, const tv::EliminationTree& tree) {
  ASSERT_EQ(tree.nodes.size(), graph.size());
  std::vector<int> eliminated(graph.size(), 0);
  for (uint32_t c = 0; c < tree.cliques.size(); ++c) {
    const tv::EliminationTree::Clique& clique = tree.cliques[c];
    ASSERT_TRUE(std::is_sorted(tree.begin(clique), tree.end(clique)));
    for (const uint32_t* rank = tree.begin(clique); rank != tree.separator(clique); ++rank) {
      ++eliminated[*rank];
      EXPECT_EQ(tree.home_of[*rank], c);
    }
    if (tree.separator(clique) == tree.end(clique)) {
      EXPECT_EQ(clique.parent, tv::EliminationTree::kNoClique);
      continue;
    }
    ASSERT_GT(clique.parent, c);
    ASSERT_LT(clique.parent, tree.cliques.size());
    EXPECT_TRUE(includes_all(tree, clique.parent, {tree.separator(clique), tree.end(clique)}));
  }
  EXPECT_TRUE(std::all_of(eliminated.begin(), eliminated.end(), [](int times) { return times == 1; }));
  std::vector<uint32_t> rank_of(graph.size());
  for (uint32_t rank = 0; rank < graph.size(); ++rank)
    rank_of[static_cast<size_t>(std::find(graph.nodes.begin(), graph.nodes.end(), tree.nodes[rank]) -
                                graph.nodes.begin())] = rank;
  for (uint32_t v = 0; v < graph.size(); ++v)
    for (uint32_t n = graph.starts[v]; n < graph.starts[v + 1]; ++n) {
      const uint32_t a = rank_of[v], b = rank_of[graph.neighbors[n]];
      EXPECT_TRUE(includes_all(tree, tree.home_of[std::min(a, b)], {a, b})) << "a link without a clique";
    }
}

TEST(EliminationTree, HoldsEveryLinkAndConnectsWhatItShares) {
  const Planning planning(true);
  for (uint64_t seed = 0; seed < 30; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = wide_network(random, 40, Values::positive);
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    tv_domain_reset_inference_engine(domain.get());
    for (tv_node_t* node : nodes_of(domain.get()))
      if (random.chance(0.2)) tv_node_select_state(node, 0);
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    for (const tv::JunctionTree& tree : domain->forest->trees) {
      const tv::ReducedGraph graph = tv::reduced_moral_graph(*tree.engine);
      const tv::EliminationTree least = tv::eliminate(graph, tv::least_fill_order(graph));
      const tv::EliminationTree compiled = tv::eliminate(graph, tv::compiled_order(graph));
      expect_junction_tree(graph, least);
      expect_junction_tree(graph, compiled);
      double entries = 0.0;  // of the compiled cliques, as far as they are open
      for (size_t c = 0; c < tree.clique_count(); ++c) {
        double size = 1.0;
        for (const tv::Node* node : tree.cliques[c]->members())
          if (tv::is_unobserved(*tree.engine, *node)) size *= static_cast<double>(node->number_of_states);
        entries += size;
      }
      EXPECT_LE(compiled.entries, entries) << "the compiled order fills in nothing new";
    }
  }
}

}  // namespace
}  // namespace test

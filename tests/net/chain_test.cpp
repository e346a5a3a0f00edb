// Chain potentials from the text to the beliefs, against the definition of a chain graph: each component
// given its parents is the normalised product of its potentials.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "inference/schedule/lazy_clique.h"
#include "net_world.h"
#include "support/builders.h"
#include "support/describe.h"
#include "support/log.h"

namespace net_test {
namespace {

using test::Generator;

struct Factor {
  std::vector<size_t> nodes;  // the last varies fastest
  std::vector<double> numbers;
  double at(const std::vector<size_t>& states, const std::vector<size_t>& counts) const {
    size_t index = 0;
    for (size_t node : nodes) index = index * counts[node] + states[node];
    return numbers[index];
  }
};

struct Component {
  std::vector<size_t> members;
  std::vector<size_t> parents;
  std::vector<Factor> factors;
};

// A chain graph with its text.
struct ChainGraph {
  std::vector<size_t> counts;
  std::vector<Component> components;
  std::string declarations, potentials;

  std::string text() const { return declarations + potentials; }
  template <class Visit>
  void each_configuration(Visit visit) const {
    std::vector<size_t> states(counts.size(), 0);
    for (;;) {
      visit(states);
      size_t d = counts.size();
      while (d > 0 && ++states[d - 1] == counts[d - 1]) states[--d] = 0;
      if (d == 0) return;
    }
  }
  double product(const Component& component, const std::vector<size_t>& states) const {
    double product = 1;
    for (const Factor& factor : component.factors) product *= factor.at(states, counts);
    return product;
  }
  double sum(const Component& component, std::vector<size_t> states) const {
    double total = 0;
    for (size_t member : component.members) states[member] = 0;
    for (;;) {
      total += product(component, states);
      size_t d = component.members.size();
      while (d > 0 && ++states[component.members[d - 1]] == counts[component.members[d - 1]])
        states[component.members[--d]] = 0;
      if (d == 0) return total;
    }
  }
  double joint(const std::vector<size_t>& states) const {
    double product_of_all = 1;
    for (const Component& component : components)
      product_of_all *= product(component, states) / sum(component, states);
    return product_of_all;
  }
};

std::string name_of(size_t node) { return "n" + std::to_string(node); }

void add_potential(Generator& random, ChainGraph& graph, Component& component,
                   const std::vector<size_t>& children, const std::vector<size_t>& parents, double scale) {
  Factor factor;
  factor.nodes = parents;
  factor.nodes.insert(factor.nodes.end(), children.begin(), children.end());
  size_t size = 1;
  for (size_t node : factor.nodes) size *= graph.counts[node];
  std::string text = "potential (";
  for (size_t child : children) text += " " + name_of(child);
  text += " |";
  for (size_t parent : parents) text += " " + name_of(parent);
  text += ") { data = (";
  for (size_t i = 0; i < size; ++i) {
    char number[40];
    std::snprintf(number, sizeof number, "%.9g", scale * (0.05 + random.uniform()));
    factor.numbers.push_back(static_cast<double>(std::strtof(number, nullptr)));
    text += std::string(" ") + number;
  }
  graph.potentials += text + "); }\n";
  component.factors.push_back(factor);
}

std::vector<size_t> some_of(Generator& random, const std::vector<size_t>& nodes, size_t limit) {
  std::vector<size_t> chosen;
  for (size_t node : nodes)
    if (chosen.size() < limit && random.chance(0.5)) chosen.push_back(node);
  return chosen;
}

ChainGraph random_chain_graph(Generator& random, double scale = 1) {
  ChainGraph graph;
  std::vector<size_t> earlier;
  while (earlier.size() < 7) {
    Component component;
    const size_t size = 1 + random.below(4);
    for (size_t i = 0; i < size; ++i) {
      component.members.push_back(graph.counts.size());
      graph.counts.push_back(1 + random.below(3));
      graph.declarations += "node " + name_of(graph.counts.size() - 1) + " { states = (";
      for (size_t s = 0; s < graph.counts.back(); ++s) graph.declarations += " \"\"";
      graph.declarations += "); }\n";
    }
    if (size == 1) {
      add_potential(random, graph, component, component.members, some_of(random, earlier, 2), 1);
    } else {
      std::vector<std::vector<size_t>> parents_of(size);
      for (size_t i = 1; i < size; ++i) {  // a tree of pairs, now and then with a third node
        const size_t other = random.below(i);
        std::vector<size_t> children = {component.members[other], component.members[i]};
        const std::vector<size_t> parents = some_of(random, earlier, 2);
        for (size_t member : {other, i})
          for (size_t parent : parents)
            if (std::find(parents_of[member].begin(), parents_of[member].end(), parent) ==
                parents_of[member].end())
              parents_of[member].push_back(parent);
        add_potential(random, graph, component, children, parents, scale);
      }
      for (size_t i = 0; i < size; ++i)
        if (random.chance(0.3))
          add_potential(random, graph, component, {component.members[i]}, parents_of[i], 1);
    }
    for (size_t member : component.members) earlier.push_back(member);
    graph.components.push_back(component);
  }
  return graph;
}

void expect_answers(const ChainGraph& graph, const Parsed& parsed, Generator& random) {
  std::vector<std::vector<double>> likelihood;
  std::vector<tv_node_t*> nodes;
  for (size_t i = 0; i < graph.counts.size(); ++i) {
    nodes.push_back(node(parsed, name_of(i).c_str()));
    likelihood.emplace_back(graph.counts[i], 1.0);
    tv_node_retract_findings(nodes[i]);
    if (!random.chance(0.3)) continue;
    const size_t state = random.below(graph.counts[i]);
    for (size_t s = 0; s < graph.counts[i]; ++s) likelihood[i][s] = s == state;
    tv_node_select_state(nodes[i], state);
  }
  ASSERT_EQ(tv_status_none, tv_domain_propagate(parsed.domain.get(), tv_equilibrium_sum, tv_evidence_normal));
  double mass = 0;
  std::vector<std::vector<double>> beliefs;
  for (size_t count : graph.counts) beliefs.emplace_back(count, 0.0);
  graph.each_configuration([&](const std::vector<size_t>& states) {
    double weight = graph.joint(states);
    for (size_t i = 0; i < states.size(); ++i) weight *= likelihood[i][states[i]];
    mass += weight;
    for (size_t i = 0; i < states.size(); ++i) beliefs[i][states[i]] += weight;
  });
  EXPECT_NEAR(std::log(mass), tv_domain_get_log_normalization_constant(parsed.domain.get()), 1e-4);
  for (size_t i = 0; i < nodes.size(); ++i)
    for (size_t s = 0; s < graph.counts[i]; ++s)
      EXPECT_NEAR(beliefs[i][s] / mass, tv_node_get_belief(nodes[i], s), 1e-5) << name_of(i);
}

std::string net_text(tv_domain_t* domain) {
  char* text = tv_domain_to_net_string(domain);
  const std::string result = text;
  free(text);
  return result;
}

TEST(ChainPotentials, GiveTheBeliefsOfTheChainGraph) {
  Generator random(71);
  const size_t usual = tv::limits.lazy_clique;
  for (int i = 0; i < 60; ++i) {
    tv::limits.lazy_clique = i % 2 ? usual : 1;                       // with and without tables
    const double scale = i % 3 == 0 ? 1e-30 : i % 3 == 1 ? 1 : 1e25;  // neither matters
    const ChainGraph graph = random_chain_graph(random, scale);
    const Parsed parsed = parse(graph.text());
    ASSERT_EQ(tv_status_none, parsed.status) << graph.text() << testing::PrintToString(parsed.messages);
    const std::string text = net_text(parsed.domain.get());
    ASSERT_EQ(text, net_text(parse(text).domain.get()));
    ASSERT_EQ(tv_status_none, tv_domain_compile(parsed.domain.get())) << graph.text();
    for (int j = 0; j < 3; ++j) expect_answers(graph, parsed, random);
    if (HasFailure()) FAIL() << graph.text();
  }
  tv::limits.lazy_clique = usual;
}

// What a host may do before it asks for the probability of evidence.
void disturb(Generator& random, tv_domain_t* domain, bool has_continuous) {
  const auto propagate = [&](tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) {
    if (has_continuous) return;
    EXPECT_EQ(tv_status_none, tv_domain_propagate(domain, equilibrium, mode));
  };
  switch (random.below(8)) {
    case 0:
      return propagate(tv_equilibrium_sum, tv_evidence_fast_retraction);
    case 1:
      return propagate(tv_equilibrium_max, tv_evidence_normal);
    case 2:
      return propagate(tv_equilibrium_max, tv_evidence_fast_retraction);
    case 3:
      EXPECT_EQ(tv_status_none, tv_domain_reset_inference_engine(domain));
      return;
    case 4:
      EXPECT_EQ(tv_status_none, tv_domain_initialize(domain));
      return;
    case 5:
      EXPECT_EQ(tv_status_none, tv_domain_initialize(domain));
      EXPECT_EQ(tv_status_none, tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal));
      [[fallthrough]];
    case 6:
      EXPECT_EQ(tv_status_none, tv_domain_save_to_memory(domain));
      return;
    default:
      EXPECT_EQ(tv_status_none, tv_domain_reclaim_memory_tables(domain));
  }
}

// The powers of two that are kept apart from the numbers are counted once, whatever came before; also where
// resets bring the tables to an equilibrium at once.
TEST(ChainPotentials, GiveTheProbabilityOfEvidenceHoweverItIsReached) {
  Generator random(72);
  for (int i = 0; i < 60; ++i) {
    const bool has_continuous = i % 3 == 0;
    const ChainGraph graph = random_chain_graph(random, i % 2 ? 1 : 64);
    std::string text = graph.text();
    if (has_continuous) {
      text += "continuous node X { } potential (X | n0) { data = (";
      for (size_t s = 0; s < graph.counts[0]; ++s) text += " normal(" + std::to_string(s) + ", 1)";
      text += "); }";
    }
    const Parsed parsed = parse(text);
    ASSERT_EQ(tv_status_none, parsed.status) << text << testing::PrintToString(parsed.messages);
    ASSERT_EQ(tv_status_none, tv_domain_compile(parsed.domain.get())) << text;
    for (int j = 0; j < 12; ++j) {
      expect_answers(graph, parsed, random);
      disturb(random, parsed.domain.get(), has_continuous);
    }
    if (HasFailure()) FAIL() << text;
  }
}

TEST(ChainPotentials, MakeNoConflictOfOneFinding) {
  const Parsed parsed = parse(
      "node A { states = (\"0\" \"1\"); } node B { states = (\"0\" \"1\"); } continuous node X { }\n"
      "potential (A B) { data = (1 2 3 4); } potential (X | A) { data = (normal(0, 1) normal(1, 1)); }");
  ASSERT_EQ(tv_status_none, tv_domain_compile(parsed.domain.get()));
  tv_node_select_state(node(parsed, "A"), 1);
  ASSERT_EQ(tv_status_none, tv_domain_propagate(parsed.domain.get(), tv_equilibrium_sum, tv_evidence_normal));
  EXPECT_NEAR(0.7, tv_domain_get_normalization_constant(parsed.domain.get()), 1e-6);
  EXPECT_NEAR(1, tv_domain_get_conflict(parsed.domain.get()), 1e-6);
}

const char kPair[] =
    "node P { states = (\"0\" \"1\"); } node A { states = (\"0\" \"1\"); } node B { states = (\"0\" \"1\"); "
    "}\n"
    "node C { states = (\"0\" \"1\"); }\n"
    "potential (P) { data = (0.25 0.75); } potential (C | A) { data = ((0.1 0.9)(0.4 0.6)); }\n";

// Data of a chain potential are not those of its first node, whose own model still gives its table.
TEST(ChainPotentials, LeaveTheModelsOfTheirNodesAlone) {
  const Parsed parsed = parse(std::string(kPair) +
                              "potential (A) { model_nodes = (); model_data = (Distribution (1, 3)); }\n"
                              "potential (A B) { data = (1 1 1 1); }");
  ASSERT_NE(nullptr, parsed.domain) << testing::PrintToString(parsed.messages);
  ASSERT_EQ(tv_status_none, tv_domain_compile(parsed.domain.get()));
  EXPECT_NEAR(0.25, tv_node_get_belief(node(parsed, "A"), 0), 1e-6);
}

TEST(ChainPotentials, RefuseParentsThatLeaveNothingPossible) {
  const Parsed parsed =
      parse(std::string(kPair) + "potential (A B | P) { data = (((0 0)(0 0))((1 2)(3 4))); }");
  ASSERT_NE(nullptr, parsed.domain);
  EXPECT_EQ(tv_status_chain_graph, tv_domain_compile(parsed.domain.get()));
  const Parsed negative =
      parse(std::string(kPair) + "potential (A B | P) { data = (((1 1)(1 -1))((1 2)(3 4))); }");
  ASSERT_NE(nullptr, negative.domain);
  EXPECT_EQ(tv_status_invalid_probability_potential, tv_domain_compile(negative.domain.get()));
}

TEST(ChainPotentials, AreTracedWithTheirComponent) {
  const Parsed parsed = parse(std::string(kPair) + "potential (A B | P) { data = (1 2 3 4 5 6 7 8); }");
  const std::string trace = test::log_of(
      parsed.domain.get(), [&] { EXPECT_EQ(tv_status_none, tv_domain_compile(parsed.domain.get())); });
  EXPECT_NE(trace.npos, trace.find("    Chain graph component (A, B:\n\tParents assigned to clique 1\n"))
      << trace;
  EXPECT_EQ(trace.npos, trace.find("has no table")) << trace;
}

TEST(ChainPotentials, KeepTheirNodesTogether) {
  const Parsed parsed = parse(std::string(kPair) + "potential (A B | P) { data = (1 2 3 4 5 6 7 8); }");
  tv_node_t *a = node(parsed, "A"), *b = node(parsed, "B"), *c = node(parsed, "C"), *p = node(parsed, "P");
  EXPECT_EQ("P", names(tv_node_get_parents(b)));
  EXPECT_EQ(tv_status_usage, tv_node_remove_parent(a, p));
  EXPECT_EQ(tv_status_usage, tv_node_reverse_edge(a, p));
  EXPECT_EQ(tv_status_usage, tv_node_set_category(a, tv_category_decision));
  EXPECT_EQ(tv_status_cyclic_network, tv_node_add_parent(a, b));
  EXPECT_EQ(tv_status_cyclic_network, tv_node_add_parent(b, c)) << "C is a child of A";
  EXPECT_EQ(tv_status_cyclic_network, tv_node_add_parent(p, b));

  // Everything that changes states or nodes keeps the answers in step.
  const auto belief = [](tv_node_t* of, size_t state) {
    tv_domain_t* domain = tv_node_get_domain(of);
    if (!tv_domain_is_compiled(domain)) {
      EXPECT_EQ(tv_status_none, tv_domain_compile(domain));
    }
    return tv_node_get_belief(of, state);
  };
  const double expected = 0.25 * 6 / 10 + 0.75 * 14 / 26;  // of the second state of B
  EXPECT_NEAR(expected, belief(b, 1), 1e-6);
  const test::DomainOwner copy(tv_domain_clone(parsed.domain.get()));
  EXPECT_NEAR(expected, belief(tv_domain_get_node_by_name(copy.get(), "B"), 1), 1e-6);
  const size_t swapped[] = {1, 0};
  tv_node_reorder_states(b, swapped);
  EXPECT_NEAR(expected, belief(b, 0), 1e-6);
  ASSERT_EQ(tv_status_none, tv_node_set_number_of_states(a, 3));
  EXPECT_NEAR(0.25 * 7 / 12 + 0.75 * 15 / 28, belief(b, 0), 1e-6) << "one for every new entry";
  ASSERT_EQ(tv_status_none, tv_node_set_number_of_states(a, 2));
  ASSERT_EQ(tv_status_none, tv_node_delete(p));
  EXPECT_NEAR((4 + 6) / 18.0, belief(b, 0), 1e-6) << "averaged over the states of P";
  ASSERT_EQ(tv_status_none, tv_node_delete(a));
  EXPECT_NEAR(0.5, belief(b, 0), 1e-6) << "a group of one is none";
  EXPECT_EQ(tv_status_none, tv_node_set_category(b, tv_category_decision));
}

}  // namespace
}  // namespace net_test

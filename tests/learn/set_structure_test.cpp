// Links for a domain from a structure, against links that are removed and added one by one.
#include <gtest/gtest.h>

#include <optional>

#include "learn/graph_world.h"
#include "support/cg_builders.h"
#include "support/describe.h"

namespace test {
namespace {

struct DeleteStructure {
  void operator()(tv_structure_t* structure) const { tv_structure_delete(structure); }
};
using StructureOwner = std::unique_ptr<tv_structure_t, DeleteStructure>;

StructureOwner structure_of(tv_domain_t* domain) { return StructureOwner(tv_domain_get_structure(domain)); }

// The structure of the domain with some links taken out, others put in, all along one random order.
StructureOwner changed_structure(Generator& random, tv_domain_t* domain, double change) {
  StructureOwner structure = structure_of(domain);
  PartialGraph& graph = structure->graph;
  const PartialGraph directions = random_dag(random, graph.size(), 1.0);
  for (size_t a = 0; a < graph.size(); ++a)
    for (size_t b = 0; b < graph.size(); ++b) {
      if (!directions.is_directed(a, b)) continue;
      if (!random.chance(change)) continue;
      const auto kind_of = [&](size_t v) {
        return tv_node_get_kind(tv_domain_get_node_by_name(domain, structure->nodes[v].name.c_str()));
      };
      if (random.chance(0.6))
        graph.separate(a, b);
      else if (kind_of(a) == tv_kind_discrete || kind_of(b) == tv_kind_continuous || random.chance(0.02))
        graph.direct(a, b);
    }
  return structure;
}

// Chance nodes of both kinds with tables, some with counts or a model, and function nodes; or with decisions
// and utilities in the place of continuous nodes.
DomainOwner random_domain(Generator& random) {
  DomainOwner domain = new_domain();
  tv_domain_t* const d = domain.get();
  const bool decides = random.chance(0.3);
  const size_t count = 4 + random.below(10);
  std::vector<tv_node_t*> nodes;
  for (size_t i = 0; i < count; ++i) {
    const double draw = random.uniform();
    const bool is_special = draw < 0.2, is_continuous = !decides && draw > 0.7;
    tv_node_t* node = is_special && decides && random.chance(0.6)
                          ? tv_domain_new_node(d, tv_category_decision, tv_kind_discrete)
                      : is_special
                          ? tv_domain_new_node(d, tv_category_function,
                                               random.chance(0.5) ? tv_kind_discrete : tv_kind_other)
                          : tv_domain_new_node(d, tv_category_chance,
                                               is_continuous ? tv_kind_continuous : tv_kind_discrete);
    if (!node) continue;
    tv_node_set_name(node,
                     (std::string(1, static_cast<char>('a' + random.below(26))) + std::to_string(i)).c_str());
    if (tv_node_get_kind(node) == tv_kind_discrete) tv_node_set_number_of_states(node, 2 + random.below(2));
    nodes.push_back(node);
  }
  for (tv_node_t* child : nodes)
    for (tv_node_t* parent : nodes) {
      const bool is_regression_on_function =
          tv_node_get_kind(child) == tv_kind_continuous && tv_node_get_kind(parent) == tv_kind_other;
      if (parent != child && !is_regression_on_function && random.chance(0.25))
        tv_node_add_parent(child, parent);
    }
  for (tv_node_t* node : nodes) {
    if (tv_node_get_category(node) != tv_category_chance) continue;
    if (tv_node_get_kind(node) == tv_kind_continuous)
      set_random_regressions(random, node);
    else if (random.chance(0.7))
      set_random_table(random, node, Values::positive);
    else if (random.chance(0.5))
      tv_node_get_table(node);
    if (random.chance(0.4)) {
      tv_table_t* counts = tv_node_get_experience_table(node);
      std::fill_n(tv_table_get_data(counts), tv_table_get_size(counts), 3.5f);
    }
    if (tv_node_get_kind(node) != tv_kind_discrete) continue;
    if (random.chance(0.3)) {
      tv_table_t* fading = tv_node_get_fading_table(node);
      std::fill_n(tv_table_get_data(fading), tv_table_get_size(fading), 0.5f);
    }
    tv_node_t* const none = nullptr;
    if (random.chance(0.3)) tv_node_new_model(node, const_cast<tv_node_t**>(&none));
  }
  return domain;
}

void restart(tv_node_t* node) {
  tv_model_delete(tv_node_get_model(node));
  tv_table_t* const table = tv_node_get_table(node);
  if (tv_node_get_kind(node) == tv_kind_discrete) {
    std::fill_n(tv_table_get_data(table), tv_table_get_size(table),
                static_cast<float>(1.0 / static_cast<double>(tv_node_get_number_of_states(node))));
  } else {
    for (size_t i = 0; i < tv_table_get_size(table); ++i) {
      tv_node_set_intercept(node, i, 0);
      tv_node_set_conditional_variance(node, i, 1);
      for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent)
        if (tv_node_get_kind(*parent) == tv_kind_continuous) tv_node_set_coefficient(node, *parent, i, 0);
    }
  }
  tv_table_t* const counts =
      tv_node_has_experience_table(node) ? tv_node_get_experience_table(node) : nullptr;
  if (counts) std::fill_n(tv_table_get_data(counts), tv_table_get_size(counts), 0.0f);
  tv_table_t* const fading = tv_node_has_fading_table(node) ? tv_node_get_fading_table(node) : nullptr;
  if (fading) std::fill_n(tv_table_get_data(fading), tv_table_get_size(fading), 1.0f);
}

// Whether all links could be set.
bool set_link_by_link(tv_domain_t* domain, const tv_structure_t& structure) {
  std::vector<tv_node_t*> nodes;
  for (const tv::StructureNode& node : structure.nodes)
    nodes.push_back(tv_domain_get_node_by_name(domain, node.name.c_str()));
  const PartialGraph old = structure_of(domain)->graph;
  std::vector<size_t> changed;
  for (size_t v = 0; v < nodes.size(); ++v)
    if (old.parents(v) != structure.graph.parents(v)) changed.push_back(v);
  for (const size_t v : changed)
    for (const size_t parent : old.parents(v))
      EXPECT_EQ(tv_node_remove_parent(nodes[v], nodes[parent]), tv_status_none);
  for (const size_t v : changed)
    for (const size_t parent : structure.graph.parents(v))
      if (tv_node_add_parent(nodes[v], nodes[parent])) return false;
  for (const size_t v : changed) restart(nodes[v]);
  return true;
}

std::vector<const void*> tables_of(tv_domain_t* domain) {
  std::vector<const void*> tables;
  for (tv_node_t* node : nodes_of(domain)) {
    tables.push_back(tv_node_get_table(node));
    tables.push_back(tv_node_has_experience_table(node) ? tv_node_get_experience_table(node) : nullptr);
    tables.push_back(tv_node_has_fading_table(node) ? tv_node_get_fading_table(node) : nullptr);
  }
  return tables;
}

TEST(SetStructure, DoesAtOnceWhatRemovedAndAddedLinksDo) {
  Generator random(21);
  size_t done = 0, cyclic = 0, functional = 0, wrong_kinds = 0;
  for (int walk = 0; walk < 400; ++walk) {
    SCOPED_TRACE(walk);
    const DomainOwner domain = random_domain(random);
    for (int step = 0; step < 6 && !testing::Test::HasFailure(); ++step) {
      const StructureOwner structure = changed_structure(random, domain.get(), 0.1 + 0.4 * random.uniform());
      ASSERT_TRUE(structure);
      if (has_cycle(structure->graph)) continue;
      const DomainOwner reference(tv_domain_clone(domain.get()));
      const std::string before = describe(domain.get());
      const std::vector<const void*> tables = tables_of(domain.get());
      const tv_status_t status = tv_domain_set_structure(domain.get(), structure.get());
      done += status == tv_status_none;
      cyclic += status == tv_status_cyclic_network;
      functional += status == tv_status_cyclic_functional_dependency;
      wrong_kinds += status == tv_status_usage;
      if (!set_link_by_link(reference.get(), *structure)) {
        EXPECT_NE(status, tv_status_none);
        EXPECT_EQ(describe(domain.get()), before);
        continue;
      }
      ASSERT_EQ(status, tv_status_none) << tv_error_message();
      EXPECT_EQ(describe(domain.get()), describe(reference.get()));
      EXPECT_EQ(tables_of(domain.get()), tables);
      // Cycle checks rest on what earlier links have left.
      const std::vector<tv_node_t*> nodes = nodes_of(domain.get()), twins = nodes_of(reference.get());
      for (int i = 0; i < 4; ++i) {
        const size_t child = random.below(nodes.size()), parent = random.below(nodes.size());
        EXPECT_EQ(tv_node_add_parent(nodes[child], nodes[parent]),
                  tv_node_add_parent(twins[child], twins[parent]));
      }
    }
  }
  EXPECT_GT(done, 1000u);
  for (const size_t refused : {cyclic, functional, wrong_kinds}) EXPECT_GT(refused, 10u);
}

TEST(SetStructure, HiddenNodesComeLastAndTheDomainIsCompiledOnlyWhileNothingChanges) {
  const DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2);
  tv_node_t* b = add_node(domain.get(), "b", 2, {a}, {0.2f, 0.8f, 0.3f, 0.7f});
  tv_domain_compile(domain.get());
  StructureOwner structure = structure_of(domain.get());
  ASSERT_EQ(tv_domain_set_structure(domain.get(), structure.get()), tv_status_none);
  EXPECT_EQ(tv_domain_is_compiled(domain.get()), 1);

  structure->nodes = {{"H1", 3}, {"H2", 2}, {"a", 0}, {"b", 0}};
  structure->graph = PartialGraph(4);
  structure->graph.direct(1, 0);
  structure->graph.join(0, 2);
  structure->graph.join(0, 3);
  ASSERT_EQ(tv_domain_set_structure(domain.get(), structure.get()), tv_status_none) << tv_error_message();
  EXPECT_EQ(tv_domain_is_compiled(domain.get()), 0);
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  ASSERT_EQ(nodes.size(), 4u);
  EXPECT_STREQ(tv_node_get_name(nodes[2]), "H1");
  EXPECT_EQ(tv_node_get_number_of_states(nodes[2]), 3u);
  EXPECT_EQ(tv_node_get_parents(nodes[2])[0], nodes[3]);
  EXPECT_EQ(tv_node_get_parents(b)[0], nodes[2]);
  EXPECT_EQ(tv_table_get_data(tv_node_get_table(b))[0], 0.5f);
  EXPECT_EQ(tv_node_add_parent(nodes[3], a), tv_status_cyclic_network);
  EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_get_node_by_name(domain.get(), "H2"), nodes[3]);
  EXPECT_EQ(tv_domain_set_structure(domain.get(), structure.get()), tv_status_twice);
  EXPECT_EQ(tv_domain_is_compiled(domain.get()), 1);
}

// Numbers come back when something needs them: arc reversal and propagation here.
TEST(SetStructure, TablesThatStartAnewServeAsBefore) {
  const DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2, {}, {0.9f, 0.1f});
  tv_node_t* b = add_node(domain.get(), "b", 2, {a}, {0.2f, 0.8f, 0.3f, 0.7f});
  tv_node_t* x = add_continuous(domain.get(), "x", 3, 4, {}, {a});
  tv_node_t* y = add_continuous(domain.get(), "y", 1, 2, {{x, 0.5}});
  const StructureOwner structure = structure_of(domain.get());
  structure->graph = PartialGraph(4);
  structure->graph.direct(1, 0);
  structure->graph.direct(3, 2);
  ASSERT_EQ(tv_domain_set_structure(domain.get(), structure.get()), tv_status_none) << tv_error_message();
  EXPECT_EQ(tv_node_reverse_edge(a, b), tv_status_none);
  EXPECT_EQ(tv_node_get_parents(b)[0], a);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  EXPECT_EQ(tv_node_get_belief(a, 0), 0.5f);
  EXPECT_EQ(tv_node_get_belief(b, 0), 0.5f);
  for (tv_node_t* node : {x, y}) {
    EXPECT_EQ(tv_node_get_mean(node), 0.0);
    EXPECT_EQ(tv_node_get_variance(node), 1.0);
  }
}

TEST(SetStructure, TellsWhyNot) {
  const DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2);
  tv_node_t* b = add_node(domain.get(), "b", 2);
  tv_node_t* x = add_node(domain.get(), "x", 2, {a});
  const auto refused = [&](tv_status_t code, const std::vector<tv::StructureNode>& nodes,
                           const PartialGraph& graph) -> std::string {
    const std::string before = describe(domain.get());
    tv::Structure structure;
    structure.nodes = nodes;
    structure.graph = graph;
    EXPECT_EQ(tv_domain_set_structure(domain.get(), &structure), code);
    const std::string message = tv_error_message();
    EXPECT_EQ(describe(domain.get()), before);
    return message;
  };
  EXPECT_EQ(refused(tv_status_usage, {{"a", 0}, {"c", 0}}, PartialGraph(2)),
            "the domain has no chance node \"c\"");
  EXPECT_EQ(refused(tv_status_twice, {{"H1", 2}, {"a", 2}}, PartialGraph(2)), "there is another node \"a\"");
  PartialGraph reversed(2);
  reversed.direct(1, 0);
  tv_node_set_category(x, tv_category_decision);
  EXPECT_EQ(refused(tv_status_usage, {{"a", 0}, {"x", 0}}, reversed), "the domain has no chance node \"x\"");
  tv_node_add_parent(b, x);
  EXPECT_EQ(refused(tv_status_cyclic_network, {{"a", 0}, {"b", 0}}, reversed),
            "with the other links of the domain those of the structure would close a cycle through \"a\"");
  PartialGraph cycle(3);
  for (size_t v = 0; v < 3; ++v) cycle.direct(v, (v + 1) % 3);
  refused(tv_status_usage, {{"H1", 2}, {"a", 0}, {"b", 0}}, cycle);
}

}  // namespace
}  // namespace test

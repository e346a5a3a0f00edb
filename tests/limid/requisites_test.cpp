// Requisite parents against a direct form of the reduction, in which separation is read off the moral graph
// of the ancestors; and what removing the others does to the best utility.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "limid/limid_world.h"

namespace test {
namespace {

using Set = std::set<const tv_node_t*>;
using Parents = std::map<const tv_node_t*, Set>;

Parents parents_of(tv_domain_t* domain) {
  Parents parents;
  for (tv_node_t* node : nodes_of(domain)) {
    parents[node];
    for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent) parents[node].insert(*parent);
  }
  return parents;
}

Set with_ancestors(const Parents& graph, Set nodes) {
  std::vector<const tv_node_t*> open(nodes.begin(), nodes.end());
  while (!open.empty()) {
    const tv_node_t* node = open.back();
    open.pop_back();
    for (const tv_node_t* parent : graph.at(node))
      if (nodes.insert(parent).second) open.push_back(parent);
  }
  return nodes;
}

Set united(const Set& a, const Set& b) {
  Set result = a;
  result.insert(b.begin(), b.end());
  return result;
}

// Separation in the moral graph of the smallest ancestral set (Lauritzen et al. 1990).
bool separated(const Parents& graph, const Set& a, const Set& b, const Set& given) {
  std::map<const tv_node_t*, Set> moral;
  const auto join = [&](const tv_node_t* x, const tv_node_t* y) {
    if (x == y) return;
    moral[x].insert(y);
    moral[y].insert(x);
  };
  for (const tv_node_t* node : with_ancestors(graph, united(united(a, b), given)))
    for (const tv_node_t* parent : graph.at(node)) {
      join(node, parent);
      for (const tv_node_t* other : graph.at(node)) join(parent, other);
    }
  Set reached;
  std::vector<const tv_node_t*> open;
  for (const tv_node_t* node : a)
    if (!given.count(node) && reached.insert(node).second) open.push_back(node);
  while (!open.empty()) {
    const tv_node_t* node = open.back();
    open.pop_back();
    if (b.count(node)) return false;
    for (const tv_node_t* next : moral[node])
      if (!given.count(next) && reached.insert(next).second) open.push_back(next);
  }
  return true;
}

Set utilities_below(const Parents& graph, const tv_node_t* decision) {
  Set below;
  for (const auto& [node, parents] : graph)
    if (has_category(node, tv_category_utility) && with_ancestors(graph, {node}).count(decision))
      below.insert(node);
  return below;
}

Set family(const Parents& graph, const tv_node_t* node) { return united(graph.at(node), {node}); }

Set less(Set a, const Set& b) {
  for (const tv_node_t* node : b) a.erase(node);
  return a;
}

bool remove_nonrequisite(Parents& graph, const tv_node_t* decision) {
  bool removed = false;
  for (const tv_node_t* parent : Set(graph.at(decision))) {
    const Set utilities = utilities_below(graph, decision);
    if (!utilities.empty() && !separated(graph, utilities, {parent}, less(family(graph, decision), {parent})))
      continue;
    graph[decision].erase(parent);
    removed = true;
  }
  return removed;
}

Parents reduced(Parents graph) {
  std::vector<const tv_node_t*> remaining;
  for (const auto& [node, parents] : graph)
    if (has_category(node, tv_category_decision)) remaining.push_back(node);
  const auto is_extremal = [&](const tv_node_t* decision) {
    Set others;
    for (const tv_node_t* other : remaining)
      if (other != decision) others = united(others, family(graph, other));
    return separated(graph, utilities_below(graph, decision), less(others, family(graph, decision)),
                     family(graph, decision));
  };
  for (bool again = true; again;) {
    again = false;
    for (auto found = std::find_if(remaining.begin(), remaining.end(), is_extremal); found != remaining.end();
         found = std::find_if(remaining.begin(), remaining.end(), is_extremal)) {
      remove_nonrequisite(graph, *found);
      remaining.erase(found);
    }
    for (const tv_node_t* decision : remaining) again |= remove_nonrequisite(graph, decision);
  }
  return graph;
}

Set set_of(tv_node_t** list) {
  Set set;
  for (; list && *list; ++list) set.insert(*list);
  return set;
}

TEST(Requisites, AgreeWithTheReductionOverMoralGraphs) {
  size_t requisite = 0, others = 0;
  for (uint64_t seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain =
        random_limid(random, {.nodes = 12, .max_joint = 1 << 20, .max_parents = 4, .decision_chance = 0.4});
    const Parents graph = parents_of(domain.get());
    Parents informed = graph;
    for (auto& [node, parents] : informed)
      if (has_category(node, tv_category_decision)) parents = less(with_ancestors(graph, {node}), {node});
    const Parents expected = reduced(graph), expected_ancestors = reduced(informed);
    for (tv_node_t* decision : nodes_with(domain.get(), tv_category_decision)) {
      EXPECT_EQ(set_of(tv_node_get_requisite_parents(decision)), expected.at(decision));
      EXPECT_EQ(set_of(tv_node_get_requisite_ancestors(decision)), expected_ancestors.at(decision));
      requisite += expected.at(decision).size();
      others += graph.at(decision).size() - expected.at(decision).size();
    }
    EXPECT_EQ(parents_of(domain.get()), graph);
    if (HasFailure()) return;
  }
  EXPECT_GT(requisite, 200u);
  EXPECT_GT(others, 200u);
}

TEST(Requisites, TheOthersDoNotMatterToTheBestUtility) {
  size_t compared = 0;
  for (uint64_t seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed + 5000);
    const DomainOwner domain =
        random_limid(random, {.nodes = 7, .max_joint = 100, .max_states = 2, .wild_utilities = false});
    if (number_of_policies(domain.get()) > 300) continue;
    if (tv_domain_compile(domain.get()) != tv_status_none) continue;  // which normalises the tables
    const double best = best_over_all_policies(domain.get());
    bool removed = false;
    std::vector<std::pair<tv_node_t*, tv_node_t*>> links;
    for (tv_node_t* decision : nodes_with(domain.get(), tv_category_decision)) {
      const Set requisite = set_of(tv_node_get_requisite_parents(decision));
      for (tv_node_t** parent = tv_node_get_parents(decision); *parent; ++parent)
        if (!requisite.count(*parent)) links.push_back({decision, *parent});
    }
    for (const auto& [decision, parent] : links) removed |= tv_node_remove_parent(decision, parent) == 0;
    if (!removed) continue;
    ++compared;
    EXPECT_NEAR(best_over_all_policies(domain.get()), best, 1e-5 * std::abs(best) + 1e-6);
  }
  EXPECT_GT(compared, 30u);
}

TEST(Requisites, FollowTheStructure) {
  const DomainOwner domain = new_domain();
  tv_node_t* oil = add_node(domain.get(), "oil", 3);
  tv_node_t* seismic = add_node(domain.get(), "seismic", 3, {oil});
  tv_node_t* price = add_node(domain.get(), "price", 2);
  tv_node_t* drill = add_decision(domain.get(), "drill", 2, {seismic, price});
  ASSERT_NE(tv_node_get_requisite_parents(drill), nullptr);
  EXPECT_TRUE(set_of(tv_node_get_requisite_parents(drill)).empty()) << "nothing to gain";
  tv_node_t* gain = add_utility(domain.get(), "gain", {oil, drill});
  EXPECT_EQ(set_of(tv_node_get_requisite_parents(drill)), (Set{seismic}));
  EXPECT_EQ(set_of(tv_node_get_requisite_ancestors(drill)), (Set{oil}));
  tv_node_add_parent(gain, price);
  EXPECT_EQ(set_of(tv_node_get_requisite_parents(drill)), (Set{seismic, price}));
  tv_node_set_category(drill, tv_category_chance);
  EXPECT_EQ(tv_node_get_requisite_parents(drill), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_node_get_requisite_ancestors(nullptr), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

}  // namespace
}  // namespace test

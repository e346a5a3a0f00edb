// Trees and tree-augmented classifiers against enumeration.
#include <map>

#include "learn/structure/graph/branching.h"
#include "sample_world.h"

namespace test {
namespace {

// Weights by pair, negative where there can be no link.
struct Weights {
  size_t size;
  std::vector<tv::BranchWeight> weights;
  static bool find(const void* context, size_t from, size_t to, tv::BranchWeight& weight) {
    const Weights& self = *static_cast<const Weights*>(context);
    weight = self.weights[from * self.size + to];
    return from != to && weight.gain >= 0;
  }
};

TEST(Branching, IsTheHeaviestOfAll) {
  Generator random(5);
  for (size_t trial = 0; trial < 1500; ++trial) {
    Weights weights{1 + random.below(5), {}};
    const size_t size = weights.size, most = trial % 3 ? 4 : 1000;
    for (size_t i = 0; i < size * size; ++i)
      weights.weights.push_back({static_cast<int64_t>(random.below(trial % 2 ? 1 : 3)),
                                 random.chance(0.25) ? -1 : static_cast<int64_t>(random.below(most))});
    const auto total = [&](const std::vector<size_t>& parents) {
      tv::BranchWeight sum;
      for (size_t v = 0; v < size; ++v)
        if (parents[v] != SIZE_MAX) {
          tv::BranchWeight weight;
          if (!Weights::find(&weights, parents[v], v, weight)) return tv::BranchWeight{-1, 0};
          sum += weight;
        }
      return sum;
    };
    const std::vector<size_t> found = tv::heaviest_branching(size, {Weights::find, &weights});
    tv::BranchWeight best{-1, 0};
    bool is_branching = false;
    for_each_branching(size, [&](const std::vector<size_t>& parents) {
      best = std::max(best, total(parents));
      is_branching = is_branching || parents == found;
    });
    ASSERT_TRUE(is_branching) << trial;
    ASSERT_EQ(total(found), best) << trial;
  }
}

// Five columns that depend on each other in some way.
Cells dependent_cells(Generator& random, size_t rows, const std::vector<size_t>& states) {
  const size_t source[] = {0, random.below(1), random.below(2), random.below(3), random.below(4)};
  Cells cells;
  for (size_t i = 0; i < rows; ++i) {
    std::vector<int> row;
    for (size_t v = 0; v < states.size(); ++v)
      row.push_back(static_cast<int>(v > 0 && random.chance(0.5)
                                         ? static_cast<size_t>(row[source[v]]) % states[v]
                                         : random.below(states[v])));
    cells.push_back(row);
  }
  return cells;
}

const std::vector<std::string> kNames = {"a", "b", "c", "d", "e"};

// Constraints at random, as text.
std::string random_constraints(Generator& random) {
  std::string text;
  const auto name = [&] { return kNames[random.below(5)]; };
  for (const char* statement : {"forbid ", "require "})
    for (size_t i = 0; i < 3; ++i) {
      const std::string from = name(), to = name();
      if (from != to && random.chance(statement[0] == 'f' ? 0.7 : 0.3))
        text += statement + from + (random.chance(0.5) ? " -> " : " - ") + to + ";\n";
    }
  for (const std::string& v : kNames)
    if (random.chance(0.3)) text += "tier " + std::to_string(random.below(3)) + ": " + v + ";\n";
  if (random.chance(0.3)) text += "no links in tier 1;\n";
  return text;
}

// What a tree or a forest is worth: required links, all links, information.
struct Worth {
  size_t required = 0, links = 0;
  double gain = 0.0;
  bool is_better_than(const Worth& other) const {
    if (required != other.required) return required > other.required;
    if (links != other.links) return links > other.links;
    return gain > other.gain + 1e-6;
  }
};

// The links of the structure among `nodes`, which are all but a class, are a tree that nothing is better
// than.
void check_tree(const Cells& cells, const StructureOwner& structure, const std::vector<size_t>& nodes,
                const std::vector<size_t>& given, size_t root) {
  std::map<std::pair<size_t, size_t>, double> gains;
  for (const size_t a : nodes)
    for (const size_t b : nodes)
      if (a != b) gains[{a, b}] = information(cells, a, b, given);
  const auto worth_of = [&](const std::vector<size_t>& parents) {
    Worth worth;
    for (size_t i = 0; i < nodes.size(); ++i) {
      if (parents[i] == SIZE_MAX) continue;
      const size_t from = nodes[parents[i]], to = nodes[i];
      if (to == root || !structure->knowledge.allows(from, to)) return Worth{};
      worth.required += structure->knowledge.requires_any(from, to);
      worth.gain += gains[{from, to}];
      ++worth.links;
    }
    return worth;
  };
  std::vector<size_t> found(nodes.size(), SIZE_MAX);
  size_t required = 0;
  for (size_t i = 0; i < nodes.size(); ++i)
    for (size_t j = 0; j < nodes.size(); ++j) {
      required += i < j && structure->knowledge.requires_any(nodes[i], nodes[j]);
      if (!structure->graph.is_directed(nodes[j], nodes[i])) continue;
      ASSERT_EQ(found[i], SIZE_MAX) << "two parents";
      found[i] = j;
    }
  const Worth worth = worth_of(found);
  EXPECT_EQ(worth.required, required);
  for_each_branching(nodes.size(), [&](const std::vector<size_t>& parents) {
    ASSERT_FALSE(worth_of(parents).is_better_than(worth));
  });
  EXPECT_FALSE(structure->graph.has_directed_cycle());
}

TEST(Tree, HasTheGreatestInformationThatConstraintsLeave) {
  Generator random(11);
  size_t learned = 0, constrained = 0;
  for (size_t trial = 0; trial < 150; ++trial) {
    const std::vector<size_t> states = {2, 3, 2, 4, 3};
    const Cells cells = dependent_cells(random, 60, states);
    const DomainOwner domain = domain_with_cases(kNames, states, cells);
    for (const auto method : {tv_structure_method_tree, tv_structure_method_tan}) {
      const Learner learner;
      tv_structure_learner_set_method(learner.get(), method);
      const bool is_tan = method == tv_structure_method_tan;
      const size_t target = is_tan || random.chance(0.5) ? random.below(5) : SIZE_MAX;
      if (target != SIZE_MAX) tv_structure_learner_set_target(learner.get(), kNames[target].c_str());
      if (trial > 20) parse(learner, random_constraints(random));
      if (tv_domain_check_constraints(domain.get(), learner.get(), nullptr, nullptr)) continue;
      ++learned;
      constrained += text_of(learner).find("require") != std::string::npos;
      const StructureOwner structure = learn(domain.get(), learner);
      SCOPED_TRACE(text_of(learner) + links_of(structure));
      std::vector<size_t> nodes, given;
      for (size_t v = 0; v < 5; ++v) {
        if (!is_tan || v != target) nodes.push_back(v);
        if (is_tan && v != target) {
          ASSERT_TRUE(structure->graph.is_directed(target, v));
        }
      }
      if (is_tan) given = {target};
      check_tree(cells, structure, nodes, given, is_tan ? SIZE_MAX : target);
      if (HasFailure()) return;
    }
  }
  EXPECT_GT(learned, 150u);
  EXPECT_GT(constrained, 15u);
}

TEST(Tree, LeadsAwayFromTheFirstNodeThatCanBeItsRoot) {
  const Cells cells = {{0, 0, 0}, {0, 0, 0}, {1, 1, 1}, {1, 1, 0}, {0, 0, 1}, {1, 1, 1}};
  const DomainOwner domain = domain_with_cases({"a", "b", "c"}, {2, 2, 2}, cells);
  const auto tree = tv_structure_method_tree;
  EXPECT_EQ(links_of(learn(domain.get(), tree)), "a->b a->c");  // of b and c, which are as good, the first
  EXPECT_EQ(links_of(learn(domain.get(), tree, "c")).find("->c"), std::string::npos);
  const Learner learner;
  tv_structure_learner_set_method(learner.get(), tree);
  ASSERT_EQ(parse(learner, "tier 1: b; tier 2: a, c;"), tv_status_none);
  EXPECT_EQ(links_of(learn(domain.get(), learner)), "a->c b->a");
}

TEST(Tree, IsAForestWhereLinksAreNotWorthTheirScore) {
  Generator random(3);
  Cells cells;
  for (size_t i = 0; i < 500; ++i) {
    const int a = static_cast<int>(random.below(2)), c = static_cast<int>(random.below(3));
    const int b = random.chance(0.8) ? a : 1 - a;
    cells.push_back({a, b, c, static_cast<int>(random.below(2))});
  }
  const DomainOwner domain = domain_with_cases({"a", "b", "c", "d"}, {2, 2, 3, 2}, cells);
  const Learner learner;
  tv_structure_learner_set_method(learner.get(), tv_structure_method_tree);
  EXPECT_EQ(tv_structure_get_number_of_links(learn(domain.get(), learner).get()), 3u);
  tv_structure_learner_set_spanning(learner.get(), 0);
  EXPECT_EQ(links_of(learn(domain.get(), learner)), "a->b");
  tv_structure_learner_require_adjacency(learner.get(), "c", "d");
  EXPECT_EQ(links_of(learn(domain.get(), learner)), "a->b c->d");
  // The likelihood alone finds every link worth something.
  tv_structure_learner_set_score(learner.get(), tv_structure_score_log_likelihood);
  EXPECT_EQ(tv_structure_get_number_of_links(learn(domain.get(), learner).get()), 3u);
}

// Names, not columns, decide, and threads do not.
TEST(Tree, DoesNotDependOnTheOrderOfColumns) {
  Generator random(8);
  const std::vector<size_t> states = {2, 2, 3, 3, 2};
  const Cells cells = dependent_cells(random, 300, states);
  Cells turned = cells;
  for (std::vector<int>& row : turned) std::reverse(row.begin(), row.end());
  const DomainOwner one = domain_with_cases(kNames, states, cells);
  const DomainOwner other =
      domain_with_cases({kNames.rbegin(), kNames.rend()}, {states.rbegin(), states.rend()}, turned);
  for (int method = tv_structure_method_tree; method <= tv_structure_method_hierarchical; ++method) {
    const Learner learner;
    tv_structure_learner_set_method(learner.get(), static_cast<tv_structure_method_t>(method));
    tv_structure_learner_set_target(learner.get(), "c");
    const StructureOwner first = learn(one.get(), learner);
    tv_structure_learner_set_concurrency_level(learner.get(), 3);
    const StructureOwner second = learn(other.get(), learner);
    EXPECT_EQ(links_of(first), links_of(second));
    EXPECT_EQ(first->score, second->score);
  }
}

// A mixture of two lines, and noise.
TEST(Tree, HasContinuousNodesAsChildrenAlone) {
  Generator random(4);
  DomainOwner domain = new_domain();
  const size_t rows = 400;
  tv_domain_set_number_of_cases(domain.get(), rows);
  std::map<std::string, tv_node_t*> nodes;
  for (const char* name : {"x", "y", "z"}) {
    nodes[name] = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
    tv_node_set_name(nodes[name], name);
  }
  for (const char* name : {"kind", "other"}) nodes[name] = add_node(domain.get(), name, 2);
  const auto noise = [&] {
    return random.uniform() + random.uniform() - random.uniform() - random.uniform();
  };
  for (size_t i = 0; i < rows; ++i) {
    const size_t kind = random.below(2);
    const double x = noise() + 2.0 * static_cast<double>(kind), y = 3.0 * x + 0.5 * noise();
    tv_node_set_case_state(nodes["kind"], i, kind);
    tv_node_set_case_state(nodes["other"], i, random.chance(0.9) ? kind : 1 - kind);
    tv_node_set_case_value(nodes["x"], i, x);
    tv_node_set_case_value(nodes["y"], i, y);
    if (i % 5) tv_node_set_case_value(nodes["z"], i, noise());
  }
  EXPECT_EQ(links_of(learn(domain.get(), tv_structure_method_naive_bayes, "kind")),
            "kind->other kind->x kind->y kind->z");
  const Learner learner;
  tv_structure_learner_set_method(learner.get(), tv_structure_method_tree);
  tv_structure_learner_set_spanning(learner.get(), 0);
  EXPECT_EQ(links_of(learn(domain.get(), learner)), "kind->other kind->x x->y");
  tv_structure_learner_set_method(learner.get(), tv_structure_method_tan);
  tv_structure_learner_set_target(learner.get(), "kind");
  EXPECT_EQ(links_of(learn(domain.get(), learner)), "kind->other kind->x kind->y kind->z y->x");
  // A continuous root leaves the discrete nodes to a tree of their own.
  tv_structure_learner_set_method(learner.get(), tv_structure_method_tree);
  tv_structure_learner_set_target(learner.get(), "y");
  EXPECT_EQ(links_of(learn(domain.get(), learner)), "kind->other y->x");
}

}  // namespace
}  // namespace test

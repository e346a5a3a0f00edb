// The possible configurations of cliques and separators, compared with those of the whole network: every
// configuration of all nodes is tried, and what no table forbids is projected on each clique.

#include "inference/compress/support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>

#include "limid/limid_world.h"
#include "support/builders.h"
#include "support/cg_builders.h"
#include "support/other_ways.h"

namespace test {
namespace {

using Rows = std::vector<std::vector<size_t>>;
using Nodes = std::vector<const tv_node_t*>;

bool is_discrete_member(const tv_node_t* node) {
  return node->kind == tv_kind_discrete && node->category != tv_category_utility;
}

// What forbids configurations: the oldest nodes come first in every test, so that the table of a node can be
// looked up as soon as its state is chosen, and nodes that follow from others do not multiply the tries.
class Possible {
 public:
  explicit Possible(const tv_domain_t* domain, const tv_junction_tree_t* tree = nullptr) {
    for (tv_node_t* node : nodes_of(domain))
      if (is_discrete_member(node) && (!tree || tv::tree_of(*node) == tree)) nodes_.push_back(node);
    for (const tv::ChainPotential& potential : domain->chain_potentials) add_table(potential.table.get());
    for (const tv_node_t* node : nodes_)
      if (node->category == tv_category_chance) add_table(node->table.get());
    std::vector<size_t> states(nodes_.size(), 0);
    extend(states, 0);
  }

  const Rows& rows() const { return rows_; }

  Rows projected_on(const Nodes& nodes) const {
    std::set<std::vector<size_t>> rows;
    std::vector<size_t> places;
    for (const tv_node_t* node : nodes) places.push_back(place_of(node));
    for (const std::vector<size_t>& states : rows_) {
      std::vector<size_t> row;
      for (const size_t place : places) row.push_back(states[place]);
      rows.insert(row);
    }
    return {rows.begin(), rows.end()};
  }

  void keep_only(const std::function<bool(const std::vector<size_t>&)>& keeps) {
    std::erase_if(rows_, [&](const std::vector<size_t>& states) { return !keeps(states); });
  }

  size_t place_of(const tv_node_t* node) const {
    return std::find(nodes_.begin(), nodes_.end(), node) - nodes_.begin();
  }

 private:
  struct Factor {
    const tv_table_t* table;
    std::vector<size_t> places;
  };

  void add_table(const tv_table_t* table) {
    if (!table || !tv::has_data(*table)) return;
    Factor factor{table, {}};
    for (const tv_node_t* node : table->nodes) factor.places.push_back(place_of(node));
    const size_t last =
        factor.places.empty() ? 0 : *std::max_element(factor.places.begin(), factor.places.end());
    factors_[last].push_back(factor);
  }

  bool is_possible(const std::vector<size_t>& states, size_t last) const {
    const auto found = factors_.find(last);
    if (found == factors_.end()) return true;
    return std::all_of(found->second.begin(), found->second.end(), [&](const Factor& factor) {
      size_t entry = 0;
      for (const size_t place : factor.places)
        entry = entry * nodes_[place]->number_of_states + states[place];
      return factor.table->data[entry] > 0;
    });
  }

  void extend(std::vector<size_t>& states, size_t place) {
    if (place == nodes_.size()) return rows_.push_back(states);
    for (states[place] = 0; states[place] < nodes_[place]->number_of_states; ++states[place])
      if (is_possible(states, place)) extend(states, place + 1);
  }

  Nodes nodes_;
  std::map<size_t, std::vector<Factor>> factors_;  // by the youngest node
  Rows rows_;
};

Rows rows_of(const tv::PackedRows& packed) {
  Rows rows;
  for (size_t row = 0; row < packed.size(); ++row) {
    rows.emplace_back();
    for (size_t node = 0; node < packed.nodes.size(); ++node) rows.back().push_back(packed.state(row, node));
  }
  return rows;
}

// The nodes of a clique's rows, as users of the rows rely on.
Nodes nodes_of_clique(const tv_clique_t& clique) {
  Nodes nodes;
  if (clique.parent_separator)
    for (const tv_node_t* node : clique.parent_separator->members)
      if (is_discrete_member(node)) nodes.push_back(node);
  for (const tv_node_t* node : clique.members())
    if (is_discrete_member(node) && std::find(nodes.begin(), nodes.end(), node) == nodes.end())
      nodes.push_back(node);
  return nodes;
}

void expect_positions(const tv::PackedRows& clique, const tv::PackedRows& separator) {
  const std::vector<uint32_t> positions = tv::positions_in(clique, separator);
  ASSERT_EQ(positions.size(), clique.size());
  for (size_t row = 0; row < clique.size(); ++row)
    for (size_t node = 0; node < separator.nodes.size(); ++node) {
      const auto place = std::find(clique.nodes.begin(), clique.nodes.end(), separator.nodes[node]);
      ASSERT_EQ(separator.state(positions[row], node), clique.state(row, place - clique.nodes.begin()));
    }
}

void expect_exact(const tv_junction_tree_t& tree, const tv::TreeSupport& support, const Possible& possible) {
  ASSERT_EQ(support.cliques.size(), tree.clique_count());
  ASSERT_EQ(support.separators.size(), tree.clique_count());
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    const tv_clique_t& clique = *tree.cliques[c];
    const tv::PackedRows& rows = support.cliques[c];
    EXPECT_EQ(rows.nodes, nodes_of_clique(clique));
    EXPECT_EQ(rows_of(rows), possible.projected_on(rows.nodes));
    const tv::PackedRows& separator = support.separators[c];
    if (!clique.parent) {
      EXPECT_TRUE(separator.nodes.empty() && separator.keys.empty());
      continue;
    }
    EXPECT_EQ(rows_of(separator), possible.projected_on(separator.nodes));
    expect_positions(rows, separator);
    expect_positions(support.cliques[clique.parent->position], separator);
  }
}

// How the rows of small cliques are found: by walks, by whatever seems faster, or by searches.
struct Way {
  const char* name;
  size_t walked_rows, step_entries;
};
const Way kWays[] = {{"walk", size_t{1} << 20, 16}, {"either", 0, 16}, {"search", 0, 0}};

void expect_exact_support(tv_domain_t* domain) {
  if (!tv_domain_is_triangulated(domain)) tv_domain_triangulate(domain, tv_method_best_greedy);
  ASSERT_TRUE(tv_domain_is_triangulated(domain));
  const KeptLimits kept;
  for (const Way& way : kWays) {
    SCOPED_TRACE(way.name);
    tv::limits.walked_rows = way.walked_rows;
    tv::limits.step_entries = way.step_entries;
    for (const tv_junction_tree_t& tree : domain->forest->trees) {
      tv::TreeSupport support;
      ASSERT_EQ(tv::find_support({tree}, support), tv_status_none);
      expect_exact(tree, support, Possible(domain, &tree));
    }
  }
}

// A node that follows from its parents, now and then but for a state or two.
tv_node_t* add_gate(Generator& random, tv_domain_t* domain, size_t states,
                    const std::vector<tv_node_t*>& parents, double noise = 0) {
  tv_node_t* const gate = add_node(domain, nullptr, states);
  for (tv_node_t* parent : parents) tv_node_add_parent(gate, parent);
  std::vector<float> data(tv_table_get_size(tv_node_get_table(gate)), 0);
  for (size_t first = 0; first < data.size(); first += states) {
    data[first + random.below(states)] = 1;
    if (random.chance(noise)) data[first + random.below(states)] = 1;
  }
  set_table(gate, data);
  return gate;
}

// Each pair of nodes has a child, so that one clique holds them all.
void join_all(Generator& random, tv_domain_t* domain, const std::vector<tv_node_t*>& nodes) {
  for (size_t i = 0; i < nodes.size(); ++i)
    for (size_t j = 0; j < i; ++j)
      set_random_table(random, add_node(domain, nullptr, 2, {nodes[i], nodes[j]}), Values::positive);
}

std::vector<tv_node_t*> some_of(Generator& random, std::vector<tv_node_t*> nodes, size_t count) {
  while (nodes.size() > count)
    nodes.erase(nodes.begin() + static_cast<ptrdiff_t>(random.below(nodes.size())));
  return nodes;
}

tv::TreeSupport support_of(const tv_junction_tree_t& tree, size_t most_bytes = SIZE_MAX) {
  tv::TreeSupport support;
  EXPECT_EQ(tv::find_support({tree, most_bytes}, support), tv_status_none);
  return support;
}

size_t bytes_of(const tv::TreeSupport& support) {
  size_t keys = 0;
  for (const auto* list : {&support.cliques, &support.separators})
    for (const tv::PackedRows& rows : *list) keys += rows.keys.size();
  return 8 * keys;
}

TEST(Support, IsExactInRandomNetworks) {
  for (uint64_t seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = random_network(random, Values::zeros, {10, 4000, 4, 3, 0.5});
    expect_exact_support(domain.get());
  }
}

// Also where tables contradict each other, and where nothing is possible at all.
TEST(Support, IsExactWhereTablesContradictEachOther) {
  size_t impossible = 0;
  for (uint64_t seed = 0; seed < 100; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = random_network(random, Values::zeros, {9, 2000, 3, 3, 0.5});
    for (tv_node_t* node : nodes_of(domain.get())) {
      std::vector<float> data(tv_table_get_size(tv_node_get_table(node)));
      for (float& number : data) number = random.chance(0.7) ? 1.0f : 0.0f;
      set_table(node, data);
    }
    impossible += Possible(domain.get()).rows().empty();
    expect_exact_support(domain.get());
  }
  EXPECT_GT(impossible, 5u);
  EXPECT_LT(impossible, 95u);
}

TEST(Support, PoliciesAndUtilitiesForbidNothing) {
  for (uint64_t seed = 0; seed < 100; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = random_limid(random);
    expect_exact_support(domain.get());
  }
}

TEST(Support, ContinuousNodesHaveNoPart) {
  for (uint64_t seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = random_cg_network(random);
    for (tv_node_t* node : nodes_of(domain.get()))
      if (tv_node_get_kind(node) == tv_kind_discrete) set_random_table(random, node, Values::zeros);
    expect_exact_support(domain.get());
  }
}

TEST(Support, UndirectedLinksForbidAsTheirTablesDo) {
  const char* const text =
      "node a { states = (\"\" \"\" \"\"); } node b { states = (\"\" \"\"); }"
      "node c { states = (\"\" \"\" \"\"); } node d { states = (\"\" \"\"); }"
      "potential (a) { data = (1 0 2); }"
      "potential (b c | a) { data = (1 0 1 0 1 0  1 1 1 1 1 1  0 0 1 1 0 0); }"
      "potential (c d | a) { data = (1 1 0 1 1 0  1 1 1 1 1 1  1 0 0 0 0 1); }";
  const DomainOwner domain(tv_net_parse_domain(text, nullptr, nullptr));
  ASSERT_NE(domain, nullptr);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_domain_reset_inference_engine(domain.get());
  expect_exact_support(domain.get());
}

// Seventy nodes in one clique that follow from eight of them, which takes more than a word.
TEST(Support, WideCliquesOfFewConfigurations) {
  for (uint64_t seed = 0; seed < 3; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = new_domain();
    std::vector<tv_node_t*> nodes;
    while (nodes.size() < 8) nodes.push_back(add_node(domain.get(), nullptr, 2));
    while (nodes.size() < 70) {
      const size_t states = 2 + random.below(seed + 1);
      nodes.push_back(add_gate(random, domain.get(), states, some_of(random, nodes, 1 + random.below(3))));
    }
    const Possible possible(domain.get());
    join_all(random, domain.get(), nodes);
    ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_none);
    const tv::TreeSupport support = support_of(*domain->forest->trees.first());
    const auto widest = std::max_element(
        support.cliques.begin(), support.cliques.end(),
        [](const tv::PackedRows& a, const tv::PackedRows& b) { return a.nodes.size() < b.nodes.size(); });
    ASSERT_EQ(widest->nodes.size(), 70u);
    EXPECT_GT(widest->words, 1u);
    EXPECT_EQ(rows_of(*widest), possible.projected_on(widest->nodes));
  }
}

// Each clique alone leaves nearly everything open: what its nodes follow from is in other cliques.
TEST(Support, WideCliquesWhoseNodesFollowFromOthers) {
  for (uint64_t seed = 0; seed < 4; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = new_domain();
    std::vector<tv_node_t*> nodes;
    while (nodes.size() < 6) nodes.push_back(add_node(domain.get(), nullptr, 2));
    while (nodes.size() < 100)
      nodes.push_back(add_gate(random, domain.get(), 2 + random.below(2), some_of(random, nodes, 4), 0.01));
    const Possible possible(domain.get());
    ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_none);
    for (const tv_junction_tree_t& tree : domain->forest->trees)
      expect_exact(tree, support_of(tree, size_t{1} << 28), possible);
  }
}

TEST(Support, LeavesOutWhatIsNotKept) {
  struct Filter {
    static bool keeps(const void* context, size_t clique, const tv::PackedRows& rows, size_t row) {
      size_t sum = *static_cast<const size_t*>(context) + clique;
      for (size_t node = 0; node < rows.nodes.size(); ++node)
        sum += rows.nodes[node]->number * rows.state(row, node);
      return sum % 4 != 0;
    }
  };
  for (size_t seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = random_network(random, Values::zeros, {9, 2000, 3, 2, 0.4});
    tv_domain_triangulate(domain.get(), tv_method_best_greedy);
    const tv_junction_tree_t& tree = *domain->forest->trees.first();
    Possible possible(domain.get(), &tree);
    possible.keep_only([&](const std::vector<size_t>& states) {
      for (size_t c = 0; c < tree.clique_count(); ++c) {
        size_t sum = seed + c;
        for (const tv_node_t* node : tree.cliques[c]->members())
          sum += node->number * states[possible.place_of(node)];
        if (sum % 4 == 0) return false;
      }
      return true;
    });
    tv::TreeSupport support;
    ASSERT_EQ(tv::find_support({tree, SIZE_MAX, Filter::keeps, &seed}, support), tv_status_none);
    expect_exact(tree, support, possible);
  }
}

class StoppedSupport : public testing::Test {
 protected:
  StoppedSupport() {
    Generator random(1);
    domain_ = random_network(random, Values::zeros, {12, 5000, 4, 3, 0.5});
    tv_domain_triangulate(domain_.get(), tv_method_best_greedy);
  }
  const tv_junction_tree_t& tree() const { return *domain_->forest->trees.first(); }

  // A support of before stays as it was.
  void expect_failure(tv_status_t expected, size_t most_bytes = SIZE_MAX) const {
    tv::TreeSupport support;
    support.cliques.resize(7);
    EXPECT_EQ(tv::find_support({tree(), most_bytes}, support), expected);
    EXPECT_EQ(support.cliques.size(), 7u);
  }

  DomainOwner domain_;
};

TEST_F(StoppedSupport, WhereTheRowsNeedTooMuchMemory) {
  const KeptLimits kept;
  const size_t needed = bytes_of(support_of(tree()));
  for (const Way& way : kWays) {
    SCOPED_TRACE(way.name);
    tv::limits.walked_rows = way.walked_rows;
    tv::limits.step_entries = way.step_entries;
    for (const size_t bytes : {size_t{0}, size_t{8}, needed / 2, needed - 8})
      expect_failure(tv_status_no_memory, bytes);
    size_t enough = needed;  // a little more while rows are there that turn out impossible
    tv::TreeSupport support;
    while (tv::find_support({tree(), enough}, support)) enough += 8;
    EXPECT_EQ(bytes_of(support), needed);
    EXPECT_LT(enough, 2 * needed);
  }
}

TEST_F(StoppedSupport, ByTheProgressHandler) {
  struct Handler {
    size_t calls = 0, stops_at = SIZE_MAX;
    static int look(const char* task, double fraction, void* data) {
      auto& handler = *static_cast<Handler*>(data);
      EXPECT_STREQ(task, "compression");
      EXPECT_LE(fraction, 1.0);
      return ++handler.calls > handler.stops_at;
    }
  };
  Handler all;
  tv_domain_set_progress_handler(domain_.get(), Handler::look, &all);
  support_of(tree());
  EXPECT_EQ(all.calls, 2 * tree().clique_count());
  for (size_t calls = 0; calls < all.calls; ++calls) {
    Handler handler{0, calls};
    tv_domain_set_progress_handler(domain_.get(), Handler::look, &handler);
    expect_failure(tv_status_error);
    EXPECT_EQ(handler.calls, calls + 1);
  }
}

// A search of days ends when the host wants it to.
TEST_F(StoppedSupport, WithinASearch) {
  Generator random(2);
  domain_ = new_domain();
  std::vector<tv_node_t*> nodes;
  while (nodes.size() < 50) nodes.push_back(add_gate(random, domain_.get(), 3, some_of(random, nodes, 1), 1));
  join_all(random, domain_.get(), nodes);
  tv_domain_triangulate(domain_.get(), tv_method_best_greedy);
  double last = -1;
  const auto look = [](const char*, double fraction, void* data) {
    return std::exchange(*static_cast<double*>(data), fraction) == fraction ? 1 : 0;
  };
  tv_domain_set_progress_handler(domain_.get(), look, &last);
  expect_failure(tv_status_error, size_t{1} << 30);
}

}  // namespace
}  // namespace test

// The possible configurations of cliques and separators, compared with those of the whole network: every
// configuration of all nodes is tried, and what no table forbids is projected on each clique.

#include "inference/compress/support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "support/builders.h"
#include "support/other_ways.h"

namespace test {
namespace {

using Rows = std::vector<std::vector<size_t>>;
using Nodes = std::vector<const tv_node_t*>;

bool is_discrete_member(const tv_node_t* node) {
  return node->kind == tv_kind_discrete && node->category != tv_category_utility;
}

// The configurations of all discrete nodes, the oldest first, that no table forbids.
class Possible {
 public:
  explicit Possible(const tv_domain_t* domain) {
    for (tv_node_t* node : nodes_of(domain))
      if (is_discrete_member(node)) nodes_.push_back(node);
    std::vector<size_t> states(nodes_.size(), 0);
    do {
      if (is_possible(states)) rows_.push_back(states);
    } while (advance(states));
  }

  Rows projected_on(const Nodes& nodes) const {
    std::set<std::vector<size_t>> rows;
    for (const std::vector<size_t>& states : rows_) {
      std::vector<size_t> row;
      for (const tv_node_t* node : nodes) row.push_back(state_of(node, states));
      rows.insert(row);
    }
    return {rows.begin(), rows.end()};
  }

  size_t size() const { return rows_.size(); }

 private:
  size_t state_of(const tv_node_t* node, const std::vector<size_t>& states) const {
    return states[std::find(nodes_.begin(), nodes_.end(), node) - nodes_.begin()];
  }

  bool is_possible(const std::vector<size_t>& states) const {
    return std::all_of(nodes_.begin(), nodes_.end(), [&](const tv_node_t* node) {
      if (!node->table || node->category == tv_category_decision) return true;
      size_t place = 0;
      for (const tv_node_t* member : node->table->nodes)
        place = place * member->number_of_states + state_of(member, states);
      return node->table->data[place] > 0;
    });
  }

  bool advance(std::vector<size_t>& states) const {
    for (size_t i = states.size(); i-- > 0;) {
      if (++states[i] < nodes_[i]->number_of_states) return true;
      states[i] = 0;
    }
    return false;
  }

  Nodes nodes_;
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

void expect_exact_support(tv_domain_t* domain) {
  if (!tv_domain_is_triangulated(domain)) tv_domain_triangulate(domain, tv_method_best_greedy);
  ASSERT_TRUE(tv_domain_is_triangulated(domain));
  const Possible possible(domain);
  const KeptLimits kept;
  for (const size_t walked : {tv::limits.walked_rows, size_t{0}}) {
    SCOPED_TRACE(walked ? "walk" : "search");
    tv::limits.walked_rows = walked;
    for (const tv_junction_tree_t& tree : domain->forest->trees) {
      tv::TreeSupport support;
      ASSERT_EQ(tv::find_support({tree}, support), tv_status_none);
      expect_exact(tree, support, possible);
    }
  }
}

TEST(Support, IsExactInRandomNetworks) {
  for (uint64_t seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = random_network(random, Values::zeros, {10, 4000, 4, 3, 0.5});
    expect_exact_support(domain.get());
  }
}

}  // namespace
}  // namespace test

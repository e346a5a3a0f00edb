// Long random walks over the links of a large network, with arc reversals: what is accepted is exactly what
// leaves no cycle, and the links are those of a plain model of the graph.
#include <set>

#include "network_world.h"
#include "support/builders.h"

namespace {

constexpr size_t kNodes = 60;

class LinkWalk {
 public:
  explicit LinkWalk(uint64_t seed) : random_(seed) {
    // Without numbers, so that no number of parents is too large.
    for (size_t i = 0; i < kNodes; ++i) nodes_.push_back(world_.chance(1));
  }

  void step() {
    const size_t a = random_.below(kNodes), b = random_.below(kNodes), c = random_.below(kNodes);
    if (a == b) return;
    const double kind = random_.uniform();
    if (kind < 0.4)
      add(a, b);
    else if (kind < 0.5)
      switch_parent(a, c);
    else if (kind < 0.85)
      reverse(a);
    else if (!parents_[a].empty())
      remove(a);
  }

  void check() {
    for (size_t i = 0; i < kNodes; ++i) {
      std::set<size_t> parents, children;
      for (tv_node_t* node : listed(tv_node_get_parents(nodes_[i]))) parents.insert(index_of(node));
      ASSERT_EQ(parents, parents_[i]);
      for (tv_node_t* node : listed(tv_node_get_children(nodes_[i]))) children.insert(index_of(node));
      for (const size_t child : children) ASSERT_TRUE(parents_[child].count(i));
    }
  }

  size_t added = 0, switched = 0, reversed = 0, refused = 0;

 private:
  size_t index_of(tv_node_t* node) const {
    return static_cast<size_t>(std::find(nodes_.begin(), nodes_.end(), node) - nodes_.begin());
  }
  size_t any_parent(size_t child) {
    return *std::next(parents_[child].begin(), static_cast<ptrdiff_t>(random_.below(parents_[child].size())));
  }

  // Whether a way leads from `from` to `to`, along links other than the one that is left out.
  bool leads(size_t from, size_t to, size_t left_out_parent = kNodes, size_t left_out_child = kNodes) const {
    std::vector<size_t> stack = {to};
    std::vector<bool> seen(kNodes);
    while (!stack.empty()) {
      const size_t at = stack.back();
      stack.pop_back();
      if (at == from) return true;
      if (seen[at]) continue;
      seen[at] = true;
      for (const size_t parent : parents_[at])
        if (parent != left_out_parent || at != left_out_child) stack.push_back(parent);
    }
    return false;
  }

  void expect(tv_status_t status, bool allowed, size_t& count) {
    EXPECT_EQ(status == tv_status_none, allowed) << tv_error_name(status);
    ++(status ? refused : count);
  }

  void add(size_t child, size_t parent) {
    const bool allowed = !parents_[child].count(parent) && !leads(child, parent);
    expect(tv_node_add_parent(nodes_[child], nodes_[parent]), allowed, added);
    if (allowed) parents_[child].insert(parent);
  }

  void switch_parent(size_t child, size_t fresh) {
    if (parents_[child].empty() || fresh == child || parents_[child].count(fresh)) return;
    const size_t old = any_parent(child);
    const bool allowed = !leads(child, fresh, old, child);
    expect(tv_node_switch_parent(nodes_[child], nodes_[old], nodes_[fresh]), allowed, switched);
    if (!allowed) return;
    parents_[child].erase(old);
    parents_[child].insert(fresh);
  }

  void reverse(size_t child) {
    if (parents_[child].empty()) return;
    const size_t parent = any_parent(child);
    const bool allowed = !leads(parent, child, parent, child);
    expect(tv_node_reverse_edge(nodes_[parent], nodes_[child]), allowed, reversed);
    if (!allowed) return;
    parents_[child].erase(parent);
    const std::set<size_t> of_child = parents_[child], of_parent = parents_[parent];
    parents_[child].insert(of_parent.begin(), of_parent.end());
    parents_[parent].insert(of_child.begin(), of_child.end());
    parents_[parent].insert(child);
  }

  void remove(size_t child) {
    const size_t parent = any_parent(child);
    ASSERT_EQ(tv_node_remove_parent(nodes_[child], nodes_[parent]), tv_status_none);
    parents_[child].erase(parent);
  }

  test::Generator random_;
  World world_;
  Nodes nodes_;
  std::set<size_t> parents_[kNodes];
};

TEST(Links, WalksOfManyReversalsNeverMakeACycle) {
  size_t added = 0, switched = 0, reversed = 0, refused = 0;
  for (uint64_t seed = 0; seed < 6; ++seed) {
    SCOPED_TRACE(seed);
    LinkWalk walk(seed);
    for (size_t step = 0; step < 600 && !testing::Test::HasFailure(); ++step) {
      walk.step();
      if (step % 20 == 0) walk.check();
    }
    added += walk.added;
    switched += walk.switched;
    reversed += walk.reversed;
    refused += walk.refused;
  }
  EXPECT_GT(added, 300u);
  EXPECT_GT(switched, 50u);
  EXPECT_GT(reversed, 200u);
  EXPECT_GT(refused, 300u);
}

}  // namespace

// The possible configurations of cliques when memory is short: each allocation fails in turn, and what was
// known before stays.

#include <gtest/gtest.h>

#include <new>

#include "inference/compress/support.h"
#include "injection.h"
#include "support/builders.h"
#include "support/other_ways.h"

namespace test {
namespace {

// Several nodes follow from others, so that rows are left out and a detour may pay.
DomainOwner network() {
  Generator random(3);
  DomainOwner domain = new_domain();
  std::vector<tv_node_t*> nodes;
  for (size_t i = 0; i < 14; ++i) {
    tv_node_t* node = add_node(domain.get(), nullptr, 2 + i % 2);
    for (size_t p = i > 4 ? i - 4 : 0; p < i; p += 2) tv_node_add_parent(node, nodes[p]);
    set_random_table(random, node, Values::zeros);
    nodes.push_back(node);
  }
  tv_domain_triangulate(domain.get(), tv_method_best_greedy);
  return domain;
}

std::vector<uint64_t> keys_of(const tv::TreeSupport& support) {
  std::vector<uint64_t> keys;
  for (const tv::PackedRows& rows : support.cliques)
    keys.insert(keys.end(), rows.keys.begin(), rows.keys.end());
  return keys;
}

TEST(SupportFaults, AFailureLeavesTheFormerSupport) {
  const KeptLimits kept;
  const DomainOwner domain = network();
  const tv_junction_tree_t& tree = *domain->forest->trees.first();
  tv::TreeSupport expected;
  ASSERT_EQ(tv::find_support({tree}, expected), tv_status_none);
  for (const bool searches : {false, true}) {
    tv::limits.walked_rows = searches ? 0 : size_t{1} << 20;
    tv::limits.step_entries = 0;
    for (long n = 0;; ++n) {
      SCOPED_TRACE(testing::Message() << n << (searches ? ", searching" : ""));
      tv::TreeSupport support;
      support.cliques.resize(1);
      const long blocks = live_blocks();
      bool failed = false;
      arm(Fault::allocation, n, false);
      try {
        tv::find_support({tree}, support);
      } catch (const std::bad_alloc&) {
        failed = true;
      }
      disarm();
      if (!failed) {
        EXPECT_EQ(keys_of(support), keys_of(expected));
        if (!fault_struck()) break;  // a block that could have been smaller may stay as it is
        continue;
      }
      EXPECT_EQ(support.cliques.size(), 1u);
      EXPECT_EQ(live_blocks(), blocks);
      ASSERT_LT(n, 100000);
    }
  }
}

}  // namespace
}  // namespace test

// A long random walk through everything a host may do to a domain between two propagations. However
// the evidence, tables and structure got there, the answers are those of enumeration and of a fresh
// clone that is propagated from a reset.

#include <gtest/gtest.h>

#include "support/builders.h"
#include "support/oracle.h"
#include "support/other_ways.h"

namespace test {
namespace {

class Walk {
 public:
  explicit Walk(uint64_t seed)
      : random_(seed),
        values_(static_cast<Values>(seed % 2)),
        domain_(random_network(random_, values_, {.max_nodes = 7, .max_joint = 300})) {
    recompile();
  }

  void step() {
    const double kind = random_.uniform();
    if (kind < 0.45) {
      change_evidence(random_, any_node(), Findings::any);
    } else if (kind < 0.83) {
      propagate();
    } else if (kind < 0.88) {
      set_random_table(random_, any_node(), values_);
      EXPECT_EQ(tv_domain_tables_to_propagate(domain()), 1);
    } else if (kind < 0.91) {
      constant_valid_ = true;
      ASSERT_EQ(tv_domain_reset_inference_engine(domain()), tv_status_none);
      EXPECT_EQ(tv_domain_evidence_is_propagated(domain()), 0);
    } else if (kind < 0.93) {
      ASSERT_EQ(tv_domain_retract_findings(domain()), tv_status_none);
    } else if (kind < 0.94) {
      constant_valid_ = true;
      ASSERT_EQ(tv_domain_initialize(domain()), tv_status_none);
      EXPECT_EQ(tv_domain_evidence_to_propagate(domain()), 0);
    } else if (kind < 0.95) {
      save_to_memory();
    } else if (kind < 0.96) {
      ASSERT_EQ(tv_domain_reclaim_memory_tables(domain()), tv_status_none);
    } else if (kind < 0.97) {
      compress();
    } else if (kind < 0.98) {
      change_structure();
      recompile();
    } else {
      const size_t before = tv_node_get_number_of_states(any_node());
      resize(any_node(), before % 3 + 1);
      recompile();
    }
  }

  size_t answers = 0, failures = 0, clones = 0, compressed_answers = 0;

 private:
  tv_domain_t* domain() { return domain_.get(); }
  tv_node_t* any_node() { return random_.pick(nodes_of(domain())); }
  Real probability() { return Oracle(domain()).constant(Oracle(domain()).entered(), tv_equilibrium_sum); }

  void recompile() {
    constant_valid_ = true;
    if (tv_domain_is_compiled(domain())) return;
    const Real p = probability();
    const tv_status_t status = tv_domain_compile(domain());
    if (status == tv_status_none) {
      EXPECT_GT(p, 0);
      return;
    }
    ASSERT_EQ(p, 0) << tv_error_name(status);
    EXPECT_EQ(status, tv_status_inconsistency_or_underflow);
    ASSERT_EQ(tv_domain_retract_findings(domain()), tv_status_none);
    ASSERT_EQ(tv_domain_compile(domain()), tv_status_none);
  }

  // In one call or tree by tree; the answers may not depend on it.
  tv_status_t propagate(tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) {
    if (random_.chance(0.8)) return tv_domain_propagate(domain(), equilibrium, mode);
    for (tv_junction_tree_t* jt = tv_domain_get_first_junction_tree(domain()); jt; jt = tv_jt_get_next(jt)) {
      const tv_status_t status = random_.chance(0.5)
                                     ? tv_jt_propagate(jt, equilibrium, mode)
                                     : tv_clique_propagate(tv_jt_get_root(jt), equilibrium, mode);
      if (status) return status;
    }
    return tv_status_none;
  }

  void propagate() {
    const tv_equilibrium_t equilibrium = random_.chance(0.75) ? tv_equilibrium_sum : tv_equilibrium_max;
    const tv_evidence_mode_t mode = random_.chance(0.75) ? tv_evidence_normal : tv_evidence_fast_retraction;
    const Oracle oracle(domain());
    const Oracle::Evidence entered = oracle.entered();
    const Real constant = oracle.least_constant(entered, equilibrium, mode);
    const tv_status_t status = propagate(equilibrium, mode);
    if (tv_domain_is_compressed(domain()) && mode == tv_evidence_fast_retraction) {
      ASSERT_EQ(status, tv_status_compressed);
      return;
    }
    if (mode == tv_evidence_fast_retraction) constant_valid_ = false;
    if (status != tv_status_none) {
      ++failures;
      ASSERT_TRUE(constant == 0 || (mode == tv_evidence_fast_retraction && status != tv_status_usage))
          << tv_error_name(status) << " but the evidence has probability " << constant;
      EXPECT_EQ(Oracle(domain()).entered(), entered);
      ASSERT_EQ(tv_domain_reset_inference_engine(domain()), tv_status_none);
      constant_valid_ = true;
      return;
    }
    ASSERT_TRUE(constant > 0 || mode == tv_evidence_fast_retraction);
    EXPECT_EQ(tv_domain_evidence_to_propagate(domain()), 0);
    if (constant == 0) return;
    ++answers;
    compressed_answers += static_cast<size_t>(tv_domain_is_compressed(domain()));
    ASSERT_EQ(wrong_answer(domain(), equilibrium, mode, constant_valid_), "");
    if (answers % 8 == 0 && probability() > 0) compare_with_clone(equilibrium, mode);
  }

  void compare_with_clone(tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) {
    const DomainOwner clone(tv_domain_clone(domain()));
    ASSERT_TRUE(clone);
    if (!tv_domain_is_compiled(clone.get())) {
      ASSERT_EQ(tv_domain_compile(clone.get()), tv_status_none);
    }
    ASSERT_EQ(tv_domain_reset_inference_engine(clone.get()), tv_status_none);
    const tv_status_t status = tv_domain_propagate(clone.get(), equilibrium, mode);
    if (status == tv_status_fast_retraction || status == tv_status_compressed) return;
    ASSERT_EQ(status, tv_status_none);
    ++clones;
    const std::vector<tv_node_t*> nodes = nodes_of(domain()), copies = nodes_of(clone.get());
    ASSERT_EQ(nodes.size(), copies.size());
    for (size_t i = 0; i < nodes.size(); ++i)
      for (size_t s = 0; s < tv_node_get_number_of_states(nodes[i]); ++s)
        EXPECT_TRUE(close(tv_node_get_belief(nodes[i], s), tv_node_get_belief(copies[i], s)))
            << i << " " << s;
  }

  void save_to_memory() {
    // Tables are saved of a domain without evidence in its tables, after the parameters are in them.
    ASSERT_EQ(tv_domain_initialize(domain()), tv_status_none);
    constant_valid_ = true;
    ASSERT_EQ(tv_domain_propagate(domain(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    ASSERT_EQ(tv_domain_save_to_memory(domain()), tv_status_none);
  }

  // Of a domain that is recompiled, or of one with whatever is propagated.
  void compress() {
    if (random_.chance(0.3)) {
      ASSERT_EQ(tv_domain_set_zero_compression(domain(), random_.chance(0.7)), tv_status_none);
      resize(any_node(), 2);
      return recompile();
    }
    const double ratio = tv_domain_compress(domain());
    if (ratio < 0) {
      ASSERT_EQ(tv_error_code(), tv_status_no_equilibrium);
      return;
    }
    EXPECT_GT(ratio, 0);
    EXPECT_LE(ratio, 1);
    EXPECT_EQ(tv_domain_is_compressed(domain()), 1);
  }

  void resize(tv_node_t* node, size_t states) {
    size_t joint = states;
    for (tv_node_t* other : nodes_of(domain()))
      if (other != node) joint *= tv_node_get_number_of_states(other);
    if (joint > 300 || states == tv_node_get_number_of_states(node)) return;
    ASSERT_EQ(tv_node_set_number_of_states(node, states), tv_status_none);
    EXPECT_EQ(tv_domain_is_compiled(domain()), 0);
    EXPECT_EQ(tv_node_evidence_is_entered(node), 0);
    set_random_table(random_, node, values_);
    for (tv_node_t** child = tv_node_get_children(node); *child; ++child)
      set_random_table(random_, *child, values_);
  }

  void change_structure() {
    tv_node_t* node = any_node();
    tv_node_t* other = any_node();
    tv_status_t status = tv_status_none;
    const std::vector<Vector> before =
        Oracle(domain()).beliefs(Oracle(domain()).none(), tv_equilibrium_sum, tv_evidence_normal);
    switch (random_.below(5)) {
      case 0:
        if (count_nodes(tv_node_get_parents(node)) < 3) status = tv_node_add_parent(node, other);
        ASSERT_TRUE(status == tv_status_none || status == tv_status_usage ||
                    status == tv_status_cyclic_network);
        break;
      case 1:
        if (tv_node_t* parent = tv_node_get_parents(node)[0]) status = tv_node_remove_parent(node, parent);
        ASSERT_EQ(status, tv_status_none);
        break;
      case 2: {
        tv_node_t* child = tv_node_get_children(node)[0];
        if (!child) break;
        status = tv_node_reverse_edge(node, child);
        const Oracle reversed(domain());
        const std::vector<Vector> after =
            reversed.beliefs(reversed.none(), tv_equilibrium_sum, tv_evidence_normal);
        for (size_t i = 0; i < after.size(); ++i)
          for (size_t s = 0; s < after[i].size(); ++s) EXPECT_TRUE(close(after[i][s], before[i][s]));
        break;
      }
      case 3:
        if (before.size() > 2) {
          ASSERT_EQ(tv_node_delete(node), tv_status_none);
        }
        break;
      default:
        if (before.size() < 8) add_node(domain(), nullptr, 1);
    }
  }

  Generator random_;
  Values values_;
  DomainOwner domain_;
  bool constant_valid_ = true;  // fast retraction leaves part of the evidence out of the constant
};

TEST(Walk, AnswersDoNotDependOnHistory) {
  const KeptLimits kept;
  const tv::Limits usual = tv::limits;
  size_t answers = 0, failures = 0, clones = 0, compressed_answers = 0;
  for (uint64_t seed = 0; seed < 60; ++seed) {
    tv::limits.sparse_cost = seed % 3 == 0 ? 1 : 0;  // 0: every clique is sparse
    tv::limits.finding_vectors = seed % 6 == 0 ? 0 : usual.finding_vectors;
    Walk walk(seed);
    for (int step = 0; step < 200; ++step) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << " step " << step);
      walk.step();
      if (testing::Test::HasFailure()) return;
    }
    answers += walk.answers;
    compressed_answers += walk.compressed_answers;
    failures += walk.failures;
    clones += walk.clones;
  }
  // The walk has been where it should have been.
  EXPECT_GT(answers, 1000u);
  EXPECT_GT(failures, 100u);
  EXPECT_GT(clones, 100u);
  EXPECT_GT(compressed_answers, 500u);
}

}  // namespace
}  // namespace test

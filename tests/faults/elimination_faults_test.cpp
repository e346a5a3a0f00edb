// Elimination plans when memory is short: a propagation goes back to the tables that are there, and tables
// that are formed later are formed or refused.

#include <gtest/gtest.h>

#include "inference/elimination/elimination_schedule.h"
#include "injection.h"
#include "support/builders.h"

namespace test {
namespace {

class EliminationFaults : public testing::Test {
 protected:
  EliminationFaults() : usual_(tv::limits.entries_for_elimination) { tv::limits.entries_for_elimination = 0; }
  ~EliminationFaults() override { tv::limits.entries_for_elimination = usual_; }

  static DomainOwner network() {
    Generator random(5);
    DomainOwner domain = new_domain();
    std::vector<tv_node_t*> nodes;
    for (size_t i = 0; i < 12; ++i) {
      tv_node_t* node = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
      tv_node_set_number_of_states(node, 2 + i % 3);
      for (size_t p = i > 4 ? i - 4 : 0; p < i; p += 2) tv_node_add_parent(node, nodes[p]);
      nodes.push_back(node);
      set_random_table(random, node, Values::positive);
    }
    tv_domain_compile(domain.get());
    tv_domain_reset_inference_engine(domain.get());
    tv_node_select_state(nodes[3], 1);
    tv_node_select_state(nodes[10], 0);
    return domain;
  }

  static std::vector<float> beliefs(tv_domain_t* domain) {
    std::vector<float> list;
    for (tv_node_t* node : nodes_of(domain))
      for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s)
        list.push_back(tv_node_get_belief(node, s));
    return list;
  }

  static void expect_near(const std::vector<float>& found, const std::vector<float>& expected) {
    ASSERT_EQ(found.size(), expected.size());
    for (size_t i = 0; i < found.size(); ++i) EXPECT_NEAR(found[i], expected[i], 1e-6);
  }

 private:
  size_t usual_;
};

tv_status_t propagate(tv_domain_t* domain) {
  return tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal);
}

TEST_F(EliminationFaults, APropagationAnswersWithoutAPlan) {
  const DomainOwner ideal = network();
  ASSERT_EQ(propagate(ideal.get()), tv_status_none);
  const std::vector<float> expected = beliefs(ideal.get());
  for (bool persistent : {false, true})
    for (long n = 0;; ++n) {
      SCOPED_TRACE(testing::Message() << n << (persistent ? " and all later ones" : ""));
      const DomainOwner domain = network();
      arm(Fault::allocation, n, persistent);
      const tv_status_t status = propagate(domain.get());
      disarm();
      const bool struck = fault_struck();
      ASSERT_EQ(status, tv_status_none);
      expect_near(beliefs(domain.get()), expected);
      if (!struck) break;
      ASSERT_LT(n, 1000);
    }
}

// Programs that ask the same question again and again get their answers without an allocation, by plans and
// by tapes.
TEST_F(EliminationFaults, RepeatedQuestionsAllocateNothing) {
  for (size_t least : {size_t{0}, size_t{1000000}}) {
    SCOPED_TRACE(least);
    tv::limits.entries_for_elimination = least;
    const DomainOwner domain = network();
    const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
    for (size_t round = 0; round < 6; ++round) {
      tv_domain_retract_findings(domain.get());
      tv_node_select_state(nodes[3], round % 2);
      tv_node_select_state(nodes[10], (round + 1) % 2);
      arm(Fault::allocation, 1000000, false);
      ASSERT_EQ(propagate(domain.get()), tv_status_none);
      disarm();
      if (round >= 3) {
        EXPECT_EQ(requests_seen(), 0);
      }
    }
  }
}

TEST_F(EliminationFaults, TablesAreFormedOrRefused) {
  for (long n = 0;; ++n) {
    SCOPED_TRACE(n);
    const DomainOwner domain = network();
    ASSERT_EQ(propagate(domain.get()), tv_status_none);
    const std::vector<float> expected = beliefs(domain.get());
    tv_table_t* table = tv_clique_get_probability_table(tv_domain_get_first_clique(domain.get()));
    arm(Fault::allocation, n, true);
    const float* data = tv_table_get_data(table);
    disarm();
    const bool struck = fault_struck();
    EXPECT_EQ(data == nullptr, tv_error_code() == tv_status_no_memory);
    EXPECT_EQ(data == nullptr, struck);
    EXPECT_EQ(beliefs(domain.get()), expected);
    ASSERT_NE(tv_table_get_data(table), nullptr);
    double sum = 0.0;
    for (size_t i = 0; i < tv_table_get_size(table); ++i)
      sum += static_cast<double>(tv_table_get_data(table)[i]);
    EXPECT_NEAR(sum, 1.0, 1e-5);
    if (!struck) break;
    ASSERT_LT(n, 100);
  }
}

}  // namespace
}  // namespace test

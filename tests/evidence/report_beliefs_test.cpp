// The report of beliefs, as exact text.
#include "inference/answers/report_beliefs.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "support/builders.h"

namespace {

std::string report(const test::DomainOwner& domain) {
  char* text = nullptr;
  size_t size = 0;
  std::FILE* stream = open_memstream(&text, &size);
  tv::Trace trace(stream);
  EXPECT_EQ(tv::_tv_domain_report_beliefs(*domain, trace), tv_status_none);
  std::fclose(stream);
  const std::string result(text, size);
  std::free(text);
  return result;
}

TEST(BeliefReport, WritesEachGroupInTheOrderOfTheNodeList) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* a = test::add_node(domain.get(), "A", 2, {}, {0.25f, 0.75f});
  tv_node_set_state_label(a, 0, "no");
  tv_node_t* truth = test::add_node(domain.get(), "Truth", 2, {}, {0.5f, 0.5f});
  ASSERT_EQ(tv_node_set_subtype(truth, tv_subtype_boolean), tv_status_none);
  tv_node_t* copy = test::add_node(domain.get(), "Copy", 2, {a}, {1, 0, 0, 1});
  tv_node_set_state_label(copy, 1, "a long label");
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_EQ(report(domain),
            "\n\nBeliefs for chance nodes:\n"
            "\n    Copy:\n\tstate0   0.25\n\ta long label 0.75\n"
            "\n    Truth:\n\tfalse      0.5\n\ttrue       0.5\n"
            "\n    A:\n\tno         0.25\n\tstate1   0.75\n");

  tv_node_select_state(a, 1);
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  EXPECT_EQ(report(domain),
            "\n\nBeliefs for chance nodes:\n"
            "\n    Copy --> \"a long label\"\n"
            "\n    Truth:\n\tfalse      0.5\n\ttrue       0.5\n"
            "\n    A --> #1\n");
}

TEST(BeliefReport, HasAHeadingForDecisionsAndFunctions) {
  const test::DomainOwner domain = test::new_domain();
  const auto add = [&](tv_node_category_t category, tv_node_kind_t kind, const char* name) {
    tv_node_set_name(tv_domain_new_node(domain.get(), category, kind), name);
  };
  add(tv_category_decision, tv_kind_discrete, "D");
  add(tv_category_function, tv_kind_discrete, "F");
  add(tv_category_function, tv_kind_other, "R");
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_EQ(report(domain),
            "\n\nBeliefs for decision nodes:\n\n    D --> #0\n"
            "\n\nBeliefs for discrete function nodes:\n\n    F --> #0\n"
            "\n\nValues for real-valued function nodes:\n\n    R: N/A\n");
}

TEST(BeliefReport, GivesExpectedUtilitiesWhereThereAreUtilities) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* rain = test::add_node(domain.get(), "Rain", 2, {}, {0.75f, 0.25f});
  tv_node_t* take = tv_domain_new_node(domain.get(), tv_category_decision, tv_kind_discrete);
  tv_node_set_name(take, "Take");
  tv_node_set_number_of_states(take, 2);
  tv_node_set_state_label(take, 1, "yes");
  const auto add_utility = [&](const char* name, tv_node_t* parent, const std::vector<float>& data) {
    tv_node_t* utility = tv_domain_new_node(domain.get(), tv_category_utility, tv_kind_other);
    tv_node_set_name(utility, name);
    if (parent) tv_node_add_parent(utility, parent);
    test::set_table(utility, data);
  };
  add_utility("Load", take, {0, -2});
  add_utility("Comfort", rain, {8, 4});
  tv_domain_new_node(domain.get(), tv_category_function, tv_kind_other);
  tv_node_select_state(take, 1);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_EQ(report(domain),
            "\n\nBeliefs (and expected utilities) for decision nodes:\n\n    Take --> \"yes\" (-2)\n"
            "\n\nBeliefs (and expected utilities) for chance nodes:\n"
            "\n    Rain:\n\tstate0   0.75 (8)\n\tstate1   0.25 (4)\n"
            "\n\nExpected utilities for utility nodes:\n\n    Comfort: 7\n\n    Load: -2\n"
            "\nOverall expected utility: 5\n"
            "\n\nValues for real-valued function nodes:\n\n    F5: N/A\n");
}

TEST(BeliefReport, AFullDiskIsReported) {
  const test::DomainOwner domain = test::new_domain();
  test::add_node(domain.get(), "A", 2);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  std::FILE* full = std::fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  tv::Trace trace(full);
  EXPECT_EQ(tv::_tv_domain_report_beliefs(*domain, trace), tv_status_io);
  std::fclose(full);
}

}  // namespace

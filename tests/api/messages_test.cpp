// What the library says to people: each failure names the objects, no message outlives its call, and the
// texts fit whatever the names are.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <thread>

#include "support/builders.h"

namespace {

using test::add_node;

class Messages : public testing::Test {
 protected:
  tv_domain_t* domain() const { return owner_.get(); }
  test::DomainOwner owner_ = test::new_domain();
};

TEST_F(Messages, NameTheObjects) {
  tv_node_t* rain = add_node(domain(), "rain", 2);
  tv_node_t* wet = add_node(domain(), "wet", 3, {rain});
  tv_node_t* mood = tv_domain_new_node(domain(), tv_category_utility, tv_kind_other);
  tv_node_set_name(mood, "mood");
  const struct {
    std::function<void()> call;
    const char* message;
  } cases[] = {
      {[&] { tv_node_set_name(wet, "rain"); }, "there is another node \"rain\""},
      {[&] { tv_node_set_name(wet, "2 wet"); },
       "\"2 wet\" is no name: letters, digits and underscores, beginning with no digit"},
      {[&] { tv_node_add_parent(rain, wet); }, "a link from \"wet\" to \"rain\" would close a cycle"},
      {[&] { tv_node_add_parent(wet, rain); }, "no link from \"rain\" to \"wet\": it is there already"},
      {[&] { tv_node_remove_parent(rain, wet); }, "there is no link from \"wet\" to \"rain\" alone"},
      {[&] { tv_node_switch_parent(wet, rain, wet); },
       "nodes \"rain\" and \"wet\" differ in their kind or states"},
      {[&] { tv_node_reverse_edge(rain, mood); },
       "the link between \"rain\" and \"mood\" cannot be reversed: chance nodes of one kind, without models "
       "and "
       "undirected links, are expected"},
      {[&] { tv_node_select_state(wet, 5); }, "node \"wet\" has 3 states, so there is no state 5"},
      {[&] { tv_node_select_state(mood, 0); },
       "node \"mood\" is a utility node, where a discrete one is expected"},
      {[&] { tv_node_enter_finding(wet, 1, -1.0f); },
       "node \"wet\": a likelihood is a finite number that is not negative"},
      {[&] { tv_node_enter_value(wet, 1.0); },
       "node \"wet\" is a discrete chance node, where a continuous one is expected"},
      {[&] { tv_node_set_number_of_states(wet, 0); }, "node \"wet\" needs a state"},
      {[&] { tv_domain_new_node(domain(), tv_category_chance, tv_kind_continuous); },
       "continuous nodes do not mix with decisions and utilities"},
      {[&] { tv_domain_get_conflict(domain()); }, "the network is not compiled"},
      {[&] { tv_net_parse_domain("/absent/file", nullptr, nullptr); },
       "/absent/file: No such file or directory"},
  };
  for (const auto& [call, message] : cases) {
    call();
    EXPECT_NE(tv_error_code(), tv_status_none) << message;
    EXPECT_STREQ(tv_error_message(), message);
  }
}

TEST_F(Messages, SayWhichEvidenceAndWhichNumbersAreWrong) {
  tv_node_t* rain = add_node(domain(), "rain", 2, {}, {1, 0});
  tv_node_t* wet = add_node(domain(), "wet", 2, {rain}, {0, 1, 1, 0});
  tv_node_set_state_label(rain, 1, "heavy");
  ASSERT_EQ(tv_domain_set_memory_limit(domain(), 10), tv_status_none);
  ASSERT_EQ(tv_domain_compile(domain()), tv_status_no_memory);
  EXPECT_EQ(std::string(tv_error_message()).find("compiling needs "), 0u) << tv_error_message();
  ASSERT_EQ(tv_domain_set_memory_limit(domain(), 0), tv_status_none);
  ASSERT_EQ(tv_domain_compile(domain()), tv_status_none);
  EXPECT_EQ(tv_domain_compile(domain()), tv_status_usage);
  EXPECT_STREQ(tv_error_message(), "the network is compiled already");
  tv_node_select_state(wet, 0);
  ASSERT_EQ(tv_domain_propagate(domain(), tv_equilibrium_sum, tv_evidence_normal),
            tv_status_inconsistency_or_underflow);
  EXPECT_STREQ(tv_error_message(), "the evidence on wet is impossible");
  tv_node_get_belief(rain, 0);
  EXPECT_STREQ(tv_error_message(), "nothing valid is propagated: propagate first");
  tv_table_get_data(tv_node_get_table(wet))[2] = NAN;
  tv_node_touch_table(wet);
  ASSERT_EQ(tv_domain_propagate(domain(), tv_equilibrium_sum, tv_evidence_normal),
            tv_status_invalid_probability_potential);
  EXPECT_STREQ(tv_error_message(),
               "the distribution of \"wet\" for rain = heavy has a negative, infinite or undefined number");
}

TEST_F(Messages, NameTheDecisionThatAnObservationComesTooEarlyFor) {
  tv_node_t* drill = tv_domain_new_node(domain(), tv_category_decision, tv_kind_discrete);
  tv_node_set_number_of_states(drill, 2);
  tv_node_set_name(drill, "drill");
  tv_node_t* hole = add_node(domain(), "hole", 2, {drill});
  tv_node_t* oil = add_node(domain(), "oil", 2, {hole});
  ASSERT_EQ(tv_domain_compile(domain()), tv_status_none);
  tv_node_select_state(oil, 0);
  ASSERT_EQ(tv_domain_propagate(domain(), tv_equilibrium_sum, tv_evidence_normal),
            tv_status_invalid_evidence);
  EXPECT_STREQ(tv_error_message(),
               "\"oil\" is observed, but decision \"drill\", which may influence it, is not made yet");
  tv_node_enter_finding(drill, 0, 0.5f);
  ASSERT_EQ(tv_domain_propagate(domain(), tv_equilibrium_sum, tv_evidence_normal),
            tv_status_invalid_evidence);
  EXPECT_STREQ(tv_error_message(), "decision \"drill\" takes one state, no likelihood");
}

TEST_F(Messages, AreCutOffBetweenCharacters) {
  for (size_t shift = 0; shift < 2; ++shift) {
    std::string name(shift, '/');
    while (name.size() < 300) name += "ä";
    tv_net_parse_domain(name.c_str(), nullptr, nullptr);
    const std::string message = tv_error_message();
    EXPECT_GE(message.size(), 238u);
    EXPECT_EQ(message.substr(message.size() - 5), "ä...");
  }
}

TEST_F(Messages, BelongToTheLatestCallOfTheirThread) {
  tv_node_t* node = add_node(domain(), "a", 2);
  EXPECT_STREQ(tv_error_message(), "");
  tv_node_select_state(node, 7);
  ASSERT_NE(std::string(tv_error_message()).find("\"a\""), std::string::npos);
  std::string elsewhere = "?";
  std::thread([&] { elsewhere = tv_error_message(); }).join();
  EXPECT_EQ(elsewhere, "");
  tv_node_select_state(nullptr, 7);  // the same code, and nothing to say beyond it
  EXPECT_STREQ(tv_error_message(), tv_error_description(tv_status_usage));
  tv_node_select_state(node, 1);
  EXPECT_STREQ(tv_error_message(), "");
}

}  // namespace

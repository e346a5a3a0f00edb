// Entering and retracting against a naive model: what is known of a node is one number for each state.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "inference/evidence/evidence.h"
#include "support/builders.h"

namespace {

using test::Generator;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

struct Model {
  explicit Model(size_t states) : finding(states, 1) {}
  void select(size_t state) {
    std::fill(finding.begin(), finding.end(), 0.0f);
    finding[state] = 1;
    is_retracted = false;
  }
  void enter(size_t state, float value) {
    finding[state] = value;
    is_retracted = false;
  }
  void retract() {
    std::fill(finding.begin(), finding.end(), 1.0f);
    is_retracted = true;
  }
  bool is_likelihood() const {
    for (float value : finding)
      if (value != 0 && value != 1) return true;
    return false;
  }
  ptrdiff_t index() const {
    if (is_retracted) return -1;
    const ptrdiff_t ones = std::count(finding.begin(), finding.end(), 1.0f);
    if (is_likelihood()) return -2;
    if (ones == 1) return std::find(finding.begin(), finding.end(), 1.0f) - finding.begin();
    return ones == static_cast<ptrdiff_t>(finding.size()) ? -1 : -2;
  }

  std::vector<float> finding;
  bool is_retracted = true;  // tells no evidence from the selected state of a one-state node
};

void expect_as_model(tv_node_t* node, const Model& model) {
  ASSERT_EQ(tv_node_get_selected_state(node), model.index());
  ASSERT_EQ(tv_node_evidence_is_entered(node), model.index() != -1);
  ASSERT_EQ(tv_node_likelihood_is_entered(node), model.is_likelihood());
  for (size_t state = 0; state < model.finding.size(); ++state)
    ASSERT_EQ(tv_node_get_entered_finding(node, state), model.finding[state]);
}

TEST(Entering, RandomWalksAgreeWithTheModel) {
  Generator random(1);
  for (size_t states = 1; states <= 4; ++states) {
    const test::DomainOwner domain = test::new_domain();
    tv_node_t* node = test::add_node(domain.get(), "A", states);
    tv_node_t* mirror = test::add_node(domain.get(), "B", states);
    node->linked_node = mirror;
    Model model(states);
    const std::vector<float> values{0, 0, 0, 1, 1, 1, 0.5f, 7, -0.0f};
    for (int step = 0; step < 2000; ++step) {
      const size_t state = random.below(states);
      const float value = random.pick(values);
      switch (random.below(8)) {
        case 0:
          tv_node_retract_findings(node);
          model.retract();
          break;
        case 1:
          tv_domain_retract_findings(domain.get());
          model.retract();
          break;
        case 2:
          tv_node_select_state(node, state);
          model.select(state);
          break;
        default:
          tv_node_enter_finding(node, state, value);
          model.enter(state, value);
      }
      ASSERT_EQ(tv_error_code(), tv_status_none);
      ASSERT_NO_FATAL_FAILURE(expect_as_model(node, model)) << "states " << states << " step " << step;
      ASSERT_NO_FATAL_FAILURE(expect_as_model(mirror, model))
          << "mirror, states " << states << " step " << step;
    }
    node->linked_node = nullptr;
  }
}

TEST(Entering, EvidenceIsCopiedFromNodeToNode) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* from = test::add_node(domain.get(), "A", 3);
  tv_node_t* to = test::add_node(domain.get(), "B", 3);
  Generator random(2);
  for (int step = 0; step < 500; ++step) {
    test::change_evidence(random, from, test::Findings::any);
    if (random.chance(0.2)) test::change_evidence(random, to, test::Findings::any);
    tv::_tv_node_copy_evidence(*to, from);
    ASSERT_EQ(tv_node_get_selected_state(to), tv_node_get_selected_state(from));
    for (size_t state = 0; state < 3; ++state)
      ASSERT_EQ(tv_node_get_entered_finding(to, state), tv_node_get_entered_finding(from, state));
  }
  tv::_tv_node_copy_evidence(*to, nullptr);
  EXPECT_EQ(tv_node_evidence_is_entered(to), 0);
}

TEST(Entering, ContinuousNodesTakeFiniteValues) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* node = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
  EXPECT_EQ(tv_node_get_entered_value(node), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_no_value);
  EXPECT_EQ(tv_node_enter_value(node, -2.5), tv_status_none);
  EXPECT_EQ(tv_node_enter_value(node, kNan), tv_status_usage);
  EXPECT_EQ(tv_node_enter_value(node, -kInfinity), tv_status_usage);
  EXPECT_EQ(tv_node_get_entered_value(node), -2.5);
  EXPECT_EQ(tv_node_evidence_is_entered(node), 1);
  EXPECT_EQ(tv_node_likelihood_is_entered(node), 0);
  EXPECT_EQ(tv_node_retract_findings(node), tv_status_none);
  EXPECT_EQ(tv_node_evidence_is_entered(node), 0);
}

TEST(Entering, BadFindingsChangeNothing) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* node = test::add_node(domain.get(), "A", 2);
  ASSERT_EQ(tv_node_enter_finding(node, 0, 0.25f), tv_status_none);
  const float largest = std::numeric_limits<float>::max();
  for (float value : {-1e-30f, -1.0f, largest, kInfinity, -kInfinity, kNan})
    EXPECT_EQ(tv_node_enter_finding(node, 0, value), tv_status_usage) << value;
  EXPECT_EQ(tv_node_enter_finding(node, 2, 0.5f), tv_status_usage);
  EXPECT_EQ(tv_node_select_state(node, 2), tv_status_usage);
  EXPECT_EQ(tv_node_get_entered_finding(node, 2), -1.0f);
  EXPECT_EQ(tv_node_get_entered_finding(node, 0), 0.25f);
  EXPECT_EQ(tv_node_enter_finding(node, 0, std::nextafter(largest, 0.0f)), tv_status_none);
}

}  // namespace

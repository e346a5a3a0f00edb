// The most probable configurations, and which parameters matter.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "program/program.h"

namespace test {
namespace {

TEST_F(Program, ConfigurationsAreToldByWhatDiffers) {
  const Outcome outcome = tarvo("configurations chest.net -n bronchitis -n lung_cancer -k 2 -e dyspnoea=yes");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
  EXPECT_EQ(outcome.output,
            "chest.net: 8 nodes, evidence on 1\n"
            "\n"
            "1. probability 0.769\n"
            "    bronchitis   yes\n"
            "    lung_cancer  no\n"
            "\n"
            "2. probability 0.128, as 1. but\n"
            "    bronchitis  no\n"
            "\n"
            "The probability of all others together is 0.103.\n");
  EXPECT_TRUE(contains(tarvo("configurations chest.net -n smoker --at-least 0.9").output,
                       "No configuration is as probable as that."));
  EXPECT_TRUE(contains(tarvo("configurations chest.net -n smoker -n x_ray -k 9 --max-steps 1").output,
                       "; the search was ended, and some may have up to "));
}

// All nodes, and some in the presence of continuous ones; the product of beliefs where nodes are independent.
TEST_F(Program, ConfigurationsSpeakJsonAndCsv) {
  const auto all = answer_of("configurations chest.net -k 5 -e x_ray=abnormal");
  ASSERT_EQ(all.at("configurations").size(), 5u);
  EXPECT_EQ(all.at("configurations")[0].at("states").size(), 8u);
  EXPECT_EQ(all.at("configurations")[0].at("states").at("x_ray"), "abnormal");
  double sum = all.at("remaining_probability");
  for (const auto& each : all.at("configurations")) sum += each.at("probability").get<double>();
  EXPECT_NEAR(sum, 1, 1e-6);
  const auto coin = answer_of("configurations coins.net -n coin -k 100 -e gauge=23.6");
  const auto beliefs = answer_of("beliefs coins.net -e gauge=23.6");
  EXPECT_TRUE(coin.at("is_complete").get<bool>());
  const auto& node = beliefs.at("nodes")[0];
  ASSERT_EQ(node.at("name"), "coin");
  for (const auto& each : coin.at("configurations")) {
    const auto& states = node.at("states");
    const auto state = std::find(states.begin(), states.end(), each.at("states").at("coin")) - states.begin();
    EXPECT_NEAR(each.at("probability"), node.at("beliefs")[static_cast<size_t>(state)], 1e-6);
  }
  EXPECT_EQ(tarvo("configurations chest.net -n smoker -k 1 --format csv").output.substr(0, 40),
            "rank,probability,log_probability,smoker\n");
}

TEST_F(Program, SensitivityRanksParameters) {
  const Outcome outcome = tarvo("sensitivity chest.net -t lung_cancer=yes -e x_ray=abnormal --top 2");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
  EXPECT_TRUE(contains(outcome.output, "P(lung_cancer=yes) is ")) << outcome.output;
  EXPECT_TRUE(contains(outcome.output, "P(x_ray=abnormal | tuberculosis_or_cancer=no)")) << outcome.output;
  const auto answer = answer_of("sensitivity chest.net -t lung_cancer=yes -e x_ray=abnormal --top 100");
  const auto& list = answer.at("parameters");
  EXPECT_EQ(list.size(), answer.at("number_of_parameters").get<size_t>());
  for (const auto& each : list) {
    const auto& c = each.at("constants");
    const double t = each.at("value");
    EXPECT_NEAR((c[0].get<double>() * t + c[1].get<double>()) / (c[2].get<double>() * t + c[3].get<double>()),
                answer.at("value"), 1e-6);
  }
  const auto some = answer_of("sensitivity chest.net -t lung_cancer=yes -n smoker -n x_ray");
  EXPECT_EQ(some.at("number_of_parameters"), 6);
}

TEST_F(Program, SensitivityFindsTheSmallestChange) {
  const auto answer =
      answer_of("sensitivity chest.net -t lung_cancer=yes -e dyspnoea=yes --reach 0.2 --top 3");
  ASSERT_EQ(answer.at("parameters").size(), 3u);
  double last = 0;
  for (const auto& each : answer.at("parameters")) {
    const auto& c = each.at("constants");
    const double t = each.at("tuned"), change = std::abs(t - each.at("value").get<double>());
    EXPECT_NEAR((c[0].get<double>() * t + c[1].get<double>()) / (c[2].get<double>() * t + c[3].get<double>()),
                0.2, 1e-6);
    EXPECT_GE(change, last);
    last = change;
  }
  EXPECT_TRUE(contains(tarvo("sensitivity chest.net -t smoker=yes --reach 1 --over no -n x_ray").output,
                       "no change of a single parameter brings P(smoker=yes) above that of no by 1 or more"));
  EXPECT_TRUE(contains(tarvo("sensitivity wildcatter.net -e test=no").output, "the expected utility is "));
}

}  // namespace
}  // namespace test

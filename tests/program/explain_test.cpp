// What to observe next, and why a node has its probabilities.
#include <gtest/gtest.h>

#include "program/program.h"

namespace test {
namespace {

TEST_F(Program, NextRanksObservations) {
  const Outcome outcome =
      tarvo("next chest.net -t lung_cancer -e dyspnoea=yes -c x_ray=4 -c smoker -c bronchitis=1");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
  EXPECT_EQ(outcome.output,
            "chest.net: 8 nodes, evidence on 1\n"
            "\n"
            "lung_cancer  (Lung cancer)\n"
            "    0.478 bits are open; its most probable state is the wrong one with probability 0.103\n"
            "\n"
            "    observe     bits    errors   price\n"
            "    smoker      0.0343  0        0\n"
            "    x_ray       0.302   -0.0393  4\n"
            "    bronchitis  0.0199  0        1\n");
  const std::string tells_nothing = tarvo("next chest.net -t visit_to_asia -c smoker").output;
  EXPECT_TRUE(contains(tells_nothing, "\n    nothing that could be observed tells anything\n"))
      << tells_nothing;
  EXPECT_TRUE(contains(tarvo("next chest.net -t visit_to_asia -c smoker -c bronchitis -c x_ray").output,
                       "\n    2 more tell nothing\n"));
}

TEST_F(Program, NextChoosesSequencesAndSpeaksJson) {
  const auto answer = answer_of("next chest.net -t lung_cancer -e dyspnoea=yes --sequence 3");
  EXPECT_EQ(answer.at("observations").size(), 6u);
  double sum = 0;
  for (const auto& step : answer.at("sequence")) sum += step.at("information").get<double>();
  EXPECT_LE(sum, answer.at("bound").get<double>() + 1e-9);
  EXPECT_LE(answer.at("bound").get<double>(), answer.at("entropy").get<double>() + 1e-9);
  EXPECT_EQ(answer.at("sequence")[0].at("node"), "tuberculosis_or_cancer");
  EXPECT_EQ(answer.at("sequence")[0].at("information"), answer.at("observations")[0].at("information"));
}

// Without the test there is nothing to be known, so that oil is worth what perfect information is.
TEST_F(Program, NextValuesObservationsForADecision) {
  const auto answer = answer_of("next wildcatter.net -t drill -e test=no -c oil=5");
  EXPECT_NEAR(answer.at("expected_utility"), 20, 1e-4);
  EXPECT_NEAR(answer.at("observations")[0].at("value"), 35, 1e-4);
  EXPECT_EQ(answer.at("observations")[0].at("price"), 5);
  EXPECT_TRUE(contains(tarvo("next wildcatter.net -t drill").output, "\n    one more is worth nothing\n"));
}

TEST_F(Program, ExplainSaysWhatTheFindingsDo) {
  const Outcome outcome = tarvo(
      "explain chest.net -t bronchitis=yes -e dyspnoea=yes -e smoker=no --groups 1 -x tuberculosis "
      "-x lung_cancer");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
  EXPECT_EQ(outcome.output,
            "chest.net: 8 nodes, evidence on 2\n"
            "\n"
            "2 findings raise the probability of bronchitis = yes from 45 % to 75.4 %.\n"
            "  dyspnoea = yes speaks for it: +41.9 points; +7.88 decibans alone, +8.54 decibans beside the "
            "others.\n"
            "    It acts along dyspnoea <- bronchitis.\n"
            "  smoker = no speaks against it: -11.5 points; -2.81 decibans alone, -2.15 decibans beside the "
            "others.\n"
            "    It acts along smoker -> bronchitis, and on other ways.\n"
            "\n"
            "Its probability with each finding alone, and with each one left out\n"
            "    finding        alone  left out  share   role\n"
            "    dyspnoea: yes  0.834  0.3       0.419   decisive\n"
            "    smoker: no     0.3    0.834     -0.115  contradictory\n"
            "\n"
            "Its probability if one finding were different\n"
            "    if it were     then\n"
            "    dyspnoea = no  0.0872\n"
            "    smoker = yes   0.88\n"
            "\n"
            "Its probability given groups of findings alone, and the factor by which they change it\n"
            "    given          probability  factor\n"
            "    dyspnoea: yes  0.834        1.85\n"
            "    smoker: no     0.3          0.667\n"
            "\n"
            "The findings disagree: their conflict is 0.312\n"
            "    0.312 between smoker: no, dyspnoea: yes\n"
            "    tuberculosis = yes would resolve it\n"
            "    bronchitis = yes would resolve it\n"
            "\n"
            "What accounts for the evidence\n"
            "    explanation                           factor  probability\n"
            "    tuberculosis = yes, lung_cancer = no  2.53    0.0245\n");
  EXPECT_TRUE(contains(tarvo("explain chest.net -t smoker").output,
                       "\nWithout any finding, smoker = yes has the probability 50 %.\n"));
}

// The program's answers are those of the beliefs that it shows itself.
TEST_F(Program, ExplainAgreesWithBeliefs) {
  const std::string evidence = " -e dyspnoea=yes -e x_ray=abnormal";
  const auto answer = answer_of("explain chest.net -t lung_cancer=yes" + evidence);
  const auto belief = [&](const std::string& given) {
    return answer_of("beliefs chest.net -n lung_cancer" + given)
        .at("nodes")[0]
        .at("beliefs")[0]
        .get<double>();
  };
  EXPECT_NEAR(answer.at("posterior"), belief(evidence), 1e-6);
  double sum = answer.at("prior").get<double>();
  for (const auto& finding : answer.at("findings")) sum += finding.at("shapley_value").get<double>();
  EXPECT_NEAR(sum, belief(evidence), 1e-6);
  const auto& first = answer.at("findings")[0];
  ASSERT_EQ(first.at("node"), "x_ray");
  EXPECT_NEAR(first.at("probability_without"), belief(" -e dyspnoea=yes"), 1e-6);
  EXPECT_NEAR(first.at("probability_if").at("normal"), belief(" -e dyspnoea=yes -e x_ray=normal"), 1e-6);
  EXPECT_EQ(first.at("trails")[0].at("nodes"),
            nlohmann::json({"x_ray", "tuberculosis_or_cancer", "lung_cancer"}));
}

}  // namespace
}  // namespace test

// Decisions: policies and what the alternatives lead to.
#include <gtest/gtest.h>

#include <regex>

#include "program/program.h"

namespace test {
namespace {

TEST_F(Program, DecideShowsPoliciesAndWhatTheAlternativesLeadTo) {
  const Outcome outcome = tarvo("decide wildcatter.net");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
  EXPECT_EQ(outcome.output,
            "wildcatter.net: 6 nodes, 2 decisions, evidence on 0\n"
            "\n"
            "test  (Seismic sounding)\n"
            "    choice\n"
            "    yes\n"
            "\n"
            "drill  (Drill)\n"
            "    what to choose in each case that may then be known, and how probable the case is\n"
            "    test  sounding      choice  probability\n"
            "    yes   no_structure  no      0.41\n"
            "    yes   open          yes     0.35\n"
            "    yes   closed        yes     0.24\n"
            "    5 more that do not occur under these policies\n"
            "\n"
            "Next: test  (Seismic sounding)\n"
            "    alternative  expected utility\n"
            "    no           20\n"
            "    yes          22.5\n"
            "\n"
            "Expected utility                   22.5\n");
  const std::string tie = write("tie.net",
                                "net {}\n"
                                "node a { states = (\"x\" \"y\"); } node b { states = (\"p\" \"q\"); }\n"
                                "decision d { states = (\"l\" \"m\" \"r\"); } utility u {}\n"
                                "potential (a) { data = (0.25 0.75); } potential (b) { data = (0.5 0.5); }\n"
                                "potential (d | b a) { data = (1 1 1 1 1 1 1 1 1 0.25 0.25 0.5); }\n"
                                "potential (u | a d) { data = (1 1 0 2 3 3); }\n");
  EXPECT_NE(tarvo("decide " + tie)
                .output.find("    b*  a  choice                        probability\n"
                             "    p   x  l or m                        0.125\n"
                             "    p   y  m or r                        0.375\n"
                             "    q   x  l or m                        0.125\n"
                             "    q   y  m (0.333333) or r (0.666667)  0.375\n"),
            std::string::npos)
      << tarvo("decide " + tie).output;
}

TEST_F(Program, DecideTakesEvidenceAndSpeaksJson) {
  const Outcome outcome = tarvo("decide wildcatter.net -e test=yes -e sounding=closed --format json");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
  const auto answer = nlohmann::json::parse(outcome.output);
  EXPECT_NEAR(answer.at("expected_utility"), 77.5, 1e-4);
  EXPECT_NEAR(answer.at("probability_of_evidence"), 0.24, 1e-6);
  EXPECT_EQ(answer.at("decisions")[0].at("made"), "yes");
  EXPECT_EQ(answer.at("next").at("decision"), "drill");
  EXPECT_NEAR(answer.at("next").at("alternatives")[0].at("expected_utility"), -10, 1e-4);
  const auto breeding = nlohmann::json::parse(tarvo("decide breeding.net --format json").output);
  EXPECT_NEAR(breeding.at("expected_utility"), 726.812, 1e-3);
  for (const auto& decision : breeding.at("decisions"))
    EXPECT_EQ(decision.at("parents")[0].at("requisite"), true) << decision;

  const Outcome no_decisions = tarvo("decide chest.net");
  EXPECT_EQ(no_decisions.exit_code, 1);
  EXPECT_EQ(no_decisions.errors,
            "tarvo: chest.net: the network has no decisions; \"tarvo beliefs\" answers for it\n");
  const Outcome too_early = tarvo("decide wildcatter.net -e sounding=closed");  // the test is not made yet
  EXPECT_EQ(too_early.exit_code, 1);
  EXPECT_EQ(too_early.errors,
            "tarvo: wildcatter.net: \"sounding\" is observed, but decision \"test\", which may influence it, "
            "is not "
            "made yet\n");
  const std::string made = tarvo("decide wildcatter.net -e test=yes -e sounding=closed").output;
  EXPECT_TRUE(contains(made, "\ntest  (Seismic sounding)  [made]\n")) << made;
  EXPECT_TRUE(contains(made, "\n  known: sounding: closed\n")) << made;
}

}  // namespace
}  // namespace test

// Analyses of a network: separation and simulation.
#include <algorithm>

#include "program/program.h"

namespace test {
namespace {

TEST_F(Program, SeparateTellsWhatBearsOnANode) {
  const std::string separated = tarvo("separate chest.net visit_to_asia smoker").output;
  EXPECT_TRUE(contains(separated, "\nvisit_to_asia and smoker are d-separated\n")) << separated;
  const std::string joined = tarvo("separate chest.net visit_to_asia smoker --given dyspnoea").output;
  EXPECT_TRUE(
      contains(joined, "visit_to_asia and smoker are d-connected until these are observed: tuberculosis\n"))
      << joined;
  EXPECT_TRUE(contains(joined, "\n    barren nodes           x_ray\n")) << joined;
  EXPECT_TRUE(contains(tarvo("separate chest.net smoker bronchitis").output,
                       "smoker and bronchitis are d-connected, whatever else is observed\n"));
  EXPECT_TRUE(contains(tarvo("separate chest.net tuberculosis lung_cancer").output, "are d-separated\n"));
  EXPECT_TRUE(
      contains(tarvo("separate chest.net tuberculosis lung_cancer -l x_ray").output, "are d-connected"));

  const auto answer = answer_of("separate chest.net visit_to_asia smoker -g dyspnoea");
  EXPECT_EQ(answer.at("separated"), false);
  EXPECT_EQ(answer.at("separator"), nlohmann::json::array({"tuberculosis"}));
  EXPECT_EQ(answer.at("barren_nodes"), nlohmann::json::array({"x_ray"}));
  EXPECT_EQ(answer_of("separate chest.net smoker bronchitis").at("separator"), nullptr);
  EXPECT_FALSE(answer_of("separate chest.net smoker").contains("separated"));

  const Outcome wrong = tarvo("separate chest.net smoker bronchits");
  EXPECT_EQ(wrong.exit_code, 1);
  EXPECT_TRUE(contains(wrong.errors, "did you mean \"bronchitis\"?")) << wrong.errors;
  const Outcome utility = tarvo("separate wildcatter.net oil -g gain");
  EXPECT_EQ(utility.exit_code, 1);
  EXPECT_TRUE(contains(utility.errors, "nothing can be known of node \"gain\"")) << utility.errors;
}

TEST_F(Program, SimulateDrawsCasesGivenTheEvidence) {
  const std::string out = path("cases.csv");
  const Outcome outcome =
      tarvo("simulate chest.net -n 500 -e dyspnoea=yes --seed 7 --missing 0.25 -o " + out);
  EXPECT_EQ(outcome.output, "chest.net: 500 cases of 8 nodes in " + out + "\n") << outcome.errors;
  const std::string cases = read_file(out);
  EXPECT_EQ(std::count(cases.begin(), cases.end(), '\n'), 501);
  EXPECT_FALSE(contains(cases, ",no\n")) << "against the evidence";
  EXPECT_TRUE(contains(cases, ",yes\n"));
  EXPECT_TRUE(contains(cases, ",,"));
  EXPECT_EQ(tarvo("simulate chest.net -n 500 -e dyspnoea=yes --seed 7 --missing 0.25").output, cases);
  EXPECT_NE(tarvo("simulate chest.net -n 500 -e dyspnoea=yes --seed 8 --missing 0.25").output, cases);

  // What a network gives, it takes: cases of it score as well as they should.
  EXPECT_EQ(tarvo("simulate coins.net -n 50 -o " + out).exit_code, 0);
  EXPECT_EQ(answer_of("score coins.net " + out).at("cases"), 50);
  EXPECT_EQ(tarvo("simulate claims.net -n 5").exit_code, 0) << "has to be compiled";
  EXPECT_EQ(answer_of("simulate wildcatter.net -n 5 -o " + out).at("columns"), 4);

  EXPECT_EQ(tarvo("simulate chest.net").exit_code, 2);
  EXPECT_EQ(tarvo("simulate chest.net -n 5 --missing 1.5").exit_code, 2);
  EXPECT_EQ(tarvo("simulate chest.net -n 5 --format json").exit_code, 2)
      << "the cases are on the standard output";
  EXPECT_EQ(tarvo("simulate chest.net -n 5 -e smoker=perhaps").exit_code, 1);
  const Outcome large = tarvo("simulate chest.net -n 1000000 --memory-limit 10M");
  EXPECT_EQ(large.exit_code, 1);
  EXPECT_TRUE(contains(large.errors, "--memory-limit")) << large.errors;
}

}  // namespace
}  // namespace test

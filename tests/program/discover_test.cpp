// tarvo discover.
#include <gtest/gtest.h>

#include "program/program.h"

namespace test {
namespace {

using nlohmann::json;

class Discover : public Program {
 protected:
  std::string out() const { return path("found.net"); }
  json found(const std::string& arguments) const {
    return answer_of("discover " + arguments + " -o " + out());
  }
  Outcome fails(const std::string& arguments) const {
    std::filesystem::remove(out());
    const Outcome outcome = tarvo("discover " + arguments + " -o " + out());
    EXPECT_EQ(outcome.exit_code, 1) << arguments;
    EXPECT_FALSE(std::filesystem::exists(out())) << arguments;
    return outcome;
  }
};

bool has_link(const json& answer, const std::string& from, const std::string& to) {
  for (const json& link : answer.at("links"))
    if (link.at("from") == from && link.at("to") == to) return true;
  return false;
}

TEST_F(Discover, WritesANetworkThatExplainsTheCases) {
  const json greedy = found("patients.csv --method greedy");
  EXPECT_EQ(greedy.at("nodes"), 8);
  EXPECT_EQ(greedy.at("cases"), 1000);
  const json score = answer_of("score " + out() + " patients.csv");
  EXPECT_NEAR(score.at("bic").get<double>(), greedy.at("bic").get<double>(), 0.05);
  EXPECT_GT(score.at("bic"), answer_of("score chest.net patients.csv").at("bic").get<double>() - 60);
  const json exact = found("patients.csv --method exact");
  EXPECT_GE(exact.at("score_value").get<double>(), greedy.at("score_value").get<double>() - 1e-6);
  const json tests = found("patients.csv");
  EXPECT_GT(tests.at("tests"), 28);
  EXPECT_TRUE(tests.at("links")[0].contains("p_value"));
}

TEST_F(Discover, KeepsWhatExpertsKnow) {
  for (const char* method : {"tests", "greedy", "exact"}) {
    const json answer =
        found(std::string("patients.csv --constraints patients.constraints --method ") + method);
    EXPECT_TRUE(has_link(answer, "tuberculosis", "tuberculosis_or_cancer")) << method;
    EXPECT_TRUE(has_link(answer, "lung_cancer", "tuberculosis_or_cancer")) << method;
    EXPECT_FALSE(has_link(answer, "visit_to_asia", "smoker")) << method;
    EXPECT_FALSE(has_link(answer, "dyspnoea", "bronchitis")) << method;
  }
  const std::string wrong = write("wrong", "tier 1: smoker;\nrequire smoker > bronchitis;\n");
  EXPECT_TRUE(contains(fails("patients.csv --constraints " + wrong).errors, wrong + ":2:16: "));
  const std::string odd = write("odd", "require smoker -> x_ray, x_ray -> dyspnoea, dyspnoea -> smoker;\n");
  EXPECT_TRUE(contains(fails("patients.csv --constraints " + odd).errors, "\"smoker\""));
}

TEST_F(Discover, TakesNodesColumnsAndCountsAsAsked) {
  const std::string rows = write("rows.csv", "id,a,b,n\n1,x,x,10\n2,x,y,1\n3,y,x,1\n4,y,y,10\n");
  const json answer = found(rows + " --count n --leave-out id --method greedy");
  EXPECT_EQ(answer.at("nodes"), 2);
  EXPECT_TRUE(has_link(answer, "a", "b") || has_link(answer, "b", "a"));
  const json forest =
      found("patients.csv --nodes chest.net --leave-out smoker --method tree --target x_ray --forest");
  EXPECT_EQ(forest.at("nodes"), 7);
  EXPECT_TRUE(has_link(forest, "x_ray", "tuberculosis_or_cancer"));
  EXPECT_TRUE(contains(fails("patients.csv --leave-out smokers").errors, "did you mean \"smoker\"?"));
  const std::string texts = write("texts.csv", "a,b\nx,1st\ny,2nd\nx,3rd\n");
  EXPECT_TRUE(contains(fails(texts + " --states 2").errors, "--leave-out"));
  EXPECT_TRUE(contains(fails(write("empty.csv", "a,b\n")).errors, "no cases"));
}

TEST_F(Discover, SaysWhatIsMissing) {
  EXPECT_TRUE(contains(fails("patients.csv --method tan").errors, "target"));
  EXPECT_TRUE(contains(fails("patients.csv --method tan --target smokes").errors, "smokes"));
  EXPECT_EQ(tarvo("discover patients.csv -o " + out() + " --significance 0").exit_code, 2);
  EXPECT_EQ(tarvo("discover patients.csv -o " + out() + " --method testing").exit_code, 2);
  EXPECT_EQ(tarvo("discover patients.csv -o - --format json").exit_code, 2);
  EXPECT_TRUE(contains(tarvo("discover patients.csv -o -").output, "potential"));
}

TEST_F(Discover, TunesClassifiers) {
  const json plain = found("patients.csv --method naive-bayes --target bronchitis");
  const json tuned = found("patients.csv --method naive-bayes --target bronchitis --tune 30");
  EXPECT_LE(tuned.at("held_out_errors"), tuned.at("held_out_errors_before"));
  EXPECT_EQ(plain.at("links"), tuned.at("links"));
  EXPECT_EQ(tarvo("discover patients.csv --method tan --target smoker --tune 3 -o " + out()).exit_code, 2);
}

// The best graph so far is written.
TEST_F(Discover, EndsCleanlyOnInterrupt) {
  const Outcome outcome = shell("timeout --preserve-status -s INT 1 '" TARVO_PROGRAM
                                "' discover patients.csv --method greedy --restarts 100000000 -o " +
                                out());
  EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
  EXPECT_TRUE(contains(outcome.errors, "interrupted: the best found so far is written"));
  EXPECT_EQ(tarvo("check " + out()).exit_code, 0);
}

}  // namespace
}  // namespace test

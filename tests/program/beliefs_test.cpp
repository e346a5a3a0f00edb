// Questions and answers: beliefs in text, JSON and CSV, for every kind of evidence.
#include <gtest/gtest.h>

#include <regex>

#include "program/program.h"

namespace test {
namespace {

TEST_F(Program, TextShowsTheQuestionTheBeliefsAndTheFiguresOfTheEvidence) {
  const Outcome outcome =
      tarvo("beliefs chest.net -e x_ray=abnormal -e dyspnoea=yes -n tuberculosis -n x_ray -n lung_cancer");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
  EXPECT_EQ(outcome.output,
            "chest.net: 8 nodes, evidence on 2\n"
            "\n"
            "tuberculosis  (Tuberculosis)\n"
            "    yes        0.113933\n"
            "  * no         0.886067\n"
            "\n"
            "x_ray  (X-ray result)  [observed]\n"
            "  * abnormal   1.000000\n"
            "    normal     0.000000\n"
            "\n"
            "lung_cancer  (Lung cancer)\n"
            "  * yes        0.621253\n"
            "    no         0.378747\n"
            "\n"
            "Probability of the evidence        0.0706701\n"
            "Its natural logarithm              -2.649733\n"
            "Conflict                           0.68039 (the findings agree)\n");
}

// The expected numbers come from an enumeration of all configurations.
TEST_F(Program, JsonCarriesTheAnswersOfEveryKindOfEvidenceAndPropagation) {
  auto answer =
      nlohmann::json::parse(tarvo("beliefs chest.net -e dyspnoea=yes -l x_ray=0.8,0.1 --format json").output);
  EXPECT_EQ(answer.at("nodes").size(), 8u);
  EXPECT_EQ(answer.at("evidence"), (nlohmann::json{{"dyspnoea", "yes"}}));
  EXPECT_EQ(answer.at("likelihood"), (nlohmann::json{{"x_ray", {0.8, 0.1}}}));
  EXPECT_NEAR(answer.at("log_probability_of_evidence"), -2.374444930, 1e-5);
  EXPECT_NEAR(belief(answer, "lung_cancer", "yes"), 0.3783632, 1e-5);
  EXPECT_NEAR(belief(answer, "x_ray", "abnormal"), 0.6074829, 1e-5);

  const std::string calls = "beliefs burglary.net -e john_calls=yes -e mary_calls='#0' --format json ";
  answer = nlohmann::json::parse(tarvo(calls).output);
  EXPECT_NEAR(belief(answer, "burglary", "yes"), 0.2841718, 1e-5);
  EXPECT_EQ(belief(answer, "john_calls", "yes"), 1.0);

  answer = nlohmann::json::parse(tarvo(calls + "--max").output);
  EXPECT_NEAR(belief(answer, "burglary", "yes"), 0.940941, 1e-5);
  EXPECT_NEAR(belief(answer, "burglary", "no"), 1.0, 1e-5);
  EXPECT_NEAR(answer.at("probability_of_evidence"), 0.002084100, 1e-8);
  EXPECT_NEAR(answer.at("log_probability_of_most_probable_configuration"), -7.372793242, 1e-5);

  answer = nlohmann::json::parse(tarvo(calls + "--fast-retraction").output);
  EXPECT_NEAR(belief(answer, "john_calls", "yes"), 0.177574, 1e-5);  // given Mary's call alone
  EXPECT_NEAR(answer.at("probability_of_evidence"), 0.002084100, 1e-8);
}

// The expected numbers come from linear algebra over all discrete configurations in quadruple precision.
TEST_F(Program, ContinuousNodesShowTheirMeanSpreadAndPercentPoints) {
  const Outcome outcome = tarvo(
      "beliefs incinerator.net -e waste=household -e light=1.1 -e co2=-0.9 -n burning -n metal_in -n light");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
  EXPECT_EQ(outcome.output.substr(0, outcome.output.find("Density")),
            "incinerator.net: 9 nodes, evidence on 3\n"
            "\n"
            "burning  (Burning regime)\n"
            "    stable     0.014981\n"
            "  * unstable   0.985019\n"
            "\n"
            "metal_in  (Metal in the waste)\n"
            "    mean -0.5           standard deviation 0.0707107\n"
            "    5% -0.616309      50% -0.5           95% -0.383691\n"
            "\n"
            "light  (Light penetrability)  [observed]\n"
            "    mean 1.1            standard deviation 0\n"
            "    5% 1.1            50% 1.1            95% 1.1\n"
            "\n");
  EXPECT_TRUE(
      std::regex_search(outcome.output, std::regex("\\nDensity of the evidence            0.05639[0-9]*\\n"
                                                   "Its natural logarithm              -2.87537[0-9]\\n$")))
      << outcome.output;

  const auto answer = nlohmann::json::parse(
      tarvo("beliefs cellar.net -e good1=11.8 -e old1=12.3 -e old2=12.6 -e old3=+14.9 -e old4=1.44e1 "
            "--format json")
          .output);
  EXPECT_EQ(answer.at("evidence").at("old4"), 14.4);
  EXPECT_NEAR(answer.at("log_density_of_evidence"), -5.487278591, 1e-5);
  EXPECT_FALSE(answer.contains("probability_of_evidence"));
  EXPECT_TRUE(answer.at("conflict").is_null());
  for (const auto& node : answer.at("nodes")) {
    if (node.at("name") == "door") {
      EXPECT_NEAR(node.at("beliefs")[1], 1.0, 1e-5);
    }
    if (node.at("name") != "warming") continue;
    EXPECT_NEAR(node.at("mean"), 1.458101, 1e-5);
    EXPECT_NEAR(node.at("standard_deviation"), 0.311646, 1e-5);
    EXPECT_NEAR(node.at("quantiles").at("0.05"), 1.458101 - 1.644854 * 0.311646, 1e-4);
    EXPECT_NEAR(node.at("quantiles").at("0.5"), 1.458101, 1e-4);
    EXPECT_NEAR(node.at("quantiles").at("0.95"), 1.458101 + 1.644854 * 0.311646, 1e-4);
  }
  const std::string rows = tarvo("beliefs cellar.net -e good1=11.8 --format csv -n good1").output;
  EXPECT_EQ(rows.find("node,state,quantity,value\ngood1,,observed_value,11.8\ngood1,,mean,11.8\n"
                      "good1,,standard_deviation,0\ngood1,,quantile_0.05,11.8\n"),
            0u)
      << rows;
}

TEST_F(Program, CsvQuotesLabelsAndEndsWithTheFiguresOfTheWholeNetwork) {
  const std::string file = write("quoted.net",
                                 "net {} node a { states = (\"x, \\\"y\\\"\" \"z\"); } "
                                 "potential (a) { data = (0.25 0.75); }");
  EXPECT_EQ(tarvo("beliefs " + file + " --format csv").output,
            "node,state,quantity,value\na,\"x, \"\"y\"\"\",belief,0.25\na,z,belief,0.75\n"
            ",,probability_of_evidence,1\n,,log_probability_of_evidence,0\n,,conflict,1\n");
}

TEST_F(Program, MethodThreadsAndTraceDoNotChangeTheAnswer) {
  const std::string question =
      "beliefs linkage.net -e affected_1=yes -e marker_1=2 -e affected_2=no --format csv";
  const std::string expected = tarvo(question).output;
  EXPECT_EQ(tarvo(question + " --threads 3").output, expected);
  EXPECT_EQ(tarvo(question + " --trace " + path("trace")).output, expected);
  EXPECT_NE(read_file(path("trace")).find("\n\nThe junction forest:\n"), std::string::npos);
  for (const char* method : {"clique_size", "clique_weight", "fill_in_size", "fill_in_weight", "total_weight",
                             "best_greedy", "auto --effort 3", "total_weight --max-separators 1"}) {
    std::istringstream rows(tarvo(question + " --triangulation " + method).output), expected_rows(expected);
    for (std::string row, expected_row; std::getline(expected_rows, expected_row);) {
      ASSERT_TRUE(std::getline(rows, row)) << method;
      if (row == "node,state,quantity,value") continue;
      const size_t comma = row.rfind(',');
      EXPECT_EQ(row.substr(0, comma), expected_row.substr(0, comma));
      EXPECT_NEAR(std::stod(row.substr(comma + 1)), std::stod(expected_row.substr(comma + 1)), 1e-5) << row;
    }
  }
}

// One question in every form that evidence can have, and in case files.
TEST_F(Program, EvidenceHasTheSameFormsEverywhere) {
  const std::string file = write(
      "forms.net",
      "net {} node a { states = (\"low\" \"mid\" \"high\"); } node n { subtype = number; states = (\"\" \"\" "
      "\"\"); "
      "state_values = (1 2.5 1e3); } node i { subtype = interval; states = (\"\" \"\"); "
      "state_values = (0 10 infinity); } node b { subtype = boolean; states = (\"false\" \"true\"); } "
      "potential (a) { data = (0.2 0.3 0.5); } potential (n | a) { data = ((1 2 1)(2 1 1)(1 1 2)); } "
      "potential (i | a) { data = ((1 2)(1 1)(3 1)); } potential (b | a) { data = ((1 4)(2 1)(1 1)); }\n");
  const struct {
    const char *argument, *case_line;
  } cases[] = {
      {"-e a=mid", "a: \"mid\""},       {"-e 'a=\"mid\"'", "a: #1"},
      {"-e a='#1'", "a: (0 1 0)"},      {"-e n=2.5", "n: 2.5"},
      {"-e n=1000", "n: #2"},           {"-e i=10", "i: 10"},
      {"-e i=9.99", "i: #0"},           {"-e b=true", "b: true"},
      {"-e a=low,high", "a: (1 0 1)"},  {"-e 'a=(0.5 1 0)'", "a: (0.5 1 0)"},
      {"-l a=0.5,1,0", "a: (0.5 1 0)"}, {"-e n=1,2.5", "n: (1 1 0)"},
  };
  for (const auto& [argument, case_line] : cases) {
    const Outcome by_argument = tarvo("beliefs " + file + " --format csv " + argument);
    const Outcome by_case = shell(std::string("echo '") + case_line + "' | '" TARVO_PROGRAM "' beliefs " +
                                  file + " --format csv --case -");
    EXPECT_EQ(by_argument.exit_code, 0) << argument << by_argument.errors;
    EXPECT_EQ(by_argument.output, by_case.output) << argument << by_case.errors;
  }
  const Outcome shown =
      tarvo("beliefs " + file + " --case " + write("a.case", "a: (1 0 1)\nn: (1 0.5 0)\nb: true\n"));
  for (const char* line : {": 4 nodes, evidence on 3\n", "\na  [low or high]\n",
                           "\nn  [likelihood 1 0.5 0]\n", "\nb  [observed]\n"})
    EXPECT_TRUE(contains(shown.output, line)) << shown.output << shown.errors;
  // What the command line says replaces what the case says of the same node.
  EXPECT_EQ(
      tarvo("beliefs " + file + " --case " + path("a.case") + " -e a=mid -e n='#0' -e b=false --format csv")
          .output,
      tarvo("beliefs " + file + " -e a=mid -e n='#0' -e b=false --format csv").output);
}

TEST_F(Program, BeliefsOfADecisionModelSayWhichPoliciesTheyFollow) {
  EXPECT_TRUE(contains(tarvo("beliefs wildcatter.net -e test=yes").output,
                       "follow uniform policies; \"tarvo decide\" finds the best"));
  EXPECT_EQ(answer_of("beliefs wildcatter.net").at("policies"), "uniform");
  const Outcome made = tarvo("beliefs wildcatter.net -e test=yes -e drill=no");
  EXPECT_FALSE(contains(made.output, "policies")) << made.output;
  EXPECT_TRUE(contains(made.output, "drill  (Drill)  [made]\n")) << made.output;
}

}  // namespace
}  // namespace test

// Predicting and cross-validation from files.
#include <cmath>

#include "program/program.h"

namespace test {
namespace {

const char kPair[] =
    "net {}\n"
    "node a { states = (\"no\" \"yes\"); }\n"
    "node b { states = (\"low\" \"high\"); }\n"
    "potential (a) { data = (0.5 0.5); }\n"
    "potential (b | a) { data = ((0.75 0.25)(0 1)); }\n";

class Predict : public Program {
 protected:
  std::string pair() const { return write("pair.net", kPair); }
};

TEST_F(Predict, WritesAnswersAndTellsHowGoodTheyAre) {
  const std::string data = write("cases.tsv", "who\tb\ta\nx\thigh\tyes\ny\t-\tno\n\"\"\tlow\tno\n");
  const std::string command = "predict " + pair() + " " + data + " -t a --keep who --missing -";
  EXPECT_EQ(tarvo(command).output,
            "who\tpredicted(a)\tP(a=no)\tP(a=yes)\nx\tyes\t0.2\t0.8\ny\tno\t0.5\t0.5\n\tno\t1\t0\n");
  const auto answer = answer_of(command + " -o " + path("answers.tsv")).at("targets").at(0);
  EXPECT_EQ(read_file(path("answers.tsv")), tarvo(command + " --threads 2").output);
  EXPECT_EQ(answer.at("rows"), 3);
  EXPECT_EQ(answer.at("accuracy"), 1);
  EXPECT_NEAR(answer.at("log_loss"), -(std::log(0.8) + std::log(0.5)) / 3, 1e-7);
  EXPECT_EQ(answer.at("states").at(1).at("predicted_as").at(1), 1);
  EXPECT_EQ(answer.at("states").at(0).at("area_under_curve"), 1);
}

TEST_F(Predict, ReadsTheStandardInput) {
  const std::string data = write("cases.csv", "b\nhigh\n");
  EXPECT_EQ(tarvo("predict " + pair() + " - -t a < " + data).output,
            "predicted(a),P(a=no),P(a=yes)\nyes,0.2,0.8\n");
}

TEST_F(Predict, TellsWhichLinesDoNotFit) {
  const std::string data = write("cases.csv", "b,c\nhigh,1\nmiddle,2\n");
  const std::string command = "predict " + pair() + " " + data + " -t a -o " + path("out.csv");
  const Outcome strict = tarvo(command);
  EXPECT_EQ(strict.exit_code, 1);
  EXPECT_TRUE(contains(strict.errors, "column \"c\": there is no such node\n")) << strict.errors;
  EXPECT_TRUE(contains(strict.errors, "--lenient")) << strict.errors;
  EXPECT_FALSE(std::filesystem::exists(path("out.csv")));
  const Outcome kept = tarvo(command + " --keep c");
  EXPECT_TRUE(contains(kept.errors, "cases.csv:3: column \"b\": ")) << kept.errors;
  EXPECT_EQ(tarvo(command + " --lenient").exit_code, 0);
  EXPECT_EQ(read_file(path("out.csv")), "predicted(a),P(a=no),P(a=yes)\nyes,0.2,0.8\nno,0.5,0.5\n");
  EXPECT_TRUE(contains(tarvo(command + " --keep d").errors, "there is no column \"d\""));
  EXPECT_EQ(tarvo("predict " + pair() + " " + data + " -t a --format json").exit_code, 2);
  EXPECT_TRUE(contains(tarvo(command + " -t nobody").errors, "there is no node \"nobody\""));
}

TEST_F(Predict, ATextThatIsNoCsvIsNotTheNetworksFault) {
  const Outcome outcome = tarvo("predict " + pair() + " " + write("cases.csv", "b,a\nhigh\n") + " -t a");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_TRUE(contains(outcome.errors, "cases.csv:2:5: row of 1 items")) << outcome.errors;
  EXPECT_FALSE(contains(outcome.errors, "does not fit")) << outcome.errors;
  EXPECT_EQ(tarvo("validate - - -t a").exit_code, 2);
}

TEST_F(Predict, ValidatesByTheCasesLeftOut) {
  const std::string data = write("cases.csv", "a,n\nno,1\nyes,1\nyes,1\nno,0\n");
  const auto answer = answer_of("validate " + pair() + " " + data + " -t a --lenient --folds 4 --count n")
                          .at("targets")
                          .at(0);
  EXPECT_EQ(answer.at("rows"), 3);
  EXPECT_NEAR(answer.at("brier_score"), (2.0 + 0.5 + 0.5) / 3, 1e-6);
  EXPECT_EQ(tarvo("validate " + pair() + " " + data + " -t a --lenient --folds 9").exit_code, 1);
}

}  // namespace
}  // namespace test

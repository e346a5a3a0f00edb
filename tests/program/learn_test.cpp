// Learning and scoring from files of cases.
#include <cmath>

#include "program/program.h"

namespace test {
namespace {

const char kPair[] =
    "net {}\n"
    "node a { states = (\"no\" \"yes\"); }\n"
    "node b { states = (\"low\" \"high\"); }\n"
    "potential (a) { data = (0.5 0.5); }\n"
    "potential (b | a) { data = ((0.5 0.5)(0.5 0.5)); }\n";

class Learn : public Program {
 protected:
  std::string pair() const { return write("pair.net", kPair); }
  // The program's own words for a list of files.
  std::string command(const std::string& rest) const { return "learn " + pair() + " " + rest; }
};

TEST_F(Learn, CountsCompleteCases) {
  const std::string data = write("cases.csv", "b,a\nlow,no\nlow,no\nhigh,no\nhigh,yes\n");
  const auto answer = answer_of(command(data + " -o " + path("out.net")));
  const double likelihood = 3 * std::log(0.75) + std::log(0.25) + 2 * std::log(2.0 / 3) + std::log(1.0 / 3);
  EXPECT_NEAR(answer.at("log_likelihood"), likelihood, 1e-5);
  EXPECT_EQ(answer.at("cases"), 4);
  EXPECT_NEAR(answer.at("aic"), likelihood - 3, 1e-5);
  const auto scores = answer_of("score " + path("out.net") + " " + data);
  EXPECT_NEAR(scores.at("bic"), answer.at("bic"), 1e-5) << "of the numbers as they are written";
  EXPECT_NEAR(belief(answer_of("beliefs " + path("out.net") + " -e a=no"), "b", "low"), 2.0 / 3, 1e-6);
  // What has been learned counts as experience: the same cases again leave the tables as they are.
  EXPECT_TRUE(contains(read_file(path("out.net")), "experience"));
  const Outcome again = tarvo("learn " + path("out.net") + " " + data + " -o " + path("again.net"));
  EXPECT_EQ(again.exit_code, 0) << again.errors;
  EXPECT_TRUE(contains(again.output, "log-likelihood"));
  EXPECT_NEAR(belief(answer_of("beliefs " + path("again.net")), "a", "no"), 0.75, 1e-6);
  EXPECT_TRUE(contains(read_file(path("again.net")), "8"));
}

TEST_F(Learn, CountsAndExperienceWeigh) {
  const std::string data = write("cases.tsv", "a\tn\tb\nyes\t2\thigh\nno\t0\t?\n");
  ASSERT_EQ(tarvo(command(data + " --count n --experience 2 -o " + path("out.net"))).exit_code, 0);
  EXPECT_NEAR(belief(answer_of("beliefs " + path("out.net")), "a", "yes"), 0.75, 1e-6);
  EXPECT_NEAR(belief(answer_of("beliefs " + path("out.net") + " -e a=no"), "b", "low"), 0.5, 1e-6);
}

// From equal tables nothing tells the classes of a hidden node apart.
TEST_F(Learn, RestartsLeaveTheSaddle) {
  std::string net = "net {}\nnode kind { states = (\"1\" \"2\"); }\npotential (kind) { data = (0.5 0.5); }\n";
  std::string csv = "s0,s1,s2,s3\n";
  for (int i = 0; i < 4; ++i) {
    const std::string name = "s" + std::to_string(i);
    net += "node " + name + " { states = (\"n\" \"y\"); }\npotential (" + name +
           " | kind) { data = ((0.5 0.5)(0.5 0.5)); }\n";
  }
  for (int i = 0; i < 100; ++i) csv += i % 2 ? "y,y,y,y\n" : i % 10 ? "n,n,n,n\n" : "n,n,y,?\n";
  write("hidden.net", net);
  write("hidden.csv", csv);
  const std::string command =
      "learn " + path("hidden.net") + " " + path("hidden.csv") + " -o " + path("out.net");
  const double alone = answer_of(command).at("log_likelihood");
  const auto best = answer_of(command + " --restarts 3 --seed 5 --trace " + path("trace"));
  EXPECT_GT(best.at("log_likelihood"), alone + 50);
  EXPECT_EQ(answer_of(command + " --restarts 3 --seed 5 --threads 2").at("log_likelihood"),
            best.at("log_likelihood"));
  const std::string trace = read_file(path("trace"));
  size_t runs = 0;
  for (size_t at = 0; (at = trace.find("EM learning with 100 cases:", at)) != std::string::npos; ++at) ++runs;
  EXPECT_EQ(runs, 4u);
}

TEST_F(Learn, TellsWhichRowsDoNotFit) {
  const std::string data = write("cases.csv", "id,a,b\n1,no,low\n2,maybe,low\n");
  const Outcome strict = tarvo(command(data + " -o " + path("out.net")));
  EXPECT_EQ(strict.exit_code, 1);
  EXPECT_TRUE(contains(strict.errors, "cases.csv: column \"id\": there is no such node\n")) << strict.errors;
  EXPECT_TRUE(contains(strict.errors, "--lenient")) << strict.errors;
  EXPECT_FALSE(std::filesystem::exists(path("out.net")));
  const Outcome lenient = tarvo(command(data + " --lenient -o " + path("out.net")));
  EXPECT_EQ(lenient.exit_code, 0) << lenient.errors;
  EXPECT_TRUE(contains(lenient.errors, "row 2, column \"a\": \"maybe\"")) << lenient.errors;
  EXPECT_EQ(tarvo(command(data + " --count nobody -o " + path("out.net"))).exit_code, 1);
  EXPECT_EQ(tarvo(command("- -o - --format json")).exit_code, 2);
  const Outcome empty = tarvo(command(write("empty.csv", "a,b\n") + " -o " + path("out.net")));
  EXPECT_EQ(empty.exit_code, 1);
  EXPECT_TRUE(contains(empty.errors, "there are no cases")) << empty.errors;
}

TEST_F(Learn, NamesTheCaseThatCannotBe) {
  std::string net = kPair;
  net.replace(net.find("((0.5 0.5)"), 10, "((1 0)");
  const std::string model = write("strict.net", net);
  const std::string data = write("cases.csv", "a,b\nyes,high\nno,high\n");
  const Outcome outcome = tarvo("score " + model + " " + data);
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_TRUE(contains(outcome.errors, "row 2 is impossible")) << outcome.errors;
}

TEST_F(Learn, AnInterruptKeepsWhatThereIs) {
  std::string net =
      "net {}\nnode kind { states = (\"1\" \"2\" \"3\"); }\n"
      "potential (kind) { data = (0.2 0.3 0.5); }\n";
  std::string header, csv;
  for (int i = 0; i < 16; ++i) {
    const std::string name = "s" + std::to_string(i);
    net += "node " + name + " { states = (\"n\" \"y\"); }\npotential (" + name +
           " | kind) { data = ((0.5 0.5)(0.6 0.4)(0.3 0.7)); }\n";
    header += (i ? "," : "") + name;
  }
  for (unsigned row = 0, bits = 1; row < 20000; ++row) {
    for (int i = 0; i < 16; ++i, bits = bits * 1664525 + 1013904223)
      csv += std::string(i ? "," : "") + (bits >> 30 == 0 ? "y" : "n");
    csv += "\n";
  }
  write("hidden.net", net);
  write("hidden.csv", header + "\n" + csv);
  const Outcome outcome =
      shell("timeout -s INT 2 '" TARVO_PROGRAM "' learn " + path("hidden.net") + " " + path("hidden.csv") +
            " --tolerance 0 -o " + path("out.net") + " --format json; test $? = 124");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
  EXPECT_TRUE(contains(outcome.output, "\"interrupted\": true")) << outcome.output;
  EXPECT_TRUE(std::filesystem::exists(path("out.net")));
}

}  // namespace
}  // namespace test

// Networks that learn from files of cases.
#include "program/program.h"

namespace test {
namespace {

const char kCoin[] =
    "net {} node coin { states = (\"head\" \"tail\"); } node copy { states = (\"head\" \"tail\"); }\n"
    "potential (coin) { data = (0.5 0.5); experience = (2); }\n"
    "potential (copy | coin) { data = ((1 0)(0 1)); }\n";

TEST_F(Program, AdaptTakesInCasesAndLeavesOutImpossibleOnes) {
  const std::string coin = write("coin.net", kCoin), out = path("learned.net");
  const std::string cases =
      write("cases.csv", "#count,coin,copy\n3,head,*\n1,head,tail\n0,tail,*\n2,*,tail\n");
  const Outcome outcome = tarvo("adapt " + coin + " " + cases + " -o " + out);
  EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
  EXPECT_EQ(outcome.output, "case 2 is impossible and was left out\n5 observations taken in\n");
  const std::string learned = read_file(out);
  EXPECT_TRUE(contains(learned, "experience = 7;")) << learned;  // 2 + 5
  EXPECT_NEAR(belief(answer_of("beliefs " + out), "coin", "head"), 4.0 / 7.0, 1e-6);
  const auto report = answer_of("adapt " + coin + " - -o " + out + " < " + cases);
  EXPECT_EQ(report.at("cases"), 4);
  EXPECT_EQ(report.at("impossible"), nlohmann::json({2}));
  // To itself, from the file that is being replaced.
  EXPECT_EQ(tarvo("adapt " + out + " " + cases + " -o " + out).exit_code, 0);
  EXPECT_NEAR(belief(answer_of("beliefs " + out), "coin", "head"), 7.0 / 12.0, 1e-6);
}

TEST_F(Program, AdaptGivesExperienceWhereThereIsNone) {
  const std::string coin = write("coin.net", kCoin), out = path("learned.net");
  const std::string cases = write("cases.csv", "coin\nhead\n");
  const Outcome outcome = tarvo("adapt " + coin + " " + cases + " --experience 5 -o -");
  EXPECT_EQ(outcome.errors, "1 observation taken in\n");
  EXPECT_TRUE(contains(outcome.output, "experience = 3;")) << outcome.output;
  EXPECT_TRUE(contains(outcome.output, "( 6\t%  coin=head\n\t  5 )")) << outcome.output;
}

TEST_F(Program, AdaptRefusesWhatItCannotLearnOrWrite) {
  const std::string coin = write("coin.net", kCoin), out = path("learned.net");
  const std::string cases = write("cases.csv", "coin\nhead\n"),
                    halves = write("halves.csv", "#count,coin\n0.5,head\n");
  const struct {
    std::string arguments, message;
    int exit_code;
  } refusals[] = {
      {"chest.net patients.csv -o " + out, "no discrete chance node has an experience table", 1},
      {coin + " " + halves + " -o " + out, "case 1 counts 0.5", 1},
      {coin + " " + coin + " -o " + out, "coin.net:1:", 1},
      {coin + " " + cases + " -o " + path("learned.bif"), "only NET holds experience counts", 2},
      {coin + " " + cases + " -o - --format json", "no room for --format", 2},
      {"- - -o " + out, "cannot both come from the standard input", 2},
      {coin + " " + cases, "--out", 2},
      {coin + " " + cases + " --experience 0 -o " + out, "--experience", 2},
  };
  for (const auto& refusal : refusals) {
    const Outcome outcome = tarvo("adapt " + refusal.arguments);
    EXPECT_EQ(outcome.exit_code, refusal.exit_code) << refusal.arguments;
    EXPECT_TRUE(contains(outcome.errors, refusal.message)) << outcome.errors;
    EXPECT_FALSE(std::filesystem::exists(out)) << refusal.arguments;
  }
}

}  // namespace
}  // namespace test

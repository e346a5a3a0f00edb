// Learning and predicting on several ranks under mpirun: the same bits as alone, and one message for whatever
// fails where.
#include <functional>

#include "program/program.h"

#ifdef TARVO_MPIRUN

namespace test {
namespace {

const char kClass[] =
    "net {}\n"
    "node kind { states = (\"1\" \"2\"); }\n"
    "node a { states = (\"no\" \"yes\"); }\n"
    "node b { states = (\"low\" \"mid\" \"high\"); }\n"
    "potential (kind) { data = (0.4 0.6); }\n"
    "potential (a | kind) { data = ((0.5 0.5)(0.3 0.7)); }\n"
    "potential (b | a kind) { data = (((0.3 0.3 0.4)(0.2 0.5 0.3))((0.3 0.3 0.4)(0.6 0.1 0.3))); }\n";
const char kRegression[] =
    "net {}\n"
    "node a { states = (\"no\" \"yes\"); }\n"
    "node b { states = (\"low\" \"mid\" \"high\"); }\n"
    "continuous node x {}\n"
    "potential (a) { data = (0.4 0.6); }\n"
    "potential (b | a) { data = ((0.5 0.3 0.2)(0.3 0.3 0.4)); }\n"
    "potential (x | a) { data = (normal (1, 1) normal (2, 3)); }\n";

constexpr size_t kRows = 200000;  // four blocks

class OnRanks : public Program {
 protected:
  OnRanks() {
    discrete_ = write("discrete.net", kClass);
    mixed_ = write("mixed.net", kRegression);
  }

  // Rows as another generator than the library's makes them, changed by whoever asks.
  std::string cases(const std::string& name, bool has_values,
                    const std::function<void(size_t, std::string&)>& change = {}) const {
    const char *const a[] = {"no", "yes", "yes"}, *const b[] = {"low", "mid", "high", "high"};
    std::string text = has_values ? "b,a,x,count\n" : "b,a,count\n";
    unsigned bits = 1;
    const auto below = [&](unsigned count) { return ((bits = bits * 1664525 + 1013904223) >> 16) % count; };
    const unsigned rarity = has_values ? 1000 : 5;  // of what is missing, which is propagated beside values
    const auto item = [&](const std::string& known) { return below(rarity) ? known : "?"; };
    for (size_t row = 0; row < kRows; ++row) {
      std::string line = item(b[below(4)]) + "," + item(a[below(3)]);
      if (has_values) line += "," + item(std::to_string(1e-3 * below(4000)));
      line += below(7) ? ",1" : ",0.3";
      if (change) change(row, line);
      text += line + "\n";
    }
    return write(name, text);
  }

  Outcome run(size_t ranks, const std::string& arguments, const std::string& wrapper = "") const {
    return shell("OMPI_MCA_btl=self,vader,tcp ASAN_OPTIONS=detect_leaks=0 timeout 120 " TARVO_MPIRUN
                 " --allow-run-as-root --oversubscribe -n " +
                 std::to_string(ranks) + " " + wrapper + " '" TARVO_PROGRAM "' " + arguments);
  }

  void expect_same_bits(const std::string& model, const std::string& data) const {
    const std::string command = "learn " + model + " " + data + " --count count --experience 2 --restarts 1";
    const auto files = [&](const std::string& name) {
      return " --iterations 3 --trace " + path(name + ".trace") + " -o " + path(name + ".net");
    };
    const auto alone = answer_of(command + files("alone"));
    for (const size_t ranks : {2, 3}) {
      const std::string name = "on" + std::to_string(ranks);
      const Outcome outcome = run(ranks, command + files(name) + " --threads 2 --format json");
      ASSERT_EQ(outcome.exit_code, 0) << outcome.errors;
      auto answer = nlohmann::json::parse(outcome.output);
      answer["out"] = alone.at("out");
      EXPECT_EQ(answer, alone);
      EXPECT_EQ(read_file(path(name + ".net")), read_file(path("alone.net")));
      EXPECT_EQ(read_file(path(name + ".trace")), read_file(path("alone.trace")));
    }
  }

  // One message, and an exit code that is no success nor that of `timeout`.
  void expect_failure(const Outcome& outcome, const std::string& message) const {
    EXPECT_NE(outcome.exit_code, 0);
    EXPECT_NE(outcome.exit_code, 124) << "it hangs";
    EXPECT_TRUE(contains(outcome.errors, message)) << outcome.errors;
    const size_t first = outcome.errors.find("tarvo: ");
    EXPECT_EQ(outcome.errors.find("tarvo: ", first + 1), std::string::npos) << outcome.errors;
    EXPECT_EQ(outcome.output, "");
  }

  std::string discrete_, mixed_;
};

TEST_F(OnRanks, ThereAreTheSameBits) {
  expect_same_bits(discrete_, cases("discrete.csv", false));
  const std::string values = cases("mixed.csv", true);
  ASSERT_EQ(shell("gzip -k " + values).exit_code, 0);
  expect_same_bits(mixed_, values + ".gz");
  // More ranks than blocks.
  const Outcome outcome =
      run(6, "learn " + discrete_ + " " + path("discrete.csv") + " --count count --experience 2" +
                 " --restarts 1 --iterations 3 -o " + path("on6.net"));
  EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
  EXPECT_TRUE(contains(outcome.output, "log-likelihood"));
}

// Line ends of all kinds within and without quotation marks: each rank finds its rows, and says where it is.
TEST_F(OnRanks, RowsAreFoundBehindLineEnds) {
  const auto spread = [](size_t row, std::string& line) {
    if (row % 1000 == 0) line = "\r\n\n\"high\",\"yes\",\"1\"";
    if (row % 3 == 0) line += "\r";
  };
  const std::string command =
      "learn " + discrete_ + " " + cases("spread.csv", false, spread) + " --count count -o ";
  const auto alone = answer_of(command + path("alone.net"));
  const Outcome outcome = run(3, command + path("out.net") + " --format json");
  ASSERT_EQ(outcome.exit_code, 0) << outcome.errors;
  EXPECT_EQ(nlohmann::json::parse(outcome.output).at("log_likelihood"), alone.at("log_likelihood"));
  const auto spoilt = [&](size_t row, std::string& line) {
    spread(row, line);
    if (row == 150007) line = "low";
  };
  const std::string data = cases("spoilt.csv", false, spoilt);
  const Outcome by_one = tarvo("learn " + discrete_ + " " + data + " --count count -o " + path("no.net"));
  ASSERT_TRUE(contains(by_one.errors, "spoilt.csv:")) << by_one.errors;
  expect_failure(run(3, "learn " + discrete_ + " " + data + " --count count -o " + path("no.net")),
                 by_one.errors.substr(0, by_one.errors.find('\n')));
}

// Where there is one column, a line without anything is a row, too.
TEST_F(OnRanks, RowsOfOneColumnMayBeEmpty) {
  std::string text = "\xEF\xBB\xBF\r\n\"a\"\r\n";
  for (size_t row = 0; row < kRows; ++row)
    text += row % 3 == 0 ? "\r\n" : row % 7 == 0 ? "no\r\n" : "yes\r\n";
  const std::string command =
      "learn " + discrete_ + " " + write("one.csv", text) + " --iterations 2 -o " + path("one.net");
  const auto alone = answer_of(command);
  EXPECT_EQ(alone.at("cases"), kRows);
  const Outcome outcome = run(2, command + " --format json");
  ASSERT_EQ(outcome.exit_code, 0) << outcome.errors;
  EXPECT_EQ(nlohmann::json::parse(outcome.output), alone);
}

TEST_F(OnRanks, AFailureAnywhereEndsAll) {
  const std::string out = " -o " + path("out.net");
  const auto unknown = [](size_t row, std::string& line) {
    if (row == 99999 || row == 150006) line = "low,maybe,1";
  };
  const std::string data = cases("unknown.csv", false, unknown);
  expect_failure(run(3, "learn " + discrete_ + " " + data + " --count count" + out), "does not fit");
  const Outcome lenient = run(3, "learn " + discrete_ + " " + data + " --lenient --iterations 1" + out);
  EXPECT_EQ(lenient.exit_code, 0) << lenient.errors;
  const size_t first = lenient.errors.find("row 100000, column \"a\": \"maybe\"");
  EXPECT_LT(first, lenient.errors.find("row 150007, column \"a\"")) << lenient.errors;
  EXPECT_NE(first, std::string::npos) << lenient.errors;

  std::string text = kClass;
  text.replace(text.find("(0.3 0.3 0.4)"), 13, "(0 0.5 0.5)");
  text.replace(text.find("(0.2 0.5 0.3)"), 13, "(0 0.5 0.5)");
  const std::string strict = write("strict.net", text);
  const auto impossible = [](size_t row, std::string& line) {
    line = row == 180000 ? "low,no,1" : "high,yes,1";
  };
  const std::string sad = cases("impossible.csv", false, impossible);
  expect_failure(run(3, "learn " + strict + " " + sad + " --count count" + out), "row 180001 is impossible");

  expect_failure(run(3, "learn absent.net " + data + out), "absent.net: No such file");
  expect_failure(run(3, "learn " + discrete_ + " absent.csv" + out), "absent.csv: No such file");
  expect_failure(run(2, "learn " + discrete_ + " - " + out), "standard input");
  expect_failure(run(2, "learn " + discrete_ + " " + data + " --thread" + out), "--threads");
  expect_failure(run(2, "learn " + discrete_ + " " + data + " --lenient -o /dev/full"), "No space");
}

// Cells with line ends, of which one is in the header, are copied to the answers.
TEST_F(OnRanks, AnswersComeInTheOrderOfTheRows) {
  std::string text = "\"a\nname\",b,a\n";
  for (size_t row = 0; row < 30000; ++row)
    text += (row % 5 ? std::to_string(row) : "\"" + std::to_string(row) + "\n\"") +
            (row % 2 ? ",low," : ",?,") + (row % 3 ? "yes\n" : "no\n");
  const std::string command = "predict " + discrete_ + " " + write("rows.csv", text) +
                              " -t kind -t a --lenient --keep \"$(printf 'a\\nname')\" -o ";
  ASSERT_EQ(tarvo(command + path("alone.csv")).exit_code, 0);
  for (const size_t ranks : {2, 3, 9}) {
    const Outcome outcome = run(ranks, command + path("all.csv"));
    EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
    EXPECT_TRUE(read_file(path("all.csv")) == read_file(path("alone.csv"))) << ranks;
  }
  expect_failure(run(3, command + "/dev/full"), "No space");
  std::filesystem::remove(path("all.csv"));
  text += "x,middle,yes\n";
  expect_failure(run(3, "predict " + discrete_ + " " + write("bad.csv", text) +
                            " -t kind --keep \"$(printf " + "'a\\nname')\" -o " + path("all.csv")),
                 "bad.csv:36003: column \"b\"");
  EXPECT_FALSE(std::filesystem::exists(path("all.csv")));
  expect_failure(run(2, "score " + discrete_ + " " + path("rows.csv")), "not tarvo score");
}

TEST_F(OnRanks, ARankThatIsKilledEndsAll) {
  const std::string data = cases("cases.csv", false);
  const std::string wrapper =
      write("killed.sh",
            "#!/bin/sh\n"
            "if [ \"$OMPI_COMM_WORLD_RANK\" = 1 ]; then (sleep 1; kill -9 $$) & fi\nexec \"$@\"\n");
  const Outcome outcome = run(3,
                              "learn " + discrete_ + " " + data +
                                  " --count count --tolerance 0 --restarts 9999 -o " + path("out.net"),
                              "sh " + wrapper);
  EXPECT_NE(outcome.exit_code, 0);
  EXPECT_NE(outcome.exit_code, 124) << "it hangs";
  EXPECT_FALSE(std::filesystem::exists(path("out.net")));
}

}  // namespace
}  // namespace test

#endif

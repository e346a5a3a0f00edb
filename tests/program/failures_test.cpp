// What is refused, with which words and which exit code.
#include <gtest/gtest.h>

#include <chrono>
#include <regex>

#include "available_memory.h"
#include "program/program.h"
#include "tarvo.h"

namespace test {
namespace {

TEST_F(Program, WhatExceedsTheMemoryLimitIsRefusedAndExplained) {
  const Outcome refused = tarvo("beliefs chest.net --method fill_in_size --memory-limit 2K");
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.output, "");
  EXPECT_TRUE(std::regex_search(
      refused.errors,
      std::regex("^tarvo: chest.net: too large to compile: [0-9.]+ KiB needed, the limit is 2.0 KiB\n"
                 "  The treewidth is 2 by the method fill_in_size.\n"
                 "  What may help: --triangulation auto; --effort 1000, a longer search for smaller tables; "
                 "a higher "
                 "--memory-limit; ")))
      << refused.errors;
  for (const char* enough : {"1M", "0.5g", "0", "10000000"})
    EXPECT_EQ(tarvo(std::string("beliefs chest.net --memory-limit ") + enough).exit_code, 0) << enough;
  for (const char* wrong : {"much", "5X", "5KB", "-1", "1e5", "99999999T", "''"})
    EXPECT_EQ(tarvo(std::string("beliefs chest.net --memory-limit ") + wrong).exit_code, 2) << wrong;
}

TEST_F(Program, ANetworkBeyondTheMachineIsRefusedWithoutALimit) {
  constexpr int kNodes = 60;  // the parents of the last one make a table of 2 to the power 60
  std::string text = "net {}\n", last = "node last { states = (\"a\" \"b\"); }\npotential (last |";
  for (int i = 0; i + 1 < kNodes; ++i) {
    const std::string name = "n" + std::to_string(i);
    text += "node " + name + " { states = (\"a\" \"b\"); }\n";
    if (i > 0) text += "potential (" + name + " | n" + std::to_string(i - 1) + ") { }\n";
    last += " " + name;
  }
  const std::string file = write("huge.net", text + last + ") { }\n");
  for (const char* command : {"beliefs ", "check "}) {
    const Outcome outcome = tarvo(command + file);
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_TRUE(contains(outcome.errors + outcome.output, "the table of \"last\" has 1.15e+18 numbers"))
        << outcome.errors << outcome.output;
  }
  EXPECT_TRUE(
      contains(tarvo("info " + file).output, "\nToo large to compile: the treewidth is at least 59, "));
}

TEST_F(Program, FailuresSayWhatIsWrongAndSuggestTheNearestName) {
  const struct {
    const char *arguments, *message;
    int exit_code;
  } cases[] = {
      {"beliefs chest.net -e dyspnea=yes", "no node \"dyspnea\"; did you mean \"dyspnoea\"?", 1},
      {"beliefs chest.net -n Smoker", "no node \"Smoker\"; did you mean \"smoker\"?", 1},
      {"beliefs chest.net -e zebra=yes", "there is no node \"zebra\"\n", 1},
      {"tables chest.net dyspnea", "no node \"dyspnea\"; did you mean \"dyspnoea\"?", 1},
      {"beliefs chest.net -e x_ray=abnromal",
       "evidence on \"x_ray\": there is no state \"abnromal\"; did you mean \"abnormal\"? (states: abnormal, "
       "normal)",
       1},
      {"beliefs chest.net -e x_ray=abnormal,normla", "no state \"normla\"; did you mean \"normal\"?", 1},
      {"beliefs chest.net -e x_ray='#2'", "there is no state \"#2\"", 1},
      {"beliefs chest.net -l x_ray=1,2,3",
       "evidence on \"x_ray\": 3 values for 2 states (states: abnormal, normal)", 1},
      {"beliefs chest.net -l x_ray=0,0",
       "the evidence is impossible; this cannot be true:\n  x_ray: likelihood 0 0\n", 1},
      {"beliefs coins.net -e gauge=wide", "evidence on \"gauge\": \"wide\" is not a number", 1},
      {"beliefs coins.net -e gauge=nan", "evidence on \"gauge\": number is too large: nan", 1},
      {"beliefs coins.net -e gauge=1e999", "evidence on \"gauge\": number is too large: 1e999", 1},
      {"beliefs coins.net -l gauge=1,2", "the node has no states: it is continuous, and takes a number", 1},
      {"beliefs wildcatter.net -e profit=3", "no node \"profit\"", 1},
      {"beliefs coins.net --max", "--max is not possible in a network with continuous nodes", 1},
      {"beliefs cellar.net -e t1=12 -e t6=13 -e warming=1",
       "cellar.net: the evidence on t1, t6, warming is too much where nodes determine each other exactly", 1},
      {"next chest.net -t lung_cancr", "no node \"lung_cancr\"; did you mean \"lung_cancer\"?", 1},
      {"next chest.net -t smoker -e smoker=yes", "chest.net: the state of node \"smoker\" is known", 1},
      {"next chest.net -t smoker -e x_ray=normal -c x_ray", "node \"x_ray\" is observed already", 1},
      {"next coins.net -t diameter", "node \"diameter\" is a continuous chance node", 1},
      {"next chest.net -t smoker -l x_ray=0,0", "the evidence is impossible; this cannot be true:", 1},
      {"next wildcatter.net -t drill --sequence 1", "\"drill\" is a decision, for which", 1},
      {"explain chest.net -t smoker=maybe", "\"smoker\": there is no state \"maybe\" (states: yes, no)", 1},
      {"explain chest.net -t x_ray=abnromal", "did you mean \"abnormal\"?", 1},
      {"explain coins.net -t diameter", "\"diameter\" is no discrete node", 1},
      {"explain wildcatter.net -t drill", "\"drill\" is a decision", 1},
      {"explain chest.net -t smoker -x asia", "there is no node \"asia\"", 1},
      {"configurations chest.net -n smokr", "did you mean \"smoker\"?", 1},
      {"configurations coins.net -n diameter", "diameter", 1},
      {"configurations chest.net -n smoker -n smoker", "smoker stands twice in the list", 1},
      {"configurations chest.net -l x_ray=0,0", "the evidence is impossible; this cannot be true:", 1},
      {"sensitivity chest.net -t smoker -e smoker=yes", "smoker is observed", 1},
      {"sensitivity coins.net -t coin", "continuous nodes", 1},
      {"sensitivity chest.net", "the network has no utility nodes", 1},
      {"sensitivity chest.net -t smoker --reach 2", "the threshold, 2, is not in [0, 1]", 1},
      {"beliefs absent.net", "tarvo: absent.net: No such file or directory\n", 1},
      {"beliefs chest.net --case absent.case", "tarvo: absent.case: No such file or directory\n", 1},
      {"beliefs chest.net --trace absent/trace",
       "absent/trace: it could not be written: No such file or directory", 1},
      {"beliefs .", "tarvo: .: Is a directory\n", 1},
      {"beliefs chest.net >/dev/full", "the output could not be written: No space left on device", 1},
      {"beliefs chest.net -e dyspnoea", "expected NODE=STATE", 2},
      {"beliefs chest.net -l dyspnoea=1,x", "evidence on \"dyspnoea\": \"x\" is not a number", 2},
      {"beliefs chest.net -l x_ray=1,-2",
       "evidence on \"x_ray\": a likelihood has no negative numbers such as -2", 2},
      {"beliefs chest.net -l x_ray=1,1e999", "evidence on \"x_ray\": number is too large: 1e999", 2},
      {"beliefs chest.net -e smoker=yes -l smoker=1,1", "given twice", 2},
      {"beliefs - --case -", "cannot both come from the standard input", 2},
      {"beliefs chest.net --format jsn", "did you mean \"json\"?", 2},
      {"beliefs chest.net --triangulation best_gredy", "did you mean \"best_greedy\"?", 2},
      {"beliefs chest.net --evidnce smoker=yes", "no option \"--evidnce\"; did you mean \"--evidence\"?", 2},
      {"convert chest.net - --to bfi", "did you mean \"bif\"?", 2},
      {"convert chest.net - --format json", "no room for --format", 2},
      {"beliefs chest.net --threads 0", "threads", 2},
      {"beliefs chest.net --frobnicate", "--frobnicate", 2},
      {"beliefs chest.net burglary.net", "burglary.net", 2},
      {"next chest.net", "--target is required", 2},
      {"next chest.net -t smoker -c x_ray=much", "expected NODE or NODE=PRICE", 2},
      {"next chest.net -t smoker --sequence 4", "--sequence", 2},
      {"explain - -t a --case -", "cannot both come from the standard input", 2},
      {"configurations chest.net -k 0", "--count", 2},
      {"configurations chest.net --at-least 2", "--at-least", 2},
      {"sensitivity chest.net -t smoker --over no", "--over requires --reach", 2},
      {"beliefs", "FILE", 2},
      {"belief chest.net", "no command \"belief\"; did you mean \"beliefs\"?", 2},
      {"", "subcommand", 2},
  };
  for (const auto& [arguments, message, exit_code] : cases) {
    const Outcome outcome = tarvo(arguments);
    EXPECT_EQ(outcome.exit_code, exit_code) << arguments << "\n" << outcome.errors;
    EXPECT_EQ(outcome.output, "") << arguments;
    EXPECT_TRUE(contains(outcome.errors, message)) << arguments << "\n" << outcome.errors;
  }
}

// The words of the library about codes are for programmers.
TEST_F(Program, MistakesAreNeverAnsweredWithTheDescriptionOfAStatus) {
  for (const char* arguments :
       {"beliefs chest.net -e tuberculosis=yes -e tuberculosis_or_cancer=no", "beliefs absent.net",
        "decide wildcatter.net -e sounding=closed", "beliefs chest.net -l x_ray=0,0", "tables chest.net smok",
        "beliefs cellar.net -e t1=12 -e t6=13 -e warming=1"}) {
    const std::string errors = tarvo(arguments).errors;
    EXPECT_NE(errors, "");
    for (unsigned code = 1; code < 48; ++code) {
      EXPECT_FALSE(contains(errors, tv_error_description(code))) << errors;
      EXPECT_FALSE(contains(errors, std::string(": ") + tv_error_name(code) + ":")) << errors;
    }
  }
}

// The smallest group is found among findings that have nothing to do with it, and it really is smallest.
TEST_F(Program, ImpossibleEvidenceNamesASmallestGroup) {
  const Outcome pair = tarvo(
      "beliefs chest.net -e smoker=yes -e tuberculosis=yes -e x_ray=normal -e "
      "tuberculosis_or_cancer=no -e dyspnoea=no");
  EXPECT_EQ(pair.exit_code, 1);
  EXPECT_EQ(pair.errors,
            "tarvo: chest.net: the evidence is impossible; these findings cannot be true together:\n"
            "  tuberculosis: yes\n  tuberculosis_or_cancer: no\n");
  std::string text = "net {}\n", xor_data = "(", evidence;
  constexpr int kInputs = 4;
  for (int i = 0; i < kInputs; ++i) text += "node x" + std::to_string(i) + " { states = (\"0\" \"1\"); }\n";
  text += "node parity { states = (\"0\" \"1\"); }\npotential (parity | x0 x1 x2 x3) { data = (";
  for (int row = 0; row < 1 << kInputs; ++row) text += __builtin_popcount(row) % 2 ? "0 1 " : "1 0 ";
  const std::string file = write("parity.net", text + "); }\n");
  const std::string all = " -e x0=1 -e x1=1 -e x2=1 -e x3=1 -e parity=1";
  const std::string group = tarvo("beliefs " + file + all + " 2>&1 | grep -c ': 1$'").output;
  EXPECT_EQ(group, "5\n");
}

// The sanitizers reserve more addresses than any machine has memory.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
const std::string kFewAddresses;
#else
const std::string kFewAddresses = "ulimit -v 400000; ";
#endif

TEST_F(Program, LargeTablesAreRefusedByEveryCommandBeforeTheyAreMade) {
  std::string text = "net {}\n", last = "last |";
  for (int i = 0; i < 26; ++i) {
    text += "node n" + std::to_string(i) + " { states = (\"a\" \"b\"); }\n";
    last += " n" + std::to_string(i);
  }
  const std::string file =
      write("large.net", text + "decision last { states = (\"a\" \"b\"); }\nutility u {}\npotential (" +
                             last + ") { }\npotential (u | last) { data = (1 2); }\n");
  for (const char* command : {"beliefs 'F'", "decide 'F'", "check 'F'", "tables 'F' last", "convert 'F' -",
                              "convert 'F' - --to xmlbif"}) {
    std::string arguments = command;
    arguments.replace(arguments.find("F"), 1, file);
    const Outcome outcome =
        shell(kFewAddresses + ("'" TARVO_PROGRAM "' " + arguments + " --memory-limit 100M"));
    EXPECT_EQ(outcome.exit_code, 1) << command << outcome.output;
    EXPECT_TRUE(
        contains(outcome.errors + outcome.output, "the table of \"last\" has 134217728 numbers, which take "))
        << command << outcome.errors;
    EXPECT_TRUE(contains(outcome.errors + outcome.output, "the limit is 100.0 MiB")) << outcome.errors;
  }
  EXPECT_EQ(shell(kFewAddresses + ("'" TARVO_PROGRAM "' info " + file)).exit_code, 0);
}

// Triangulating it takes a minute.
TEST_F(Program, AHopelessNetworkIsRefusedAtOnce) {
  std::string text = "net {}\n";
  unsigned state = 1;
  const auto draw = [&](unsigned bound) { return (state = state * 1664525 + 1013904223) / 65536 % bound; };
  for (int i = 0; i < 10000; ++i) text += "node n" + std::to_string(i) + " { states = (\"a\" \"b\"); }\n";
  for (int i = 100; i < 10000; ++i) {
    const int p = static_cast<int>(draw(static_cast<unsigned>(i) / 2)),
              q = i / 2 + static_cast<int>(draw(static_cast<unsigned>(i) / 2 - 1));
    text += "potential (n" + std::to_string(i) + " | n" + std::to_string(p) + " n" + std::to_string(q) +
            ") { }\n";
  }
  const std::string file = write("random.net", text);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(contains(tarvo("info " + file).output, "Too large to compile: the treewidth is at least 59"));
  EXPECT_TRUE(
      contains(tarvo("beliefs " + file).errors, "too large to compile: the treewidth is at least 59"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

// Both versions of control groups, nested ones, and the way that a container sees its own.
TEST_F(Program, TheLimitsOfControlGroupsAreFound) {
  const auto limit = [&](const std::string& file, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(path(file)).parent_path());
    write(file, text);
  };
  limit("two/memory.max", "max\n");
  limit("two/a/memory.max", "5000\n");
  limit("two/a/b/memory.max", "9000\n");
  limit("one/memory/memory.limit_in_bytes", "9223372036854771712\n");
  limit("one/memory/a/memory.limit_in_bytes", "7000\n");
  EXPECT_EQ(program::control_group_limit("0::/a/b\n", path("two")), 5000u);
  EXPECT_EQ(program::control_group_limit("0::/\n", path("two/a")), 5000u);
  EXPECT_EQ(program::control_group_limit("0::/elsewhere\n", path("two")), 0u);
  EXPECT_EQ(program::control_group_limit("5:cpu,memory:/a\n1:name=systemd:/a\n0::/\n", path("one")), 7000u);
  EXPECT_EQ(program::control_group_limit("5:memory:/\n", path("one")), 0u);
  EXPECT_EQ(program::control_group_limit("", path("one")), 0u);
}

TEST_F(Program, HelpAndVersionAreEverywhere) {
  for (const char* command :
       {"", "beliefs ", "info ", "check ", "decide ", "next ", "explain ", "configurations ", "sensitivity ",
        "separate ", "simulate ", "tables ", "convert "}) {
    const Outcome help = tarvo(std::string(command) + "--help"),
                  version = tarvo(std::string(command) + "--version");
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_NE(help.output.find("Example"), std::string::npos) << help.output;
    EXPECT_EQ(version.exit_code, 0);
    EXPECT_TRUE(std::regex_match(version.output, std::regex("tarvo \\d+\\.\\d+\\.\\d+\n"))) << version.output;
    EXPECT_EQ(help.errors + version.errors, "");
  }
}

}  // namespace
}  // namespace test

// --compress and --approximate: answers, figures in every form, and what is refused.
#include <gtest/gtest.h>

#include <cmath>
#include <regex>
#include <vector>

#include "program/program.h"

namespace test {
namespace {

// Binary inputs, and gates that are each the exclusive or of two random nodes before them.
struct Circuit {
  static constexpr int kInputs = 8;
  struct Gate {
    int one, other;
  };
  std::vector<Gate> gates;

  explicit Circuit(int count) {
    unsigned state = 1;
    const auto draw = [&](int bound) {
      return static_cast<int>((state = state * 1664525 + 1013904223) / 65536 % static_cast<unsigned>(bound));
    };
    for (int g = 0; g < count; ++g) {
      const int nodes = kInputs + g, one = draw(nodes);
      gates.push_back({one, (one + 1 + draw(nodes - 1)) % nodes});
    }
  }

  static double input(int i) { return 0.1 + 0.1 * i; }  // the probability of "1"
  static std::string name(size_t node) { return "n" + std::to_string(node); }
  size_t size() const { return kInputs + gates.size(); }

  std::string net() const {
    std::string text = "net {}\n";
    for (size_t i = 0; i < size(); ++i) text += "node " + name(i) + " { states = (\"0\" \"1\"); }\n";
    for (int i = 0; i < kInputs; ++i)
      text += "potential (" + name(static_cast<size_t>(i)) + ") { data = (" + std::to_string(1 - input(i)) +
              " " + std::to_string(input(i)) + "); }\n";
    for (size_t g = 0; g < gates.size(); ++g)
      text += "potential (" + name(kInputs + g) + " | " + name(static_cast<size_t>(gates[g].one)) + " " +
              name(static_cast<size_t>(gates[g].other)) + ") { data = (1 0 0 1 0 1 1 0); }\n";
    return text;
  }

  // The probability of "1" for each node, given that the last one is "1", and the probability of that: behind
  // all others.
  std::vector<double> beliefs_given_last() const {
    std::vector<double> ones(size() + 1);
    for (unsigned c = 0; c < 1u << kInputs; ++c) {
      std::vector<unsigned> states;
      double weight = 1;
      for (int i = 0; i < kInputs; ++i) {
        states.push_back(c >> i & 1);
        weight *= states.back() ? input(i) : 1 - input(i);
      }
      for (const Gate& gate : gates)
        states.push_back(states[static_cast<size_t>(gate.one)] ^ states[static_cast<size_t>(gate.other)]);
      if (!states.back()) continue;
      ones.back() += weight;
      for (size_t i = 0; i < size(); ++i) ones[i] += states[i] * weight;
    }
    for (size_t i = 0; i < size(); ++i) ones[i] /= ones.back();
    return ones;
  }
};

TEST_F(Program, CompressionChangesNoAnswerAndTellsWhatItSaves) {
  const std::string file = write("circuit.net", Circuit(70).net());
  for (const char* question : {" -e n77=1 -e n20=0", " --max"}) {
    const auto full = answer_of("beliefs " + file + question);
    const auto compressed = answer_of("beliefs " + file + question + " --compress");
    EXPECT_NEAR(compressed.at("log_probability_of_evidence"), full.at("log_probability_of_evidence"), 1e-5);
    for (size_t i = 0; i < full.at("nodes").size(); ++i)
      EXPECT_NEAR(compressed.at("nodes")[i].at("beliefs")[1], full.at("nodes")[i].at("beliefs")[1], 1e-5)
          << i;
    EXPECT_FALSE(full.contains("compression_ratio"));
    EXPECT_FALSE(compressed.contains("kept_mass"));
    const auto forest = answer_of("info " + file + " --compress").at("forests")[0];
    for (const char* figure : {"memory_needed", "compressed_memory_needed", "compression_ratio"})
      EXPECT_EQ(compressed.at(figure), forest.at(figure)) << figure;
    const double before = forest.at("memory_needed"), after = forest.at("compressed_memory_needed");
    EXPECT_LT(after, before / 2);
    EXPECT_NEAR(forest.at("compression_ratio"), after / before, 1e-9);
  }
  const std::regex line("Memory with compressed tables      [0-9.]+ KiB \\(0\\.[0-9]+ of full tables\\)\n");
  EXPECT_TRUE(std::regex_search(tarvo("beliefs " + file + " --compress").output, line));
  EXPECT_TRUE(
      std::regex_search(tarvo("info " + file + " --compress").output,
                        std::regex("\n  compressed      [0-9.]+ KiB \\(0\\.[0-9]+ of full tables\\)\n")));
  EXPECT_TRUE(
      std::regex_search(tarvo("info " + file + " --compress --triangulation all").output,
                        std::regex(" memory  compressed +ms\n(.* [0-9.]+ KiB +[0-9.]+ KiB +[0-9.]+\n){7}$")));
  EXPECT_TRUE(std::regex_search(tarvo("beliefs " + file + " --compress --format csv").output,
                                std::regex("\n,,memory_needed,[0-9]+\n,,compressed_memory_needed,[0-9]+\n"
                                           ",,compression_ratio,0\\.[0-9]+\n$")));
  // Tables stay full where there are decisions, and policies are what they are without compression.
  const auto plan = answer_of("decide wildcatter.net --compress"), plain = answer_of("decide wildcatter.net");
  EXPECT_EQ(plan.at("decisions"), plain.at("decisions"));
  EXPECT_EQ(plan.at("compression_ratio"), 1);
  EXPECT_TRUE(
      contains(tarvo("decide wildcatter.net --compress --format csv").output, ",,,compression_ratio,1"));
}

TEST_F(Program, CompressedNetworksAreAnsweredThatDoNotFitOtherwise) {
  const Circuit circuit(150);
  const std::string question =
      "beliefs " + write("circuit.net", circuit.net()) + " -e " + Circuit::name(circuit.size() - 1) + "=1";
  const Outcome refused = tarvo(question + " --memory-limit 16M");
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_TRUE(contains(refused.errors, "too large to compile: ")) << refused.errors;
  EXPECT_TRUE(contains(refused.errors, "\"tarvo info FILE --compress\"")) << refused.errors;
  const auto answer = answer_of(question + " --memory-limit 16M --compress");
  const std::vector<double> expected = circuit.beliefs_given_last();
  EXPECT_NEAR(answer.at("probability_of_evidence"), expected.back(), 1e-5);
  for (size_t i = 0; i < circuit.size(); ++i)
    EXPECT_NEAR(belief(answer, Circuit::name(i), "1"), expected[i], 1e-5) << i;
  const Outcome too_small = tarvo(question + " --memory-limit 20K --compress");
  EXPECT_EQ(too_small.exit_code, 1);
  EXPECT_TRUE(contains(too_small.errors, "the limit is 20.0 KiB")) << too_small.errors;
}

// Without evidence a loses its last three states to an epsilon of 0.25, given b = odd its fourth.
const char kStates[] =
    "net {} node a { states = (\"1\" \"2\" \"3\" \"4\" \"5\"); } node b { states = (\"odd\" \"even\"); }\n"
    "potential (a) { data = (0.5 0.3 0.1 0.06 0.04); }\n"
    "potential (b | a) { data = (1 0  0 1  0 1  1 0  0 1); }\n";

TEST_F(Program, ApproximationHoldsUnderEvidenceWithCompression) {
  const std::string file = write("states.net", kStates), question = "beliefs " + file + " --approximate 0.25";
  for (const char* more : {"", " --compress"}) {
    const auto answer = answer_of(question + more);
    EXPECT_NEAR(answer.at("kept_mass"), 0.8, 1e-6) << more;
    EXPECT_NEAR(belief(answer, "a", "1"), 0.625, 1e-6) << more;
    EXPECT_EQ(belief(answer, "a", "3"), 0) << more;
    EXPECT_TRUE(contains(tarvo(question + more).output, "\nKept by the approximation          0.8\n"))
        << more;
    EXPECT_TRUE(contains(tarvo(question + more + " --format csv").output, "\n,,kept_mass,0.8")) << more;
    EXPECT_NEAR(answer_of("info " + file + " --approximate 0.25" + more).at("forests")[0].at("kept_mass"),
                0.8, 1e-6);
    EXPECT_TRUE(
        contains(tarvo("info " + file + " --approximate 0.25" + more).output, "\n  kept mass       0.8\n"));
  }
  const auto before = answer_of(question + " --compress -e b=odd"), after = answer_of(question + " -e b=odd");
  EXPECT_NEAR(before.at("kept_mass"), 0.8, 1e-6);
  EXPECT_NEAR(before.at("probability_of_evidence"), 0.5, 1e-6);
  EXPECT_NEAR(after.at("kept_mass"), 0.5 / 0.56, 1e-6);
  EXPECT_NEAR(after.at("probability_of_evidence"), 0.56, 1e-6);
  for (const auto& answer : {before, after}) EXPECT_EQ(belief(answer, "a", "1"), 1);
  const auto best = answer_of(question + " --compress -e b=even --max");
  EXPECT_EQ(belief(best, "a", "3"), 0);
  EXPECT_NEAR(best.at("probability_of_most_probable_configuration"), 0.3, 1e-6);

  const Outcome lost = tarvo(question + " --compress -e a=4");
  EXPECT_EQ(lost.exit_code, 1);
  EXPECT_EQ(lost.errors, "tarvo: " + file +
                             ": the evidence is impossible in what --approximate has left; this cannot be "
                             "true:\n  a: 4\n");
  EXPECT_EQ(tarvo(question + " -e a=4").exit_code, 0);
}

TEST_F(Program, CompressionAndApproximationAreRefusedInWords) {
  const std::string chain =
      write("chain.net",
            "net {} node a { states = (\"x\" \"y\"); } node b { states = (\"x\" \"y\"); }\n"
            "potential (a b) { data = (1 2 3 4); }\n");
  const struct {
    std::string arguments;
    const char* message;
    int exit_code;
  } cases[] = {
      {"beliefs chest.net --compress --fast-retraction",
       "--fast-retraction is not possible with --compress\n", 2},
      {"beliefs chest.net --approximate 0.1 --fast-retraction",
       "--fast-retraction is not possible with --approximate\n", 2},
      {"beliefs chest.net --approximate 0.1 --max", "--max with --approximate needs --compress, ", 2},
      {"info chest.net --approximate 0.1 --triangulation all", "--triangulation, not all\n", 2},
      {"info chest.net --approximate much", "\"much\" is no positive number; expected 0.001 or the like", 2},
      {"beliefs chest.net --approximate ''", "is no positive number", 2},
      {"beliefs chest.net --approximate=0", "\"0\" is no positive number", 2},
      {"beliefs chest.net --approximate=-0.1", "\"-0.1\" is no positive number", 2},
      {"beliefs chest.net --approximate inf", "\"inf\" is no positive number", 2},
      {"beliefs chest.net --approximate nan", "\"nan\" is no positive number", 2},
      {"beliefs chest.net --approximate 3", "chest.net: --approximate 3 leaves nothing\n", 1},
      {"decide wildcatter.net --approximate 0.1",
       "wildcatter.net: --approximate is not possible in a network with decisions\n", 1},
      {"beliefs wildcatter.net --approximate 0.1", "is not possible in a network with decisions\n", 1},
      {"info wildcatter.net --approximate 0.1", "is not possible in a network with decisions\n", 1},
      {"beliefs coins.net --compress --approximate 0.1", "coins.net: with continuous nodes or utilities ", 1},
      {"beliefs " + chain + " --compress",
       "chain.net: a network with undirected links cannot be compressed\n", 1},
      {"info " + chain + " --compress", "chain.net: a network with undirected links cannot be compressed\n",
       1},
  };
  for (const auto& [arguments, message, exit_code] : cases) {
    const Outcome outcome = tarvo(arguments);
    EXPECT_EQ(outcome.exit_code, exit_code) << arguments;
    EXPECT_TRUE(contains(outcome.errors, message)) << arguments << "\n" << outcome.errors;
  }
}

}  // namespace
}  // namespace test

// Commands that look at networks without asking them anything: info, check, tables.
#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "program/program.h"

namespace test {
namespace {

TEST_F(Program, InfoCountsContinuousNodes) {
  const Outcome info = tarvo("info incinerator.net");
  EXPECT_EQ(
      "incinerator.net\n"
      "  nodes           9 (9 chance; 6 continuous)\n"
      "  links           10\n"
      "  most states     2\n"
      "  parameters      38 free, 41 table entries\n"
      "  largest family  dust: 4 nodes, 12 entries\n",
      info.output.substr(0, info.output.find("\nJunction")));
  EXPECT_TRUE(std::regex_search(info.output, std::regex("\n  continuous      [0-9]+ means and covariances")))
      << info.output;
}

TEST_F(Program, InfoCountsTheNetworkAndComparesTheMethods) {
  const Outcome info = tarvo("info chest.net");
  EXPECT_EQ(
      "chest.net\n"
      "  nodes           8 (8 chance)\n"
      "  links           8\n"
      "  most states     2\n"
      "  parameters      18 free, 36 table entries\n"
      "  largest family  tuberculosis_or_cancer: 3 nodes, 8 entries\n"
      "\n"
      "Junction forest (auto)\n"
      "  cliques         6 in 1 tree\n"
      "  treewidth       2\n"
      "  table size      56 entries in cliques and separators\n"
      "  cost            40 entries in cliques, the least that is possible\n",
      info.output.substr(0, info.output.find("  memory needed")));
  EXPECT_TRUE(
      std::regex_search(info.output, std::regex("\n  memory needed   [0-9.]+ KiB to compile it\n\n"
                                                "Prime components that are not complete\n"
                                                "  nodes  with    cost\n  4      smoker  16    optimal\n$")))
      << info.output;
  const std::string all = tarvo("info chest.net --triangulation all").output;
  for (const char* method : {"clique_size", "clique_weight", "fill_in_size", "fill_in_weight", "total_weight",
                             "best_greedy", "auto"})
    EXPECT_TRUE(
        std::regex_search(all, std::regex(std::string("\n") + method + " +6 +1 +2 +56 +40 +[0-9.]+ KiB ")))
        << all;
}

TEST_F(Program, EliminationOrdersAreSavedAndReadAgain) {
  const std::string order = path("order");
  EXPECT_EQ(tarvo("info printer.net --triangulation total_weight --save-order " + order).exit_code, 0);
  const std::string saved = read_file(order);
  EXPECT_EQ(std::count(saved.begin(), saved.end(), '\n'), 12);
  for (const char* command : {"beliefs printer.net", "check printer.net", "decide wildcatter.net"})
    EXPECT_EQ(tarvo(std::string(command) + " --save-order " + path("again")).exit_code, 0) << command;
  // An order gives the cliques of the triangulation from which it was saved.
  const std::string info = tarvo("info linkage.net --save-order " + order).output;
  const auto without_method = [](const std::string& text) {
    return std::regex_replace(text, std::regex("Junction forest .*\n"), "");
  };
  const Outcome again = tarvo("info linkage.net --order " + order);
  EXPECT_EQ(without_method(again.output), without_method(info));
  EXPECT_TRUE(contains(again.output, "Junction forest (order)"));
  EXPECT_EQ(tarvo("info linkage.net --triangulation total_weight --order " + order).exit_code, 0);
  const std::string commented = write("commented", "% first\n\n  " + saved);
  EXPECT_EQ(tarvo("info printer.net --order " + commented).exit_code, 0);
  const auto refused = [&](const std::string& text, const std::string& more = "") {
    return tarvo("info printer.net " + more + " --order " + write("refused", text)).errors;
  };
  EXPECT_TRUE(
      contains(refused("page\npaage\n"), "refused:2: printer.net: there is no node \"paage\"; did you"));
  EXPECT_TRUE(contains(refused("page\n"), "no elimination order of the network"));
  EXPECT_TRUE(
      contains(refused("page\n", "--triangulation total_weight"), "no elimination order of the network"));
  EXPECT_EQ(tarvo("info printer.net --triangulation fill_in_size --order " + order).exit_code, 2);
}

TEST_F(Program, CheckFindsWhatIsWrongAndWhatIsHardlyMeant) {
  const std::string wrong =
      write("wrong.net", "net {}\nnode a { states = (\"x\" \"y\"); }\npotential (b) {}\n");
  const Outcome text = tarvo("check " + wrong);
  EXPECT_EQ(text.exit_code, 1);
  EXPECT_EQ(text.errors, "");
  EXPECT_TRUE(contains(text.output, wrong + ":3")) << text.output;
  EXPECT_TRUE(contains(text.output, ": node `b' not found\n    potential (b) {}\n")) << text.output;
  EXPECT_TRUE(contains(text.output, wrong + ": no network: 1 error, 0 warnings, 0 notes\n")) << text.output;

  const std::string odd =
      write("odd.net",
            "net {}\nnode a { states = (\"x\" \"y\"); }\nnode b { states = (\"x\" \"x\" \"z\"); }\n"
            "node c { states = (\"p\" \"q\"); }\nnode alone { states = (\"p\" \"q\"); }\n"
            "potential (a) { data = (0.5 0.4); }\npotential (b | a) { data = ((0.5 0.5 0)(0.25 0.75 0)); }\n"
            "potential (c | a b) { data = (0.33 0.67 0.1 0.9 1 0  0.33 0.67 0.1 0.9 1 0); }\n"
            "potential (alone) { data = (0.3333 0.6666); }\n");
  const nlohmann::json report = answer_of("check " + odd);
  std::set<std::string> found;
  for (const auto& remark : report.at("remarks"))
    found.insert(remark.at("severity").get<std::string>() + " " + remark.at("certainty").get<std::string>() +
                 " " + remark.at("kind").get<std::string>() + " " + remark.at("node").get<std::string>());
  EXPECT_EQ(found,
            (std::set<std::string>{"warning certain sum a", "warning certain duplicate_label b",
                                   "note likely sum alone", "note certain no_influence c",
                                   "note certain impossible_state b", "note certain no_effect alone"}));
  EXPECT_EQ(report.at("sound"), false);
  EXPECT_EQ(tarvo("check " + odd).exit_code, 1);

  const std::string zero =
      write("zero.net", "net {}\nnode a { states = (\"x\" \"y\"); }\npotential (a) { data = (0 0); }\n");
  const Outcome outcome = tarvo("check " + zero);
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_TRUE(contains(outcome.output, "error (certain): the distribution of \"a\" sums to zero"))
      << outcome.output;

  const std::string idle =
      write("idle.net",
            "net {}\nnode a { states = (\"x\" \"y\"); }\ndecision d { states = (\"x\" \"y\"); }\n"
            "decision e { states = (\"x\" \"y\"); }\nutility u {}\npotential (a) { data = (0.5 0.5); "
            "}\npotential (d | a) {}\n"
            "potential (e) {}\npotential (u | d) { data = (1 2); }\n");
  const std::string idle_text = tarvo("check " + idle + " 2>&1").output;
  EXPECT_TRUE(contains(idle_text, "warning (certain): no utility depends on \"e\"")) << idle_text;
  EXPECT_TRUE(contains(idle_text, "note (certain): \"a\" can make no difference to decision \"d\""))
      << idle_text;
}

TEST_F(Program, PrintsTables) {
  EXPECT_EQ(
      "tuberculosis_or_cancer  bronchitis  yes   no\n"
      "yes                     yes         0.9  0.1\n"
      "yes                     no          0.7  0.3\n"
      "no                      yes         0.8  0.2\n"
      "no                      no          0.1  0.9\n",
      tarvo("tables chest.net dyspnoea").output);
  EXPECT_EQ("node,state,quantity,value\nsmoker,yes,probability,0.5\nsmoker,no,probability,0.5\n",
            tarvo("tables chest.net smoker --format csv").output);
  const std::string file =
      write("mixed.net",
            "node A { states = (\"a\" \"b\"); } continuous node X {} continuous node Y {}\n"
            "potential (Y | A X) { data = (normal (1 - 0.5 * X, 2) normal (0, 1)); }\n");
  EXPECT_EQ("A  intercept   * X  variance\na          1  -0.5         2\nb          0     0         1\n",
            tarvo("tables '" + file + "' Y 2>/dev/null").output);
  EXPECT_EQ(
      "node,given.A,state,quantity,value\nY,a,,intercept,1\nY,a,,* X,-0.5\nY,a,,variance,2\n"
      "Y,b,,intercept,0\nY,b,,* X,0\nY,b,,variance,1\n",
      tarvo("tables '" + file + "' Y --format csv 2>/dev/null").output);
  EXPECT_EQ(1, tarvo("tables chest.net smoke").exit_code);
}

TEST_F(Program, EveryExampleIsSoundAndItsBeliefsAreDistributions) {
  size_t examples = 0;
  for (const auto& entry : std::filesystem::directory_iterator(kExamples)) {
    if (entry.path().extension() != ".net") continue;
    ++examples;
    const std::string file = entry.path().filename();
    const Outcome checked = tarvo("check " + file);
    EXPECT_EQ(checked.exit_code, 0) << file;
    EXPECT_EQ(checked.errors, "") << file;
    EXPECT_TRUE(contains(checked.output, " 0 errors, 0 warnings, ")) << checked.output;
    const auto answer = nlohmann::json::parse(tarvo("beliefs " + file + " --format json").output);
    EXPECT_NEAR(answer.at("log_probability_of_evidence"), 0.0, 1e-5) << file;
    for (const auto& node : answer.at("nodes")) {
      if (node.contains("mean")) {
        EXPECT_LE(node.at("quantiles").at("0.05"), node.at("quantiles").at("0.95")) << file;
        continue;
      }
      if (node.contains("value")) {
        EXPECT_TRUE(node.at("value").is_number()) << file << " " << node.at("name");
        continue;
      }
      double sum = 0;
      for (double value : node.at("beliefs")) sum += value;
      EXPECT_NEAR(sum, 1.0, 1e-5) << file << " " << node.at("name");
    }
  }
  EXPECT_GE(examples, 6u);
}

// Every session of the program that the pages show, but for times and for files that would be written.
TEST_F(Program, ThePagesShowWhatIsPrinted) {
  const std::regex times("[0-9.]+\n"), blanks(" +");
  size_t sessions = 0;
  std::filesystem::create_directory_symlink(kExamples, path("examples"));
  for (const char* page : {"README.md", "docs/program.md", "docs/decisions.md", "docs/compression.md",
                           "docs/structure.md", "docs/explanation.md", "docs/diagnosis.md"}) {
    std::istringstream lines(read_file(kExamples + "/../" + page));
    std::string command, expected;
    const auto compare = [&] {
      const bool shows = command.rfind("tarvo ", 0) == 0 && !contains(command, "convert") &&
                         !expected.empty() && !contains(command, "wrong.net") &&
                         !contains(command, "[OPTION");
      if (shows) {
        ++sessions;
        std::string printed =
            shell("cd '" + path("") + "' && '" TARVO_PROGRAM "' " + command.substr(6) + " 2>&1").output;
        if (contains(command, "--triangulation all"))
          for (std::string* text : {&printed, &expected}) *text = std::regex_replace(*text, times, "\n");
        EXPECT_EQ(std::regex_replace(printed, blanks, " "), std::regex_replace(expected, blanks, " "))
            << page << ": " << command;
      }
      command.clear();
      expected.clear();
    };
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
      const bool is_fence = line.rfind("```", 0) == 0;
      if (is_fence || line.rfind("$ ", 0) == 0) compare();
      if (is_fence)
        inside = line == "```console";
      else if (inside && line.rfind("$ ", 0) == 0)
        command = line.substr(2);
      else if (inside)
        expected += line + "\n";
    }
  }
  EXPECT_GE(sessions, 8u);
}

TEST_F(Program, HostsInCAndInCppRun) {
  const Outcome c = shell("'" TARVO_HOST_BELIEFS "' chest.net dyspnoea yes x_ray abnormal");
  EXPECT_EQ(c.exit_code, 0) << c.errors;
  EXPECT_NE(c.output.find("tuberculosis\n  yes          0.113933\n"), std::string::npos) << c.output;
  EXPECT_NE(c.output.find("probability of the evidence: 0.0706701\n"), std::string::npos) << c.output;
  EXPECT_EQ(shell("'" TARVO_HOST_BELIEFS "' chest.net dyspnoea perhaps").exit_code, 1);
  const Outcome compressed = shell("'" TARVO_HOST_COMPRESS "' multiplier.net");
  const std::regex saved("[0-9]+ bytes instead of [0-9]+\nP\\(a4 = 1 \\| p11 = 1\\) = 0.7057\n");
  EXPECT_TRUE(std::regex_match(compressed.output, saved)) << compressed.output << compressed.errors;
  EXPECT_TRUE(contains(read_file(kExamples + "/../docs/compression.md"),
                       "```c\n" + read_file(kExamples + "/hosts/compress.c") + "```\n"));
  EXPECT_EQ(shell("'" TARVO_HOST_WHATIF "'").output,
            "P(rain) = 0.5000\n"
            "P(rain | cloudy = yes) = 0.8000\n"
            "P(rain | cloudy = no) = 0.2000\n"
            "P(rain | sprinkler = yes) = 0.3000\n"
            "P(rain | sprinkler = no) = 0.5857\n"
            "P(rain | wet_lawn = yes) = 0.7079\n"
            "P(rain | wet_lawn = no) = 0.1187\n");
}

}  // namespace
}  // namespace test

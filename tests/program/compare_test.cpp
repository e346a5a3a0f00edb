// tarvo compare.
#include <gtest/gtest.h>

#include "program/program.h"

namespace test {
namespace {

using nlohmann::json;

const char kChain[] =
    "net {}\nnode a { states = (\"x\" \"y\"); }\nnode b { states = (\"x\" \"y\"); }\n"
    "node c { states = (\"x\" \"y\"); }\n";
const char kFirst[] =
    "potential (b | a) { data = ((1 0) (0 1)); }\npotential (c | b) { data = ((1 0) (0 1)); }\n";
const char kReversed[] =
    "potential (b | c) { data = ((1 0) (0 1)); }\npotential (a | b) { data = ((1 0) (0 1)); }\n";
const char kOtherLink[] =
    "potential (a | c) { data = ((1 0) (0 1)); }\npotential (b | a) { data = ((1 0) (0 1)); }\n";

json link(const char* from, const char* to, bool is_directed = true) {
  return {{"from", from}, {"to", to}, {"directed", is_directed}};
}

class Compare : public Program {
 protected:
  std::string network(const char* name, const std::string& links) const {
    return write(name, kChain + links);
  }
};

TEST_F(Compare, ListsLinksAndCountsThem) {
  const std::string first = network("first.net", kFirst);
  const json same = answer_of("compare " + first + " " + first);
  EXPECT_EQ(same.at("hamming_distance"), 0);
  EXPECT_EQ(same.at("intervention_distance"), 0);
  EXPECT_EQ(same.at("links_only_in_file"), json::array());

  const json reversed = answer_of("compare " + first + " " + network("reversed.net", kReversed));
  EXPECT_EQ(reversed.at("links_reversed"), json::array({link("a", "b"), link("b", "c")}));
  EXPECT_EQ(reversed.at("hamming_distance"), 2);
  EXPECT_EQ(reversed.at("hamming_distance_of_classes"), 0);
  EXPECT_EQ(reversed.at("intervention_distance"), 6);

  const json other = answer_of("compare " + first + " " + network("other.net", kOtherLink));
  EXPECT_EQ(other.at("links_only_in_file"), json::array({link("b", "c")}));
  EXPECT_EQ(other.at("links_only_in_other"), json::array({link("c", "a")}));
  EXPECT_EQ(other.at("links_reversed"), json::array());
  EXPECT_EQ(other.at("hamming_distance"), 2);
  // The file that is named first is the truth.
  const json back = answer_of("compare " + path("other.net") + " " + first);
  EXPECT_EQ(back.at("links_only_in_file"), other.at("links_only_in_other"));
  EXPECT_NE(back.at("intervention_distance"), other.at("intervention_distance"));
}

TEST_F(Compare, SaysWhyADistanceIsMissing) {
  const std::string first = network("first.net", kFirst);
  const std::string more = network("more.net", std::string("node d { states = (\"x\" \"y\"); }\n") + kFirst +
                                                   "potential (d | a) { data = ((1 0) (0 1)); }\n");
  const json answer = answer_of("compare " + first + " " + more);
  EXPECT_EQ(answer.at("nodes_only_in_other"), json::array({"d"}));
  EXPECT_EQ(answer.at("links_only_in_other"), json::array({link("a", "d")}));
  EXPECT_EQ(answer.at("hamming_distance"), 1);
  EXPECT_TRUE(answer.at("intervention_distance").is_null());
  EXPECT_TRUE(contains(tarvo("compare " + more + " " + first).output,
                       "none: only one of the structures has a node \"d\"\n"));

  const std::string open =
      network("open.net", "potential (a b) { data = (1 2 3 4); }\n" +
                              std::string("potential (c | b) { data = ((1 0) (0 1)); }\n"));
  const json chain = answer_of("compare " + first + " " + open);
  EXPECT_EQ(chain.at("links_directed_in_one"), json::array({link("a", "b")}));
  EXPECT_EQ(chain.at("hamming_distance"), 1);
  EXPECT_TRUE(chain.at("hamming_distance_of_classes").is_null());
  EXPECT_TRUE(contains(tarvo("compare " + open + " " + first).output,
                       "Links with a direction in one of the two\n  a -> b\n"));
}

TEST_F(Compare, TakesEveryFormatButOneStandardInput) {
  EXPECT_EQ(tarvo("convert sprinkler.net " + path("lawn.bif")).exit_code, 0);
  const Outcome outcome =
      shell("cat " + path("lawn.bif") +
            " | '" TARVO_PROGRAM "' compare sprinkler.net - --other-from bif --format csv");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
  EXPECT_TRUE(contains(outcome.output, "\nhamming_distance,,,0\n")) << outcome.output;
  EXPECT_EQ(tarvo("compare - -").exit_code, 2);
  EXPECT_EQ(tarvo("compare sprinkler.net nothing.net").exit_code, 1);
}

}  // namespace
}  // namespace test

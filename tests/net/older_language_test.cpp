// The older node-specification language: how it is told from the newer one, what it says, and its messages.

#include <gtest/gtest.h>

#include <algorithm>

#include "net_world.h"

namespace net_test {
namespace {

// Only a file or the older entry points take it: as a source, it looks like the name of a file.
Parsed parse_older(const std::string& text) {
  const TextFile file(text);
  return parse(file.name());
}

TEST(OlderLanguage, BecomesADomain) {
  const Parsed parsed = parse_older(
      "% three nodes\n60 30 0.5\n"
      "wet rain sprinkler (((0.99 0.01)(0.9 0.1))((0.8 0.2)(0 1))) \"The lawn is wet\" 10 -20\n"
      "rain (0.25 0.75)\n"
      "sprinkler rain ((0.1 0.9)(0.5 0.5)) 4 6");
  ASSERT_NE(nullptr, parsed.domain) << testing::PrintToString(parsed.messages);
  EXPECT_TRUE(parsed.messages.empty());
  size_t width = 0, height = 0;
  tv_domain_get_node_size(parsed.domain.get(), &width, &height);
  EXPECT_EQ(60u, width);
  EXPECT_EQ(30u, height);
  tv_node_t* wet = node(parsed, "wet");
  EXPECT_EQ(wet, tv_domain_get_first_node(parsed.domain.get()));
  EXPECT_STREQ("The lawn is wet", tv_node_get_label(wet));
  long x = 0, y = 0;
  tv_node_get_position(wet, &x, &y);
  EXPECT_EQ(5, x);
  EXPECT_EQ(-10, y);
  EXPECT_EQ("rain sprinkler", names(tv_node_get_parents(wet)));
  EXPECT_EQ((std::vector<tv_number_t>{0.99f, 0.01f, 0.9f, 0.1f, 0.8f, 0.2f, 0, 1}),
            numbers(tv_node_get_table(wet)));
  ASSERT_EQ(tv_status_none, tv_domain_compile(parsed.domain.get()));
  EXPECT_FLOAT_EQ(0.25f, tv_node_get_belief(node(parsed, "rain"), 0));
}

TEST(OlderLanguage, IsToldFromTheNewerOne) {
  EXPECT_NE(nullptr, parse_older("a (1)\n").domain);
  EXPECT_NE(nullptr, parse_older("80 40 1").domain);
  tv_domain_t* domain = tv_net_parse_from_string(" % x\nb a (((1)))", nullptr);
  EXPECT_EQ(nullptr, domain) << "a is missing, and b has one parent";
  for (const char* newer : {"", "% nothing", "net {}", "node a {}"})
    EXPECT_NE(nullptr, parse_older(newer).domain);
  const Parsed unknown = parse_older("nodes a {}");
  ASSERT_EQ(1u, unknown.messages.size());
  EXPECT_EQ("unknown object type: nodes", unknown.messages[0].text);
}

TEST(OlderLanguage, Messages) {
  const struct {
    const char* text;
    const char* message;
    size_t line = 1;
  } tests[] = {
      {"a b ((0.5 0.5))\nc (1)\n\n", "node `b' (used at line 1) has not been defined", 4},
      {"b a ((1)(1))\n", "node `a' (used at line 1) has not been defined", 2},
      {"a (1)\n=", "node name (or end-of-file) expected", 2},
      {"a (1)\nb (1)\na (1)", "node `a' has already been defined (at line 1)", 3},
      {"a (0.5 0.5)\nb a ((1)\n(1)(1))", "number of states (3) does not match previous usage (line 1)", 3},
      {"b a ((1)(1)(1))\na (0.5 0.5)", "number of states (2) does not match previous usage (line 1)", 2},
      {"c (1) b a 1", "parent node name or a left parenthesis expected"},
      {"b a a ((1))", "node `a' appears twice as a parent of `b'"},
      {"a b ((1))\nb a ((1))", "adding the link a --> b creates a directed cycle", 2},
      {"a a ((1))", "adding the link a --> a creates a directed cycle"},
      {"80 -1 1", "node width and height, and scale factor must be nonnegative"},
      {"80 40 -1", "node width and height, and scale factor must be nonnegative"},
      {"80 40 a (1)", "number expected"},
      {"a (1) 5 b (1)", "number expected"},
      {"a (0.5 -0.5)", "<number> must be nonnegative"},
      {"b a (1 1)", "`(' expected"},
      {"b a ((1 1)(1))", "number expected"},
  };
  for (const auto& test : tests) {
    const Parsed parsed = parse_older(test.text);
    EXPECT_EQ(nullptr, parsed.domain) << test.text;
    EXPECT_EQ(tv_status_parse, parsed.status) << test.text;
    EXPECT_EQ((std::vector<Message>{{test.line, test.message}}), parsed.messages) << test.text;
  }
}

}  // namespace
}  // namespace net_test

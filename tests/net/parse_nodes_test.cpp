// Adding the nodes of a file to a domain that exists.

#include <gtest/gtest.h>

#include "net_world.h"
#include "support/describe.h"

namespace net_test {
namespace {

class MoreNodes : public testing::Test {
 protected:
  MoreNodes()
      : world(parse("net { author = \"A\"; } node A { states = (\"a\" \"b\"); } node B {}\n"
                    "potential (A | B) { data = (0.25 0.75); } potential (B) { data = (1); }")),
        domain(world.domain.get()) {
    EXPECT_EQ(tv_status_none, tv_domain_compile(domain));
  }

  // The names of the new nodes.
  std::string add(const std::string& text) {
    const TextFile file(text);
    messages.clear();
    tv_node_t** nodes = tv_domain_parse_nodes(domain, file.name().c_str(), collect, &messages);
    status = tv_error_code();
    if (!nodes) return "nothing";
    const std::string found = names(nodes);
    free(nodes);
    return found;
  }

  Parsed world;
  tv_domain_t* domain;
  std::vector<Message> messages;
  tv_status_t status = tv_status_none;
};

TEST_F(MoreNodes, JoinTheDomain) {
  EXPECT_EQ(
      "C D E",
      add("net { author = \"B\"; node_size = (1 2); }\n"
          "node C { states = (\"x\" \"y\"); } node D { states = (\"x\" \"y\"); }\n"
          "node E { states = (\"x\" \"y\"); }\n"
          "potential (C | A) { data = ((1 0)(0.5 0.5)); } potential (D E | C) { data = (1 2 3 4 5 6 7 8); }"))
      << testing::PrintToString(messages);
  EXPECT_EQ(5u, tv_domain_get_number_of_nodes(domain));
  EXPECT_STREQ("A", tv_domain_get_attribute(domain, "author"));
  EXPECT_EQ(0, tv_domain_is_compiled(domain));
  ASSERT_EQ(tv_status_none, tv_domain_compile(domain));
  EXPECT_FLOAT_EQ(0.625f, tv_node_get_belief(node(world, "C"), 0));
  EXPECT_EQ("", add("% nothing"));
  EXPECT_EQ(1, tv_domain_is_compiled(domain)) << "nothing came of it";
}

TEST_F(MoreNodes, LeaveTheDomainAloneWhenTheyFail) {
  const std::string before = test::describe(domain);
  const struct {
    const char* text;
    const char* message;
  } tests[] = {
      {"node C {} node A {}", "a node with name `A' already exists"},
      {"node C {} potential (C | A) { data = ((1)(1)); } potential (A | C) {}",
       "potential specified twice for node `A'"},
      {"node C {} potential (C A) {}", "potential specified twice for node `A'"},
      {"node C {} node D {} potential (C D | A) { data = (1 2); } potential (C) {}",
       "potential for node C must include all parents"},
      {"node C {} potential (C | B) { data = ((1)(1)); }", "`)' expected"},
      {"node C {} potential (C | A B) { experience = (1 2); data = (1 -1); }",
       "<number> must be nonnegative"},
      {"node C {} utility U {} 7", "unexpected token"},
  };
  for (const auto& test : tests) {
    EXPECT_EQ("nothing", add(test.text));
    EXPECT_EQ(tv_status_parse, status);
    ASSERT_EQ(1u, messages.size()) << test.text;
    EXPECT_EQ(test.message, messages[0].text);
    EXPECT_EQ(before, test::describe(domain)) << test.text;
    EXPECT_EQ(1, tv_domain_is_compiled(domain));
    EXPECT_FLOAT_EQ(0.25f, tv_node_get_belief(node(world, "A"), 0));
  }
  EXPECT_EQ(nullptr, tv_domain_parse_nodes(domain, "/nowhere/at/all", nullptr, nullptr));
  EXPECT_EQ(tv_status_io, tv_error_code());
  EXPECT_EQ(nullptr, tv_domain_parse_nodes(nullptr, "x", nullptr, nullptr));
  EXPECT_EQ(tv_status_usage, tv_error_code());
}

}  // namespace
}  // namespace net_test

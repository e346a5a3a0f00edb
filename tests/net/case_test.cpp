// Files of one case and of many: what is written comes back, and every message with its line.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>

#include "net_world.h"
#include "support/builders.h"
#include "support/describe.h"

namespace net_test {
namespace {

const char kNet[] =
    "node L { states = (\"yes\" \"no\" \"no\"); label = \"A \\\"label\\\"\"; }\n"
    "node E { states = (\"\" \"a, b\"); }\n"
    "node B { states = (\"\" \"\"); subtype = boolean; }\n"
    "node N { states = (\"\" \"\" \"\"); subtype = number; state_values = (-1 0.123456789 2); }\n"
    "node V { states = (\"\" \"\"); subtype = number; }\n"
    "node I { states = (\"\" \"\" \"\"); subtype = interval; state_values = (0 1 2.5 infinity); }\n"
    "continuous node X {} continuous node Y {} function F {}\n";

std::string read_file(const std::string& name) {
  std::ifstream stream(name, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

class Cases : public testing::Test {
 protected:
  Cases() : world(parse(kNet)), domain(world.domain.get()) {}

  tv_node_t* operator[](const char* name) const { return tv_domain_get_node_by_name(domain, name); }

  std::string saved() const {
    const TextFile file("");
    EXPECT_EQ(tv_status_none, tv_domain_save_case(domain, file.name().c_str()));
    return read_file(file.name());
  }
  tv_status_t load(const std::string& text) {
    const TextFile file(text);
    messages.clear();
    return tv_domain_parse_case(domain, file.name().c_str(), collect, &messages);
  }
  std::string all_saved() const {
    const TextFile file("");
    EXPECT_EQ(tv_status_none, tv_domain_save_cases(domain, file.name().c_str()));
    return read_file(file.name());
  }
  tv_status_t load_all(const std::string& text) {
    const TextFile file(text);
    messages.clear();
    return tv_domain_parse_cases(domain, file.name().c_str(), collect, &messages);
  }

  Parsed world;
  tv_domain_t* domain;
  std::vector<Message> messages;
};

TEST_F(Cases, OneIsWrittenAsItIsRead) {
  EXPECT_EQ("", saved());
  tv_node_select_state((*this)["L"], 0);
  tv_node_select_state((*this)["E"], 0);
  tv_node_select_state((*this)["B"], 1);
  tv_node_select_state((*this)["N"], 1);
  tv_node_select_state((*this)["V"], 1);
  test::enter_findings((*this)["I"], {1, 0, 0.5f});
  tv_node_enter_value((*this)["X"], -1.23456789);
  const std::string text =
      "L: \"yes\"\t% \"A \\\"label\\\"\"\nE: #0\nB: true\nN: 0.12345679\nV: #1\nI: (1 0 0.5)\nX: "
      "-1.2345679\n";
  EXPECT_EQ(text, saved());
  ASSERT_EQ(tv_status_none, load(text)) << testing::PrintToString(messages);
  EXPECT_EQ(text, saved());
  EXPECT_EQ(1, tv_node_get_selected_state((*this)["N"]));

  tv_node_select_state((*this)["L"], 2);  // its label names two states
  tv_node_select_state((*this)["I"], 2);
  tv_node_retract_findings((*this)["V"]);
  const std::string other =
      "L: #2\t% \"A \\\"label\\\"\"\nE: #0\nB: true\nN: 0.12345679\nI: #2\nX: -1.2345679\n";
  EXPECT_EQ(other, saved());
  ASSERT_EQ(tv_status_none, load(other));
  EXPECT_EQ(other, saved());
  ASSERT_EQ(tv_status_none, load("% nothing\n\n"));
  EXPECT_EQ("", saved());
}

TEST_F(Cases, ValuesSelectStates) {
  const struct {
    const char* node;
    const char* value;
    ptrdiff_t state;
  } tests[] = {{"N", "-1", 0},  {"N", "0.123456789", 1}, {"N", "0.12345679", 1},
               {"N", "2.0", 2}, {"I", "0", 0},           {"I", "0.99", 0},
               {"I", "1", 1},   {"I", "2.5", 2},         {"I", "1e300", 2}};
  for (const auto& test : tests) {
    EXPECT_EQ(tv_status_none, load(std::string(test.node) + ":" + test.value));
    EXPECT_EQ(test.state, tv_node_get_selected_state((*this)[test.node])) << test.value;
  }
}

// Values that print alike are told apart by their index.
TEST_F(Cases, EveryCaseReadsBack) {
  tv_node_set_state_value((*this)["N"], 0, 1.0);
  tv_node_set_state_value((*this)["N"], 1, 1.000000001);
  tv_node_set_state_value((*this)["N"], 2, 1.000000002);
  for (size_t state = 0; state < 3; ++state) {
    tv_node_select_state((*this)["N"], state);
    ASSERT_EQ(tv_status_none, load(saved()));
    EXPECT_EQ(static_cast<ptrdiff_t>(state), tv_node_get_selected_state((*this)["N"]));
  }
}

TEST_F(Cases, MessagesOfOne) {
  const struct {
    const char* text;
    const char* message;
    size_t line = 1;
  } tests[] = {
      {"\n1", "node name expected", 2},
      {"Q: #1", "the domain has no node named `Q'"},
      {"F: 1", "only chance, decision, and discrete function nodes can have findings"},
      {"L #1", "`:' expected"},
      {"X: #1", "state index can only be specified for discrete nodes"},
      {"L: #3", "`#' must be followed by a valid state index"},
      {"L: #-1", "`#' must be followed by a valid state index"},
      {"L: #0.5", "`#' must be followed by a valid state index"},
      {"L: #\nx", "`#' must be followed by a valid state index", 2},
      {"B: \"true\"", "state labels are only allowed for labeled nodes"},
      {"X: \"true\"", "state labels are only allowed for labeled nodes"},
      {"L: \"no\"", "\"no\" is not a (unique) state label of `L'"},
      {"L: \"maybe\"", "\"maybe\" is not a (unique) state label of `L'"},
      {"L: 1", "node L: numeric findings are only allowed for CG, numbered, and interval nodes"},
      {"N: 1", "no state of `N' corresponds to the value 1"},
      {"I: -0.5", "no state of `I' corresponds to the value -0.5"},
      {"V: 1", "the state values of `V' do not form an increasing sequence"},
      {"B: maybe", "state of boolean node should be `false' or `true'"},
      {"X: (1)", "likelihood can only be specified for discrete nodes"},
      {"L: (1 1)", "likelihood vector too short"},
      {"L: (1 x)", "number expected"},
      {"L: (1 -1 1)", "likelihood values must be nonnegative"},
      {"L: (1 1 1 1)", "likelihood vector too long"},
      {"L: (1 1 1\n}", "')' expected", 2},
      {"L:\n\n", "unexpected end-of-file", 3},
      {"L: true", "illegal token"},
      {"L: ;", "illegal token"},
      {"L: \"yes", "string did not end"},
      {"L: !", "unexpected character: `!'"},
  };
  for (const auto& test : tests) {
    tv_node_select_state((*this)["B"], 1);
    EXPECT_EQ(tv_status_parse, load(test.text)) << test.text;
    EXPECT_EQ((std::vector<Message>{{test.line, test.message}}), messages) << test.text;
    EXPECT_EQ("", saved()) << "no finding is left";
  }
  EXPECT_EQ(tv_status_parse, load("\xEF\xBB\xBF% mark\rL: #0\r\nX:\r 1e999"));
  EXPECT_EQ((std::vector<Message>{{4, "number is too large"}}), messages);
  EXPECT_EQ(4u, tv_error_line());
  EXPECT_EQ(2u, tv_error_column());
  EXPECT_EQ(tv_status_parse, load("L: #0\nL: #1\nX: 1\n"));
  EXPECT_EQ((std::vector<Message>{{2, "findings specified twice for `L'"}}), messages);
  EXPECT_EQ(tv_status_parse, load("L: #0\nL: #1\nQ: 1\n"));
  EXPECT_EQ(2u, messages.size());
  EXPECT_EQ(tv_status_parse, load("L: (1 1e39 0)"));
  EXPECT_EQ((std::vector<Message>{{1, "number is too large"}}), messages);

  tv_node_select_state((*this)["B"], 1);
  EXPECT_EQ(tv_status_io, tv_domain_parse_case(domain, "/nowhere/at/all", nullptr, nullptr));
  EXPECT_EQ(tv_status_io, tv_domain_save_case(domain, "/nowhere/at/all"));
  EXPECT_EQ(tv_status_io, tv_domain_save_case(domain, "/dev/full"));
  EXPECT_EQ(tv_status_io, tv_domain_save_cases(domain, "/dev/full"));
  EXPECT_EQ(1, tv_node_get_selected_state((*this)["B"])) << "nothing was read";
  EXPECT_EQ(tv_status_usage, tv_domain_parse_case(domain, nullptr, nullptr, nullptr));
  EXPECT_EQ(tv_status_usage, tv_domain_save_case(nullptr, "x"));
}

TEST_F(Cases, ManyAreWrittenAsTheyAreRead) {
  const std::string text =
      "L,E,B,N,V,I,X\n"
      "yes,\"a, b\",true,-1,#1,#0,1.5\n"
      "#1,#0,*,0.12345679,*,*,-1.23456789012345\n"
      "*,*,*,*,*,*,*\n";
  ASSERT_EQ(tv_status_none, load_all(text)) << testing::PrintToString(messages);
  EXPECT_EQ(3u, tv_domain_get_number_of_cases(domain));
  EXPECT_EQ(1u, tv_node_get_case_state((*this)["E"], 0));
  EXPECT_EQ(0, tv_node_case_is_set((*this)["Y"], 0));
  EXPECT_EQ(-1.23456789012345, tv_node_get_case_value((*this)["X"], 1));
  EXPECT_EQ(text, all_saved());

  // Written by another hand: blanks, empty cells, comments, counts in the middle, quoted numbers of columns.
  ASSERT_EQ(tv_status_none,
            load_all("% observed in May\n X , #count , \"L\"\r\n\n 2e0 , 3.5 , yes % first\r\n"
                     ",1,\n\t*,0, \"\\171e\\s\" \n7,2,\"yes\""))
      << testing::PrintToString(messages);
  EXPECT_EQ(4u, tv_domain_get_number_of_cases(domain));
  EXPECT_EQ("#count,L,X\n3.5,yes,2\n1,*,*\n0,yes,*\n2,yes,7\n", all_saved());
  EXPECT_EQ(3.5f, tv_domain_get_case_count(domain, 0));
  tv_domain_set_case_count(domain, 1, 1234567.0f);
  tv_domain_set_case_count(domain, 2, 0.1f);
  ASSERT_EQ(tv_status_none, load_all(all_saved()));
  EXPECT_EQ(1234567.0f, tv_domain_get_case_count(domain, 1));
  EXPECT_EQ(0.1f, tv_domain_get_case_count(domain, 2));

  for (const float count : {std::numeric_limits<float>::max(), std::numeric_limits<float>::denorm_min()}) {
    tv_domain_set_case_count(domain, 1, count);
    ASSERT_EQ(tv_status_none, load_all(all_saved())) << testing::PrintToString(messages);
    EXPECT_EQ(count, tv_domain_get_case_count(domain, 1));
  }

  ASSERT_EQ(tv_status_none, load_all("L\n"));
  EXPECT_EQ((std::vector<Message>{{1, "warning: file contains no cases"}}), messages);
  EXPECT_EQ(0u, tv_domain_get_number_of_cases(domain));
  ASSERT_EQ(tv_status_none, load_all(std::string("L\n\0yes\n", 7)));
  EXPECT_EQ((std::vector<Message>{{2, "warning: null character ignored"}}), messages);
}

// Labels with null characters, and cases of a domain that has nothing to observe.
TEST_F(Cases, OddOnesReadBack) {
  const Parsed odd = parse("node A { states = (\"a\\0b\" \"a\"); }");
  tv_node_t* a = node(odd, "A");
  const TextFile file("");
  tv_node_select_state(a, 0);
  ASSERT_EQ(tv_status_none, tv_domain_save_case(odd.domain.get(), file.name().c_str()));
  EXPECT_EQ(tv_status_none, tv_domain_parse_case(odd.domain.get(), file.name().c_str(), nullptr, nullptr));
  EXPECT_EQ(0, tv_node_get_selected_state(a));
  tv_domain_set_number_of_cases(odd.domain.get(), 1);
  tv_node_set_case_state(a, 0, 0);
  ASSERT_EQ(tv_status_none, tv_domain_save_cases(odd.domain.get(), file.name().c_str()));
  EXPECT_EQ(tv_status_none, tv_domain_parse_cases(odd.domain.get(), file.name().c_str(), nullptr, nullptr));
  EXPECT_EQ(0u, tv_node_get_case_state(a, 0));

  const Parsed empty = parse("utility U {}");
  tv_domain_set_number_of_cases(empty.domain.get(), 3);
  ASSERT_EQ(tv_status_none, tv_domain_save_cases(empty.domain.get(), file.name().c_str()));
  ASSERT_EQ(tv_status_none, tv_domain_parse_cases(empty.domain.get(), file.name().c_str(), nullptr, nullptr));
  EXPECT_EQ(3u, tv_domain_get_number_of_cases(empty.domain.get()));
}

TEST_F(Cases, MessagesOfMany) {
  const struct {
    const char* text;
    const char* message;
    size_t line = 1;
  } tests[] = {
      {"L,\nyes", "line is incomplete"},
      {"L,Q\n", "the domain has no node named `Q'"},
      {"L,F\n", "node `F' is not a chance, a decision, or a discrete function node"},
      {"L,E,L\n", "node `L' listed twice"},
      {"#count,#count\n", "node `#count' listed twice"},
      {"#count,L\nyes,yes\n", "case count expected", 2},
      {"L,#count\nyes,\n", "case count expected", 2},
      {"L,#count\nyes,-1\n", "case counts must be nonnegative", 2},
      {"L,E\nyes\n", "the case has too few data items", 2},
      {"L\nyes,#1\n", "the case has extra stuff at the end", 2},
      {"L\nyes\n\n\"yes\" x\n", "syntax error", 4},
      {"L\nye\"s\n", "syntax error", 2},
      {"X\none\n", "syntax error", 2},
      {"I\none\n", "syntax error", 2},
      {"L\n\"yes\n", "unexpected end-of-line", 2},
      {"L\n\"yes", "unexpected end-of-file", 2},
      {"L\n\"yes\\", "unexpected end-of-file", 2},
      {"\xEF\xBB\xBFL,X\ryes,1 % one\r\n\r\nyes,1e999", "number is too large", 4},
      {"L,#count\nyes,3.4028236e38\n", "number is too large", 2},
      {"L\r\"yes\r\n", "unexpected end-of-line", 2},
      {"L\nyes\nno\n", "\"no\" is not a (unique) state label of `L'", 3},
      {"L\n#3\n", "`#' must be followed by a valid state index", 2},
      {"L\n#\n", "`#' must be followed by a valid state index", 2},
      {"B\nyes\n", "state of boolean node should be `false' or `true'", 2},
      {"B\n\"true\"\n", "state labels are only allowed for labeled nodes", 2},
      {"N\n1\n", "no state of `N' corresponds to the value 1", 2},
      {"V\n1\n", "the state values of `V' do not form an increasing sequence", 2},
  };
  ASSERT_EQ(tv_status_none, load_all("L\nyes\n"));
  for (const auto& test : tests) {
    EXPECT_EQ(tv_status_parse, load_all(test.text)) << test.text;
    EXPECT_EQ((std::vector<Message>{{test.line, test.message}}), messages) << test.text;
    EXPECT_EQ("L\nyes\n", all_saved()) << "the stored cases are those of before";
  }
  EXPECT_EQ(tv_status_io, tv_domain_parse_cases(domain, "/nowhere/at/all", nullptr, nullptr));
  EXPECT_EQ(tv_status_usage, tv_domain_save_cases(domain, nullptr));
}

TEST_F(Cases, AreStoredAndEntered) {
  EXPECT_EQ(0u, tv_domain_new_case(domain));
  EXPECT_EQ(tv_status_none, tv_domain_set_number_of_cases(domain, 300));
  tv_node_t *l = (*this)["L"], *x = (*this)["X"];
  for (size_t i = 0; i < 300; ++i) {
    ASSERT_EQ(tv_status_none, tv_node_set_case_state(l, i, i % 3));
    ASSERT_EQ(tv_status_none, tv_node_set_case_value(x, i, static_cast<double>(i)));
  }
  EXPECT_EQ(tv_status_none, tv_domain_set_case_count(domain, 7, 2.5f));
  EXPECT_EQ(tv_status_none, tv_node_unset_case(l, 5));
  EXPECT_EQ(tv_status_usage, tv_node_set_case_state(l, 300, 0));
  EXPECT_EQ(tv_status_usage, tv_node_set_case_state(l, 0, 3));
  EXPECT_EQ(tv_status_usage, tv_node_set_case_value(l, 0, 1.0));
  EXPECT_EQ(tv_status_usage, tv_node_set_case_value(x, 0, HUGE_VAL));
  EXPECT_EQ(tv_status_usage, tv_domain_set_case_count(domain, 0, -1.0f));
  EXPECT_EQ(static_cast<size_t>(-1), tv_node_get_case_state(l, 5));
  EXPECT_EQ(tv_status_no_value, tv_error_code());
  EXPECT_EQ(-1, tv_node_case_is_set((*this)["F"], 0));

  tv_node_select_state((*this)["B"], 1);
  ASSERT_EQ(tv_status_none, tv_domain_enter_case(domain, 4));
  EXPECT_EQ("L: #1\t% \"A \\\"label\\\"\"\nX: 4\n", saved());
  EXPECT_EQ(tv_status_usage, tv_domain_enter_case(domain, 300));

  // Fewer cases and more again: what was dropped is missing.
  for (const size_t fewer : {290, 6}) {
    tv_domain_set_number_of_cases(domain, fewer);
    tv_domain_set_number_of_cases(domain, 300);
    EXPECT_EQ(1, tv_node_case_is_set(l, fewer - 2));
    EXPECT_EQ(0, tv_node_case_is_set(l, fewer));
    EXPECT_EQ(0, tv_node_case_is_set(x, 299));
  }
  EXPECT_EQ(1.0f, tv_domain_get_case_count(domain, 7));

  // Cases follow the states and the copies of a node.
  const size_t order[] = {2, 0, 1};
  tv_node_reorder_states(l, order);
  EXPECT_EQ(2u, tv_node_get_case_state(l, 1));
  EXPECT_EQ(2u, tv_node_get_case_state(tv_node_clone(l), 1));
  tv_node_set_number_of_states(l, 2);
  EXPECT_EQ(0, tv_node_case_is_set(l, 1));
  EXPECT_EQ(0u, tv_node_get_case_state(l, 2));

  tv_node_t* large = tv_domain_new_node(domain, tv_category_chance, tv_kind_discrete);
  tv_node_set_number_of_states(large, 40000);
  EXPECT_EQ(tv_status_none, tv_node_set_case_state(large, 0, 32767));
  EXPECT_EQ(tv_status_case_state_too_large, tv_node_set_case_state(large, 0, 32768));
  tv_domain_set_number_of_cases(domain, 0);
  EXPECT_EQ(0u, tv_domain_get_number_of_cases(domain));
}

}  // namespace
}  // namespace net_test

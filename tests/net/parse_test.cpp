// What good descriptions become.

#include <gtest/gtest.h>
#include <langinfo.h>

#include <clocale>
#include <cmath>
#include <random>
#include <thread>

#include "net_world.h"

namespace net_test {
namespace {

using Numbers = std::vector<tv_number_t>;

std::string node_names(tv_domain_t* domain) {
  std::string text;
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node))
    text += (text.empty() ? "" : " ") + std::string(tv_node_get_name(node));
  return text;
}

TEST(Parse, BuildsEveryKindOfNode) {
  const Parsed parsed = parse(
      "% a network\nnet { node_size = (90 45.5); name = \"N\"; inputs = (a b.c); author = \"\"; }\n"
      "node A { label = \"the first\"; position = (-10 20); b = \"1\"; a = \"2\"; states = (\"s\" \"t\"); }\n"
      "discrete node B {} decision D {} discrete decision E {} utility U { states_ = \"\"; }\n"
      "function F {} discrete function G { states = (\"1\"); } node inst.out {}\n");
  ASSERT_NE(nullptr, parsed.domain);
  EXPECT_EQ(tv_status_none, parsed.status);
  EXPECT_TRUE(parsed.messages.empty());
  tv_domain_t* domain = parsed.domain.get();
  EXPECT_EQ("A B D E U F G inst.out", node_names(domain));
  size_t width, height;
  tv_domain_get_node_size(domain, &width, &height);
  EXPECT_EQ(90u, width);
  EXPECT_EQ(45u, height);
  EXPECT_EQ(nullptr, tv_domain_get_file_name(domain));

  const tv_attribute_t* attribute = tv_domain_get_first_attribute(domain);
  EXPECT_STREQ("name", tv_attribute_get_key(attribute));
  attribute = tv_attribute_get_next(attribute);
  EXPECT_STREQ("author", tv_attribute_get_key(attribute));
  EXPECT_EQ(nullptr, tv_attribute_get_next(attribute));
  attribute = tv_node_get_first_attribute(node(parsed, "A"));
  EXPECT_STREQ("b", tv_attribute_get_key(attribute));
  EXPECT_STREQ("2", tv_attribute_get_value(tv_attribute_get_next(attribute)));

  long x, y;
  tv_node_get_position(node(parsed, "A"), &x, &y);
  EXPECT_EQ(-10, x);
  EXPECT_EQ(20, y);
  EXPECT_STREQ("the first", tv_node_get_label(node(parsed, "A")));
  EXPECT_EQ(2u, tv_node_get_number_of_states(node(parsed, "A")));
  EXPECT_STREQ("t", tv_node_get_state_label(node(parsed, "A"), 1));
  EXPECT_EQ(1u, tv_node_get_number_of_states(node(parsed, "B")));

  struct {
    const char* name;
    tv_node_category_t category;
    tv_node_kind_t kind;
  } const expected[] = {
      {"A", tv_category_chance, tv_kind_discrete},   {"B", tv_category_chance, tv_kind_discrete},
      {"D", tv_category_decision, tv_kind_discrete}, {"E", tv_category_decision, tv_kind_discrete},
      {"U", tv_category_utility, tv_kind_other},     {"F", tv_category_function, tv_kind_other},
      {"G", tv_category_function, tv_kind_discrete}};
  for (const auto& entry : expected) {
    EXPECT_EQ(entry.category, tv_node_get_category(node(parsed, entry.name))) << entry.name;
    EXPECT_EQ(entry.kind, tv_node_get_kind(node(parsed, entry.name))) << entry.name;
  }
}

TEST(Parse, ReadsSubtypesAndStateValues) {
  const Parsed parsed = parse(
      "node B { subtype = boolean; states = (\"no\" \"yes\"); } node L { subtype = label; }\n"
      "node N { states = (\"\" \"\"); subtype = number; state_values = (-1.5 + 2e3); }\n"
      "node I { subtype = interval; states = (\"\" \"\" \"\"); state_values = (- infinity -1 0 infinity); "
      "}\n");
  ASSERT_NE(nullptr, parsed.domain);
  EXPECT_EQ(tv_subtype_boolean, tv_node_get_subtype(node(parsed, "B")));
  EXPECT_EQ(tv_subtype_label, tv_node_get_subtype(node(parsed, "L")));
  EXPECT_EQ(tv_subtype_number, tv_node_get_subtype(node(parsed, "N")));
  EXPECT_EQ(-1.5, tv_node_get_state_value(node(parsed, "N"), 0));
  EXPECT_EQ(2000.0, tv_node_get_state_value(node(parsed, "N"), 1));
  tv_node_t* interval = node(parsed, "I");
  EXPECT_EQ(-INFINITY, tv_node_get_state_value(interval, 0));
  EXPECT_EQ(-1.0, tv_node_get_state_value(interval, 1));
  EXPECT_EQ(INFINITY, tv_node_get_state_value(interval, 3));
}

const std::string kNodes =
    "node A { states = (\"a\" \"b\"); } node B { states = (\"x\" \"y\" \"z\"); } node C { states = (\"0\"); "
    "}\n"
    "decision D { states = (\"d\" \"e\"); } utility U {} function F {} discrete function G {}\n";

TEST(Parse, KeepsTheWrittenOrderOfParents) {
  const Parsed parsed = parse(kNodes +
                              "potential (D | C A B) { data = ((((1 2)(3 4)(5 6))((7 8)(9 10)(11 12)))); }\n"
                              "potential (U | A B F) { data = (1 -2 3 4 5 6); } potential (F | B U) {}\n");
  ASSERT_EQ(nullptr, parsed.domain);  // U and F are each other's parents
  const Parsed good = parse(kNodes +
                            "potential (D | C A B) { data = ((((1 2)(3 4)(5 6))((7 8)(9 10)(11 12)))); }\n"
                            "potential (U | A B F) { data = (1 -2 3 4 5 6); }\n");
  ASSERT_NE(nullptr, good.domain);
  EXPECT_TRUE(good.messages.empty());
  EXPECT_EQ("C A B", names(tv_node_get_parents(node(good, "D"))));
  EXPECT_EQ("A B F", names(tv_node_get_parents(node(good, "U"))));
  tv_table_t* table = tv_node_get_table(node(good, "D"));
  EXPECT_EQ("C A B D", names(tv_table_get_nodes(table)));
  EXPECT_EQ((Numbers{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}), numbers(table));
  table = tv_node_get_table(node(good, "U"));
  EXPECT_EQ("A B", names(tv_table_get_nodes(table)));
  EXPECT_EQ((Numbers{1, -2, 3, 4, 5, 6}), numbers(table));
}

TEST(Parse, ReadsFlatAndNestedDataAlike) {
  std::mt19937 random(5);
  const size_t counts[] = {2, 3, 1};
  std::string flat, nested;
  for (size_t a = 0; a < counts[0]; ++a) {
    nested += "(";
    for (size_t b = 0; b < counts[1]; ++b) {
      const std::string number = std::to_string(random() % 1000) + "e-3 ";
      flat += number;
      nested += "(" + number + ")";
    }
    nested += ")\n";
  }
  const std::string head = kNodes + "potential (C | A B) { data = (";
  const Parsed first = parse(head + flat + "); }"), second = parse(head + nested + "); }");
  ASSERT_NE(nullptr, first.domain);
  ASSERT_NE(nullptr, second.domain);
  EXPECT_EQ(numbers(tv_node_get_table(node(first, "C"))), numbers(tv_node_get_table(node(second, "C"))));
}

TEST(Parse, TakesATableWithoutNodesBareOrAsAList) {
  for (const char* data : {"-2.5", "(-2.5)"}) {
    const Parsed parsed = parse(kNodes + "potential (U) { data = " + data + "; }");
    ASSERT_NE(nullptr, parsed.domain) << data;
    EXPECT_EQ((Numbers{-2.5f}), numbers(tv_node_get_table(node(parsed, "U"))));
  }
}

TEST(Parse, LearnsTheNumberOfStatesFromTheData) {
  const Parsed parsed = parse(
      "node A {} node B {} node C {}\n"
      "potential (A) { data = (0.2 0.3 0.5); }\n"
      "potential (B | A C) { data = (((1 0)(0 1))((1 0)(0 1))((1 0)(0 1))); }\n");
  ASSERT_NE(nullptr, parsed.domain);
  EXPECT_EQ(3u, tv_node_get_number_of_states(node(parsed, "A")));
  EXPECT_EQ(2u, tv_node_get_number_of_states(node(parsed, "B")));
  EXPECT_EQ(2u, tv_node_get_number_of_states(node(parsed, "C")));
  EXPECT_EQ(12u, tv_table_get_size(tv_node_get_table(node(parsed, "B"))));
  EXPECT_EQ(nullptr, parse("node A {} node B {} potential (A | B) { data = ((1 0)(1 0 0)); }").domain);
  EXPECT_EQ(nullptr, parse("node A {} node B {} potential (A | B) { data = ((1 0)()); }").domain);
  EXPECT_EQ(nullptr, parse("node A {} potential (A) { data = (); }").domain);
}

TEST(Parse, WarnsAndGoesOn) {
  const std::string text = kNodes + "potential (A | C) { data = ((-0.5 1.5)); }";
  const Parsed negative = parse(text);
  ASSERT_NE(nullptr, negative.domain);
  ASSERT_EQ(1u, negative.messages.size());
  EXPECT_EQ("warning: negative value in probability potential", negative.messages[0].text);
  EXPECT_EQ(text.find("-0.5") + 4, negative.messages[0].position);
  EXPECT_EQ((Numbers{-0.5f, 1.5f}), numbers(tv_node_get_table(node(negative, "A"))));

  const Parsed empty = parse(kNodes + "potential (A | B) {}");
  ASSERT_NE(nullptr, empty.domain);
  ASSERT_EQ(1u, empty.messages.size());
  EXPECT_EQ("warning: no potential data specified", empty.messages[0].text);
  EXPECT_EQ("B", names(tv_node_get_parents(node(empty, "A"))));

  const Parsed zero = parse("net { a = \"x\\0y\"; }");
  ASSERT_NE(nullptr, zero.domain);
  EXPECT_EQ(1u, zero.messages.size());
  EXPECT_EQ(tv_status_none, zero.status);
}

TEST(Parse, ReadsExperienceAndFading) {
  const Parsed parsed =
      parse(kNodes +
            "potential (A | C B) { data = (1 0 1 0 1 0); experience = ((5 -6 7)); fading = (1 .5 1); }\n"
            "potential (B) { experience = 10; fading = (0.9); data = (1 1 1); }\n");
  ASSERT_NE(nullptr, parsed.domain);
  tv_node_t* const a = node(parsed, "A");
  EXPECT_EQ(1, tv_node_has_experience_table(a));
  EXPECT_EQ("C B", names(tv_table_get_nodes(tv_node_get_experience_table(a))));
  EXPECT_EQ((Numbers{5, -6, 7}), numbers(tv_node_get_experience_table(a)));
  EXPECT_EQ((Numbers{1, 0.5f, 1}), numbers(tv_node_get_fading_table(a)));
  EXPECT_EQ((Numbers{10}), numbers(tv_node_get_experience_table(node(parsed, "B"))));
  EXPECT_EQ(0, tv_node_has_fading_table(node(parsed, "C")));
}

// Intercept, variance, and the coefficients in parent order.
std::vector<double> regression(const Parsed& parsed, const char* name, size_t configuration) {
  tv_node_t* const child = node(parsed, name);
  std::vector<double> result{tv_node_get_intercept(child, configuration),
                             tv_node_get_conditional_variance(child, configuration)};
  for (tv_node_t** parent = tv_node_get_parents(child); *parent; ++parent)
    if (tv_node_get_kind(*parent) == tv_kind_continuous)
      result.push_back(tv_node_get_coefficient(child, *parent, configuration));
  return result;
}

TEST(Parse, ReadsRegressionsOfContinuousNodes) {
  using Regression = std::vector<double>;
  const Parsed parsed = parse(
      "node A { states = (\"\" \"\"); } node B {} continuous node X {} continuous node Y {}\n"
      "continuous node Z {} continuous node V {} continuous node W {}\n"
      "potential (X) { data = normal ( 1.5, 0 ); }\n"
      "potential (Y | X) { data = ( normal ( -X, 1 ) ); }\n"
      "potential (Z | A X Y) { data = ( normal ( 2 - 0.5 * X + Y, 0 )  % a comment\n"
      "    normal ( -1 + 2*X -3*Y - 4 +5 * X+-1, 2.5e-3 ) ); }\n"
      "potential (V | B A X) { data = ((normal(0,1) normal(1,1)) (normal(X,2) normal(-2*X,3))\n"
      "    (normal(0 * X, 4) normal(+ X - X, 5))); experience = (1 2 3 4 5 6); }\n"
      "potential (W | A B) { data = (normal(0,0) normal(1,1) normal(2,2) normal(3,3) normal(4,4) "
      "normal(5,5)); }\n");
  ASSERT_NE(nullptr, parsed.domain) << parsed.messages.front();
  EXPECT_EQ((Regression{1.5, 0}), regression(parsed, "X", 0));
  EXPECT_EQ((Regression{0, 1, -1}), regression(parsed, "Y", 0));
  EXPECT_EQ((Regression{2, 0, -0.5, 1}), regression(parsed, "Z", 0));
  EXPECT_EQ((Regression{-6, 2.5e-3, 7, -3}), regression(parsed, "Z", 1));
  EXPECT_EQ(3u, tv_node_get_number_of_states(node(parsed, "B")));  // counted in the table
  EXPECT_EQ((Regression{1, 1, 0}), regression(parsed, "V", 1));
  EXPECT_EQ((Regression{0, 3, -2}), regression(parsed, "V", 3));
  EXPECT_EQ((Regression{0, 5, 0}), regression(parsed, "V", 5));
  EXPECT_EQ((Regression{4, 4}), regression(parsed, "W", 4));
  EXPECT_EQ("B A V X", names(tv_table_get_nodes(tv_node_get_table(node(parsed, "V")))));
  EXPECT_EQ((Numbers{1, 1, 1, 1, 1, 1}), numbers(tv_node_get_table(node(parsed, "W"))));
  EXPECT_EQ(2.0, tv_table_get_mean(tv_node_get_table(node(parsed, "W")), 2, node(parsed, "W")));
  EXPECT_TRUE(parsed.messages.empty());
}

TEST(Parse, LinksContinuousNodesAndFunctions) {
  const Parsed continuous = parse(
      "node A { states = (\"\" \"\"); } node B {} continuous node X {} continuous node Y {} continuous node "
      "Z {}\n"
      "potential (X | A B Y Z) {}\n");
  ASSERT_NE(nullptr, continuous.domain);
  EXPECT_EQ("A B Y Z", names(tv_node_get_parents(node(continuous, "X"))));

  const Parsed functions =
      parse(kNodes + "potential (F | A U) {} potential (G | F) {} potential (U | A B) {}");
  ASSERT_NE(nullptr, functions.domain);
  EXPECT_EQ("A U", names(tv_node_get_parents(node(functions, "F"))));

  // The table of a discrete function is over itself alone: it does not follow what becomes of its parents.
  const Parsed discrete = parse(kNodes + "potential (G | A B) { data = (0.2 0.8); }");
  ASSERT_NE(nullptr, discrete.domain);
  tv_table_t* const table = tv_node_get_table(node(discrete, "G"));
  EXPECT_EQ("G", names(tv_table_get_nodes(table)));
  ASSERT_EQ(tv_status_none, tv_node_delete(node(discrete, "A")));
  EXPECT_EQ(tv_status_none, tv_domain_compile(discrete.domain.get()));
  EXPECT_EQ((Numbers{0.2f, 0.8f}), numbers(table));
}

TEST(Parse, ReportsTheFirstLinkThatClosesACycle) {
  const Parsed parsed = parse(
      "node A {} node B {} node C {} node D {} potential (B | A) {} potential (C | A) {}\n"
      "potential (A | D B C) {}");
  ASSERT_EQ(nullptr, parsed.domain);
  EXPECT_EQ("adding the link B --> A creates a directed cycle", parsed.messages.back().text);
}

TEST(Parse, TakesTextFromEverySource) {
  const std::string text = "% first\n\n net { a = \"b\"; } node A {}";
  const TextFile file(text);
  const Parsed from_file = parse(file.name()), from_text = parse(text);
  ASSERT_NE(nullptr, from_file.domain);
  ASSERT_NE(nullptr, from_text.domain);
  EXPECT_EQ(file.name(), tv_domain_get_file_name(from_file.domain.get()));
  FILE* stream = fopen(file.name().c_str(), "r");
  const DomainHandle from_stream(tv_net_parse(stream, nullptr));
  EXPECT_NE(nullptr, from_stream);
  fclose(stream);
  const DomainHandle from_string(tv_net_parse_from_string(text.c_str(), nullptr));
  EXPECT_NE(nullptr, from_string);
  for (const char* marked : {"\xEF\xBB\xBFnet {} node A {}", "% a name?\rnet\r{}\rnode A {}"})
    EXPECT_NE(nullptr, parse(marked).domain) << marked;
  const DomainHandle empty(tv_net_parse_from_string("% nothing", nullptr));
  ASSERT_NE(nullptr, empty);
  EXPECT_EQ(0u, tv_domain_get_number_of_nodes(empty.get()));
}

std::vector<Message> old_messages;
void collect_old(size_t position, const char* message) { old_messages.push_back({position, message}); }

TEST(Parse, CallsTheOlderHandler) {
  old_messages.clear();
  EXPECT_EQ(nullptr, tv_net_parse_from_string("node 1", collect_old));
  const TextFile file("\nnode\n1");
  FILE* stream = fopen(file.name().c_str(), "r");
  EXPECT_EQ(nullptr, tv_net_parse(stream, collect_old));
  fclose(stream);
  EXPECT_EQ((std::vector<Message>{{6, "name expected"}, {3, "name expected"}}), old_messages);
}

ssize_t read_nothing_more(void* cookie, char* data, size_t) {
  int& calls = *static_cast<int*>(cookie);
  if (calls++ > 0) return -1;
  data[0] = '%';
  return 1;
}

TEST(Parse, ReportsAFailureToRead) {
  int calls = 0;
  FILE* stream = fopencookie(&calls, "r", {read_nothing_more, nullptr, nullptr, nullptr});
  old_messages.clear();
  EXPECT_EQ(nullptr, tv_net_parse(stream, collect_old));
  EXPECT_EQ(tv_status_io, tv_error_code());
  ASSERT_EQ(1u, old_messages.size());
  EXPECT_EQ(std::string("API error: ") + tv_error_description(tv_status_io), old_messages[0].text);
  fclose(stream);
  EXPECT_EQ(nullptr, parse("/tmp").domain);
  EXPECT_EQ(tv_status_io, tv_error_code());
}

// The handler sees the locale of the parse; the host's stays in force everywhere else, on other threads and
// for threads that are started meanwhile.
void note_locale(size_t, const char*, void* data) {
  auto& seen = *static_cast<std::pair<std::string, std::string>*>(data);
  seen = {nl_langinfo(CODESET), std::setlocale(LC_ALL, nullptr)};
}

TEST(Parse, LeavesTheLocaleOfTheProcessAlone) {
  if (!std::setlocale(LC_ALL, "C.UTF-8")) GTEST_SKIP();
  const auto read_and_write = [] {
    for (int i = 0; i < 300; ++i) {
      const DomainHandle domain(tv_net_parse_domain("net {} node A {}", nullptr, nullptr));
      free(tv_domain_to_net_string(domain.get()));
      std::pair<std::string, std::string> seen;
      EXPECT_EQ(nullptr, tv_net_parse_domain("net {", note_locale, &seen));
      EXPECT_NE("UTF-8", seen.first);
      EXPECT_EQ("C.UTF-8", seen.second);
      EXPECT_STREQ("UTF-8", nl_langinfo(CODESET));
    }
  };
  std::thread other(read_and_write);
  read_and_write();
  other.join();
  EXPECT_STREQ("C.UTF-8", std::setlocale(LC_ALL, nullptr));
  std::setlocale(LC_ALL, "C");
}

TEST(Parse, StandsUpToLongListsAndDeepTables) {
  std::string nodes, parents, opened, closed;
  for (int i = 0; i < 2000; ++i) {
    const std::string name = "N" + std::to_string(i);
    nodes += "node " + name + " { states = (\"only\"); }\n";
    parents += " " + name;
    opened += "(";
    closed += ")";
  }
  const Parsed parsed = parse(nodes + "node C { states = (\"\" \"\"); }\npotential (C |" + parents +
                              ") { data = (" + opened + "0.5 0.5" + closed + "); }");
  ASSERT_NE(nullptr, parsed.domain) << parsed.messages.back().text;
  EXPECT_EQ(2u, tv_table_get_size(tv_node_get_table(node(parsed, "C"))));
}

// ---- Random domains, printed and read back ----

std::string quoted(const char* text) {
  std::string result = "\"";
  for (; *text; ++text) {
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\%03o", static_cast<unsigned char>(*text));
    result += escape;
  }
  return result + "\"";
}

std::string exact(double number) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", number);
  return text;
}

std::string print_node(tv_node_t* node) {
  const tv_node_category_t category = tv_node_get_category(node);
  const bool is_discrete = tv_node_get_kind(node) == tv_kind_discrete;
  std::string text = category == tv_category_chance     ? "node "
                     : category == tv_category_decision ? "decision "
                     : category == tv_category_utility  ? "utility "
                     : is_discrete                      ? "discrete function "
                                                        : "function ";
  text += std::string(tv_node_get_name(node)) + " { label = " + quoted(tv_node_get_label(node));
  long x, y;
  tv_node_get_position(node, &x, &y);
  text += "; position = (" + std::to_string(x) + " " + std::to_string(y) + ");";
  if (is_discrete) {
    const size_t count = tv_node_get_number_of_states(node);
    text += " states = (";
    for (size_t i = 0; i < count; ++i) text += quoted(tv_node_get_state_label(node, i)) + " ";
    const tv_node_subtype_t subtype = tv_node_get_subtype(node);
    static const char* const subtypes[] = {"label", "boolean", "number", "interval"};
    text += "); subtype = " + std::string(subtypes[subtype - tv_subtype_label]) + ";";
    if (subtype == tv_subtype_number || subtype == tv_subtype_interval) {
      text += " state_values = (";
      for (size_t i = 0; i < count + (subtype == tv_subtype_interval); ++i)
        text += exact(tv_node_get_state_value(node, i)) + " ";
      text += ");";
    }
  }
  for (const tv_attribute_t* a = tv_node_get_first_attribute(node); a; a = tv_attribute_get_next(a))
    text += " " + std::string(tv_attribute_get_key(a)) + " = " + quoted(tv_attribute_get_value(a)) + ";";
  return text + " }\n";
}

std::string print_potential(tv_node_t* node) {
  std::string text =
      "potential (" + std::string(tv_node_get_name(node)) + " | " + names(tv_node_get_parents(node)) + ") {";
  if (tv_node_get_category(node) != tv_category_function) {
    text += " data = (";
    for (const tv_number_t number : numbers(tv_node_get_table(node))) text += exact(number) + " ";
    text += ");";
  }
  return text + " }\n";
}

std::string print(tv_domain_t* domain) {
  std::string text = "net {";
  for (const tv_attribute_t* a = tv_domain_get_first_attribute(domain); a; a = tv_attribute_get_next(a))
    text += " " + std::string(tv_attribute_get_key(a)) + " = " + quoted(tv_attribute_get_value(a)) + ";";
  text += " }\n";
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node))
    text += print_node(node);
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node))
    text += print_potential(node);
  return text;
}

std::string random_text(std::mt19937& random) {
  std::string text;
  for (size_t length = random() % 6; length > 0; --length) text += static_cast<char>(1 + random() % 255);
  return text;
}

DomainHandle random_domain(std::mt19937& random) {
  DomainHandle domain(tv_new_domain());
  std::vector<tv_node_t*> nodes;
  for (size_t i = 0, count = random() % 8; i < count; ++i) {
    static constexpr tv_node_category_t categories[] = {tv_category_chance, tv_category_chance,
                                                        tv_category_decision, tv_category_utility};
    const tv_node_category_t category = categories[random() % 4];
    tv_node_t* const node = tv_domain_new_node(domain.get(), category, tv_kind_discrete);
    tv_node_set_label(node, random_text(random).c_str());
    tv_node_set_position(node, static_cast<long>(random() % 2000) - 1000, static_cast<long>(random() % 100));
    for (const char* key : {"k", "label_", "Z9"})
      if (random() % 2) tv_node_set_attribute(node, key, random_text(random).c_str());
    if (category != tv_category_utility) {
      const size_t states = 1 + random() % 4;
      tv_node_set_number_of_states(node, states);
      for (size_t s = 0; s < states; ++s) tv_node_set_state_label(node, s, random_text(random).c_str());
      tv_node_set_subtype(node, static_cast<tv_node_subtype_t>(tv_subtype_label + random() % 4));
      for (size_t s = 0; s <= states; ++s)  // refused where the node has no such value
        tv_node_set_state_value(node, s, std::ldexp(static_cast<double>(random()), -10));
    }
    for (tv_node_t* parent : nodes)
      if (random() % 3 == 0) tv_node_add_parent(node, parent);
    for (size_t j = 0; j < tv_table_get_size(tv_node_get_table(node)); ++j)
      tv_table_get_data(tv_node_get_table(node))[j] = static_cast<float>(random()) / 1e6f;
    nodes.push_back(node);
  }
  for (const char* key : {"one", "two"})
    tv_domain_set_attribute(domain.get(), key, random_text(random).c_str());
  return domain;
}

TEST(Parse, ReadsBackWhatWasPrinted) {
  std::mt19937 random(7);
  for (int i = 0; i < 300; ++i) {
    const DomainHandle domain = random_domain(random);
    const std::string text = print(domain.get());
    const Parsed parsed = parse(text);
    ASSERT_NE(nullptr, parsed.domain) << text << parsed.messages.back().text;
    ASSERT_EQ(text, print(parsed.domain.get()));
  }
}

}  // namespace
}  // namespace net_test

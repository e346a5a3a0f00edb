// BIF and XMLBIF: what they say becomes a domain and comes back, and what is wrong is told with its line.

#include "formats.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/bif_input.h"
#include "support/builders.h"
#include "support/describe.h"

namespace {

using formats::DomainOwner;
using formats::Error;

tv_node_t* node(const DomainOwner& domain, const char* name) {
  return tv_domain_get_node_by_name(domain.get(), name);
}

std::vector<float> table(tv_node_t* of) {
  tv_table_t* numbers = tv_node_get_table(of);
  const tv_number_t* data = tv_table_get_data(numbers);
  return {data, data + tv_table_get_size(numbers)};
}

template <class Read>
void expect_error(Read read, const std::string& text, size_t line, const std::string& message) {
  try {
    read(text);
    ADD_FAILURE() << "no error: " << text;
  } catch (const Error& error) {
    EXPECT_EQ(line, error.line) << text;
    EXPECT_EQ(message, error.what()) << text;
  }
}

const std::string kVariables =
    "network \"a b\" { property \"author = x\"; }\n"
    "variable A { type discrete [ 2 ] { yes, no }; property \"position = (10.5, -20)\"; }\n"
    "variable 2-B { type discrete[3]{ <5, 5-10, \"more \\\"or\\\" less\" }; property label = Second one; }\n"
    "variable C /* last\n */ { type discrete [ 2 ] { 1 0 }; } // states without commas\n";

TEST(Bif, BecomesADomain) {
  const DomainOwner domain = formats::read_bif(
      kVariables +
      "probability ( A ) { table 0.25, 0.75; }\n"
      "probability ( 2-B | A ) { (no) 0.5, 0.25, 0.25; (yes) 1e-3 0.998 1e-3; }\n"
      "probability ( C | A, 2-B ) { default 0.5 0.5; (yes, 5-10) 1.0, 0.0; property \"x\"; }\n");
  EXPECT_STREQ("a b", tv_domain_get_attribute(domain.get(), "name"));
  tv_node_t *a = node(domain, "A"), *b = node(domain, "_2_B"), *c = node(domain, "C");
  ASSERT_TRUE(a && b && c);
  EXPECT_EQ(a, tv_domain_get_first_node(domain.get()));
  EXPECT_STREQ("Second one", tv_node_get_label(b));
  long x = 0, y = 0;
  tv_node_get_position(a, &x, &y);
  EXPECT_EQ(10, x);
  EXPECT_EQ(-20, y);
  EXPECT_STREQ("more \"or\" less", tv_node_get_state_label(b, 2));
  EXPECT_EQ((std::vector<float>{0.25f, 0.75f}), table(a));
  EXPECT_EQ((std::vector<float>{0.001f, 0.998f, 0.001f, 0.5f, 0.25f, 0.25f}), table(b));
  EXPECT_EQ((std::vector<float>{0.5f, 0.5f, 1, 0, 0.5f, 0.5f, 0.5f, 0.5f, 0.5f, 0.5f, 0.5f, 0.5f}), table(c));
}

// The states of the variable itself vary slowest in a `table`.
TEST(Bif, ReadsTablesOfChildren) {
  const DomainOwner domain =
      formats::read_bif(kVariables + "probability ( C | A ) { table 0.6, 0.05, 0.4, 0.95; }");
  EXPECT_EQ((std::vector<float>{0.6f, 0.4f, 0.05f, 0.95f}), table(node(domain, "C")));
}

TEST(Bif, TellsWhatIsWrong) {
  const struct {
    const char* text;
    size_t line;
    const char* message;
  } tests[] = {
      {"\nvertex A {}", 7, "\"network\", \"variable\" or \"probability\" expected"},
      {"/* x", 6, "the comment does not end"},
      {"variable \"x", 6, "the string does not end"},
      {"variable D {", 6, "\"type\", \"property\" or \"}\" expected"},
      {"variable A { type discrete [ 1 ] { x }; }", 6, "there are two variables \"A\""},
      {"variable D { type continuous; }", 6, "\"discrete\" expected"},
      {"variable D { type discrete [ 2 ] { x }; }", 6, "\"D\" has 1 states instead of 2"},
      {"variable D {} probability ( D ) { table 1; }", 6, "\"D\" has no states"},
      {"variable D { property x", 6, "unexpected end of the file"},
      {"probability ( Q ) {}", 6, "there is no variable \"Q\""},
      {"probability ( A | Q ) {}", 6, "there is no variable \"Q\""},
      {"probability ( A\n|", 7, "unexpected end of the file"},
      {"probability ( A ) { rows 1; }", 6, "\"table\", \"default\", \"(\", \"property\" or \"}\" expected"},
      {"probability ( A ) { table 1; }", 6, "too few numbers"},
      {"probability ( A ) { table 1,\n0, 0; }", 7, "too many numbers"},
      {"probability ( A ) { table 1, x; }", 6, "number expected"},
      {"probability ( A ) { table 1, inf; }", 6, "number expected"},
      {"probability ( A ) { table 1e999, 1; }", 6, "number is too large"},
      {"probability ( A ) { // one\rtable 1e-999,\r\n3.5e38; }", 8, "number is too large"},
      {"probability ( A ) { table 1, -1; }", 6, "probabilities must not be negative"},
      {"probability ( A ) {}", 6, "the probabilities of \"A\" are incomplete"},
      {"probability ( C | A ) { (maybe) 1, 0; }", 6, "\"A\" has no state \"maybe\""},
      {"probability ( C | A ) { (yes no) 1, 0; }", 6, "\")\" expected"},
      {"probability ( A ) { table 1 0; }\nprobability ( A ) { table 1 0; }", 7, "\"A\" is defined twice"},
      {"probability ( A | A ) { default 1 0; }", 6,
       "the link from \"A\" to \"A\": The directed graph would become cyclic."},
  };
  for (const auto& test : tests) {
    const bool is_cycle = std::string(test.message).find("the link") == 0;
    if (is_cycle)
      EXPECT_THROW(formats::read_bif(kVariables + test.text), Error);
    else
      expect_error(formats::read_bif, kVariables + test.text, test.line, test.message);
  }
}

TEST(Xmlbif, BecomesADomain) {
  const DomainOwner domain = formats::read_xmlbif(
      "<?xml version=\"1.0\"?>\n<!DOCTYPE BIF [ <!ELEMENT BIF ( NETWORK )*> ]>\n<BIF "
      "VERSION=\"0.3\"><NETWORK>\n"
      "<NAME>Dogs &amp; lights</NAME>\n"
      "<VARIABLE TYPE=\"nature\"><NAME>light-on</NAME><OUTCOME>true</OUTCOME><OUTCOME>false</OUTCOME>"
      "<PROPERTY>position = (73, 165)</PROPERTY></VARIABLE>\n"
      "<VARIABLE TYPE=\"decision\"><NAME>act</NAME><OUTCOME>go</OUTCOME><OUTCOME>stay</OUTCOME></VARIABLE>\n"
      "<VARIABLE TYPE=\"utility\"><NAME>gain</NAME><OUTCOME>value</OUTCOME></VARIABLE>\n"
      "<DEFINITION><FOR>light-on</FOR><GIVEN>act</GIVEN><TABLE>0.6 0.4 <!-- go --> 0.05 "
      "0.95</TABLE></DEFINITION>\n"
      "<DEFINITION><FOR>gain</FOR><GIVEN>act</GIVEN><TABLE>-5 10</TABLE></DEFINITION>\n"
      "</NETWORK></BIF>\n");
  EXPECT_STREQ("Dogs & lights", tv_domain_get_attribute(domain.get(), "name"));
  tv_node_t* light = node(domain, "light_on");
  ASSERT_NE(nullptr, light);
  EXPECT_STREQ("light-on", tv_node_get_label(light));
  EXPECT_EQ((std::vector<float>{0.6f, 0.4f, 0.05f, 0.95f}), table(light));
  EXPECT_EQ(tv_category_decision, tv_node_get_category(node(domain, "act")));
  EXPECT_EQ((std::vector<float>{-5, 10}), table(node(domain, "gain")));
}

TEST(Xmlbif, TellsWhatIsWrong) {
  const std::string head =
      "<BIF><NETWORK>\n<VARIABLE><NAME>A</NAME><OUTCOME>a</OUTCOME><OUTCOME>b</OUTCOME></VARIABLE>\n";
  const struct {
    const char* text;
    size_t line;
    const char* message;
  } tests[] = {
      {"<VARIABLE/></NETWORK></BIF>", 3, "a <VARIABLE> has no <NAME>"},
      {"<VARIABLE TYPE='other'><NAME>B</NAME></VARIABLE></NETWORK></BIF>", 3, "unknown type \"other\""},
      {"\n<VARIABLE><NAME>A</NAME></VARIABLE></NETWORK></BIF>", 4, "there are two variables \"A\""},
      {"<DEFINITION><FOR>B</FOR></DEFINITION></NETWORK></BIF>", 3, "there is no variable \"B\""},
      {"<DEFINITION><FOR>A</FOR><TABLE>1 x</TABLE></DEFINITION></NETWORK></BIF>", 3,
       "number expected: \"x\" in the table of \"A\""},
      {"<DEFINITION><FOR>A</FOR>\r<TABLE>1 1e999</TABLE></DEFINITION></NETWORK></BIF>", 3,
       "number is too large: \"1e999\" in the table of \"A\""},
      {"\r\r\n<VARIABLE/></NETWORK></BIF>", 5, "a <VARIABLE> has no <NAME>"},
      {"<DEFINITION><FOR>A</FOR><TABLE>1 -1</TABLE></DEFINITION></NETWORK></BIF>", 3,
       "the table of \"A\" has a negative number"},
      {"<DEFINITION><FOR>A</FOR><TABLE>1 0 0</TABLE></DEFINITION></NETWORK></BIF>", 3,
       "the table of \"A\" has too many numbers"},
      {"<DEFINITION><FOR>A</FOR><TABLE>1</TABLE></DEFINITION></NETWORK></BIF>", 3,
       "the table of \"A\" has 1 numbers instead of 2"},
  };
  for (const auto& test : tests)
    expect_error(formats::read_xmlbif, head + test.text, test.line, test.message);
  expect_error(formats::read_xmlbif, "<NETWORK/>", 1, "there is no <NETWORK> in a <BIF>");
  EXPECT_THROW(formats::read_xmlbif("<BIF>\n<NETWORK>"), Error);
}

std::string net_text(tv_domain_t* domain) {
  char* text = tv_domain_to_net_string(domain);
  const std::string result = text;
  std::free(text);
  return result;
}

TEST(Formats, RandomNetworksComeBack) {
  test::Generator random(3);
  for (int i = 0; i < 100; ++i) {
    const test::DomainOwner domain = test::random_network(random, test::Values::extreme);
    for (tv_node_t* one : test::nodes_of(domain.get())) {
      for (size_t s = 0; s < tv_node_get_number_of_states(one); ++s)
        tv_node_set_state_label(one, s, ("s <" + std::to_string(s) + ">, \"&\"").c_str());
      if (random.chance(0.5)) tv_node_set_position(one, static_cast<long>(random.below(90)) - 45, 7);
      if (random.chance(0.5)) tv_node_set_label(one, "a & b; \"c\"");
      tv_node_get_table(one);
    }
    // The order of the children is that of the file, so the first reading may change it; nothing else does.
    const DomainOwner bif = formats::read_bif(formats::write_bif(domain.get()));
    const DomainOwner xml = formats::read_xmlbif(formats::write_xmlbif(domain.get()));
    EXPECT_EQ(net_text(domain.get()), net_text(bif.get()));
    EXPECT_EQ(test::describe(bif.get()), test::describe(xml.get()));
    EXPECT_EQ(test::describe(bif.get()),
              test::describe(formats::read_bif(formats::write_bif(bif.get())).get()));
    for (tv_node_t* one : test::nodes_of(domain.get()))
      EXPECT_EQ(table(one), table(node(bif, tv_node_get_name(one))));
    if (HasFailure()) break;
  }
}

TEST(Formats, RefuseWhatTheyCannotSay) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* utility = tv_domain_new_node(domain.get(), tv_category_utility, tv_kind_other);
  tv_node_set_name(utility, "U");
  EXPECT_THROW(formats::write_bif(domain.get()), Error);
  EXPECT_NE(std::string::npos, formats::write_xmlbif(domain.get()).find("TYPE=\"utility\""));
  tv_node_t* function = tv_domain_new_node(domain.get(), tv_category_function, tv_kind_other);
  tv_node_set_name(function, "F");
  EXPECT_THROW(formats::write_xmlbif(domain.get()), Error);
}

// The seeds of the fuzz target, whole and cut.
TEST(Formats, SurviveCutTexts) {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(TARVO_TEST_FOLDER "/fuzz/corpus/bif")) {
    std::ifstream stream(entry.path(), std::ios::binary);
    const std::string seed{std::istreambuf_iterator<char>(stream), {}};
    for (size_t length = 0; length <= seed.size(); ++length)
      fuzz::parse_bif_bytes(reinterpret_cast<const uint8_t*>(seed.data()), length);
    ++count;
  }
  EXPECT_GE(count, 3u);
}

}  // namespace

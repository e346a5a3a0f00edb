// The writer: its layout byte for byte, and that the parser reads back what it wrote.

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "net_world.h"
#include "network/domain.h"
#include "network/links/links.h"
#include "support/builders.h"
#include "support/describe.h"
#include "text/number_text.h"

namespace net_test {
namespace {

std::string written(tv_domain_t* domain) {
  char* text = tv_domain_to_net_string(domain);
  EXPECT_EQ(tv_status_none, tv_error_code());
  const std::string result = text ? text : "";
  free(text);
  return result;
}

// What a text becomes when it is read and written.
std::string rewritten(const std::string& text) {
  const Parsed parsed = parse(text);
  EXPECT_NE(nullptr, parsed.domain) << text << testing::PrintToString(parsed.messages);
  return parsed.domain ? written(parsed.domain.get()) : "";
}

TEST(Write, LaysOutADomain) {
  const std::string text =
      "net\n{\n    node_size = (80 40);\n    author = \"A. \\\"B\\\"\";\n}\n"
      "\nnode A\n{\n    label = \"first\\ttab\";\n    position = (10 -20);\n    states = (\"a1\" \"a2\");\n"
      "    colour = \"red\";\n}\n"
      "\nnode N\n{\n    states = (\"\" \"\" \"\");\n    subtype = number;\n"
      "    state_values = (-1 0.5 1E+10);\n}\n"
      "\nnode I\n{\n    states = (\"\" \"\");\n    subtype = interval;\n"
      "    state_values = (-infinity 1.2345679 infinity);\n}\n"
      "\nnode B\n{\n    states = (\"false\" \"true\");\n    subtype = boolean;\n}\n"
      "\nnode L\n{\n    states = (\"\" \"two\\nlines\");\n}\n"
      "\ndecision D\n{\n    states = (\"d\");\n}\n"
      "\nutility U\n{\n}\n"
      "\nutility V\n{\n}\n"
      "\nfunction F\n{\n}\n"
      "\ndiscrete function G\n{\n    states = (\"g\");\n}\n"
      "\npotential (A)\n{\n    data = ( 0.5 0.5 );\n}\n"
      "\npotential (N | A)\n{\n    data\n     = (( 0.1 0.2 0.7 )\t%  A=a1\n\t ( 1 0 0 ));\t%  A=a2\n"
      "    experience\n     = ( 10\t%  A=a1\n\t  0.5 );\t%  A=a2\n"
      "    fading\n     = ( 1\t%  A=a1\n\t  0.9 );\t%  A=a2\n}\n"
      "\npotential (I | N)\n{\n    data\n     = (( 1 0 )\t%  N=-1\n\t ( 0.333333 0.666667 )\t%  N=0.5\n"
      "\t ( 1E-05 0.99999 ));\t%  N=1E+10\n}\n"
      "\npotential (B | A I)\n{\n    data\n     = ((( 0.5 0.5 )\t%  A=a1  I=interval(-infinity,1.2345679)\n"
      "\t  ( 1 0 ))\t%  A=a1  I=interval(1.2345679,infinity)\n"
      "\t (( 1 0 )\t%  A=a2  I=interval(-infinity,1.2345679)\n"
      "\t  ( 1 0 )));\t%  A=a2  I=interval(1.2345679,infinity)\n}\n"
      "\npotential (L) {}\n"
      "\npotential (D)\n{\n    data = ( 1 );\n}\n"
      "\npotential (U)\n{\n    data = -2.5;\n}\n"
      "\npotential (V | B L)\n{\n    data\n     = (( 1\t%  B=false  L=<0>\n\t   -2 )\t%  B=false  L=<1>\n"
      "\t ( 3\t%  B=true  L=<0>\n\t   4 ));\t%  B=true  L=<1>\n}\n"
      "\npotential (F | A U) {}\n"
      "\npotential (G) {}\n";
  EXPECT_EQ(text, rewritten(text));
}

TEST(Write, LaysOutContinuousNodesAndChains) {
  const std::string text =
      "net\n{\n    node_size = (0 0);\n}\n"
      "\nnode A\n{\n    states = (\"a1\" \"a2\");\n}\n"
      "\nnode B\n{\n    states = (\"b\");\n}\n"
      "\ncontinuous node X\n{\n}\n"
      "\ncontinuous node Y\n{\n}\n"
      "\ncontinuous node Z\n{\n}\n"
      "\npotential (A) {}\n"
      "\npotential (B) {}\n"
      "\npotential (X)\n{\n    data\n     = normal ( 0, 1.2345679 );\n    experience = 3;\n}\n"
      "\npotential (Y | X)\n{\n    data\n     = normal ( -X, 0 );\n}\n"
      "\npotential (Z | A X Y)\n{\n    data\n     = ( normal ( 2 - 0.5 * X + Y, 0 )\t%  A=a1\n"
      "\t  normal ( -1.5 - X, 1E-09 ) );\t%  A=a2\n}\n"
      "\npotential (A B |)\n{\n    data = (( 1 )\t%  A=a1\n\t ( 2.5 ));\t%  A=a2\n}\n";
  EXPECT_EQ(text, rewritten(text));
}

// What is rounded to one is written like one, so that it stays when it is read.
TEST(Write, RoundsCoefficients) {
  const std::string text = rewritten(
      "continuous node X {} continuous node Y {} potential (Y | X) { data = normal (0, 1); }"
      "potential (X) { data = normal (-1e-30 + 0.9999999999, 1); }");
  EXPECT_NE(text.npos, text.find("= normal ( 1, 1 );"));
  const std::string other = rewritten(
      "continuous node X {} continuous node Y {} potential (Y | X) { data = normal (-0.9999999999 * X, 1); "
      "}");
  EXPECT_NE(other.npos, other.find("= normal ( -X, 1 );"));
  EXPECT_EQ(other, rewritten(other));
}

TEST(Write, LaysOutModels) {
  const std::string nodes =
      "net\n{\n    node_size = (80 40);\n}\n"
      "\nnode A\n{\n    states = (\"a1\" \"a2\");\n    subtype = label;\n}\n"
      "\nnode B\n{\n    states = (\"b1\" \"b2\");\n}\n"
      "\nfunction F\n{\n}\n";
  const std::string text = nodes +
                           "\npotential (A | B F)\n{\n    model_nodes = (B);\n    samples_per_interval = 7;\n"
                           "    model_data\n\t    = ( Distribution (0.5, F),\n\t\tif (F < 2, Distribution "
                           "(1, 1), Distribution (1, 3)) );\n}\n"
                           "\npotential (B)\n{\n    data = ( 0.5 0.5 );\n}\n"
                           "\npotential (F)\n{\n    model_nodes = ();\n    model_data = ( -2 ^ 2 );\n}\n";
  EXPECT_EQ(text, rewritten(text));

  // Data beside a model are its own.
  const std::string both =
      nodes +
      "\npotential (A)\n{\n    model_nodes = ();\n    model_data = ( Distribution (1, 3) );\n"
      "    data = ( 0.25 0.75 );\n}\n"
      "\npotential (B)\n{\n    data = ( 0.5 0.5 );\n}\n"
      "\npotential (F)\n{\n    model_nodes = ();\n}\n";
  EXPECT_EQ(both, rewritten(both));
}

TEST(Write, EscapesEveryByte) {
  std::string all;
  for (int c = 1; c < 256; ++c) all += static_cast<char>(c);
  all += std::string("\1") + "7\1x\\\"";
  test::DomainOwner domain = test::new_domain();
  tv_node_t* node = test::add_node(domain.get(), "A", 2);
  tv_node_set_label(node, all.c_str());
  tv_node_set_state_label(node, 1, all.c_str());
  tv_node_set_attribute(node, "k", all.c_str());
  const std::string text = written(domain.get());
  EXPECT_NE(text.npos, text.find("\\0017\\1x"));
  EXPECT_NE(text.npos, text.find("\\r"));
  for (const char c : text) EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << static_cast<int>(c);
  const Parsed parsed = parse(text);
  ASSERT_NE(nullptr, parsed.domain);
  EXPECT_EQ(test::describe(domain.get()), test::describe(parsed.domain.get()));
}

TEST(Write, NumbersAreThoseOfTheCLibrary) {
  test::Generator random(5);
  const auto check = [](double number) {
    char expected[64], found[64];
    std::snprintf(expected, sizeof expected, "%G", number);
    *tv::write_six_digits(found, number) = '\0';
    ASSERT_STREQ(expected, found) << number;
    std::snprintf(expected, sizeof expected, "%.8G", number);
    *tv::write_digits(found, number, 8) = '\0';
    ASSERT_STREQ(expected, found);
  };
  for (const double number :
       {0.0, -0.0,      1.0,      0.1,      0.5,   1e-4,   9.99999e-5, 9.999995e-5, 999999.0, 999999.5,
        1e6, 0.1234565, 123456.5, 123457.5, 1e300, 5e-324, 2.5,        99999.95,    HUGE_VAL, 3.4028235e38})
    check(number);
  for (int i = 0; i < 100000; ++i) {
    const float number =
        std::ldexp(static_cast<float>(random.uniform() - 0.5), static_cast<int>(random.below(60)) - 35);
    check(static_cast<double>(number));
    check(std::round(random.uniform() * 1e7) / 1e7);  // digits that end in a five, or nearly
  }
}

TEST(Write, ToAStreamAndIntoFullOnes) {
  const Parsed parsed = parse(TARVO_EXAMPLE_FOLDER "/chest.net");
  const std::string text = written(parsed.domain.get());
  std::vector<char> memory(text.size() + 1);
  for (const size_t room : {text.size() + 1, text.size() / 2, size_t{1}}) {
    FILE* stream = fmemopen(memory.data(), room, "w");
    setvbuf(stream, nullptr, _IONBF, 0);
    const bool fits = room > text.size();
    EXPECT_EQ(fits ? tv_status_none : tv_status_io, tv_domain_write_net(parsed.domain.get(), stream));
    fclose(stream);
    if (fits) {
      EXPECT_EQ(text, std::string(memory.data(), text.size()));
    }
  }
  // A device is often found to be full no earlier than when the stream is flushed.
  FILE* full = fopen("/dev/full", "w");
  ASSERT_NE(nullptr, full);
  std::vector<char> buffer(1 << 20);
  setvbuf(full, buffer.data(), _IOFBF, buffer.size());
  EXPECT_EQ(tv_status_io, tv_domain_write_net(parsed.domain.get(), full));
  fclose(full);
  EXPECT_EQ(tv_status_usage, tv_domain_write_net(nullptr, stdout));
  EXPECT_EQ(tv_status_usage, tv_domain_write_net(parsed.domain.get(), nullptr));
  EXPECT_EQ(nullptr, tv_domain_to_net_string(nullptr));
  EXPECT_EQ(tv_status_usage, tv_error_code());
}

}  // namespace
}  // namespace net_test

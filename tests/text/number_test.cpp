// Numbers in and out of text, held against the C library under the "C" locale.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include "text/lexer.h"
#include "text/number_text.h"
#include "text/trace.h"

namespace tv {
namespace {

std::string as_printf(double number, int precision, bool upper_case) {
  char text[64];
  std::snprintf(text, sizeof text, upper_case ? "%.*G" : "%.*g", precision, number);
  return text;
}

double random_double(std::mt19937_64& random) {
  switch (random() % 4) {
    case 0:
      return std::bit_cast<double>(random());  // any bits at all
    case 1:
      return static_cast<double>(static_cast<int64_t>(random() % 2000001) - 1000000);
    case 2:
      return static_cast<double>(static_cast<float>(random() % 1000) / 1000.0f);
    default:
      return std::ldexp(static_cast<double>(random() % 1024), static_cast<int>(random() % 60) - 30);
  }
}

TEST(NumberText, WritesWhatPrintfWrites) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 20000; ++i) {
    const double number = random_double(random);
    const int precision = static_cast<int>(random() % 18);
    const bool upper_case = random() % 2;
    ASSERT_EQ(as_printf(number, precision, upper_case), NumberText(number, precision, upper_case).c_str());
  }
}

// Close to where a digit more is needed, halfway between two texts, and anywhere.
TEST(NumberText, WritesSixDigitsAsPrintfDoes) {
  std::mt19937_64 random(4);
  for (int i = 0; i < 60000; ++i) {
    double number = random_double(random);
    const double power = std::pow(10.0, static_cast<int>(random() % 14) - 7);
    if (i % 3 == 0) number = (static_cast<double>(100000 + random() % 900000) + 0.5) * power;
    if (i % 3 == 1) number = (999999.5 + static_cast<double>(random() % 5) * 0.25 - 0.5) * power;
    for (uint64_t steps = random() % 3; steps > 0; --steps) number = std::nextafter(number, 0.0);
    if (std::isnan(number)) continue;
    char text[kNumberRoom];
    ASSERT_EQ(as_printf(number, 6, true), std::string(text, write_six_digits(text, number))) << i;
  }
}

TEST(NumberText, HoldsTheLongestNumber) {
  const double longest = -2.2250738585072014e-308;
  EXPECT_EQ(as_printf(longest, 30, false), NumberText(longest, 30).c_str());
  EXPECT_EQ(as_printf(longest, 30, false), NumberText(longest, 1000).c_str());
  EXPECT_STREQ("-INF", NumberText(-std::numeric_limits<double>::infinity(), 6, true).c_str());
}

TEST(CostText, CountsUpToTheLastExactInteger) {
  EXPECT_STREQ("0", CostText(0).c_str());
  EXPECT_STREQ("9007199254740991", CostText(9007199254740991.0).c_str());
  EXPECT_STREQ("HUGE", CostText(9007199254740992.0).c_str());
  EXPECT_STREQ("HUGE", CostText(std::numeric_limits<double>::infinity()).c_str());
}

// What is left of the text behind the number, or "none".
std::string scan(const std::string& text, double& number) {
  const char* cursor = text.data();
  const bool valid = scan_decimal(cursor, text.data() + text.size(), number) == Scan::number;
  return valid ? std::string(cursor) : "none";
}

std::string random_decimal(std::mt19937_64& random) {
  const auto digits = [&](size_t limit) {
    std::string text;
    for (size_t count = random() % limit; count > 0; --count) text += static_cast<char>('0' + random() % 10);
    return text;
  };
  std::string text = random() % 3 ? "" : random() % 2 ? "-" : "+";
  text += digits(22);
  if (random() % 2) text += "." + digits(22);
  if (text.find_first_of("0123456789") == text.npos) text += "7";
  if (random() % 2)
    text += std::string(random() % 2 ? "e" : "E") + (random() % 2 ? "-" : "") + "1" + digits(3);
  return text;
}

TEST(ScanDecimal, ReadsWhatTheCLibraryReads) {
  std::mt19937_64 random(2);
  for (int i = 0; i < 50000; ++i) {
    const std::string text = random_decimal(random);
    const double expected = std::strtod(text.c_str(), nullptr);
    double number = 0;
    const std::string rest = scan(text, number);
    if (std::isinf(expected))
      ASSERT_EQ("none", rest) << text;
    else {
      ASSERT_EQ("", rest) << text;
      ASSERT_EQ(std::bit_cast<uint64_t>(expected), std::bit_cast<uint64_t>(number)) << text;
    }
  }
}

TEST(ScanDecimal, KnowsTheEndsOfTheRange) {
  double number;
  EXPECT_EQ("", scan("1.7976931348623157e308", number));
  EXPECT_EQ(std::numeric_limits<double>::max(), number);
  EXPECT_EQ("none", scan("1.8e308", number));
  EXPECT_EQ("none", scan("1e99999999999999999999", number));
  EXPECT_EQ("none", scan("1" + std::string(400, '0'), number));
  EXPECT_EQ("", scan("0e99999999999999999999", number));
  EXPECT_EQ(0.0, number);
  EXPECT_EQ("", scan("-1e-99999999999999999999", number));
  EXPECT_EQ(0.0, number);
  EXPECT_TRUE(std::signbit(number));
  EXPECT_EQ("", scan("0." + std::string(400, '0') + "1", number));
  EXPECT_EQ(0.0, number);
  EXPECT_EQ("", scan("0." + std::string(400, '0') + "25e401", number));
  EXPECT_EQ(2.5, number);
}

TEST(ScanDecimal, KnowsDecimalNumbersOnly) {
  double number;
  for (const char* text : {"", "+", "-", ".", "-.", "e5", ".e5", "1e", "1e+", "inf", "nan", "+-1"})
    EXPECT_EQ("none", scan(text, number)) << text;
  EXPECT_EQ("x10", scan("0x10", number));
  EXPECT_EQ(",5", scan("2,5", number));
  EXPECT_EQ(".3", scan("1.2.3", number));
  EXPECT_EQ("-1", scan("5.-1", number));
}

}  // namespace
}  // namespace tv

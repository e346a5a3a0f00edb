// Files, the locale for the duration of a call, and sizes as text.
#include "api/streams.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>

#include "api/memory.h"

namespace {

TEST(Streams, OpeningAFileReportsItsOutcome) {
  EXPECT_EQ(tv::_tv_open_file("/no such folder/no such file", "r"), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_io);
  std::FILE* stream = tv::_tv_open_file("/dev/null", "r");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  std::fclose(stream);
}

TEST(Streams, TheCLocaleHoldsForTheLifetimeOfTheObject) {
  if (!std::setlocale(LC_ALL, "C.UTF-8")) GTEST_SKIP() << "no second locale on this machine";
  std::setlocale(LC_NUMERIC, "C");  // categories that differ must come back as they were
  const std::string before = std::setlocale(LC_ALL, nullptr);
  {
    tv::CLocale locale;
    EXPECT_TRUE(locale.selected());
    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
    {
      tv::CLocale nested;
      EXPECT_TRUE(nested.selected());
    }
    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
  }
  EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
  std::setlocale(LC_ALL, "C");
}

TEST(Streams, SizesAreDigitsAndTheSentinelIsHuge) {
  tv::PrintContext context;
  EXPECT_STREQ(tv::_tv_print_size(context, 0), "0");
  EXPECT_STREQ(tv::_tv_print_size(context, 1234567), "1234567");
  EXPECT_STREQ(tv::_tv_print_size(context, tv::kHugeSize - 1), "18446744073709551614");
  EXPECT_STREQ(tv::_tv_print_size(context, tv::kHugeSize), "HUGE");
}

TEST(Streams, EightSizesStandSideBySide) {
  tv::PrintContext context;
  const char* texts[9];
  for (size_t i = 0; i < 8; ++i) texts[i] = tv::_tv_print_size(context, 100 + i);
  for (size_t i = 0; i < 8; ++i) EXPECT_EQ(texts[i], std::to_string(100 + i));
  texts[8] = tv::_tv_print_size(context, 9);
  EXPECT_EQ(texts[8], texts[0]);
  EXPECT_STREQ(texts[0], "9");
  EXPECT_STREQ(texts[1], "101");
}

}  // namespace

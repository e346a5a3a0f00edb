// Files, the locale for the duration of a call, and sizes as text.
#include "api/streams.h"

#include <gtest/gtest.h>
#include <langinfo.h>

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
  const locale_t other = newlocale(LC_ALL_MASK, "C.UTF-8", nullptr);
  if (!other) GTEST_SKIP() << "no second locale on this machine";
  const locale_t at_first = uselocale(other);
  const std::string before = nl_langinfo(CODESET);
  {
    tv::CLocale locale;
    EXPECT_TRUE(locale.selected());
    EXPECT_NE(nl_langinfo(CODESET), before);
    {
      tv::CLocale nested;
      EXPECT_TRUE(nested.selected());
    }
    EXPECT_NE(nl_langinfo(CODESET), before);
  }
  EXPECT_EQ(nl_langinfo(CODESET), before);
  EXPECT_EQ(uselocale(at_first), other);
  freelocale(other);
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

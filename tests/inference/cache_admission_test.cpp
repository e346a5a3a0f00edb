// Which patterns of evidence the cache of schedules admits: those that pay.

#include "inference/schedule/cache_admission.h"

#include <gtest/gtest.h>

#include "tables/limits.h"

namespace test {
namespace {

constexpr auto kKind = tv::CacheAdmission::Kind::schedule;
constexpr uint64_t kSpread = 0x9e3779b97f4a7c15u;

class Admission : public testing::Test {
 protected:
  Admission() {
    tv::limits.caches_new_patterns = false;
    admission_.prepare(256);
  }
  ~Admission() override { tv::limits.caches_new_patterns = usual_; }

  // Looks for a pattern that is not cached, and builds its schedule when that is admitted.
  bool builds(uint64_t pattern) {
    admission_.note_search(pattern * kSpread);
    if (!admission_.is_worth_building(kKind)) return false;
    admission_.charge(kKind);
    return true;
  }

  // Such searches, of patterns that come twice and then never again.
  size_t built_in_vain(size_t searches) {
    size_t built = 0;
    for (size_t i = 0; i < searches; ++i) built += builds(next_++ / 2);
    return built;
  }

  const bool usual_ = tv::limits.caches_new_patterns;
  tv::CacheAdmission admission_;
  uint64_t next_ = 1000;
};

TEST_F(Admission, WhatComesAgainIsBuiltAtOnce) {
  EXPECT_FALSE(builds(1));
  EXPECT_TRUE(builds(1));
  for (uint64_t pattern = 2; pattern < 10; ++pattern) EXPECT_FALSE(builds(pattern));
  for (uint64_t pattern = 2; pattern < 10; ++pattern) EXPECT_TRUE(builds(pattern)) << pattern;
}

TEST_F(Admission, WhatIsBuiltInVainTakesASmallShare) {
  built_in_vain(1000);
  const size_t built = built_in_vain(4800);
  EXPECT_GT(built, 50u);
  EXPECT_LE(built, 100u);
}

TEST_F(Admission, HitsPayForMore) {
  built_in_vain(1000);
  for (int i = 0; i < 200; ++i) {
    admission_.note_search(1);
    admission_.note_hit(kKind);
  }
  EXPECT_GT(built_in_vain(100), 25u);
}

TEST_F(Admission, AHotPatternIsRememberedAmongManyOthers) {
  for (uint64_t i = 0; i < 900; ++i) admission_.note_search((i % 10 ? 100 + i : 1) * kSpread);
  admission_.note_search(kSpread);
  EXPECT_GE(admission_.count(), 80u);
  for (uint64_t i = 0; i < 4000; ++i) admission_.note_search((5000 + i) * kSpread);
  admission_.note_search(kSpread);
  EXPECT_LE(admission_.count(), 10u) << "it has long been forgotten";
}

TEST_F(Admission, PatternsOfLargeSchedulesWait) {
  builds(1);
  ASSERT_TRUE(builds(1));
  admission_.reject(kKind);
  size_t waited = 0;
  while (!builds(1) && waited < 1000) ++waited;
  EXPECT_GE(waited, 90u);
  EXPECT_LE(waited, 110u);
}

TEST_F(Admission, TheNeedForTablesIsThePatternsOwn) {
  admission_.note_search(1 * kSpread);
  admission_.note_tables_needed();  // also when nothing was remembered before
  EXPECT_TRUE(admission_.needs_tables());
  admission_.note_search(2 * kSpread);
  EXPECT_FALSE(admission_.needs_tables());
  admission_.note_search(1 * kSpread);
  EXPECT_TRUE(admission_.needs_tables());
}

}  // namespace
}  // namespace test

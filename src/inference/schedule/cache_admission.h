// Decides for which sets of observed nodes schedules are cached. To cache one costs about as much
// as two uncached propagations, and is in vain where the set does not come again, or its schedule is evicted
// before. So the cache counts how often a pattern of evidence was looked for, a few hundred of them at a
// time, and caches schedules on credit: every search earns a little, every search that a cached schedule
// serves what it saves. Whatever the patterns, caching then costs a bounded share of the time, and as long as
// it pays it is never short of credit.
//
// What is admitted depends on the searches alone, never on time. Elimination schedules give results of other
// bits than schedules over the compiled tree, so that what is admitted of them may not depend on these, whose
// sizes depend on the number of threads: each kind has its own credit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace tv {

class CacheAdmission {
 public:
  enum class Kind { schedule, elimination };

  // Counts at most `patterns` of them, a few at least.
  void prepare(size_t patterns) noexcept;

  // A pattern of evidence is looked for; the functions below are about it.
  void note_search(uint64_t hash) noexcept;
  // A cached schedule was found for it.
  void note_hit(Kind kind) noexcept;

  // How often it was looked for, not long ago. All counts are halved from time to time, so that patterns give
  // way to others that are looked for now: `ages` tells that the present search has done so.
  uint32_t count() const noexcept { return current_ ? current_->count : 1; }
  bool ages() const noexcept { return clock_ % (kAge * patterns_) == 0; }

  // Whether a schedule of this kind may be built for the cache.
  bool is_worth_building(Kind kind) const noexcept;
  // It was built. Its cost is charged once in a search.
  void charge(Kind kind) noexcept;
  // It turned out too large: the pattern has to be looked for many times before another is built.
  void reject(Kind kind) noexcept;

  // Tables were needed after the pattern, which elimination schedules do not form.
  void note_tables_needed() noexcept;
  bool needs_tables() const noexcept { return current_ && current_->needs_tables; }

 private:
  // In units of a twentieth of an uncached propagation, rounded to be on the safe side.
  static constexpr int32_t kSearch = 1;  // what any search may cost more for the sake of later ones
  static constexpr int32_t kSaved = 10;  // what a cached schedule saves at least
  static constexpr int32_t kBuilt = 48;  // what it costs to cache one, when that is done rarely
  static constexpr int32_t kStart = 10 * kBuilt;
  static constexpr int32_t kMost = 32 * kBuilt;
  static constexpr size_t kWays = 4;  // patterns of a bucket
  static constexpr size_t kAge = 4;   // counts are halved after so many searches for each pattern
  static constexpr uint8_t kRetryAfter = 100;
  static constexpr uint8_t kMostCount = 255;

  struct Pattern {
    uint32_t hash = 0;
    uint8_t count = 0;
    uint8_t rejected[2] = {};  // by kind: how many more searches it waits
    bool needs_tables = false;
  };

  void remember(uint64_t hash) noexcept;
  void reserve() noexcept;

  std::unique_ptr<Pattern[]> list_;  // buckets, in each the pattern that was looked for last comes first
  Pattern* current_ = nullptr;       // null while nothing is remembered
  size_t patterns_ = kWays;          // a power of two
  uint64_t clock_ = 0;               // counts searches
  uint64_t hash_ = 0, first_hash_ = 0;
  int32_t credit_[2] = {kStart, kStart};  // by kind
  bool is_charged_[2] = {};
};

}  // namespace tv

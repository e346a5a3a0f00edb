// A cache of schedules, by the set of observed nodes: programs ask the same question again and again with
// other answers, which then needs no planning. It holds schedules over the compiled tree that start from the
// potentials, and elimination schedules, with LRU eviction and an admission filter.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "inference/schedule/run_schedule.h"

namespace tv {

struct EliminationSchedule;
struct CachedSchedule;

class ScheduleCache {
 public:
  ScheduleCache() noexcept;
  ~ScheduleCache();
  ScheduleCache(const ScheduleCache&) = delete;
  ScheduleCache& operator=(const ScheduleCache&) = delete;

  // Reserves memory for patterns of `nodes` nodes; `budget` bounds the bytes of all schedules together.
  void prepare(size_t nodes, size_t budget);

  // What serves the evidence that the tree has absorbed and listed in order: a schedule over the compiled
  // tree, an elimination schedule, or nothing.
  struct Found {
    const Schedule* schedule = nullptr;
    EliminationSchedule* elimination = nullptr;
  };
  Found find(const TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept;

  // Which of the two is found may not depend on the number of threads, on which the size of schedules over
  // the compiled tree depends: elimination schedules are admitted as if there were none of these.
  enum class Kind { schedule, elimination };

  // The admission filter: whether the pattern that `find` missed has been looked for before, not long ago,
  // and its schedule is not known to be too large.
  bool admits(Kind kind) const noexcept;

  // Tables were needed after the pattern that `find` looked for last, which its elimination schedule does not
  // form: from now on that pattern is not admitted for elimination.
  void note_tables_needed() noexcept;
  bool needs_tables() const noexcept;

  // Caches a copy of the schedule for that pattern, or an elimination schedule, which needs no copy. Does
  // nothing when memory runs out.
  void insert(const TreeEngine& engine, const Schedule& schedule, tv_equilibrium_t equilibrium) noexcept;
  void insert(std::unique_ptr<EliminationSchedule> elimination) noexcept;

  // Forgets all schedules: some potential has got a table, or one of another layout, since they were built.
  void clear() noexcept;

 private:
  static constexpr size_t kMaxEach = kCapacity.cached_schedules;  // of schedules, of elimination schedules
  static constexpr size_t kSlots = 2 * kMaxEach;
  static constexpr size_t kRecent = 32;
  static constexpr uint64_t kRetryAfter = 100;
  static constexpr uint64_t kMaxIdle = 200;

  struct Rejection {
    uint64_t hash = 0;
    uint64_t when = 0;
  };
  struct Rejections {
    Rejection list[kMaxEach];
    size_t next = 0;
  };
  // Negative entries: hashes of patterns whose schedules are not admitted.
  struct NegativeEntries {
    uint64_t needing_tables[kRecent] = {};  // patterns whose propagations should form tables
    size_t next_needing_tables = 0;
    Rejections rejected[2];  // by kind: patterns whose schedules were too large
  };

  bool note_pattern() noexcept;
  bool reserve_negative() noexcept;
  void reject(Kind kind) noexcept;
  void add(std::unique_ptr<CachedSchedule> cached) noexcept;
  size_t capacity_for(Kind kind) const noexcept;
  void evict_for(Kind kind, size_t bytes) noexcept;
  void evict_idle() noexcept;
  bool layouts_hold(const TreeEngine& engine) noexcept;

  std::vector<uint32_t> pattern_;  // the key: equilibrium, then the nodes with hard or other evidence
  uint64_t hash_ = 0;
  bool was_seen_ = false;
  uint32_t seen_[kRecent] = {};  // hashes of the patterns that were looked for last
  size_t next_seen_ = 0;
  std::unique_ptr<CachedSchedule> schedules_[kSlots];
  uint64_t clock_ = 0;      // counts searches
  size_t layouts_ = kNone;  // the domain's count of layouts when they were last compared with the tables
  size_t budget_ = 0;
  std::unique_ptr<NegativeEntries> negative_;  // null while there are none
};

}  // namespace tv

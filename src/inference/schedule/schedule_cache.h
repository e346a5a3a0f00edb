// Schedules and elimination plans of propagations from the potentials, kept for the sets of observed nodes
// that were seen last: programs ask the same question again and again with other answers. That saves all
// planning.
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

  // Room for patterns of `nodes` nodes; `budget` bounds the bytes of all schedules together.
  void prepare(size_t nodes, size_t budget);

  // What serves the evidence that the tree has taken in and listed in order: a schedule, a plan, or nothing.
  struct Found {
    const Schedule* schedule = nullptr;
    EliminationSchedule* plan = nullptr;
  };
  Found find(const TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept;

  // Which of the two it is may not depend on the number of threads, for which schedules differ in size: plans
  // take no notice of the schedules that are kept.
  enum class Kept { schedule, plan };

  // Whether the pattern that `find` did not find was looked for before, not long ago, and whether what would
  // be kept for it is not known to be too large.
  bool wants_to_keep(Kept kind) const noexcept;

  // After the pattern that `find` looked for last, tables were asked for that its plan had not formed: the
  // next time it has no plan, and gets none.
  void want_tables() noexcept;
  bool wants_tables() const noexcept;

  // Keeps a copy of the schedule for that pattern, or a plan, which needs no copy. Does nothing when memory
  // runs out.
  void keep(const TreeEngine& engine, const Schedule& schedule, tv_equilibrium_t equilibrium) noexcept;
  void keep(std::unique_ptr<EliminationSchedule> plan) noexcept;

  // Forgets all schedules: some potential has got a table, or one of another layout, since they were written.
  void clear() noexcept;

 private:
  static constexpr size_t kEach = kCapacity.kept;  // of schedules, of plans
  static constexpr size_t kPlaces = 2 * kEach;
  static constexpr size_t kSeen = 32;
  static constexpr uint64_t kAskAgain = 100;
  static constexpr uint64_t kForgotten = 200;

  struct Refusal {
    uint64_t hash = 0;
    uint64_t when = 0;
  };
  struct Refusals {
    Refusal list[kEach];
    size_t next = 0;
  };
  // Hashes of what had better not be kept.
  struct Doubts {
    uint64_t table_wanting[kSeen] = {};  // patterns whose propagations had better form tables
    size_t next_table_wanting = 0;
    Refusals refused[2];  // by kind: patterns for which it was too large
  };

  bool note_pattern() noexcept;
  bool may_doubt() noexcept;
  void refuse(Kept kind) noexcept;
  void add(std::unique_ptr<CachedSchedule> kept) noexcept;
  size_t room_for(Kept kind) const noexcept;
  void make_room(Kept kind, size_t bytes) noexcept;
  void forget_old_plans() noexcept;
  bool plans_hold(const TreeEngine& engine) noexcept;

  std::vector<uint32_t> pattern_;  // equilibrium, then the nodes with hard or other evidence
  uint64_t hash_ = 0;
  bool was_seen_ = false;
  uint32_t seen_[kSeen] = {};  // hashes of the patterns that were looked for last
  size_t next_seen_ = 0;
  std::unique_ptr<CachedSchedule> schedules_[kPlaces];
  uint64_t clock_ = 0;      // counts what was looked for
  size_t layouts_ = kNone;  // the domain's count of layouts when plans were last compared with tables
  size_t budget_ = 0;
  std::unique_ptr<Doubts> doubts_;  // null while there are none
};

}  // namespace tv

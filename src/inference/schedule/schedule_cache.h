// The schedules that a state caches, by the set of observed nodes: programs ask the same question again and
// again with other answers, which then needs no planning. It holds schedules over the compiled tree that
// start from the potentials, and elimination schedules. Those that serve the most searches stay
// (cache_admission.h).
//
// What it has not got it takes from other states (shared_schedules.h). Whether a propagation runs by
// elimination, which gives results of other bits, is decided without regard to that.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "inference/schedule/cache_admission.h"
#include "inference/schedule/parallel_subtrees.h"
#include "inference/schedule/shared_schedules.h"

namespace tv {

class ScheduleCache {
 public:
  ScheduleCache() noexcept;
  ~ScheduleCache();
  ScheduleCache(const ScheduleCache&) = delete;
  ScheduleCache& operator=(const ScheduleCache&) = delete;

  // Reserves memory for patterns of `nodes` nodes; `budget` bounds the bytes of all schedules together.
  void prepare(size_t nodes, size_t budget, std::shared_ptr<SharedSchedules> shared);
  const std::shared_ptr<SharedSchedules>& shared() const noexcept { return shared_; }

  // What serves the evidence that the tree has absorbed and listed in order: an elimination schedule, or a
  // schedule over the compiled tree, or nothing. Where an elimination schedule may still be built, it goes
  // first.
  struct Found {
    const Schedule* schedule = nullptr;
    const EliminationSchedule* elimination = nullptr;
    Subtrees* subtrees = nullptr;                // of the schedule that is found, as far as they are known
    std::shared_ptr<const CachedSchedule> held;  // the schedule where another state has it alone
  };
  Found find(const TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept;

  using Kind = CacheAdmission::Kind;

  // Whether a schedule should be built for the pattern that `find` missed, to be cached: it has been looked
  // for before, not long ago, and there is memory that no schedule needs more.
  bool admits(Kind kind) const noexcept { return admitted_[static_cast<size_t>(kind)]; }

  // Tables were needed after the pattern that `find` looked for last, which its elimination schedule does not
  // form: from now on that pattern is not admitted for elimination.
  void note_tables_needed() noexcept;
  bool needs_tables() const noexcept { return admission_.needs_tables(); }

  // The elimination schedule that was to be built for the pattern is not better than one over the tree.
  void note_elimination_in_vain() noexcept;

  // The elimination schedule that another state has for that pattern, or null; and one that was built for it.
  std::shared_ptr<const CachedSchedule> find_shared_elimination() noexcept {
    return shared_->find(key_, true);
  }
  std::shared_ptr<const CachedSchedule> hold(std::unique_ptr<EliminationSchedule> elimination) const;

  // Caches a copy of the schedule for that pattern, or an elimination schedule, which needs no copy. Does
  // nothing when memory runs out.
  void insert(const TreeEngine& engine, const ScheduleLists& lists, tv_equilibrium_t equilibrium) noexcept;
  void insert(const std::shared_ptr<const CachedSchedule>& elimination) noexcept;

  // A copy of the schedule that serves every evidence (finding_vectors.h), or null; whether it should be
  // built, from the second search on; and caching one, which is not evicted.
  const Schedule* for_any_evidence(const TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept;
  bool admits_for_any_evidence() const noexcept { return searches_for_any_ > 1; }
  void insert_for_any_evidence(const TreeEngine& engine, const ScheduleLists& lists,
                               tv_equilibrium_t equilibrium) noexcept;

  // Forgets the schedules over the compiled tree: some potential has got a table, or one of another layout,
  // since they were built.
  void clear_schedules() noexcept;

 private:
  // What a search reads stands beside the schedules, which lie far apart.
  struct Slot {
    uint64_t hash;
    uint64_t used;  // when it was last found
    size_t bytes;
    uint32_t count;  // how often its pattern was looked for, halved from time to time
    Kind kind;
    std::shared_ptr<const CachedSchedule> cached;
    std::unique_ptr<Subtrees> subtrees;
  };

  Slot* slot_for(Kind kind) noexcept;
  const Schedule* find_shared_schedule(Found& found) noexcept;
  bool is_stronger(const Slot& slot, bool is_built) const noexcept;
  bool has_room(Kind kind) const noexcept;
  size_t capacity_for(Kind kind, bool is_built) const noexcept;
  void add(Kind kind, const std::shared_ptr<const CachedSchedule>& cached) noexcept;
  void publish(const TreeEngine& engine, const std::shared_ptr<const CachedSchedule>& cached) noexcept;
  void evict_for(Kind kind, size_t bytes) noexcept;
  void age() noexcept;
  void drop_stale(const TreeEngine& engine) noexcept;

  std::shared_ptr<SharedSchedules> shared_;
  ScheduleKey key_;  // of the pattern that was looked for last
  CacheAdmission admission_;
  bool admitted_[2] = {};      // by kind: the pattern that was looked for last
  size_t last_bytes_[2] = {};  // by kind: of the schedule that was cached last
  std::vector<Slot> slots_;
  std::shared_ptr<const CachedSchedule> for_any_[2];  // for sums and for maxima
  uint32_t searches_for_any_ = 0;                     // counted to two
  uint64_t clock_ = 0;                                // counts searches
  size_t layouts_ = kNone;  // the domain's count of layouts when they were last compared with the tables
  size_t budget_ = 0;
};

}  // namespace tv

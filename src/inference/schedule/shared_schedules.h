// The cached schedules of a tree, which all states of its forest share: what one of them builds serves the
// others. Nothing writes to a schedule once it is here. It lives as long as some state holds it in its cache.
#pragma once

#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "inference/schedule/copy_schedule.h"

namespace tv {

struct EliminationSchedule;

// A schedule over the compiled tree or an elimination schedule, with the pattern of observed nodes as its
// key.
struct CachedSchedule {
  CachedSchedule() noexcept;
  ~CachedSchedule();

  CopiedSchedule copy;
  std::unique_ptr<const EliminationSchedule> elimination;
  bool is_for_any = true;    // it is the same for one thread and for several,
  bool for_threads = false;  // or was built for several
  std::vector<uint32_t> pattern;
  size_t bytes = 0;
};

// What a schedule is looked for by.
struct ScheduleKey {
  std::vector<uint32_t> pattern;  // equilibrium, then the nodes with hard or other evidence
  uint64_t hash = 0;
  bool has_threads = false;
  size_t layouts = kNone;  // the domain's count of layouts

  void start(const TreeEngine& engine, uint32_t first) noexcept;
  // The pattern has to have the capacity for it.
  void add(uint32_t mark) noexcept;
  bool fits(const CachedSchedule& cached) const noexcept {
    return cached.pattern == pattern && (cached.is_for_any || cached.for_threads == has_threads);
  }
};

// For states that work on different threads.
class SharedSchedules {
 public:
  std::shared_ptr<const CachedSchedule> find(const ScheduleKey& key, bool is_elimination) noexcept;

  // Does nothing when memory runs out.
  void insert(const ScheduleKey& key, const std::shared_ptr<const CachedSchedule>& cached) noexcept;

 private:
  struct Entry {
    uint64_t hash;
    std::weak_ptr<const CachedSchedule> cached;
  };

  void set_layouts(size_t layouts) noexcept;

  std::mutex mutex_;
  std::vector<Entry> entries_;
  size_t layouts_ = kNone;  // of the potentials for which the schedules were built
};

}  // namespace tv

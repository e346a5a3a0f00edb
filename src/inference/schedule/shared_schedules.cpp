// The list of shared schedules, under a lock.

#include "inference/schedule/shared_schedules.h"

#include "api/boundary.h"
#include "inference/elimination/elimination_schedule.h"

namespace tv {

CachedSchedule::CachedSchedule() noexcept = default;
CachedSchedule::~CachedSchedule() = default;

void ScheduleKey::start(const TreeEngine& engine, uint32_t first) noexcept {
  hash = 14695981039346656037u;  // Fowler, Noll and Vo's hash
  pattern.clear();
  has_threads = engine.domain->concurrency_level > 1;
  layouts = engine.domain->table_layouts;
  add(first);
}

void ScheduleKey::add(uint32_t mark) noexcept {
  pattern.push_back(mark);
  hash = (hash ^ mark) * 1099511628211u;
}

// Schedules of other layouts are left to those that still hold them.
void SharedSchedules::set_layouts(size_t layouts) noexcept {
  if (layouts_ != layouts) entries_.clear();
  layouts_ = layouts;
}

std::shared_ptr<const CachedSchedule> SharedSchedules::find(const ScheduleKey& key,
                                                            bool is_elimination) noexcept {
  const std::lock_guard lock(mutex_);
  set_layouts(key.layouts);
  for (const Entry& entry : entries_) {
    if (entry.hash != key.hash) continue;
    std::shared_ptr<const CachedSchedule> cached = entry.cached.lock();
    if (cached && (cached->elimination != nullptr) == is_elimination && key.fits(*cached)) return cached;
  }
  return nullptr;
}

void SharedSchedules::insert(const ScheduleKey& key,
                             const std::shared_ptr<const CachedSchedule>& cached) noexcept {
  if (find(key, cached->elimination != nullptr)) return;
  const std::lock_guard lock(mutex_);
  std::erase_if(entries_, [](const Entry& entry) { return entry.cached.expired(); });
  succeeds_with_memory([&] { entries_.push_back({key.hash, cached}); });
}

}  // namespace tv

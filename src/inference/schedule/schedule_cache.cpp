// The list of cached schedules, and the search in it.

#include "inference/schedule/schedule_cache.h"

#include <algorithm>
#include <new>

#include "inference/elimination/elimination_schedule.h"
#include "inference/schedule/copy_schedule.h"
#include "inference/schedule/parallel_subtrees.h"

namespace tv {

// A schedule over the compiled tree or an elimination schedule, with the pattern of observed nodes as its
// key.
struct CachedSchedule {
  CopiedSchedule copy;
  Subtrees subtrees;         // of the schedule
  bool is_for_any = true;    // the schedule is the same for one thread and for several,
  bool for_threads = false;  // or it was built for several
  std::unique_ptr<EliminationSchedule> elimination;
  std::unique_ptr<uint32_t[]> pattern;
  size_t pattern_size = 0;
  size_t bytes = 0;
  uint64_t hash = 0;
  uint64_t used = 0;  // when it was last found
};

namespace {

bool layout_holds(const PotentialPlan& plan) noexcept {
  const Table* table = plan.table();
  return plan.layout == (table ? table->layout : kNone);
}

}  // namespace

ScheduleCache::ScheduleCache() noexcept = default;
ScheduleCache::~ScheduleCache() = default;

void ScheduleCache::prepare(size_t nodes, size_t budget) {
  pattern_.reserve(nodes + 1);
  budget_ = budget;
}

// Layouts are compared only after some table of the domain has got another one.
bool ScheduleCache::layouts_hold(const TreeEngine& engine) noexcept {
  if (layouts_ == engine.domain->table_layouts) return true;
  layouts_ = engine.domain->table_layouts;
  const bool schedules_hold =
      std::all_of(engine.potential_plans.begin(), engine.potential_plans.end(), layout_holds);
  return std::all_of(
      schedules_, schedules_ + kSlots, [schedules_hold](const std::unique_ptr<CachedSchedule>& cached) {
        return !cached || (cached->elimination ? cached->elimination->holds() : schedules_hold);
      });
}

ScheduleCache::Found ScheduleCache::find(const TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept {
  if (!layouts_hold(engine)) clear();
  uint64_t hash = 14695981039346656037u;  // Fowler, Noll and Vo's hash
  pattern_.clear();
  const auto add = [&](uint32_t mark) {
    pattern_.push_back(mark);
    hash = (hash ^ mark) * 1099511628211u;
  };
  add(equilibrium == tv_equilibrium_max);
  for_each_with_evidence(engine, [&](const Node& node) {
    const NodeState& data = engine[node];
    if (data.propagated_state != kNoEvidence)
      add(placement(node).position * 2 + (data.propagated_state >= 0));
  });
  hash_ = hash;
  ++clock_;
  was_seen_ = note_pattern();
  evict_idle();
  const bool has_threads = engine.domain->concurrency_level > 1;
  for (std::unique_ptr<CachedSchedule>& cached : schedules_) {
    if (!cached || cached->hash != hash || cached->pattern_size != pattern_.size() ||
        !std::equal(pattern_.begin(), pattern_.end(), cached->pattern.get()) ||
        (!cached->is_for_any && cached->for_threads != has_threads))
      continue;
    cached->used = clock_;
    if (cached->elimination) return {nullptr, cached->elimination.get()};
    return {&cached->copy.schedule, nullptr};
  }
  return {};
}

bool ScheduleCache::note_pattern() noexcept {
  const auto hash = static_cast<uint32_t>(hash_);
  if (std::find(seen_, seen_ + kRecent, hash) != seen_ + kRecent) return true;
  seen_[next_seen_] = hash;
  next_seen_ = (next_seen_ + 1) % kRecent;
  return false;
}

bool ScheduleCache::admits(Kind kind) const noexcept {
  const bool is_worth_it = was_seen_ || limits.caches_new_patterns;
  if (!is_worth_it || !negative_) return is_worth_it;
  const Rejections& rejected = negative_->rejected[static_cast<size_t>(kind)];
  return std::none_of(rejected.list, rejected.list + kMaxEach, [&](const Rejection& rejection) {
    return rejection.hash == hash_ && clock_ - rejection.when < kRetryAfter;
  });
}

// Allocates the negative entries; without memory for them, what they would exclude is tried again.
bool ScheduleCache::reserve_negative() noexcept {
  if (!negative_) negative_.reset(new (std::nothrow) NegativeEntries);
  return negative_ != nullptr;
}

void ScheduleCache::reject(Kind kind) noexcept {
  if (!reserve_negative()) return;
  Rejections& rejected = negative_->rejected[static_cast<size_t>(kind)];
  rejected.list[rejected.next] = {hash_, clock_};
  rejected.next = (rejected.next + 1) % kMaxEach;
}

bool ScheduleCache::needs_tables() const noexcept {
  if (!negative_) return false;
  const uint64_t* const begin = negative_->needing_tables;
  return std::find(begin, begin + kRecent, hash_) != begin + kRecent;
}

void ScheduleCache::note_tables_needed() noexcept {
  if (reserve_negative()) {
    negative_->needing_tables[negative_->next_needing_tables] = hash_;
    negative_->next_needing_tables = (negative_->next_needing_tables + 1) % kRecent;
  }
  for (std::unique_ptr<CachedSchedule>& cached : schedules_)
    if (cached && cached->elimination && cached->hash == hash_) cached.reset();
}

void ScheduleCache::insert(const TreeEngine& engine, const Schedule& schedule,
                           tv_equilibrium_t equilibrium) noexcept {
  const bool as_it_is = deserves_threads(*engine.domain, schedule);
  const size_t capacity = capacity_for(Kind::schedule);
  CopiedSchedule copy = copy_schedule(engine, schedule, equilibrium, as_it_is, capacity);
  if (copy.bytes > capacity) reject(Kind::schedule);
  std::unique_ptr<CachedSchedule> cached(new (std::nothrow) CachedSchedule);
  if (!copy.memory || !cached) return;
  cached->copy = std::move(copy);
  if (!as_it_is) cached->copy.schedule.gather = &cached->copy.gather;
  cached->copy.schedule.subtrees = &cached->subtrees;
  cached->is_for_any = !would_deserve_threads(*engine.domain, schedule);
  cached->for_threads = engine.domain->concurrency_level > 1;
  cached->bytes = cached->copy.bytes;
  add(std::move(cached));
}

void ScheduleCache::insert(std::unique_ptr<EliminationSchedule> elimination) noexcept {
  if (elimination->bytes() > capacity_for(Kind::elimination)) return reject(Kind::elimination);
  std::unique_ptr<CachedSchedule> cached(new (std::nothrow) CachedSchedule);
  if (!cached) return;
  cached->bytes = elimination->bytes();
  cached->elimination = std::move(elimination);
  add(std::move(cached));
}

void ScheduleCache::add(std::unique_ptr<CachedSchedule> cached) noexcept {
  cached->pattern.reset(new (std::nothrow) uint32_t[pattern_.size()]);
  if (!cached->pattern) return;
  std::copy(pattern_.begin(), pattern_.end(), cached->pattern.get());
  cached->pattern_size = pattern_.size();
  cached->hash = hash_;
  cached->used = clock_;
  evict_for(cached->elimination ? Kind::elimination : Kind::schedule, cached->bytes);
  *std::find(schedules_, schedules_ + kSlots, nullptr) = std::move(cached);
}

// Schedules that are in steady use are not evicted: were they, each would be copied again and again in vain.
size_t ScheduleCache::capacity_for(Kind kind) const noexcept {
  size_t in_use = 0, others = 0;
  for (const std::unique_ptr<CachedSchedule>& cached : schedules_) {
    if (!cached || (kind == Kind::elimination && !cached->elimination)) continue;
    const bool stays = clock_ - cached->used <= kRecent || (kind == Kind::schedule && cached->elimination);
    if (stays) in_use += cached->bytes;
    if (stays && (kind == Kind::elimination) == (cached->elimination != nullptr)) ++others;
  }
  return in_use < budget_ && others < limits.cached_schedules ? budget_ - in_use : 0;
}

// Evicts least recently used schedules until there is a free slot and enough of the budget: schedules over
// the compiled tree first and, where that is not enough for an elimination schedule, elimination schedules.
void ScheduleCache::evict_for(Kind kind, size_t bytes) noexcept {
  for (;;) {
    size_t in_use = bytes, alike = 0;
    std::unique_ptr<CachedSchedule>*oldest_schedule = nullptr, *oldest_elimination = nullptr;
    for (std::unique_ptr<CachedSchedule>& cached : schedules_) {
      if (!cached) continue;
      in_use += cached->bytes;
      alike += (kind == Kind::elimination) == (cached->elimination != nullptr);
      std::unique_ptr<CachedSchedule>*& oldest = cached->elimination ? oldest_elimination : oldest_schedule;
      if (!oldest || cached->used < (*oldest)->used) oldest = &cached;
    }
    const bool has_slot = alike < limits.cached_schedules;
    if (has_slot && in_use <= budget_) return;
    std::unique_ptr<CachedSchedule>* const oldest =
        kind == Kind::elimination && (!has_slot || !oldest_schedule) ? oldest_elimination : oldest_schedule;
    if (!oldest) return;
    oldest->reset();
  }
}

void ScheduleCache::evict_idle() noexcept {
  for (std::unique_ptr<CachedSchedule>& cached : schedules_)
    if (cached && cached->elimination && clock_ - cached->used > kMaxIdle) cached.reset();
}

void ScheduleCache::clear() noexcept {
  for (std::unique_ptr<CachedSchedule>& cached : schedules_) cached.reset();
}

}  // namespace tv

// The list of kept schedules and plans, and how they are found again.

#include "inference/schedule/schedule_cache.h"

#include <algorithm>
#include <new>

#include "inference/elimination/elimination_schedule.h"
#include "inference/schedule/copy_schedule.h"
#include "inference/schedule/parallel_subtrees.h"

namespace tv {

// A plan, or a schedule; one block of memory holds the pattern, another what the schedule points to.
struct CachedSchedule {
  CopiedSchedule copy;
  Subtrees subtrees;         // of the schedule
  bool is_for_any = true;    // the schedule is the same for one thread and for several,
  bool for_threads = false;  // or it was written for several
  std::unique_ptr<EliminationSchedule> plan;
  std::unique_ptr<uint32_t[]> pattern;
  size_t pattern_size = 0;
  size_t bytes = 0;
  uint64_t hash = 0;
  uint64_t used = 0;  // when it was last found
};

namespace {

bool plan_holds(const PotentialPlan& plan) noexcept {
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

// Layouts are compared only where some table of the domain has got another one since they last were.
bool ScheduleCache::plans_hold(const TreeEngine& engine) noexcept {
  if (layouts_ == engine.domain->table_layouts) return true;
  layouts_ = engine.domain->table_layouts;
  const bool schedules_hold =
      std::all_of(engine.potential_plans.begin(), engine.potential_plans.end(), plan_holds);
  return std::all_of(schedules_, schedules_ + kPlaces,
                     [schedules_hold](const std::unique_ptr<CachedSchedule>& kept) {
                       return !kept || (kept->plan ? kept->plan->holds() : schedules_hold);
                     });
}

ScheduleCache::Found ScheduleCache::find(const TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept {
  if (!plans_hold(engine)) clear();
  uint64_t hash = 14695981039346656037u;  // Fowler, Noll and Vo's hash
  pattern_.clear();
  const auto add = [&](uint32_t mark) {
    pattern_.push_back(mark);
    hash = (hash ^ mark) * 1099511628211u;
  };
  add(equilibrium == tv_equilibrium_max);
  for_each_with_evidence(engine, [&](const Node& node) {
    const CompiledNode& data = compiled(node);
    if (data.propagated_state != kNoEvidence) add(data.position * 2 + (data.propagated_state >= 0));
  });
  hash_ = hash;
  ++clock_;
  was_seen_ = note_pattern();
  forget_old_plans();
  const bool has_threads = engine.domain->concurrency_level > 1;
  for (std::unique_ptr<CachedSchedule>& kept : schedules_) {
    if (!kept || kept->hash != hash || kept->pattern_size != pattern_.size() ||
        !std::equal(pattern_.begin(), pattern_.end(), kept->pattern.get()) ||
        (!kept->is_for_any && kept->for_threads != has_threads))
      continue;
    kept->used = clock_;
    if (kept->plan) return {nullptr, kept->plan.get()};
    return {&kept->copy.schedule, nullptr};
  }
  return {};
}

bool ScheduleCache::note_pattern() noexcept {
  const auto hash = static_cast<uint32_t>(hash_);
  if (std::find(seen_, seen_ + kSeen, hash) != seen_ + kSeen) return true;
  seen_[next_seen_] = hash;
  next_seen_ = (next_seen_ + 1) % kSeen;
  return false;
}

bool ScheduleCache::wants_to_keep(Kept kind) const noexcept {
  const bool is_worth_it = was_seen_ || limits.keeps_what_is_new;
  if (!is_worth_it || !doubts_) return is_worth_it;
  const Refusals& refused = doubts_->refused[static_cast<size_t>(kind)];
  return std::none_of(refused.list, refused.list + kEach, [&](const Refusal& refusal) {
    return refusal.hash == hash_ && clock_ - refusal.when < kAskAgain;
  });
}

// Whether there is memory for doubts; without it, what is doubtful is tried again.
bool ScheduleCache::may_doubt() noexcept {
  if (!doubts_) doubts_.reset(new (std::nothrow) Doubts);
  return doubts_ != nullptr;
}

void ScheduleCache::refuse(Kept kind) noexcept {
  if (!may_doubt()) return;
  Refusals& refused = doubts_->refused[static_cast<size_t>(kind)];
  refused.list[refused.next] = {hash_, clock_};
  refused.next = (refused.next + 1) % kEach;
}

bool ScheduleCache::wants_tables() const noexcept {
  if (!doubts_) return false;
  const uint64_t* const begin = doubts_->table_wanting;
  return std::find(begin, begin + kSeen, hash_) != begin + kSeen;
}

void ScheduleCache::want_tables() noexcept {
  if (may_doubt()) {
    doubts_->table_wanting[doubts_->next_table_wanting] = hash_;
    doubts_->next_table_wanting = (doubts_->next_table_wanting + 1) % kSeen;
  }
  for (std::unique_ptr<CachedSchedule>& kept : schedules_)
    if (kept && kept->plan && kept->hash == hash_) kept.reset();
}

void ScheduleCache::keep(const TreeEngine& engine, const Schedule& schedule,
                         tv_equilibrium_t equilibrium) noexcept {
  const bool as_it_is = deserves_threads(*engine.domain, schedule);
  const size_t room = room_for(Kept::schedule);
  CopiedSchedule copy = copy_schedule(engine, schedule, equilibrium, as_it_is, room);
  if (copy.bytes > room) refuse(Kept::schedule);
  std::unique_ptr<CachedSchedule> kept(new (std::nothrow) CachedSchedule);
  if (!copy.memory || !kept) return;
  kept->copy = std::move(copy);
  if (!as_it_is) kept->copy.schedule.gather = &kept->copy.gather;
  kept->copy.schedule.subtrees = &kept->subtrees;
  kept->is_for_any = !would_deserve_threads(*engine.domain, schedule);
  kept->for_threads = engine.domain->concurrency_level > 1;
  kept->bytes = kept->copy.bytes;
  add(std::move(kept));
}

void ScheduleCache::keep(std::unique_ptr<EliminationSchedule> plan) noexcept {
  if (plan->bytes() > room_for(Kept::plan)) return refuse(Kept::plan);
  std::unique_ptr<CachedSchedule> kept(new (std::nothrow) CachedSchedule);
  if (!kept) return;
  kept->bytes = plan->bytes();
  kept->plan = std::move(plan);
  add(std::move(kept));
}

void ScheduleCache::add(std::unique_ptr<CachedSchedule> kept) noexcept {
  kept->pattern.reset(new (std::nothrow) uint32_t[pattern_.size()]);
  if (!kept->pattern) return;
  std::copy(pattern_.begin(), pattern_.end(), kept->pattern.get());
  kept->pattern_size = pattern_.size();
  kept->hash = hash_;
  kept->used = clock_;
  make_room(kept->plan ? Kept::plan : Kept::schedule, kept->bytes);
  *std::find(schedules_, schedules_ + kPlaces, nullptr) = std::move(kept);
}

// What is used again and again stays: were it given up for something else, all would be copied in vain.
size_t ScheduleCache::room_for(Kept kind) const noexcept {
  size_t in_use = 0, others = 0;
  for (const std::unique_ptr<CachedSchedule>& kept : schedules_) {
    if (!kept || (kind == Kept::plan && !kept->plan)) continue;
    const bool stays = clock_ - kept->used <= kSeen || (kind == Kept::schedule && kept->plan);
    if (stays) in_use += kept->bytes;
    if (stays && (kind == Kept::plan) == (kept->plan != nullptr)) ++others;
  }
  return in_use < budget_ && others < limits.kept ? budget_ - in_use : 0;
}

// Forgets those that were used longest ago until there is a place, and so many bytes are left: schedules, and
// where that is not enough for a plan, plans.
void ScheduleCache::make_room(Kept kind, size_t bytes) noexcept {
  for (;;) {
    size_t in_use = bytes, alike = 0;
    std::unique_ptr<CachedSchedule>*oldest_schedule = nullptr, *oldest_plan = nullptr;
    for (std::unique_ptr<CachedSchedule>& kept : schedules_) {
      if (!kept) continue;
      in_use += kept->bytes;
      alike += (kind == Kept::plan) == (kept->plan != nullptr);
      std::unique_ptr<CachedSchedule>*& oldest = kept->plan ? oldest_plan : oldest_schedule;
      if (!oldest || kept->used < (*oldest)->used) oldest = &kept;
    }
    const bool has_place = alike < limits.kept;
    if (has_place && in_use <= budget_) return;
    std::unique_ptr<CachedSchedule>* const oldest =
        kind == Kept::plan && (!has_place || !oldest_schedule) ? oldest_plan : oldest_schedule;
    if (!oldest) return;
    oldest->reset();
  }
}

void ScheduleCache::forget_old_plans() noexcept {
  for (std::unique_ptr<CachedSchedule>& kept : schedules_)
    if (kept && kept->plan && clock_ - kept->used > kForgotten) kept.reset();
}

void ScheduleCache::clear() noexcept {
  for (std::unique_ptr<CachedSchedule>& kept : schedules_) kept.reset();
}

}  // namespace tv

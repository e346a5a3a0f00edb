// The list of cached schedules, and the search in it.

#include "inference/schedule/schedule_cache.h"

#include <algorithm>
#include <new>

#include "api/boundary.h"
#include "inference/elimination/elimination_schedule.h"
#include "inference/schedule/copy_schedule.h"
#include "inference/schedule/parallel_subtrees.h"

namespace tv {

// A schedule over the compiled tree or an elimination schedule, with the pattern of observed nodes as its
// key.
struct CachedSchedule {
  CopiedSchedule copy;
  Subtrees subtrees;         // of the schedule: found when it is first run on threads
  bool is_for_any = true;    // the schedule is the same for one thread and for several,
  bool for_threads = false;  // or it was built for several
  std::unique_ptr<EliminationSchedule> elimination;
  std::unique_ptr<uint32_t[]> pattern;
  size_t pattern_size = 0;
};

namespace {

constexpr size_t kBytesForPattern = 4096;  // of the budget, so that small trees remember fewer
constexpr size_t kPatternsForSchedule = 4;
constexpr uint64_t kMaxIdle = 1000;

bool layout_holds(const CliquePotential& plan) noexcept {
  const Table* table = plan.table();
  return plan.layout == (table ? table->layout : kNone);
}

}  // namespace

ScheduleCache::ScheduleCache() noexcept = default;
ScheduleCache::~ScheduleCache() = default;

void ScheduleCache::prepare(size_t nodes, size_t budget) {
  pattern_.reserve(nodes + 1);
  budget_ = budget;
  admission_.prepare(std::min(budget / kBytesForPattern, kPatternsForSchedule * kCapacity.cached_schedules));
}

// Layouts are compared only after some table of the domain has got another one.
bool ScheduleCache::layouts_hold(const TreeEngine& engine) noexcept {
  if (layouts_ == engine.domain->table_layouts) return true;
  layouts_ = engine.domain->table_layouts;
  const bool schedules_hold =
      std::all_of(engine.clique_potentials.begin(), engine.clique_potentials.end(), layout_holds);
  const bool has_schedule = for_any_[0] || for_any_[1];
  return (schedules_hold || !has_schedule) &&
         std::all_of(slots_.begin(), slots_.end(), [&](const Slot& slot) {
           return slot.kind == Kind::elimination ? slot.cached->elimination->holds(*engine.tree)
                                                 : schedules_hold;
         });
}

void ScheduleCache::drop_stale(const TreeEngine& engine) noexcept {
  if (!layouts_hold(engine)) clear();
}

ScheduleCache::Found ScheduleCache::find(const TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept {
  drop_stale(engine);
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
  admission_.note_search(hash);
  if (admission_.ages()) age();
  const bool has_threads = engine.domain->concurrency_level > 1;
  Found found;
  for (const Kind kind : {Kind::schedule, Kind::elimination}) {
    Slot* const slot = slot_for(kind, has_threads);
    admitted_[static_cast<size_t>(kind)] = !slot && admission_.is_worth_building(kind) && has_room(kind);
    if (!slot) continue;
    ++slot->count;
    slot->used = clock_;
    if (kind == Kind::elimination)
      found = {nullptr, slot->cached->elimination.get(), &slot->cached->subtrees};
    else
      found = {&slot->cached->copy.schedule, nullptr, &slot->cached->subtrees};
    admission_.note_hit(kind);
  }
  return found;
}

// The schedule for the present pattern.
ScheduleCache::Slot* ScheduleCache::slot_for(Kind kind, bool has_threads) noexcept {
  for (Slot& slot : slots_) {
    if (slot.hash != hash_ || slot.kind != kind) continue;
    const CachedSchedule& cached = *slot.cached;
    if (cached.pattern_size == pattern_.size() &&
        std::equal(pattern_.begin(), pattern_.end(), cached.pattern.get()) &&
        (cached.is_for_any || cached.for_threads == has_threads))
      return &slot;
  }
  return nullptr;
}

void ScheduleCache::note_tables_needed() noexcept {
  admission_.note_tables_needed();
  std::erase_if(slots_,
                [this](const Slot& slot) { return slot.hash == hash_ && slot.kind == Kind::elimination; });
}

void ScheduleCache::note_elimination_in_vain() noexcept {
  admission_.charge(Kind::elimination);
  admission_.note_tables_needed();
}

void ScheduleCache::insert(const TreeEngine& engine, const ScheduleLists& lists,
                           tv_equilibrium_t equilibrium) noexcept {
  const bool as_it_is = deserves_threads(*engine.domain, lists.schedule());
  const size_t capacity = capacity_for(Kind::schedule, true);
  admission_.charge(Kind::schedule);
  CopiedSchedule copy = copy_schedule(engine, lists, equilibrium, as_it_is, capacity);
  if (copy.bytes > capacity) admission_.reject(Kind::schedule);
  std::unique_ptr<CachedSchedule> cached(new (std::nothrow) CachedSchedule);
  if (!copy.memory || !cached) return;
  cached->copy = std::move(copy);
  if (!as_it_is) cached->copy.schedule.gather = &cached->copy.gather;
  cached->is_for_any = !would_deserve_threads(*engine.domain, lists.schedule());
  cached->for_threads = engine.domain->concurrency_level > 1;
  const size_t bytes = cached->copy.bytes;
  add(Kind::schedule, bytes, std::move(cached));
}

void ScheduleCache::insert(std::unique_ptr<EliminationSchedule> elimination) noexcept {
  const bool was_built_for_it = admits(Kind::elimination);
  if (was_built_for_it) admission_.charge(Kind::elimination);
  if (elimination->bytes() > capacity_for(Kind::elimination, was_built_for_it)) {
    if (was_built_for_it) admission_.reject(Kind::elimination);
    return;
  }
  std::unique_ptr<CachedSchedule> cached(new (std::nothrow) CachedSchedule);
  if (!cached) return;
  const size_t bytes = elimination->bytes();
  cached->elimination = std::move(elimination);
  add(Kind::elimination, bytes, std::move(cached));
}

void ScheduleCache::add(Kind kind, size_t bytes, std::unique_ptr<CachedSchedule> cached) noexcept {
  cached->pattern.reset(new (std::nothrow) uint32_t[pattern_.size()]);
  if (!cached->pattern) return;
  std::copy(pattern_.begin(), pattern_.end(), cached->pattern.get());
  cached->pattern_size = pattern_.size();
  evict_for(kind, bytes);
  last_bytes_[static_cast<size_t>(kind)] = bytes;
  succeeds_with_memory([&] {
    slots_.push_back({hash_, clock_, bytes, admission_.count(), kind, std::move(cached)});
  });
}

// Schedules that serve more searches are not evicted: were they, each would be built again and again in vain.
// To build one for the cache pays only if it then serves clearly more than the one that gives way to it; one
// that was built anyway is cached also if it has come as often.
bool ScheduleCache::is_stronger(const Slot& slot, bool is_built) const noexcept {
  return is_built ? 2 * slot.count + 1 >= admission_.count() : slot.count > admission_.count();
}

// The schedule will take about as much memory as the one before.
bool ScheduleCache::has_room(Kind kind) const noexcept {
  const size_t bytes = capacity_for(kind, true);
  return bytes > 0 && bytes >= last_bytes_[static_cast<size_t>(kind)];
}

// The bytes that a schedule for the present pattern may take: what stronger schedules leave. Elimination
// schedules are admitted as if there were none of the other kind.
size_t ScheduleCache::capacity_for(Kind kind, bool is_built) const noexcept {
  size_t in_use = 0, alike = 0;
  for (const Slot& slot : slots_) {
    const bool stays = slot.kind == kind ? is_stronger(slot, is_built) : kind == Kind::schedule;
    if (stays) in_use += slot.bytes;
    if (stays && slot.kind == kind) ++alike;
  }
  return in_use < budget_ && alike < limits.cached_schedules ? budget_ - in_use : 0;
}

// Evicts the schedules that have served the fewest searches until there is a free slot and enough of the
// budget: schedules over the compiled tree first and, where that is not enough for an elimination schedule,
// elimination schedules.
void ScheduleCache::evict_for(Kind kind, size_t bytes) noexcept {
  for (;;) {
    size_t in_use = bytes, alike = 0;
    Slot* weakest[2] = {};  // by kind
    for (Slot& slot : slots_) {
      in_use += slot.bytes;
      alike += slot.kind == kind;
      Slot*& least = weakest[static_cast<size_t>(slot.kind)];
      if (!least || std::pair(slot.count, slot.used) < std::pair(least->count, least->used)) least = &slot;
    }
    const bool has_slot = alike < limits.cached_schedules;
    if (has_slot && in_use <= budget_) return;
    const bool is_own = kind == Kind::schedule || !has_slot || !weakest[0];
    Slot* const evicted = weakest[static_cast<size_t>(is_own ? kind : Kind::schedule)];
    if (!evicted) return;
    if (evicted != &slots_.back()) *evicted = std::move(slots_.back());
    slots_.pop_back();
  }
}

// Idle elimination schedules would hold memory that the others could have.
void ScheduleCache::age() noexcept {
  for (Slot& slot : slots_) slot.count /= 2;
  std::erase_if(slots_, [this](const Slot& slot) {
    return slot.kind == Kind::elimination && clock_ - slot.used > kMaxIdle;
  });
}

const Schedule* ScheduleCache::for_any_evidence(const TreeEngine& engine,
                                                tv_equilibrium_t equilibrium) noexcept {
  drop_stale(engine);
  searches_for_any_ = std::min(searches_for_any_ + 1, 2u);
  const CachedSchedule* const cached = for_any_[equilibrium == tv_equilibrium_max].get();
  return cached ? &cached->copy.schedule : nullptr;
}

void ScheduleCache::insert_for_any_evidence(const TreeEngine& engine, const ScheduleLists& lists,
                                            tv_equilibrium_t equilibrium) noexcept {
  std::unique_ptr<CachedSchedule> cached(new (std::nothrow) CachedSchedule);
  if (!cached) return;
  cached->copy = copy_schedule(engine, lists, equilibrium, false, kHugeSize);
  if (!cached->copy.memory) return;
  cached->copy.schedule.gather = &cached->copy.gather;
  for_any_[equilibrium == tv_equilibrium_max] = std::move(cached);
}

void ScheduleCache::clear() noexcept {
  slots_.clear();
  for (std::unique_ptr<CachedSchedule>& cached : for_any_) cached.reset();
}

}  // namespace tv

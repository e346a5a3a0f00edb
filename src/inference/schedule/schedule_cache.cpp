// The list of cached schedules, and the search in it.

#include "inference/schedule/schedule_cache.h"

#include <algorithm>
#include <new>

#include "api/boundary.h"
#include "inference/elimination/elimination_schedule.h"

namespace tv {

namespace {

constexpr size_t kPatternsForSchedule = 4;
constexpr uint32_t kAnyEvidence = 2;  // stands in the place of the equilibrium

}  // namespace

ScheduleCache::ScheduleCache() noexcept = default;
ScheduleCache::~ScheduleCache() = default;

void ScheduleCache::prepare(size_t nodes, size_t budget, std::shared_ptr<SharedSchedules> shared) {
  key_.pattern.reserve(nodes + 1);
  budget_ = budget;
  shared_ = std::move(shared);
  admission_.prepare(
      std::min(budget / limits.bytes_for_pattern, kPatternsForSchedule * kCapacity.cached_schedules));
}

// Layouts are compared only after some table of the domain has got another one. The strides of the compiled
// tree are set anew at once, since a schedule of another state may be run next.
void ScheduleCache::drop_stale(const TreeEngine& engine) noexcept {
  if (layouts_ == engine.domain->table_layouts) return;
  layouts_ = engine.domain->table_layouts;
  bool changes = false;
  for (CliquePotential& plan : engine.clique_potentials) changes |= refresh_potential(plan);
  if (changes) clear_schedules();
  std::erase_if(slots_, [&](const Slot& slot) {
    return slot.kind == Kind::elimination && !slot.cached->elimination->holds(*engine.tree);
  });
}

ScheduleCache::Found ScheduleCache::find(const TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept {
  drop_stale(engine);
  key_.start(engine, equilibrium == tv_equilibrium_max);
  for_each_with_evidence(engine, [&](const Node& node) {
    const NodeState& data = engine[node];
    if (data.propagated_state != kNoEvidence)
      key_.add(placement(node).position * 2 + (data.propagated_state >= 0));
  });
  ++clock_;
  admission_.note_search(key_.hash);
  if (admission_.ages()) age();
  Found found;
  for (const Kind kind : {Kind::schedule, Kind::elimination}) {
    Slot* const slot = slot_for(kind);
    admitted_[static_cast<size_t>(kind)] = !slot && admission_.is_worth_building(kind) && has_room(kind);
    if (!slot) continue;
    ++slot->count;
    slot->used = clock_;
    found.subtrees = slot->subtrees.get();
    found.schedule = kind == Kind::schedule ? &slot->cached->copy.schedule : nullptr;
    found.elimination = slot->cached->elimination.get();
    admission_.note_hit(kind);
  }
  if (!found.schedule && !found.elimination) found.schedule = find_shared_schedule(found);
  return found;
}

// That of another state, which becomes this one's where there is room for it.
const Schedule* ScheduleCache::find_shared_schedule(Found& found) noexcept {
  found.held = shared_->find(key_, false);
  if (!found.held) return nullptr;
  admission_.note_hit(Kind::schedule);
  admitted_[static_cast<size_t>(Kind::schedule)] = false;
  if (found.held->bytes <= capacity_for(Kind::schedule, false)) add(Kind::schedule, found.held);
  return &found.held->copy.schedule;
}

// The schedule for the present pattern.
ScheduleCache::Slot* ScheduleCache::slot_for(Kind kind) noexcept {
  for (Slot& slot : slots_)
    if (slot.hash == key_.hash && slot.kind == kind && key_.fits(*slot.cached)) return &slot;
  return nullptr;
}

void ScheduleCache::note_tables_needed() noexcept {
  admission_.note_tables_needed();
  std::erase_if(
      slots_, [this](const Slot& slot) { return slot.hash == key_.hash && slot.kind == Kind::elimination; });
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
  succeeds_with_memory([&] {
    const auto cached = std::make_shared<CachedSchedule>();
    cached->copy = copy_schedule(engine, lists, equilibrium, as_it_is, capacity);
    if (cached->copy.bytes > capacity) admission_.reject(Kind::schedule);
    if (!cached->copy.memory) return;
    cached->is_for_any = !would_deserve_threads(*engine.domain, lists.schedule());
    cached->for_threads = engine.domain->concurrency_level > 1;
    cached->pattern = key_.pattern;
    cached->bytes = cached->copy.bytes;
    add(Kind::schedule, cached);
    publish(engine, cached);
  });
}

// Where a clique has got a table that was to be lazy, others have none.
void ScheduleCache::publish(const TreeEngine& engine,
                            const std::shared_ptr<const CachedSchedule>& cached) noexcept {
  if (engine.stored.empty()) shared_->insert(key_, cached);
}

std::shared_ptr<const CachedSchedule> ScheduleCache::hold(
    std::unique_ptr<EliminationSchedule> elimination) const {
  if (!elimination) return nullptr;
  const auto cached = std::make_shared<CachedSchedule>();
  cached->bytes = elimination->bytes();
  cached->elimination = std::move(elimination);
  cached->pattern = key_.pattern;
  return cached;
}

void ScheduleCache::insert(const std::shared_ptr<const CachedSchedule>& elimination) noexcept {
  const bool was_built_for_it = admits(Kind::elimination);
  if (was_built_for_it) admission_.charge(Kind::elimination);
  if (elimination->bytes > capacity_for(Kind::elimination, was_built_for_it)) {
    if (was_built_for_it) admission_.reject(Kind::elimination);
    return;
  }
  add(Kind::elimination, elimination);
  shared_->insert(key_, elimination);
}

void ScheduleCache::add(Kind kind, const std::shared_ptr<const CachedSchedule>& cached) noexcept {
  evict_for(kind, cached->bytes);
  last_bytes_[static_cast<size_t>(kind)] = cached->bytes;
  succeeds_with_memory([&] {
    slots_.push_back(
        {key_.hash, clock_, cached->bytes, admission_.count(), kind, cached, std::make_unique<Subtrees>()});
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
    return slot.kind == Kind::elimination && clock_ - slot.used > limits.idle_searches;
  });
}

const Schedule* ScheduleCache::for_any_evidence(const TreeEngine& engine,
                                                tv_equilibrium_t equilibrium) noexcept {
  drop_stale(engine);
  searches_for_any_ = std::min(searches_for_any_ + 1, 2u);
  std::shared_ptr<const CachedSchedule>& cached = for_any_[equilibrium == tv_equilibrium_max];
  if (!cached) {
    key_.start(engine, kAnyEvidence + (equilibrium == tv_equilibrium_max));
    cached = shared_->find(key_, false);
  }
  return cached ? &cached->copy.schedule : nullptr;
}

void ScheduleCache::insert_for_any_evidence(const TreeEngine& engine, const ScheduleLists& lists,
                                            tv_equilibrium_t equilibrium) noexcept {
  succeeds_with_memory([&] {
    const auto cached = std::make_shared<CachedSchedule>();
    cached->copy = copy_schedule(engine, lists, equilibrium, false, kHugeSize);
    if (!cached->copy.memory) return;
    cached->pattern = key_.pattern;
    for_any_[equilibrium == tv_equilibrium_max] = cached;
    publish(engine, cached);
  });
}

void ScheduleCache::clear_schedules() noexcept {
  std::erase_if(slots_, [](const Slot& slot) { return slot.kind == Kind::schedule; });
  for (std::shared_ptr<const CachedSchedule>& cached : for_any_) cached.reset();
}

}  // namespace tv

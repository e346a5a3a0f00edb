// Copies of tapes, each in one block of memory, with the controls and shapes that its steps point to.

#include "inference/tape_cache.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace tv {

// `bytes` of memory hold the pattern and everything that `tape` points to.
struct KeptTape {
  explicit KeptTape(std::unique_ptr<unsigned char[]> block, size_t size) noexcept
      : memory(std::move(block)), bytes(size) {}

  std::unique_ptr<unsigned char[]> memory;
  size_t bytes;
  Tape tape;
  const unsigned char* pattern = nullptr;
  uint64_t hash = 0;
  uint64_t used = 0;  // when it was last found
};

namespace {

// Hands out parts of a block; without a block it only counts.
class Arena {
 public:
  explicit Arena(unsigned char* memory) noexcept : memory_(memory) {}

  template <class T>
  T* copy(const T* source, size_t count) noexcept {
    used_ = (used_ + alignof(T) - 1) / alignof(T) * alignof(T);
    T* place = memory_ ? reinterpret_cast<T*>(memory_ + used_) : nullptr;
    if (place && count) std::memcpy(static_cast<void*>(place), source, count * sizeof(T));
    used_ += count * sizeof(T);
    return place;
  }
  size_t used() const noexcept { return used_; }

 private:
  unsigned char* memory_;
  size_t used_ = 0;
};

const Control* copy_control(Arena& arena, const Control& control, const Shape& shape) noexcept {
  Control* copy = arena.copy(&control, 1);
  size_t* steps = arena.copy(control.steps, std::min(shape.outer + 1, shape.dimensions));
  Dimension* inner = arena.copy(control.inner, control.inner_count);
  if (copy) {
    copy->steps = steps;
    copy->inner = inner;
  }
  return copy;
}

// Copies the tape into the arena, or counts what that takes.
Tape copy_tape(Arena& arena, const Tape& tape) noexcept {
  size_t step_count = 0;
  for (size_t i = 0; i < tape.item_count; ++i) step_count += tape.items[i].step_count;
  Tape copy = tape;
  copy.items = arena.copy(tape.items, tape.item_count);
  copy.steps = arena.copy(tape.steps, step_count);
  copy.potentials = arena.copy(tape.potentials, tape.potential_count);
  for (size_t i = 0; i < tape.item_count; ++i) {
    const Item& item = tape.items[i];
    size_t* counts = arena.copy(item.shape.counts, item.shape.dimensions);
    const Control* scalar = item.scalar ? copy_control(arena, *item.scalar, item.shape) : nullptr;
    if (copy.items) {
      copy.items[i].shape.counts = counts;
      copy.items[i].scalar = scalar;
    }
    for (size_t s = item.first_step; s < item.first_step + item.step_count; ++s) {
      const Control* control = copy_control(arena, *tape.steps[s].control, item.shape);
      if (copy.steps) copy.steps[s].control = control;
    }
  }
  return copy;
}

bool plans_hold(const CliqueWork& work) noexcept {
  return std::all_of(work.potentials.begin(), work.potentials.end(), [](const PotentialPlan& plan) {
    const Table* table = plan.table();
    return plan.layout == (table ? table->layout : kNone);
  });
}

}  // namespace

TapeCache::TapeCache() noexcept = default;
TapeCache::~TapeCache() = default;

void TapeCache::prepare(size_t nodes, size_t budget) {
  pattern_.assign(nodes + 1, 0);
  budget_ = budget;
}

const Tape* TapeCache::find(const TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept {
  uint64_t hash = 14695981039346656037u;  // Fowler, Noll and Vo's hash
  size_t next = 0;
  const auto add = [&](unsigned char mark) {
    pattern_[next++] = mark;
    hash = (hash ^ mark) * 1099511628211u;
  };
  for (const Node* node : engine.tree->nodes) {
    const ptrdiff_t state = compiled(*node).propagated_state;
    add(state >= 0 ? 2 : state == kFindingVector ? 1 : 0);
  }
  add(equilibrium == tv_equilibrium_max);
  hash_ = hash;
  for (std::unique_ptr<KeptTape>& kept : tapes_) {
    if (!kept || kept->hash != hash || std::memcmp(kept->pattern, pattern_.data(), pattern_.size()) != 0)
      continue;
    if (!std::all_of(engine.cliques.begin(), engine.cliques.end(), plans_hold)) {
      clear();
      return nullptr;
    }
    kept->used = ++clock_;
    return &kept->tape;
  }
  return nullptr;
}

bool TapeCache::was_seen(uint64_t hash) noexcept {
  if (std::find(seen_, seen_ + kSeen, hash) != seen_ + kSeen) return true;
  seen_[next_seen_] = hash;
  next_seen_ = (next_seen_ + 1) % kSeen;
  return false;
}

void TapeCache::keep(const Tape& tape) noexcept {
  if (!was_seen(hash_)) return;
  Arena count(nullptr);
  copy_tape(count, tape);
  count.copy(pattern_.data(), pattern_.size());
  if (count.used() > budget_ / kTapes) return;
  std::unique_ptr<unsigned char[]> memory(new (std::nothrow) unsigned char[count.used()]);
  if (!memory) return;
  Arena arena(memory.get());
  auto* kept = new (std::nothrow) KeptTape(std::move(memory), count.used());
  if (!kept) return;
  kept->tape = copy_tape(arena, tape);
  kept->pattern = arena.copy(pattern_.data(), pattern_.size());
  kept->hash = hash_;
  kept->used = ++clock_;
  const auto last_used = [](const std::unique_ptr<KeptTape>& one) { return one ? one->used : 0; };
  *std::min_element(tapes_, tapes_ + kTapes, [&](const auto& a, const auto& b) {
    return last_used(a) < last_used(b);
  }) = std::unique_ptr<KeptTape>(kept);
}

void TapeCache::clear() noexcept {
  for (std::unique_ptr<KeptTape>& kept : tapes_) kept.reset();
}

}  // namespace tv

// The list of kept tapes, and how they are found again.

#include "inference/tape_cache.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "inference/copy_tape.h"

namespace tv {

// One block of memory holds the pattern, another what the tape points to.
struct KeptTape {
  explicit KeptTape(CopiedTape&& copied) noexcept : copy(std::move(copied)) { copy.tape.brief = &copy.brief; }

  CopiedTape copy;
  std::unique_ptr<unsigned char[]> pattern;
  uint64_t hash = 0;
  uint64_t used = 0;  // when it was last found
};

namespace {

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
    if (!kept || kept->hash != hash || std::memcmp(kept->pattern.get(), pattern_.data(), pattern_.size()) != 0)
      continue;
    if (!std::all_of(engine.cliques.begin(), engine.cliques.end(), plans_hold)) {
      clear();
      return nullptr;
    }
    kept->used = ++clock_;
    return &kept->copy.tape;
  }
  return nullptr;
}

bool TapeCache::was_seen(uint64_t hash) noexcept {
  if (std::find(seen_, seen_ + kSeen, hash) != seen_ + kSeen) return true;
  seen_[next_seen_] = hash;
  next_seen_ = (next_seen_ + 1) % kSeen;
  return false;
}

void TapeCache::keep(const TreeEngine& engine, const Tape& tape, tv_equilibrium_t equilibrium) noexcept {
  if (!was_seen(hash_)) return;
  CopiedTape copy = copy_tape(engine, tape, equilibrium, budget_ / kTapes);
  std::unique_ptr<unsigned char[]> pattern(new (std::nothrow) unsigned char[pattern_.size()]);
  if (!copy.memory || !pattern) return;
  auto* kept = new (std::nothrow) KeptTape(std::move(copy));
  if (!kept) return;
  std::copy(pattern_.begin(), pattern_.end(), pattern.get());
  kept->pattern = std::move(pattern);
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

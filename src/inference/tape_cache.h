// Tapes of propagations from the potentials, kept for the sets of observed nodes that were seen last:
// programs ask the same question again and again with other answers. A kept tape saves all planning.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "inference/messages.h"

namespace tv {

struct KeptTape;

class TapeCache {
 public:
  TapeCache() noexcept;
  ~TapeCache();
  TapeCache(const TapeCache&) = delete;
  TapeCache& operator=(const TapeCache&) = delete;

  // Room for patterns of `nodes` nodes; `budget` bounds the bytes of all tapes together.
  void prepare(size_t nodes, size_t budget);

  // The tape for the evidence that the tree has taken in and listed in order, or null.
  const Tape* find(const TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept;

  // Whether the pattern that `find` has just looked for was looked for before, not long ago.
  bool wants_tape() noexcept;

  // Keeps a copy of the tape for that pattern. Does nothing when memory runs out.
  void keep(const TreeEngine& engine, const Tape& tape, tv_equilibrium_t equilibrium) noexcept;

  // Forgets all tapes: some potential has got a table, or one of another layout, since they were written.
  void clear() noexcept;

 private:
  static constexpr size_t kTapes = 8;
  static constexpr size_t kSeen = 32;
  static constexpr uint64_t kAskAgain = 100;

  struct Refusal {
    uint64_t hash = 0;
    uint64_t when = 0;
  };

  size_t room_for_one() const noexcept;
  void make_room(size_t bytes) noexcept;
  bool plans_hold(const TreeEngine& engine) noexcept;

  std::vector<uint32_t> pattern_;  // equilibrium and threads, then the nodes with hard or other evidence
  uint64_t hash_ = 0;
  uint64_t seen_[kSeen] = {};  // hashes of the patterns that were looked for last
  size_t next_seen_ = 0;
  std::unique_ptr<KeptTape> tapes_[kTapes];
  uint64_t clock_ = 0;      // counts what was looked for
  size_t layouts_ = kNone;  // the domain's count of layouts when plans were last compared with tables
  size_t budget_ = 0;
  Refusal refused_[kTapes];  // patterns whose tapes were too large
  size_t next_refused_ = 0;
};

}  // namespace tv

// Copying a tape into one block of memory, with all that its steps point to: the controls and shapes in the
// engine will soon be those of another propagation. Items over tables of a few entries become short ones.
#pragma once

#include <memory>

#include "inference/short_tape.h"

namespace tv {

struct CopiedTape {
  std::unique_ptr<unsigned char[]> memory;  // null where there was none, or not enough was allowed
  size_t bytes = 0;                         // of it, or that would have been needed
  Tape tape;
  ShortTape brief;
};

// A copy that takes at most `most_bytes`. Its owner has to let `tape.brief` point to `brief`, unless all
// items were to be copied as they are.
CopiedTape copy_tape(const TreeEngine& engine, const Tape& tape, tv_equilibrium_t equilibrium, bool as_it_is,
                     size_t most_bytes) noexcept;

}  // namespace tv

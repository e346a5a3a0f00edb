// The sizes at which work goes another way: what is done at once, what is worth a table, a plan or a thread.
// None of them changes a result by more than rounding. They stand together so that tests can make them all
// tiny, which sends small networks down the ways of large ones.
#pragma once

#include <cstddef>

namespace tv {

// Entries are numbers of tables. What is at most a capacity is the length of some array.
struct Limits {
  // Passes over tables
  size_t block = 4096;          // entries that a pass takes at a time, so that they stay in the nearest cache
  size_t short_table = 128;     // tables of so few entries are summed entry by entry in their order
  size_t least_formed = 2048;   // from so many entries on, several factors meet a block together
  size_t longest_run = 256;     // entries of a block that they meet at once
  size_t window = 32;           // entries of a factor that such a run may meet out of order
  size_t local_totals = 4096;   // totals of the parts of a pass that lie on the stack
  size_t most_totals = 131072;  // and those that a large table may ask for
  size_t array_part = 16384;    // numbers of a message that one thread does at a time

  // Cliques
  size_t lazy_clique = 16384;    // from so many entries on, a clique may do without a table of its own
  size_t shared_totals = 65536;  // so many totals of separators together are formed in one pass
  size_t updates_together = 8;   // messages that a clique takes in before it is rescaled
  size_t most_updates = 16;      // of more, products are doubles: rounding could add up
  size_t most_rounded = 64;      // of still more, the factors, too

  // Propagation without tables
  size_t entries_for_plan = 64;  // in all cliques, for each node; 0 plans whatever the evidence
  size_t plan_marginal = 32;     // a pass of its own costs as much as summing so many entries
  size_t plan_clique = 1024;     // from so many entries on it is worth while to look for fewer steps
  size_t copied_slice = 8192;    // entries of a potential that a thread copies at a time

  // Kept schedules and plans
  size_t kept = 8;                    // of each kind
  bool keeps_what_is_new = false;     // not only patterns of evidence that come again
  size_t least_kept_bytes = 1 << 20;  // in all trees together, however small their tables

  // Threads; a grain is the domain's setting
  size_t processors = 0;             // taken for those that the process has; 0 asks the system
  size_t grains_for_threads = 1000;  // of a propagation
  size_t cliques_in_grain = 5;  // of fewer than so much work, writing the whole schedule would take longer
  size_t grains_to_share = 4;   // of a pass that several threads share
  size_t root_region = 500;     // cliques around the root that are done one after the other
};

// What arrays are made for.
inline constexpr Limits kCapacity;

// Those in force. Only tests change them, and only while nothing is compiled.
inline constinit Limits limits;

}  // namespace tv

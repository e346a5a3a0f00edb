// Sizes that decide between different ways of computing: block sizes, thresholds for tables, cached schedules
// and threads. None of them changes a result by more than rounding. They stand together so that tests can
// make them all tiny, which makes small networks take the paths of large ones.
#pragma once

#include <cstddef>

namespace tv {

// Entries are numbers of tables. Limits that are also capacities determine the length of some array.
struct Limits {
  // Passes over tables
  size_t block = 4096;  // entries that a pass processes at a time, so that they stay in the nearest cache
  size_t short_table = 128;     // tables of so few entries are summed entry by entry in their order
  size_t least_fused = 2048;    // from so many entries on, products are fused
  size_t longest_run = 256;     // entries of a vector run
  size_t gather_window = 32;    // of a gather window, in entries of a factor
  size_t local_totals = 4096;   // private accumulators of the parts of a pass that lie on the stack
  size_t most_totals = 131072;  // and those that a large table may have allocated
  size_t array_part = 16384;    // numbers of a message that one thread processes at a time
  size_t split_units = 16;      // a pass that is split into so many parts is split no further,
  size_t private_units = 4;     // and into so many along a dimension that some targets lack,
  size_t private_share = 8;     // if the table has so many entries for each private accumulator

  // Triangulation
  size_t automatic_effort = 200;  // units of search at most, a second, however costly a propagation were

  // Cliques
  size_t lazy_clique = 16384;    // from so many entries on, a clique may be lazy
  size_t lazy_factors = 8;       // and has at most so many of them
  size_t sparse_cost = 4;        // a stored entry of a sparse table costs as much as so many of a full one
  size_t shared_totals = 65536;  // so many accumulators of separators together are used in one pass
  size_t updates_together = 8;   // messages that a clique absorbs before it is rescaled
  size_t most_updates = 16;      // beyond it products are doubles: rounding could add up
  size_t most_rounded = 64;      // beyond it the factors are doubles, too

  // Compression
  size_t walked_rows = size_t{1} << 20;  // up to so many configurations of a clique are all looked at,
  size_t step_entries = 16;              // and more of them unless a search binds so many times fewer states

  // Elimination schedules
  size_t entries_for_elimination = 64;  // in all cliques, for each node; 0 eliminates whatever the evidence
  size_t entries_for_first = 384;       // the same where the pattern of evidence has not been seen before
  size_t saved_at_once = 400;           // entries saved for each clique that pay for a single propagation,
  size_t saved_again = 100;             // and where the pattern comes again
  size_t pause = 16;                    // new patterns that are passed over after one that did not pay
  size_t core_nodes = 2048;     // where more are left that no order is obvious for, nothing is eliminated
  size_t core_neighbors = 64;   // a node with more has to wait until it has fewer
  size_t grouped_factors = 32;  // beyond them comparing all pairs costs too much
  size_t product_share = 8;     // a product so many times smaller than its clique costs next to nothing
  size_t copy_share = 4;        // potentials so many times smaller than their clique are copied
  size_t elimination_marginal = 32;  // a pass of its own costs as much as summing so many entries
  size_t elimination_clique = 1024;  // from so many entries on, saving steps pays
  size_t copied_slice = 8192;        // entries of a potential that a thread copies at a time

  // Cached schedules
  size_t finding_vectors = 16384;      // entries of a tree: up to so many, one schedule serves all evidence
  size_t cached_schedules = 64;        // of each kind
  bool caches_new_patterns = false;    // not only patterns of evidence that come again
  size_t least_cache_bytes = 1 << 20;  // in all trees together, however small their tables
  size_t bytes_for_pattern = 4096;     // of the cache, so that small trees remember fewer patterns
  size_t idle_searches = 1000;         // for which an elimination schedule stays that none of them found

  // Learning
  size_t block_cases = 65536;            // whose sums are formed before they are added to others
  size_t group_nodes = 64;               // missing together; more of them are not summed out, but propagated,
  size_t joint_states = 4096;            // and so are those of which more joint states are present at a time
  size_t kept_places = size_t{1} << 23;  // in tables, of 4 bytes, that groups of missing nodes keep
  size_t split_cases = 8192;             // from so many on, cases are split in several shares

  // Prediction
  size_t kept_predictions = size_t{64} << 20;  // bytes of groups and answers that a thread keeps, about

  // Threads; a grain is the domain's setting
  size_t processors = 0;             // overrides the number of usable processors; 0 asks the system
  size_t grains_for_threads = 1000;  // of a propagation
  size_t cliques_in_grain = 5;       // of one clique, to be worth building the whole schedule
  size_t grains_to_share = 4;        // of a pass that several threads share
  size_t root_region = 500;          // cliques around the root that are processed one after the other
};

// The lengths of arrays.
inline constexpr Limits kCapacity;

// The limits in force. Only tests change them, and only while nothing is compiled.
inline constinit Limits limits;

}  // namespace tv

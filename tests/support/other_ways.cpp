// Runs of the tests in which small networks go the ways of large ones: all but the usual run plan for the
// observed nodes. TARVO_TEST_LIMITS names them: `reduced`, in which nothing else is changed; `lazy`, in which
// cliques have no table of their own; `planned`, `eager` and `tabled`, in which propagations do without
// tables wherever they can, where it saves some entries, or never; `tiny`, in which every limit is as small
// as it can be, so that every table has several blocks, every message several parts and every propagation
// work for threads; `kept`, in which every pattern of evidence leaves its schedule or plan behind. All tests
// believe in eight processors.
#include "support/other_ways.h"

#include <cstdio>
#include <cstdlib>

namespace {

constexpr size_t kNever = size_t{1} << 30;

void make_tiny(tv::Limits& limits) {
  limits.block = 16;
  limits.short_table = 4;
  limits.least_fused = 6;
  limits.longest_run = 8;
  limits.gather_window = 4;
  limits.local_totals = 8;
  limits.array_part = 16;
  limits.split_units = 2;
  limits.private_units = 2;
  limits.private_share = 1;
  limits.lazy_clique = 1;
  limits.shared_totals = 4;
  limits.updates_together = 1;
  limits.elimination_marginal = 0;
  limits.elimination_clique = 1;
  limits.core_neighbors = 2;
  limits.product_share = 1;
  limits.copy_share = 1;
  limits.copied_slice = 4;
  limits.grains_for_threads = 1;
  limits.cliques_in_grain = 1;
  limits.grains_to_share = 1;
  limits.root_region = 2;
}

void eliminate_eagerly(tv::Limits& limits) {
  limits.entries_for_elimination = limits.entries_for_first = 1;
  limits.saved_at_once = 4;
  limits.saved_again = 0;
  limits.pause = 2;
}

void keep_all(tv::Limits& limits) {
  limits.cached_schedules = 2;
  limits.caches_new_patterns = true;
  limits.least_cache_bytes = size_t{1} << 26;
}

bool apply(std::string_view name, tv::Limits& limits) {
  limits.finding_vectors = 0;
  if (name == "reduced") return true;
  if (name == "lazy")
    limits.lazy_clique = 8;
  else if (name == "planned")
    limits.entries_for_elimination = 0;
  else if (name == "eager")
    eliminate_eagerly(limits);
  else if (name == "tabled")
    limits.entries_for_elimination = limits.entries_for_first = kNever;
  else if (name == "tiny")
    make_tiny(limits);
  else if (name == "kept")
    keep_all(limits);
  else
    return false;
  return true;
}

}  // namespace

bool test::set_limits(std::string_view names) {
  while (!names.empty()) {
    const size_t end = names.find('+');
    if (!apply(names.substr(0, end), tv::limits)) return false;
    names.remove_prefix(end == names.npos ? names.size() : end + 1);
  }
  return true;
}

namespace {

[[maybe_unused]] const bool set = [] {
  tv::limits.processors = 8;
  const char* given = std::getenv("TARVO_TEST_LIMITS");
  if (!given || test::set_limits(given)) return given != nullptr;
  std::fprintf(stderr, "TARVO_TEST_LIMITS: %s?\n", given);
  std::exit(2);
}();

}  // namespace

// Runs of the tests in which small networks go the ways of large ones. TARVO_TEST_FACTORED_SIZE gives the
// number of entries from which on cliques have no table of their own, TARVO_TEST_PLAN_ENTRIES the entries for
// each node from which on a propagation does without tables.
#include <cstdlib>

#include "inference/elimination_plan.h"
#include "inference/factored.h"

namespace {

[[maybe_unused]] const bool set = [] {
  const char* size = std::getenv("TARVO_TEST_FACTORED_SIZE");
  const char* entries = std::getenv("TARVO_TEST_PLAN_ENTRIES");
  if (size) tv::least_factored_size = std::strtoul(size, nullptr, 10);
  if (entries) tv::least_entries_for_plan = std::strtoul(entries, nullptr, 10);
  return size || entries;
}();

}  // namespace

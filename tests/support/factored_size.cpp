// Runs of the tests in which even small cliques have no table of their own: TARVO_TEST_FACTORED_SIZE gives
// the number of entries from which on tables are not stored.
#include <cstdlib>

#include "inference/factored.h"

namespace {

[[maybe_unused]] const bool set = [] {
  const char* size = std::getenv("TARVO_TEST_FACTORED_SIZE");
  if (size) tv::least_factored_size = std::strtoul(size, nullptr, 10);
  return size != nullptr;
}();

}  // namespace

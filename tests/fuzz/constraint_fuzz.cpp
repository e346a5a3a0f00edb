// Fuzz target of the reader of constraints.

#include "constraint_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::parse_constraint_bytes(data, size);
  return 0;
}

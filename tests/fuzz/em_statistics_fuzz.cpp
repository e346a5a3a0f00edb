// Fuzz target of the reader of learning's statistics.

#include "em_statistics_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::parse_statistics_bytes(data, size);
  return 0;
}

// Fuzz target of the parser of network descriptions.

#include "net_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::parse_bytes(data, size);
  return 0;
}

// Fuzz target of the readers of case files.

#include "case_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::parse_case_bytes(data, size);
  return 0;
}

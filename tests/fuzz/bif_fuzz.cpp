// Fuzz target of the readers of BIF and XMLBIF.

#include "bif_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::parse_bif_bytes(data, size);
  return 0;
}

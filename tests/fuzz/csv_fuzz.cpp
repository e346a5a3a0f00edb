// Fuzz target of the reader of CSV.

#include "csv_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::parse_csv_bytes(data, size);
  return 0;
}

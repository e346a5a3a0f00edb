// Fuzz target of the parser of expressions, their printed form, and the tables that come of them.

#include "expression_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::ExpressionWorld world;
  world.run(data, size);
  return 0;
}

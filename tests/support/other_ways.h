// The sizes that steer a way, made small for tests.
#pragma once

#include <string_view>

#include "tables/limits.h"

namespace test {

// Changes the sizes as names joined by "+" say, see other_ways.cpp; false for a name that is not known.
bool set_limits(std::string_view names);

// While it lives, the sizes may be others; those of before come back at its end.
class KeptLimits {
 public:
  KeptLimits() : usual_(tv::limits) {}
  ~KeptLimits() { tv::limits = usual_; }
  KeptLimits(const KeptLimits&) = delete;
  KeptLimits& operator=(const KeptLimits&) = delete;

 private:
  tv::Limits usual_;
};

}  // namespace test

// Undoing a run that fails.
#pragma once

#include <memory>

#include "learn/families.h"

namespace tv {

// Gives learned nodes back the distributions that they had, unless what is done to them succeeds.
class LearnedTables {
 public:
  explicit LearnedTables(const std::vector<Family>& families);
  ~LearnedTables();
  LearnedTables(const LearnedTables&) = delete;
  LearnedTables& operator=(const LearnedTables&) = delete;
  void keep() noexcept { keeps_ = true; }

 private:
  const std::vector<Family>& families_;
  std::vector<std::unique_ptr<Table>> former_;
  bool keeps_ = false;
};

}  // namespace tv

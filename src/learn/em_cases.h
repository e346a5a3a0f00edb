// The cases of a domain, split for the iterations over them that a host runs itself. They are kept with the
// forest, so that only the first iteration splits them.
#pragma once

#include "learn/expectation.h"

namespace tv {

class EmCases {
 public:
  // What is kept, if it is still right, or else made and kept now.
  static const EmCases& of(Domain& domain, std::vector<Family>&& families, uint64_t first_block);
  static void forget(Domain& domain) noexcept;

  EmCases(Domain& domain, std::vector<Family>&& families, uint64_t first_block);
  EmCases(const EmCases&) = delete;
  EmCases& operator=(const EmCases&) = delete;

  const Expectation& expectation() const noexcept { return expectation_; }

 private:
  const uint64_t first_block_;
  const size_t case_changes_, table_layouts_, block_cases_;
  const bool has_required_;
  const std::vector<Family> families_;
  const Expectation expectation_;
};

}  // namespace tv

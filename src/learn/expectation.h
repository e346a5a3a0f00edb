// The expectation step: what the cases of a domain lead to expect under its present tables.
#pragma once

#include <optional>

#include "learn/block_sums.h"
#include "learn/case_groups.h"
#include "learn/origins.h"

namespace tv {

class CasePropagator;

class Expectation {
 public:
  // `first_block`: where the cases of the domain begin among all, of which they may be a part.
  Expectation(Domain& domain, const std::vector<Family>& families, uint64_t first_block = 0);

  // How many cases lack something.
  uint64_t incomplete_cases() const noexcept;

  // Appends the sums of all blocks, under the present tables. A failure is that of a propagation.
  tv_status_t run(BlockTree& tree) const;

 private:
  struct Block {
    size_t first, count;  // rows
    uint64_t incomplete = 0;
    double weight = 0.0;
    std::vector<double> means = {};         // of continuous nodes, see Origins
    std::optional<CaseGroups> groups = {};  // where all that is missing is discrete and free of conditions
    // Without groups: cases that lack nothing; those that are propagated.
    std::vector<uint32_t> complete = {}, others = {};
  };

  Block block_of(size_t first, size_t count);
  void sort_cases(Block& block) const;
  tv_status_t run(const Block& block, CasePropagator& propagator, BlockSums& sums) const;
  void add_complete_cases(const Block& block, BlockSums& sums) const;

  Domain& domain_;
  const std::vector<Family>& families_;
  const uint64_t first_block_;
  const Origins origins_;
  std::optional<GroupFinder> finder_;  // of all groups
  std::vector<Block> blocks_;
};

}  // namespace tv

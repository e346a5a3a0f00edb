// Choosing how the cases are answered.
#include "learn/expectation.h"

#include <algorithm>
#include <new>

#include "learn/case_propagation.h"
#include "learn/complete_cases.h"
#include "network/cases.h"
#include "tables/limits.h"

namespace tv {
namespace {

// A decision that is made has no policy.
bool is_factor(const Family& family) noexcept { return family.node->category != tv_category_decision; }

}  // namespace

Expectation::Expectation(Domain& domain, const std::vector<Family>& families, uint64_t first_block)
    : domain_(domain), families_(families), first_block_(first_block), origins_(families) {
  if (can_be_grouped(domain, families)) finder_.emplace(families);
  for (size_t first = 0; first < domain.cases.count; first += limits.block_cases)
    blocks_.push_back(block_of(first, std::min(limits.block_cases, domain.cases.count - first)));
}

Expectation::Block Expectation::block_of(size_t first, size_t count) {
  Block block{first, count};
  for (size_t row = first; row < first + count; ++row) {
    block.incomplete += !case_is_complete(families_, row);
    block.weight += static_cast<double>(case_count(domain_, row));
  }
  block.means = origins_.means_of_cases(first, count);
  if (!finder_) {
    sort_cases(block);
    return block;
  }
  block.groups.emplace(families_, *finder_);
  if (block.groups->split(domain_, first, count, domain_.em_concurrency_level)) throw std::bad_alloc();
  block.others = block.groups->wide_cases();
  return block;
}

void Expectation::sort_cases(Block& block) const {
  const bool needs_propagation = !domain_.chain_potentials.empty();
  for (size_t row = block.first; row < block.first + block.count; ++row)
    if (case_count(domain_, row) > 0)
      (!needs_propagation && case_is_complete(families_, row) ? block.complete : block.others)
          .push_back(static_cast<uint32_t>(row));
}

uint64_t Expectation::incomplete_cases() const noexcept {
  uint64_t count = 0;
  for (const Block& block : blocks_) count += block.incomplete;
  return count;
}

void Expectation::add_complete_cases(const Block& block, BlockSums& sums) const {
  for (const uint32_t row : block.complete) {
    const double weight = static_cast<double>(case_count(domain_, row));
    for (size_t f = 0; f < families_.size(); ++f) {
      if (is_factor(families_[f])) sums.log_likelihood += weight * log_probability_of(families_[f], row);
      if (families_[f].is_learned) add_complete_family(families_[f], row, weight, sums.counts[f]);
    }
  }
}

tv_status_t Expectation::run(const Block& block, CasePropagator& propagator, BlockSums& sums) const {
  sums.counts = origins_.counts_about(block.means);
  if (block.groups)
    if (tv_status_t status =
            block.groups->expect(sums.counts, sums.log_likelihood, domain_.em_concurrency_level))
      return store_status(status);
  add_complete_cases(block, sums);
  return propagator.add(block.others, sums.counts, sums.log_likelihood);
}

tv_status_t Expectation::run(BlockTree& tree) const {
  CasePropagator propagator(domain_, families_, domain_.em_concurrency_level);
  for (size_t b = 0; b < blocks_.size(); ++b) {
    const Block& block = blocks_[b];
    BlockSums sums{first_block_ + b, 0, block.count, block.incomplete, block.weight, 0.0, {}};
    if (tv_status_t status = run(block, propagator, sums)) return status;
    tree.append(std::move(sums));
  }
  return tv_status_none;
}

}  // namespace tv

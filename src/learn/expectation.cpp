// Choosing how the cases are answered.
#include "learn/expectation.h"

#include <limits>

#include "learn/case_propagation.h"
#include "learn/complete_cases.h"
#include "network/cases.h"

namespace tv {
namespace {

// Whether the product of the families alone is the distribution, and their tables can be enumerated.
bool can_be_grouped(const Domain& domain, const std::vector<Family>& families) noexcept {
  if (domain.counters.continuous > 0 || domain.counters.decision > 0 || !domain.chain_potentials.empty() ||
      !domain.required_instantiations.empty())
    return false;
  for (const Family& family : families)
    if (family.size() > std::numeric_limits<uint32_t>::max() || family.node->linked_node) return false;
  return true;
}

// A decision that is made has no policy.
bool is_factor(const Family& family) noexcept { return family.node->category != tv_category_decision; }

}  // namespace

Expectation::Expectation(Domain& domain, const std::vector<Family>& families, size_t threads)
    : domain_(domain), families_(families), threads_(threads) {
  for (size_t row = 0; row < domain.cases.count; ++row) incomplete_ += !case_is_complete(families, row);
  if (!can_be_grouped(domain, families)) {
    sort_cases();
    return;
  }
  groups_.emplace(families);
  groups_->split(domain);
  others_ = groups_->wide_cases();
}

void Expectation::sort_cases() {
  const bool needs_propagation = !domain_.chain_potentials.empty();
  for (uint32_t row = 0; row < domain_.cases.count; ++row)
    if (case_count(domain_, row) > 0)
      (!needs_propagation && case_is_complete(families_, row) ? complete_ : others_).push_back(row);
}

void Expectation::add_complete_cases(std::vector<FamilyCounts>& counts, double& log_likelihood) const {
  for (const uint32_t row : complete_) {
    const double weight = static_cast<double>(case_count(domain_, row));
    for (size_t f = 0; f < families_.size(); ++f) {
      if (is_factor(families_[f])) log_likelihood += weight * log_probability_of(families_[f], row);
      if (families_[f].is_learned) add_complete_family(families_[f], row, weight, counts[f]);
    }
  }
}

tv_status_t Expectation::run(std::vector<FamilyCounts>& counts, double& log_likelihood) {
  for (FamilyCounts& count : counts) count.clear();
  log_likelihood = 0.0;
  if (groups_) {
    if (tv_status_t status = groups_->expect(counts, log_likelihood, threads_)) return store_status(status);
  }
  add_complete_cases(counts, log_likelihood);
  return expect_by_propagation(domain_, families_, others_, threads_, counts, log_likelihood);
}

}  // namespace tv

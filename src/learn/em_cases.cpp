#include "learn/em_cases.h"

#include <memory>

#include "compile/forest.h"
#include "tables/limits.h"

namespace tv {

EmCases::EmCases(Domain& domain, std::vector<Family>&& families, uint64_t first_block)
    : first_block_(first_block),
      case_changes_(domain.cases.changes),
      table_layouts_(domain.table_layouts),
      block_cases_(limits.block_cases),
      has_required_(!domain.required_instantiations.empty()),
      families_(std::move(families)),
      expectation_(domain, families_, first_block) {}

// A change of structure has deleted the forest, and whatever it kept.
const EmCases& EmCases::of(Domain& domain, std::vector<Family>&& families, uint64_t first_block) {
  std::shared_ptr<void>& kept = domain.forest->learning;
  if (const auto* const cases = static_cast<const EmCases*>(kept.get()))
    if (cases->first_block_ == first_block && cases->case_changes_ == domain.cases.changes &&
        cases->table_layouts_ == domain.table_layouts && cases->block_cases_ == limits.block_cases &&
        cases->has_required_ == !domain.required_instantiations.empty() && cases->families_ == families)
      return *cases;
  kept.reset();
  const auto made = std::make_shared<EmCases>(domain, std::move(families), first_block);
  kept = made;
  return *made;
}

void EmCases::forget(Domain& domain) noexcept { domain.forest->learning.reset(); }

}  // namespace tv

#include "learn/em_checks.h"

#include <algorithm>

#include "inference/answers/queries.h"
#include "inference/model_tables.h"
#include "network/links/links.h"
#include "network/node_operations.h"
#include "tables/table_numbers.h"

namespace tv {

tv_status_t check_for_learning(const Domain& domain) {
  if (!domain.required_instantiations.empty() && domain.counters.continuous > 0)
    return refuse(tv_status_usage,
                  "nothing is learned where continuous nodes stand beside nodes that must be instantiated");
  if (!_tv_function_nodes_satisfy_limid_constraints(domain))
    return store_status(tv_status_functional_dependency);
  return check_for_tables_of_results(domain);
}

tv_status_t check_for_start_of_learning(const Domain& domain) {
  const bool has_required = !domain.required_instantiations.empty();
  const auto is_unfit = [&](const TreeEngine& engine) {
    return !holds_marginals(engine) || engine.tables_touched || (!has_required && engine.evidence_propagated);
  };
  if (any_tree(domain, is_unfit))
    return refuse(
        tv_status_usage,
        "learning starts from a network that is propagated without evidence, by sums, with its present "
        "tables");
  return check_for_learning(domain);
}

tv_status_t collect_families_to_learn(Domain& domain, std::vector<Family>& families) {
  if (tv_status_t status = collect_families(domain, families)) return status;
  const bool has_learned =
      std::any_of(families.begin(), families.end(), [](const Family& family) { return family.is_learned; });
  if (!has_learned)
    return refuse(tv_status_usage, "no node is to be learned: none has an experience table that allows it");
  for (const Family& family : families)
    if (family.is_learned)
      if (tv_status_t status = allocate_table_data(*family.node->experience_table)) return status;
  return tv_status_none;
}

}  // namespace tv

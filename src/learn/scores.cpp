// Log-likelihood, and the criteria of Akaike (1974) and Schwarz (1978).
#include "learn/scores.h"

#include <cmath>

#include "api/boundary.h"
#include "inference/answers/queries.h"
#include "learn/expectation.h"
#include "network/cases.h"
#include "network/links/links.h"
#include "network/node_operations.h"
#include "network/node_tables.h"

namespace tv {
namespace {

bool has_touched_tables(const TreeEngine& engine) noexcept { return engine.tables_touched; }

tv_status_t compute_log_likelihood(Domain& domain) {
  if (!require_compiled(domain)) return current_status();
  if (!require(!any_tree(domain, has_touched_tables), tv_status_usage)) return tv_status_usage;
  if (!require(_tv_function_nodes_satisfy_limid_constraints(domain), tv_status_functional_dependency))
    return tv_status_functional_dependency;
  std::vector<Family> families;
  if (tv_status_t status = collect_families(domain, families)) return status;
  for (Family& family : families) family.is_learned = false;
  BlockTree tree;
  if (tv_status_t status = Expectation(domain, families).run(tree)) return status;
  start_anew(domain);
  domain.log_likelihood = std::move(tree).total().log_likelihood;
  domain.log_likelihood_is_valid = true;
  return tv_status_none;
}

// 1 on failure; `penalty` of the number of parameters.
template <class Penalty>
double score_of(tv_domain_t* domain, Penalty penalty) {
  return guarded(1.0, [&] {
    if (!check(domain)) return 1.0;
    double result = 0.0;
    const double penalty_of_it = penalty(number_of_free_parameters(*domain));
    return log_likelihood_of(*domain, result) ? 1.0 : result - penalty_of_it;
  });
}

}  // namespace

double total_case_count(const Domain& domain) noexcept {
  if (domain.cases.counts.empty()) return static_cast<double>(domain.cases.count);
  double total = 0.0;
  for (size_t row = 0; row < domain.cases.count; ++row) total += static_cast<double>(case_count(domain, row));
  return total;
}

void start_anew(Domain& domain) noexcept {
  const double likelihood = domain.log_likelihood;
  const bool is_valid = domain.log_likelihood_is_valid;
  if (domain.required_instantiations.empty()) {
    tv_domain_initialize(&domain);
  } else {
    tv_domain_propagate(&domain, tv_equilibrium_sum, tv_evidence_normal);
  }
  store_status(tv_status_none);
  domain.log_likelihood = likelihood;
  domain.log_likelihood_is_valid = is_valid;
}

double number_of_free_parameters(const Domain& domain) noexcept {
  double parameters = 0.0;
  for (const Node& node : domain.nodes) {
    if (node.category != tv_category_chance) continue;
    double configurations = 1.0, continuous = 1.0;
    for (const Node* parent : node.parents) {
      if (is_discrete(*parent)) configurations *= static_cast<double>(parent->number_of_states);
      continuous += is_continuous(*parent);
    }
    parameters += configurations *
                  (is_discrete(node) ? static_cast<double>(node.number_of_states) - 1.0 : continuous + 1.0);
  }
  return parameters;
}

tv_status_t log_likelihood_of(Domain& domain, double& result) {
  if (domain.cases.count == 0) return result = 0.0, tv_status_none;
  if (!domain.log_likelihood_is_valid)
    if (tv_status_t status = compute_log_likelihood(domain)) return store_status(status);
  result = domain.log_likelihood;
  return tv_status_none;
}

}  // namespace tv

double tv_domain_get_log_likelihood(tv_domain_t* domain) {
  return tv::score_of(domain, [](double) { return 0.0; });
}

double tv_domain_get_AIC(tv_domain_t* domain) {
  return tv::score_of(domain, [](double parameters) { return parameters; });
}

double tv_domain_get_BIC(tv_domain_t* domain) {
  if (!tv::check(domain && tv::total_case_count(*domain) > 0.0)) return 1.0;
  const double weight = 0.5 * std::log(tv::total_case_count(*domain));
  return tv::score_of(domain, [weight](double parameters) { return weight * parameters; });
}

// Learning by expectation and maximisation (Dempster, Laird and Rubin 1977; Lauritzen 1995). What is known
// beforehand counts like cases: an experience count e of a configuration stands for e cases with the present
// distribution.
#include <cfloat>
#include <cmath>

#include "api/boundary.h"
#include "inference/answers/queries.h"
#include "inference/reset.h"
#include "learn/em_checks.h"
#include "learn/expectation.h"
#include "learn/learned_tables.h"
#include "learn/m_step.h"
#include "learn/prior.h"
#include "learn/scores.h"
#include "network/node_operations.h"
#include "network/progress.h"
#include "text/trace.h"

namespace tv {
namespace {

class EmRun {
 public:
  EmRun(Domain& domain, std::vector<Family>& families)
      : domain_(domain), families_(families), trace_(domain), progress_(domain, "learning", 0) {}

  tv_status_t run() {
    trace_title();
    if (tv_status_t status = trace_.status()) return status;
    if (tv_status_t status = compute_prior(domain_, families_, prior_)) return status;
    LearnedTables tables(families_);  // before anything changes
    const Expectation expectation(domain_, families_);
    if (tv_status_t status = iterate(expectation)) return status;
    if (trace_.enabled())
      if (tv_status_t status = finish(expectation)) return status;
    tables.keep();
    commit();
    return tv_status_none;
  }

 private:
  void trace_title() {
    if (domain_.cases.counts.empty()) {
      trace_.print("\n\nEM learning with %zu cases:\n\n", domain_.cases.count);
    } else {
      trace_.print("\n\nEM learning with %s cases:\n\n",
                   NumberText(total_case_count(domain_), 6, false).c_str());
    }
  }

  tv_status_t iterate(const Expectation& expectation) {
    double previous = -DBL_MAX;
    for (size_t k = 1;; ++k) {
      BlockTree tree;
      if (tv_status_t status = expectation.run(tree)) return status;
      BlockSums sums = std::move(tree).total();
      const double likelihood = sums.log_likelihood;
      trace_.print("    Log-likelihood for iteration %zu: %s\n", k, NumberText(likelihood).c_str());
      trace_.flush();
      if (tv_status_t status = trace_.status()) return status;
      const bool is_last =
          expectation.incomplete_cases() == 0 || k == domain_.max_em_iterations ||
          std::abs(likelihood - previous) <= std::abs(likelihood) * domain_.log_likelihood_tolerance ||
          progress_.advance() != tv_status_none;
      previous = likelihood;
      counts_ = counts_with_prior(families_, std::move(sums), prior_);
      maximize_all(families_, counts_);
      if (is_last) return tv_status_none;
    }
  }

  // Until now the domain's own state knew nothing of the new tables.
  void commit() noexcept {
    set_experience(families_, counts_, prior_);
    for (const Family& family : families_)
      if (family.is_learned) _tv_node_touch_table(*family.node);
    domain_.log_likelihood = final_likelihood_;
    domain_.log_likelihood_is_valid = trace_.enabled();
  }

  // The scores belong to the tables that were learned.
  tv_status_t finish(const Expectation& expectation) {
    BlockTree tree;
    if (tv_status_t status = expectation.run(tree)) return status;
    const double likelihood = std::move(tree).total().log_likelihood;
    const double parameters = number_of_free_parameters(domain_);
    trace_.text("\nEM learning - final results:\n\n");
    trace_.print("    Log-likelihood: %s\n", NumberText(likelihood).c_str());
    trace_.print("    AIC: %s\n", NumberText(likelihood - parameters).c_str());
    trace_.print("    BIC: %s\n",
                 NumberText(likelihood - parameters / 2.0 * std::log(total_case_count(domain_))).c_str());
    trace_.flush();
    final_likelihood_ = likelihood;
    return trace_.status();
  }

  Domain& domain_;
  std::vector<Family>& families_;
  Trace trace_;
  ProgressMeter progress_;
  std::vector<FamilyCounts> counts_, prior_;
  double final_likelihood_ = 0.0;  // computed where there is a trace
};

tv_status_t learn(Domain& domain) {
  std::vector<Family> families;
  if (tv_status_t status = collect_families_to_learn(domain, families)) return status;
  if (tv_status_t status = EmRun(domain, families).run()) return status;
  start_anew(domain);
  return tv_status_none;
}

}  // namespace
}  // namespace tv

tv_status_t tv_domain_learn_tables(tv_domain_t* domain) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain && tv::total_case_count(*domain) > 0.0)) return tv_status_usage;
    if (!tv::require_compiled(*domain)) return tv::current_status();
    if (tv_status_t status = tv::check_for_start_of_learning(*domain)) return status;
    return tv::learn(*domain);
  });
}

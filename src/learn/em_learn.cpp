// Learning by expectation and maximisation (Dempster, Laird and Rubin 1977; Lauritzen 1995). What is known
// beforehand counts like cases: an experience count e of a configuration stands for e cases with the present
// distribution.
#include <cfloat>
#include <cmath>

#include "api/boundary.h"
#include "inference/answers/queries.h"
#include "inference/model_tables.h"
#include "inference/reset.h"
#include "learn/case_propagation.h"
#include "learn/expectation.h"
#include "learn/m_step.h"
#include "learn/scores.h"
#include "network/links/links.h"
#include "network/node_operations.h"
#include "network/progress.h"
#include "text/trace.h"

namespace tv {
namespace {

// Gives learned nodes back the distributions that they had, unless the run succeeds.
class LearnedTables {
 public:
  explicit LearnedTables(const std::vector<Family>& families) : families_(families) {
    for (const Family& family : families)
      former_.push_back(family.is_learned ? clone_table(*family.table) : nullptr);
  }
  ~LearnedTables() {
    if (keeps_) return;
    for (size_t f = 0; f < families_.size(); ++f) {
      if (!former_[f]) continue;
      Table& table = *families_[f].table;
      std::copy(former_[f]->data.data(), former_[f]->data.data() + table.size, table.data.data());
      if (table.cg_size)
        std::copy(former_[f]->cg_data.data(), former_[f]->cg_data.data() + table.size * table.cg_size,
                  table.cg_data.data());
    }
  }
  LearnedTables(const LearnedTables&) = delete;
  LearnedTables& operator=(const LearnedTables&) = delete;
  void keep() noexcept { keeps_ = true; }

 private:
  const std::vector<Family>& families_;
  std::vector<std::unique_ptr<Table>> former_;
  bool keeps_ = false;
};

class EmRun {
 public:
  EmRun(Domain& domain, std::vector<Family>& families)
      : domain_(domain), families_(families), trace_(domain), progress_(domain, "learning", 0) {
    for (const Family& family : families_) {
      counts_.push_back(family.is_learned ? empty_counts(family) : FamilyCounts());
      priors_.push_back(counts_.back());
    }
  }

  tv_status_t run() {
    trace_title();
    if (tv_status_t status = trace_.status()) return status;
    if (tv_status_t status = compute_priors()) return status;
    LearnedTables tables(families_);  // before anything changes
    Expectation expectation(domain_, families_, domain_.em_concurrency_level);
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

  // e times the present distribution of the family; for a continuous node its moments, too.
  tv_status_t compute_priors() {
    for (size_t f = 0; f < families_.size(); ++f) {
      const Family& family = families_[f];
      if (!family.is_learned || !has_data(*family.node->experience_table)) continue;
      FamilyCounts& prior = priors_[f];
      const size_t states = is_discrete(*family.node) ? family.node->number_of_states : 1;
      if (is_continuous(*family.node)) {
        if (tv_status_t status = add_marginal(own_state(domain_), family, 1.0, prior)) return status;
        scale_moments(family, prior);
        continue;
      }
      for (size_t i = 0; i < family.size(); ++i)
        prior.numbers[i] = std::max(0.0, static_cast<double>(family.experience(i / states))) *
                           static_cast<double>(family.table->data[i]);
    }
    return tv_status_none;
  }

  // From the weight that the network gives a configuration to its experience.
  static void scale_moments(const Family& family, FamilyCounts& prior) noexcept {
    const size_t moments = moment_count(family.table->continuous_count);
    for (size_t c = 0; c < family.size(); ++c) {
      const double count = std::max(0.0, static_cast<double>(family.experience(c)));
      const double factor = prior.numbers[c] > 0.0 ? count / prior.numbers[c] : 0.0;
      prior.numbers[c] *= factor;
      for (size_t i = 0; i < moments; ++i) prior.moments[c * moments + i] *= factor;
    }
  }

  tv_status_t iterate(Expectation& expectation) {
    double previous = -DBL_MAX;
    for (size_t k = 1;; ++k) {
      double likelihood = 0.0;
      if (tv_status_t status = expectation.run(counts_, likelihood)) return status;
      trace_.print("    Log-likelihood for iteration %zu: %s\n", k, NumberText(likelihood).c_str());
      trace_.flush();
      if (tv_status_t status = trace_.status()) return status;
      const bool is_last =
          expectation.incomplete_cases() == 0 || k == domain_.max_em_iterations ||
          std::abs(likelihood - previous) <= std::abs(likelihood) * domain_.log_likelihood_tolerance ||
          progress_.advance() != tv_status_none;
      previous = likelihood;
      maximize_all();
      if (is_last) return tv_status_none;
    }
  }

  void maximize_all() {
    for (size_t f = 0; f < families_.size(); ++f) {
      if (!families_[f].is_learned) continue;
      counts_[f].add(priors_[f]);
      maximize(families_[f], counts_[f]);
    }
  }

  // Until now the domain's own state knew nothing of the new tables.
  void commit() noexcept {
    add_experience();
    for (const Family& family : families_)
      if (family.is_learned) _tv_node_touch_table(*family.node);
    domain_.log_likelihood = final_likelihood_;
    domain_.log_likelihood_is_valid = trace_.enabled();
  }

  // The scores belong to the tables that were learned.
  tv_status_t finish(Expectation& expectation) {
    std::vector<FamilyCounts> last(counts_);
    double likelihood = 0.0;
    if (tv_status_t status = expectation.run(last, likelihood)) return status;
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

  void add_experience() noexcept {
    for (size_t f = 0; f < families_.size(); ++f) {
      const Family& family = families_[f];
      if (!family.is_learned) continue;
      Table& experience = *family.node->experience_table;
      const size_t states = is_discrete(*family.node) ? family.node->number_of_states : 1;
      for (size_t c = 0; c < experience.size; ++c) {
        if (!family.learns(c)) continue;
        double count = 0.0;
        for (size_t s = 0; s < states; ++s) count += counts_[f].numbers[c * states + s];
        if (is_continuous(*family.node))
          count += static_cast<double>(family.experience(c)) - priors_[f].numbers[c];
        experience.data[family.experience_places[c]] = static_cast<tv_number_t>(count);
      }
    }
  }

  Domain& domain_;
  std::vector<Family>& families_;
  Trace trace_;
  ProgressMeter progress_;
  std::vector<FamilyCounts> counts_, priors_;
  double final_likelihood_ = 0.0;  // computed where there is a trace
};

// What must hold before anything is learned.
tv_status_t check_state(const Domain& domain) {
  const bool has_required = !domain.required_instantiations.empty();
  const auto is_unfit = [&](const TreeEngine& engine) {
    return !holds_marginals(engine) || engine.tables_touched || (!has_required && engine.evidence_propagated);
  };
  if (any_tree(domain, is_unfit) || (has_required && domain.counters.continuous > 0))
    return refuse(
        tv_status_usage,
        "learning starts from a network that is propagated without evidence, by sums, with its present "
        "tables");
  if (!_tv_function_nodes_satisfy_limid_constraints(domain))
    return store_status(tv_status_functional_dependency);
  return check_for_tables_of_results(domain);
}

// The numbers of experience tables, where nobody has set any.
tv_status_t fill_experience(const std::vector<Family>& families) {
  for (const Family& family : families)
    if (family.is_learned)
      if (tv_status_t status = allocate_table_data(*family.node->experience_table)) return status;
  return tv_status_none;
}

tv_status_t learn(Domain& domain) {
  std::vector<Family> families;
  if (tv_status_t status = collect_families(domain, families)) return status;
  const bool has_learned =
      std::any_of(families.begin(), families.end(), [](const Family& family) { return family.is_learned; });
  if (!require(has_learned, tv_status_usage)) return tv_status_usage;
  if (tv_status_t status = fill_experience(families)) return status;
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
    if (tv_status_t status = tv::check_state(*domain)) return status;
    return tv::learn(*domain);
  });
}

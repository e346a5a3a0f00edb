// The statistics of a part of the cases: computing, adding, and what tables and experience become of them.
#include "learn/em_statistics.h"

#include <memory>

#include "api/boundary.h"
#include "inference/answers/queries.h"
#include "inference/reset.h"
#include "learn/em_cases.h"
#include "learn/em_checks.h"
#include "learn/learned_tables.h"
#include "learn/m_step.h"
#include "learn/prior.h"
#include "network/node_operations.h"
#include "tables/limits.h"

namespace tv {
namespace {

tv_status_t compute(Domain& domain, size_t first_case, EmStatistics& statistics) {
  if (tv_status_t status = check_for_learning(domain)) return status;
  std::vector<Family> families;
  if (tv_status_t status = collect_families_to_learn(domain, families)) return status;
  statistics.network = fingerprint_of(families);
  const EmCases& cases = EmCases::of(domain, std::move(families), first_case / limits.block_cases);
  return cases.expectation().run(statistics.cases);
}

tv_status_t compute_known(Domain& domain, EmStatistics& statistics) {
  if (tv_status_t status = check_for_start_of_learning(domain)) return status;
  std::vector<Family> families;
  if (tv_status_t status = collect_families_to_learn(domain, families)) return status;
  statistics.network = fingerprint_of(families);
  return compute_prior(domain, families, statistics.prior);
}

tv_status_t add(EmStatistics& statistics, const EmStatistics& other) {
  if (tv_status_t status = check_network(statistics, other.network)) return status;
  if (!statistics.prior.empty() && !other.prior.empty())
    return refuse(tv_status_usage, "both statistics hold what is known beforehand");
  std::vector<FamilyCounts> prior(other.prior);
  if (!statistics.cases.add(other.cases))
    return refuse(tv_status_usage, "the statistics are of parts that overlap");
  if (!prior.empty()) statistics.prior.swap(prior);
  return tv_status_none;
}

// The families of the domain, which must be those of the statistics, and the counts that all of these make.
tv_status_t collect_counts(const EmStatistics& statistics, Domain& domain, std::vector<Family>& families,
                           std::vector<FamilyCounts>& counts) {
  if (tv_status_t status = check_for_learning(domain)) return status;
  if (tv_status_t status = collect_families_to_learn(domain, families)) return status;
  if (tv_status_t status = check_network(statistics, fingerprint_of(families))) return status;
  counts = counts_with_prior(families, statistics.cases.total(), statistics.prior);
  return tv_status_none;
}

// The statistics that `work` fills, as the host's own.
template <class Work>
EmStatistics* new_statistics(const Domain& domain, Work work) {
  if (!require_compiled(domain)) return nullptr;
  auto statistics = std::make_unique<EmStatistics>();
  if (tv_status_t status = work(*statistics)) return store_status(status), nullptr;
  return statistics.release();
}

// Calls work(families, counts) with what the statistics make of the domain's families.
template <class Work>
tv_status_t apply(const EmStatistics* statistics, Domain* domain, Work work) {
  return guarded([&]() -> tv_status_t {
    if (!check(statistics && domain)) return tv_status_usage;
    if (!require_compiled(*domain)) return current_status();
    std::vector<Family> families;
    std::vector<FamilyCounts> counts;
    if (tv_status_t status = collect_counts(*statistics, *domain, families, counts)) return status;
    work(families, counts);
    return tv_status_none;
  });
}

}  // namespace
}  // namespace tv

size_t tv_get_em_block_size(void) {
  tv::check(true);
  return tv::limits.block_cases;
}

tv_em_statistics_t* tv_domain_new_em_statistics(tv_domain_t* domain, size_t first_case) {
  return tv::guarded(static_cast<tv_em_statistics_t*>(nullptr), [&]() -> tv_em_statistics_t* {
    if (!tv::check(domain)) return nullptr;
    if (first_case % tv::limits.block_cases != 0) {
      tv::refuse(tv_status_usage, "a part begins at a multiple of %zu cases, not at %zu",
                 tv::limits.block_cases, first_case);
      return nullptr;
    }
    return tv::new_statistics(
        *domain, [&](tv::EmStatistics& statistics) { return tv::compute(*domain, first_case, statistics); });
  });
}

tv_em_statistics_t* tv_domain_new_em_prior(tv_domain_t* domain) {
  return tv::guarded(static_cast<tv_em_statistics_t*>(nullptr), [&]() -> tv_em_statistics_t* {
    if (!tv::check(domain)) return nullptr;
    return tv::new_statistics(
        *domain, [&](tv::EmStatistics& statistics) { return tv::compute_known(*domain, statistics); });
  });
}

tv_status_t tv_em_statistics_delete(tv_em_statistics_t* statistics) {
  if (!tv::check(statistics)) return tv_status_usage;
  delete statistics;
  return tv_status_none;
}

tv_status_t tv_em_statistics_add(tv_em_statistics_t* statistics, const tv_em_statistics_t* other) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(statistics && other)) return tv_status_usage;
    return tv::add(*statistics, *other);
  });
}

size_t tv_em_statistics_get_number_of_cases(const tv_em_statistics_t* statistics) {
  if (!tv::check(statistics)) return tv::kNone;
  size_t count = 0;
  for (const tv::BlockSums& node : statistics->cases.nodes()) count += node.cases;
  return count;
}

size_t tv_em_statistics_get_number_of_incomplete_cases(const tv_em_statistics_t* statistics) {
  if (!tv::check(statistics)) return tv::kNone;
  size_t count = 0;
  for (const tv::BlockSums& node : statistics->cases.nodes()) count += node.incomplete;
  return count;
}

double tv_em_statistics_get_case_count(const tv_em_statistics_t* statistics) {
  if (!tv::check(statistics)) return -1.0;
  double sum = 0.0;
  for (const tv::BlockSums& node : statistics->cases.nodes()) sum += node.weight;
  return sum;
}

double tv_em_statistics_get_log_likelihood(const tv_em_statistics_t* statistics) {
  if (!tv::check(statistics)) return 1.0;
  double sum = 0.0;
  for (const tv::BlockSums& node : statistics->cases.nodes()) sum += node.log_likelihood;
  return sum;
}

tv_status_t tv_em_statistics_set_tables(const tv_em_statistics_t* statistics, tv_domain_t* domain) {
  return tv::apply(statistics, domain, [](const auto& families, const auto& counts) {
    tv::LearnedTables tables(families);
    tv::maximize_all(families, counts);
    tables.keep();
    for (const tv::Family& family : families)
      if (family.is_learned) tv::_tv_node_touch_table(*family.node);
  });
}

tv_status_t tv_em_statistics_set_experience(const tv_em_statistics_t* statistics, tv_domain_t* domain) {
  return tv::apply(statistics, domain, [&](const auto& families, const auto& counts) {
    tv::set_experience(families, counts, statistics->prior);
    tv::EmCases::forget(*domain);
  });
}

#include "learn_on_ranks.h"

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <memory>

#include "files.h"
#include "progress.h"

namespace program {
namespace {

struct DeleteStatistics {
  void operator()(tv_em_statistics_t* statistics) const { tv_em_statistics_delete(statistics); }
};
using Statistics = std::unique_ptr<tv_em_statistics_t, DeleteStatistics>;

std::string bytes_of(const Statistics& statistics, const std::string& subject) {
  size_t size = 0;
  const std::unique_ptr<void, decltype(&std::free)> bytes(tv_em_statistics_to_bytes(statistics.get(), &size),
                                                          std::free);
  if (!bytes) fail_with_status(subject);
  return {static_cast<const char*>(bytes.get()), size};
}

Statistics parsed(tv_domain_t* domain, const std::string& bytes, const std::string& subject) {
  Statistics statistics(tv_domain_parse_em_statistics(domain, bytes.data(), bytes.size()));
  if (!statistics) fail_with_status(subject);
  return statistics;
}

void write_title(std::FILE* trace, const LearnOptions& options, const tv_em_statistics_t* sum) {
  if (options.cases.count_column.empty())
    std::fprintf(trace, "\n\nEM learning with %zu cases:\n\n", tv_em_statistics_get_number_of_cases(sum));
  else
    std::fprintf(trace, "\n\nEM learning with %g cases:\n\n", tv_em_statistics_get_case_count(sum));
}

}  // namespace

struct LearningOnRanks::Sum {
  Statistics statistics;
  bool is_interrupted;  // rank 0
};

LearningOnRanks::Sum LearningOnRanks::sum_of_ranks(tv_domain_t* domain, bool is_interrupted) const {
  const std::string& subject = network_.file();
  Statistics sum(tv_domain_new_em_statistics(domain, first_row_));
  if (!sum) fail_for_cases(network_, domain, options_.cases.data.file, first_row_);
  const std::vector<std::string> parts =
      ranks_.gather(ranks_.is_first() ? std::string() : bytes_of(sum, subject));
  for (size_t rank = 1; rank < parts.size(); ++rank)
    expect(tv_em_statistics_add(sum.get(), parsed(domain, parts[rank], subject).get()), subject);
  std::string bytes;
  if (ranks_.is_first()) bytes = (is_interrupted ? "!" : " ") + bytes_of(sum, subject);
  bytes = ranks_.broadcast(std::move(bytes));
  if (!ranks_.is_first()) sum = parsed(domain, bytes.substr(1), subject);
  return {std::move(sum), bytes[0] == '!'};
}

Scores LearningOnRanks::learn(tv_domain_t* domain, std::FILE* trace) const {
  const std::string& subject = network_.file();
  const Statistics known(tv_domain_new_em_prior(domain));
  if (!known) fail_with_status(subject);
  double before = -DBL_MAX;
  bool is_last = false;
  for (size_t k = 1; !is_last; ++k) {
    const auto [statistics, is_interrupted] = sum_of_ranks(domain, was_interrupted());
    const tv_em_statistics_t* const sum = statistics.get();
    if (!(tv_em_statistics_get_case_count(sum) > 0.0)) fail_without_cases(options_.cases.data.file);
    const double now = tv_em_statistics_get_log_likelihood(sum);
    if (trace && k == 1) write_title(trace, options_, sum);
    if (trace) std::fprintf(trace, "    Log-likelihood for iteration %zu: %g\n", k, now);
    is_last = tv_em_statistics_get_number_of_incomplete_cases(sum) == 0 || k == options_.iterations ||
              std::abs(now - before) <= std::abs(now) * options_.tolerance || is_interrupted;
    before = now;
    expect(tv_em_statistics_add(statistics.get(), known.get()), subject);
    expect(tv_em_statistics_set_tables(sum, domain), subject);
    if (is_last) expect(tv_em_statistics_set_experience(sum, domain), subject);
  }
  const Scores scores = scores_of(domain);
  if (trace)
    std::fprintf(trace,
                 "\nEM learning - final results:\n\n    Log-likelihood: %g\n    AIC: %g\n    BIC: %g\n",
                 scores.log_likelihood, scores.aic, scores.bic);
  return scores;
}

// Without cases the criterion is the number of parameters alone.
Scores LearningOnRanks::scores_of(tv_domain_t* domain) const {
  const Sum sum = sum_of_ranks(domain, false);
  Scores scores{};
  scores.cases = tv_em_statistics_get_case_count(sum.statistics.get());
  scores.log_likelihood = tv_em_statistics_get_log_likelihood(sum.statistics.get());
  if (!std::isfinite(scores.log_likelihood))
    throw Failure(kFailed, options_.cases.data.file + ": a case is impossible in " + network_.file());
  expect(tv_domain_set_number_of_cases(domain, 0), network_.file());
  const double parameters = -tv_domain_get_AIC(domain);
  expect(tv_error_code(), network_.file());
  scores.aic = scores.log_likelihood - parameters;
  scores.bic = scores.log_likelihood - 0.5 * std::log(scores.cases) * parameters;
  return scores;
}

}  // namespace program

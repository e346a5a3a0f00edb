// Gains are halves of likelihood-ratio statistics.
#include "learn/structure/trees/pair_gains.h"

#include <algorithm>
#include <cmath>

#include "learn/structure/counts/pieces.h"

namespace tv {
namespace {

// Gains of a case stay below 2^kBitsOfGain, and sums over many nodes below 2^63.
constexpr int kBitsOfGain = 6, kBitsOfSum = 48;

}  // namespace

double gain_of(const TestResult& result, double total) noexcept {
  return result.cases > 0 ? 0.5 * result.statistic * (total / result.cases) : 0.0;
}

LearnerSettings settings_for_gains(const LearnerSettings& settings) {
  LearnerSettings result = settings;
  result.test = tv_independence_test_g_squared;
  result.cases_per_degree = 0.0;
  return result;
}

tv_status_t find_gains(const LearningProblem& problem, const CaseColumns& columns,
                       const std::vector<uint32_t>& nodes, std::span<const uint32_t> given,
                       ProgressMeter& progress, PairGains& gains) {
  const LearnerSettings settings = settings_for_gains(problem.settings());
  const CountLogarithms logarithms(columns.total(), !columns.is_weighted());
  const size_t threads = std::min(settings.threads, std::max<size_t>(nodes.size(), 1));
  std::vector<IndependenceTester> testers;
  for (size_t i = 0; i < threads; ++i) testers.emplace_back(columns, logarithms, settings);
  const int shift = kBitsOfSum - kBitsOfGain - std::ilogb(std::max(columns.total(), 1.0));
  return run_pieces(nodes.size(), threads, progress, [&](size_t thread, size_t a) {
    for (size_t b = 0; b < a; ++b) {
      if (!problem.knowledge.allows_any(nodes[a], nodes[b])) continue;
      const TestResult result = testers[thread].test(nodes[b], nodes[a], given);
      gains.at(a, b) = std::llrint(std::ldexp(gain_of(result, columns.total()), shift));
    }
    return tv_status_none;
  });
}

}  // namespace tv

// Tests of whether two nodes are independent given others.
#pragma once

#include "learn/structure/counts/exact_sums.h"
#include "learn/structure/counts/gaussian_moments.h"
#include "learn/structure/counts/state_counts.h"

namespace tv {

struct TestResult {
  double statistic = 0.0;
  double degrees = 0.0;  // of freedom
  double cases = 0.0;    // that lack none of the nodes; 0 where nothing was counted
  double p_value = 1.0;
  bool is_refused = false;  // cases are too few
};

// Some way to find out; what is tested with may be cases, or a graph that is known.
struct IndependenceTest {
  TestResult (*run)(void* context, size_t thread, size_t a, size_t b, std::span<const uint32_t> given);
  void* context;

  TestResult operator()(size_t thread, size_t a, size_t b, std::span<const uint32_t> given) const {
    return run(context, thread, a, b, given);
  }
};

// Tests with cases. Each thread has a tester of its own.
class IndependenceTester {
 public:
  IndependenceTester(const CaseColumns& columns, const CountLogarithms& logarithms,
                     const LearnerSettings& settings)
      : columns_(columns),
        logarithms_(logarithms),
        settings_(settings),
        counter_(columns),
        moments_(columns) {}

  // The nodes in ascending order; none of those given is continuous where the two are discrete.
  TestResult test(uint32_t a, uint32_t b, std::span<const uint32_t> given);

 private:
  TestResult test_states(uint32_t a, uint32_t b, std::span<const uint32_t> given);
  TestResult test_with_values(uint32_t a, uint32_t b, std::span<const uint32_t> given);
  bool are_too_few(double degrees) const noexcept;
  TestResult finished(TestResult result) const;

  const CaseColumns& columns_;
  const CountLogarithms& logarithms_;
  const LearnerSettings& settings_;
  StateCounter counter_;
  MomentCounter moments_;
  std::vector<double> sums_a_, sums_b_;
};

}  // namespace tv

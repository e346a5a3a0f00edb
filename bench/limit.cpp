#include "limit.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <vector>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kPasses = 3;  // over all tables: the fewest that two sweeps of messages need

void expect(tv_status_t status) {
  if (status != tv_status_none) throw std::runtime_error(tv_error_name(static_cast<unsigned>(status)));
}

template <class Work>
double milliseconds(Work work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

size_t table_bytes(tv_domain_t* domain) {
  size_t entries = 0;
  for (auto* tree = tv_domain_get_first_junction_tree(domain); tree; tree = tv_jt_get_next(tree))
    entries += tv_jt_get_total_size(tree);
  return entries * sizeof(tv_number_t);
}

// Multiplies every entry of a block by a number and sums them, in doubles and in lanes that fill vectors.
double multiply_and_sum(std::vector<float>& block, float factor) {
  constexpr size_t lanes = 16;
  double sums[lanes] = {};
  for (size_t i = 0; i + lanes <= block.size(); i += lanes)
    for (size_t l = 0; l < lanes; ++l) sums[l] += static_cast<double>(block[i + l] *= factor);
  double sum = 0;
  for (double lane : sums) sum += lane;
  return sum;
}

double loop_time(size_t bytes, size_t repeats) {
  std::vector<float> block(bytes / sizeof(float), 1.0f);
  double best = 1e30, sum = 0;
  for (size_t r = 0; r < repeats; ++r)
    best = std::min(best, milliseconds([&] { sum += multiply_and_sum(block, r % 2 ? 0.5f : 2.0f); }));
  return sum < 0 ? 0 : best;
}

// From the potentials to the beliefs, without evidence.
double full_time(tv_domain_t* domain) {
  expect(tv_domain_retract_findings(domain));
  expect(tv_domain_reset_inference_engine(domain));
  return milliseconds([&] { expect(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal)); });
}

double case_time(tv_domain_t* domain, const Evidence& evidence) {
  return milliseconds([&] {
    expect(tv_domain_retract_findings(domain));
    for (const auto& [node, state] : evidence) expect(tv_node_select_state(node, state));
    expect(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal));
  });
}

// The best times on one thread and on two, in turns so that both see the same machine.
struct Pair {
  double one = 1e30, two = 1e30;

  template <class Measure>
  void measure(tv_domain_t* domain, size_t repeats, Measure step) {
    for (size_t r = 0; r < repeats; ++r) {
      expect(tv_domain_set_concurrency_level(domain, 1));
      one = std::min(one, step());
      expect(tv_domain_set_concurrency_level(domain, 2));
      two = std::min(two, step());
    }
    expect(tv_domain_set_concurrency_level(domain, 1));
  }
  double gain() const { return one / two; }
};

}  // namespace

void print_limit_titles() {
  std::printf(
      "Milliseconds, the best of several. loop: one pass of a plain multiply-and-sum loop over a block of "
      "the size\n"
      "of all clique and separator tables; full: a propagation without evidence; distance: full over three "
      "loops.\n"
      "gain: one thread over two.\n\n%-18s %9s %9s %9s %9s %9s %7s %9s %9s %7s\n",
      "network", "MiB", "loop", "full", "distance", "full 2", "gain", "case", "case 2", "gain");
}

void print_limit(const Workload& workload, tv_domain_t* domain, size_t repeats) {
  expect(tv_domain_compile(domain));
  const size_t bytes = table_bytes(domain);
  const double loop = loop_time(bytes, repeats + 2);
  Pair full, one_case;
  full.measure(domain, repeats, [&] { return full_time(domain); });
  Evidence evidence = drawn_evidence(domain, 1);
  for (const ReferenceCase& reference : workload.cases)
    if (!reference.evidence.empty()) evidence = evidence_of(domain, reference);
  one_case.measure(domain, 2 * repeats, [&] {
    case_time(domain, {});
    return case_time(domain, evidence);
  });
  std::printf("%-18s %9.2f %9.3f %9.3f %9.2f %9.3f %6.2fx %9.3f %9.3f %6.2fx\n", workload.name.c_str(),
              static_cast<double>(bytes) / (1 << 20), loop, full.one, full.one / (kPasses * loop), full.two,
              full.gain(), one_case.one, one_case.two, one_case.gain());
  std::fflush(stdout);
}

}  // namespace bench

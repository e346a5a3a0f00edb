#include "queries.h"

#include <bit>
#include <cstdio>
#include <thread>

#include "cases.h"

namespace bench {
namespace {

constexpr size_t kQueries = 8, kThreads = 2;

struct QueryDelete {
  void operator()(tv_query_t* query) const { tv_query_delete(query); }
};
using Query = std::unique_ptr<tv_query_t, QueryDelete>;

Query new_query(const Domain& domain) {
  Query query(tv_domain_new_query(domain.get()));
  if (!query) expect(tv_error_code());
  return query;
}

// One number that every bit of the answers changes.
class Batch {
 public:
  Batch(const Domain& domain, size_t cases) : cases_(domain.get()), count_(cases) {
    for (tv_node_t* node = tv_domain_get_first_node(domain.get()); node; node = tv_node_get_next(node))
      nodes_.push_back(node);
  }

  // Every `step`-th case from `first` on.
  void run(tv_query_t* query, size_t first, size_t step, std::vector<uint64_t>& answers) const {
    for (size_t c = first; c < count_; c += step) answers[c] = answer(query, c);
  }

 private:
  uint64_t answer(tv_query_t* query, size_t number) const {
    expect(tv_query_retract_findings(query));
    for (const auto& [node, state] : cases_.of(number, number))
      expect(tv_query_select_state(query, node, state));
    expect(tv_query_propagate(query, tv_equilibrium_sum, tv_evidence_normal));
    uint64_t bits = std::bit_cast<uint64_t>(tv_query_get_log_normalization_constant(query));
    for (const tv_node_t* node : nodes_)
      for (size_t state = 0; state < tv_node_get_number_of_states(node); ++state)
        bits = (bits ^ std::bit_cast<uint32_t>(tv_query_get_belief(query, node, state))) * 1099511628211u;
    return bits;
  }

  Cases cases_;
  size_t count_;
  std::vector<tv_node_t*> nodes_;
};

}  // namespace

void print_query_titles() {
  std::printf(
      "Batches of cases, each with another set of observed nodes, all beliefs read: microseconds a case in "
      "one\n"
      "query, and in %zu queries on %zu threads; whether all answers have the same bits.\n\n%-18s %9s %9s "
      "%9s "
      "%6s\n",
      kQueries, kThreads, "network", "cases", "one", "threads", "times");
}

bool print_queries(const Workload& workload, size_t cases) {
  const Domain domain = load_network(workload.source.c_str());
  expect(tv_domain_compile(domain.get()));
  const Batch batch(domain, cases);
  std::vector<uint64_t> expected(cases), found(cases);
  const Query alone = new_query(domain);
  const double one = milliseconds([&] { batch.run(alone.get(), 0, 1, expected); });
  std::vector<Query> queries;
  for (size_t q = 0; q < kQueries; ++q) queries.push_back(new_query(domain));
  const double many = milliseconds([&] {
    std::vector<std::thread> threads;
    for (size_t t = 0; t < kThreads; ++t)
      threads.emplace_back([&, t] {
        for (size_t q = t; q < kQueries; q += kThreads) batch.run(queries[q].get(), q, kQueries, found);
      });
    for (std::thread& thread : threads) thread.join();
  });
  const double each = 1e3 / static_cast<double>(cases);
  std::printf("%-18s %9zu %9.2f %9.2f %6.2f  %s\n", workload.name.c_str(), cases, one * each, many * each,
              one / many, found == expected ? "same bits" : "OTHER BITS");
  std::fflush(stdout);
  return found == expected;
}

}  // namespace bench

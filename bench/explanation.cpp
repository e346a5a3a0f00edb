#include "explanation.h"

#include <algorithm>
#include <cstdio>

#include "cases.h"

namespace bench {
namespace {

constexpr size_t kFindings = 8;  // of an explanation, with 256 groups

struct DeleteResult {
  void operator()(tv_query_t* what) const { tv_query_delete(what); }
  void operator()(tv_observations_t* what) const { tv_observations_delete(what); }
  void operator()(tv_explanation_t* what) const { tv_explanation_delete(what); }
};

// Fails where there is no result.
template <class Result>
std::unique_ptr<Result, DeleteResult> owned(Result* result) {
  if (!result) expect(tv_error_code());
  return std::unique_ptr<Result, DeleteResult>(result);
}

// The first node that is not observed.
tv_node_t* target_of(tv_domain_t* domain) {
  tv_node_t* node = tv_domain_get_first_node(domain);
  while (node && tv_node_get_selected_state(node) >= 0) node = tv_node_get_next(node);
  return node;
}

template <class Work>
double best_of(size_t repeats, const Work& work) {
  double best = milliseconds(work);
  for (size_t i = 1; i < repeats; ++i) best = std::min(best, milliseconds(work));
  return best;
}

// The first propagation of a new query, which has planned and cached nothing, as a new set of observed nodes
// takes one.
double propagation(tv_domain_t* domain, const Evidence& evidence, size_t repeats) {
  double best = 1e300;
  for (size_t i = 0; i < repeats; ++i) {
    const auto query = owned(tv_domain_new_query(domain));
    for (const auto& [node, state] : evidence) expect(tv_query_select_state(query.get(), node, state));
    best = std::min(best, milliseconds([&] {
                      expect(tv_query_propagate(query.get(), tv_equilibrium_sum, tv_evidence_normal));
                    }));
  }
  return best;
}

}  // namespace

void print_explanation_titles() {
  std::printf(
      "Milliseconds, the least of the repeats, with evidence on one node in five. propagate: the first one "
      "of "
      "a new\nquery; rank: what each of the other nodes tells about a target; per state: in "
      "propagations, for each\nstate of the target. explain: a belief by %zu findings, all %zu groups of "
      "them; "
      "per group: in propagations.\n\n%-18s %6s %9s %6s %9s %9s %9s %9s\n",
      kFindings, size_t{1} << kFindings, "network", "nodes", "propagate", "states", "rank", "per state",
      "explain", "per group");
}

void print_explanations(const Workload& workload, size_t repeats) {
  const Domain domain = load_network(workload.source.c_str());
  expect(tv_domain_compile(domain.get()));
  Evidence evidence = Cases(domain.get()).of(0, 0);
  for (const auto& [node, state] : evidence) expect(tv_node_select_state(node, state));
  tv_node_t* const target = target_of(domain.get());
  if (!target) return;
  const size_t states = tv_node_get_number_of_states(target);
  const double one = propagation(domain.get(), evidence, repeats);
  const double rank = best_of(repeats, [&] { owned(tv_node_rank_observations(target, nullptr, nullptr)); });
  std::printf("%-18s %6zu %9.3f %6zu %9.3f %9.2f", workload.name.c_str(),
              tv_domain_get_number_of_nodes(domain.get()), one, states, rank,
              rank / one / static_cast<double>(states));
  std::fflush(stdout);
  for (; evidence.size() > kFindings; evidence.pop_back())
    expect(tv_node_retract_findings(evidence.back().first));
  const double few = propagation(domain.get(), evidence, repeats);
  const double explain = best_of(repeats, [&] { owned(tv_node_explain_belief(target, 0, 0, 3)); });
  std::printf(" %9.3f %9.2f\n", explain, explain / few / static_cast<double>(size_t{1} << evidence.size()));
  std::fflush(stdout);
}

}  // namespace bench

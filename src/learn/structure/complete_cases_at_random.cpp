// A missing node is drawn from its belief, entered, and the next one follows given it: so all of them
// together come from their joint distribution.
#include "learn/structure/complete_cases_at_random.h"

#include <cmath>
#include <numbers>
#include <random>

#include "inference/query.h"
#include "learn/structure/counts/pieces.h"
#include "network/cases.h"
#include "network/node_operations.h"

namespace tv {
namespace {

constexpr size_t kCasesOfPiece = 64;

struct Draw {
  Node* node;
  size_t row;
  size_t state;
  double value;
};

double uniform(std::mt19937_64& random) { return std::ldexp(static_cast<double>(random() >> 11), -53); }

// Two uniform numbers make one that is normally distributed (Box and Muller 1958).
double standard_normal(std::mt19937_64& random) {
  const double radius = std::sqrt(-2.0 * std::log1p(-uniform(random)));
  return radius * std::cos(2.0 * std::numbers::pi * uniform(random));
}

class Completion {
 public:
  Completion(Domain& domain, uint64_t seed, size_t threads)
      : domain_(domain), seed_(seed), queries_(threads) {
    // A continuous node is normally distributed once all discrete ones are known.
    for (Node& node : domain.nodes)
      if (is_discrete(node)) nodes_.push_back(&node);
    for (Node& node : domain.nodes)
      if (is_continuous(node)) nodes_.push_back(&node);
  }

  // Makes a query for each thread, which only one thread may do.
  tv_status_t start() {
    for (Query& query : queries_) {
      query.reset(tv_domain_new_query(&domain_));
      if (!query) return current_status();
    }
    return tv_status_none;
  }

  tv_status_t complete(size_t thread, size_t row, std::vector<Draw>& draws) {
    tv_query_t* const query = queries_[thread].get();
    bool is_complete = true;
    if (tv_status_t status = enter(*query, row, is_complete)) return status;
    if (is_complete) return tv_status_none;
    std::mt19937_64 random(seed_ ^ (row * 0x9E3779B97F4A7C15u + 1));
    for (Node* const node : nodes_) {
      if (case_is_set(*node, row)) continue;
      if (tv_status_t status = tv_query_propagate(query, tv_equilibrium_sum, tv_evidence_normal))
        return status;
      Draw draw{node, row, 0, 0.0};
      if (tv_status_t status = draw_from_belief(*query, random, draw)) return status;
      draws.push_back(draw);
    }
    return tv_status_none;
  }

 private:
  struct DeleteQuery {
    void operator()(tv_query_t* query) const noexcept { tv_query_delete(query); }
  };
  using Query = std::unique_ptr<tv_query_t, DeleteQuery>;

  tv_status_t enter(tv_query_t& query, size_t row, bool& is_complete) const {
    if (tv_status_t status = tv_query_retract_findings(&query)) return status;
    for (Node* const node : nodes_) {
      if (!case_is_set(*node, row)) {
        is_complete = false;
        continue;
      }
      const tv_status_t status =
          is_discrete(*node)
              ? tv_query_select_state(&query, node, static_cast<size_t>(node->cases.states[row]))
              : tv_query_enter_value(&query, node, node->cases.values[row]);
      if (status) return status;
    }
    return tv_status_none;
  }

  static tv_status_t draw_from_belief(tv_query_t& query, std::mt19937_64& random, Draw& draw) {
    if (is_continuous(*draw.node)) {
      const double mean = tv_query_get_mean(&query, draw.node);
      const double variance = tv_query_get_variance(&query, draw.node);
      if (tv_status_t status = current_status()) return status;
      draw.value = mean + std::sqrt(std::max(variance, 0.0)) * standard_normal(random);
      return tv_query_enter_value(&query, draw.node, draw.value);
    }
    double left = uniform(random);
    for (size_t state = 0; state < draw.node->number_of_states; ++state) {
      const double belief = static_cast<double>(tv_query_get_belief(&query, draw.node, state));
      if (tv_status_t status = current_status()) return status;
      if (belief > 0) draw.state = state;  // the last one takes what rounding leaves
      if (belief > 0 && left < belief) break;
      left -= belief;
    }
    return tv_query_select_state(&query, draw.node, draw.state);
  }

  Domain& domain_;
  const uint64_t seed_;
  std::vector<Node*> nodes_;
  std::vector<Query> queries_;  // by thread
};

}  // namespace

tv_status_t complete_cases_at_random(Domain& domain, uint64_t seed, size_t threads, ProgressMeter& progress) {
  const size_t pieces = (domain.cases.count + kCasesOfPiece - 1) / kCasesOfPiece;
  std::vector<std::vector<Draw>> draws(pieces);
  Completion completion(domain, seed, std::min(threads, std::max<size_t>(pieces, 1)));
  if (tv_status_t status = completion.start()) return status;
  const tv_status_t status =
      run_pieces(pieces, threads, progress, [&](size_t thread, size_t piece) -> tv_status_t {
        const size_t end = std::min((piece + 1) * kCasesOfPiece, domain.cases.count);
        for (size_t row = piece * kCasesOfPiece; row < end; ++row) {
          if (!(case_count(domain, row) > 0)) continue;
          if (tv_status_t failure = completion.complete(thread, row, draws[piece])) return failure;
        }
        return tv_status_none;
      });
  if (status) return status;
  for (const std::vector<Draw>& of_piece : draws)
    for (const Draw& draw : of_piece) {
      if (is_continuous(*draw.node))
        set_case_value(*draw.node, draw.row, draw.value);
      else if (tv_status_t failure = set_case_state(*draw.node, draw.row, draw.state))
        return failure;
    }
  return tv_status_none;
}

}  // namespace tv

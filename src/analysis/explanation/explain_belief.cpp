// How the findings have changed the probabilities of a node.
#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "analysis/explanation/explanation_text.h"
#include "analysis/explanation/shapley.h"
#include "analysis/explanation/trails.h"
#include "api/boundary.h"
#include "inference/answers/beliefs.h"
#include "network/refusals.h"

namespace tv {
namespace {

using Explanation = tv_explanation_s;

// The rest is added up, since subtracting from one would lose what is left of it.
double log_odds(const Distribution& distribution, size_t state) noexcept {
  double rest = 0;
  for (size_t s = 0; s < distribution.size(); ++s)
    if (s != state) rest += distribution[s];
  return std::log(distribution[state]) - std::log(rest);
}

// By state; 0 where both are certain.
std::vector<double> weights(const Distribution& before, const Distribution& after) {
  std::vector<double> result;
  for (size_t s = 0; s < before.size(); ++s) {
    const double from = log_odds(before, s), to = log_odds(after, s);
    result.push_back(std::isinf(from) && from == to ? 0 : to - from);
  }
  return result;
}

// The relative entropy of one normal distribution to another.
double relative_entropy(const MeanAndVariance& of, const MeanAndVariance& to) noexcept {
  const double step = of.mean - to.mean;
  if (to.variance <= 0 || of.variance <= 0)
    return of.variance == to.variance && step == 0 ? 0 : std::numeric_limits<double>::infinity();
  const double ratio = of.variance / to.variance;
  return std::max((ratio + step * step / to.variance - 1 - std::log(ratio)) / 2, 0.0);
}

// What the explanation needs of the distributions of all nodes.
struct Answer {
  std::vector<Distribution> discrete;       // by node number - 1
  std::vector<MeanAndVariance> continuous;  // likewise
};

class Explainer {
 public:
  Explainer(Node& node, size_t state) : node_(node), state_(state), query_(*node.domain, "explanation") {}

  tv_status_t run(size_t orders, size_t trails) {
    if (tv_status_t status = query_.start()) return status;
    if (tv_status_t status = check_no_decision_above(node_)) return status;
    const size_t count = query_.findings().size();
    if (count > kMaxExactFindings && orders < 2)
      return refuse(tv_status_usage,
                    "%zu findings: with more than %zu, two random orders are needed at least", count,
                    kMaxExactFindings);
    result_ = std::make_unique<Explanation>();
    if (tv_status_t status = find_extremes()) return status;
    for (size_t f = 0; f < count; ++f)
      if (tv_status_t status = explain(f, trails)) return status;
    ShapleyValues shapley;
    if (tv_status_t status = find_shapley_values(query_, node_, orders, shapley)) return status;
    for (size_t f = 0; f < count; ++f) {
      result_->findings[f].shapley = std::move(shapley.values[f]);
      result_->findings[f].standard_error = std::move(shapley.standard_errors[f]);
    }
    std::stable_sort(result_->findings.begin(), result_->findings.end(), [&](const auto& a, const auto& b) {
      return std::fabs(a.shapley[state_]) > std::fabs(b.shapley[state_]);
    });
    result_->text = explanation_text(*result_, node_, state_);
    return tv_status_none;
  }

  Explanation* release() noexcept { return result_.release(); }

 private:
  tv_status_t read(Answer& answer) const {
    answer.discrete.resize(node_.domain->node_count);
    answer.continuous.resize(node_.domain->node_count);
    for (const Node& node : node_.domain->nodes) {
      if (is_discrete(node)) answer.discrete[node.number - 1] = query_.distribution(node);
      if (!is_continuous(node)) continue;
      if (tv_status_t status = mean_and_variance(query_.state(), node, answer.continuous[node.number - 1]))
        return store_status(status);
    }
    return tv_status_none;
  }

  // With all findings, and with none.
  tv_status_t find_extremes() {
    query_.enter_all();
    if (tv_status_t status = query_.propagate()) return status;
    if (tv_status_t status = read(with_all_)) return status;
    result_->posterior = with_all_.discrete[node_.number - 1];
    query_.leave_out_all();
    if (tv_status_t status = query_.propagate()) return status;
    result_->prior = query_.distribution(node_);
    return result_->prior[state_] > 0 ? tv_status_none : refuse_impossible_state(node_, state_);
  }

  tv_status_t explain(size_t f, size_t trails) {
    Explanation::Finding finding{query_.findings()[f], {}, {}, {}, {}, {}, true};
    query_.enter_only({f});
    if (tv_status_t status = query_.propagate()) return status;
    finding.weight_alone = weights(result_->prior, query_.distribution(node_));
    query_.enter_all();
    query_.leave_out(f);
    if (tv_status_t status = query_.propagate()) return status;
    finding.weight = weights(query_.distribution(node_), result_->posterior);
    Answer without;
    if (tv_status_t status = read(without)) return status;
    const std::vector<double> changes = changes_from(without);
    finding.has_all_trails =
        find_trails({*node_.domain, *finding.node, node_, changes, trails}, finding.trails);
    result_->findings.push_back(std::move(finding));
    return tv_status_none;
  }

  std::vector<double> changes_from(const Answer& without) const {
    std::vector<double> changes(without.discrete.size(), 0);
    for (const Node& node : node_.domain->nodes) {
      const size_t i = node.number - 1;
      if (is_discrete(node)) changes[i] = tv::relative_entropy(with_all_.discrete[i], without.discrete[i]);
      if (is_continuous(node)) changes[i] = relative_entropy(with_all_.continuous[i], without.continuous[i]);
    }
    return changes;
  }

  Node& node_;
  const size_t state_;
  EvidenceQuery query_;
  Answer with_all_;
  std::unique_ptr<Explanation> result_;
};

Explanation* explain(Node* node, size_t state, size_t orders, size_t trails) {
  if (check_open_question(node)) return nullptr;
  if (state >= node->number_of_states) return refuse_state(node, state), nullptr;
  Explainer explainer(*node, state);
  return explainer.run(orders, trails) ? nullptr : explainer.release();
}

// ---- What hosts read ----

const Explanation::Finding* checked_finding(const Explanation* explanation, size_t finding) noexcept {
  return check(explanation && finding < explanation->findings.size()) ? &explanation->findings[finding]
                                                                      : nullptr;
}

double number_of(const Explanation* explanation, size_t finding, size_t state,
                 std::vector<double> Explanation::Finding::*numbers, double failure = -1) noexcept {
  const Explanation::Finding* const found = checked_finding(explanation, finding);
  return found && check(state < (found->*numbers).size()) ? (found->*numbers)[state] : failure;
}

double probability_of(const Explanation* explanation, size_t state,
                      std::vector<double> Explanation::*numbers) noexcept {
  return check(explanation && state < (explanation->*numbers).size()) ? (explanation->*numbers)[state] : -1;
}

const Explanation::Trail* checked_trail(const Explanation* explanation, size_t finding,
                                        size_t trail) noexcept {
  const Explanation::Finding* const found = checked_finding(explanation, finding);
  return found && check(trail < found->trails.size()) ? &found->trails[trail] : nullptr;
}

}  // namespace
}  // namespace tv

tv_explanation_t* tv_node_explain_belief(tv_node_t* node, size_t state, size_t orders, size_t trails) {
  return tv::guarded<tv_explanation_t*>(nullptr, [&] { return tv::explain(node, state, orders, trails); });
}

tv_status_t tv_explanation_delete(tv_explanation_t* explanation) {
  if (!tv::check(explanation)) return tv_status_usage;
  delete explanation;
  return tv_status_none;
}

size_t tv_explanation_get_number_of_findings(const tv_explanation_t* explanation) {
  return tv::check(explanation) ? explanation->findings.size() : tv::kNone;
}

tv_node_t* tv_explanation_get_finding(const tv_explanation_t* explanation, size_t finding) {
  const tv_explanation_s::Finding* const found = tv::checked_finding(explanation, finding);
  return found ? found->node : nullptr;
}

double tv_explanation_get_prior(const tv_explanation_t* explanation, size_t state) {
  return tv::probability_of(explanation, state, &tv_explanation_s::prior);
}

double tv_explanation_get_posterior(const tv_explanation_t* explanation, size_t state) {
  return tv::probability_of(explanation, state, &tv_explanation_s::posterior);
}

double tv_explanation_get_weight_alone(const tv_explanation_t* explanation, size_t finding, size_t state) {
  return tv::number_of(explanation, finding, state, &tv_explanation_s::Finding::weight_alone);
}

double tv_explanation_get_weight(const tv_explanation_t* explanation, size_t finding, size_t state) {
  return tv::number_of(explanation, finding, state, &tv_explanation_s::Finding::weight);
}

double tv_explanation_get_shapley_value(const tv_explanation_t* explanation, size_t finding, size_t state) {
  return tv::number_of(explanation, finding, state, &tv_explanation_s::Finding::shapley,
                       std::numeric_limits<double>::quiet_NaN());
}

double tv_explanation_get_standard_error(const tv_explanation_t* explanation, size_t finding, size_t state) {
  return tv::number_of(explanation, finding, state, &tv_explanation_s::Finding::standard_error);
}

size_t tv_explanation_get_number_of_trails(const tv_explanation_t* explanation, size_t finding) {
  const tv_explanation_s::Finding* const found = tv::checked_finding(explanation, finding);
  return found ? found->trails.size() : tv::kNone;
}

int tv_explanation_has_all_trails(const tv_explanation_t* explanation, size_t finding) {
  const tv_explanation_s::Finding* const found = tv::checked_finding(explanation, finding);
  return found ? found->has_all_trails : -1;
}

tv_node_t* const* tv_explanation_get_trail(const tv_explanation_t* explanation, size_t finding, size_t trail,
                                           size_t* count) {
  const tv_explanation_s::Trail* const found =
      tv::checked_trail(count ? explanation : nullptr, finding, trail);
  if (!found) return nullptr;
  *count = found->nodes.size();
  return found->nodes.data();
}

double tv_explanation_get_trail_strength(const tv_explanation_t* explanation, size_t finding, size_t trail) {
  const tv_explanation_s::Trail* const found = tv::checked_trail(explanation, finding, trail);
  return found ? found->strength : -1;
}

const char* tv_explanation_get_text(const tv_explanation_t* explanation) {
  return tv::check(explanation) ? explanation->text.c_str() : nullptr;
}

#include "support/cg_oracle.h"

#include <algorithm>
#include <cmath>

#include "support/builders.h"

namespace test {
namespace {

constexpr Quad kRelativeZero = 1e-27;  // of a variance, against what it was before conditioning
constexpr long double kLogTwoPi = 1.837877066409345483560659472811235279723L;

bool is_discrete(const tv_node_t* node) { return tv_node_get_kind(node) == tv_kind_discrete; }

// Conditions on one value and gives the logarithm of its density; nothing where it has no variance.
std::optional<long double> observe(CgOracle::Component& component, size_t node, Quad value, Quad scale) {
  const Quad variance = component.covariance[node][node];
  if (!(variance > scale * kRelativeZero)) return std::nullopt;
  const Quad deviation = value - component.mean[node];
  const QuadVector row = component.covariance[node];
  for (size_t i = 0; i < row.size(); ++i) {
    component.mean[i] += row[i] / variance * deviation;
    for (size_t j = 0; j < row.size(); ++j) component.covariance[i][j] -= row[i] / variance * row[j];
  }
  for (size_t i = 0; i < row.size(); ++i) component.covariance[i][node] = component.covariance[node][i] = 0;
  component.mean[node] = value;
  return static_cast<long double>(-deviation * deviation / variance / 2) -
         (kLogTwoPi + std::log(static_cast<long double>(variance))) / 2;
}

}  // namespace

CgOracle::CgOracle(tv_domain_t* domain) : nodes_(nodes_of(domain)) {
  std::vector<bool> placed(nodes_.size(), false);
  while (order_.size() < nodes_.size()) {
    for (size_t i = 0; i < nodes_.size(); ++i) {
      bool ready = !placed[i];
      for (tv_node_t** parent = tv_node_get_parents(nodes_[i]); *parent && ready; ++parent)
        ready = placed[index(*parent)];
      if (!ready) continue;
      placed[i] = true;
      order_.push_back(i);
    }
  }
  for (const tv_node_t* node : nodes_)
    states_.push_back(is_discrete(node) ? tv_node_get_number_of_states(node) : 1);
}

size_t CgOracle::index(const tv_node_t* node) const {
  return static_cast<size_t>(std::find(nodes_.begin(), nodes_.end(), node) - nodes_.begin());
}

CgOracle::Evidence CgOracle::entered() const {
  Evidence evidence{std::vector<std::vector<double>>(nodes_.size()),
                    std::vector<std::optional<double>>(nodes_.size())};
  for (size_t i = 0; i < nodes_.size(); ++i) {
    if (is_discrete(nodes_[i])) {
      for (size_t s = 0; s < states_[i]; ++s)
        evidence.findings[i].push_back(static_cast<double>(tv_node_get_entered_finding(nodes_[i], s)));
    } else if (tv_node_evidence_is_entered(nodes_[i]) == 1) {
      evidence.values[i] = tv_node_get_entered_value(nodes_[i]);
    }
  }
  return evidence;
}

size_t CgOracle::table_index(const tv_node_t* node, const std::vector<size_t>& states) const {
  size_t result = 0;
  tv_node_t** members = tv_table_get_nodes(tv_node_get_table(const_cast<tv_node_t*>(node)));
  for (; *members && is_discrete(*members); ++members)
    result = result * states_[index(*members)] + states[index(*members)];
  return result;
}

CgOracle::Component CgOracle::prior(const std::vector<size_t>& states) const {
  const size_t count = nodes_.size();
  Component component{states, 0, 0, QuadVector(count, 0), QuadMatrix(count, QuadVector(count, 0))};
  for (const size_t i : order_) {
    tv_node_t* node = nodes_[i];
    const size_t place = table_index(node, states);
    if (is_discrete(node)) {
      const tv_number_t* data = tv_table_get_data(tv_node_get_table(node));
      long double sum = 0;
      for (size_t s = 0; s < states_[i]; ++s) sum += static_cast<long double>(data[place - states[i] + s]);
      component.log_weight += std::log(static_cast<long double>(data[place]) / sum);
      continue;
    }
    component.mean[i] = tv_node_get_intercept(node, place);
    Quad variance = tv_node_get_conditional_variance(node, place);
    QuadVector row(count, 0);  // covariances of the node with all nodes
    for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent) {
      if (is_discrete(*parent)) continue;
      const size_t p = index(*parent);
      const Quad coefficient = tv_node_get_coefficient(node, *parent, place);
      component.mean[i] += coefficient * component.mean[p];
      for (size_t j = 0; j < count; ++j) row[j] += coefficient * component.covariance[p][j];
    }
    for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent)
      if (!is_discrete(*parent))
        variance += tv_node_get_coefficient(node, *parent, place) * row[index(*parent)];
    for (size_t j = 0; j < count; ++j) component.covariance[i][j] = component.covariance[j][i] = row[j];
    component.covariance[i][i] = variance;
  }
  return component;
}

CgOracle::Answer CgOracle::answer(const Evidence& evidence) const {
  Answer result;
  std::vector<size_t> states(nodes_.size(), 0);
  for (size_t level = nodes_.size();;) {
    Component component = prior(states);
    for (size_t i = 0; i < nodes_.size(); ++i)
      if (!evidence.findings[i].empty())
        component.log_weight += std::log(static_cast<long double>(evidence.findings[i][states[i]]));
    if (component.log_weight > -HUGE_VALL) {
      QuadVector scales;
      for (size_t i = 0; i < nodes_.size(); ++i) scales.push_back(component.covariance[i][i]);
      for (size_t i = 0; i < nodes_.size(); ++i) {
        if (!evidence.values[i]) continue;
        const auto log_density = observe(component, i, *evidence.values[i], scales[i]);
        if (log_density)
          component.log_weight += *log_density;
        else
          result.status = tv_status_zero_variance;
      }
      result.components.push_back(std::move(component));
    }
    for (level = nodes_.size(); level > 0; --level) {
      if (++states[level - 1] < states_[level - 1]) break;
      states[level - 1] = 0;
    }
    if (level == 0) break;
  }
  if (result.components.empty()) result.status = tv_status_inconsistency_or_underflow;
  long double largest = -HUGE_VALL, sum = 0;
  for (const Component& component : result.components) largest = std::max(largest, component.log_weight);
  for (const Component& component : result.components) sum += std::exp(component.log_weight - largest);
  result.log_constant = largest + std::log(sum);
  for (Component& component : result.components)
    component.weight = std::exp(component.log_weight - result.log_constant);
  return result;
}

double CgOracle::Answer::belief(size_t node, size_t state) const {
  Quad sum = 0;
  for (const Component& component : components)
    if (component.states[node] == state) sum += component.weight;
  return static_cast<double>(sum);
}

double CgOracle::Answer::mean(size_t node) const {
  Quad sum = 0;
  for (const Component& component : components) sum += component.weight * component.mean[node];
  return static_cast<double>(sum);
}

double CgOracle::Answer::variance(size_t node) const {
  Quad mean = 0, sum = 0;
  for (const Component& component : components) mean += component.weight * component.mean[node];
  for (const Component& component : components) {
    const Quad deviation = component.mean[node] - mean;
    sum += component.weight * (component.covariance[node][node] + deviation * deviation);
  }
  return std::max(0.0, static_cast<double>(sum));
}

double CgOracle::Answer::cumulative(size_t node, double value) const {
  long double sum = 0;
  for (const Component& component : components) {
    const long double deviation = static_cast<long double>(value - component.mean[node]);
    const long double variance = static_cast<long double>(component.covariance[node][node]);
    const long double share =
        variance > 0 ? std::erfc(-deviation / std::sqrt(2 * variance)) / 2 : deviation >= 0;
    sum += static_cast<long double>(component.weight) * share;
  }
  return static_cast<double>(sum);
}

std::string wrong_cg_answer(tv_domain_t* domain, const CgBounds& bounds) {
  const CgOracle oracle(domain);
  const CgOracle::Answer expected = oracle.answer();
  char message[300];
  const auto differ = [&](const char* what, const tv_node_t* node, double found, double wanted,
                          double bound) {
    if (std::fabs(found - wanted) <= bound) return false;
    std::snprintf(message, sizeof message, "%s of %s is %.17g, not %.17g (off by %.3g, allowed %.3g)", what,
                  node ? tv_node_get_name(const_cast<tv_node_t*>(node)) : "the evidence", found, wanted,
                  found - wanted, bound);
    return true;
  };
  if (differ("log constant", nullptr, tv_domain_get_log_normalization_constant(domain),
             static_cast<double>(expected.log_constant),
             bounds.log_constant * (1 + std::fabs(static_cast<double>(expected.log_constant)) * 1e-3)))
    return message;
  for (size_t i = 0; i < oracle.nodes().size(); ++i) {
    tv_node_t* node = oracle.nodes()[i];
    if (is_discrete(node)) {
      for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s)
        if (differ("belief", node, static_cast<double>(tv_node_get_belief(node, s)), expected.belief(i, s),
                   bounds.belief))
          return message;
      continue;
    }
    double size = 1;  // of all components that matter; coefficients are about one
    for (const CgOracle::Component& component : expected.components) {
      size = std::max(size, std::fabs(static_cast<double>(component.mean[i])));
    }
    const double variance = expected.variance(i);
    const double deviation = std::sqrt(std::max(variance, 0.0));
    if (differ("mean", node, tv_node_get_mean(node), expected.mean(i),
               bounds.spread * deviation + bounds.scale * size))
      return message;
    if (differ("variance", node, tv_node_get_variance(node), variance,
               bounds.spread * variance + bounds.scale * bounds.scale * size * size))
      return message;
    if (tv_node_get_variance(node) < 0) return "negative variance";
  }
  return "";
}

}  // namespace test

#include "support/oracle.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

#include "support/builders.h"

namespace test {

template <class Visit>
void Oracle::each_configuration(Visit visit) const {
  std::vector<size_t> state(nodes_.size(), 0);
  for (size_t index = 0;; ++index) {
    visit(state, index);
    size_t i = 0;
    while (i < state.size() && ++state[i] == states_[i]) state[i++] = 0;
    if (i == state.size()) return;
  }
}

Oracle::Oracle(tv_domain_t* domain) : nodes_(nodes_of(domain)) {
  struct Factor {
    std::vector<size_t> nodes;
    Vector data;
  };
  std::vector<Factor> factors;
  for (tv_node_t* node : nodes_) states_.push_back(tv_node_get_number_of_states(node));
  for (tv_node_t* node : nodes_) {
    tv_table_t* table = tv_node_get_table(node);
    const tv_number_t* data = tv_table_get_data(table);
    Factor factor;
    size_t size = 1;
    for (tv_node_t** member = tv_table_get_nodes(table); *member; ++member) {
      factor.nodes.push_back(std::find(nodes_.begin(), nodes_.end(), *member) - nodes_.begin());
      size *= states_[factor.nodes.back()];
    }
    factor.data.assign(data, data + size);
    const size_t n = tv_node_get_number_of_states(node);
    for (size_t first = 0; first < size; first += n) {
      Real sum = 0;
      for (size_t i = first; i < first + n; ++i) sum += factor.data[i];
      for (size_t i = first; i < first + n; ++i) factor.data[i] /= sum;
    }
    factors.push_back(factor);
  }
  each_configuration([&](const std::vector<size_t>& state, size_t) {
    Real weight = 1;
    for (const Factor& factor : factors) {
      size_t index = 0;
      for (size_t member : factor.nodes) index = index * states_[member] + state[member];
      weight *= factor.data[index];
    }
    has_zeros_ |= weight == 0;
    joint_.push_back(weight);
  });
}

Oracle::Evidence Oracle::none() const {
  Evidence evidence;
  for (size_t n : states_) evidence.push_back(Vector(n, 1));
  return evidence;
}

Oracle::Evidence Oracle::entered() const {
  Evidence evidence = none();
  for (size_t i = 0; i < nodes_.size(); ++i)
    for (size_t s = 0; s < states_[i]; ++s) evidence[i][s] = tv_node_get_entered_finding(nodes_[i], s);
  return evidence;
}

Vector Oracle::marginal(const std::vector<size_t>& nodes, const Evidence& evidence,
                        tv_equilibrium_t equilibrium) const {
  size_t size = 1;
  for (size_t node : nodes) size *= states_[node];
  Vector result(size, 0);
  each_configuration([&](const std::vector<size_t>& state, size_t index) {
    Real weight = joint_[index];
    for (size_t i = 0; i < state.size(); ++i) weight *= evidence[i][state[i]];
    size_t entry = 0;
    for (size_t node : nodes) entry = entry * states_[node] + state[node];
    result[entry] =
        equilibrium == tv_equilibrium_max ? std::max(result[entry], weight) : result[entry] + weight;
  });
  return result;
}

Real Oracle::constant(const Evidence& evidence, tv_equilibrium_t equilibrium) const {
  return marginal({}, evidence, equilibrium)[0];
}

std::vector<Vector> Oracle::beliefs(const Evidence& evidence, tv_equilibrium_t equilibrium,
                                    tv_evidence_mode_t mode) const {
  std::vector<Vector> result;
  for (size_t i = 0; i < nodes_.size(); ++i) {
    Evidence used = evidence;
    if (mode == tv_evidence_fast_retraction) used[i].assign(states_[i], 1);
    Vector belief = marginal({i}, used, equilibrium);
    Real scale = 0;
    for (Real p : belief) scale = equilibrium == tv_equilibrium_max ? std::max(scale, p) : scale + p;
    if (scale > 0)
      for (Real& p : belief) p /= scale;
    result.push_back(belief);
  }
  return result;
}

Real Oracle::least_constant(const Evidence& evidence, tv_equilibrium_t equilibrium,
                            tv_evidence_mode_t mode) const {
  if (mode == tv_evidence_normal) return constant(evidence, equilibrium);
  Real least = 1;
  for (size_t i = 0; i < nodes_.size(); ++i) {
    Evidence used = evidence;
    used[i].assign(states_[i], 1);
    least = std::min(least, constant(used, equilibrium));
  }
  return least;
}

bool close(Real found, Real expected) {
  const Real error = std::fabs(found - expected);
  return error <= std::max(2e-6L * expected, 1e-29L);
}

std::string wrong_answer(tv_domain_t* domain, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode,
                         bool with_constant) {
  const Oracle oracle(domain);
  const Oracle::Evidence evidence = oracle.entered();
  std::ostringstream out;
  const std::vector<Vector> beliefs = oracle.beliefs(evidence, equilibrium, mode);
  for (size_t i = 0; i < beliefs.size(); ++i)
    for (size_t s = 0; s < beliefs[i].size(); ++s) {
      const Real found = tv_node_get_belief(oracle.nodes()[i], s);
      if (close(found, beliefs[i][s])) continue;
      out << "belief of node " << i + 1 << " state " << s << " is " << found << ", not " << beliefs[i][s];
      return out.str();
    }
  if (!with_constant) return "";
  const Real constant = oracle.constant(evidence, equilibrium);
  const Real found = tv_domain_get_normalization_constant(domain);
  const Real log_found = tv_domain_get_log_normalization_constant(domain);
  if (constant > std::numeric_limits<double>::min() && std::fabs(found - constant) > 2e-6L * constant)
    out << "constant is " << found << ", not " << constant;
  if (std::fabs(log_found - std::log(constant)) > 2e-6L)
    out << "log constant is " << log_found << ", not " << std::log(constant);
  return out.str();
}

}  // namespace test

// The answers of inference by definition: every configuration of all nodes is visited in nested loops
// and its weight kept in long double. Reads the network through the public header alone and shares no
// code with the library. For small networks of discrete chance nodes.
#pragma once

#include <string>
#include <vector>

#include "tarvo.h"

namespace test {

using Real = long double;
using Vector = std::vector<Real>;

class Oracle {
 public:
  explicit Oracle(tv_domain_t* domain);

  // One finding vector per node, the oldest node first; all ones is no evidence.
  using Evidence = std::vector<Vector>;
  Evidence entered() const;
  Evidence none() const;

  // The sum (the largest entry, under max) of the joint with the evidence.
  Real constant(const Evidence& evidence, tv_equilibrium_t equilibrium) const;
  // Marginals of the joint with the evidence, not normalised.
  Vector marginal(const std::vector<size_t>& nodes, const Evidence& evidence,
                  tv_equilibrium_t equilibrium) const;
  // Of each node, scaled to sum to one (to have one as the best entry); all zero if the evidence is
  // impossible. Under fast retraction each node has its own evidence left out.
  std::vector<Vector> beliefs(const Evidence& evidence, tv_equilibrium_t equilibrium,
                              tv_evidence_mode_t mode) const;
  // The probability of the evidence that each node's answer rests on.
  Real least_constant(const Evidence& evidence, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) const;

  const std::vector<tv_node_t*>& nodes() const { return nodes_; }
  bool has_zeros() const { return has_zeros_; }

 private:
  template <class Visit>
  void each_configuration(Visit visit) const;

  std::vector<tv_node_t*> nodes_;
  std::vector<size_t> states_;
  Vector joint_;  // in the order in which each_configuration visits
  bool has_zeros_ = false;
};

// The first answer of a propagated domain that differs from the oracle's, in words; empty if none
// does. Compares the beliefs of all nodes and, if wanted, both forms of the normalisation constant.
std::string wrong_answer(tv_domain_t* domain, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode,
                         bool with_constant = true);

// The bound that every answer is held to: two parts in a million, as tables are normalised in single
// precision before anything else; of what is below 1e-23, 1e-29.
bool close(Real found, Real expected);

}  // namespace test

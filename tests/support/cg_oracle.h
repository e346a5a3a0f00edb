// The answers for networks with continuous nodes by definition: for each configuration of all discrete nodes
// the joint normal distribution of all continuous ones, conditioned by plain elimination in quadruple
// precision. Reads the network through the public header alone and shares no code with the library.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tarvo.h"

namespace test {

#if __LDBL_MANT_DIG__ == 113
typedef long double Quad;
#else
__extension__ typedef __float128 Quad;
#endif
using QuadVector = std::vector<Quad>;
using QuadMatrix = std::vector<QuadVector>;

class CgOracle {
 public:
  explicit CgOracle(tv_domain_t* domain);

  // By node, the oldest first; all ones, or no value, where nothing is known.
  struct Evidence {
    std::vector<std::vector<double>> findings;
    std::vector<std::optional<double>> values;
  };
  Evidence entered() const;

  // One configuration of the discrete nodes: its share, and the continuous nodes in it. Indexed by node;
  // rows and columns of discrete nodes are not used.
  struct Component {
    std::vector<size_t> states;
    long double log_weight;  // with the evidence, not normalised
    Quad weight;             // normalised
    QuadVector mean;
    QuadMatrix covariance;
  };
  struct Answer {
    tv_status_t status = tv_status_none;  // else zero_variance or inconsistency_or_underflow
    long double log_constant = 0;
    std::vector<Component> components;  // those that are possible

    double belief(size_t node, size_t state) const;
    double mean(size_t node) const;
    double variance(size_t node) const;
    double cumulative(size_t node, double value) const;  // the probability of at most this value
  };
  Answer answer(const Evidence& evidence) const;
  Answer answer() const { return answer(entered()); }

  const std::vector<tv_node_t*>& nodes() const { return nodes_; }
  size_t index(const tv_node_t* node) const;

 private:
  Component prior(const std::vector<size_t>& states) const;
  size_t table_index(const tv_node_t* node, const std::vector<size_t>& states) const;

  std::vector<tv_node_t*> nodes_;
  std::vector<size_t> order_;   // parents before children
  std::vector<size_t> states_;  // 1 for a continuous node
};

// How near the answers must come. Those for continuous nodes are held to `spread` times the standard
// deviation (the variance, for variances), and to `scale` times the size of the numbers themselves.
struct CgBounds {
  double belief = 1e-5;
  double spread = 1e-8;
  double scale = 1e-13;
  double log_constant = 1e-6;
};
inline constexpr CgBounds kMixtureBounds{1e-5, 1e-5, 1e-6, 1e-6};  // weights in single precision

// The first answer of a propagated domain that differs from the oracle's, in words; empty if none does.
std::string wrong_cg_answer(tv_domain_t* domain, const CgBounds& bounds);

}  // namespace test

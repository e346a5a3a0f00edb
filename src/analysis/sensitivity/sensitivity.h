// What a number that is read from a network is as a function of its parameters, one at a time.
//
// When a parameter of a distribution becomes t, the others of the distribution keep their proportions. The
// probability of the evidence, and its joint probability with a state of the hypothesis, are then straight
// lines in t, and what is asked for is the quotient of two of them (Castillo, Gutiérrez and Hadi 1997;
// Coupé and van der Gaag 2002).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "network/node.h"

namespace tv {

struct Line {
  double slope = 0.0, at_zero = 0.0;
  double at(double t) const noexcept { return slope * t + at_zero; }
};
inline Line operator+(const Line& a, const Line& b) noexcept {
  return {a.slope + b.slope, a.at_zero + b.at_zero};
}
inline Line operator-(const Line& a, const Line& b) noexcept {
  return {a.slope - b.slope, a.at_zero - b.at_zero};
}
inline Line operator*(double factor, const Line& line) noexcept {
  return {factor * line.slope, factor * line.at_zero};
}

// A table with parameters, as it was.
struct ParameterTable {
  Node* node = nullptr;
  size_t states = 0;
  std::vector<double> values;       // each distribution adds up to one
  std::vector<double> derivatives;  // lane by lane; of values, each by itself
  std::vector<uint32_t> positions;  // by entry: among the parameters

  size_t size() const noexcept { return values.size(); }
};

struct Parameter {
  uint32_t table;
  size_t entry;
  double derivative;  // of what was asked for
};

}  // namespace tv

struct tv_sensitivity_s {
  // What the lanes of the derivatives are.
  enum class Kind {
    hypothesis,  // a lane for each of its states; the evidence is their sum
    utility,     // the evidence, and its product with the expected utility
    evidence     // the evidence alone
  };
  Kind kind = Kind::evidence;
  size_t state = 0;           // of the hypothesis
  std::vector<double> lanes;  // the sum of each lane; the probability of the evidence counts as one
  std::vector<tv::ParameterTable> tables;
  std::vector<tv::Parameter> parameters;  // the largest derivative first, whatever its sign

  // As functions of a parameter: a lane; what is divided, and by what.
  tv::Line lane(size_t lane, const tv::ParameterTable& table, size_t entry) const noexcept;
  tv::Line evidence(const tv::ParameterTable& table, size_t entry) const noexcept;
  tv::Line numerator(const tv::ParameterTable& table, size_t entry) const noexcept;

  const tv::ParameterTable& table_of(const tv::Parameter& parameter) const noexcept {
    return tables[parameter.table];
  }
  double value() const noexcept;  // of what was asked for
  const tv::ParameterTable* find(const tv::Node& node) const noexcept;
  void sort_parameters();
  void add_parameters(uint32_t place, size_t first);
};

namespace tv {

using Sensitivity = tv_sensitivity_s;

// Null with the status stored. The node is a discrete one that is not observed.
std::unique_ptr<Sensitivity> analyze_hypothesis(Domain& domain, Node& node, size_t state);
std::unique_ptr<Sensitivity> analyze_utility(Domain& domain);
std::unique_ptr<Sensitivity> analyze_evidence(Domain& domain);

// The same with a distribution replaced: the one to which `entry` of the table of `node` belongs becomes that
// in which the entry is `value` and the others keep their proportions.
struct Replacement {
  const Node* node = nullptr;
  size_t entry = 0;
  double value = 0.0;
};
std::unique_ptr<Sensitivity> analyze_hypothesis(Domain& domain, Node& node, size_t state,
                                                const Replacement& replacement);

// What becomes of the others of a distribution when entry `x` becomes `t`: all of it, as shares of `states`
// entries that begin at `values`.
void covary(const double* values, size_t states, size_t x, double t, double* changed) noexcept;

}  // namespace tv

// Two parameters at once.
#include "analysis/sensitivity/two_way.h"

#include <cmath>

namespace tv {
namespace {

// The coefficients of 1, t1, t2 and t1 t2 of a function that is a straight line in each.
using Bilinear = std::array<double, 4>;

// From its lines in t2 at two values of t1.
Bilinear through(double t1, const Line& line, double other_t1, const Line& other) noexcept {
  const double width = other_t1 - t1;
  const double slope_slope = (other.slope - line.slope) / width,
               slope_zero = (other.at_zero - line.at_zero) / width;
  return {line.at_zero - t1 * slope_zero, slope_zero, line.slope - t1 * slope_slope, slope_slope};
}

// Both entries belong to the same distribution, where the remaining entries keep their proportions. Such a
// function has no product of both.
Bilinear within_distribution(const Sensitivity& sensitivity, size_t lane, const ParameterTable& table,
                             size_t first, size_t x1, size_t x2) noexcept {
  const double* const values = table.values.data() + first;
  const double* const derivatives = table.derivatives.data() + lane * table.size() + first;
  double rest = 0.0, rest_sum = 0.0, rest_derivatives = 0.0, elsewhere = sensitivity.lanes[lane];
  for (size_t s = 0; s < table.states; ++s) {
    elsewhere -= values[s] * derivatives[s];
    if (s == x1 || s == x2) continue;
    rest += values[s];
    rest_sum += values[s] * derivatives[s];
    rest_derivatives += derivatives[s];
  }
  double others = 0.0;
  if (rest > 0.0)
    others = rest_sum / rest;
  else if (table.states > 2)
    others = rest_derivatives / static_cast<double>(table.states - 2);
  return {elsewhere + others, derivatives[x1] - others, derivatives[x2] - others, 0.0};
}

void add(Bilinear& sum, const Bilinear& term) noexcept {
  for (size_t i = 0; i < sum.size(); ++i) sum[i] += term[i];
}

// A value of the first parameter that is far from the present one and leaves the evidence possible.
double other_value(const Line& evidence, double present) noexcept {
  const double far = present < 0.5 ? 1.0 : 0.0;
  return evidence.at(far) > 1e-9 ? far : (present + far) / 2;
}

}  // namespace

tv_status_t find_two_way(Domain& domain, Node& node, size_t state, const TableEntry& entry1,
                         const TableEntry& entry2, TwoWayFunction& function) {
  const std::unique_ptr<Sensitivity> base = analyze_hypothesis(domain, node, state);
  if (!base) return current_status();
  const ParameterTable* const table1 = base->find(*entry1.node);
  const ParameterTable* const table2 = base->find(*entry2.node);
  function = {};
  if (!table1 || !table2) {  // what is in other trees changes nothing here
    const auto one_way = [&](const Line& line) -> Bilinear {
      return {line.at_zero, table1 ? line.slope : 0.0, table2 ? line.slope : 0.0, 0.0};
    };
    const ParameterTable* const table = table1 ? table1 : table2;
    const size_t entry = table1 ? entry1.index : entry2.index;
    function.numerator = one_way(table ? base->numerator(*table, entry) : Line{0.0, base->value()});
    function.denominator = one_way(table ? base->evidence(*table, entry) : Line{0.0, 1.0});
    return tv_status_none;
  }
  const size_t states = table1->states;
  if (table1 == table2 && entry1.index / states == entry2.index / states) {
    const size_t first = entry1.index - entry1.index % states;
    for (size_t lane = 0; lane < base->lanes.size(); ++lane) {
      const Bilinear part =
          within_distribution(*base, lane, *table1, first, entry1.index - first, entry2.index - first);
      if (lane == state) function.numerator = part;
      add(function.denominator, part);
    }
    return tv_status_none;
  }
  const double t1 = table1->values[entry1.index];
  const Line evidence = base->evidence(*table1, entry1.index);
  const double other_t1 = other_value(evidence, t1);
  const std::unique_ptr<Sensitivity> other =
      analyze_hypothesis(domain, node, state, {entry1.node, entry1.index, other_t1});
  if (!other) return current_status();
  const ParameterTable& other_table = *other->find(*entry2.node);
  const double scale = evidence.at(other_t1);  // of the other lines, in which the evidence counts as one
  function.numerator = through(t1, base->numerator(*table2, entry2.index), other_t1,
                               scale * other->numerator(other_table, entry2.index));
  function.denominator = through(t1, base->evidence(*table2, entry2.index), other_t1,
                                 scale * other->evidence(other_table, entry2.index));
  return tv_status_none;
}

}  // namespace tv

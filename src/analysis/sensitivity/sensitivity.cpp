#include "analysis/sensitivity/sensitivity.h"

#include <algorithm>
#include <cmath>

namespace tv {

void covary(const double* values, size_t states, size_t x, double t, double* changed) noexcept {
  double rest = 0.0;
  for (size_t s = 0; s < states; ++s) rest += s == x ? 0.0 : values[s];
  for (size_t s = 0; s < states; ++s) {
    // Where the others are zero there are no proportions to keep: they get equal shares.
    const double share = rest > 0.0 ? values[s] / rest : 1.0 / static_cast<double>(states - 1);
    changed[s] = s == x ? t : (1.0 - t) * share;
  }
}

}  // namespace tv

tv::Line tv_sensitivity_s::lane(size_t lane, const tv::ParameterTable& table, size_t entry) const noexcept {
  const size_t x = entry % table.states, first = entry - x;
  const double* const values = table.values.data() + first;
  const double* const derivatives = table.derivatives.data() + lane * table.size() + first;
  double rest = 0.0, rest_sum = 0.0, rest_derivatives = 0.0;
  for (size_t s = 0; s < table.states; ++s) {
    if (s == x) continue;
    rest += values[s];
    rest_sum += values[s] * derivatives[s];
    rest_derivatives += derivatives[s];
  }
  const double others =
      rest > 0.0 ? rest_sum / rest : rest_derivatives / static_cast<double>(table.states - 1);
  const double elsewhere = lanes[lane] - rest_sum - values[x] * derivatives[x];
  // What is left of terms that cancel each other is rounding.
  const double at_zero = elsewhere + others;
  const bool is_nothing = std::abs(at_zero) < 1e-13 * (std::abs(lanes[lane]) + std::abs(others));
  return {derivatives[x] - others, is_nothing ? 0.0 : at_zero};
}

tv::Line tv_sensitivity_s::evidence(const tv::ParameterTable& table, size_t entry) const noexcept {
  tv::Line sum = lane(0, table, entry);
  if (kind == Kind::hypothesis)
    for (size_t l = 1; l < lanes.size(); ++l) sum = sum + lane(l, table, entry);
  return sum;
}

tv::Line tv_sensitivity_s::numerator(const tv::ParameterTable& table, size_t entry) const noexcept {
  return lane(kind == Kind::hypothesis ? state : lanes.size() - 1, table, entry);
}

double tv_sensitivity_s::value() const noexcept {
  return kind == Kind::hypothesis ? lanes[state] : lanes.back();
}

const tv::ParameterTable* tv_sensitivity_s::find(const tv::Node& node) const noexcept {
  const auto found = std::find_if(tables.begin(), tables.end(),
                                  [&](const tv::ParameterTable& table) { return table.node == &node; });
  return found == tables.end() ? nullptr : &*found;
}

// Of all entries of one distribution. What the slope of a lane is for one of them, `lane` tells; here the
// sums over the others come from those before and behind it.
void tv_sensitivity_s::add_parameters(uint32_t place, size_t first) {
  constexpr double kRounding = 1e-12;
  const tv::ParameterTable& table = tables[place];
  const double* const values = table.values.data() + first;
  // The denominator is one at the present value, so the derivative is the slope of the numerator less this
  // many times that of the denominator.
  const double times = kind == Kind::evidence ? 0.0 : value();
  std::vector<double> above(table.states), below(table.states);
  for (size_t l = 0; l < lanes.size(); ++l) {
    const double* const derivatives = table.derivatives.data() + l * table.size() + first;
    const bool is_numerator = l == (kind == Kind::hypothesis ? state : lanes.size() - 1);
    const bool is_denominator = kind == Kind::hypothesis || l == 0;
    for (size_t s = 0; s < table.states; ++s) {
      if (is_numerator) above[s] += derivatives[s];
      if (is_denominator) below[s] += times * derivatives[s];
    }
  }
  struct Sums {
    double values = 0.0, weighted = 0.0, size = 0.0, plain = 0.0;
    void add(double value, double up, double down) noexcept {
      values += value;
      weighted += value * (up - down);
      size += value * (std::abs(up) + std::abs(down));
      plain += up - down;
    }
  };
  std::vector<Sums> behind(table.states + 1);
  for (size_t s = table.states; s-- > 0;) {
    behind[s] = behind[s + 1];
    behind[s].add(values[s], above[s], below[s]);
  }
  Sums before;
  for (size_t s = 0; s < table.states; ++s) {
    const Sums& after = behind[s + 1];
    const double rest = before.values + after.values;
    const double others = rest > 0.0 ? (before.weighted + after.weighted) / rest
                                     : (before.plain + after.plain) / static_cast<double>(table.states - 1);
    const double size = std::abs(above[s]) + std::abs(below[s]) +
                        (rest > 0.0 ? (before.size + after.size) / rest : std::abs(others));
    const double derivative = above[s] - below[s] - others;
    parameters.push_back({place, first + s, std::abs(derivative) < kRounding * size ? 0.0 : derivative});
    before.add(values[s], above[s], below[s]);
  }
}

void tv_sensitivity_s::sort_parameters() {
  for (uint32_t t = 0; t < tables.size(); ++t)
    for (size_t first = 0; first < tables[t].size(); first += tables[t].states) add_parameters(t, first);
  std::stable_sort(parameters.begin(), parameters.end(), [](const tv::Parameter& a, const tv::Parameter& b) {
    return std::abs(a.derivative) > std::abs(b.derivative);
  });
  for (tv::ParameterTable& table : tables) table.positions.resize(table.size());
  for (uint32_t i = 0; i < parameters.size(); ++i)
    tables[parameters[i].table].positions[parameters[i].entry] = i;
}

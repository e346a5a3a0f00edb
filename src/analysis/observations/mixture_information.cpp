#include "analysis/observations/mixture_information.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <queue>

namespace tv {
namespace {

constexpr double kFar = 9;               // deviations beyond which there is less than 1e-18
constexpr double kTolerance = 1e-8;      // of both integrals
constexpr size_t kMaxIntervals = 20000;  // enough for either where densities cross thousands of times

// Nodes and weights of the Gauss-Kronrod rule of 15 points, and the weights of the 7 points of Gauss among
// them (Piessens, de Doncker, Überhuber & Kahaner 1983).
constexpr double kNodes[] = {0.991455371120812639206854697526329, 0.949107912342758524526189684047851,
                             0.864864423359769072789712788640926, 0.741531185599394439863864773280788,
                             0.586087235467691130294144691693829, 0.405845151377397166906606412076961,
                             0.207784955007898467600689403773245, 0};
constexpr double kKronrod[] = {0.022935322010529224963732008058970, 0.063092092629978553290700663189204,
                               0.104790010322250183839876322541518, 0.140653259715525918745189590510238,
                               0.169004726639267902826583426598550, 0.190350578064785409913256402421014,
                               0.204432940075298892414161999234649, 0.209482141084727828012999174891714};
constexpr double kGauss[] = {0.129484966168869693270611432679082, 0.279705391489276667901467771423780,
                             0.381830050505118944950369775488975, 0.417959183673469387755102040816327};

struct TargetPart {
  size_t state;
  NormalPart part;
};

struct Interval {
  double low, high;
  Telling integral;
  double error;
  bool operator<(const Interval& other) const noexcept { return error < other.error; }
};

// The integrals over all values that have a density.
class Integration {
 public:
  Integration(const Distribution& target, std::vector<TargetPart> parts)
      : sum_(target), parts_(std::move(parts)), densities_(target.size()) {}

  Telling run() {
    std::priority_queue<Interval> worst;
    double error = 0;
    const std::vector<double> bounds = bounds_of_parts();
    for (size_t i = 0; i + 1 < bounds.size(); ++i) {
      const Interval interval = integrate(bounds[i], bounds[i + 1]);
      worst.push(interval);
      error += interval.error;
    }
    while (error > kTolerance && worst.size() < kMaxIntervals + bounds.size()) {
      const Interval interval = worst.top();
      const double middle = interval.low / 2 + interval.high / 2;
      if (!(interval.low < middle && middle < interval.high)) break;
      worst.pop();
      const Interval halves[] = {integrate(interval.low, middle), integrate(middle, interval.high)};
      error += halves[0].error + halves[1].error - interval.error;
      for (const Interval& half : halves) worst.push(half);
    }
    Telling total;
    for (; !worst.empty(); worst.pop()) {
      total.information += worst.top().integral.information;
      total.error_reduction += worst.top().integral.error_reduction;
    }
    return total;
  }

 private:
  std::vector<double> bounds_of_parts() const {
    std::vector<double> bounds;
    for (const auto& [state, part] : parts_)
      for (const double z : {-kFar, -4.0, -1.5, 0.0, 1.5, 4.0, kFar})
        bounds.push_back(part.mean + z * part.deviation);
    std::sort(bounds.begin(), bounds.end());
    bounds.erase(std::unique(bounds.begin(), bounds.end()), bounds.end());
    return bounds;
  }

  Telling at(double value) {
    std::fill(densities_.begin(), densities_.end(), 0);
    for (const auto& [state, part] : near_) {
      const double z = (value - part.mean) / part.deviation;
      densities_[state] += part.weight / part.deviation * std::exp(-0.5 * z * z);
    }
    for (double& density : densities_) density *= 1 / std::sqrt(2 * std::numbers::pi);
    return sum_.of_outcome(densities_.data());
  }

  Interval integrate(double low, double high) {
    near_.clear();
    for (const TargetPart& each : parts_)
      if (each.part.mean - kFar * each.part.deviation < high &&
          each.part.mean + kFar * each.part.deviation > low)
        near_.push_back(each);
    const double center = low / 2 + high / 2, half = high / 2 - low / 2;
    Telling fine, rough;
    const auto add = [half](Telling& sum, const Telling& telling, double weight) {
      sum.information += half * weight * telling.information;
      sum.error_reduction += half * weight * telling.error_reduction;
    };
    for (size_t i = 0; i < 8; ++i)
      for (const double side : {-1.0, 1.0}) {
        if (i == 7 && side > 0) break;
        const Telling telling = at(center + side * half * kNodes[i]);
        add(fine, telling, kKronrod[i]);
        if (i % 2 == 1) add(rough, telling, kGauss[i / 2]);
      }
    return {low, high, fine,
            std::fabs(fine.information - rough.information) +
                std::fabs(fine.error_reduction - rough.error_reduction)};
  }

  const TellingSum sum_;
  const std::vector<TargetPart> parts_;
  std::vector<TargetPart> near_;  // those with a density in the interval
  Distribution densities_;
};

}  // namespace

void merge_equal_parts(NormalMixture& mixture) {
  std::map<std::pair<double, double>, double> weights;
  for (const NormalPart& part : mixture)
    if (part.weight > 0) weights[{part.mean, part.deviation}] += part.weight;
  mixture.clear();
  for (const auto& [normal, weight] : weights) mixture.push_back({weight, normal.first, normal.second});
}

Telling what_it_tells(const Distribution& target, const std::vector<NormalMixture>& given) {
  std::vector<TargetPart> parts;
  std::map<double, Distribution> values;  // the probability of each single value, with each state
  for (size_t t = 0; t < target.size(); ++t) {
    if (!(target[t] > 0)) continue;
    for (const NormalPart& part : given[t]) {
      const double weight = target[t] * part.weight;
      if (part.deviation > 0) {
        parts.push_back({t, {weight, part.mean, part.deviation}});
      } else {
        values.try_emplace(part.mean, target.size(), 0.0).first->second[t] += weight;
      }
    }
  }
  TellingSum sum(target);
  for (const auto& [value, probabilities] : values) sum.add(sum.of_outcome(probabilities.data()));
  if (!parts.empty()) sum.add(Integration(target, std::move(parts)).run());
  return sum.result();
}

}  // namespace tv

// From experience to counts.
#include "learn/prior.h"

#include <algorithm>
#include <cmath>

#include "inference/answers/joint_marginal.h"
#include "learn/case_propagation.h"

namespace tv {
namespace {

double experience_of(const Family& family, size_t configuration) noexcept {
  return std::max(0.0, static_cast<double>(family.experience(configuration)));
}

// The means of the whole family.
void set_origins(const Table& marginal, FamilyCounts& counts) noexcept {
  for (size_t i = 0; i < counts.origins.size(); ++i) {
    double sum = 0.0, total = 0.0;
    for (size_t c = 0; c < marginal.size; ++c) {
      const double number = static_cast<double>(marginal.data[c]);
      if (!(number > 0.0)) continue;
      sum += number * marginal.cg_data[c * marginal.cg_size + cg_mean_index(i)];
      total += number;
    }
    const double mean = sum / total;
    counts.origins[i] = std::isfinite(mean) ? mean : 0.0;
  }
}

// From the weight that the network gives a configuration to its experience.
void scale_moments(const Family& family, FamilyCounts& prior) noexcept {
  const size_t moments = moment_count(family.table->continuous_count);
  for (size_t c = 0; c < family.size(); ++c) {
    const double count = experience_of(family, c);
    const double factor = prior.numbers[c] > 0.0 ? count / prior.numbers[c] : 0.0;
    prior.numbers[c] *= factor;
    for (size_t i = 0; i < moments; ++i) prior.moments[c * moments + i] *= factor;
  }
}

}  // namespace

tv_status_t compute_prior(Domain& domain, const std::vector<Family>& families,
                          std::vector<FamilyCounts>& prior) {
  prior = empty_counts(families);
  for (size_t f = 0; f < families.size(); ++f) {
    const Family& family = families[f];
    if (!family.is_learned) continue;
    if (is_continuous(*family.node)) {
      const std::unique_ptr<Table> marginal = joint_marginal(own_state(domain), family.table->nodes);
      if (!marginal) return current_status();
      set_origins(*marginal, prior[f]);
      add_marginal(family, *marginal, 1.0, prior[f]);
      scale_moments(family, prior[f]);
      continue;
    }
    const size_t states = family.node->number_of_states;
    for (size_t i = 0; i < family.size(); ++i)
      prior[f].numbers[i] = experience_of(family, i / states) * static_cast<double>(family.table->data[i]);
  }
  return tv_status_none;
}

}  // namespace tv

// Linear forms on their way to the root of a component.

#include "inference/gaussian/cg_moments.h"

#include <algorithm>
#include <functional>

namespace tv {

CgMoments::CgMoments(CgEngine& engine, size_t component, const std::vector<size_t>& targets)
    : engine_(engine),
      root_(engine.cliques[engine.components[component].cliques.front()]),
      count_(targets.size()),
      targets_(targets) {
  collect_component(engine, component);
  std::vector<size_t> cliques;
  for (size_t node : targets)
    for (size_t c = engine.nodes[node].home; c != kNone; c = engine.cliques[c].parent) cliques.push_back(c);
  std::sort(cliques.begin(), cliques.end(), std::greater<>());
  cliques.erase(std::unique(cliques.begin(), cliques.end()), cliques.end());
  const NodeList& root_members = root_.clique->members();
  for (size_t c : cliques) {
    const CgClique& clique = engine.cliques[c];
    width_ = std::max(width_, clique.count);
    Stop stop = {c, std::vector<size_t>(root_.discrete, 0)};
    size_t step = 1;
    for (size_t d = clique.discrete; d-- > 0; step *= clique.clique->members()[d]->number_of_states)
      stop.steps[root_members.position(clique.clique->members()[d])] = step;
    stops_.push_back(std::move(stop));
  }
  at_.resize(count_);
  coefficients_.resize(count_ * width_);
  moved_.resize(width_);
  own_.resize(count_);
  means_.resize(count_);
  covariances_.resize(count_ * count_);
}

void CgMoments::find(const size_t* states) noexcept {
  std::fill(coefficients_.begin(), coefficients_.end(), 0.0);
  std::fill(means_.begin(), means_.end(), 0.0);
  std::fill(covariances_.begin(), covariances_.end(), 0.0);
  for (size_t i = 0; i < count_; ++i) {
    at_[i] = engine_.nodes[targets_[i]].home;
    coefficients_[i * width_ + cg_position(engine_, engine_.cliques[at_[i]], targets_[i])] = 1.0;
  }
  for (const Stop& stop : stops_) {
    const CgClique& clique = engine_.cliques[stop.clique];
    size_t index = 0;
    for (size_t d = 0; d < root_.discrete; ++d) index += stop.steps[d] * states[d];
    const double* block = clique.regressions + index * cg_size_for(clique.count);
    for (size_t position = clique.count; position-- > clique.shared;)
      replace(clique, position, cg_run(block, position));
    if (clique.parent != kNone) move_on(stop.clique);
  }
}

void CgMoments::replace(const CgClique& clique, size_t position, const double* run) noexcept {
  const double variance = run[1 + position];
  for (size_t i = 0; i < count_; ++i) {
    double* form = coefficients_.data() + i * width_;
    own_[i] = &engine_.cliques[at_[i]] == &clique ? form[position] : 0.0;
    if (own_[i] == 0.0) continue;
    means_[i] += own_[i] * run[0];
    for (size_t k = 0; k < position; ++k) form[k] += own_[i] * run[1 + k];
    form[position] = 0.0;
    for (size_t j = 0; j <= i; ++j) {
      const double term = own_[i] * own_[j] * variance;
      covariances_[i * count_ + j] += term;
      if (j != i) covariances_[j * count_ + i] += term;
    }
  }
}

void CgMoments::move_on(size_t clique) noexcept {
  const CgClique& here = engine_.cliques[clique];
  for (size_t i = 0; i < count_; ++i) {
    if (at_[i] != clique) continue;
    double* form = coefficients_.data() + i * width_;
    std::fill(moved_.begin(), moved_.end(), 0.0);
    for (size_t s = 0; s < here.shared; ++s) moved_[here.in_parent[s]] = form[s];
    std::copy(moved_.begin(), moved_.end(), form);
    at_[i] = here.parent;
  }
}

}  // namespace tv

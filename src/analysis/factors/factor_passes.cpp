#include "analysis/factors/factor_passes.h"

#include <cmath>

namespace tv {
namespace {

constexpr double kImpossible = -std::numeric_limits<double>::infinity();

}  // namespace

double collect_sums(const FactorForest& forest, FactorMessages& messages, double* least_log_scale) {
  const std::vector<FactorClique>& cliques = forest.cliques();
  messages.resize(cliques.size());
  GroupedOperands grouped;
  double log_scale = 0.0;
  for (size_t i = cliques.size(); i-- > 0;) {
    const FactorClique& clique = cliques[i];
    grouped.form<Multiply<double>>(forest, clique, messages, 1.0);
    messages[i].assign(clique.separator_size, 0.0);
    reduce_product<Multiply<double>, Sum>(*clique.shape, grouped.operands(), 1.0, *clique.separator,
                                          messages[i].data());
    const double scale = scale_to_one(messages[i]);
    if (scale == kImpossible) return kImpossible;
    if (least_log_scale) *least_log_scale = std::min(*least_log_scale, scale);
    log_scale += scale;
  }
  return log_scale;
}

double collect_maxima(const FactorForest& forest, FactorMessages& messages) {
  const std::vector<FactorClique>& cliques = forest.cliques();
  messages.resize(cliques.size());
  GroupedOperands grouped;
  for (size_t i = cliques.size(); i-- > 0;) {
    const FactorClique& clique = cliques[i];
    grouped.form<Add<double>>(forest, clique, messages, 0.0);
    messages[i].assign(clique.separator_size, kImpossible);
    reduce_product<Add<double>, Maximum>(*clique.shape, grouped.operands(), 0.0, *clique.separator,
                                         messages[i].data());
  }
  return messages[0][0];
}

void add_marginal(const Shape& shape, const double* numbers, const IndexMap& map, double* target) {
  const IndexMap* const maps[] = {&map};
  BlockWalk walk(shape, maps);
  do {
    run_loops<Sum>(PartIndexMap(map, shape.part, walk.part()), numbers, target + walk.offset(0));
    numbers += walk.size();
  } while (walk.next());
}

void multiply_entries(const Shape& shape, double* numbers, const IndexMap& map, const double* factors) {
  const IndexMap* const maps[] = {&map};
  BlockWalk walk(shape, maps);
  do {
    run_loops<Multiply<double>>(PartIndexMap(map, shape.part, walk.part()), numbers,
                                factors + walk.offset(0));
    numbers += walk.size();
  } while (walk.next());
}

void take_logarithms(std::vector<double>& numbers) noexcept {
  for (double& number : numbers) number = std::log(number);
}

double scale_to_one(std::vector<double>& numbers) noexcept {
  const double largest = *std::max_element(numbers.begin(), numbers.end());
  if (!(largest > 0.0)) return kImpossible;
  for (double& number : numbers) number /= largest;
  return std::log(largest);
}

}  // namespace tv

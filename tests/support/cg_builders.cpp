#include "support/cg_builders.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace test {
namespace {

void demand(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "test network: %s failed with %s\n", what, tv_error_name(tv_error_code()));
  std::abort();
}

bool is_discrete(const tv_node_t* node) { return tv_node_get_kind(node) == tv_kind_discrete; }

std::vector<tv_node_t*> continuous_parents(const tv_node_t* node) {
  std::vector<tv_node_t*> parents;
  for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent)
    if (!is_discrete(*parent)) parents.push_back(*parent);
  return parents;
}

// Zeros and ones come up often, because they make nodes that depend on nothing or on each other alone.
double random_coefficient(Generator& random) {
  if (random.chance(0.15)) return 0;
  if (random.chance(0.2)) return random.chance(0.5) ? 1 : -1;
  return 4 * random.uniform() - 2;
}

}  // namespace

tv_node_t* add_continuous(tv_domain_t* domain, const char* name, double intercept, double variance,
                          std::initializer_list<Effect> effects,
                          std::initializer_list<tv_node_t*> discrete_parents) {
  tv_node_t* node = tv_domain_new_node(domain, tv_category_chance, tv_kind_continuous);
  demand(node != nullptr, "tv_domain_new_node");
  if (name) demand(tv_node_set_name(node, name) == tv_status_none, "tv_node_set_name");
  for (size_t i = discrete_parents.size(); i-- > 0;)
    demand(tv_node_add_parent(node, discrete_parents.begin()[i]) == tv_status_none, "tv_node_add_parent");
  std::vector<double> coefficients;
  for (const Effect& effect : effects) {
    demand(tv_node_add_parent(node, effect.parent) == tv_status_none, "tv_node_add_parent");
    coefficients.push_back(effect.coefficient);
  }
  for (size_t i = 0; i < tv_table_get_size(tv_node_get_table(node)); ++i)
    set_regression(node, i, intercept, variance, coefficients);
  return node;
}

void set_regression(tv_node_t* node, size_t configuration, double intercept, double variance,
                    const std::vector<double>& coefficients) {
  demand(tv_node_set_intercept(node, configuration, intercept) == tv_status_none, "tv_node_set_intercept");
  demand(tv_node_set_conditional_variance(node, configuration, variance) == tv_status_none,
         "tv_node_set_conditional_variance");
  const std::vector<tv_node_t*> parents = continuous_parents(node);
  for (size_t i = 0; i < coefficients.size(); ++i)
    demand(tv_node_set_coefficient(node, parents[i], configuration, coefficients[i]) == tv_status_none,
           "tv_node_set_coefficient");
}

void set_random_regressions(Generator& random, tv_node_t* node, const CgShape& shape) {
  const size_t size = tv_table_get_size(tv_node_get_table(node));
  for (size_t i = 0; i < size; ++i) {
    double variance = random.chance(shape.zero_variance) ? 0 : 0.1 + 3 * random.uniform();
    if (shape.scale_exponents) variance *= std::pow(10, (2 * random.uniform() - 1) * shape.scale_exponents);
    std::vector<double> coefficients;
    for (size_t p = 0; p < continuous_parents(node).size(); ++p)
      coefficients.push_back(random_coefficient(random));
    set_regression(node, i, random.chance(0.2) ? 0 : 8 * random.uniform() - 4, variance, coefficients);
  }
}

DomainOwner random_cg_network(Generator& random, const CgShape& shape) {
  DomainOwner domain = new_domain();
  size_t continuous = 1 + random.below(shape.max_continuous), discrete = random.below(shape.max_discrete + 1);
  const double link_chance = random.chance(0.3) ? shape.link_chance / 3 : shape.link_chance;
  std::vector<tv_node_t*> nodes;
  size_t continuous_number = 0, discrete_number = 0;
  while (continuous + discrete > 0) {
    const bool is_continuous = random.below(continuous + discrete) < continuous;
    char name[24];
    tv_node_t* node;
    if (is_continuous) {
      --continuous;
      std::snprintf(name, sizeof name, "X%zu", ++continuous_number);
      node = add_continuous(domain.get(), name, 0, 1);
    } else {
      --discrete;
      std::snprintf(name, sizeof name, "D%zu", ++discrete_number);
      node = add_node(domain.get(), name, random.chance(0.1) ? 1 : 2 + random.below(shape.max_states - 1));
    }
    size_t parents = 0;
    for (tv_node_t* parent : nodes) {
      if (parents == 4 || (!is_continuous && !is_discrete(parent)) || !random.chance(link_chance)) continue;
      demand(tv_node_add_parent(node, parent) == tv_status_none, "tv_node_add_parent");
      ++parents;
    }
    nodes.push_back(node);
    if (is_continuous) {
      if (random.chance(0.95)) set_random_regressions(random, node, shape);
      continue;
    }
    const size_t states = tv_node_get_number_of_states(node);
    std::vector<float> data(tv_table_get_size(tv_node_get_table(node)));
    for (float& value : data)
      value = random.chance(shape.zero_weight) ? 0.0f : static_cast<float>(0.05 + random.uniform());
    for (size_t first = 0; first < data.size(); first += states) data[first + random.below(states)] += 0.25f;
    set_table(node, data);
  }
  return domain;
}

double normal_deviate(Generator& random) {
  return std::sqrt(-2 * std::log(1 - random.uniform())) * std::cos(6.283185307179586 * random.uniform());
}

std::vector<double> draw_case(Generator& random, tv_domain_t* domain) {
  const std::vector<tv_node_t*> nodes = nodes_of(domain);
  std::vector<double> values(nodes.size(), NAN);
  const auto value_of = [&](const tv_node_t* node) -> double& {
    return values[static_cast<size_t>(std::find(nodes.begin(), nodes.end(), node) - nodes.begin())];
  };
  for (size_t left = nodes.size(); left > 0;) {
    for (tv_node_t* node : nodes) {
      bool ready = std::isnan(value_of(node));
      size_t place = 0;
      for (tv_node_t** parent = tv_node_get_parents(node); *parent && ready; ++parent)
        ready = !std::isnan(value_of(*parent));
      if (!ready) continue;
      --left;
      tv_table_t* table = tv_node_get_table(node);
      for (tv_node_t** member = tv_table_get_nodes(table); *member && is_discrete(*member); ++member)
        place = place * tv_node_get_number_of_states(*member) +
                (*member == node ? 0 : static_cast<size_t>(value_of(*member)));
      if (is_discrete(node)) {
        const float* data = tv_table_get_data(table) + place;
        const size_t states = tv_node_get_number_of_states(node);
        double sum = 0;
        for (size_t s = 0; s < states; ++s) sum += static_cast<double>(data[s]);
        double rest = random.uniform() * sum;
        size_t state = 0;
        while (state + 1 < states && (rest -= static_cast<double>(data[state])) >= 0) ++state;
        while (data[state] == 0) --state;
        value_of(node) = static_cast<double>(state);
        continue;
      }
      double value = tv_node_get_intercept(node, place) +
                     std::sqrt(tv_node_get_conditional_variance(node, place)) * normal_deviate(random);
      for (tv_node_t* parent : continuous_parents(node))
        value += tv_node_get_coefficient(node, parent, place) * value_of(parent);
      value_of(node) = value;
    }
  }
  return values;
}

}  // namespace test

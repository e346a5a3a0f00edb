// Short ways to make networks with continuous nodes, random ones among them, and to draw cases from them.
#pragma once

#include "support/builders.h"

namespace test {

// A continuous chance node: one intercept and variance for all configurations, the coefficients in order.
struct Effect {
  tv_node_t* parent;
  double coefficient;
};
tv_node_t* add_continuous(tv_domain_t* domain, const char* name, double intercept, double variance,
                          std::initializer_list<Effect> effects = {},
                          std::initializer_list<tv_node_t*> discrete_parents = {});

// Sets one configuration of a continuous node; coefficients in the order of its continuous parents.
void set_regression(tv_node_t* node, size_t configuration, double intercept, double variance,
                    const std::vector<double>& coefficients = {});

struct CgShape {
  size_t max_continuous = 8;
  size_t max_discrete = 6;
  size_t max_states = 3;
  double link_chance = 0.4;
  double zero_variance = 0.15;  // how often a conditional variance is 0
  double zero_weight = 0.15;    // how often a probability is 0
  int scale_exponents = 0;      // variances reach from 10 to the minus this to 10 to this
};
DomainOwner random_cg_network(Generator& random, const CgShape& shape = {});
void set_random_regressions(Generator& random, tv_node_t* node, const CgShape& shape = {});

double normal_deviate(Generator& random);

// A case drawn from the network: by node, the oldest first, the state or the value.
std::vector<double> draw_case(Generator& random, tv_domain_t* domain);

}  // namespace test

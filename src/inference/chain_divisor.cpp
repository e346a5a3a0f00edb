// The normalising constants of a chain component, one for every configuration of its parents. The members are
// summed out one by one (Zhang and Poole 1994), in double and with the largest entry of each result near one;
// the powers of two that were taken out are counted.

#include "inference/chain_divisor.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "inference/engine.h"
#include "tables/kernels/number_bounds.h"

namespace tv {
namespace {

using Nodes = std::vector<const Node*>;

struct Potential {
  Nodes nodes;  // the last varies fastest
  std::vector<double> numbers;
};

Potential from_table(const Table& table) {
  return {{table.nodes.begin(), table.nodes.end()}, {table.data.begin(), table.data.end()}};
}

bool holds(const Nodes& nodes, const Node* node) noexcept {
  return std::find(nodes.begin(), nodes.end(), node) != nodes.end();
}

// Strides of a potential for the dimensions of a loop over `loop`; 0 where it lacks the node.
std::vector<size_t> strides_in(const Nodes& loop, const Nodes& nodes) {
  std::vector<size_t> strides(loop.size(), 0);
  size_t stride = 1;
  for (size_t i = nodes.size(); i-- > 0; stride *= nodes[i]->number_of_states)
    strides[static_cast<size_t>(std::find(loop.begin(), loop.end(), nodes[i]) - loop.begin())] = stride;
  return strides;
}

size_t size_of(const Nodes& nodes) noexcept {
  size_t size = 1;
  for (const Node* node : nodes) size = size_multiply(size, node->number_of_states);
  return size;
}

// Multiplies `factor` into `product`, whose nodes include its nodes.
void multiply(Potential& product, const Potential& factor) {
  const std::vector<size_t> strides = strides_in(product.nodes, factor.nodes);
  std::vector<size_t> states(product.nodes.size(), 0);
  size_t offset = 0;
  for (double& number : product.numbers) {
    number *= factor.numbers[offset];
    for (size_t d = states.size(); d-- > 0;) {
      offset += strides[d];
      if (++states[d] < product.nodes[d]->number_of_states) break;
      offset -= strides[d] * states[d];
      states[d] = 0;
    }
  }
}

class Elimination {
 public:
  void add(Potential potential) { potentials_.push_back(std::move(potential)); }

  // Sums the members out, the one that makes the smallest product first.
  void sum_out_all(Nodes members) {
    while (!members.empty()) {
      const auto next = std::min_element(
          members.begin(), members.end(),
          [this](const Node* a, const Node* b) { return size_of(family_of(a)) < size_of(family_of(b)); });
      sum_out(*next);
      members.erase(next);
    }
  }

  // The product of the remaining potentials, over `nodes`, to be multiplied by 2 to the power `exponent`.
  Potential product_over(Nodes nodes, long& exponent) const {
    Potential product = ones_over(std::move(nodes));
    for (const Potential& potential : potentials_) multiply(product, potential);
    exponent = exponent_;
    return product;
  }

 private:
  static Potential ones_over(Nodes nodes) {
    const size_t size = size_of(nodes);
    if (size == kHugeSize) throw std::bad_alloc();
    return {std::move(nodes), std::vector<double>(size, 1.0)};
  }

  // The nodes of all potentials that hold the node, itself last.
  Nodes family_of(const Node* node) const {
    Nodes family;
    for (const Potential& potential : potentials_)
      if (holds(potential.nodes, node))
        for (const Node* other : potential.nodes)
          if (other != node && !holds(family, other)) family.push_back(other);
    family.push_back(node);
    return family;
  }

  void sum_out(const Node* node) {
    Potential product = ones_over(family_of(node));
    for (const Potential& potential : potentials_)
      if (holds(potential.nodes, node)) multiply(product, potential);
    std::erase_if(potentials_, [&](const Potential& potential) { return holds(potential.nodes, node); });
    const size_t states = node->number_of_states;
    Potential sum{product.nodes, {}};
    sum.nodes.pop_back();
    for (size_t start = 0; start < product.numbers.size(); start += states) {
      double total = 0.0;
      for (size_t state = 0; state < states; ++state) total += product.numbers[start + state];
      sum.numbers.push_back(total);
    }
    take_out_power(sum);
    potentials_.push_back(std::move(sum));
  }

  void take_out_power(Potential& potential) {
    const double largest = *std::max_element(potential.numbers.begin(), potential.numbers.end());
    if (!(largest > 0.0)) return;
    const int power = std::ilogb(largest);
    for (double& number : potential.numbers) number = std::ldexp(number, -power);
    exponent_ += power;
  }

  std::vector<Potential> potentials_;
  long exponent_ = 0;
};

bool has_valid_numbers(const Table& table) noexcept {
  return std::all_of(table.data.begin(), table.data.end(), [](tv_number_t number) {
    return number >= 0 && static_cast<double>(number) < kLargestFloat;
  });
}

// A component whose parents have a configuration that makes all its own impossible has no distribution.
tv_status_t store_inverse(ChainComponent& component, const Potential& sums, long exponent) {
  const double smallest = *std::min_element(sums.numbers.begin(), sums.numbers.end());
  if (!(smallest > 0.0)) return tv_status_chain_graph;
  const int power = std::ilogb(smallest);
  const double numerator = std::ldexp(1.0, power);  // so that no quotient exceeds one
  Block<tv_number_t> inverse;
  inverse.allocate_uninitialized(sums.numbers.size());
  for (size_t i = 0; i < sums.numbers.size(); ++i)
    inverse[i] = static_cast<tv_number_t>(numerator / sums.numbers[i]);
  component.divisor->data = std::move(inverse);
  component.exponent = -(exponent + power);
  return tv_status_none;
}

// The numbers of a chain potential scaled by a power of two, so that products of several do not leave the
// range of floats. The divisor is made for the scaled numbers, which undoes it.
void scale_group(const Table& group, Table& scaled) {
  Block<tv_number_t> data;
  data.allocate_uninitialized(group.data.size());
  const tv_number_t largest = *std::max_element(group.data.begin(), group.data.end());
  const int power = largest > 0 ? std::ilogb(largest) : 0;
  std::transform(group.data.begin(), group.data.end(), data.begin(),
                 [power](tv_number_t number) { return std::ldexp(number, -power); });
  scaled.data = std::move(data);
}

tv_status_t compute_divisor(ChainComponent& component) {
  Elimination elimination;
  for (const ChainComponent::Group& group : component.groups) {
    if (!has_valid_numbers(*group.table)) return tv_status_invalid_probability_potential;
    scale_group(*group.table, *group.scaled);
    elimination.add(from_table(*group.scaled));
  }
  for (const Node* member : component.members) {
    if (member->table) {
      elimination.add(from_table(*member->table));
    } else {
      const size_t states = member->number_of_states;
      elimination.add({{member}, std::vector<double>(states, 1.0 / static_cast<double>(states))});
    }
  }
  elimination.sum_out_all({component.members.begin(), component.members.end()});
  long exponent = 0;
  const NodeList& parents = component.parents;
  const Potential sums = elimination.product_over({parents.begin(), parents.end()}, exponent);
  return store_inverse(component, sums, exponent);
}

}  // namespace

tv_status_t compute_chain_divisors(Forest& forest, const JunctionTree& tree) {
  long exponent = 0;
  for (ChainComponent& component : forest.components) {
    if (component.tree != &tree) continue;
    if (tv_status_t status = compute_divisor(component)) return status;
    exponent += component.exponent;
    component.tree->potential_exponent = exponent;
  }
  return tv_status_none;
}

}  // namespace tv

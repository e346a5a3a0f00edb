// Decision models for tests: short ways to build them, random ones, and their answers by definition, from
// every configuration of all nodes in nested loops. Tables are read as they are after compilation.
#pragma once

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <vector>

#include "support/builders.h"

namespace test {

inline tv_node_t* add_special(tv_domain_t* domain, tv_node_category_t category, const char* name,
                              size_t states, const std::vector<tv_node_t*>& parents,
                              const std::vector<float>& data = {}) {
  tv_node_t* node = tv_domain_new_node(domain, category, tv_kind_discrete);
  if (name) tv_node_set_name(node, name);
  if (category != tv_category_utility) tv_node_set_number_of_states(node, states);
  for (size_t i = parents.size(); i-- > 0;) tv_node_add_parent(node, parents[i]);
  if (!data.empty()) set_table(node, data);
  return node;
}

inline tv_node_t* add_decision(tv_domain_t* domain, const char* name, size_t states,
                               const std::vector<tv_node_t*>& parents, const std::vector<float>& data = {}) {
  return add_special(domain, tv_category_decision, name, states, parents, data);
}

inline tv_node_t* add_utility(tv_domain_t* domain, const char* name, const std::vector<tv_node_t*>& parents,
                              const std::vector<float>& data = {}) {
  return add_special(domain, tv_category_utility, name, 0, parents, data);
}

inline std::vector<float> numbers_of(tv_node_t* node) {
  tv_table_t* table = tv_node_get_table(node);
  const float* data = tv_table_get_data(table);
  return {data, data + tv_table_get_size(table)};
}

inline bool has_category(const tv_node_t* node, tv_node_category_t category) {
  return tv_node_get_category(node) == category;
}

inline std::vector<tv_node_t*> nodes_with(const tv_domain_t* domain, tv_node_category_t category) {
  std::vector<tv_node_t*> found;
  for (tv_node_t* node : nodes_of(domain))
    if (has_category(node, category)) found.push_back(node);
  return found;
}

// ---- Random models ----

struct LimidShape {
  size_t nodes = 8, max_joint = 1500, max_states = 3, max_parents = 3;
  double decision_chance = 0.3, utility_chance = 0.25;
  bool wild_utilities = true;  // of very different size
};

inline float random_utility(Generator& random, bool wild) {
  const double value = 20 * random.uniform() - 10;
  if (!wild || random.chance(0.8)) return static_cast<float>(value);
  return static_cast<float>(random.chance(0.3) ? 0 : random.chance(0.5) ? 1e4 * value : 1e-3 * value);
}

inline void fill_table(Generator& random, tv_node_t* node, bool wild) {
  std::vector<float> numbers = numbers_of(node);
  if (has_category(node, tv_category_utility)) {
    for (float& number : numbers) number = random_utility(random, wild);
  } else {
    const size_t states = tv_node_get_number_of_states(node);
    for (size_t i = 0; i < numbers.size(); i += states) {
      for (size_t s = 0; s < states; ++s)
        numbers[i + s] = random.chance(0.15) ? 0 : static_cast<float>(0.05 + random.uniform());
      numbers[i + random.below(states)] = 1;  // some state is possible
    }
  }
  set_table(node, numbers);
}

inline DomainOwner random_limid(Generator& random, const LimidShape& shape = {}) {
  DomainOwner domain = new_domain();
  std::vector<tv_node_t*> nodes;
  size_t joint = 1;
  for (size_t i = 0; i < shape.nodes; ++i) {
    const double kind = random.uniform();
    const bool is_utility = i > 0 && kind < shape.utility_chance;
    const bool is_decision = !is_utility && kind < shape.utility_chance + shape.decision_chance;
    const size_t states = random.chance(0.05) ? 1 : 2 + random.below(shape.max_states - 1);
    if (!is_utility && joint * states > shape.max_joint) break;
    std::vector<tv_node_t*> parents;
    for (tv_node_t* node : nodes)
      if (!has_category(node, tv_category_utility) && parents.size() < shape.max_parents &&
          random.chance(0.4))
        parents.push_back(node);
    tv_node_t* node = add_special(domain.get(),
                                  is_utility    ? tv_category_utility
                                  : is_decision ? tv_category_decision
                                                : tv_category_chance,
                                  nullptr, states, parents);
    if (!is_utility) joint *= states;
    nodes.push_back(node);
    if (!is_decision || random.chance(0.3)) fill_table(random, node, shape.wild_utilities);
  }
  return domain;
}

// ---- Answers by definition ----

class LimidOracle {
 public:
  using Evidence = std::map<const tv_node_t*, std::vector<double>>;  // nodes without an entry are unknown
  using Given = std::map<const tv_node_t*, size_t>;

  // A state for each node but the utility nodes.
  class States {
   public:
    explicit States(const std::map<const tv_node_t*, size_t>& places)
        : places_(places), states_(places.size()) {}
    size_t at(const tv_node_t* node) const { return states_[places_.at(node)]; }
    size_t& operator[](size_t place) { return states_[place]; }
    size_t operator[](size_t place) const { return states_[place]; }

   private:
    const std::map<const tv_node_t*, size_t>& places_;
    std::vector<size_t> states_;
  };

  explicit LimidOracle(tv_domain_t* domain) {
    for (tv_node_t* node : nodes_of(domain))
      (has_category(node, tv_category_utility) ? utilities_ : variables_).push_back(node);
    for (tv_node_t* node : variables_) places_.emplace(node, places_.size());
    for (tv_node_t* node : nodes_of(domain)) {
      Numbers& numbers = tables_[node];
      for (tv_node_t** member = tv_table_get_nodes(tv_node_get_table(node)); *member; ++member)
        numbers.members.emplace_back(places_.at(*member), tv_node_get_number_of_states(*member));
      numbers.data = numbers_of(node);
    }
  }

  const std::vector<tv_node_t*>& variables() const { return variables_; }
  const std::vector<tv_node_t*>& utilities() const { return utilities_; }
  void refresh(tv_node_t* node) { tables_[node].data = numbers_of(node); }

  Evidence entered() const {
    Evidence evidence;
    for (tv_node_t* node : variables_)
      if (tv_node_evidence_is_entered(node) == 1)
        for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s)
          evidence[node].push_back(tv_node_get_entered_finding(node, s));
    return evidence;
  }

  // Calls visit(states, weight) for each configuration that is possible given the evidence. The evidence on
  // `without` is left out.
  template <class Visit>
  void each(const Evidence& evidence, const tv_node_t* without, Visit visit) const {
    States states(places_);
    std::vector<const Numbers*> factors;
    for (const tv_node_t* node : variables_)
      if (!policy_is_replaced(evidence, node)) factors.push_back(&tables_.at(node));
    const std::function<void(size_t, double)> walk = [&](size_t i, double weight) {
      if (i == variables_.size()) {
        for (const Numbers* factor : factors) weight *= factor->entry(states);
        if (weight > 0) visit(states, weight);
        return;
      }
      const tv_node_t* node = variables_[i];
      const auto finding = node == without ? evidence.end() : evidence.find(node);
      for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s) {
        states[i] = s;
        const double factor = finding == evidence.end() ? 1 : finding->second[s];
        if (factor > 0) walk(i + 1, weight * factor);
      }
    };
    walk(0, 1);
  }

  double utility(const tv_node_t* node, const States& states) const { return tables_.at(node).entry(states); }

  // Of all utility nodes that `counts` accepts, given the states of some nodes; 0 if they are impossible.
  double expectation(const Evidence& evidence, const tv_node_t* without, const Given& given,
                     const std::function<bool(const tv_node_t*)>& counts) const {
    double mass = 0, sum = 0;
    each(evidence, without, [&](const States& states, double weight) {
      for (const auto& [node, state] : given)
        if (states.at(node) != state) return;
      mass += weight;
      for (const tv_node_t* node : utilities_)
        if (counts(node)) sum += weight * utility(node, states);
    });
    return mass > 0 ? sum / mass : 0;
  }
  double expected_utility(const Evidence& evidence) const {
    return expectation(evidence, nullptr, {}, [](const tv_node_t*) { return true; });
  }

  double mass(const Evidence& evidence) const {
    double mass = 0;
    each(evidence, nullptr, [&](const States&, double weight) { mass += weight; });
    return mass;
  }

  // The sum of |weight * utility| relative to the mass: what rounding errors are measured by.
  double magnitude(const Evidence& evidence) const {
    double mass = 0, sum = 0;
    each(evidence, nullptr, [&](const States& states, double weight) {
      mass += weight;
      for (const tv_node_t* node : utilities_) sum += weight * std::abs(utility(node, states));
    });
    return mass > 0 ? sum / mass : 0;
  }

 private:
  static bool policy_is_replaced(const Evidence& evidence, const tv_node_t* node) {
    return has_category(node, tv_category_decision) && evidence.count(node);
  }

  struct Numbers {
    std::vector<std::pair<size_t, size_t>> members;  // place and number of states
    std::vector<float> data;
    double entry(const States& states) const {
      size_t index = 0;
      for (const auto& [place, count] : members) index = index * count + states[place];
      return data[index];
    }
  };

  std::vector<tv_node_t*> variables_, utilities_;
  std::map<const tv_node_t*, size_t> places_;  // among the variables
  std::map<const tv_node_t*, Numbers> tables_;
};

// The largest expected utility over all deterministic policies of the decisions that are not made.
inline double best_over_all_policies(tv_domain_t* domain, const LimidOracle::Evidence& evidence = {}) {
  LimidOracle oracle(domain);
  std::vector<tv_node_t*> decisions;
  std::vector<std::vector<float>> kept;
  for (tv_node_t* node : nodes_with(domain, tv_category_decision)) {
    kept.push_back(numbers_of(node));
    decisions.push_back(node);
  }
  double best = -HUGE_VAL;
  const std::function<void(size_t)> choose = [&](size_t d) {
    if (d == decisions.size()) {
      best = std::max(best, oracle.expected_utility(evidence));
      return;
    }
    if (evidence.count(decisions[d])) return choose(d + 1);
    const size_t states = tv_node_get_number_of_states(decisions[d]);
    std::vector<size_t> choice(kept[d].size() / states, 0);
    for (;;) {
      std::vector<float> policy(kept[d].size(), 0);
      for (size_t c = 0; c < choice.size(); ++c) policy[c * states + choice[c]] = 1;
      std::copy(policy.begin(), policy.end(), tv_table_get_data(tv_node_get_table(decisions[d])));
      oracle.refresh(decisions[d]);
      choose(d + 1);
      size_t c = 0;
      while (c < choice.size() && ++choice[c] == states) choice[c++] = 0;
      if (c == choice.size()) return;
    }
  };
  choose(0);
  for (size_t d = 0; d < decisions.size(); ++d)
    std::copy(kept[d].begin(), kept[d].end(), tv_table_get_data(tv_node_get_table(decisions[d])));
  return best;
}

inline double number_of_policies(tv_domain_t* domain) {
  double count = 1;
  for (tv_node_t* node : nodes_with(domain, tv_category_decision)) {
    const double states = static_cast<double>(tv_node_get_number_of_states(node));
    count *= std::pow(states, static_cast<double>(numbers_of(node).size()) / states);
  }
  return count;
}

}  // namespace test

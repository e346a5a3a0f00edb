#include "support/builders.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace test {
namespace {

// A builder that does not get what it asks for makes every later answer worthless.
void demand(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "test network: %s failed with %s\n", what, tv_error_name(tv_error_code()));
  std::abort();
}

float random_value(Generator& random, Values values) {
  static const std::vector<float> zeros{0.0f, 0.0f, 1.0f, 0.5f, 0.1f};
  static const std::vector<float> extreme{0.0f, 1.0f, 0.5f, 1e-30f, 0.1f};
  if (values == Values::positive || random.chance(0.5))
    return static_cast<float>(0.05 + 0.95 * random.uniform());
  return random.pick(values == Values::zeros ? zeros : extreme);
}

}  // namespace

DomainOwner new_domain() {
  DomainOwner domain(tv_new_domain());
  demand(domain != nullptr, "tv_new_domain");
  return domain;
}

tv_node_t* add_node(tv_domain_t* domain, const char* name, size_t states,
                    std::initializer_list<tv_node_t*> parents, const std::vector<float>& data) {
  tv_node_t* node = tv_domain_new_node(domain, tv_category_chance, tv_kind_discrete);
  demand(node != nullptr, "tv_domain_new_node");
  if (name) demand(tv_node_set_name(node, name) == tv_status_none, "tv_node_set_name");
  demand(tv_node_set_number_of_states(node, states) == tv_status_none, "tv_node_set_number_of_states");
  // Each new parent becomes the slowest dimension, so the last one goes in first.
  for (size_t i = parents.size(); i-- > 0;)
    demand(tv_node_add_parent(node, parents.begin()[i]) == tv_status_none, "tv_node_add_parent");
  if (!data.empty()) set_table(node, data);
  return node;
}

void set_table(tv_node_t* node, const std::vector<float>& data) {
  tv_table_t* table = tv_node_get_table(node);
  demand(table && tv_table_get_size(table) == data.size(), "tv_node_get_table");
  std::copy(data.begin(), data.end(), tv_table_get_data(table));
  demand(tv_node_touch_table(node) == tv_status_none, "tv_node_touch_table");
}

std::vector<tv_node_t*> nodes_of(const tv_domain_t* domain) {
  std::vector<tv_node_t*> nodes;
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node))
    nodes.push_back(node);
  std::reverse(nodes.begin(), nodes.end());
  return nodes;
}

size_t count_nodes(tv_node_t* const* list) {
  size_t count = 0;
  while (list[count]) ++count;
  return count;
}

uint64_t Generator::next() {
  uint64_t z = (state_ += 0x9e3779b97f4a7c15u);
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  return z ^ (z >> 31);
}

DomainOwner random_network(Generator& random, Values values, const NetworkShape& shape) {
  DomainOwner domain = new_domain();
  const size_t wanted = 1 + random.below(shape.max_nodes);
  const double link_chance = random.chance(0.3) ? shape.link_chance / 3 : shape.link_chance;
  std::vector<tv_node_t*> nodes;
  size_t joint = 1;
  while (nodes.size() < wanted) {
    size_t states = random.chance(0.1) ? 1 : 2 + random.below(shape.max_states - 1);
    while (joint * states > shape.max_joint) --states;
    joint *= states;
    tv_node_t* node = add_node(domain.get(), nullptr, states);
    for (tv_node_t* parent : nodes)
      if (count_nodes(tv_node_get_parents(node)) < shape.max_parents && random.chance(link_chance))
        demand(tv_node_add_parent(node, parent) == tv_status_none, "tv_node_add_parent");
    if (random.chance(0.95)) set_random_table(random, node, values);
    nodes.push_back(node);
  }
  return domain;
}

void set_random_table(Generator& random, tv_node_t* node, Values values) {
  const size_t states = tv_node_get_number_of_states(node);
  std::vector<float> data(tv_table_get_size(tv_node_get_table(node)));
  for (size_t first = 0; first < data.size(); first += states) {
    float sum = 0;
    while (!(sum > 0)) {  // a distribution of zeros alone is refused
      const float scale = static_cast<float>(0.3 + 2 * random.uniform());
      for (size_t i = first; i < first + states; ++i) sum += data[i] = scale * random_value(random, values);
    }
  }
  set_table(node, data);
}

void enter_findings(tv_node_t* node, const std::vector<float>& findings) {
  for (size_t state = 0; state < findings.size(); ++state)
    demand(tv_node_enter_finding(node, state, findings[state]) == tv_status_none, "tv_node_enter_finding");
}

void change_evidence(Generator& random, tv_node_t* node, Findings findings) {
  const size_t states = tv_node_get_number_of_states(node);
  std::vector<float> vector(states);
  const double kind = random.uniform();
  if (kind < 0.25) {
    demand(tv_node_retract_findings(node) == tv_status_none, "tv_node_retract_findings");
  } else if (findings == Findings::hard || (findings == Findings::any && kind < 0.55)) {
    demand(tv_node_select_state(node, random.below(states)) == tv_status_none, "tv_node_select_state");
  } else if (findings == Findings::positive || kind < 0.75) {
    for (float& value : vector) value = static_cast<float>(0.1 + 2 * random.uniform());
    enter_findings(node, vector);
  } else if (kind < 0.95) {
    static const std::vector<float> values{0.0f, 1.0f, 1.0f, 0.5f, 0.1f, 3.0f};
    for (float& value : vector) value = random.pick(values);
    if (*std::max_element(vector.begin(), vector.end()) == 0.0f) vector[random.below(states)] = 1.0f;
    enter_findings(node, vector);
  } else {  // one entry of whatever is there; this is how vectors of zeros arise
    const float value = random.chance(0.5) ? 0.0f : 1.0f;
    demand(tv_node_enter_finding(node, random.below(states), value) == tv_status_none,
           "tv_node_enter_finding");
  }
}

}  // namespace test

// Learning from one observation after the other: propagated evidence goes into the distributions of the
// nodes, and out of them again.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <numeric>

#include "api/boundary.h"
#include "expr/table_generator.h"
#include "inference/answers/joint_marginal.h"
#include "inference/answers/queries.h"
#include "inference/evidence/evidence.h"
#include "inference/reset.h"
#include "learn/dirichlet.h"
#include "learn/families.h"
#include "network/node_operations.h"
#include "network/refusals.h"

namespace tv {
namespace {

// What the tables of a node will hold.
struct Revision {
  Node* node;
  std::vector<tv_number_t> numbers, experience;
};

// One configuration of the parents of a node, which the evidence has made possible.
struct Situation {
  const Node& node;
  size_t configuration;
  tv_number_t fading;
  const std::vector<double>& posteriors;  // of the configuration with each state
};

double sum_of(const tv_number_t* numbers, size_t count) noexcept {
  return std::accumulate(numbers, numbers + count, 0.0);
}

std::vector<double> shares(const tv_number_t* numbers, size_t count, double sum) {
  std::vector<double> result(count);
  for (size_t i = 0; i < count; ++i) result[i] = static_cast<double>(numbers[i]) / sum;
  return result;
}

// Changes the distribution and the experience of one configuration by revise(situation, belief).
template <class Revise>
tv_status_t revise_configuration(const Situation& situation, Revise revise, tv_number_t* numbers,
                                 tv_number_t& experience) {
  const size_t states = situation.node.number_of_states;
  const double sum = sum_of(numbers, states);
  if (!(experience > 0) || !(sum > 0.0)) return tv_status_none;
  if (std::isinf(experience))
    return refuse(tv_status_usage, "the experience of node \"%s\" in configuration %zu is infinite",
                  shown_name(situation.node), situation.configuration);
  Dirichlet belief{shares(numbers, states, sum), static_cast<double>(experience)};
  if (tv_status_t status = revise(situation, belief)) return status;
  for (size_t s = 0; s < states; ++s) numbers[s] = static_cast<tv_number_t>(belief.means[s]);
  // What has been learned never comes to look like what is not to be learned.
  experience = static_cast<tv_number_t>(
      std::clamp(belief.experience, static_cast<double>(FLT_MIN), static_cast<double>(FLT_MAX)));
  return tv_status_none;
}

template <class Revise>
tv_status_t revise_configurations(const Table& table, const Table& marginal, Revise revise,
                                  Revision& result) {
  const Node& node = *result.node;
  const size_t states = node.number_of_states;
  const std::vector<size_t> places = places_of_configurations(table, *node.experience_table);
  std::vector<size_t> fading_places;
  if (node.fading_table && has_data(*node.fading_table))
    fading_places = places_of_configurations(table, *node.fading_table);
  const double total = sum_of(marginal.data.data(), marginal.size);
  for (size_t c = 0; c < places.size(); ++c) {
    const tv_number_t* const row = marginal.data.data() + c * states;
    if (!(sum_of(row, states) > 0.0)) continue;
    const std::vector<double> posteriors = shares(row, states, total);
    const tv_number_t fading = fading_places.empty() ? 1 : node.fading_table->data[fading_places[c]];
    const Situation situation{node, c, fading, posteriors};
    if (tv_status_t status = revise_configuration(situation, revise, result.numbers.data() + c * states,
                                                  result.experience[places[c]]))
      return status;
  }
  return tv_status_none;
}

bool has_certain_entry(const Table& table) noexcept {
  return std::count_if(table.data.begin(), table.data.end(), [](tv_number_t p) { return p > 0; }) == 1;
}

template <class Revise>
tv_status_t revise_node(Node& node, bool must_be_certain, Revise revise, std::vector<Revision>& revisions) {
  const Table* const table = filled_node_table(node);
  if (!table) return store_status(tv_status_no_memory);
  const std::unique_ptr<Table> marginal = joint_marginal(own_state(*node.domain), table->nodes);
  if (!marginal) return current_status();
  if (must_be_certain && !has_certain_entry(*marginal))
    return refuse(tv_status_usage, "the evidence leaves open in which states node \"%s\" and its parents are",
                  shown_name(node));
  const Table& experience = *node.experience_table;
  if (!has_data(experience)) return tv_status_none;  // all zeros
  revisions.push_back(
      {&node, {table->data.begin(), table->data.end()}, {experience.data.begin(), experience.data.end()}});
  return revise_configurations(*table, *marginal, revise, revisions.back());
}

void commit(const Revision& revision) noexcept {
  Node& node = *revision.node;
  std::copy(revision.experience.begin(), revision.experience.end(), node.experience_table->data.begin());
  if (std::equal(revision.numbers.begin(), revision.numbers.end(), node.table->data.begin())) return;
  std::copy(revision.numbers.begin(), revision.numbers.end(), node.table->data.begin());
  _tv_node_touch_table(node);
}

bool takes_part(const Node& node) noexcept {
  return node.category == tv_category_chance && is_discrete(node) && node.experience_table;
}

tv_status_t check_state(const Domain& domain) {
  const auto is_unfit = [](const TreeEngine& engine) {
    return !holds_marginals(engine) || engine.tables_touched || tree_has_evidence_to_propagate(engine);
  };
  if (any_tree(domain, is_unfit))
    return refuse(tv_status_usage,
                  "an observation is learned from when it is propagated, by sums, with the present tables");
  return tv_status_none;
}

// The nodes that take part.
tv_status_t collect_nodes(Domain& domain, std::vector<Node*>& nodes) {
  for (Node& node : domain.nodes) {
    if (!takes_part(node)) continue;
    if (node.model && depends_on_results(node))
      return refuse(tv_status_usage,
                    "the table of node \"%s\" depends on results, so that it cannot be learned",
                    shown_name(node));
    nodes.push_back(&node);
  }
  if (nodes.empty()) return refuse(tv_status_usage, "no discrete chance node has an experience table");
  return tv_status_none;
}

// Everything is read from the propagated state before the first table changes.
template <class Revise>
tv_status_t revise_domain(Domain* domain, bool must_be_certain, Revise revise) {
  if (!check_compiled(domain)) return current_status();
  if (tv_status_t status = check_state(*domain)) return status;
  std::vector<Node*> nodes;
  if (tv_status_t status = collect_nodes(*domain, nodes)) return status;
  std::vector<Revision> revisions;
  for (Node* node : nodes)
    if (tv_status_t status = revise_node(*node, must_be_certain, revise, revisions)) return status;
  for (const Revision& revision : revisions) commit(revision);
  return tv_status_none;
}

// Takes the observation in; older experience counts less as far as the configuration was observed.
tv_status_t take_in(const Situation& situation, Dirichlet& belief) {
  const double fading = static_cast<double>(situation.fading);
  if (!(fading > 0.0 && fading <= 1.0))
    return refuse(tv_status_usage,
                  "the fading factor of node \"%s\" in configuration %zu is not above 0 and at most 1",
                  shown_name(situation.node), situation.configuration);
  const std::vector<double>& posteriors = situation.posteriors;
  const double certainty = std::min(1.0, std::accumulate(posteriors.begin(), posteriors.end(), 0.0));
  belief.experience *= 1.0 - certainty + certainty * fading;
  observe(belief, posteriors);
  return tv_status_none;
}

tv_status_t take_out(const Situation& situation, Dirichlet& belief) {
  const auto observed = std::max_element(situation.posteriors.begin(), situation.posteriors.end());
  if (!(belief.experience > 1.0))
    return refuse(tv_status_usage,
                  "node \"%s\" has no experience left in configuration %zu without the observation",
                  shown_name(situation.node), situation.configuration);
  if (!take_back(belief, static_cast<size_t>(observed - situation.posteriors.begin())))
    return refuse(tv_status_usage,
                  "the distribution of node \"%s\" in configuration %zu does not rest on the observation",
                  shown_name(situation.node), situation.configuration);
  return tv_status_none;
}

}  // namespace
}  // namespace tv

tv_status_t tv_domain_adapt(tv_domain_t* domain) {
  return tv::guarded([&] { return tv::revise_domain(domain, false, tv::take_in); });
}

tv_status_t tv_domain_unlearn(tv_domain_t* domain) {
  return tv::guarded([&] { return tv::revise_domain(domain, true, tv::take_out); });
}

// Drawing one configuration, and reading it.
#include <utility>

#include "analysis/simulation/sampled_results.h"
#include "analysis/simulation/sampler.h"
#include "api/boundary.h"
#include "inference/answers/queries.h"
#include "network/refusals.h"

namespace tv {
namespace {

// Puts a configuration into the domain, and takes it back unless it is kept.
class Trial {
 public:
  Trial(Domain& domain, Sample& sample) noexcept : domain_(domain), sample_(sample) { swap(); }
  ~Trial() {
    if (!is_kept_) swap();
  }
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;
  void keep() noexcept { is_kept_ = true; }

 private:
  void swap() noexcept { std::swap(domain_.sample, sample_); }

  Domain& domain_;
  Sample& sample_;
  bool is_kept_ = false;
};

tv_status_t simulate(Domain& domain) {
  std::shared_ptr<Sampler> sampler;
  if (tv_status_t status = find_sampler(domain, false, sampler)) return status;
  Sample sample;
  sample.states.resize(domain.node_count);
  sample.values.resize(domain.node_count);
  sample.has_value.resize(domain.node_count);
  for (const Node& node : domain.nodes) sample.has_value[node.number - 1] = is_continuous(node);
  RandomGenerator random = domain.random;
  sampler->draw(sample.states.data(), sample.values.data(), random);
  Trial trial(domain, sample);
  if (tv_status_t status = evaluate_sampled_nodes(domain)) return status;
  domain.random = random;
  trial.keep();
  return tv_status_none;
}

// The node to be read, of a domain that has a configuration; null after a failed check, which is stored.
const Node* sampled_node(const Node* node) noexcept {
  const Node& source = answering_node(*node);
  if (!source.domain->sample.empty()) return &source;
  refuse(tv_status_no_value, "nothing has been drawn since the network last changed");
  return nullptr;
}

double sampled_value(const Node& node) noexcept {
  const Sample& sample = node.domain->sample;
  if (!require(sample.has_value[node.number - 1], tv_status_no_value)) return -1.0;
  return sample.values[node.number - 1];
}

bool stands_for_number(const Node& node) noexcept {
  if (is_discrete(node)) return node.subtype == tv_subtype_number || node.subtype == tv_subtype_interval;
  return is_continuous(node) || is_real_valued_function(node);
}

}  // namespace
}  // namespace tv

tv_status_t tv_domain_simulate(tv_domain_t* domain) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain)) return tv_status_usage;
    return tv::simulate(*domain);
  });
}

size_t tv_node_get_sampled_state(const tv_node_t* node) {
  if (!tv::check(tv::is_discrete_node(node))) return tv::refuse_for_kind(node, "a discrete one"), tv::kNone;
  const tv::Node* const source = tv::sampled_node(node);
  return source ? source->domain->sample.states[source->number - 1] : tv::kNone;
}

double tv_node_get_sampled_value(const tv_node_t* node) {
  if (!tv::check(node && tv::stands_for_number(*node)))
    return tv::refuse_for_kind(node, "one that stands for a number"), -1.0;
  const tv::Node* const source = tv::sampled_node(node);
  if (!source) return -1.0;
  if (!tv::is_discrete(*source)) return tv::sampled_value(*source);
  double number = -1.0;
  const size_t state = source->domain->sample.states[source->number - 1];
  const tv_status_t status = tv::number_of_state(*source, state, number);
  return tv::require(status == tv_status_none, status) ? number : -1.0;
}

double tv_node_get_sampled_utility(const tv_node_t* node) {
  if (!tv::check(node && node->category == tv_category_utility))
    return tv::refuse_for_kind(node, "a utility node"), -1.0;
  const tv::Node* const source = tv::sampled_node(node);
  return source ? tv::sampled_value(*source) : -1.0;
}

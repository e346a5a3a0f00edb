// Bounds for configurations of some nodes by propagating the states that have been assigned.
#include <cmath>

#include "analysis/configurations/subset_search.h"
#include "analysis/evidence_query.h"
#include "inference/evidence/evidence.h"

namespace tv {
namespace {

class QueryBounds final : public ConfigurationBounds {
 public:
  QueryBounds(Domain& domain, std::vector<const Node*> nodes)
      : query_(domain, "finding configurations"), nodes_(std::move(nodes)) {}

  tv_status_t start() {
    if (tv_status_t status = query_.start()) return status;
    query_.enter_all();
    if (tv_status_t status = query_.propagate()) return status;
    log_constant_ = query_.log_probability();
    return tv_status_none;
  }

  const std::vector<const Node*>& nodes() const noexcept override { return nodes_; }

  tv_status_t bound(size_t depth, std::vector<double>& log_bounds) override {
    if (tv_status_t status = query_.propagate()) return status;
    double log_share = query_.log_probability() - log_constant_;
    for (const double log_likelihood : log_likelihoods_) log_share += log_likelihood;
    log_bounds.clear();
    for (const double share : query_.distribution(*nodes_[depth]))
      log_bounds.push_back(log_share + std::log(share));
    return tv_status_none;
  }

  // The state stands in the place of what is known of the node, whose weight is kept apart.
  tv_status_t assign(size_t depth, size_t state) override {
    Node& node = const_cast<Node&>(*nodes_[depth]);
    log_likelihoods_.push_back(std::log(static_cast<double>(entered_finding(node, state))));
    query_.suppose(node, state);
    return tv_status_none;
  }

  void unassign(size_t depth) override {
    log_likelihoods_.pop_back();
    query_.drop_supposition(const_cast<Node&>(*nodes_[depth]));
  }

 private:
  EvidenceQuery query_;
  const std::vector<const Node*> nodes_;
  double log_constant_ = 0.0;
  std::vector<double> log_likelihoods_;  // by depth, of the states assigned
};

}  // namespace

std::unique_ptr<ConfigurationBounds> make_query_bounds(Domain& domain,
                                                       const std::vector<const Node*>& nodes) {
  auto bounds = std::make_unique<QueryBounds>(domain, nodes);
  if (bounds->start()) return nullptr;
  return bounds;
}

}  // namespace tv

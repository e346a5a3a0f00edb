#include "predict/prediction_model.h"

#include "api/boundary.h"
#include "learn/case_groups.h"
#include "net/case_values.h"
#include "network/domain.h"
#include "network/node_operations.h"
#include "network/refusals.h"

namespace tv {
namespace {

tv_status_t add_target(Node& node, PredictionModel& model) {
  if (node.domain != model.domain || !can_have_findings(node))
    return refuse(tv_status_usage, "node \"%s\" cannot be predicted: it is %s", shown_name(node),
                  node.domain == model.domain ? "neither discrete nor continuous" : "of another domain");
  const uint32_t column = model.column_of[node.number - 1];
  if (model.target_of[column] != PredictionModel::kNoTarget)
    return refuse(tv_status_twice, "node \"%s\" is to be predicted twice", shown_name(node));
  model.target_of[column] = static_cast<uint32_t>(model.targets.size());
  model.targets.push_back({&node, column, is_discrete(node) ? node.number_of_states : 2});
  return tv_status_none;
}

}  // namespace

tv_status_t make_prediction_model(Domain& domain, Node* const* targets, PredictionModel& model) {
  model.domain = &domain;
  if (tv_status_t status = collect_families(domain, model.families)) return status;
  model.column_of.assign(domain.node_count, PredictionModel::kNoTarget);
  model.target_of.assign(model.families.size(), PredictionModel::kNoTarget);
  for (uint32_t f = 0; f < model.families.size(); ++f) {
    model.families[f].is_learned = false;
    model.column_of[model.families[f].node->number - 1] = f;
    model.has_continuous |= is_continuous(*model.families[f].node);
  }
  for (; *targets; ++targets)
    if (tv_status_t status = add_target(**targets, model)) return status;
  if (model.targets.empty()) return refuse(tv_status_usage, "there is no node to be predicted");
  model.can_be_grouped = can_be_grouped(domain, model.families);
  return tv_status_none;
}

}  // namespace tv

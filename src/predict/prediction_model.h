// What all predictions of a batch share: the families of the network and the nodes to be predicted.
#pragma once

#include "learn/families.h"

namespace tv {

struct PredictionTarget {
  Node* node;
  uint32_t column;
  size_t size;  // numbers of an answer: the distribution, or mean and variance
};

struct PredictionModel {
  static constexpr uint32_t kNoTarget = static_cast<uint32_t>(-1);

  Domain* domain = nullptr;
  std::vector<Family> families;           // their positions are the columns of rows
  std::vector<PredictionTarget> targets;  // as they were asked for
  std::vector<uint32_t> target_of;        // by column
  std::vector<uint32_t> column_of;        // by number of the node less one
  bool has_continuous = false;
  bool can_be_grouped = false;  // see GroupPredictor

  size_t columns() const noexcept { return families.size(); }
};

// Of a domain that queries can be made of. Refuses targets that no row can observe, and such that are there
// twice.
tv_status_t make_prediction_model(Domain& domain, Node* const* targets, PredictionModel& model);

}  // namespace tv

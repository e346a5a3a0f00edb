#include "analysis/simulation/backward_tables.h"

#include <algorithm>

#include "api/memory.h"
#include "network/progress.h"

namespace tv {

BackwardElimination::BackwardElimination(const Domain& domain, std::vector<const Node*> nodes,
                                         const size_t* observed_states)
    : domain_(domain),
      order_(std::move(nodes)),
      observed_states_(observed_states),
      place_of_(domain.node_count, kNone),
      factors_(order_.size()) {
  std::sort(order_.begin(), order_.end(), [](const Node* a, const Node* b) {
    return placement(*a).elimination_rank > placement(*b).elimination_rank;
  });
  for (size_t place = 0; place < order_.size(); ++place) place_of_[order_[place]->number - 1] = place;
}

void BackwardElimination::put(RowFactor factor) {
  size_t first = kNone;
  for (const RowFactor::Member& member : factor.members) first = std::min(first, place_of_[member.node]);
  if (first != kNone) factors_[first].push_back(std::move(factor));  // else it is constant
}

void BackwardElimination::add_over(RowFactor factor, const NodeList& nodes, size_t count) {
  size_t step = 1;
  for (size_t i = count; i-- > 0; step *= nodes[i]->number_of_states) {
    const size_t node = nodes[i]->number - 1;
    if (place_of_[node] == kNone)
      factor.offset += observed_states_[node] * step;
    else
      factor.members.push_back({node, step});
  }
  put(std::move(factor));
}

void BackwardElimination::add(const Table& table) {
  RowFactor factor;
  factor.numbers = table.data.data();
  add_over(std::move(factor), table.nodes, table.discrete_count);
}

void BackwardElimination::add(const Node& node, const tv_number_t* findings) {
  RowFactor factor;
  factor.numbers = findings;
  factor.members.push_back({node.number - 1, 1});
  put(std::move(factor));
}

void BackwardElimination::add(const NodeList& nodes, size_t count, const WideNumber* numbers) {
  RowFactor factor;
  factor.message = numbers;
  add_over(std::move(factor), nodes, count);
}

// In the order of elimination.
std::vector<Given> BackwardElimination::given_for(size_t place) const {
  std::vector<size_t> places;
  for (const RowFactor& factor : factors_[place])
    for (const RowFactor::Member& member : factor.members) places.push_back(place_of_[member.node]);
  std::sort(places.begin(), places.end());
  places.erase(std::unique(places.begin(), places.end()), places.end());
  std::vector<Given> given;
  for (const size_t other : places)
    if (other != place) given.push_back({order_[other]->number - 1, order_[other]->number_of_states});
  return given;
}

tv_status_t BackwardElimination::eliminate(size_t place, RowTables& tables, BackwardTables& result,
                                           ProgressMeter& progress) {
  const std::vector<Given> given = given_for(place);
  const size_t table = tables.add(*order_[place], given, factors_[place]);
  result.draws.push_back({order_[place], table});
  const size_t rows = tables.row_count(table);
  const size_t bytes = size_multiply(rows, sizeof(WideNumber));
  bytes_ = size_add(bytes_, bytes);
  if (bytes_ == kHugeSize || (domain_.memory_limit && bytes_ > domain_.memory_limit))
    return refuse(tv_status_no_memory, "drawing given the evidence takes more memory than there may be");
  std::unique_ptr<WideNumber[]> sums(new WideNumber[rows]);
  if (!tables.sum_rows(table, sums.get(), progress)) return tv_status_error;
  if (given.empty()) return sums[0].mantissa > 0.0 ? tv_status_none : tv_status_inconsistency_or_underflow;

  RowFactor message;
  message.message = sums.get();
  result.messages.push_back(std::move(sums));
  size_t step = 1;
  for (size_t g = given.size(); g-- > 0; step *= given[g].states)
    message.members.push_back({given[g].node, step});
  put(std::move(message));
  return tv_status_none;
}

tv_status_t BackwardElimination::run(RowTables& tables, BackwardTables& result) {
  ProgressMeter progress(domain_, "simulation", order_.size());
  for (size_t place = 0; place < order_.size(); ++place) {
    if (tv_status_t status = progress.advance()) return status;
    if (tv_status_t status = eliminate(place, tables, result, progress)) return status;
  }
  std::reverse(result.draws.begin(), result.draws.end());
  return tv_status_none;
}

}  // namespace tv

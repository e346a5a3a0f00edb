#include "inference/elimination/elimination_passes.h"

#include <cstring>
#include <iterator>

namespace tv {
namespace {

constexpr uint32_t kNothing = EliminationTree::kNoClique;

}  // namespace

// ---- Factors ----

EliminationFactors::EliminationFactors(TreeEngine& engine, const EliminationTree& graph,
                                       EliminationSchedule& schedule)
    : engine_(engine),
      graph_(graph),
      schedule_(schedule),
      rank_of_(engine.domain->forest->nodes.size() + 1, kNothing),
      first_(graph.cliques.size(), kNothing) {
  for (uint32_t rank = 0; rank < graph.nodes.size(); ++rank) rank_of_[graph.nodes[rank]->number] = rank;
  factors_.reserve(engine.tree->nodes.size() + 3 * graph.cliques.size());
  axes_.reserve(4 * (engine.tree->nodes.size() + 2 * graph.cliques.size()));
}

size_t EliminationFactors::take_numbers(size_t count) noexcept {
  if (count > engine_.numbers.size() - used_) {
    fits_ = false;
    return kNone;
  }
  used_ += count;
  reserved_ -= std::min(reserved_, count);
  return used_ - count;
}

size_t EliminationFactors::take_optional(size_t count) noexcept {
  if (size_add(count, reserved_) > engine_.numbers.size() - used_) return kNone;
  used_ += count;
  return used_ - count;
}

EliminationFactor EliminationFactors::new_factor() const noexcept {
  EliminationFactor factor;
  factor.first_axis = static_cast<uint32_t>(axes_.size());
  return factor;
}

void EliminationFactors::add_axis(EliminationFactor& factor, uint32_t rank, size_t stride) {
  axes_.push_back({rank, stride});
  ++factor.axis_count;
  factor.size *= graph_.nodes[rank]->number_of_states;
}

void EliminationFactors::add(const EliminationFactor& factor) {
  factors_.push_back(factor);
  assign(static_cast<uint32_t>(factors_.size() - 1), graph_.home_of[axes_[factor.first_axis].rank]);
}

void EliminationFactors::add_potential(const Node& node) {
  EliminationFactor factor = new_factor();
  factor.child = rank_of_[node.number];
  if (!node.table) return add_uniform(node, factor);
  EliminationSchedule::Potential potential;
  potential.node = placement(node).position;
  potential.layout = node.table->layout;
  observed_.clear();
  size_t stride = 1;
  for (size_t i = node.table->discrete_count; i-- > 0;) {
    const Node& member = *node.table->nodes[i];
    if (const uint32_t rank = rank_of_[member.number]; rank != kNothing)
      add_axis(factor, rank, stride);
    else if (member.number_of_states > 1)
      observed_.push_back({static_cast<uint32_t>(member.number - 1), stride});
    stride *= member.number_of_states;
  }
  potential.observed = schedule_.memory.copy(observed_);
  potential.is_constant = factor.axis_count == 0;
  factor.potential = static_cast<uint32_t>(schedule_.potentials.size());
  factor.place = {kFirstPotential + factor.potential, 0};
  schedule_.potentials.push_back(potential);
  if (potential.is_constant) return;
  std::sort(axes_.begin() + factor.first_axis, axes_.end(),
            [](const Axis& a, const Axis& b) { return a.rank < b.rank; });
  add(factor);
}

// A node without a table counts as uniform.
void EliminationFactors::add_uniform(const Node& node, EliminationFactor factor) {
  EliminationSchedule::Potential potential;  // the schedule is valid as long as the node has no table
  potential.node = placement(node).position;
  potential.is_constant = factor.child == kNothing;
  schedule_.potentials.push_back(potential);
  if (potential.is_constant) return;
  add_axis(factor, factor.child, 0);
  factor.place = {kConstants, schedule_.constants.size()};
  schedule_.constants.push_back(1.0f / static_cast<float>(node.number_of_states));
  add(factor);
}

void EliminationFactors::add_finding(const Node& node) {
  const uint32_t rank = rank_of_[node.number];
  if (rank == kNothing || engine_[node].propagated_state != kFindingVector) return;
  EliminationFactor factor = new_factor();
  add_axis(factor, rank, 1);
  factor.place = {kNodeNumbers, engine_.offset_of(engine_.propagated_finding(node))};
  add(factor);
}

uint32_t EliminationFactors::add_dense(std::span<const uint32_t> ranks, Place place) {
  EliminationFactor factor = new_factor();
  factor.place = place;
  for (size_t i = ranks.size(); i-- > 0;) add_axis(factor, ranks[i], factor.size);
  std::sort(axes_.begin() + factor.first_axis, axes_.end(),
            [](const Axis& a, const Axis& b) { return a.rank < b.rank; });
  factors_.push_back(factor);
  return static_cast<uint32_t>(factors_.size() - 1);
}

void EliminationFactors::add_parts(uint32_t f, std::span<const uint32_t> parts) {
  factors_[f].first_part = static_cast<uint32_t>(parts_.size());
  factors_[f].part_count = static_cast<uint32_t>(parts.size());
  parts_.insert(parts_.end(), parts.begin(), parts.end());
}

void EliminationFactors::lay_out(uint32_t f, std::span<const uint32_t> ranks, Place place) noexcept {
  EliminationFactor& factor = factors_[f];
  factor.place = place;
  size_t stride = 1;
  for (size_t i = ranks.size(); i-- > 0; stride *= graph_.nodes[ranks[i]]->number_of_states)
    for (uint32_t a = 0; a < factor.axis_count; ++a)
      if (axes_[factor.first_axis + a].rank == ranks[i]) axes_[factor.first_axis + a].stride = stride;
}

void EliminationFactors::copy_small_potentials(uint32_t clique, std::span<const uint32_t> members) {
  for (uint32_t f = first_[clique]; f != kNothing; f = factors_[f].next) {
    EliminationFactor& factor = factors_[f];
    if (factor.potential != kNothing && factor.size <= graph_.cliques[clique].size / limits.copy_share)
      copy_potential(factor, members);
  }
}

void EliminationFactors::copy_potential(EliminationFactor& factor, std::span<const uint32_t> members) {
  EliminationSchedule::Potential& potential = schedule_.potentials[factor.potential];
  Dimension nest[64];
  size_t count = 0, stride = 1;
  bool is_dense = true;  // and in the right order
  for (size_t m = members.size(); m-- > 0;) {
    for (uint32_t a = 0; a < factor.axis_count; ++a) {
      const Axis& axis = axes_[factor.first_axis + a];
      if (axis.rank != members[m]) continue;
      is_dense &= axis.stride == stride;
      nest[count++] = {graph_.nodes[axis.rank]->number_of_states, stride, axis.stride};
      stride *= graph_.nodes[axis.rank]->number_of_states;
    }
  }
  if (is_dense) return;
  const size_t copy = take_optional(factor.size);
  if (copy == kNone) return;
  size_t next = 0;
  for (size_t m = members.size(); m-- > 0;)
    for (uint32_t a = 0; a < factor.axis_count; ++a)
      if (axes_[factor.first_axis + a].rank == members[m])
        axes_[factor.first_axis + a].stride = nest[next++].stride;
  std::reverse(nest, nest + count);
  Dimension* nest_copy = schedule_.memory.take<Dimension>(count);
  std::copy_n(nest, count, nest_copy);
  potential.nest = {nest_copy, count};
  potential.copy = copy;
  factor.place = {kTables, copy};
  factor.potential = kNothing;
}

// ---- Passes ----

void PassWriter::start(std::span<const uint32_t> ranks) {
  Shape shape;
  shape.counts = schedule_.memory.take<size_t>(ranks.size());
  shape.dimensions = static_cast<uint16_t>(ranks.size());
  for (size_t d = 0; d < ranks.size(); ++d) shape.counts[d] = graph_.nodes[ranks[d]]->number_of_states;
  measure_shape(shape);
  start(ranks, shape);
}

void PassWriter::start(std::span<const uint32_t> ranks, const Shape& shape) noexcept {
  shape_ = shape;
  for (size_t d = 0; d < ranks.size(); ++d) dimension_of_[ranks[d]] = static_cast<uint32_t>(d);
}

uint32_t PassWriter::map(std::span<const Axis> axes) {
  size_t steps[64];
  Dimension inner[64];
  std::fill_n(steps, shape_.dimensions, 0);
  for (const Axis& axis : axes) steps[dimension_of_[axis.rank]] = axis.stride;
  IndexMap map;
  map.steps = steps;
  map.inner = inner;
  finish_index_map(map, shape_);
  return shared(map, std::min<size_t>(shape_.outer + 1, shape_.dimensions));
}

// Small cliques resemble each other: most maps have been made before and are shared.
uint32_t PassWriter::shared(const IndexMap& map, size_t outer) {
  const auto is_same = [&](const IndexMap& other) {
    return other.inner_count == map.inner_count && other.other_size == map.other_size &&
           std::equal(map.steps, map.steps + outer, other.steps) &&
           std::memcmp(map.inner, other.inner, map.inner_count * sizeof(Dimension)) == 0;
  };
  if (2 * schedule_.maps.size() >= shared_maps_.size()) rehash();
  size_t slot = hash(map) % shared_maps_.size();
  for (; shared_maps_[slot].map != kNothing; slot = (slot + 1) % shared_maps_.size())
    if (shared_maps_[slot].outer == outer && is_same(schedule_.maps[shared_maps_[slot].map]))
      return shared_maps_[slot].map;
  IndexMap copy = map;
  copy.steps = schedule_.memory.take<size_t>(outer);
  copy.inner = schedule_.memory.take<Dimension>(map.inner_count);
  std::copy_n(map.steps, outer, copy.steps);
  std::copy_n(map.inner, map.inner_count, copy.inner);
  shared_maps_[slot] = {static_cast<uint32_t>(schedule_.maps.size()), outer};
  schedule_.maps.push_back(copy);
  return shared_maps_[slot].map;
}

size_t PassWriter::hash(const IndexMap& map) noexcept {
  size_t hash = map.other_size;
  for (size_t d = 0; d < map.inner_count; ++d)
    hash = (hash * 31 + map.inner[d].count) * 0x9E3779B97F4A7C15u + map.inner[d].stride2;
  return hash ^ (hash >> 32);
}

void PassWriter::rehash() {
  std::vector<SharedMap> old(2 * shared_maps_.size());
  std::swap(shared_maps_, old);
  for (const SharedMap& one : old) {
    if (one.map == kNothing) continue;
    size_t slot = hash(schedule_.maps[one.map]) % shared_maps_.size();
    while (shared_maps_[slot].map != kNothing) slot = (slot + 1) % shared_maps_.size();
    shared_maps_[slot] = one;
  }
}

void PassWriter::multiply(uint32_t f) {
  EliminationFactor& factor = factors_[f];
  if (factor.counts != shape_.counts) {
    factor.map = index_map_of(f);
    factor.counts = shape_.counts;
  }
  steps_.push_back({steps_.empty() ? StepKind::assign : StepKind::multiply, factor.map, factor.place});
}

void PassWriter::marginalize(std::span<const uint32_t> ranks, Place target) {
  axes_.clear();
  size_t stride = 1;
  for (size_t i = ranks.size(); i-- > 0;) {
    axes_.push_back({ranks[i], stride});
    stride *= graph_.nodes[ranks[i]]->number_of_states;
  }
  steps_.push_back({schedule_.marginal, map(axes_), target});
}

EliminationSchedule::Pass PassWriter::close(std::span<const uint32_t> factors) {
  const size_t first = shape_.dimensions ? shape_.counts[0] : 1;
  const bool is_one_block = shape_.outer == 0 && shape_.part == first;
  if (!is_one_block && steps_.size() > kMaxFusedSteps) fits_ = false;
  schedule_.work = size_add(schedule_.work, size_multiply(shape_.size, steps_.size()));
  const std::span<const ScheduleStep> steps = take_steps();
  return {shape_, steps.data(), steps.size(), exact_pass(factors, steps)};
}

std::span<const ScheduleStep> PassWriter::take_steps() {
  const std::span<const ScheduleStep> steps = schedule_.memory.copy(steps_);
  schedule_.most_steps = std::max(schedule_.most_steps, steps_.size());
  steps_.clear();
  return steps;
}

void PassWriter::multiply_parts(uint32_t f) {
  if (factors_[f].part_count == 0) return multiply(f);
  for (const uint32_t part : factors_.parts(factors_[f])) multiply_parts(part);
}

const EliminationSchedule::Pass* PassWriter::exact_pass(std::span<const uint32_t> factors,
                                                        std::span<const ScheduleStep> steps) {
  if (std::none_of(factors.begin(), factors.end(), [&](uint32_t f) { return factors_[f].part_count > 0; }))
    return nullptr;
  for (const uint32_t f : factors) multiply_parts(f);
  std::copy_if(steps.begin(), steps.end(), std::back_inserter(steps_),
               [](const ScheduleStep& step) { return !step.is_factor(); });
  auto* pass = schedule_.memory.take<EliminationSchedule::Pass>(1);
  const std::span<const ScheduleStep> exact = take_steps();
  return &(*pass = {shape_, exact.data(), exact.size()});
}

}  // namespace tv

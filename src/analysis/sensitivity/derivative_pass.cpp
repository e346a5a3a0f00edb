#include "analysis/sensitivity/derivative_pass.h"

#include <cmath>
#include <numeric>

#include "api/float_environment.h"

namespace tv {
namespace {

// In the place of zero. A product with two of them does not change any sum that counts, and one with three is
// zero.
constexpr double kAlmostNothing = 0x1p-400;
constexpr double kNothing = 1e-60;      // what is below it has a factor of that kind left
constexpr double kSuspicious = -138.0;  // the logarithm of the scale of a message that may hold nothing else

bool is_parameter_table(const ForestFactor& factor) noexcept {
  return factor.owner && !factor.is_finding && has_parameters(*factor.owner);
}

}  // namespace

bool has_parameters(const Node& node) noexcept {
  return node.category == tv_category_chance && is_discrete(node) && node.number_of_states > 1;
}

DerivativePass::DerivativePass(const Domain& domain, const Clique& root)
    : forest_(domain, root), root_(forest_.position_of(root)) {}

tv_status_t DerivativePass::collect() {
  const FloatEnvironment environment;
  std::vector<double>& numbers = forest_.numbers();
  for (const FactorClique& clique : forest_.cliques())
    for (const ForestFactor& factor : clique.factors)
      if (is_parameter_table(factor))
        for (size_t i = factor.first; i < factor.first + factor.size; ++i)
          numbers[i] = std::max(numbers[i], kAlmostNothing);
  double least_scale = 0.0;
  bool is_possible = std::isfinite(collect_sums(forest_, up_, &least_scale));
  if (is_possible && least_scale < kSuspicious) {
    const FactorForest exact(forest_.domain(), *forest_.cliques()[root_].clique);
    FactorMessages messages;
    is_possible = std::isfinite(collect_sums(exact, messages));
  }
  return is_possible ? tv_status_none : refuse_impossible_evidence();
}

void DerivativePass::distribute(const std::vector<Operand>& lanes, Total total, const Visit& visit) {
  const FloatEnvironment environment;
  down_.assign(forest_.cliques().size(), {});
  for (size_t i = root_; i < forest_.cliques().size(); ++i) {
    visit_clique(i, lanes, total, visit);
    std::vector<double>().swap(down_[i]);
  }
}

// Sums over a clique, weighted lane by lane, onto one of its groups. What comes from above has no other nodes
// than the group together with those of the lanes: where these are much fewer than the clique's, the products
// are summed onto them once for all lanes.
struct DerivativePass::GroupSums {
  const OperandGroup* group;
  OperandGroup shared;         // its nodes and those of the lanes; without a shape where that does not pay
  std::vector<double> common;  // over the nodes of `shared`
  std::vector<double> sums;    // lane by lane

  size_t size() const noexcept { return group->shape->size; }
  bool is_shared() const noexcept { return shared.shape != nullptr; }
};

namespace {

// The map from a group of dimensions of a clique that leads where `map` leads from the clique.
struct RestrictedMap : OwnIndexMap {
  RestrictedMap(const OperandGroup& group, const IndexMap& map) : OwnIndexMap(group.dimensions.size()) {
    for (size_t i = 0; i < group.dimensions.size(); ++i) steps[i] = map.steps[group.dimensions[i]];
    finish_index_map(*this, *group.shape);
  }
};

}  // namespace

std::vector<DerivativePass::GroupSums> DerivativePass::plan_sums(const FactorClique& clique,
                                                                 const std::vector<Operand>& lanes) {
  std::vector<bool> in_lanes(clique.nodes.size());
  for (const Operand& lane : lanes)
    for (size_t d = 0; d < clique.nodes.size(); ++d)
      if (lane.map->steps[d]) in_lanes[d] = true;
  std::vector<GroupSums> plan;
  for (const OperandGroup& group : clique.groups) {
    GroupSums& sums = plan.emplace_back();
    sums.group = &group;
    sums.sums.resize(lanes.size() * group.shape->size);
    std::vector<size_t> dimensions;
    size_t size = 1;
    for (size_t d = 0; d < clique.nodes.size(); ++d)
      if (in_lanes[d] || std::binary_search(group.dimensions.begin(), group.dimensions.end(), d)) {
        dimensions.push_back(d);
        size *= clique.nodes[d]->number_of_states;
      }
    if (size > clique.shape->size / 2) continue;
    sums.shared = group_over(clique, dimensions);
    sums.common.resize(size);
  }
  return plan;
}

void DerivativePass::sum_products(const FactorClique& clique, const std::vector<Operand>& lanes,
                                  std::vector<GroupSums>& plan) {
  grouped_.form<Multiply<double>>(forest_, clique, up_, 1.0);
  const size_t first_lane = grouped_.operands().size(), first_sum = first_lane + lanes.size();
  std::vector<const IndexMap*> others;
  for (const Operand& lane : lanes) others.push_back(lane.map);
  for (const GroupSums& sums : plan)
    others.push_back(sums.is_shared() ? sums.shared.map.get() : sums.group->map.get());
  const bool all_shared =
      std::all_of(plan.begin(), plan.end(), [](const GroupSums& sums) { return sums.is_shared(); });
  std::vector<double> product(std::min(clique.shape->size, kCapacity.block));
  for_each_block<Multiply<double>>(
      *clique.shape, grouped_.operands(), 1.0, others, [&](const double* block, const BlockWalk& walk) {
        const auto part = [&](const IndexMap& map) {
          return PartIndexMap(map, clique.shape->part, walk.part());
        };
        for (size_t g = 0; g < plan.size(); ++g)
          if (plan[g].is_shared())
            run_loops<Sum>(part(*plan[g].shared.map), block,
                           plan[g].common.data() + walk.offset(first_sum + g));
        for (size_t lane = 0; lane < lanes.size() && !all_shared; ++lane) {
          std::copy_n(block, walk.size(), product.begin());
          run_loops<Multiply<double>>(part(*lanes[lane].map), product.data(),
                                      lanes[lane].numbers + walk.offset(first_lane + lane));
          for (size_t g = 0; g < plan.size(); ++g)
            if (!plan[g].is_shared())
              run_loops<Sum>(part(*plan[g].group->map), product.data(),
                             plan[g].sums.data() + lane * plan[g].size() + walk.offset(first_sum + g));
        }
      });
  for (GroupSums& sums : plan)
    if (sums.is_shared()) weigh_by_lanes(lanes, sums);
}

void DerivativePass::weigh_by_lanes(const std::vector<Operand>& lanes, GroupSums& sums) {
  const RestrictedMap onto_group(sums.shared, *sums.group->map);
  for (size_t lane = 0; lane < lanes.size(); ++lane) {
    const RestrictedMap onto_lane(sums.shared, *lanes[lane].map);
    std::vector<double> weighed = sums.common;
    multiply_entries(*sums.shared.shape, weighed.data(), onto_lane, lanes[lane].numbers);
    add_marginal(*sums.shared.shape, weighed.data(), onto_group, sums.sums.data() + lane * sums.size());
  }
}

void DerivativePass::visit_clique(size_t position, const std::vector<Operand>& root_lanes, Total total,
                                  const Visit& visit) {
  const FactorClique& clique = forest_.cliques()[position];
  std::vector<Operand> lanes = root_lanes;
  if (position != root_)
    for (size_t lane = 0; lane < lanes.size(); ++lane)
      lanes[lane] = {down_[position].data() + lane * clique.separator_size, clique.separator.get()};
  std::vector<GroupSums> plan = plan_sums(clique, lanes);
  sum_products(clique, lanes, plan);

  std::vector<double> lane_sums(lanes.size());
  for (size_t lane = 0; lane < lanes.size(); ++lane)
    lane_sums[lane] = sum_of(plan.front().sums.data() + lane * plan.front().size(), plan.front().size());
  const double all = total == Total::first_lane ? lane_sums.front()
                                                : std::accumulate(lane_sums.begin(), lane_sums.end(), 0.0);
  if (position == root_) {
    lane_sums_ = lane_sums;
    for (double& sum : lane_sums_) sum = std::abs(sum / all) < kNothing ? 0.0 : sum / all;
  }
  for (const GroupSums& sums : plan)
    for (const OperandGroup::Member& member : sums.group->members) {
      const size_t factors = clique.factors.size();
      if (member.operand >= factors) {
        const uint32_t child = clique.children[member.operand - factors].clique;
        down_[child] = marginals(sums, member, up_[child].size(), 0, lanes.size());
        divide_by_message(up_[child], down_[child]);
        continue;
      }
      const ForestFactor& factor = clique.factors[member.operand];
      if (!is_parameter_table(factor)) continue;
      std::vector<double> derivatives = marginals(sums, member, factor.size, factor.offset, lanes.size());
      divide_by_parameters(factor, all, derivatives);
      visit(factor, derivatives);
    }
}

// Of a member of the group, lane by lane.
std::vector<double> DerivativePass::marginals(const GroupSums& sums, const OperandGroup::Member& member,
                                              size_t size, size_t offset, size_t lanes) {
  std::vector<double> result(lanes * size);
  for (size_t lane = 0; lane < lanes; ++lane)
    add_marginal(*sums.group->shape, sums.sums.data() + lane * sums.size(), member.map,
                 result.data() + lane * size + offset);
  return result;
}

void DerivativePass::divide_by_parameters(const ForestFactor& factor, double total,
                                          std::vector<double>& sums) const {
  const double* const numbers = forest_.numbers().data() + factor.first;
  for (size_t i = 0; i < sums.size(); ++i) {
    if (sums[i] == 0.0) continue;
    sums[i] /= numbers[i % factor.size] * total;
    if (std::abs(sums[i]) < kNothing) sums[i] = 0.0;
  }
}

// What comes from elsewhere to a neighbour that has sent `message`. Where that is zero, nothing depends on
// it.
void DerivativePass::divide_by_message(const std::vector<double>& message, std::vector<double>& sums) {
  double largest = 0.0;
  for (size_t i = 0; i < sums.size(); ++i) {
    const double divisor = message[i % message.size()];
    sums[i] = divisor > 0.0 ? sums[i] / divisor : 0.0;
    largest = std::max(largest, std::abs(sums[i]));
  }
  if (largest > 0.0)
    for (double& sum : sums) sum /= largest;
}

}  // namespace tv

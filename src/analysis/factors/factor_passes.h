// Passes over the entries of a clique, block by block, and messages towards the root of a factor forest.
#pragma once

#include <limits>
#include <vector>

#include "analysis/factors/factor_forest.h"
#include "tables/kernels/block_walk.h"
#include "tables/kernels/double_loops.h"
#include "tables/limits.h"

namespace tv {

// Numbers that the entries of a clique are combined with: each with the one that the map leads to.
struct Operand {
  const double* numbers;
  const IndexMap* map;
};

// Calls visit(block, walk) for each block of a shape, after it has been filled with the combination of all
// operands. What the blocks are reduced to is mapped by `others`, whose offsets the walk has behind those of
// the operands.
template <class Combine, class Visit>
void for_each_block(const Shape& shape, const std::vector<Operand>& operands, double neutral,
                    const std::vector<const IndexMap*>& others, Visit visit) {
  std::vector<const IndexMap*> maps;
  for (const Operand& operand : operands) maps.push_back(operand.map);
  maps.insert(maps.end(), others.begin(), others.end());
  std::vector<double> block(std::min(shape.size, kCapacity.block));
  BlockWalk walk(shape, maps);
  do {
    if (operands.empty()) std::fill(block.begin(), block.end(), neutral);
    for (size_t i = 0; i < operands.size(); ++i) {
      const PartIndexMap map(*maps[i], shape.part, walk.part());
      const double* const numbers = operands[i].numbers + walk.offset(i);
      if (i == 0)
        run_loops<Assign<double>>(map, block.data(), numbers);
      else
        run_loops<Combine>(map, block.data(), numbers);
    }
    visit(block.data(), walk);
  } while (walk.next());
}

// Combines the operands for every entry of a shape, and reduces them onto what `map` leads to.
template <class Combine, class Reduce>
void reduce_product(const Shape& shape, const std::vector<Operand>& operands, double neutral,
                    const IndexMap& map, double* target) {
  for_each_block<Combine>(shape, operands, neutral, {&map}, [&](const double* block, const BlockWalk& walk) {
    run_loops<Reduce>(PartIndexMap(map, shape.part, walk.part()), block,
                      target + walk.offset(operands.size()));
  });
}

// By position of the clique that sends it; the one of the root of the forest is a single number.
using FactorMessages = std::vector<std::vector<double>>;

// The operands of a clique: the products (or sums) of its groups of factors and messages.
class GroupedOperands {
 public:
  template <class Combine>
  void form(const FactorForest& forest, const FactorClique& clique, const FactorMessages& messages,
            double neutral);
  const std::vector<Operand>& operands() const noexcept { return operands_; }

 private:
  std::vector<std::vector<double>> numbers_;
  std::vector<Operand> operands_;
};

// Sums of products, towards the root: each message is scaled to a largest entry of one, and the logarithm of
// the product of the scales is returned: that of the probability of the evidence. Minus infinity where it is
// impossible; the messages are incomplete then. `least_log_scale` gets the logarithm of the smallest scale.
double collect_sums(const FactorForest& forest, FactorMessages& messages, double* least_log_scale = nullptr);

// Maxima of sums, where the numbers of the factors are logarithms. Returns the largest; minus infinity where
// the evidence is impossible.
double collect_maxima(const FactorForest& forest, FactorMessages& messages);

// Adds the entries of an array to what they are mapped onto.
void add_marginal(const Shape& shape, const double* numbers, const IndexMap& map, double* target);

// Multiplies the entries of an array by what they are mapped onto.
void multiply_entries(const Shape& shape, double* numbers, const IndexMap& map, const double* factors);

// Replaces numbers by their logarithms; zeros by minus infinity.
void take_logarithms(std::vector<double>& numbers) noexcept;

// Scales numbers to a largest one of 1, and returns the logarithm of what it was; minus infinity, with
// nothing changed, where it is zero.
double scale_to_one(std::vector<double>& numbers) noexcept;

template <class Combine>
void GroupedOperands::form(const FactorForest& forest, const FactorClique& clique,
                           const FactorMessages& messages, double neutral) {
  const auto numbers_of = [&](size_t operand) {
    const size_t factors = clique.factors.size();
    return operand < factors ? forest.numbers_of(clique.factors[operand])
                             : messages[clique.children[operand - factors].clique].data();
  };
  operands_.clear();
  numbers_.resize(std::max(numbers_.size(), clique.groups.size()));
  for (size_t g = 0; g < clique.groups.size(); ++g) {
    const OperandGroup& group = clique.groups[g];
    if (group.members.size() == 1) {
      const size_t operand = group.members.front().operand;
      operands_.push_back({numbers_of(operand), &clique.operand_map(operand)});
      continue;
    }
    std::vector<Operand> members;
    for (const OperandGroup::Member& member : group.members)
      members.push_back({numbers_of(member.operand), &member.map});
    numbers_[g].clear();
    for_each_block<Combine>(*group.shape, members, neutral, {},
                            [&](const double* block, const BlockWalk& walk) {
                              numbers_[g].insert(numbers_[g].end(), block, block + walk.size());
                            });
    operands_.push_back({numbers_[g].data(), group.map.get()});
  }
}

}  // namespace tv

#include "inference/extended/wide_pass.h"

#include <algorithm>
#include <deque>

#include "api/float_environment.h"
#include "tables/kernels/sparse_pass.h"

namespace tv {
namespace {

constexpr size_t kBlock = 256;            // configurations that are multiplied together
constexpr size_t kFactorsTogether = 500;  // mantissas of at least one half, before they are scaled again

using Positions = std::vector<uint32_t>;  // of the entries of a block in an array

// The blocks of a sparse clique: so many entries each. Every array has positions of its own in a block.
class ListedBlocks {
 public:
  explicit ListedBlocks(std::span<const size_t> counts) : count_(counts[0]) {}

  size_t size() const noexcept { return std::min(kBlock, count_ - first_); }

  const Positions* positions_of(const WideMap& map) {
    maps_.push_back(&map);
    return &positions_.emplace_back(kBlock, 0);
  }

  void start() { fill(); }

  template <class Move>
  bool next(Move) {
    first_ += kBlock;
    if (first_ >= count_) return false;
    fill();
    return true;
  }

 private:
  void fill() noexcept {
    for (size_t a = 0; a < maps_.size(); ++a) {
      Positions& positions = positions_[a];
      if (maps_[a]->list) {
        read_positions(*maps_[a]->list, first_, size(), positions.data());
        continue;
      }
      for (size_t i = 0; i < size(); ++i)
        positions[i] = static_cast<uint32_t>((first_ + i) * maps_[a]->strides[0]);
    }
  }

  size_t count_, first_ = 0;
  std::vector<const WideMap*> maps_;
  std::deque<Positions> positions_;
};

// The blocks of a clique: its innermost dimensions, and a walk over the others.
class Blocks {
 public:
  explicit Blocks(std::span<const size_t> counts) : counts_(counts), outer_(counts.size()) {
    while (outer_ > 0 && size_ * counts[outer_ - 1] <= kBlock) size_ *= counts[--outer_];
    index_.assign(outer_, 0);
  }

  size_t size() const noexcept { return size_; }
  void start() noexcept {}

  // Arrays with the same strides along a block share their positions.
  const Positions* positions_of(const WideMap& map) {
    const std::vector<size_t>& strides = map.strides;
    const std::span<const size_t> inner(strides.begin() + static_cast<ptrdiff_t>(outer_), strides.end());
    for (const Shared& each : shared_)
      if (std::equal(inner.begin(), inner.end(), each.strides.begin())) return &each.positions;
    shared_.push_back({{inner.begin(), inner.end()}, Positions(size_, 0)});
    Positions& positions = shared_.back().positions;
    size_t repeat = 1;
    for (size_t d = counts_.size(); d-- > outer_; repeat *= counts_[d])
      for (size_t i = 0; i < size_; ++i)
        positions[i] += static_cast<uint32_t>(i / repeat % counts_[d] * strides[d]);
    return &positions;
  }

  // Goes on to the next block; `move(dimension, steps)` says along which dimensions.
  template <class Move>
  bool next(Move move) {
    for (size_t d = outer_; d-- > 0;) {
      if (++index_[d] < counts_[d]) return move(d, ptrdiff_t{1}), true;
      move(d, 1 - static_cast<ptrdiff_t>(counts_[d]));
      index_[d] = 0;
    }
    return false;
  }

 private:
  struct Shared {
    std::vector<size_t> strides;
    Positions positions;
  };

  std::span<const size_t> counts_;
  size_t outer_;
  size_t size_ = 1;
  std::vector<size_t> index_;
  std::deque<Shared> shared_;
};

// An array during the walk over the blocks.
template <class Number>
struct Cursor {
  Number* numbers;
  int32_t* exponents;
  const WideMap* map;
  const Positions* positions;

  void move(size_t dimension, ptrdiff_t steps) noexcept {
    const ptrdiff_t by = steps * static_cast<ptrdiff_t>(map->strides[dimension]);
    numbers += by;
    if (exponents) exponents += by;
  }
};

// Products and accumulators in doubles.
struct PlainBlock {
  double products[kBlock];

  void start(size_t size) noexcept { std::fill_n(products, size, 1.0); }
  void multiply(const Cursor<const double>& factor, size_t size) noexcept {
    const uint32_t* at = factor.positions->data();
    for (size_t i = 0; i < size; ++i) products[i] *= factor.numbers[at[i]];
  }
  void finish(size_t) noexcept {}
  template <bool maximizes>
  void add_to(const Cursor<double>& target, size_t size) const noexcept {
    const uint32_t* at = target.positions->data();
    for (size_t i = 0; i < size; ++i) {
      double& total = target.numbers[at[i]];
      total = maximizes ? std::max(total, products[i]) : total + products[i];
    }
  }
};

// The same with an exponent for each entry.
struct WideBlock {
  double products[kBlock];
  int32_t exponents[kBlock];
  size_t factors = 0;

  void start(size_t size) noexcept {
    std::fill_n(products, size, 1.0);
    std::fill_n(exponents, size, 0);
    factors = 0;
  }
  void multiply(const Cursor<const double>& factor, size_t size) noexcept {
    const uint32_t* at = factor.positions->data();
    for (size_t i = 0; i < size; ++i) {
      products[i] *= factor.numbers[at[i]];
      exponents[i] += factor.exponents[at[i]];
    }
    if (++factors % kFactorsTogether == 0) finish(size);
  }
  void finish(size_t size) noexcept {
    for (size_t i = 0; i < size; ++i) {
      int shift = 0;
      products[i] = std::frexp(products[i], &shift);
      exponents[i] += shift;
    }
  }
  template <bool maximizes>
  void add_to(const Cursor<double>& target, size_t size) const noexcept {
    const uint32_t* at = target.positions->data();
    for (size_t i = 0; i < size; ++i)
      if (products[i] > 0.0)
        add<maximizes>(target.numbers[at[i]], target.exponents[at[i]], products[i], exponents[i]);
  }

 private:
  static constexpr int64_t kFarApart = 128;  // beyond it the smaller of two numbers adds nothing to the other

  // Accumulators are at least one half wherever they are positive.
  template <bool maximizes>
  static void add(double& total, int32_t& exponent, double product, int32_t product_exponent) noexcept {
    const int64_t above = total > 0.0 ? int64_t{product_exponent} - exponent : kFarApart;
    if (above >= kFarApart || (maximizes && above > 0)) {
      total = product;
      exponent = product_exponent;
    } else if (maximizes) {
      if (above == 0) total = std::max(total, product);
    } else if (above > 0) {
      total = std::ldexp(total, -static_cast<int>(above)) + product;
      exponent = product_exponent;
    } else if (above > -kFarApart - 64) {
      total += std::ldexp(product, static_cast<int>(above));
    }
  }
};

struct Arrays {
  std::vector<Cursor<const double>> factors;
  std::vector<Cursor<double>> targets;
};

template <bool maximizes, class Block, class Walk>
void run_blocks(Walk& blocks, Arrays& arrays) {
  Block block;
  blocks.start();
  do {
    const size_t size = blocks.size();
    block.start(size);
    for (const auto& factor : arrays.factors) block.multiply(factor, size);
    block.finish(size);
    for (const auto& target : arrays.targets) block.template add_to<maximizes>(target, size);
  } while (blocks.next([&](size_t dimension, ptrdiff_t steps) {
    for (auto& factor : arrays.factors) factor.move(dimension, steps);
    for (auto& target : arrays.targets) target.move(dimension, steps);
  }));
}

template <class Block, class Walk>
void run_walk(std::span<const size_t> counts, std::span<const WideOperand> operands,
              std::span<const WideArray* const> numbers, std::span<const WideTarget> targets,
              bool maximizes) {
  Walk blocks(counts);
  Arrays arrays;
  for (size_t f = 0; f < operands.size(); ++f) {
    const WideArray& array = *numbers[f];
    arrays.factors.push_back({array.mantissas.data(), const_cast<int32_t*>(array.exponents.data()),
                              &operands[f].map, blocks.positions_of(operands[f].map)});
  }
  for (const WideTarget& target : targets) {
    std::fill(target.totals->mantissas.begin(), target.totals->mantissas.end(), 0.0);
    int32_t* exponents = nullptr;
    if constexpr (std::is_same_v<Block, WideBlock>) {
      target.totals->exponents.assign(target.totals->size(), 0);
      exponents = target.totals->exponents.data();
    } else {
      target.totals->exponents.clear();
    }
    arrays.targets.push_back(
        {target.totals->mantissas.data(), exponents, &target.map, blocks.positions_of(target.map)});
  }
  if (maximizes)
    run_blocks<true, Block>(blocks, arrays);
  else
    run_blocks<false, Block>(blocks, arrays);
}

template <class Block>
void run(std::span<const size_t> counts, std::span<const WideOperand> operands,
         std::span<const WideArray* const> numbers, std::span<const WideTarget> targets, bool maximizes) {
  const auto has_list = [](const auto& array) { return array.map.list != nullptr; };
  if (std::any_of(operands.begin(), operands.end(), has_list) ||
      std::any_of(targets.begin(), targets.end(), has_list))
    run_walk<Block, ListedBlocks>(counts, operands, numbers, targets, maximizes);
  else
    run_walk<Block, Blocks>(counts, operands, numbers, targets, maximizes);
}

}  // namespace

void run_wide_pass(std::span<const size_t> counts, std::span<const WideOperand> operands,
                   std::span<const WideTarget> targets, bool maximizes) {
  std::vector<const WideArray*> numbers;
  for (const WideOperand& operand : operands) numbers.push_back(operand.numbers);
  if (std::all_of(numbers.begin(), numbers.end(), [](const WideArray* array) { return array->is_plain(); })) {
    clear_range_flags();
    run<PlainBlock>(counts, operands, numbers, targets, maximizes);
    if (!range_flags()) return;
  }
  // Many operands are short and equal; each is made wide once.
  std::deque<WideArray> copies;
  for (const WideArray*& array : numbers) {
    copies.push_back(*array);
    make_wide(copies.back());
    array = &copies.back();
  }
  run<WideBlock>(counts, operands, numbers, targets, maximizes);
}

}  // namespace tv

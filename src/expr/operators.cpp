#include "expr/operators.h"

#include "api/status.h"

namespace tv {
namespace {

constexpr ValueType kNumeric = ValueType::numeric;
constexpr ValueType kBoolean = ValueType::boolean;
constexpr ValueType kUnknown = ValueType::unknown;
constexpr ValueType kDistribution = ValueType::distribution;

// By code, from tv_operator_normal on.
constexpr OperatorInfo kOperators[] = {
    {"Normal", 2, 2, kDistribution},
    {"LogNormal", 2, 3, kDistribution},
    {"Beta", 2, 4, kDistribution},  // but not 3
    {"Gamma", 2, 3, kDistribution},
    {"Exponential", 1, 2, kDistribution},
    {"Weibull", 2, 3, kDistribution},
    {"Uniform", 2, 2, kDistribution},
    {"Triangular", 3, 3, kDistribution},
    {"PERT", 3, 4, kDistribution},
    {"Binomial", 2, 2, kDistribution},
    {"Poisson", 1, 1, kDistribution},
    {"NegativeBinomial", 2, 2, kDistribution},
    {"Geometric", 1, 1, kDistribution},
    {"Distribution", 1, kNone, kDistribution},
    {"NoisyOR", 2, kNone, kDistribution},  // pairs
    {"truncate", 2, 3, kDistribution},
    {"aggregate", 2, 2, kDistribution},
    {"probability", 1, 1, kNumeric},
    {"variance", 1, 1, kNumeric},
    {"quantile", 2, 2, kNumeric},
    {"min", 1, kNone, kNumeric},
    {"max", 1, kNone, kNumeric},
    {"log", 1, 1, kNumeric},
    {"log2", 1, 1, kNumeric},
    {"log10", 1, 1, kNumeric},
    {"exp", 1, 1, kNumeric},
    {"sin", 1, 1, kNumeric},
    {"cos", 1, 1, kNumeric},
    {"tan", 1, 1, kNumeric},
    {"sinh", 1, 1, kNumeric},
    {"cosh", 1, 1, kNumeric},
    {"tanh", 1, 1, kNumeric},
    {"sqrt", 1, 1, kNumeric},
    {"abs", 1, 1, kNumeric},
    {"floor", 1, 1, kNumeric},
    {"ceil", 1, 1, kNumeric},
    {"mod", 2, 2, kNumeric},
    {"if", 3, 3, kUnknown},
    {"and", 0, kNone, kBoolean},
    {"or", 0, kNone, kBoolean},
    {"not", 1, 1, kBoolean},
    {"+", 2, 2, kNumeric},
    {"-", 2, 2, kNumeric},
    {"*", 2, 2, kNumeric},
    {"/", 2, 2, kNumeric},
    {"^", 2, 2, kNumeric},
    {"-", 1, 1, kNumeric},
    {"#", 1, 1, kNumeric},
    {"==", 2, 2, kBoolean},
    {"<", 2, 2, kBoolean},
    {">", 2, 2, kBoolean},
    {"!=", 2, 2, kBoolean},
    {"<=", 2, 2, kBoolean},
    {">=", 2, 2, kBoolean},
    {"number", 0, 0, kNumeric},
    {"label", 0, 0, ValueType::label},
    {"node", 0, 0, kUnknown},
    {"boolean", 0, 0, kBoolean},
};
static_assert(sizeof kOperators / sizeof *kOperators == tv_operator_boolean - tv_operator_normal + 1);

// Whether an operand of this type can turn out to have the wanted one.
bool may_be(ValueType type, ValueType wanted) noexcept {
  return type == wanted || (type == kUnknown && wanted != kDistribution);
}

bool all_may_be(const ValueType* types, size_t count, ValueType wanted) noexcept {
  for (size_t i = 0; i < count; ++i)
    if (!may_be(types[i], wanted)) return false;
  return true;
}

bool agree(ValueType a, ValueType b) noexcept { return may_be(a, b) || may_be(b, a); }

bool are_pairs(const ValueType* types, size_t count) noexcept {
  for (size_t i = 0; i < count; ++i)
    if (!may_be(types[i], i % 2 == 0 ? kBoolean : kNumeric)) return false;
  return count % 2 == 0;
}

// A distribution with a lower bound in front of it, an upper one behind it, or both.
bool are_bounded(const ValueType* types, size_t count) noexcept {
  const size_t middle = types[0] == kDistribution ? 0 : 1;
  for (size_t i = 0; i < count; ++i)
    if (!may_be(types[i], i == middle ? kDistribution : kNumeric)) return false;
  return middle == 1 || count == 2;
}

}  // namespace

const OperatorInfo& operator_info(tv_operator_t op) noexcept { return kOperators[op - tv_operator_normal]; }

tv_operator_t find_operator(std::string_view name) noexcept {
  for (tv_operator_t op = tv_operator_normal; is_named(op); ++op)
    if (name == operator_info(op).name) return op;
  return -1;
}

bool accepts(tv_operator_t op, const ValueType* types, size_t count) noexcept {
  const OperatorInfo& info = operator_info(op);
  if (count < info.least || count > info.most) return false;
  switch (op) {
    case tv_operator_beta:
      return count != 3 && all_may_be(types, count, kNumeric);
    case tv_operator_noisy_or:
      return are_pairs(types, count);
    case tv_operator_truncate:
      return are_bounded(types, count);
    case tv_operator_aggregate:
    case tv_operator_state_index:
      return true;  // of nodes, which is for the caller to see
    case tv_operator_if:
      return may_be(types[0], kBoolean) && agree(types[1], types[2]);
    case tv_operator_probability:
    case tv_operator_and:
    case tv_operator_or:
    case tv_operator_not:
      return all_may_be(types, count, kBoolean);
    default:
      if (!is_comparison(op)) return all_may_be(types, count, kNumeric);
      return types[0] != kDistribution && agree(types[0], types[1]);
  }
}

ValueType result_type(tv_operator_t op, const ValueType* types) noexcept {
  if (op != tv_operator_if) return operator_info(op).type;
  return types[1] == kUnknown ? types[2] : types[1];
}

}  // namespace tv

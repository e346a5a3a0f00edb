// The operators of expressions: their names, how many operands they take, and of which types.
#pragma once

#include <string_view>

#include "network/types.h"

namespace tv {

enum class ValueType : int { numeric = 1, label = 2, boolean = 3, unknown = 4, distribution = 5 };

struct OperatorInfo {
  const char* name;    // or symbol
  size_t least, most;  // numbers of operands; kNone: no limit
  ValueType type;      // of the result; `if` takes the type of its branches
};

// Of an operator in the range that tv_is_operator gives.
const OperatorInfo& operator_info(tv_operator_t op) noexcept;

inline bool is_operator(tv_operator_t op) noexcept {
  return op >= tv_operator_normal && op <= tv_operator_boolean;
}
inline bool is_leaf(tv_operator_t op) noexcept { return op >= tv_operator_number; }

// Written as a name with its operands in parentheses; the others have a symbol.
inline bool is_named(tv_operator_t op) noexcept { return op < tv_operator_add; }

inline bool is_distribution(tv_operator_t op) noexcept { return op <= tv_operator_aggregate; }
inline bool is_comparison(tv_operator_t op) noexcept {
  return op >= tv_operator_equals && op <= tv_operator_greater_than_or_equals;
}

// The operator with this name; -1 when there is none.
tv_operator_t find_operator(std::string_view name) noexcept;

// Whether the operator takes operands of these types, in this order and number.
bool accepts(tv_operator_t op, const ValueType* types, size_t count) noexcept;

// The type of the result, of operands that are accepted.
ValueType result_type(tv_operator_t op, const ValueType* types) noexcept;

}  // namespace tv

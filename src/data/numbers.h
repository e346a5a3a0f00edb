// The items of a column as numbers: a decimal number with a point, perhaps with blanks around it.
#pragma once

#include <vector>

#include "data/data_set.h"

namespace tv {

// False if the text is no number, or one beyond the range of doubles.
bool read_item_number(std::string_view item, double& number) noexcept;

// In how many rows each code stands.
std::vector<size_t> count_codes(const DataColumn& column);

// The numbers by code. False if an item that stands in some row is none, or if no row has an item; `numbers`
// is unspecified then.
bool read_numbers(const DataColumn& column, const std::vector<size_t>& counts, std::vector<double>& numbers);

}  // namespace tv

// How items and names stand in CSV texts, so that they read as what they are.
#pragma once

#include "data/data_set.h"

namespace tv {

// Whether an item would be read as something else without quotation marks.
bool needs_quotes(std::string_view item, char separator, const MissingTexts& missing) noexcept;

// Between quotation marks, those inside doubled.
std::string quoted_item(std::string_view item);

// With quotation marks only where they are needed.
std::string csv_item(std::string_view item, char separator, const MissingTexts& missing);
std::string csv_name(std::string_view name, char separator);

}  // namespace tv

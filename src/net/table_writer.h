// The numbers of a table as the NET language nests them, one line for each configuration of the nodes whose
// states the comments name.
#pragma once

#include <string>

#include "network/node.h"
#include "text/output.h"

namespace tv {

// Whether the table's numbers go on the line of the keyword.
bool data_fits_on_line(const Table& table) noexcept;

// With the semicolon and the end of the line; `indent` starts every further line. The table has data.
void write_table(OutputSink& sink, const Table& table, std::string_view indent);

// A value of a state or the bound of an interval.
void write_state_value(OutputSink& sink, double value);

}  // namespace tv

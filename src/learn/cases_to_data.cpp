#include "learn/cases_to_data.h"

#include <charconv>

#include "api/boundary.h"
#include "learn/data_matching.h"
#include "network/cases.h"
#include "network/domain.h"
#include "network/node_operations.h"
#include "text/number_text.h"

namespace tv {
namespace {

constexpr const char* kCountColumn = "#count";

// With as many digits as bring the same number back.
template <class Number>
std::string item_of_number(Number number) {
  char text[kNumberRoom];
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

// `code_of` is asked for the code of each row.
template <class CodeOf>
void add_column(DataSet& data, const char* name, size_t rows, CodeOf code_of) {
  std::unique_ptr<DataColumn> column = new_column(*data.budget, name, 0);
  std::vector<Code> codes(rows);
  for (size_t row = 0; row < rows; ++row) codes[row] = code_of(*column, row);
  column->codes.append(codes.data(), codes.size());
  column->codes.shrink();
  column->items.seal();
  data.columns.push_back(std::move(column));
}

}  // namespace

void add_case_column(DataSet& data, Node& node, const CaseColumn& cells, size_t rows) {
  const char* const name = name_of(node);
  if (!is_discrete(node))
    return add_column(data, name, rows, [&](DataColumn& column, size_t row) {
      return cells.known[row] ? column.items.code_of(item_of_number(cells.values[row])) : kMissingCode;
    });
  std::vector<Code> codes(node.number_of_states, kMissingCode);
  add_column(data, name, rows, [&](DataColumn& column, size_t row) {
    if (cells.states[row] == kMissingCase) return kMissingCode;
    const auto state = static_cast<size_t>(cells.states[row]);
    if (codes[state] == kMissingCode) codes[state] = column.items.code_of(item_of_state(node, state));
    return codes[state];
  });
}

namespace {

std::unique_ptr<DataSet> cases_to_data(Domain& domain) {
  auto data = std::make_unique<DataSet>();
  if (!domain.cases.counts.empty())
    add_column(*data, kCountColumn, domain.cases.count, [&](DataColumn& column, size_t row) {
      return column.items.code_of(item_of_number(case_count(domain, row)));
    });
  for (Node& node : domain.nodes)
    if (!node.cases.empty()) add_case_column(*data, node, node.cases, domain.cases.count);
  return data;
}

}  // namespace
}  // namespace tv

tv_data_set_t* tv_domain_cases_to_data_set(tv_domain_t* domain) {
  return tv::guarded(static_cast<tv_data_set_t*>(nullptr), [&]() -> tv_data_set_t* {
    if (!tv::check(domain)) return nullptr;
    return tv::cases_to_data(*domain).release();
  });
}

// The cases of a domain as a data set.
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

class CaseWriter {
 public:
  explicit CaseWriter(Domain& domain) : domain_(domain), data_(std::make_unique<DataSet>()) {}

  std::unique_ptr<DataSet> write() {
    if (!domain_.cases.counts.empty())
      add_column(kCountColumn, [&](DataColumn& column, size_t row) {
        return column.items.code_of(item_of_number(case_count(domain_, row)));
      });
    for (Node& node : domain_.nodes) {
      if (node.cases.empty()) continue;
      const char* const name = name_of(node);
      if (!name) return nullptr;
      if (is_discrete(node)) {
        add_states(node, name);
      } else {
        add_column(name, [&](DataColumn& column, size_t row) {
          return case_is_set(node, row) ? column.items.code_of(item_of_number(node.cases.values[row]))
                                        : kMissingCode;
        });
      }
    }
    return std::move(data_);
  }

 private:
  void add_states(const Node& node, const char* name) {
    std::vector<Code> codes(node.number_of_states, kMissingCode);
    add_column(name, [&](DataColumn& column, size_t row) {
      if (!case_is_set(node, row)) return kMissingCode;
      const auto state = static_cast<size_t>(node.cases.states[row]);
      if (codes[state] == kMissingCode) codes[state] = column.items.code_of(item_of_state(node, state));
      return codes[state];
    });
  }

  // `code_of` is asked for the code of each row.
  template <class CodeOf>
  void add_column(const char* name, CodeOf code_of) {
    std::unique_ptr<DataColumn> column = new_column(*data_->budget, name, 0);
    std::vector<Code> codes(domain_.cases.count);
    for (size_t row = 0; row < codes.size(); ++row) codes[row] = code_of(*column, row);
    column->codes.append(codes.data(), codes.size());
    column->codes.shrink();
    column->items.seal();
    data_->columns.push_back(std::move(column));
  }

  Domain& domain_;
  std::unique_ptr<DataSet> data_;
};

}  // namespace
}  // namespace tv

tv_data_set_t* tv_domain_cases_to_data_set(tv_domain_t* domain) {
  return tv::guarded(static_cast<tv_data_set_t*>(nullptr), [&]() -> tv_data_set_t* {
    if (!tv::check(domain)) return nullptr;
    return tv::CaseWriter(*domain).write().release();
  });
}

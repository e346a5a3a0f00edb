// Drawing many configurations, as cases of the domain or as a data set.
#include <algorithm>

#include "analysis/simulation/sampler.h"
#include "api/boundary.h"
#include "learn/cases_to_data.h"
#include "network/cases.h"
#include "network/progress.h"
#include "network/refusals.h"

namespace tv {
namespace {

struct DrawnColumn {
  Node* node;
  CaseColumn cells;
};

// A column for each node, of `first` cases that are there and `count` empty ones.
tv_status_t make_columns(Domain& domain, size_t first, size_t count, std::vector<DrawnColumn>& columns) {
  const size_t rows = size_add(first, count);
  for (Node& node : domain.nodes) {
    if (!is_discrete_or_continuous(node)) continue;
    columns.push_back({&node, {}});
    CaseColumn& cells = columns.back().cells;
    const auto copy = [&](auto& to, const auto& from, auto missing) {
      to.assign(rows, missing);
      if (!from.empty()) std::copy_n(from.begin(), first, to.begin());
    };
    if (is_continuous(node)) {
      copy(cells.values, node.cases.values, 0.0);
      copy(cells.known, node.cases.known, static_cast<unsigned char>(0));
      continue;
    }
    if (node.number_of_states > kCaseStateLimit)
      return refuse(tv_status_case_state_too_large, "node \"%s\" has more than %zu states", shown_name(node),
                    kCaseStateLimit);
    copy(cells.states, node.cases.states, kMissingCase);
  }
  return tv_status_none;
}

class CaseDrawer {
 public:
  CaseDrawer(const Domain& domain, Sampler& sampler, std::vector<DrawnColumn>& columns)
      : sampler_(sampler), columns_(columns), states_(domain.node_count), values_(domain.node_count) {}

  void draw(size_t row, double missing_share, RandomGenerator& random) noexcept {
    sampler_.draw(states_.data(), values_.data(), random);
    for (DrawnColumn& column : columns_) {
      const size_t node = column.node->number - 1;
      if (!column.cells.states.empty()) {
        column.cells.states[row] = static_cast<int16_t>(states_[node]);
      } else {
        column.cells.values[row] = values_[node];
        column.cells.known[row] = 1;
      }
    }
    if (missing_share > 0.0) leave_out(row, missing_share, random);
  }

 private:
  void leave_out(size_t row, double share, RandomGenerator& random) noexcept {
    for (DrawnColumn& column : columns_) {
      if (random.uniform() >= share) continue;
      if (!column.cells.states.empty())
        column.cells.states[row] = kMissingCase;
      else
        column.cells.known[row] = 0;
    }
  }

  Sampler& sampler_;
  std::vector<DrawnColumn>& columns_;
  std::vector<size_t> states_;
  std::vector<double> values_;
};

// Behind `first` cases that are there. The generator is a copy of the domain's.
tv_status_t draw_columns(Domain& domain, size_t first, size_t count, double missing_share,
                         std::vector<DrawnColumn>& columns, RandomGenerator& random) {
  std::shared_ptr<Sampler> sampler;
  if (tv_status_t status = find_sampler(domain, true, sampler)) return status;
  if (tv_status_t status = make_columns(domain, first, count, columns)) return status;
  CaseDrawer drawer(domain, *sampler, columns);
  ProgressMeter progress(domain, "simulation", count);
  for (size_t row = first; row < first + count; ++row) {
    if (tv_status_t status = progress.advance()) return status;
    drawer.draw(row, missing_share, random);
  }
  return tv_status_none;
}

tv_status_t simulate_cases(Domain& domain, size_t count, double missing_share) {
  const size_t first = domain.cases.count;
  std::vector<DrawnColumn> columns;
  RandomGenerator random = domain.random;
  if (tv_status_t status = draw_columns(domain, first, count, missing_share, columns, random)) return status;
  if (count == 0) return tv_status_none;
  std::vector<tv_number_t> counts = domain.cases.counts;
  if (!counts.empty()) {
    counts.resize(first);
    counts.resize(first + count, 1);
  }
  for (DrawnColumn& column : columns) std::swap(column.node->cases, column.cells);
  take_counts(domain, first + count, counts);
  domain.random = random;
  return tv_status_none;
}

tv_data_set_t* simulate_data_set(Domain& domain, size_t count, double missing_share) {
  std::vector<DrawnColumn> columns;
  RandomGenerator random = domain.random;
  if (tv_status_t status = draw_columns(domain, 0, count, missing_share, columns, random))
    return store_status(status), nullptr;
  auto data = std::make_unique<DataSet>();
  for (DrawnColumn& column : columns) {
    add_case_column(*data, *column.node, column.cells, count);
    column.cells = {};
  }
  domain.random = random;
  return data.release();
}

bool is_share(double share) noexcept { return share >= 0.0 && share <= 1.0; }

}  // namespace
}  // namespace tv

tv_status_t tv_domain_simulate_cases(tv_domain_t* domain, size_t count, double missing_share) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain && tv::is_share(missing_share))) return tv_status_usage;
    return tv::simulate_cases(*domain, count, missing_share);
  });
}

tv_data_set_t* tv_domain_simulate_data_set(tv_domain_t* domain, size_t count, double missing_share) {
  return tv::guarded(static_cast<tv_data_set_t*>(nullptr), [&]() -> tv_data_set_t* {
    if (!tv::check(domain && tv::is_share(missing_share))) return nullptr;
    return tv::simulate_data_set(*domain, count, missing_share);
  });
}

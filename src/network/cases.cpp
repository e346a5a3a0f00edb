// Capacity grows by an eighth and a little more, so that adding cases one by one stays cheap; columns change
// their length together, built aside.
#include "network/cases.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

#include "api/boundary.h"
#include "network/domain.h"

namespace tv {
namespace {

constexpr size_t kCaseLimit = static_cast<size_t>(-1) / 64;  // beyond every memory

CaseColumn resized(const CaseColumn& column, size_t capacity) {
  CaseColumn result = column;
  if (!result.states.empty()) result.states.resize(capacity, kMissingCase);
  if (!result.values.empty()) {
    result.values.resize(capacity, 0.0);
    result.known.resize(capacity, 0);
  }
  return result;
}

void set_capacity(Domain& domain, size_t capacity) {
  std::vector<CaseColumn> columns;
  for (const Node& node : domain.nodes)
    if (!node.cases.empty()) columns.push_back(resized(node.cases, capacity));
  std::vector<tv_number_t> counts = domain.cases.counts;
  if (!counts.empty()) counts.resize(capacity, 1);

  size_t next = 0;
  for (Node& node : domain.nodes)
    if (!node.cases.empty()) std::swap(node.cases, columns[next++]);
  domain.cases.counts.swap(counts);
  domain.cases.capacity = capacity;
}

void forget_everything(Domain& domain) noexcept {
  for (Node& node : domain.nodes) node.cases = {};
  domain.cases = {};
}

void reset_cells(Domain& domain, size_t first, size_t last) noexcept {
  for (Node& node : domain.nodes)
    for (size_t i = first; i < last; ++i) unset_case(node, i);
  for (size_t i = first; i < last && !domain.cases.counts.empty(); ++i) domain.cases.counts[i] = 1;
}

void note_change(Domain& domain) noexcept {
  domain.log_likelihood_is_valid = false;
  ++domain.cases.changes;
}

bool has_cases(const Node& node) noexcept { return is_discrete_or_continuous(node); }

bool is_case(const Node& node, size_t index) noexcept { return index < node.domain->cases.count; }

}  // namespace

void set_number_of_cases(Domain& domain, size_t count) {
  note_change(domain);
  CaseTable& cases = domain.cases;
  const size_t capacity = cases.capacity;
  if (count > kCaseLimit) throw std::bad_alloc();
  if (count > capacity) {
    const size_t step = capacity / 8 + 32;
    set_capacity(domain, count - capacity >= step ? count : capacity + step);
  } else if (count == 0) {
    forget_everything(domain);
  } else if (count < cases.count) {
    if (capacity - count < capacity / 4 + 64)
      reset_cells(domain, count, cases.count);
    else
      set_capacity(domain, count);
  }
  cases.count = count;
}

void take_counts(Domain& domain, size_t count, std::vector<tv_number_t>& counts) noexcept {
  note_change(domain);
  domain.cases.count = domain.cases.capacity = count;
  domain.cases.counts.swap(counts);
}

tv_number_t case_count(const Domain& domain, size_t index) noexcept {
  return domain.cases.counts.empty() ? 1 : domain.cases.counts[index];
}

void set_case_count(Domain& domain, size_t index, tv_number_t count) {
  note_change(domain);
  std::vector<tv_number_t>& counts = domain.cases.counts;
  if (counts.empty() && count == 1) return;
  if (counts.empty()) counts.assign(domain.cases.capacity, 1);
  counts[index] = count;
}

tv_status_t set_case_state(Node& node, size_t index, size_t state) {
  note_change(*node.domain);
  if (state >= kCaseStateLimit) return tv_status_case_state_too_large;
  if (node.cases.states.empty()) node.cases.states.assign(node.domain->cases.capacity, kMissingCase);
  node.cases.states[index] = static_cast<int16_t>(state);
  return tv_status_none;
}

void set_case_value(Node& node, size_t index, double value) {
  note_change(*node.domain);
  CaseColumn& column = node.cases;
  if (column.values.empty()) {
    CaseColumn fresh;
    fresh.values.assign(node.domain->cases.capacity, 0.0);
    fresh.known.assign(node.domain->cases.capacity, 0);
    column = std::move(fresh);
  }
  column.values[index] = value;
  column.known[index] = 1;
}

void unset_case(Node& node, size_t index) noexcept {
  note_change(*node.domain);
  if (!node.cases.states.empty()) node.cases.states[index] = kMissingCase;
  if (!node.cases.known.empty()) node.cases.known[index] = 0;
}

bool case_is_set(const Node& node, size_t index) noexcept {
  if (!node.cases.states.empty()) return node.cases.states[index] != kMissingCase;
  return !node.cases.known.empty() && node.cases.known[index];
}

void forget_case_states_from(Node& node, size_t count) noexcept {
  note_change(*node.domain);
  for (int16_t& state : node.cases.states)
    if (state != kMissingCase && static_cast<size_t>(state) >= count) state = kMissingCase;
}

void reorder_case_states(Node& node, const size_t* order) noexcept {
  note_change(*node.domain);
  const size_t* const end = order + node.number_of_states;
  for (int16_t& state : node.cases.states)
    if (state != kMissingCase)
      state = static_cast<int16_t>(std::find(order, end, static_cast<size_t>(state)) - order);
}

}  // namespace tv

tv_status_t tv_domain_set_number_of_cases(tv_domain_t* domain, size_t count) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain)) return tv_status_usage;
    tv::set_number_of_cases(*domain, count);
    return tv_status_none;
  });
}

size_t tv_domain_new_case(tv_domain_t* domain) {
  return tv::guarded(tv::kNone, [&]() -> size_t {
    if (!tv::check(domain)) return tv::kNone;
    tv::set_number_of_cases(*domain, domain->cases.count + 1);
    return domain->cases.count - 1;
  });
}

size_t tv_domain_get_number_of_cases(const tv_domain_t* domain) {
  return tv::check(domain) ? domain->cases.count : tv::kNone;
}

tv_status_t tv_domain_set_case_count(tv_domain_t* domain, size_t case_index, tv_number_t count) {
  return tv::guarded([&]() -> tv_status_t {
    const bool valid = count >= 0 && count <= std::numeric_limits<tv_number_t>::max();
    if (!tv::check(domain && case_index < domain->cases.count && valid)) return tv_status_usage;
    tv::set_case_count(*domain, case_index, count);
    return tv_status_none;
  });
}

tv_number_t tv_domain_get_case_count(const tv_domain_t* domain, size_t case_index) {
  return tv::check(domain && case_index < domain->cases.count) ? tv::case_count(*domain, case_index) : -1;
}

tv_status_t tv_node_set_case_state(tv_node_t* node, size_t case_index, size_t state) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(node && tv::is_discrete(*node) && tv::is_case(*node, case_index) &&
                   state < node->number_of_states))
      return tv_status_usage;
    return tv::set_case_state(*node, case_index, state);
  });
}

tv_status_t tv_node_set_case_value(tv_node_t* node, size_t case_index, double value) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(node && tv::is_continuous(*node) && tv::is_case(*node, case_index) &&
                   std::isfinite(value)))
      return tv_status_usage;
    tv::set_case_value(*node, case_index, value);
    return tv_status_none;
  });
}

tv_status_t tv_node_unset_case(tv_node_t* node, size_t case_index) {
  if (!tv::check(node && tv::has_cases(*node) && tv::is_case(*node, case_index))) return tv_status_usage;
  tv::unset_case(*node, case_index);
  return tv_status_none;
}

int tv_node_case_is_set(const tv_node_t* node, size_t case_index) {
  if (!tv::check(node && tv::has_cases(*node) && tv::is_case(*node, case_index))) return -1;
  return tv::case_is_set(*node, case_index);
}

size_t tv_node_get_case_state(const tv_node_t* node, size_t case_index) {
  if (!tv::check(node && tv::is_discrete(*node) && tv::is_case(*node, case_index))) return tv::kNone;
  if (!tv::require(tv::case_is_set(*node, case_index), tv_status_no_value)) return tv::kNone;
  return static_cast<size_t>(node->cases.states[case_index]);
}

double tv_node_get_case_value(const tv_node_t* node, size_t case_index) {
  if (!tv::check(node && tv::is_continuous(*node) && tv::is_case(*node, case_index))) return -1.0;
  if (!tv::require(tv::case_is_set(*node, case_index), tv_status_no_value)) return -1.0;
  return node->cases.values[case_index];
}

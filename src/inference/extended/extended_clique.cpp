#include "inference/extended/extended_clique.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "inference/schedule/lazy_clique.h"

namespace tv {
namespace {

size_t observed_state(const TreeEngine& engine, const Node& node) noexcept {
  return static_cast<size_t>(std::max<ptrdiff_t>(engine[node].propagated_state, 0));
}

void set_from_logarithm(WideArray& array, size_t i, double logarithm) noexcept {
  if (!std::isfinite(logarithm)) return;
  const double binary = logarithm / std::numbers::ln2, whole = std::floor(binary);
  array.mantissas[i] = std::exp2(binary - whole);
  array.exponents[i] = static_cast<int32_t>(whole);
}

}  // namespace

size_t ExtendedClique::size() const noexcept {
  size_t size = 1;
  for (const size_t count : counts_) size *= count;
  return size;
}

void ExtendedClique::add_scalar(double number) {
  numbers_.push_back({{number}, {}});
  factors_.push_back({&numbers_.back(), std::vector<size_t>(counts_.size(), 0)});
}

// A copy of the entries that agree with the observed states. `read(array, i, position)` fills entry i from
// the position in the whole table, along which the members have these strides.
template <class Read>
void ExtendedClique::add_reduced(const size_t* member_strides, Read read) {
  size_t position = 0;
  for (size_t m = 0; m < work_.table.members->size(); ++m)
    if (member_strides[m] && !std::binary_search(members_.begin(), members_.end(), m))
      position += member_strides[m] * observed_state(engine_, member(m));
  std::vector<size_t> strides(counts_.size(), 0), dimensions;
  size_t size = 1;
  for (size_t d = counts_.size(); d-- > 0;) {
    if (member_strides[members_[d]] == 0) continue;
    strides[d] = size;
    size *= counts_[d];
    dimensions.push_back(d);
  }
  numbers_.push_back({std::vector<double>(size), {}});
  WideArray& array = numbers_.back();
  std::vector<size_t> states(dimensions.size(), 0);  // the innermost first
  for (size_t i = 0; i < size; ++i) {
    read(array, i, position);
    for (size_t k = 0; k < dimensions.size(); ++k) {
      const size_t stride = member_strides[members_[dimensions[k]]];
      position += stride;
      if (++states[k] < counts_[dimensions[k]]) break;
      position -= stride * states[k];
      states[k] = 0;
    }
  }
  factors_.push_back({&array, std::move(strides)});
}

// Over the entries of a sparse clique, which are fewer than those of some potentials.
void ExtendedClique::add_product_of_potentials() {
  WideArray& array = numbers_.emplace_back();
  array.mantissas.assign(counts_[0], 1.0);
  array.exponents.assign(counts_[0], 0);
  for (const CliquePotential& plan : work_.potentials) {
    const Table* const table = plan.table();
    const std::span<const size_t> strides(plan.strides, plan.members->size());
    for (size_t i = 0; i < counts_[0]; ++i) {
      const double factor = table ? static_cast<double>(table->data[work_.table.sparse->index(i, strides)])
                                  : 1.0 / static_cast<double>(plan.owner->number_of_states);
      int shift = 0;
      array.mantissas[i] = std::frexp(array.mantissas[i] * factor, &shift);
      array.exponents[i] = array.mantissas[i] > 0.0 ? array.exponents[i] + shift : 0;
    }
  }
  factors_.push_back({&array, own_map()});
}

void ExtendedClique::add_potentials() {
  if (work_.sparse) return add_product_of_potentials();
  for (const CliquePotential& plan : work_.potentials) {
    if (plan.node() && engine_[*plan.node()].policy_left_out) continue;
    const Table* const table = plan.table();
    if (!table) {
      add_scalar(1.0 / static_cast<double>(plan.owner->number_of_states));
      continue;
    }
    add_reduced(plan.strides, [&](WideArray& array, size_t i, size_t position) {
      array.mantissas[i] = static_cast<double>(table->data[position]);
    });
  }
}

void ExtendedClique::add_finding(size_t m, const tv_number_t* finding) {
  if (work_.sparse) {
    numbers_.push_back({std::vector<double>(finding, finding + member(m).number_of_states), {}});
    factors_.push_back({&numbers_.back(), map_of_member(m)});
    return;
  }
  const auto dimension = std::lower_bound(members_.begin(), members_.end(), m);
  if (dimension == members_.end() || *dimension != m)
    return add_scalar(static_cast<double>(finding[observed_state(engine_, member(m))]));
  numbers_.push_back({std::vector<double>(finding, finding + member(m).number_of_states), {}});
  factors_.push_back({&numbers_.back(), map_of_member(m)});
}

void ExtendedClique::add_state(size_t m, size_t state) {
  if (!work_.sparse && !std::binary_search(members_.begin(), members_.end(), m)) return;
  numbers_.push_back({std::vector<double>(member(m).number_of_states, 0.0), {}});
  numbers_.back().mantissas[state] = 1.0;
  factors_.push_back({&numbers_.back(), map_of_member(m)});
}

void ExtendedClique::add_logarithms(const LogFactor& factor) {
  std::vector<size_t> strides(work_.table.members->size(), 0);
  size_t stride = 1;
  for (size_t m = strides.size(); m-- > 0;) {
    if (!is_discrete(member(m))) continue;
    strides[m] = stride;
    stride *= member(m).number_of_states;
  }
  add_reduced(strides.data(), [&](WideArray& array, size_t i, size_t position) {
    if (array.is_plain()) array.exponents.assign(array.size(), 0);
    set_from_logarithm(array, i, factor.logarithms[position]);
  });
}

std::vector<size_t> ExtendedClique::strides_in(const CliqueLink& link, const NodeList& separator) const {
  std::vector<size_t> of_member(separator.size(), 0), strides(counts_.size(), 0);
  for (size_t d = 0; d < counts_.size(); ++d)
    if (link.member_of[members_[d]] != kNoMember) of_member[link.member_of[members_[d]]] = counts_[d];
  size_t stride = 1;
  for (size_t s = of_member.size(); s-- > 0;) {
    if (of_member[s] == 0) continue;
    const size_t count = of_member[s];
    of_member[s] = stride;
    stride *= count;
  }
  for (size_t d = 0; d < counts_.size(); ++d)
    if (link.member_of[members_[d]] != kNoMember) strides[d] = of_member[link.member_of[members_[d]]];
  return strides;
}

WideMap ExtendedClique::map_of_link(const CliqueLink& link, const NodeList& separator) const {
  if (work_.sparse) return work_.sparse->links[position_of(work_, link)];
  return strides_in(link, separator);
}

size_t ExtendedClique::separator_size(const CliqueLink& link) const noexcept {
  if (work_.sparse) return work_.sparse->links[position_of(work_, link)].other_size;
  size_t size = 1;
  for (size_t d = 0; d < counts_.size(); ++d)
    if (link.member_of[members_[d]] != kNoMember) size *= counts_[d];
  return size;
}

WideMap ExtendedClique::map_of_member(size_t m) const {
  if (work_.sparse) return work_.table.sparse->states(m);
  std::vector<size_t> strides(counts_.size(), 0);
  const auto dimension = std::lower_bound(members_.begin(), members_.end(), m);
  if (dimension != members_.end() && *dimension == m)
    strides[static_cast<size_t>(dimension - members_.begin())] = 1;
  return strides;
}

WideMap ExtendedClique::own_map() const {
  std::vector<size_t> strides(counts_.size());
  size_t stride = 1;
  for (size_t d = counts_.size(); d-- > 0; stride *= counts_[d]) strides[d] = stride;
  return strides;
}

}  // namespace tv

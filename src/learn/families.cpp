// Families and their counts.
#include "learn/families.h"

#include <algorithm>

#include "network/node_operations.h"
#include "tables/table_numbers.h"

namespace tv {

namespace {

// Adds the moments of one configuration, which were taken about other origins: with a difference d of each,
// the sum of (x + d)(y + e) is that of xy + ey + dx + de. The first of them is the constant, which has none.
void add_shifted(double* moments, const double* others, const FamilyCounts& counts,
                 const FamilyCounts& other) noexcept {
  const auto difference = [&](size_t i) {
    return i == 0 ? 0.0 : other.origins[i - 1] - counts.origins[i - 1];
  };
  const auto first = [&](size_t i) { return others[i * (i + 1) / 2]; };  // of its row: the sum of x
  for (size_t i = 0, place = 0; i <= counts.origins.size(); ++i)
    for (size_t j = 0; j <= i; ++j, ++place)
      moments[place] += others[place] + difference(j) * first(i) +
                        difference(i) * (j == 0 ? others[0] : first(j) + difference(j) * others[0]);
}

}  // namespace

void FamilyCounts::add(const FamilyCounts& other) noexcept {
  for (size_t i = 0; i < numbers.size(); ++i) numbers[i] += other.numbers[i];
  if (origins == other.origins) {
    for (size_t i = 0; i < moments.size(); ++i) moments[i] += other.moments[i];
    return;
  }
  const size_t size = moment_count(origins.size());
  for (size_t i = 0; i < moments.size(); i += size)
    add_shifted(moments.data() + i, other.moments.data() + i, *this, other);
}

FamilyCounts FamilyCounts::cleared() const {
  FamilyCounts counts;
  counts.numbers.resize(numbers.size());
  counts.moments.resize(moments.size());
  counts.origins = origins;
  return counts;
}

bool is_to_be_learned(const Node& node) noexcept {
  if (node.category != tv_category_chance || !node.experience_table) return false;
  const Table& experience = *node.experience_table;
  if (!has_data(experience)) return true;  // zeros
  return *std::max_element(experience.data.data(), experience.data.data() + experience.size) >= 0;
}

tv_status_t collect_families(Domain& domain, std::vector<Family>& families) {
  for (Node& node : domain.nodes) {
    if (!is_discrete_or_continuous(node)) continue;
    Family family;
    family.node = &node;
    family.table = filled_node_table(node);
    if (!family.table) return tv_status_no_memory;
    family.is_learned = is_to_be_learned(node);
    if (family.is_learned)
      family.experience_places = places_of_configurations(*family.table, *node.experience_table);
    size_t stride = 1;
    family.strides.resize(family.table->discrete_count);
    for (size_t i = family.table->discrete_count; i-- > 0; stride *= family.table->nodes[i]->number_of_states)
      family.strides[i] = stride;
    for (size_t i = 0; i < family.table->discrete_count; ++i)
      family.members.push_back(family.table->nodes[i]);
    families.push_back(std::move(family));
  }
  return tv_status_none;
}

std::vector<size_t> places_of_configurations(const Table& own, const Table& other) {
  std::vector<size_t> places(1, 0);
  for (size_t i = 0; i < own.discrete_count; ++i) {
    if (own.nodes[i] == own.owner) continue;
    size_t stride = 1;
    for (size_t k = other.discrete_count; k-- > 0 && other.nodes[k] != own.nodes[i];)
      stride *= other.nodes[k]->number_of_states;
    std::vector<size_t> longer;
    for (const size_t place : places)
      for (size_t s = 0; s < own.nodes[i]->number_of_states; ++s) longer.push_back(place + s * stride);
    places.swap(longer);
  }
  return places;
}

FamilyCounts empty_counts(const Family& family) {
  FamilyCounts counts;
  counts.numbers.assign(family.size(), 0.0);
  if (is_continuous(*family.node)) {
    counts.moments.assign(family.size() * moment_count(family.table->continuous_count), 0.0);
    counts.origins.assign(family.table->continuous_count, 0.0);
  }
  return counts;
}

std::vector<FamilyCounts> empty_counts(const std::vector<Family>& families) {
  std::vector<FamilyCounts> counts;
  counts.reserve(families.size());
  for (const Family& family : families)
    counts.push_back(family.is_learned ? empty_counts(family) : FamilyCounts());
  return counts;
}

std::vector<FamilyCounts> cleared(const std::vector<FamilyCounts>& counts) {
  std::vector<FamilyCounts> result;
  result.reserve(counts.size());
  for (const FamilyCounts& count : counts) result.push_back(count.cleared());
  return result;
}

void add_counts(std::vector<FamilyCounts>& counts, const std::vector<FamilyCounts>& others) noexcept {
  for (size_t f = 0; f < counts.size(); ++f) counts[f].add(others[f]);
}

}  // namespace tv

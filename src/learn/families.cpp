// Families and their counts.
#include "learn/families.h"

#include <algorithm>
#include <cmath>

#include "network/cases.h"
#include "network/node_operations.h"
#include "tables/table_numbers.h"

namespace tv {

void FamilyCounts::clear() noexcept {
  std::fill(numbers.begin(), numbers.end(), 0.0);
  std::fill(moments.begin(), moments.end(), 0.0);
}

void FamilyCounts::add(const FamilyCounts& other) noexcept {
  for (size_t i = 0; i < numbers.size(); ++i) numbers[i] += other.numbers[i];
  for (size_t i = 0; i < moments.size(); ++i) moments[i] += other.moments[i];
}

bool is_to_be_learned(const Node& node) noexcept {
  if (node.category != tv_category_chance || !node.experience_table) return false;
  const Table& experience = *node.experience_table;
  if (!has_data(experience)) return true;  // zeros
  return *std::max_element(experience.data.data(), experience.data.data() + experience.size) >= 0;
}

namespace {

double mean_of_cases(const Node& node) noexcept {
  double sum = 0.0, count = 0.0;
  for (size_t row = 0; row < node.domain->cases.count; ++row) {
    if (!case_is_set(node, row)) continue;
    sum += node.cases.values[row];
    ++count;
  }
  const double mean = sum / count;
  return std::isfinite(mean) ? mean : 0.0;
}

}  // namespace

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
    for (size_t i = 0; i < family.table->continuous_count; ++i)
      family.origins.push_back(mean_of_cases(*family.continuous(i)));
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
  if (is_continuous(*family.node))
    counts.moments.assign(family.size() * moment_count(family.table->continuous_count), 0.0);
  return counts;
}

}  // namespace tv

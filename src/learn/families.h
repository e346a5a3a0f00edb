// The families of a network whose distributions are learned: their tables, what is known beforehand, and the
// counts that an iteration collects.
#pragma once

#include <vector>

#include "network/domain.h"
#include "tables/table.h"

namespace tv {

// The distribution of a node given its parents, as a factor over discrete nodes.
struct Family {
  Node* node = nullptr;
  Table* table = nullptr;
  std::vector<const Node*> members;  // the discrete ones, in the order of the table
  std::vector<size_t> strides;       // of each in the table
  bool is_learned = false;
  std::vector<size_t> experience_places;  // of a learned one: by configuration of the parents

  // Of a learned one, by configuration of the parents in its table; 0 where nobody has set any.
  tv_number_t experience(size_t configuration) const noexcept {
    const Table& counts = *node->experience_table;
    return has_data(counts) ? counts.data[experience_places[configuration]] : 0;
  }
  bool learns(size_t configuration) const noexcept { return experience(configuration) >= 0; }

  bool operator==(const Family&) const = default;

  const Node* continuous(size_t i) const noexcept { return table->nodes[table->discrete_count + i]; }
  size_t size() const noexcept { return table->size; }
};

// The expected counts of an iteration: for a discrete node a number for each entry of its table, for a
// continuous one the number and the second moments of (1, parents, node) for each configuration.
struct FamilyCounts {
  std::vector<double> numbers;
  std::vector<double> moments;  // for each configuration the lower triangle, row by row
  // Moments are taken about a value near the data, so that nothing is lost to cancellation: by continuous
  // node of the table, of which the family's own comes first.
  std::vector<double> origins;

  double deviation(size_t i, double value) const noexcept { return value - origins[i]; }
  void add(const FamilyCounts& other) noexcept;  // which may have other origins

  // Nothing yet, of the same shape and with the same origins.
  FamilyCounts cleared() const;
};

// How many numbers the lower triangle of the moments of (1, parents, node) has.
inline size_t moment_count(size_t continuous) noexcept { return (continuous + 1) * (continuous + 2) / 2; }

// The families of all discrete and continuous nodes that have a distribution, learned or not, in node order.
// Tables are made where nobody has asked for them.
tv_status_t collect_families(Domain& domain, std::vector<Family>& families);

// A chance node with an experience table whose largest entry is not negative.
bool is_to_be_learned(const Node& node) noexcept;

// By configuration of the parents in a node's own table its place in its experience or fading table, which
// may have the parents in another order.
std::vector<size_t> places_of_configurations(const Table& own, const Table& other);

// With origins of 0.
FamilyCounts empty_counts(const Family& family);

// By family; nothing at all for one that is not learned.
std::vector<FamilyCounts> empty_counts(const std::vector<Family>& families);
std::vector<FamilyCounts> cleared(const std::vector<FamilyCounts>& counts);

// To the families that are learned.
void add_counts(std::vector<FamilyCounts>& counts, const std::vector<FamilyCounts>& others) noexcept;

}  // namespace tv

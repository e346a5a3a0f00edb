// A clique as an extended propagation sees it: its unobserved members, and the factors that are multiplied.
#pragma once

#include <deque>
#include <vector>

#include "inference/compress/sparse_tree.h"
#include "inference/engine.h"
#include "inference/extended/wide_pass.h"

namespace tv {

// Numbers that are multiplied into a clique beside its potentials, given by their natural logarithms for
// every configuration of its discrete members; minus infinity stands for zero.
struct LogFactor {
  uint32_t clique = 0;
  std::vector<double> logarithms;
};

class ExtendedClique {
 public:
  // `is_free(node)` tells which members have dimensions; the others have one possible state each,
  // `observed(node)`.
  template <class IsFree>
  ExtendedClique(const TreeEngine& engine, const CliqueWork& work, IsFree is_free)
      : engine_(engine), work_(work) {
    if (work.sparse) counts_.push_back(work.table.sparse->size());
    for (size_t m = 0; m < work.table.members->size() && !work.sparse; ++m) {
      if (!is_free(*(*work.table.members)[m])) continue;
      members_.push_back(m);
      counts_.push_back(member(m).number_of_states);
    }
  }

  const CliqueWork& work() const noexcept { return work_; }
  const std::vector<size_t>& counts() const noexcept { return counts_; }
  // By dimension; a sparse clique has one of its own.
  const std::vector<size_t>& members() const noexcept { return members_; }
  const Node& member(size_t m) const noexcept { return *(*work_.table.members)[m]; }
  size_t size() const noexcept;

  void add_potentials();
  void add_finding(size_t m, const tv_number_t* finding);  // one number for each state
  void add_state(size_t m, size_t state);                  // all others are impossible
  void add_logarithms(const LogFactor& factor);
  void add_message(const WideArray& numbers, WideMap map) { factors_.push_back({&numbers, std::move(map)}); }

  // Removes the factors that were added last, until so many are left.
  size_t factor_count() const noexcept { return factors_.size(); }
  void keep_factors(size_t count) noexcept { factors_.resize(count); }
  std::span<const WideOperand> factors() const noexcept { return factors_; }

  // Maps from the configurations of the clique: to a separator's table, to one member, to the table itself.
  WideMap map_of_link(const CliqueLink& link, const NodeList& separator) const;
  WideMap map_of_member(size_t m) const;
  WideMap own_map() const;
  WideMap map_of_all() const { return std::vector<size_t>(counts_.size(), 0); }  // to one number
  size_t separator_size(const CliqueLink& link) const noexcept;

 private:
  void add_scalar(double number);
  void add_product_of_potentials();
  std::vector<size_t> strides_in(const CliqueLink& link, const NodeList& separator) const;
  template <class Read>
  void add_reduced(const size_t* member_strides, Read read);

  const TreeEngine& engine_;
  const CliqueWork& work_;
  std::vector<size_t> members_, counts_;
  std::vector<WideOperand> factors_;
  std::deque<WideArray> numbers_;  // of those that are no messages
};

}  // namespace tv

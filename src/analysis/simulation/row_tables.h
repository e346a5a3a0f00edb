// Conditional distributions from which single states are drawn: of a discrete node, given the states of nodes
// that were drawn before it, in proportion to a product of factors. The product is formed row by row, when a
// row is first drawn from, and small tables keep the sums of their rows.
#pragma once

#include <memory>
#include <vector>

#include "inference/extended/wide_number.h"
#include "network/node.h"
#include "network/random_generator.h"

namespace tv {

class ProgressMeter;
class WideProduct;

// A table over some nodes; of one that is observed, the offset takes account.
struct RowFactor {
  struct Member {
    size_t node;  // its number - 1
    size_t step;
  };
  const tv_number_t* numbers = nullptr;
  const WideNumber* message = nullptr;  // in their place
  size_t offset = 0;
  std::vector<Member> members;

  size_t step_of(size_t node) const noexcept {
    for (const Member& member : members)
      if (member.node == node) return member.step;
    return 0;
  }
};

// What a node is drawn given: its number - 1, and how many states it has.
struct Given {
  size_t node, states;
};

class RowTables {
 public:
  explicit RowTables(bool keeps_sums) : keeps_sums_(keeps_sums) {}

  // Adds the table of a node; its factors mention nothing else than the node and what is given. Their numbers
  // must stay where they are. Returns its index.
  size_t add(const Node& node, const std::vector<Given>& given, const std::vector<RowFactor>& factors);

  // The rows of a table, kHugeSize when they are too many; and what the weights of each sum to, in the order
  // of the configurations of what is given. False if the host asks `progress` to stop.
  size_t row_count(size_t table) const noexcept { return tables_[table].rows; }
  bool sum_rows(size_t table, WideNumber* sums, ProgressMeter& progress);

  // To be called when all tables are there.
  void make_room();

  // The states of everything that is given have been drawn.
  size_t draw(size_t table, const size_t* states, RandomGenerator& random) noexcept;

 private:
  struct Record {
    size_t states = 0, rows = 1;
    size_t first_given = 0, given_count = 0;
    size_t first_factor = 0, factor_count = 0;
    size_t kept = kNone;  // where its sums are kept
  };
  struct Term {
    size_t node, states;
    size_t step;  // in the rows
  };
  struct Part {
    const tv_number_t* numbers;
    const WideNumber* message;
    size_t offset, own_step, first_step;  // in steps_, one for each node that is given
  };

  WideProduct weight(const Record& record, const size_t* offsets, size_t state) const noexcept;
  void fill_row(const Record& record, const size_t* offsets, double* sums) noexcept;

  bool keeps_sums_;
  std::vector<Record> tables_;
  std::vector<Term> given_;
  std::vector<Part> parts_;
  std::vector<size_t> steps_;
  std::vector<double> kept_;  // cumulative sums of rows; the last one is 0 until they are made

  // Workspace, for the largest table.
  size_t most_states_ = 0, most_factors_ = 0, most_given_ = 0;
  std::vector<double> row_, mantissas_;
  std::vector<int64_t> exponents_;
  std::vector<size_t> offsets_;
};

}  // namespace tv

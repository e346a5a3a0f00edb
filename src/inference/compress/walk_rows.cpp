// Joining by a walk through all configurations in their order, block by block. A block holds all
// configurations of the last nodes for one of the others; a byte for each tells whether it is possible.
#include <algorithm>

#include "inference/compress/join_rows.h"

namespace tv {
namespace {

constexpr size_t kBlock = 4096;  // configurations at most, unless the last node alone has more states

size_t states_of(const PackedRows& rows, size_t node) noexcept { return rows.nodes[node]->number_of_states; }

// A relation with a byte for each configuration of its nodes, these in the order of the result.
class ByteTable {
 public:
  ByteTable(const PackedRows& relation, const PackedRows& result, size_t first_inner);

  void set_state(size_t node, size_t from, size_t to) noexcept {
    offset_ += to * strides_[node];
    offset_ -= from * strides_[node];
  }

  // Rules out of a block what the relation does; whether anything is left. All bytes are zero or one.
  bool restrict(std::vector<unsigned char>& block);

  double share() const noexcept { return share_; }

 private:
  size_t offset_ = 0;            // of the block
  double share_;                 // of configurations that are possible
  std::vector<size_t> strides_;  // by node of the result; 0 for others
  std::vector<unsigned char> possible_;
  std::vector<uint32_t> inner_;      // offsets within a block
  std::vector<unsigned char> part_;  // what a block sees of the relation, at `part_offset_`
  size_t part_offset_ = SIZE_MAX;
  bool part_is_empty_ = false;
};

ByteTable::ByteTable(const PackedRows& relation, const PackedRows& result, size_t first_inner)
    : strides_(result.nodes.size(), 0) {
  size_t size = 1;
  std::vector<size_t> strides(relation.nodes.size());
  for (size_t node = result.nodes.size(); node-- > 0;) {
    const auto found = std::find(relation.nodes.begin(), relation.nodes.end(), result.nodes[node]);
    if (found == relation.nodes.end()) continue;
    strides[static_cast<size_t>(found - relation.nodes.begin())] = strides_[node] = size;
    size *= states_of(result, node);
  }
  share_ = static_cast<double>(relation.size()) / static_cast<double>(size);
  possible_.assign(size, 0);
  for (size_t row = 0; row < relation.size(); ++row) {
    size_t place = 0;
    for (size_t node = 0; node < strides.size(); ++node) place += relation.state(row, node) * strides[node];
    possible_[place] = 1;
  }
  inner_.assign(1, 0);
  for (size_t node = first_inner; node < result.nodes.size(); ++node) {
    std::vector<uint32_t> longer;
    longer.reserve(inner_.size() * states_of(result, node));
    for (const uint32_t offset : inner_)
      for (size_t state = 0; state < states_of(result, node); ++state)
        longer.push_back(static_cast<uint32_t>(offset + state * strides_[node]));
    inner_.swap(longer);
  }
  part_.resize(inner_.size());
}

bool ByteTable::restrict(std::vector<unsigned char>& block) {
  const size_t size = part_.size();  // bytes may be anything's to the compiler, which would read it each time
  unsigned char* const part = part_.data();
  if (part_offset_ != offset_) {
    part_offset_ = offset_;
    const unsigned char* const base = possible_.data() + offset_;
    const uint32_t* const inner = inner_.data();
    unsigned char any = 0;
    for (size_t i = 0; i < size; ++i) any |= part[i] = base[inner[i]];
    part_is_empty_ = !any;
  }
  if (part_is_empty_) return false;
  unsigned char* const possible = block.data();
  unsigned char any = 0;
  for (size_t i = 0; i < size; ++i) any |= possible[i] &= part[i];
  return any != 0;
}

class Walk {
 public:
  Walk(const JoinRequest& request, PackedRows& rows) : request_(request), rows_(rows) {
    size_t size = 1;
    first_inner_ = rows.nodes.size();
    while (first_inner_ > 0) {
      const size_t states = states_of(rows, first_inner_ - 1);
      if (size > 1 && size * states > kBlock) break;
      size *= states;
      --first_inner_;
    }
    set_keys(size);
    for (const PackedRows* relation : request.relations) tables_.emplace_back(*relation, rows, first_inner_);
    // The one that rules out most often comes first, and empties many a block alone.
    std::sort(tables_.begin(), tables_.end(),
              [](const ByteTable& a, const ByteTable& b) { return a.share() < b.share(); });
  }

  tv_status_t run() {
    std::vector<size_t> states(first_inner_, 0);
    do {
      find_rows();
      if (rows_.size() > request_.most_rows) return tv_status_no_memory;
      request_.progress.look_in(block_.size() * (tables_.size() + 1));
      if (request_.progress.is_stopped()) return tv_status_error;
    } while (advance(states));
    return tv_status_none;
  }

 private:
  // The bits of the inner nodes, by place in the block.
  void set_keys(size_t size) {
    block_.resize(size);
    found_.resize(size);
    inner_keys_.assign(size, 0);
    size_t stride = size;
    for (size_t node = first_inner_; node < rows_.nodes.size(); ++node) {
      stride /= states_of(rows_, node);
      for (size_t i = 0; i < size; ++i)
        PackedRows::set_state(&inner_keys_[i], rows_.fields[node], i / stride % states_of(rows_, node));
    }
  }

  void find_rows() {
    std::fill(block_.begin(), block_.end(), 1);
    for (ByteTable& table : tables_)
      if (!table.restrict(block_)) return;
    uint64_t* next = found_.data();
    const uint64_t outer_key = outer_key_;
    for (size_t i = 0; i < block_.size(); ++i) {
      *next = outer_key | inner_keys_[i];
      next += block_[i];
    }
    rows_.keys.insert(rows_.keys.end(), found_.data(), next);
  }

  // To the next configuration of the outer nodes; false behind the last.
  bool advance(std::vector<size_t>& states) noexcept {
    for (size_t node = first_inner_; node-- > 0;) {
      const size_t from = states[node];
      const size_t to = from + 1 < states_of(rows_, node) ? from + 1 : 0;
      states[node] = to;
      const PackedRows::Field& field = rows_.fields[node];
      outer_key_ &= ~(field.mask << field.shift);
      PackedRows::set_state(&outer_key_, field, to);
      for (ByteTable& table : tables_) table.set_state(node, from, to);
      if (to) return true;
    }
    return false;
  }

  const JoinRequest& request_;
  PackedRows& rows_;
  size_t first_inner_ = 0;  // of the nodes of a block
  std::vector<ByteTable> tables_;
  uint64_t outer_key_ = 0;
  std::vector<uint64_t> inner_keys_, found_;
  std::vector<unsigned char> block_;
};

}  // namespace

tv_status_t walk_rows(const JoinRequest& request, PackedRows& rows) {
  const tv_status_t status = Walk(request, rows).run();
  trim_rows(rows);
  return status;
}

}  // namespace tv

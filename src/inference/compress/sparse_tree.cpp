#include "inference/compress/sparse_tree.h"

#include <algorithm>
#include <bit>

#include "inference/engine.h"
#include "inference/schedule/lazy_clique.h"
#include "tables/limits.h"

namespace tv {
namespace {

size_t position_of(const PackedRows& rows, const Node* node) noexcept {
  return static_cast<size_t>(std::find(rows.nodes.begin(), rows.nodes.end(), node) - rows.nodes.begin());
}

// How many bits a row of a single word takes; all of them begin at its lowest bit.
unsigned bits_of(const PackedRows& rows) noexcept {
  unsigned bits = 0;
  for (const PackedRows::Field& field : rows.fields)
    if (field.mask) bits = std::max(bits, field.shift + static_cast<unsigned>(std::bit_width(field.mask)));
  return bits;
}

// One schedule serves all evidence in a small tree, which is faster than any list.
bool is_small(const JunctionTree& tree) noexcept {
  size_t entries = 0;
  for (size_t c = 0; c < tree.clique_count(); ++c) entries = size_add(entries, tree.cliques[c]->table.size);
  return limits.sparse_cost > 0 && entries <= limits.finding_vectors;
}

bool prefers_entries(const Clique& clique, size_t entries) noexcept {
  if (clique.table.size == kHugeSize) return true;
  return size_multiply(entries, limits.sparse_cost) < clique.table.size;
}

// Positions that never fall, with runs long enough, take the beginnings of the runs alone.
void add_runs(SparseClique& clique, PositionList& list, const std::vector<uint32_t>& positions) {
  Block<uint32_t>& starts = clique.words.emplace_back();
  starts.allocate_uninitialized(list.other_size + 1);
  size_t entry = 0;
  for (size_t position = 0; position < list.other_size; ++position) {
    starts[position] = static_cast<uint32_t>(entry);
    while (entry < positions.size() && positions[entry] == position) ++entry;
  }
  starts[list.other_size] = static_cast<uint32_t>(entry);
  list.form = PositionList::Form::runs;
  list.data = starts.data();
}

template <class T>
const T* add_positions(std::vector<Block<T>>& blocks, const std::vector<uint32_t>& positions) {
  Block<T>& block = blocks.emplace_back();
  block.allocate_uninitialized(positions.size());
  std::transform(positions.begin(), positions.end(), block.begin(),
                 [](uint32_t position) { return static_cast<T>(position); });
  return block.data();
}

constexpr size_t kLeastRun = 4;

void add_list(SparseClique& clique, const std::vector<uint32_t>& positions, size_t other_size) {
  PositionList& list = clique.links.emplace_back();
  list.other_size = other_size;
  if (std::is_sorted(positions.begin(), positions.end()) && positions.size() >= kLeastRun * other_size)
    return add_runs(clique, list, positions);
  if (other_size <= size_t{UINT16_MAX} + 1) {
    list.form = PositionList::Form::shorts;
    list.data = add_positions(clique.shorts, positions);
  } else {
    list.form = PositionList::Form::words;
    list.data = add_positions(clique.words, positions);
  }
}

// Where the entries are in the full table of a separator.
std::vector<uint32_t> full_positions(const SparseTable& table, const NodeList& members,
                                     const Separator& separator) {
  std::vector<size_t> strides(members.size(), 0);
  size_t stride = 1;
  for (size_t s = separator.members.size(); s-- > 0; stride *= separator.members[s]->number_of_states)
    strides[members.position(separator.members[s])] = stride;
  std::vector<uint32_t> positions(table.size());
  for (size_t i = 0; i < positions.size(); ++i) positions[i] = static_cast<uint32_t>(table.index(i, strides));
  return positions;
}

void add_links(SparseTree& tree, const Clique& clique, const TreeSupport& support) {
  SparseClique& sparse = *tree.cliques[clique.position];
  sparse.words.reserve(clique.links.size());
  sparse.shorts.reserve(clique.links.size());
  for (const Link& link : clique.links) {
    const size_t child = link.separator->child->position;
    if (tree.separators[child])
      add_list(sparse, positions_in(support.cliques[clique.position], support.separators[child]),
               tree.separators[child]->size());
    else
      add_list(sparse, full_positions(sparse.table, clique.members(), *link.separator), link.separator->size);
  }
}

}  // namespace

SparseTable::SparseTable(const NodeList& members, const PackedRows& rows)
    : size_(rows.size()), words_(rows.words) {
  const bool is_short = rows.words == 1 && bits_of(rows) <= 32;
  if (is_short) {
    keys32_.allocate_uninitialized(size_);
    for (size_t i = 0; i < size_; ++i) keys32_[i] = static_cast<uint32_t>(rows.keys[i]);
  } else {
    keys64_.allocate_uninitialized(rows.keys.size());
    std::copy(rows.keys.begin(), rows.keys.end(), keys64_.begin());
  }
  states_.resize(members.size());
  for (size_t m = 0; m < members.size(); ++m) {
    const PackedRows::Field field = rows.fields[position_of(rows, members[m])];
    PositionList& list = states_[m];
    list.form = is_short ? PositionList::Form::field32 : PositionList::Form::field64;
    list.shift = static_cast<unsigned char>(field.shift);
    list.stride = static_cast<uint32_t>(rows.words);
    list.mask = field.mask;
    list.data = is_short ? static_cast<const void*>(keys32_.data()) : keys64_.data() + field.word;
    list.other_size = std::max<size_t>(members[m]->number_of_states, 1);
  }
}

size_t SparseTable::state(size_t entry, size_t member) const noexcept {
  const PositionList& list = states_[member];
  const uint64_t key = list.form == PositionList::Form::field32
                           ? static_cast<const uint32_t*>(list.data)[entry]
                           : static_cast<const uint64_t*>(list.data)[entry * list.stride];
  return static_cast<size_t>(key >> list.shift & list.mask);
}

size_t SparseTable::find(std::span<const size_t> states) const {
  std::vector<uint64_t> key(words_, 0);
  for (size_t m = 0; m < states.size(); ++m) {
    const PositionList& list = states_[m];
    const bool is_short = list.form == PositionList::Form::field32;
    const size_t word =
        is_short ? 0 : static_cast<size_t>(static_cast<const uint64_t*>(list.data) - keys64_.data());
    key[word] |= (static_cast<uint64_t>(states[m]) & list.mask) << list.shift;
  }
  const auto word_of = [&](size_t entry, size_t w) {
    return keys32_.size() ? uint64_t{keys32_[entry]} : keys64_[entry * words_ + w];
  };
  size_t first = 0;
  for (size_t count = size_; count > 0;) {
    const size_t half = count / 2, entry = first + half;
    size_t w = 0;
    while (w + 1 < words_ && word_of(entry, w) == key[w]) ++w;
    const bool is_before = word_of(entry, w) < key[w];
    first = is_before ? entry + 1 : first;
    count = is_before ? count - half - 1 : half;
  }
  if (first == size_) return kNone;
  for (size_t w = 0; w < words_; ++w)
    if (word_of(first, w) != key[w]) return kNone;
  return first;
}

size_t SparseTable::index(size_t entry, std::span<const size_t> strides) const noexcept {
  size_t index = 0;
  for (size_t m = 0; m < strides.size(); ++m)
    if (strides[m]) index += strides[m] * state(entry, m);
  return index;
}

size_t SparseTree::index_bytes() const noexcept {
  size_t bytes = 0;
  for (const auto& clique : cliques) {
    if (!clique) continue;
    bytes += clique->table.bytes();
    for (const auto& list : clique->shorts) bytes += list.size() * sizeof(uint16_t);
    for (const auto& list : clique->words) bytes += list.size() * sizeof(uint32_t);
  }
  for (const auto& separator : separators)
    if (separator) bytes += separator->bytes();
  return bytes;
}

bool may_be_sparse(const JunctionTree& tree) noexcept {
  const NodeCounters& counters = tree.domain->counters;
  return !tree.has_continuous && !tree.has_chain_components && counters.decision == 0 &&
         counters.utility == 0;
}

std::vector<bool> zeros_of_potentials(const JunctionTree& tree) {
  std::vector<bool> zeros;
  for (const Node* node : tree.nodes)
    if (node->table)
      for (const float number : node->table->data) zeros.push_back(!(number > 0.0f));
  return zeros;
}

std::unique_ptr<SparseTree> make_sparse_tree(const JunctionTree& tree, const TreeSupport& support,
                                             bool is_cut) {
  auto sparse = std::make_unique<SparseTree>();
  sparse->is_cut = is_cut;
  const size_t cliques = tree.clique_count();
  sparse->zeros = zeros_of_potentials(tree);
  sparse->cliques.resize(cliques);
  sparse->separators.resize(cliques);
  for (size_t c = 0; c < cliques; ++c) {
    const PackedRows& rows = support.cliques[c];
    if (rows.size() > UINT32_MAX / 2) throw std::bad_alloc();  // beyond the positions of any list
    const bool pays = !is_small(tree) && prefers_entries(*tree.cliques[c], rows.size());
    if (!is_cut && !pays) continue;
    sparse->cliques[c].reset(
        new SparseClique{{tree.cliques[c]->members(), rows}, {}, {}, {}, sparse->entries});
    sparse->entries += rows.size();
  }
  for (size_t c = 0; c < cliques; ++c) {
    const Separator* const separator = tree.cliques[c]->parent_separator.get();
    if (separator && sparse->cliques[c] && sparse->cliques[separator->parent->position])
      sparse->separators[c] = std::make_unique<SparseTable>(separator->members, support.separators[c]);
  }
  for (size_t c = 0; c < cliques; ++c)
    if (sparse->cliques[c]) add_links(*sparse, *tree.cliques[c], support);
  return sparse;
}

size_t sparse_bytes(const JunctionTree& tree) noexcept {
  if (!tree.sparse) return 0;
  size_t numbers = tree.sparse->entries + tree.clique_count();
  for (const Node* node : tree.nodes) numbers += node->number_of_states;
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    const Clique& clique = *tree.cliques[c];
    if (clique.parent_separator) numbers += stored_size(*clique.parent_separator);
    if (!tree.sparse->cliques[c])
      numbers += prefers_factors(clique) ? factor_entries(clique) : stored_size(clique);
  }
  return tree.sparse->index_bytes() + sizeof(float) * numbers;
}

size_t stored_size(const Clique& clique) noexcept {
  const SparseTree* const sparse = clique.tree->sparse.get();
  const bool is_sparse = sparse && sparse->cliques[clique.position];
  return is_sparse ? sparse->cliques[clique.position]->table.size() : clique.table.size;
}

size_t stored_size(const Separator& separator) noexcept {
  const SparseTree* const sparse = separator.child->tree->sparse.get();
  const bool is_sparse = sparse && sparse->separators[separator.child->position];
  return is_sparse ? sparse->separators[separator.child->position]->size() : separator.size;
}

}  // namespace tv

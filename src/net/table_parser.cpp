// The numbers of a table, nested in parentheses level by level or as one flat list. Both arrive in storage
// order. They are collected in a block that grows with the text, so that a short text cannot claim a large
// table; and the levels are counted instead of recursed into, so that a long list of parents cannot claim
// a deep stack. The leaves of a continuous node's table are regressions in place of numbers.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "net/parser.h"
#include "network/node_tables.h"
#include "network/refusals.h"

namespace tv {
namespace {

constexpr size_t kFirstCapacity = 1024;

// Numbers as they come, at most `limit` of them.
template <class T>
class NumberCollector {
 public:
  explicit NumberCollector(size_t limit) noexcept : limit_(limit) {}

  void add(double number) {
    if (count_ == block_.size()) grow();
    block_[count_++] = static_cast<T>(number);
  }
  // Takes what `read(numbers, limit)` puts behind the last number, and says how many there were.
  template <class Read>
  size_t add_some(size_t limit, Read read) {
    if (count_ == block_.size()) grow();
    const size_t added = read(block_.data() + count_, std::min(limit, block_.size() - count_));
    count_ += added;
    return added;
  }
  size_t count() const noexcept { return count_; }
  Block<T> take() {  // exactly as long as there are numbers
    if (block_.size() != count_) resize(count_);
    return std::move(block_);
  }

 private:
  void grow() { resize(std::min(limit_, std::max(kFirstCapacity, size_multiply(2, count_)))); }
  void resize(size_t size) {
    Block<T> block;
    block.allocate_uninitialized(size);
    if (count_) std::memcpy(block.data(), block_.data(), count_ * sizeof(T));
    block_ = std::move(block);
  }

  Block<T> block_;
  size_t count_ = 0;
  size_t limit_;
};

// For people, beside what the grammar says of it: lists of numbers that are too short or too long.
void explain_too_few(const Node& child, const char* where, size_t count, size_t expected) noexcept {
  refuse(tv_status_parse, "the table of \"%s\" has %zu number%s%s instead of %zu", shown_name(child), count,
         count == 1 ? "" : "s", where, expected);
}

void explain_too_many(const Node& child, const char* where, size_t expected) noexcept {
  refuse(tv_status_parse, "the table of \"%s\" has more than %zu number%s%s", shown_name(child), expected,
         expected == 1 ? "" : "s", where);
}

}  // namespace

struct NetParser::TableText {
  std::vector<size_t> state_counts;  // of the table's discrete nodes; 0: not known yet
  bool is_probability;
  NumberCollector<tv_number_t> numbers;
  // Of a continuous node's table: the node and its continuous parents, and the blocks of all leaves, beside
  // a number 1 for each.
  NodeList continuous;
  NumberCollector<double> blocks;
  const Node* child;  // whose table it is, or one of several
};

// Reads the data of a table over `nodes` and gives it to `owner` (null: nobody) in `destination`.
tv_status_t NetParser::parse_table(const NodeList& nodes, TableKind kind, Node* owner,
                                   std::unique_ptr<Table>& destination) {
  const bool is_probability =
      kind == TableKind::chain || (kind == TableKind::node && owner->category != tv_category_utility);
  const NodeList discrete = discrete_nodes(nodes);
  std::vector<size_t> state_counts;
  state_counts.reserve(discrete.size());
  size_t size = 1;
  bool all_known = true;
  for (const Node* node : discrete) {
    const bool known = parsed(*node).states_known && !is_older_;
    state_counts.push_back(known ? node->number_of_states : 0);
    size = size_multiply(size, node->number_of_states);
    all_known &= known;
  }
  NodeList continuous;
  for (Node* node : nodes)
    if (is_continuous(*node)) continuous.push_back(node);
  const size_t limit = all_known ? size : kHugeSize;
  const size_t block_limit = size_multiply(limit, cg_size_for(continuous.size()));
  if (size == kHugeSize || (all_known && block_limit == kHugeSize)) return tv_status_no_memory;
  TableText text{std::move(state_counts),
                 is_probability,
                 NumberCollector<tv_number_t>(limit),
                 std::move(continuous),
                 NumberCollector<double>(block_limit),
                 owner ? owner : nodes.back()};
  if (tv_status_t status = parse_table_text(text, size)) return status;

  for (size_t i = 0; i < discrete.size(); ++i) {
    Node& node = *discrete[i];
    const size_t count = text.state_counts[i] ? text.state_counts[i] : node.number_of_states;
    if (is_older_)
      if (tv_status_t status = check_older_count(node, count)) return status;
    if (count != node.number_of_states)
      if (tv_status_t status = set_number_of_states(node, count)) return status;
    parsed(node).states_known = true;
  }
  std::unique_ptr<Table> table = new_table(domain_, kind, owner);
  set_table_nodes(*table, nodes);
  for (size_t i = 0; i < table->continuous_count; ++i)
    table->tail_marks[i] = table->nodes[table->discrete_count + i] != owner;
  table->data = text.numbers.take();
  table->cg_data = text.blocks.take();
  destination = std::move(table);
  return tv_status_none;
}

// Which form it is shows behind the first parenthesis.
tv_status_t NetParser::parse_table_text(TableText& text, size_t size) {
  const size_t levels = text.state_counts.size();
  if (levels == 0 && !next_is('(')) return parse_numbers(text, 1);
  if (tv_status_t status = expect('(')) return status;
  if (levels > 1 && next_is('(')) return parse_nested(text);
  if (levels > 1 && is_older_) return expect('(');
  // A single node whose states nobody has counted has as many as there are numbers.
  const bool is_open = levels == 1 && text.state_counts[0] == 0;
  if (tv_status_t status = is_open ? parse_open_list(text) : parse_numbers(text, size)) return status;
  if (levels == 1) text.state_counts[0] = text.numbers.count();
  if (!next_is(')')) explain_too_many(*text.child, "", text.numbers.count());
  return expect(')');
}

// Flat data: exactly `count` numbers.
tv_status_t NetParser::parse_numbers(TableText& text, size_t count) {
  while (count > 0) {
    count -= read_plain_numbers(text, count);
    if (count == 0) break;
    const size_t known = text.numbers.count();
    if (known > 0 && next_is(')')) explain_too_few(*text.child, "", known, known + count);
    if (tv_status_t status = parse_leaf(text, false)) return status;
    --count;
  }
  return tv_status_none;
}

// The two forms differ in what they say of a negative probability.
tv_status_t NetParser::parse_leaf(TableText& text, bool is_nested) {
  double number = 1;
  if (text.continuous.empty()) {
    if (!lexer_.read_number(number)) return fail("number expected");
    if (std::fabs(number) >= kBeyondTables) return fail(kTooLarge);
    if (number < 0 && text.is_probability) {
      if (!is_nested) return fail("<number> must be nonnegative");
      lexer_.report_warning("warning: negative value in probability potential");
    }
  } else {
    std::vector<double> block(cg_size_for(text.continuous.size()), 0.0);
    if (tv_status_t status = parse_normal(text.continuous, block)) return status;
    for (const double entry : block) text.blocks.add(entry);
  }
  text.numbers.add(number);
  return tv_status_none;
}

// Hands back how many numbers came the fast way.
size_t NetParser::read_plain_numbers(TableText& text, size_t limit) {
  if (!text.continuous.empty()) return 0;
  return text.numbers.add_some(
      limit, [&](tv_number_t* numbers, size_t count) { return lexer_.read_numbers(numbers, count); });
}

// Flat data: at least one number, up to the closing parenthesis.
tv_status_t NetParser::parse_open_list(TableText& text) {
  do {
    if (tv_status_t status = parse_numbers(text, 1)) return status;
  } while (!next_is(')'));
  return tv_status_none;
}

// The first parenthesis has been read. `entries` counts what has been read at each open level.
tv_status_t NetParser::parse_nested(TableText& text) {
  const size_t levels = text.state_counts.size();
  std::vector<size_t> entries{0};
  entries.reserve(levels);
  while (!entries.empty()) {
    size_t& count = entries.back();
    size_t& state_count = text.state_counts[entries.size() - 1];
    if (state_count ? count == state_count : count > 0 && next_is(')')) {
      state_count = count;
      if (entries.size() == levels && !next_is(')')) explain_too_many(*text.child, " in a row", count);
      if (tv_status_t status = expect(')')) return status;
      entries.pop_back();
      if (!entries.empty()) ++entries.back();
    } else if (entries.size() < levels) {
      if (tv_status_t status = expect('(')) return status;
      entries.push_back(0);
    } else if (const size_t plain = state_count ? read_plain_numbers(text, state_count - count) : 0) {
      count += plain;
    } else {
      if (state_count && next_is(')')) explain_too_few(*text.child, " in a row", count, state_count);
      if (tv_status_t status = parse_leaf(text, true)) return status;
      ++count;
    }
  }
  return tv_status_none;
}

}  // namespace tv

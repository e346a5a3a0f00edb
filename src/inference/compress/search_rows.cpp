// Joining by a search that binds one node after the other (Veldhuizen 2014). Each relation is sorted in the
// order in which its nodes are bound, so that the rows that agree with the states so far are one range, and
// the ranges of all relations with the next node are searched together for states that they share.
#include <algorithm>

#include "inference/compress/join_rows.h"

namespace tv {
namespace {

constexpr size_t kFewRows = size_t{1} << 16;                  // among which equal ones do no harm
constexpr size_t kStepsOfALook = 4096, kEntriesOfAStep = 16;  // of a table, whose time a step takes

struct Range {
  size_t begin = 0, end = 0;
};

struct SortedRelation {
  PackedRows rows;
  std::vector<Range> ranges;  // of rows that agree with the states of the first nodes, by their number

  size_t state(size_t row, size_t level) const noexcept { return rows.state(row, level); }

  // The first row from `begin` on with at least this state; `end` where there is none. Often near.
  size_t seek(size_t level, Range range, size_t state) const noexcept {
    size_t step = 1;
    while (range.begin < range.end && rows.state(range.begin, level) < state) {
      const size_t next = range.begin + step;
      if (next < range.end && rows.state(next, level) < state) {
        range.begin = next;
        step *= 2;
        continue;
      }
      range.end = std::min(range.end, next);
      ++range.begin;
      while (range.begin < range.end) {
        const size_t middle = range.begin + (range.end - range.begin) / 2;
        if (rows.state(middle, level) < state)
          range.begin = middle + 1;
        else
          range.end = middle;
      }
      break;
    }
    return range.begin;
  }
};

SortedRelation sorted_relation(const PackedRows& relation, const std::vector<const Node*>& order) {
  std::vector<const Node*> nodes;
  for (const Node* node : order)
    if (std::find(relation.nodes.begin(), relation.nodes.end(), node) != relation.nodes.end())
      nodes.push_back(node);
  SortedRelation sorted;
  sorted.ranges.assign(nodes.size() + 1, {0, relation.size()});
  sorted.rows = lay_out_rows(std::move(nodes));
  sorted.rows.keys.resize(relation.size() * sorted.rows.words);
  const RowProjection projection(relation, sorted.rows);
  for (size_t row = 0; row < relation.size(); ++row)
    projection.project(relation.row(row), sorted.rows.keys.data() + row * sorted.rows.words);
  sort_rows(sorted.rows);
  return sorted;
}

class Search {
 public:
  Search(const JoinRequest& request, const std::vector<const Node*>& order, PackedRows& rows)
      : request_(request), rows_(rows) {
    relations_.reserve(request.relations.size());
    for (const PackedRows* relation : request.relations)
      relations_.push_back(sorted_relation(*relation, order));
    for (const Node* node : order) add_step(*node);
    key_.resize((steps_.size() + 1) * rows.words);
  }

  tv_status_t run() {
    size_t depth = 0;
    for (size_t tries = 1;; ++tries) {
      if (tries % kStepsOfALook == 0) {
        request_.progress.look_in(kStepsOfALook * kEntriesOfAStep);
        if (request_.progress.is_stopped()) return tv_status_error;
      }
      if (depth == steps_.size()) {
        if (tv_status_t status = add_row()) return status;
        depth = result_depth_;
      } else if (bind_next_state(depth)) {
        if (++depth < steps_.size()) open(depth);
        continue;
      }
      if (depth-- == 0) break;
    }
    if (has_detour_)
      keep_distinct_rows(rows_);
    else
      sort_rows(rows_);
    return rows_.size() > request_.most_rows ? tv_status_no_memory : tv_status_none;
  }

 private:
  struct Part {  // of a step: a relation with the node
    SortedRelation* relation;
    size_t level;  // the node's position there
    size_t cursor = 0;
  };

  struct Step {
    PackedRows::Field field;
    size_t states;
    std::vector<Part> parts;
    size_t next = 0;  // the least state that has not been tried
  };

  void add_step(const Node& node) {
    Step& step = steps_.emplace_back();
    step.states = node.number_of_states;
    const auto place = std::find(rows_.nodes.begin(), rows_.nodes.end(), &node);
    if (place == rows_.nodes.end()) {
      has_detour_ = true;
    } else {
      step.field = rows_.fields[static_cast<size_t>(place - rows_.nodes.begin())];
      result_depth_ = steps_.size();
    }
    for (SortedRelation& relation : relations_) {
      const auto& nodes = relation.rows.nodes;
      const auto found = std::find(nodes.begin(), nodes.end(), &node);
      if (found == nodes.end()) continue;
      step.parts.push_back({&relation, static_cast<size_t>(found - nodes.begin())});
    }
  }

  // Another way to the nodes of a detour leads to the same row.
  tv_status_t add_row() {
    const uint64_t* const key = key_.data() + steps_.size() * rows_.words;
    rows_.keys.insert(rows_.keys.end(), key, key + rows_.words);
    if (rows_.size() <= (has_detour_ ? crowded_ : request_.most_rows)) return tv_status_none;
    if (has_detour_) keep_distinct_rows(rows_);
    crowded_ = std::max(kFewRows, 2 * rows_.size());
    return rows_.size() > request_.most_rows ? tv_status_no_memory : tv_status_none;
  }

  void open(size_t depth) noexcept {
    steps_[depth].next = 0;
    for (Part& part : steps_[depth].parts) part.cursor = part.relation->ranges[part.level].begin;
  }

  // The next state that all relations with the node have, from the least untried on.
  bool bind_next_state(size_t depth) noexcept {
    Step& step = steps_[depth];
    const size_t count = step.parts.size();
    size_t state = step.next;
    if (state == step.states) return false;
    for (size_t agreed = 0, i = 0; agreed < count; i = i + 1 == count ? 0 : i + 1) {
      Part& part = step.parts[i];
      const size_t end = part.relation->ranges[part.level].end;
      part.cursor = part.relation->seek(part.level, {part.cursor, end}, state);
      if (part.cursor == end) return false;
      const size_t found = part.relation->state(part.cursor, part.level);
      agreed = found == state ? agreed + 1 : 1;
      state = found;
    }
    for (Part& part : step.parts) {
      std::vector<Range>& ranges = part.relation->ranges;
      const size_t end = part.relation->seek(part.level, {part.cursor, ranges[part.level].end}, state + 1);
      ranges[part.level + 1] = {part.cursor, end};
      part.cursor = end;
    }
    uint64_t* const key = key_.data() + depth * rows_.words;
    std::copy_n(key, rows_.words, key + rows_.words);
    PackedRows::set_state(key + rows_.words, step.field, state & step.field.mask);
    step.next = state + 1;
    return true;
  }

  const JoinRequest& request_;
  PackedRows& rows_;
  std::vector<SortedRelation> relations_;
  std::vector<Step> steps_;    // in the order of the search
  std::vector<uint64_t> key_;  // by step: the bits of the nodes bound before it
  size_t result_depth_ = 0;    // behind the last step that binds a node of the result
  bool has_detour_ = false;    // other nodes are bound, too
  size_t crowded_ = kFewRows;  // rows from which on equal ones are looked for
};

}  // namespace

tv_status_t search_rows(const JoinRequest& request, const std::vector<const Node*>& order, PackedRows& rows) {
  const tv_status_t status = Search(request, order, rows).run();
  trim_rows(rows);
  return status;
}

}  // namespace tv

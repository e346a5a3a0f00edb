#include "analysis/configurations/best_configurations.h"

#include <algorithm>

namespace tv {
namespace {

// The entry of another table onto which a map leads an entry of a clique.
size_t mapped_entry(const FactorClique& clique, const IndexMap& map, size_t entry) noexcept {
  size_t mapped = 0;
  for (size_t d = clique.nodes.size(); d-- > 0;) {
    const size_t states = clique.nodes[d]->number_of_states;
    mapped += entry % states * map.steps[d];
    entry /= states;
  }
  return mapped;
}

std::vector<size_t> counts_of_row(const FactorClique& clique) {
  std::vector<size_t> counts;
  for (size_t d = clique.separator_nodes; d < clique.nodes.size(); ++d)
    counts.push_back(clique.nodes[d]->number_of_states);
  return counts;
}

}  // namespace

BestConfigurations::RowPlan::RowPlan(const FactorClique& clique) : shape(counts_of_row(clique)) {
  const auto add = [&](const IndexMap& map) {
    OwnIndexMap& own = maps.emplace_back(shape.dimensions);
    std::copy_n(map.steps + clique.separator_nodes, shape.dimensions, own.steps);
    finish_index_map(own, shape);
  };
  for (const ForestFactor& factor : clique.factors) add(factor.map);
  for (const FactorChild& child : clique.children) add(child.map);
}

BestConfigurations::BestConfigurations(const FactorForest& forest, const FactorMessages& best, size_t most)
    : forest_(forest),
      best_(best),
      most_(most),
      rows_by_entry_(forest.cliques().size()),
      plans_(forest.cliques().size()),
      last_read_(forest.cliques().size(), {UINT32_MAX, 0}) {
  row_of(0, 0);
}

// Ties are decided by entries and ranks, so that the order is always the same.
bool BestConfigurations::WorseWay::operator()(const Way& a, const Way& b) const noexcept {
  if (a.value != b.value) return a.value < b.value;
  if (a.entry != b.entry) return a.entry > b.entry;
  return a.ranks > b.ranks;
}

uint32_t BestConfigurations::row_of(uint32_t clique, size_t separator_entry) {
  const auto [place, is_new] = rows_by_entry_[clique].try_emplace(separator_entry);
  if (!is_new) return place->second;
  place->second = static_cast<uint32_t>(rows_.size());
  Row& row = rows_.emplace_back();
  row.clique = clique;
  row.first_entry = separator_entry * forest_.cliques()[clique].row_size();
  fill(row);
  return place->second;
}

void BestConfigurations::fill(Row& row) {
  const FactorClique& clique = forest_.cliques()[row.clique];
  std::unique_ptr<RowPlan>& plan = plans_[row.clique];
  if (!plan) plan = std::make_unique<RowPlan>(clique);
  std::vector<Operand> operands;
  const auto add = [&](const double* numbers, const IndexMap& map) {
    operands.push_back({numbers + mapped_entry(clique, map, row.first_entry), &plan->maps[operands.size()]});
  };
  for (const ForestFactor& factor : clique.factors) add(forest_.numbers_of(factor), factor.map);
  for (const FactorChild& child : clique.children) add(best_[child.clique].data(), child.map);
  size_t entry = row.first_entry;
  for_each_block<Add<double>>(plan->shape, operands, 0.0, {},
                              [&](const double* block, const BlockWalk& walk) {
                                for (size_t i = 0; i < walk.size(); ++i, ++entry)
                                  if (block[i] > -std::numeric_limits<double>::infinity())
                                    row.waiting.push_back({block[i], entry, {}});
                              });
  keep_best(row);
}

// No row is asked for more than `most_`.
void BestConfigurations::keep_best(Row& row) {
  const auto better = [](const Way& a, const Way& b) { return WorseWay()(b, a); };
  if (row.waiting.size() > most_) {
    const auto end = row.waiting.begin() + static_cast<ptrdiff_t>(most_);
    std::nth_element(row.waiting.begin(), end, row.waiting.end(), better);
    row.waiting.erase(end, row.waiting.end());
  }
  std::make_heap(row.waiting.begin(), row.waiting.end(), WorseWay());
}

// Adds the ways that differ from the last one found in the next rank of a single child, where all later
// children have rank 0: so each way is added once. False where a child has not found that rank yet, which is
// then wanted.
bool BestConfigurations::add_neighbors(Row& row, std::pair<uint32_t, size_t>& wanted) {
  const FactorClique& clique = forest_.cliques()[row.clique];
  for (; row.next_child < clique.children.size(); ++row.next_child) {
    const FactorChild& child = clique.children[row.next_child];
    const Way& last = row.found.back();
    const bool goes_on = !last.ranks.empty() && last.ranks.back().child == row.next_child;
    const uint32_t rank = goes_on ? last.ranks.back().rank + 1 : 1;
    const uint32_t place = row_of(child.clique, mapped_entry(clique, child.map, last.entry));
    const Row& below = rows_[place];
    if (below.found.size() <= rank) {
      if (below.is_exhausted(forest_)) continue;
      wanted = {place, rank};
      return false;
    }
    Way way = last;
    if (goes_on)
      way.ranks.back().rank = rank;
    else
      way.ranks.push_back({static_cast<uint32_t>(row.next_child), rank});
    way.value += below.found[rank].value - below.found[rank - 1].value;
    row.waiting.push_back(std::move(way));
    std::push_heap(row.waiting.begin(), row.waiting.end(), WorseWay());
  }
  if (row.waiting.size() / 2 > most_) keep_best(row);
  return true;
}

bool BestConfigurations::Row::is_exhausted(const FactorForest& forest) const noexcept {
  return waiting.empty() && (found.empty() || next_child == forest.cliques()[clique].children.size());
}

// Without recursion, for trees may be deep. Whether the row has so many.
bool BestConfigurations::find(uint32_t row_wanted, size_t rank_wanted) {
  std::vector<std::pair<uint32_t, size_t>> open = {{row_wanted, rank_wanted}};
  while (!open.empty()) {
    Row& row = rows_[open.back().first];
    std::pair<uint32_t, size_t> needed;
    if (row.found.size() > open.back().second) {
      open.pop_back();
    } else if (!row.found.empty() && !add_neighbors(row, needed)) {
      open.push_back(needed);
    } else if (row.waiting.empty()) {
      open.pop_back();
    } else {
      std::pop_heap(row.waiting.begin(), row.waiting.end(), WorseWay());
      row.found.push_back(std::move(row.waiting.back()));
      row.waiting.pop_back();
      const std::vector<Rank>& ranks = row.found.back().ranks;
      row.next_child = ranks.empty() ? 0 : ranks.back().child;
    }
  }
  return rows_[row_wanted].found.size() > rank_wanted;
}

bool BestConfigurations::next() {
  if (!find(0, found_)) return false;
  ++found_;
  return true;
}

double BestConfigurations::log_weight() const noexcept { return rows_[0].found[found_ - 1].value; }

void BestConfigurations::read(std::vector<uint32_t>& states) {
  std::vector<std::pair<uint32_t, size_t>> open = {{0, found_ - 1}};
  while (!open.empty()) {
    const auto [place, rank] = open.back();
    open.pop_back();
    const uint32_t position = rows_[place].clique;
    if (last_read_[position] == std::pair(place, rank)) continue;
    last_read_[position] = {place, rank};
    find(place, rank);
    const FactorClique& clique = forest_.cliques()[position];
    const Way& way = rows_[place].found[rank];
    size_t entry = way.entry;
    for (size_t d = clique.nodes.size(); d-- > 0;) {
      const size_t count = clique.nodes[d]->number_of_states;
      states[clique.nodes[d]->number - 1] = static_cast<uint32_t>(entry % count);
      entry /= count;
    }
    auto ranked = way.ranks.begin();
    for (uint32_t c = 0; c < clique.children.size(); ++c) {
      const FactorChild& child = clique.children[c];
      const bool is_ranked = ranked != way.ranks.end() && ranked->child == c;
      open.emplace_back(row_of(child.clique, mapped_entry(clique, child.map, way.entry)),
                        is_ranked ? ranked++->rank : 0);
    }
  }
}

}  // namespace tv

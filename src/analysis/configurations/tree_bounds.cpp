// Bounds for configurations of some nodes from a tree whose messages sum over the other nodes of a clique
// before they take the largest over those asked for.
#include <cmath>

#include "analysis/configurations/subset_search.h"
#include "analysis/factors/factor_passes.h"
#include "api/status.h"

namespace tv {
namespace {

constexpr double kImpossible = -std::numeric_limits<double>::infinity();

std::vector<bool> marks_of(const Domain& domain, const std::vector<const Node*>& nodes) {
  std::vector<bool> marks(domain.node_count);
  for (const Node* node : nodes) marks[node->number - 1] = true;
  return marks;
}

class TreeBounds final : public ConfigurationBounds {
 public:
  TreeBounds(const Domain& domain, const std::vector<const Node*>& nodes)
      : marks_(marks_of(domain, nodes)), forest_(domain, marks_) {
    FactorMessages sums;
    log_constant_ = collect_sums(forest_, sums);
    if (log_constant_ == kImpossible) return;
    // Those near the root first: to give one a state changes the messages from its clique to the root alone.
    const size_t count = forest_.cliques().size();
    levels_.resize(count);
    for (size_t i = 0; i < count; ++i) {
      CliqueLevel& level = levels_[i];
      const FactorClique& clique = forest_.cliques()[i];
      level.kept = std::make_unique<OwnIndexMap>(clique.nodes.size());
      size_t end = clique.separator_nodes;
      while (end < clique.nodes.size() && marks_[clique.nodes[end]->number - 1]) ++end;
      for (size_t d = end; d-- > 0; level.kept_size *= clique.nodes[d]->number_of_states)
        level.kept->steps[d] = level.kept_size;
      finish_index_map(*level.kept, *clique.shape);
      for (size_t d = clique.separator_nodes; d < end; ++d) {
        nodes_.push_back(clique.nodes[d]);
        choices_.emplace_back(i, clique.nodes.size(), clique.nodes[d]->number_of_states);
        choices_.back().stride = level.kept->steps[d];
        choices_.back().map.steps[d] = 1;
        finish_index_map(choices_.back().map, *clique.shape);
      }
    }
    messages_.resize(count);
    log_scales_.resize(count);
    for (size_t i = count; i-- > 0;) send(i);
  }

  bool is_possible() const noexcept { return log_constant_ > kImpossible; }

  const std::vector<const Node*>& nodes() const noexcept override { return nodes_; }

  tv_status_t bound(size_t depth, std::vector<double>& log_bounds) override {
    const Choice& choice = choices_[depth];
    const std::vector<double> kept = kept_sums(choice.clique);
    log_bounds.clear();
    for (size_t s = 0; s < choice.indicator.size(); ++s) {
      save_path(choice.clique);
      std::vector<double> chosen = kept;
      for (size_t i = 0; i < chosen.size(); ++i)
        if (i / choice.stride % choice.indicator.size() != s) chosen[i] = 0.0;
      maximize(choice.clique, chosen);
      for (size_t i = choice.clique; i > 0;) send(i = forest_.cliques()[i].parent);
      log_bounds.push_back(log_value());
      restore_path();
    }
    return tv_status_none;
  }

  tv_status_t assign(size_t depth, size_t state) override {
    Choice& choice = choices_[depth];
    save_path(choice.clique);
    std::fill(choice.indicator.begin(), choice.indicator.end(), 0.0);
    choice.indicator[state] = 1.0;
    levels_[choice.clique].assigned.push_back(depth);
    send(choice.clique);
    for (size_t i = choice.clique; i > 0;) send(i = forest_.cliques()[i].parent);
    return tv_status_none;
  }

  void unassign(size_t depth) override {
    levels_[choices_[depth].clique].assigned.pop_back();
    restore_path();
  }

 private:
  // Of one clique: the sums over nodes that are not asked for, by separator and by the others that it brings.
  struct CliqueLevel {
    std::unique_ptr<OwnIndexMap> kept;
    size_t kept_size = 1;
    std::vector<size_t> assigned;  // depths
  };
  // Where a node gets its state.
  struct Choice {
    Choice(size_t position, size_t dimensions, size_t states)
        : clique(position), map(dimensions), indicator(states) {}
    size_t clique;
    size_t stride = 1;  // in the kept sums
    OwnIndexMap map;
    std::vector<double> indicator;
  };
  struct SavedMessage {
    size_t clique;
    double log_scale;
    std::vector<double> message;
  };

  std::vector<double> kept_sums(size_t i) const {
    const FactorClique& clique = forest_.cliques()[i];
    GroupedOperands grouped;
    grouped.form<Multiply<double>>(forest_, clique, messages_, 1.0);
    std::vector<Operand> operands = grouped.operands();
    for (const size_t depth : levels_[i].assigned)
      operands.push_back({choices_[depth].indicator.data(), &choices_[depth].map});
    std::vector<double> kept(levels_[i].kept_size);
    reduce_product<Multiply<double>, Sum>(*clique.shape, operands, 1.0, *levels_[i].kept, kept.data());
    return kept;
  }

  void maximize(size_t i, const std::vector<double>& kept) {
    std::vector<double>& message = messages_[i];
    message.resize(forest_.cliques()[i].separator_size);
    const size_t share = kept.size() / message.size();
    for (size_t s = 0; s < message.size(); ++s)
      message[s] = *std::max_element(kept.begin() + static_cast<ptrdiff_t>(s * share),
                                     kept.begin() + static_cast<ptrdiff_t>((s + 1) * share));
    log_scales_[i] = scale_to_one(message);
  }

  void send(size_t i) { maximize(i, kept_sums(i)); }

  double log_value() const noexcept {
    double sum = -log_constant_;
    for (const double log_scale : log_scales_) sum += log_scale;
    return sum;
  }

  void save_path(size_t i) {
    for (saved_.push_back({});; i = forest_.cliques()[i].parent) {
      saved_.back().push_back({i, log_scales_[i], messages_[i]});
      if (i == 0) return;
    }
  }
  void restore_path() noexcept {
    for (SavedMessage& saved : saved_.back()) {
      log_scales_[saved.clique] = saved.log_scale;
      messages_[saved.clique].swap(saved.message);
    }
    saved_.pop_back();
  }

  const std::vector<bool> marks_;
  FactorForest forest_;
  double log_constant_ = 0.0;
  std::vector<CliqueLevel> levels_;
  std::vector<const Node*> nodes_;
  std::deque<Choice> choices_;  // by depth
  FactorMessages messages_;
  std::vector<double> log_scales_;
  std::vector<std::vector<SavedMessage>> saved_;
};

}  // namespace

std::unique_ptr<ConfigurationBounds> make_tree_bounds(const Domain& domain,
                                                      const std::vector<const Node*>& nodes) {
  auto bounds = std::make_unique<TreeBounds>(domain, nodes);
  if (bounds->is_possible()) return bounds;
  refuse_impossible_evidence();
  return nullptr;
}

}  // namespace tv

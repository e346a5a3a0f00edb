#include "inference/compress/sparse_marginal.h"

#include <algorithm>
#include <map>

#include "inference/compress/sparse_tree.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/subtree.h"
#include "tables/kernels/number_bounds.h"
#include "tables/kernels/sparse_pass.h"

namespace tv {
namespace {

using Nodes = std::vector<const Node*>;

size_t size_over(const Nodes& nodes) {
  size_t size = 1;
  for (const Node* node : nodes) size = size_multiply(size, node->number_of_states);
  if (size == kHugeSize) throw std::bad_alloc();
  return size;
}

// The entries of a clique, of a sparse table or a full one: their numbers, the states of members, and where
// each is in the separators.
class Entries {
 public:
  Entries(const TreeEngine& engine, const CliqueWork& work) : work_(work) {
    numbers_.allocate_uninitialized(work.table.shape.size);
    if (work.lazy)
      run_over_factors(engine, work, numbers_.data(), nullptr);
    else
      std::copy_n(work.table.numbers, numbers_.size(), numbers_.data());
    const NodeList& members = *work.table.members;
    strides_.assign(members.size(), 0);
    size_t stride = 1;
    for (size_t m = members.size(); m-- > 0; stride *= members[m]->number_of_states) strides_[m] = stride;
  }

  size_t size() const noexcept { return numbers_.size(); }
  float number(size_t entry) const noexcept { return numbers_[entry]; }
  size_t state(size_t entry, size_t member) const noexcept {
    if (work_.sparse) return work_.table.sparse->state(entry, member);
    return entry / strides_[member] % (*work_.table.members)[member]->number_of_states;
  }

  std::vector<uint32_t> positions(const CliqueLink& link, const NodeList& separator) const {
    std::vector<uint32_t> positions(size(), 0);
    if (work_.sparse) {
      read_positions(work_.sparse->links[position_of(work_, link)], 0, size(), positions.data());
      return positions;
    }
    size_t stride = 1;
    for (size_t s = separator.size(); s-- > 0; stride *= separator[s]->number_of_states) {
      const size_t member = work_.table.members->position(separator[s]);
      for (size_t i = 0; i < size(); ++i) positions[i] += static_cast<uint32_t>(stride * state(i, member));
    }
    return positions;
  }

 private:
  const CliqueWork& work_;
  Block<float> numbers_;
  std::vector<size_t> strides_;
};

// For each stored entry of a separator, numbers over the targets behind it that it lacks.
struct Message {
  Nodes targets;
  size_t width = 1;
  std::vector<double> numbers;
};

class SparseMarginal {
 public:
  SparseMarginal(TreeEngine& engine, const Nodes& targets) : engine_(engine), targets_(targets) {}

  Factor compute() {
    clear_marks(engine_);
    const size_t clique = smallest_clique_with_all();
    if (clique != kNone)
      mark_clique(engine_, clique);
    else
      for (const Node* node : targets_) mark_clique(engine_, placement(*node).home->position);
    const size_t root = _tv_identify_subtree(engine_, clique);
    order_from(engine_, root);
    for (size_t i = engine_.order.size(); i-- > 0;) {
      const size_t sender = engine_.order[i];
      Message message = message_from(sender);
      messages_[sender] = std::move(message);
    }
    Message& answer = messages_[root];
    return {std::move(answer.targets), {std::move(answer.numbers), {}}};
  }

 private:
  size_t smallest_clique_with_all() const noexcept {
    size_t best = kNone;
    for (size_t c = 0; c < engine_.cliques.size(); ++c) {
      const NodeList& members = *engine_.cliques[c].table.members;
      const bool holds_all = std::all_of(targets_.begin(), targets_.end(),
                                         [&](const Node* node) { return members.contains(node); });
      if (holds_all &&
          (best == kNone || engine_.cliques[c].table.shape.size < engine_.cliques[best].table.shape.size))
        best = c;
    }
    return best;
  }

  bool sends_here(const CliqueLink& link) const noexcept {
    return engine_.reached_by[link.neighbor] == link.back;
  }

  void merge(double& total, double product) const noexcept {
    total = engine_.equilibrium == tv_equilibrium_max ? std::max(total, product) : total + product;
  }

  // What a clique passes on: the targets of incoming messages vary slowest, then its own.
  Message message_from(size_t clique) {
    const CliqueWork& work = engine_.cliques[clique];
    const size_t via = engine_.reached_by[clique];
    const CliqueLink* const out = via == kNone ? nullptr : &work.links[via];
    const ReducedTable* const separator = out ? &engine_.separators[out->separator].old : nullptr;
    const Entries entries(engine_, work);
    Message message;
    std::vector<const Message*> incoming;
    std::vector<std::vector<uint32_t>> places;
    for (const CliqueLink& link : work.links) {
      if (!sends_here(link)) continue;
      incoming.push_back(&messages_.at(link.neighbor));
      places.push_back(entries.positions(link, *engine_.separators[link.separator].old.members));
      message.targets.insert(message.targets.end(), incoming.back()->targets.begin(),
                             incoming.back()->targets.end());
    }
    std::vector<size_t> own;
    for (const Node* node : targets_) {
      const size_t member = work.table.members->position(node);
      if (member == work.table.members->size() || (separator && separator->members->contains(node))) continue;
      own.push_back(member);
      message.targets.push_back(node);
    }
    message.width = size_over(message.targets);
    const size_t rows = separator ? separator->shape.size : 1;
    if (size_multiply(rows, message.width) == kHugeSize) throw std::bad_alloc();
    message.numbers.assign(rows * message.width, 0.0);
    const std::vector<uint32_t> to =
        out ? entries.positions(*out, *separator->members) : std::vector<uint32_t>(entries.size(), 0);
    add_entries(entries, incoming, places, own, to, message);
    if (separator) divide(message, *separator);
    for (const CliqueLink& link : work.links)
      if (sends_here(link)) messages_.erase(link.neighbor);
    return message;
  }

  void add_entries(const Entries& entries, const std::vector<const Message*>& incoming,
                   const std::vector<std::vector<uint32_t>>& places, const std::vector<size_t>& own,
                   const std::vector<uint32_t>& to, Message& message) const {
    size_t own_size = 1;
    for (size_t k = 0; k < own.size(); ++k) own_size *= own_node(message, own, k).number_of_states;
    std::vector<double> products, next;
    for (size_t i = 0; i < entries.size(); ++i) {
      if (!(entries.number(i) > 0.0f)) continue;
      products.assign(1, static_cast<double>(entries.number(i)));
      for (size_t k = 0; k < incoming.size(); ++k) {
        if (incoming[k]->width == 1) {
          for (double& product : products) product *= incoming[k]->numbers[places[k][i]];
          continue;
        }
        const double* const row = incoming[k]->numbers.data() + places[k][i] * incoming[k]->width;
        next.clear();
        for (const double product : products)
          for (size_t t = 0; t < incoming[k]->width; ++t) next.push_back(product * row[t]);
        products.swap(next);
      }
      size_t place = 0;
      for (size_t k = 0; k < own.size(); ++k)
        place = place * own_node(message, own, k).number_of_states + entries.state(i, own[k]);
      double* const totals = message.numbers.data() + to[i] * message.width + place;
      for (size_t p = 0; p < products.size(); ++p) merge(totals[p * own_size], products[p]);
    }
  }

  static const Node& own_node(const Message& message, const std::vector<size_t>& own, size_t k) noexcept {
    return *message.targets[message.targets.size() - own.size() + k];
  }

  // By the separator's own numbers, which the neighbour holds as well.
  void divide(Message& message, const ReducedTable& separator) const noexcept {
    for (size_t s = 0; s < separator.shape.size; ++s) {
      const float old = separator.numbers[s];
      const double factor = old >= kSmallestNormalFloat ? 1.0 / static_cast<double>(old) : 0.0;
      for (size_t t = 0; t < message.width; ++t) message.numbers[s * message.width + t] *= factor;
    }
  }

  TreeEngine& engine_;
  const Nodes& targets_;
  std::map<size_t, Message> messages_;  // by sending clique
};

}  // namespace

Factor sparse_joint_marginal(TreeEngine& engine, const Nodes& targets) {
  return SparseMarginal(engine, targets).compute();
}

}  // namespace tv

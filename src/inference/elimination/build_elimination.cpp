// Builds an elimination schedule: which messages are sent, in which order, and from which marginals beliefs
// are read.

#include <bit>

#include "inference/elimination/factor_grouping.h"

namespace tv {
namespace {

constexpr uint32_t kNothing = EliminationTree::kNoClique;

class EliminationBuilder {
 public:
  EliminationBuilder(const PropagationRequest& request, const EliminationTree& graph)
      : engine_(request.engine),
        graph_(graph),
        schedule_(std::make_unique<EliminationSchedule>()),
        factors_(engine_, graph, *schedule_),
        pass_(graph, factors_, *schedule_),
        groups_(graph, factors_, pass_, *schedule_),
        first_child_(graph.cliques.size(), kNothing),
        next_sibling_(graph.cliques.size(), kNothing),
        incoming_(graph.cliques.size(), kNothing),
        sent_mass_(graph.cliques.size(), false),
        ratios_(graph.cliques.size(), kNone),
        shapes_(graph.cliques.size()),
        occurrences_(graph.nodes.size(), 0),
        marks_(graph.nodes.size(), 0),
        ordered_(graph.members.size(), 0) {
    if (request.equilibrium == tv_equilibrium_max) schedule_->marginal = StepKind::max;
  }

  // Null where the memory of the tables does not suffice, or a pass would need too many steps.
  std::unique_ptr<EliminationSchedule> build() {
    link_children();
    reserve_memory();
    for (const Node* node : engine_.tree->nodes) {
      factors_.add_potential(*node);
      factors_.add_finding(*node);
    }
    for (uint32_t c = 0; c < graph_.cliques.size(); ++c) find_message(c);
    for (uint32_t c = 0; c < graph_.cliques.size(); ++c) choose_order(c);
    for (uint32_t c = 0; c < graph_.cliques.size() && fits(); ++c) build_collect(c);
    for (uint32_t c = static_cast<uint32_t>(graph_.cliques.size()); c-- > 0 && fits();) build_distribute(c);
    schedule_->maps.shrink_to_fit();
    return fits() ? std::move(schedule_) : nullptr;
  }

 private:
  using Clique = EliminationTree::Clique;
  using Ranks = std::span<const uint32_t>;

  bool fits() const noexcept { return fits_ && factors_.fits() && pass_.fits(); }

  Ranks separator_of(uint32_t clique) const noexcept {
    const Clique& record = graph_.cliques[clique];
    return {graph_.separator(record), record.member_count - record.eliminated};
  }
  size_t states(uint32_t rank) const noexcept { return graph_.nodes[rank]->number_of_states; }
  size_t size_of(Ranks ranks) const noexcept {
    size_t size = 1;
    for (const uint32_t rank : ranks) size *= states(rank);
    return size;
  }

  template <class T>
  static uint32_t count_of(const std::vector<T>& list) noexcept {
    return static_cast<uint32_t>(list.size());
  }

  // ---- Preparation ----

  void link_children() noexcept {
    for (uint32_t c = static_cast<uint32_t>(graph_.cliques.size()); c-- > 0;) {
      const uint32_t parent = graph_.cliques[c].parent;
      if (parent == kNothing) continue;
      next_sibling_[c] = first_child_[parent];
      first_child_[parent] = c;
    }
  }

  void reserve_memory() {
    const size_t cliques = graph_.cliques.size();
    size_t most_totals = 1, most_sums = 1, largest = 1, messages = 0;
    for (uint32_t c = 0; c < cliques; ++c) {
      size_t sums = 0, around = 0;
      for (uint32_t m = 0; m < graph_.cliques[c].eliminated; ++m)
        sums += states(graph_.begin(graph_.cliques[c])[m]);
      for (uint32_t child = first_child_[c]; child != kNothing; child = next_sibling_[child]) {
        const size_t size = size_of(separator_of(child));
        largest = std::max(largest, size);
        around += size;
        messages = size_add(messages, 2 * size);  // the message and the ratio
      }
      most_sums = std::max(most_sums, sums);
      most_totals = std::max(most_totals, std::min(around, limits.shared_totals));
    }
    schedule_->totals = std::max(most_totals, largest);
    schedule_->belief_totals = most_sums;
    schedule_->message_size = largest;
    schedule_->scratch = factors_.take_numbers(largest);
    schedule_->transposed = factors_.take_numbers(largest);
    factors_.reserve_numbers(messages);
    schedule_->parents.reserve(cliques);
    for (const Clique& clique : graph_.cliques) schedule_->parents.push_back(clique.parent);
    schedule_->potentials.reserve(engine_.tree->nodes.size());
    schedule_->collects.reserve(cliques);
    schedule_->distributes.reserve(cliques + 1);
    schedule_->outgoing_messages.reserve(cliques);
    schedule_->beliefs.reserve(graph_.nodes.size());
  }

  // ---- Passes over a clique ----

  // The order of a clique's dimensions, outermost first. Factors and marginals that are formed for this
  // clique are laid out in the same order, so that it decides how long the loops over them are.
  void choose_order(uint32_t c) {
    const Clique& clique = graph_.cliques[c];
    const std::span<uint32_t> order = order_of(c);
    std::copy(graph_.begin(clique), graph_.end(clique), order.begin());
    if (clique.size < limits.elimination_clique) return;
    if (!follow_large_potential(clique, c, order)) join_alike(c, order);
  }

  std::span<uint32_t> order_of(uint32_t c) noexcept {
    const Clique& clique = graph_.cliques[c];
    return {ordered_.data() + clique.first_member, clique.member_count};
  }

  // Where one potential makes up most of the clique, the order of its table, so that it is read contiguously.
  bool follow_large_potential(const Clique& clique, uint32_t c, std::span<uint32_t> order) {
    for (uint32_t f = factors_.first_of(c); f != kNothing; f = factors_[f].next) {
      const EliminationFactor& factor = factors_[f];
      if (factor.potential == kNothing || factor.size <= clique.size / limits.copy_share) continue;
      const auto stride = [&](uint32_t rank) {
        for (const Axis& axis : factors_.axes(factor))
          if (axis.rank == rank) return axis.stride;
        return kNone;  // outermost
      };
      std::stable_sort(order.begin(), order.end(),
                       [&](uint32_t a, uint32_t b) { return stride(a) > stride(b); });
      return true;
    }
    return false;
  }

  // Members that occur in the same factors and marginals become neighbours, so that their loops merge.
  // Innermost are those with the most configurations together, and outside them those that differ from them
  // in the fewest factors.
  void join_alike(uint32_t c, std::span<uint32_t> order) {
    for (const uint32_t rank : order) marks_[rank] = 0;
    uint64_t bit = 1;
    const auto mark = [&](uint32_t rank) { marks_[rank] |= bit; };
    for (uint32_t f = factors_.first_of(c); f != kNothing; f = factors_[f].next, bit <<= 1)
      for (const Axis& axis : factors_.axes(factors_[f])) mark(axis.rank);
    for (uint32_t child = first_child_[c]; child != kNothing; child = next_sibling_[child], bit <<= 1)
      for (const uint32_t rank : separator_of(child)) mark(rank);
    for (const uint32_t rank : separator_of(c)) mark(rank);
    uint64_t inner = 0;
    for (size_t left = order.size(); left > 0;) {
      const uint64_t next = next_outwards(order.first(left), left == order.size(), inner);
      const auto moved = std::stable_partition(order.begin(), order.begin() + static_cast<ptrdiff_t>(left),
                                               [&](uint32_t rank) { return marks_[rank] != next; });
      left = static_cast<size_t>(moved - order.begin());
      inner = next;
    }
  }

  uint64_t next_outwards(Ranks order, bool is_innermost, uint64_t inner) const noexcept {
    uint64_t best = 0;
    int least = 65;
    size_t largest = 0;
    for (const uint32_t rank : order) {
      const int difference = is_innermost ? 0 : std::popcount(marks_[rank] ^ inner);
      size_t size = 1;
      for (const uint32_t other : order)
        if (marks_[other] == marks_[rank]) size *= states(other);
      if (difference > least || (difference == least && size <= largest)) continue;
      best = marks_[rank];
      least = difference;
      largest = size;
    }
    return best;
  }

  // The largest factor comes first: it is assigned, where the others take a multiplication.
  void multiply_chosen() {
    if (chosen_.empty()) return;
    std::iter_swap(chosen_.begin(),
                   std::max_element(chosen_.begin(), chosen_.end(), [&](uint32_t a, uint32_t b) {
                     return factors_[a].size < factors_[b].size;
                   }));
    for (const uint32_t f : chosen_) pass_.multiply(f);
  }

  // Replaces some of the chosen factors by their products. Returns where the products begin in the schedule's
  // list.
  uint32_t multiply_small_factors(size_t clique_size) {
    const uint32_t first_product = count_of(schedule_->products);
    if (clique_size < limits.elimination_clique) return first_product;
    groups_.join(chosen_, order_, clique_size / limits.product_share);
    return first_product;
  }

  // ---- Collecting ----

  void count_occurrences(const EliminationFactor& factor, uint32_t by) noexcept {
    for (const Axis& axis : factors_.axes(factor)) occurrences_[axis.rank] += by;
  }

  // Leaves out barren distributions: those of a node that is summed out here and occurs in no other factor
  // sum to one. Maximised out they do not: the largest entries of a distribution matter in any case.
  void choose_collected_factors(uint32_t clique) {
    choose_factors(clique);
    for (const uint32_t f : chosen_) count_occurrences(factors_[f], 1);
    if (schedule_->marginal == StepKind::max) return;
    const auto is_barren = [&](uint32_t f) {
      const uint32_t child = factors_[f].child;
      if (child == kNothing || graph_.home_of[child] != clique || occurrences_[child] != 1) return false;
      count_occurrences(factors_[f], static_cast<uint32_t>(-1));
      factors_[f].is_collected = false;
      return true;
    };
    while (std::erase_if(chosen_, is_barren) > 0) continue;
  }

  void choose_factors(uint32_t clique) {
    chosen_.clear();
    for (uint32_t f = factors_.first_of(clique); f != kNothing; f = factors_[f].next) chosen_.push_back(f);
  }

  // The message of a clique. It is sent to the clique where the first of its variables is eliminated.
  void find_message(uint32_t c) {
    const Clique& clique = graph_.cliques[c];
    choose_collected_factors(c);
    if (chosen_.empty()) return;
    left_.clear();
    for (const uint32_t* member = graph_.begin(clique); member != graph_.end(clique); ++member) {
      if (occurrences_[*member] != 0 && graph_.home_of[*member] != c) left_.push_back(*member);
      occurrences_[*member] = 0;
    }
    sent_mass_[c] = left_.empty();
    if (left_.empty()) return;
    incoming_[c] = factors_.add_dense(left_, {kTables});
    factors_.assign(incoming_[c], graph_.home_of[left_[0]]);
  }

  // The variables of some factors, in the order of the clique.
  void list_ranks(std::span<const uint32_t> factors, Ranks order, std::vector<uint32_t>& ranks) {
    for (const uint32_t f : factors) count_occurrences(factors_[f], 1);
    ranks.clear();
    for (const uint32_t rank : order) {
      if (occurrences_[rank] != 0) ranks.push_back(rank);
      occurrences_[rank] = 0;
    }
  }

  void build_collect(uint32_t c) {
    order_ = order_of(c);
    factors_.copy_small_potentials(c, order_);
    choose_factors(c);
    left_out_.clear();
    std::erase_if(chosen_, [&](uint32_t f) {
      if (!factors_[f].is_collected) left_out_.push_back(f);
      return !factors_[f].is_collected;
    });
    if (chosen_.empty()) return;
    list_ranks(chosen_, order_, collected_);
    EliminationSchedule::Collect collect;
    collect.clique = c;
    collect.first_product = multiply_small_factors(size_of(collected_));
    collect.product_count = count_of(schedule_->products) - collect.first_product;
    factors_.clear_clique(c);
    for (const uint32_t f : left_out_) factors_.assign(f, c);
    for (const uint32_t f : chosen_) factors_.assign(f, c);
    left_.clear();
    for (const uint32_t rank : collected_)
      if (graph_.home_of[rank] != c) left_.push_back(rank);
    pass_.start(collected_);
    if (collected_.size() == order_.size()) shapes_[c] = pass_.shape();
    multiply_chosen();
    pass_.marginalize(left_, {kMessageTotals});
    collect.pass = pass_.close(chosen_);
    if (incoming_[c] != kNothing) write_message(collect);
    schedule_->collects.push_back(collect);
  }

  // The marginal is formed in the order of the sender's dimensions, which is faster, and then transposed into
  // that of the receiver.
  void write_message(EliminationSchedule::Collect& collect) {
    const uint32_t f = incoming_[collect.clique];
    collect.size = factors_[f].size;
    if (collect.size > schedule_->totals) fits_ = false;
    collect.message = factors_.take_numbers(collect.size);
    list_ranks({&f, 1}, order_of(graph_.home_of[factors_.axes(factors_[f])[0].rank]), ranks_);
    factors_.lay_out(f, ranks_, {kTables, collect.message});
    collect.transposition = transposition(left_, ranks_);
  }

  // The transposition of a scratch array from one order to another; null where the two are the same.
  const EliminationSchedule::Pass* transposition(Ranks from, Ranks to) {
    if (std::equal(from.begin(), from.end(), to.begin(), to.end())) return nullptr;
    const uint32_t f = factors_.add_dense(from, {kTransposed});
    pass_.start(to);
    pass_.multiply(f);
    return store_pass();
  }

  const EliminationSchedule::Pass* store_pass() {
    auto* pass = schedule_->memory.take<EliminationSchedule::Pass>(1);
    return &(*pass = pass_.close({}));
  }

  // ---- Distributing ----

  void build_distribute(uint32_t c) {
    order_ = order_of(c);
    choose_factors(c);
    if (ratios_[c] != kNone) {
      list_shared(c, order_, ranks_);
      chosen_.push_back(factors_.add_dense(ranks_, {kTables, ratios_[c]}));
    }
    const uint32_t first_product = multiply_small_factors(graph_.cliques[c].size);
    const uint32_t product_count = count_of(schedule_->products) - first_product;
    if (shapes_[c].counts)
      pass_.start(order_, shapes_[c]);
    else
      pass_.start(order_);
    const Shape shape = pass_.shape();
    multiply_chosen();
    pass_.remember();
    list_children(c);
    choose_belief_sources(c);
    size_t next = 0;
    do {
      if (next > 0) {
        pass_.start(order_, shape);
        pass_.repeat();
      }
      const bool is_first = next == 0;
      next = build_distribute_pass(c, next);
      if (!is_first) continue;
      schedule_->distributes.back().first_product = first_product;
      schedule_->distributes.back().product_count = product_count;
    } while (next < children_.size());
  }

  // The separator towards the parent, in the order of one of the two cliques.
  void list_shared(uint32_t c, Ranks order, std::vector<uint32_t>& ranks) {
    for (const uint32_t rank : separator_of(c)) occurrences_[rank] = 1;
    ranks.clear();
    for (const uint32_t rank : order)
      if (occurrences_[rank] != 0) ranks.push_back(rank);
    for (const uint32_t rank : separator_of(c)) occurrences_[rank] = 0;
  }

  void list_children(uint32_t c) {
    children_.clear();
    for (uint32_t child = first_child_[c]; child != kNothing; child = next_sibling_[child])
      children_.push_back({child, size_of(separator_of(child))});
  }

  // For each node that is eliminated in a clique, the smallest marginal that holds it.
  void choose_belief_sources(uint32_t c) {
    const Clique& clique = graph_.cliques[c];
    const uint32_t first = graph_.begin(clique)[0];
    sources_.assign(clique.eliminated, kNothing);
    size_t sizes[64];
    std::fill_n(sizes, clique.eliminated, clique.size);
    for (uint32_t i = 0; i < children_.size(); ++i) {
      const size_t size = children_[i].size + limits.elimination_marginal;
      for (const uint32_t rank : separator_of(children_[i].clique)) {
        if (graph_.home_of[rank] != c || size >= sizes[rank - first]) continue;
        sizes[rank - first] = size;
        sources_[rank - first] = i;
      }
    }
  }

  // Steps for the beliefs that are read from the clique itself (`source` kNothing) or from an outgoing
  // marginal.
  uint32_t add_belief_steps(uint32_t c, uint32_t source) {
    const Clique& clique = graph_.cliques[c];
    size_t used = 0;
    uint32_t count = 0;
    for (uint32_t m = 0; m < clique.eliminated; ++m) {
      if (sources_[m] != source) continue;
      const uint32_t rank = graph_.begin(clique)[m];
      pass_.marginalize({&rank, 1}, {kBeliefTotals, used});
      schedule_->beliefs.push_back({placement(*graph_.nodes[rank]).position, used});
      used += states(rank);
      ++count;
    }
    return count;
  }

  // One pass with as many outgoing messages as the accumulators hold, from `first` on; returns the next one.
  size_t build_distribute_pass(uint32_t c, size_t first) {
    EliminationSchedule::Distribute pass;
    pass.clique = c;
    pass.first_belief = count_of(schedule_->beliefs);
    if (first == 0) pass.belief_count = add_belief_steps(c, kNothing);
    pass.first_outgoing = count_of(schedule_->outgoing_messages);
    size_t next = first;
    for (; next < children_.size(); ++next) {
      Child& child = children_[next];
      if (pass.clear_totals > 0 && pass.clear_totals + child.size > schedule_->totals) break;
      child.totals = pass.clear_totals;
      pass.clear_totals += child.size;
      list_shared(child.clique, order_, ranks_);
      pass_.marginalize(ranks_, {kMessageTotals, child.totals});
    }
    pass.pass = pass_.close(chosen_);
    for (size_t i = first; i < next; ++i) add_outgoing(c, static_cast<uint32_t>(i));
    pass.outgoing_count = static_cast<uint32_t>(next - first);
    schedule_->distributes.push_back(pass);
    return next;
  }

  void add_outgoing(uint32_t c, uint32_t i) {
    const Child& child = children_[i];
    EliminationSchedule::Outgoing outgoing;
    outgoing.totals = child.totals;
    outgoing.size = child.size;
    outgoing.ratio = factors_.take_numbers(child.size);
    ratios_[child.clique] = outgoing.ratio;
    outgoing.has_mass = sent_mass_[c];
    outgoing.sender = c;
    list_shared(child.clique, order_of(child.clique), left_);
    list_shared(child.clique, order_, ranks_);
    outgoing.transposition = transposition(ranks_, left_);
    pass_.start(ranks_);
    if (incoming_[child.clique] != kNothing) {
      const EliminationFactor& message = factors_[incoming_[child.clique]];
      outgoing.incoming = message.place.offset;
      if (!has_same_layout(message)) outgoing.incoming_map = pass_.index_map_of(incoming_[child.clique]);
    }
    outgoing.first_belief = count_of(schedule_->beliefs);
    outgoing.belief_count = add_belief_steps(c, i);
    outgoing.sums = store_pass();
    schedule_->outgoing_messages.push_back(outgoing);
  }

  // Whether a factor is a dense array over `ranks_` in this order.
  bool has_same_layout(const EliminationFactor& factor) const noexcept {
    if (factor.axis_count != ranks_.size()) return false;
    size_t stride = 1;
    for (size_t i = ranks_.size(); i-- > 0; stride *= states(ranks_[i]))
      for (const Axis& axis : factors_.axes(factor))
        if (axis.rank == ranks_[i] && axis.stride != stride) return false;
    return true;
  }

  struct Child {
    uint32_t clique;
    size_t size;  // of the separator
    size_t totals = 0;
  };

  TreeEngine& engine_;
  const EliminationTree& graph_;
  std::unique_ptr<EliminationSchedule> schedule_;
  EliminationFactors factors_;
  PassWriter pass_;
  FactorGroups groups_;
  bool fits_ = true;

  std::vector<uint32_t> first_child_, next_sibling_;  // by clique
  std::vector<uint32_t> incoming_;                    // by clique: the factor that is its message
  std::vector<bool> sent_mass_;
  std::vector<size_t> ratios_;         // by clique: offset of the message from its parent, or kNone
  std::vector<Shape> shapes_;          // of a pass over all members while collecting
  std::vector<uint32_t> occurrences_;  // by rank
  std::vector<uint64_t> marks_;        // by rank: in which factors and marginals it occurs
  std::vector<uint32_t> ordered_;      // the members of all cliques in the order of their dimensions

  // Of the clique whose operations are being built.
  Ranks order_;
  std::vector<uint32_t> chosen_, left_out_, collected_, left_, ranks_;
  std::vector<Child> children_;
  std::vector<uint32_t> sources_;  // by eliminated member: position of a child, or kNothing
};

}  // namespace

std::unique_ptr<EliminationSchedule> build_elimination_over(const PropagationRequest& request,
                                                            const EliminationTree& graph) {
  return EliminationBuilder(request, graph).build();
}

}  // namespace tv

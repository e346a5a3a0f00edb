// Propagation from the potentials without clique tables. The unobserved nodes are triangulated anew for the
// pattern of evidence; over these cliques evidence is collected by bucket elimination (Dechter 1999) and
// distributed to all of them. The product of a clique's factors is formed block by block and never stored.
//
// A conditional distribution of a node that occurs in no other factor is barren: it sums to one and is left
// out while sums are collected, so that unobserved nodes without evidence below them cost one pass. The
// schedule depends on which nodes are observed, not on their states, and is cached (schedule_cache.h). It
// bindings the memory of the tables, which have no numbers meanwhile.
#pragma once

#include <atomic>
#include <memory>
#include <span>

#include "inference/elimination/elimination_tree.h"
#include "inference/schedule/parallel_subtrees.h"
#include "inference/schedule/run_schedule.h"

namespace tv {

// An arena: allocations live as long as it does.
class Arena {
 public:
  template <class T>
  T* take(size_t count) {
    const size_t bytes = (count * sizeof(T) + 7) / 8 * 8;
    if (bytes > left_) add_chunk(bytes);
    left_ -= bytes;
    return reinterpret_cast<T*>(end_ - left_ - bytes);
  }
  template <class T>
  std::span<T> copy(const std::vector<T>& list) {
    T* start = take<T>(list.size());
    std::copy(list.begin(), list.end(), start);
    return {start, list.size()};
  }
  size_t bytes() const noexcept { return bytes_; }

 private:
  void add_chunk(size_t least);

  std::vector<std::unique_ptr<unsigned char[]>> chunks_;
  unsigned char* end_ = nullptr;  // of the last chunk
  size_t left_ = 0;
  size_t bytes_ = 0;
};

struct EliminationSchedule {
  // A node's table reduced by the evidence.
  struct Potential {
    const Node* node = nullptr;
    size_t layout = kNone;  // of its table when the schedule was built; kNone: no table
    struct Observed {
      const NodeState* node;
      size_t stride;
    };
    std::span<Observed> observed;  // the members that are observed
    bool is_constant = false;      // all of them are
    float* copy = nullptr;         // of the possible entries, or null; without a table, its single value
    std::span<Dimension> nest;     // of the copy
  };

  // Binds the operand of a step to a potential that is not copied.
  struct Binding {
    Step* step;
    uint32_t potential;
  };

  struct Pass {
    Shape shape;
    Step* steps = nullptr;
    size_t step_count = 0;
    // The same pass over the factors of its products, for doubles; null where it has no products.
    const Pass* exact = nullptr;
  };

  // The product of factors that are small beside the cliques into which they are multiplied.
  struct Product {
    Pass pass;
    float* numbers = nullptr;
  };

  // A clique sends a message over the variables that remain when its own are summed out, or adds a mass.
  struct Collect {
    Pass pass;
    uint32_t clique = 0;
    uint32_t first_product = 0, product_count = 0;  // formed before
    float* message = nullptr;                       // null: a mass
    size_t size = 1;
    const Pass* transposition = nullptr;  // of the message into the receiver's order, or null
  };

  // The message of a clique to one of its children.
  struct Outgoing {
    size_t totals = 0;  // offset of the marginal in the accumulators
    size_t size = 0;
    float* ratio = nullptr;                  // the marginal divided by the receiver's own message
    const Pass* transposition = nullptr;     // of the ratio into the receiver's order, or null
    const float* incoming = nullptr;         // the message that the receiver has sent, or null
    const IndexMap* incoming_map = nullptr;  // its strides along the marginal; null if alike
    const double* inverse = nullptr;         // of the mass that the sender has contributed
    const Pass* sums = nullptr;              // of the beliefs that are read from the marginal
    uint32_t first_belief = 0, belief_count = 0;
  };

  // A pass over a clique with all its factors and the message from its parent.
  struct Distribute {
    Pass pass;
    uint32_t clique = 0;
    uint32_t first_product = 0, product_count = 0;
    uint32_t first_outgoing = 0, outgoing_count = 0;
    uint32_t first_belief = 0, belief_count = 0;
    size_t clear_totals = 0;
  };

  struct Belief {
    const Node* node = nullptr;
    double* totals = nullptr;
  };

  StepKind marginal = StepKind::sum;  // or max: how variables are eliminated
  std::vector<Potential> potentials;
  std::vector<Binding> bindings;
  std::vector<Product> products;
  std::vector<Collect> collects;        // senders before receivers
  std::vector<Distribute> distributes;  // senders before receivers
  std::vector<Outgoing> outgoing_messages;
  std::vector<Belief> beliefs;
  std::vector<double> factors;           // by collect: the scaling of its message, or its mass
  std::vector<unsigned char> lost;       // by clique: its products have left the range of single precision
  std::vector<uint32_t> parents;         // by clique, later ones; kNoClique for the root of a tree
  Block<double> inverses;                // by clique
  Block<double> totals;                  // the accumulators of messages
  Block<double> sums;                    // the accumulators of beliefs
  float* scratch = nullptr;              // the marginal of the present message
  float* transposed = nullptr;           // its ratio before it is transposed
  size_t message_size = 0;               // of the largest: the capacity of these two
  size_t most_steps = 0;                 // of a pass
  Subtrees subtrees;                     // found when the schedule is first run on threads
  size_t work = 0;                       // entries times steps, of all passes
  std::atomic<bool> left_range = false;  // products left single precision in the last run
  Arena memory;

  size_t bytes() const noexcept;

  // Whether all potentials have the layout for which the schedule was built.
  bool holds() const noexcept;
};

// Whether propagations of this kind can run without clique tables.
bool may_eliminate(const PropagationRequest& request) noexcept;

// Whether elimination schedules usually pay for a tree without evidence: asked once, for all its queries.
bool elimination_pays(TreeEngine& engine);

// The schedule over these cliques of the unobserved nodes; null where the memory of the tables does not
// suffice for it, or a pass would need too many steps.
std::unique_ptr<EliminationSchedule> build_elimination_over(const PropagationRequest& request,
                                                            const EliminationTree& graph);

// The schedule for the evidence that the tree has absorbed; null where one over the compiled tree is as good.
// The second form builds one whatever it costs, if there can be one.
std::unique_ptr<EliminationSchedule> build_elimination(const PropagationRequest& request);
std::unique_ptr<EliminationSchedule> build_any_elimination(const PropagationRequest& request);

// Stores the beliefs and the constants. Where single precision does not suffice for the products of a clique,
// doubles are used. `kOutOfRange` where they do not suffice, either; `no_value` where the evidence is
// impossible: no result is valid then.
tv_status_t run_elimination(TreeEngine& engine, EliminationSchedule& schedule);

}  // namespace tv

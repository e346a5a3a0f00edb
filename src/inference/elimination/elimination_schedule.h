// A propagation from the potentials that needs no clique tables: over the graph of the open nodes,
// triangulated anew for the pattern of evidence, messages are collected by bucket elimination (Dechter 1999)
// and distributed to the cliques, whose products of factors are formed block by block and forgotten.
//
// A factor that only distributes a node which nobody else mentions sums to one and is left out while
// collecting sums, so that nodes without evidence below them cost one pass. Plans depend on which nodes are
// observed, not on their states, and are kept (schedule_cache.h). They use the memory of the tables, which
// have no numbers then.
#pragma once

#include <atomic>
#include <memory>
#include <span>

#include "inference/elimination/elimination_tree.h"
#include "inference/schedule/parallel_subtrees.h"
#include "inference/schedule/run_schedule.h"

namespace tv {

// Hands out memory that lives as long as it does.
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
  std::span<T> keep(const std::vector<T>& list) {
    T* place = take<T>(list.size());
    std::copy(list.begin(), list.end(), place);
    return {place, list.size()};
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
  // A node's table, as far as evidence allows.
  struct Potential {
    const Node* node = nullptr;
    size_t layout = kNone;  // of its table when the plan was made; kNone: no table
    struct Fixed {
      const CompiledNode* node;
      size_t stride;
    };
    std::span<Fixed> fixed;    // what evidence picks
    bool is_constant = false;  // nothing is left open
    float* copy =
        nullptr;  // where the possible entries are copied to, if they are; without a table, its value
    std::span<Dimension> nest;  // of the copy
  };

  // A step whose operand is a potential that is not copied.
  struct Use {
    Step* step;
    uint32_t potential;
  };

  struct Pass {
    Shape shape;
    Step* steps = nullptr;
    size_t step_count = 0;
    // The same from the factors of its products, for doubles; null where it has no products.
    const Pass* exact = nullptr;
  };

  // The product of factors that are small beside the cliques that they are multiplied into.
  struct Product {
    Pass pass;
    float* numbers = nullptr;
  };

  // A clique tells what it knows: a message over what is left when its nodes are summed out, or a mass.
  struct Collect {
    Pass pass;
    uint32_t clique = 0;
    uint32_t first_product = 0, product_count = 0;  // formed before
    float* message = nullptr;                       // null: a mass
    size_t size = 1;
    const Pass* turn = nullptr;  // of the message into the order of its receiver, if that is another
  };

  // What a clique tells one that lies further out, about what they share.
  struct Outgoing {
    size_t totals = 0;  // where the marginal stands
    size_t size = 0;
    float* ratio = nullptr;           // the marginal without what the receiver knows already
    const Pass* turn = nullptr;       // of the ratio into the order of the receiver, if that is another
    const float* incoming = nullptr;  // the receiver's message, if it has sent one
    const IndexMap* incoming_map =
        nullptr;                      // where in the marginal it belongs, unless it has the same entries
    const double* inverse = nullptr;  // of the mass that the sender has told
    const Pass* sums = nullptr;       // of beliefs that are read from the marginal
    uint32_t first_belief = 0, belief_count = 0;
  };

  // A clique is run over with all that is known.
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
  std::vector<Use> uses;
  std::vector<Product> products;
  std::vector<Collect> collects;        // senders first
  std::vector<Distribute> distributes;  // receivers last
  std::vector<Outgoing> outgoing_messages;
  std::vector<Belief> beliefs;
  std::vector<double> factors;           // taken out of what is collected
  std::vector<unsigned char> lost;       // by clique: single precision did not suffice for its products
  std::vector<uint32_t> parents;         // by clique, later ones; kNoClique where a tree ends
  Block<double> inverses;                // by clique
  Block<double> totals;                  // of messages and outgoing_messages
  Block<double> sums;                    // of beliefs
  float* scratch = nullptr;              // the marginal of the present message or outgoing
  float* turned = nullptr;               // and its ratio, before it is turned
  size_t message_size = 0;               // of the largest: room in each of the two
  size_t most_steps = 0;                 // of a pass
  Subtrees subtrees;                     // found when the plan is first run on threads
  size_t work = 0;                       // entries times steps, of all passes
  std::atomic<bool> left_range = false;  // in the last run, single precision did not suffice everywhere
  Arena memory;

  size_t bytes() const noexcept;

  // Whether all potentials have the layout for which the plan was made.
  bool holds() const noexcept;
};

// Whether propagations of this kind can do without clique tables.
bool may_eliminate(const PropagationRequest& request) noexcept;

// The plan over these cliques of the open nodes; null where the tables' memory does not suffice for it, or a
// pass would need too many steps.
std::unique_ptr<EliminationSchedule> write_elimination(const PropagationRequest& request,
                                                       const EliminationTree& graph);

// The plan for the evidence that the tree has taken in; null where the schedule is as good. The second form
// makes one whatever it costs, if there can be one.
std::unique_ptr<EliminationSchedule> build_elimination(const PropagationRequest& request);
std::unique_ptr<EliminationSchedule> build_any_elimination(const PropagationRequest& request);

// Stores the beliefs and the constants. Where single precision does not suffice for the products of a clique,
// doubles serve. `kOutOfRange` where they do not suffice, either; `no_value` where the evidence is
// impossible: nothing is known then.
tv_status_t run_elimination(TreeEngine& engine, EliminationSchedule& plan);

}  // namespace tv

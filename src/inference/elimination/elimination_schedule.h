// Propagation from the potentials without clique tables. The unobserved nodes are triangulated anew for the
// pattern of evidence; over these cliques evidence is collected by bucket elimination (Dechter 1999) and
// distributed to all of them. The product of a clique's factors is formed block by block and never stored.
//
// A conditional distribution of a node that occurs in no other factor is barren: it sums to one and is left
// out while sums are collected, so that unobserved nodes without evidence below them cost one pass. The
// schedule depends on which nodes are observed, not on their states, and is cached (schedule_cache.h). It
// uses the memory of the tables, which have no numbers meanwhile.
#pragma once

#include <memory>
#include <span>

#include "inference/arena.h"
#include "inference/elimination/elimination_tree.h"
#include "inference/schedule/parallel_subtrees.h"
#include "inference/schedule/run_schedule.h"

namespace tv {

struct CachedSchedule;  // inference/schedule/shared_schedules.h

struct EliminationSchedule {
  static constexpr uint32_t kNoMap = UINT32_MAX;

  // A node's table reduced by the evidence.
  struct Potential {
    uint32_t node = 0;      // its position in the tree
    size_t layout = kNone;  // of its table when the schedule was built; kNone: no table
    std::span<ObservedMember> observed;
    bool is_constant = false;   // all members are observed
    size_t copy = kNone;        // of the possible entries: its offset in the tables, or kNone
    std::span<Dimension> nest;  // of the copy
  };

  struct Pass {
    Shape shape;
    const ScheduleStep* steps = nullptr;
    size_t step_count = 0;
    // The same pass over the factors of its products, for doubles; null where it has no products.
    const Pass* exact = nullptr;
  };

  // The product of factors that are small beside the cliques into which they are multiplied.
  struct Product {
    Pass pass;
    size_t numbers = 0;  // its offset in the tables
  };

  // A clique sends a message over the variables that remain when its own are summed out, or adds a mass.
  struct Collect {
    Pass pass;
    uint32_t clique = 0;
    uint32_t first_product = 0, product_count = 0;  // formed before
    size_t message = kNone;                         // its offset in the tables; kNone: a mass
    size_t size = 1;
    const Pass* transposition = nullptr;  // of the message into the receiver's order, or null
  };

  // The message of a clique to one of its children.
  struct Outgoing {
    size_t totals = 0;  // offset of the marginal in the accumulators
    size_t size = 0;
    size_t ratio = 0;  // the marginal divided by the receiver's own message: its offset in the tables
    const Pass* transposition = nullptr;  // of the ratio into the receiver's order, or null
    size_t incoming = kNone;              // offset of the message that the receiver has sent, or kNone
    uint32_t incoming_map = kNoMap;       // its strides along the marginal; kNoMap if alike
    bool has_mass = false;                // the sender has contributed one, by which to divide
    uint32_t sender = 0;
    const Pass* sums = nullptr;  // of the beliefs that are read from the marginal
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
    uint32_t node = 0;  // its position in the tree
    size_t totals = 0;  // offset in the accumulators of beliefs
  };

  StepKind marginal = StepKind::sum;  // or max: how variables are eliminated
  std::vector<Potential> potentials;
  std::vector<IndexMap> maps;
  std::vector<float> constants;
  std::vector<Product> products;
  std::vector<Collect> collects;        // senders before receivers
  std::vector<Distribute> distributes;  // senders before receivers
  std::vector<Outgoing> outgoing_messages;
  std::vector<Belief> beliefs;
  std::vector<uint32_t> parents;  // by clique, later ones; kNoClique for the root of a tree
  size_t totals = 0;              // accumulators of messages
  size_t belief_totals = 0;
  size_t scratch = 0;       // the marginal of the present message: its offset in the tables,
  size_t transposed = 0;    // and that of its ratio before it is transposed
  size_t message_size = 0;  // of the largest: the capacity of these two
  size_t most_steps = 0;    // of a pass
  size_t work = 0;          // entries times steps, of all passes
  double entries = 0.0;     // of the compiled tree's tables under the evidence
  double saved = 0.0;       // of these, for each clique of the schedule
  Arena memory;

  size_t bytes() const noexcept;

  // Whether all potentials have the layout for which the schedule was built.
  bool holds(const JunctionTree& tree) const noexcept;
};

// What a run writes beside the tables and beliefs. It stays with the engine for the next one.
struct EliminationMemory {
  Block<double> totals;             // accumulators of messages and beliefs
  std::vector<double> inverses;     // by clique: of the mass that it has contributed
  std::vector<double> factors;      // by collect: the scaling of its message, or its mass
  std::vector<unsigned char> lost;  // by clique: its products have left the range of single precision
  std::vector<Step> steps;          // of the present pass
};

// Whether propagations of this kind can run without clique tables.
bool may_eliminate(const PropagationRequest& request) noexcept;

// Whether elimination schedules usually pay for a tree without evidence: asked once, for all its queries.
bool elimination_pays(TreeEngine& engine);

// The schedule over these cliques of the unobserved nodes; null where the memory of the tables does not
// suffice for it, or a pass would need too many steps.
std::unique_ptr<EliminationSchedule> build_elimination_over(const PropagationRequest& request,
                                                            const EliminationTree& graph);

// The schedule for the evidence that the tree has absorbed, which may come from another state; null where one
// over the compiled tree is as good. The second form finds one whatever it costs, if there can be one.
std::shared_ptr<const CachedSchedule> build_elimination(const PropagationRequest& request);
std::shared_ptr<const CachedSchedule> build_any_elimination(const PropagationRequest& request);

// Whether a state runs a schedule that it has cached for its evidence. A query decides that by the evidence
// alone, although it may have got the schedule where single precision did not suffice.
bool may_run(const TreeEngine& engine, const EliminationSchedule& schedule) noexcept;

// Stores the beliefs and the constants. Where single precision does not suffice for the products of a clique,
// doubles are used, and the tree `is_extended`. `kOutOfRange` where they do not suffice, either; `no_value`
// where the evidence is impossible: no result is valid then. `subtrees` keeps what is found of the schedule's
// subtrees for later runs.
tv_status_t run_elimination(TreeEngine& engine, const EliminationSchedule& schedule,
                            Subtrees* subtrees = nullptr);

}  // namespace tv

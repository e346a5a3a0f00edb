// Runs an elimination schedule.

#include <algorithm>
#include <atomic>
#include <cmath>

#include "api/float_environment.h"
#include "inference/elimination/elimination_schedule.h"
#include "inference/range.h"
#include "inference/schedule/workspace.h"
#include "network/progress.h"
#include "tables/kernels/array_kernels.h"
#include "tables/kernels/double_pass.h"
#include "tables/kernels/number_bounds.h"
#include "tables/kernels/parallel.h"

namespace tv {
namespace {

constexpr double kLeastWhole = 1e-280;  // of a belief: its parts are normal doubles, or do not matter

class EliminationRun {
 public:
  EliminationRun(TreeEngine& engine, const EliminationSchedule& schedule)
      : engine_(engine),
        schedule_(schedule),
        memory_(memory_for(engine, schedule)),
        settings_(parallel_settings(*engine.domain)) {
    if (settings_.concurrency_level > 1 && schedule.work / limits.grains_for_threads < settings_.grain_size)
      settings_.concurrency_level = 1;
    if (settings_.concurrency_level > 1) settings_.workers = &workers_;
    settings_.scratch = engine.pass_totals.data();
    settings_.scratch_size = engine.pass_totals.size();
    engine.buffers[kConstants] = schedule.constants.data();
    engine.buffers[kTransposed] = numbers(schedule.transposed);
  }

  tv_status_t run(Subtrees* kept) {
    bind_potentials();
    if (settings_.workers && !engine_.domain->progress_handler) {
      Subtrees own;
      Subtrees& subtrees = kept ? *kept : own;
      if (subtrees.threads != settings_.concurrency_level) subtrees = find_subtrees(schedule_, settings_);
      if (!subtrees.empty()) return run_subtrees(subtrees);
    }
    ProgressMeter progress(*engine_.domain, "propagation",
                           schedule_.collects.size() + schedule_.distributes.size());
    if (engine_.domain->progress_handler) settings_.progress = &progress;
    const EliminationWorkspace workspace = main_workspace(settings_);
    for (size_t i = 0; i < schedule_.collects.size() + schedule_.distributes.size(); ++i) {
      if (tv_status_t status = progress.advance()) return status;
      if (!run_operation(workspace, i)) return failure();
    }
    return finish();
  }

 private:
  // With arrays for the marginal of the present message, and for its ratio before it is transposed.
  struct EliminationWorkspace : Workspace {
    float* scratch;
    float* transposed;

    double* sums(const EliminationSchedule::Belief& belief) const noexcept {
      return totals[kBeliefTotals] + belief.totals;
    }
  };

  static EliminationMemory& memory_for(TreeEngine& engine, const EliminationSchedule& schedule) {
    if (!engine.elimination) engine.elimination = std::make_unique<EliminationMemory>();
    EliminationMemory& memory = *engine.elimination;
    const size_t totals = schedule.totals + schedule.belief_totals;
    if (memory.totals.size() < totals) memory.totals.allocate_uninitialized(totals);
    memory.inverses.resize(std::max(memory.inverses.size(), schedule.parents.size()));
    memory.steps.resize(std::max(memory.steps.size(), schedule.most_steps));
    memory.factors.assign(schedule.collects.size(), 0.0);
    memory.lost.assign(schedule.parents.size(), 0);
    return memory;
  }

  float* numbers(size_t offset) const noexcept { return engine_.numbers.data() + offset; }

  EliminationWorkspace main_workspace(const ParallelSettings& settings) const noexcept {
    double* const totals = memory_.totals.data();
    return {{{totals, totals + schedule_.totals}, engine_.buffers.data(), memory_.steps.data(), settings},
            numbers(schedule_.scratch),
            numbers(schedule_.transposed)};
  }

  // Collecting operations come first.
  bool run_operation(const EliminationWorkspace& workspace, size_t i) {
    const size_t collects = schedule_.collects.size();
    return i < collects ? collect(workspace, schedule_.collects[i], memory_.factors[i])
                        : distribute(workspace, schedule_.distributes[i - collects]);
  }

  // If no number was out of range, the evidence is impossible.
  static tv_status_t failure() noexcept { return range_flags() ? kOutOfRange : tv_status_no_value; }

  tv_status_t finish() noexcept {
    for (const double factor : memory_.factors) multiply_constant(factor);
    if (!(mantissa_ > 0.0)) return tv_status_no_value;
    store_certain_beliefs();
    set_step_constants(engine_, mantissa_, exponent_);
    engine_.is_extended = left_range_.load(std::memory_order_relaxed);
    return tv_status_none;
  }

  // ---- Subtrees ----

  bool run_part(const EliminationWorkspace& workspace, const Subtrees& subtrees, const Subtrees::Part& part) {
    const uint32_t* const operations = subtrees.operations.data() + part.first;
    for (size_t i = 0; i < part.count; ++i)
      if (!run_operation(workspace, operations[i])) return false;
    return true;
  }

  // A thread that has failed does no more: its floating-point flags tell why.
  bool run_parts(const Subtrees& subtrees, const std::vector<Subtrees::Part>& parts,
                 const std::vector<EliminationWorkspace>& workspaces) {
    return run_parts_on_threads(
        parts.size(), workspaces.size(), settings_.workers,
        [&](size_t part, size_t thread) { return run_part(workspaces[thread], subtrees, parts[part]); });
  }

  struct OwnMemory : WorkspaceMemory {
    std::vector<float> messages;
    std::vector<const float*> buffers;
  };

  EliminationWorkspace make_workspace(OwnMemory& own, const Workspace& main) const {
    EliminationWorkspace made = {
        own.make(main, schedule_.totals, schedule_.belief_totals, schedule_.most_steps), nullptr, nullptr};
    own.messages.resize(2 * schedule_.message_size);
    made.scratch = own.messages.data();
    made.transposed = own.messages.data() + schedule_.message_size;
    own.buffers.assign(main.buffers, main.buffers + kFirstPotential + schedule_.potentials.size());
    own.buffers[kTransposed] = made.transposed;
    made.buffers = own.buffers.data();
    return made;
  }

  tv_status_t run_subtrees(const Subtrees& subtrees) {
    std::vector<OwnMemory> memory(settings_.concurrency_level - 1);
    ParallelSettings alone = settings_;
    alone.concurrency_level = 1;
    std::vector<EliminationWorkspace> workspaces = {main_workspace(alone)};
    for (OwnMemory& own : memory) workspaces.push_back(make_workspace(own, workspaces[0]));
    if (!run_parts(subtrees, subtrees.collect, workspaces)) return failure();
    if (!run_part(main_workspace(settings_), subtrees, subtrees.root_region)) return failure();
    return run_parts(subtrees, subtrees.distribute, workspaces) ? finish() : failure();
  }

  // ---- Potentials ----

  // The first entry that agrees with the evidence.
  const float* entries_of(const EliminationSchedule::Potential& potential) const noexcept {
    const Node& node = *engine_.tree->nodes[potential.node];
    const float* entries = node.table->data.data();
    for (const ObservedMember& member : potential.observed)
      entries += member.stride * static_cast<size_t>(engine_.nodes[member.node].propagated_state);
    return entries;
  }

  // A part of a potential that is copied: some indices of its outermost dimension.
  struct Slice {
    const EliminationSchedule::Potential* potential;
    size_t begin, end;
  };

  void copy_slice(const Slice& slice) const noexcept {
    Dimension nest[64];
    const std::span<Dimension> whole = slice.potential->nest;
    std::copy(whole.begin(), whole.end(), nest);
    nest[0].count = slice.end - slice.begin;
    kernels().assign(nest, whole.size(), numbers(slice.potential->copy + slice.begin * nest[0].stride),
                     entries_of(*slice.potential) + slice.begin * nest[0].stride2);
  }

  void copy_on_threads() {
    std::vector<Slice> slices;
    for (const EliminationSchedule::Potential& potential : schedule_.potentials) {
      if (potential.copy == kNone || potential.nest.empty()) continue;
      const Dimension& outermost = potential.nest.front();
      const size_t each = std::max<size_t>(limits.copied_slice / outermost.stride, 1);
      for (size_t begin = 0; begin < outermost.count; begin += each)
        slices.push_back({&potential, begin, std::min(outermost.count, begin + each)});
    }
    run_parts_on_threads(slices.size(), settings_.concurrency_level, settings_.workers,
                         [&](size_t i, size_t) { return copy_slice(slices[i]), true; });
  }

  void bind_potentials() {
    for (size_t p = 0; p < schedule_.potentials.size(); ++p) {
      const EliminationSchedule::Potential& potential = schedule_.potentials[p];
      if (potential.is_constant)
        multiply_constant(constant_of(potential));
      else if (potential.copy == kNone && potential.layout != kNone)
        engine_.buffers[kFirstPotential + p] = entries_of(potential);
      else if (potential.copy != kNone && (!settings_.workers || potential.nest.empty()))
        kernels().assign(potential.nest.data(), potential.nest.size(), numbers(potential.copy),
                         entries_of(potential));
    }
    if (settings_.workers) copy_on_threads();
  }

  // A node without a table counts as uniform.
  double constant_of(const EliminationSchedule::Potential& potential) const noexcept {
    if (potential.layout != kNone) return static_cast<double>(*entries_of(potential));
    return static_cast<double>(1.0f /
                               static_cast<float>(engine_.tree->nodes[potential.node]->number_of_states));
  }

  // ---- Constants ----

  void multiply_constant(double factor) noexcept {
    int exponent = 0;
    mantissa_ = std::frexp(mantissa_ * factor, &exponent);
    exponent_ += exponent;
  }

  // ---- Passes ----

  const Step* bind(const Workspace& workspace, const EliminationSchedule::Pass& pass) const noexcept {
    return workspace.bind(pass.steps, pass.step_count, schedule_.maps.data());
  }

  void run(const Workspace& workspace, const EliminationSchedule::Pass& pass, float* table) const {
    run_pass(pass.shape, table, bind(workspace, pass), pass.step_count, workspace.settings);
  }

  // Marks the clique where single precision does not suffice.
  template <class Operation>
  void form_products(const EliminationWorkspace& workspace, const Operation& operation) {
    clear_range_flags();
    for (size_t p = operation.first_product; p < operation.first_product + operation.product_count; ++p)
      run(workspace, schedule_.products[p].pass, numbers(schedule_.products[p].numbers));
    if (range_flags()) memory_.lost[operation.clique] = 1;
    clear_range_flags();
  }

  static bool has_more_factors(const EliminationSchedule::Pass& pass, size_t most) noexcept {
    if (pass.step_count <= most) return false;  // some of which are marginals
    return std::count_if(pass.steps, pass.steps + pass.step_count, [](const ScheduleStep& step) {
             return step.is_factor();
           }) > static_cast<ptrdiff_t>(most);
  }

  // Runs a pass over the factors, and again in doubles where it left the range of floats. False where these
  // do not suffice. `clear` sets the accumulators to zero.
  template <class Operation, class Clear>
  bool sum_products(const EliminationWorkspace& workspace, const Operation& operation, Clear clear) {
    const EliminationSchedule::Pass& pass = operation.pass;
    if (!memory_.lost[operation.clique] && !has_more_factors(pass, limits.most_updates)) {
      clear();
      run(workspace, pass, nullptr);
      if (!range_flags()) return true;
    }
    const EliminationSchedule::Pass& exact = pass.exact ? *pass.exact : pass;
    if (has_more_factors(exact, limits.most_rounded)) return raise_range_flags(kRangeFlags), false;
    clear_range_flags();
    left_range_.store(true, std::memory_order_relaxed);
    clear();
    run_double_pass(exact.shape, bind(workspace, exact), exact.step_count);
    return !range_flags();
  }

  // False where a number is out of range, or the evidence is impossible.
  bool collect(const EliminationWorkspace& workspace, const EliminationSchedule::Collect& operation,
               double& factor) {
    double* const totals = workspace.totals[kMessageTotals];
    form_products(workspace, operation);
    if (!sum_products(workspace, operation, [&] { clear_array(totals, operation.size, workspace.settings); }))
      return false;
    factor = operation.message == kNone ? totals[0] : store_message(workspace, operation);
    if (operation.message == kNone) memory_.inverses[operation.clique] = 1.0 / factor;
    if (!std::isfinite(factor)) raise_range_flags(kRangeFlags);
    return factor > 0.0 && std::isfinite(factor);
  }

  // Stores the message scaled to a largest entry of one. Entries that would be lost are rounded up to the
  // smallest normal number; the distribution will tell whether that matters. Returns the scaling factor.
  double store_message(const EliminationWorkspace& workspace, const EliminationSchedule::Collect& operation) {
    const double* const totals = workspace.totals[kMessageTotals];
    float* const message = operation.transposition ? workspace.transposed : numbers(operation.message);
    double largest =
        take_array(totals, workspace.scratch, message, operation.size, workspace.settings).largest;
    if (largest >= kSmallestNormalFloat && largest < kLargestFloat)
      scale_array(message, operation.size, 1.0 / largest, workspace.settings);
    if (range_flags()) {
      clear_range_flags();
      left_range_.store(true, std::memory_order_relaxed);
      largest = *std::max_element(totals, totals + operation.size);
      for (size_t i = 0; i < operation.size; ++i)
        message[i] =
            totals[i] > 0.0 ? static_cast<float>(std::max(totals[i] / largest, kSmallestNormalFloat)) : 0.0f;
    }
    if (operation.transposition) run(workspace, *operation.transposition, numbers(operation.message));
    return largest;
  }

  bool distribute(const EliminationWorkspace& workspace, const EliminationSchedule::Distribute& operation) {
    const auto clear = [&] {
      clear_array(workspace.totals[kMessageTotals], operation.clear_totals, workspace.settings);
      clear_sums(workspace, operation.first_belief, operation.belief_count);
    };
    form_products(workspace, operation);
    if (!sum_products(workspace, operation, clear)) return false;
    if (!store_beliefs(workspace, operation.first_belief, operation.belief_count)) return false;
    for (size_t r = 0; r < operation.outgoing_count; ++r)
      if (!send(workspace, schedule_.outgoing_messages[operation.first_outgoing + r])) return false;
    return true;
  }

  bool send(const EliminationWorkspace& workspace, const EliminationSchedule::Outgoing& outgoing) {
    clear_range_flags();
    if (!form_ratio(workspace, outgoing)) return false;
    if (range_flags()) {
      scale_totals(workspace, outgoing);
      clear_range_flags();
      if (!form_ratio(workspace, outgoing)) return false;
    }
    float* const ratio = numbers(outgoing.ratio);
    if (outgoing.transposition) run(workspace, *outgoing.transposition, ratio);
    if (outgoing.has_mass)
      scale_array(ratio, outgoing.size, memory_.inverses[outgoing.sender], workspace.settings);
    // An entry that is still too small is negligible by now.
    if (range_flags() & kOverflowFlag) return false;
    if (outgoing.belief_count == 0) return true;
    clear_sums(workspace, outgoing.first_belief, outgoing.belief_count);
    run(workspace, *outgoing.sums, workspace.scratch);
    return store_beliefs(workspace, outgoing.first_belief, outgoing.belief_count);
  }

  // Divides the marginal by the message that the receiver has sent; the marginal itself remains in the
  // scratch array.
  bool form_ratio(const EliminationWorkspace& workspace, const EliminationSchedule::Outgoing& outgoing) {
    const double* const totals = workspace.totals[kMessageTotals] + outgoing.totals;
    float* const ratio = outgoing.transposition ? workspace.transposed : numbers(outgoing.ratio);
    if (outgoing.incoming == kNone) {
      take_array(totals, workspace.scratch, ratio, outgoing.size, workspace.settings);
      return true;
    }
    scatter_message(workspace, outgoing);
    if (left_range_.load(std::memory_order_relaxed) && !is_negligible(workspace, outgoing)) return false;
    divide_array(totals, workspace.scratch, ratio, outgoing.size, workspace.settings);
    return true;
  }

  // Scales by a power of two so that the largest entry lies between one and two. Receivers normalise anyway.
  void scale_totals(const EliminationWorkspace& workspace,
                    const EliminationSchedule::Outgoing& outgoing) const noexcept {
    double* const totals = workspace.totals[kMessageTotals] + outgoing.totals;
    const double largest = *std::max_element(totals, totals + outgoing.size);
    if (!(largest > 0.0) || !std::isfinite(largest)) return;
    const int exponent = -std::ilogb(largest);
    for (size_t i = 0; i < outgoing.size; ++i) totals[i] = std::ldexp(totals[i], exponent);
  }

  // Whether hardly any probability falls on the entries of the receiver's message that were rounded up.
  bool is_negligible(const EliminationWorkspace& workspace,
                     const EliminationSchedule::Outgoing& outgoing) const noexcept {
    const double* const totals = workspace.totals[kMessageTotals] + outgoing.totals;
    double mass = 0.0, doubtful = 0.0;
    for (size_t i = 0; i < outgoing.size; ++i) {
      mass += totals[i];
      if (workspace.scratch[i] > 0.0f && workspace.scratch[i] <= static_cast<float>(kSmallestNormalFloat))
        doubtful += totals[i];
    }
    if (doubtful <= mass * kNegligible) return true;
    raise_range_flags(kRangeFlags);
    return false;
  }

  void scatter_message(const EliminationWorkspace& workspace, const EliminationSchedule::Outgoing& outgoing) {
    const float* const incoming = numbers(outgoing.incoming);
    if (outgoing.incoming_map == EliminationSchedule::kNoMap) {
      std::copy_n(incoming, outgoing.size, workspace.scratch);
      return;
    }
    const Step scatter = {StepKind::assign, &schedule_.maps[outgoing.incoming_map], incoming};
    run_pass(outgoing.sums->shape, workspace.scratch, &scatter, 1, workspace.settings);
  }

  // ---- Beliefs ----

  const Node& node_of(const EliminationSchedule::Belief& belief) const noexcept {
    return *engine_.tree->nodes[belief.node];
  }

  void clear_sums(const EliminationWorkspace& workspace, size_t first, size_t count) noexcept {
    for (size_t b = first; b < first + count; ++b)
      std::fill_n(workspace.sums(schedule_.beliefs[b]), node_of(schedule_.beliefs[b]).number_of_states, 0.0);
  }

  bool store_beliefs(const EliminationWorkspace& workspace, size_t first, size_t count) noexcept {
    for (size_t b = first; b < first + count; ++b) {
      const Node& node = node_of(schedule_.beliefs[b]);
      if (!store_belief(workspace.sums(schedule_.beliefs[b]), node.number_of_states,
                        schedule_.marginal == StepKind::sum, kLeastWhole, engine_[node].belief))
        return raise_range_flags(kRangeFlags), false;
    }
    return true;
  }

  void store_certain_beliefs() const noexcept {
    for (const Node* node : engine_.tree->nodes) {
      if (is_unobserved(engine_, *node)) continue;
      const NodeState& data = engine_[*node];
      const ptrdiff_t state = std::max<ptrdiff_t>(data.propagated_state, 0);
      store_certain_belief(static_cast<size_t>(state), node->number_of_states, data.belief);
    }
  }

  TreeEngine& engine_;
  const EliminationSchedule& schedule_;
  EliminationMemory& memory_;
  ParallelSettings settings_;
  std::atomic<bool> left_range_ = false;  // products have left single precision
  Workers workers_{settings_.concurrency_level};
  double mantissa_ = 1.0;
  long exponent_ = 0;
};

}  // namespace

tv_status_t run_elimination(TreeEngine& engine, const EliminationSchedule& schedule, Subtrees* subtrees) {
  return EliminationRun(engine, schedule).run(subtrees);
}

}  // namespace tv

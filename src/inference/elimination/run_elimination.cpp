// Runs an elimination schedule.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numbers>

#include "api/float_environment.h"
#include "inference/elimination/elimination_schedule.h"
#include "inference/range.h"
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
  EliminationRun(TreeEngine& engine, EliminationSchedule& schedule) noexcept
      : engine_(engine), schedule_(schedule), settings_(parallel_settings(*engine.domain)) {
    if (settings_.concurrency_level > 1 && schedule.work / limits.grains_for_threads < settings_.grain_size)
      settings_.concurrency_level = 1;
    if (settings_.concurrency_level > 1) settings_.workers = &workers_;
    settings_.scratch = engine.pass_totals.data();
    settings_.scratch_size = engine.pass_totals.size();
  }

  tv_status_t run() {
    schedule_.left_range.store(false, std::memory_order_relaxed);
    std::fill(schedule_.lost.begin(), schedule_.lost.end(), 0);
    bind_potentials();
    if (settings_.workers && !engine_.domain->progress_handler) {
      if (schedule_.subtrees.threads != settings_.concurrency_level)
        schedule_.subtrees = find_subtrees(schedule_, settings_);
      if (!schedule_.subtrees.empty()) return run_subtrees(schedule_.subtrees);
    }
    ProgressMeter progress(*engine_.domain, "propagation",
                           schedule_.collects.size() + schedule_.distributes.size());
    if (engine_.domain->progress_handler) settings_.progress = &progress;
    const Workspace workspace = main_workspace(settings_);
    for (size_t i = 0; i < schedule_.collects.size() + schedule_.distributes.size(); ++i) {
      if (tv_status_t status = progress.advance()) return status;
      if (!run_operation(workspace, i)) return failure();
    }
    return finish();
  }

 private:
  // The workspace of one thread: its accumulators and scratch arrays, and how it runs passes.
  struct Workspace {
    double* totals;
    double* sums;
    float* scratch;
    float* transposed;
    ParallelSettings settings;
    Step* moved = nullptr;  // steps redirected to this workspace; null where it is the schedule's own
  };

  Workspace main_workspace(const ParallelSettings& settings) const noexcept {
    return {schedule_.totals.data(), schedule_.sums.data(), schedule_.scratch, schedule_.transposed,
            settings};
  }

  // Collecting operations come first.
  bool run_operation(const Workspace& workspace, size_t i) {
    const size_t collects = schedule_.collects.size();
    return i < collects ? collect(workspace, schedule_.collects[i], schedule_.factors[i])
                        : distribute(workspace, schedule_.distributes[i - collects]);
  }

  // If no number was out of range, the evidence is impossible.
  static tv_status_t failure() noexcept { return range_flags() ? kOutOfRange : tv_status_no_value; }

  tv_status_t finish() noexcept {
    for (const double factor : schedule_.factors) multiply_constant(factor);
    if (!(mantissa_ > 0.0)) return tv_status_no_value;
    store_certain_beliefs();
    set_constants();
    return tv_status_none;
  }

  // ---- Subtrees ----

  struct SubtreeRun {
    EliminationRun& run;
    const std::vector<Subtrees::Part>& parts;
    const std::vector<Workspace>& workspaces;
    std::atomic<size_t> next = 0;
    std::atomic<bool> failed = false;

    static void run_next_parts(void* context, size_t begin, size_t) {
      SubtreeRun& self = *static_cast<SubtreeRun*>(context);
      // A thread that has failed does no more: its floating-point flags tell why.
      while (!self.failed.load(std::memory_order_relaxed)) {
        const size_t part = self.next.fetch_add(1, std::memory_order_relaxed);
        if (part >= self.parts.size()) return;
        if (!self.run.run_part(self.workspaces[begin], self.parts[part]))
          self.failed.store(true, std::memory_order_relaxed);
      }
    }
  };

  bool run_part(const Workspace& workspace, const Subtrees::Part& part) {
    const uint32_t* const operations = schedule_.subtrees.operations.data() + part.first;
    for (size_t i = 0; i < part.count; ++i)
      if (!run_operation(workspace, operations[i])) return false;
    return true;
  }

  bool run_parts(const std::vector<Subtrees::Part>& parts, const std::vector<Workspace>& workspaces) {
    SubtreeRun run = {*this, parts, workspaces};
    run_on_threads(workspaces.size(), workspaces.size(), SubtreeRun::run_next_parts, &run, settings_.workers);
    return !run.failed.load(std::memory_order_relaxed);
  }

  tv_status_t run_subtrees(const Subtrees& subtrees) {
    const size_t sums = schedule_.totals.size() + schedule_.sums.size() + settings_.scratch_size;
    const size_t message = (schedule_.message_size + 15) / 16 * 8;  // two floats take the place of a double
    std::vector<Block<double>> memory(settings_.concurrency_level - 1);
    std::vector<Step> moved(memory.size() * schedule_.most_steps);
    ParallelSettings alone = settings_;
    alone.concurrency_level = 1;
    std::vector<Workspace> workspaces = {main_workspace(alone)};
    for (Block<double>& block : memory) {
      block.allocate_uninitialized(sums + 2 * message);
      alone.scratch = block.data() + schedule_.totals.size() + schedule_.sums.size();
      float* const scratch = reinterpret_cast<float*>(block.data() + sums);
      workspaces.push_back({block.data(), block.data() + schedule_.totals.size(), scratch,
                            scratch + 2 * message, alone,
                            moved.data() + (workspaces.size() - 1) * schedule_.most_steps});
    }
    if (!run_parts(subtrees.collect, workspaces)) return failure();
    if (!run_part(main_workspace(settings_), subtrees.root_region)) return failure();
    return run_parts(subtrees.distribute, workspaces) ? finish() : failure();
  }

  // ---- Potentials ----

  static size_t offset_of(const EliminationSchedule::Potential& potential) noexcept {
    size_t offset = 0;
    for (const EliminationSchedule::Potential::Observed& member : potential.observed)
      offset += member.stride * static_cast<size_t>(member.node->propagated_state);
    return offset;
  }

  const float* entries_of(const EliminationSchedule::Potential& potential) const noexcept {
    if (potential.layout == kNone) return potential.copy;
    return potential.node->table->data.data() + offset_of(potential);
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
    kernels().assign(nest, whole.size(), slice.potential->copy + slice.begin * nest[0].stride,
                     entries_of(*slice.potential) + slice.begin * nest[0].stride2);
  }

  struct CopyRun {
    const EliminationRun& run;
    std::vector<Slice> slices;
    std::atomic<size_t> next = 0;

    static void copy_next_slices(void* context, size_t, size_t) {
      CopyRun& self = *static_cast<CopyRun*>(context);
      for (size_t i; (i = self.next.fetch_add(1, std::memory_order_relaxed)) < self.slices.size();)
        self.run.copy_slice(self.slices[i]);
    }
  };

  void copy_on_threads() {
    CopyRun run = {*this, {}};
    for (const EliminationSchedule::Potential& potential : schedule_.potentials) {
      if (potential.is_constant || !potential.copy || potential.nest.empty()) continue;
      const Dimension& outermost = potential.nest.front();
      const size_t each = std::max<size_t>(limits.copied_slice / outermost.stride, 1);
      for (size_t begin = 0; begin < outermost.count; begin += each)
        run.slices.push_back({&potential, begin, std::min(outermost.count, begin + each)});
    }
    const size_t threads = settings_.concurrency_level;
    run_on_threads(threads, threads, CopyRun::copy_next_slices, &run, settings_.workers);
  }

  void bind_potentials() {
    for (const EliminationSchedule::Potential& potential : schedule_.potentials) {
      if (potential.is_constant)
        multiply_constant(static_cast<double>(*entries_of(potential)));
      else if (potential.copy && (!settings_.workers || potential.nest.empty()))
        kernels().assign(potential.nest.data(), potential.nest.size(), potential.copy, entries_of(potential));
    }
    if (settings_.workers) copy_on_threads();
    for (const EliminationSchedule::Binding& binding : schedule_.bindings)
      binding.step->operand = entries_of(schedule_.potentials[binding.potential]);
  }

  // ---- Constants ----

  void multiply_constant(double factor) noexcept {
    int exponent = 0;
    mantissa_ = std::frexp(mantissa_ * factor, &exponent);
    exponent_ += exponent;
  }

  void set_constants() const noexcept {
    TreeEngine& engine = engine_;
    engine.step_constant = std::ldexp(mantissa_, static_cast<int>(std::clamp(exponent_, -100000L, 100000L)));
    engine.step_log_constant = std::log(mantissa_) + static_cast<double>(exponent_) * std::numbers::ln2;
    engine.constant *= engine.step_constant;
    engine.log_constant += engine.step_log_constant;
  }

  // ---- Passes ----

  // Steps refer to the accumulators and scratch arrays of the schedule; other workspaces redirect them.
  void run(const Workspace& workspace, const EliminationSchedule::Pass& pass, float* numbers) {
    run_pass(pass.shape, numbers, steps_for(workspace, pass), pass.step_count, workspace.settings);
  }

  const Step* steps_for(const Workspace& workspace, const EliminationSchedule::Pass& pass) const noexcept {
    Step* const moved = workspace.moved;
    if (!moved) return pass.steps;
    for (size_t s = 0; s < pass.step_count; ++s) {
      moved[s] = pass.steps[s];
      if (moved[s].operand == schedule_.transposed) moved[s].operand = workspace.transposed;
      double*& target = moved[s].target;
      if (target >= schedule_.totals.begin() && target < schedule_.totals.end())
        target = workspace.totals + (target - schedule_.totals.begin());
      else if (target)
        target = workspace.sums + (target - schedule_.sums.begin());
    }
    return moved;
  }

  // Marks the clique where single precision does not suffice.
  template <class Operation>
  void form_products(const Workspace& workspace, const Operation& operation) {
    clear_range_flags();
    for (size_t p = operation.first_product; p < operation.first_product + operation.product_count; ++p)
      run(workspace, schedule_.products[p].pass, schedule_.products[p].numbers);
    if (range_flags()) schedule_.lost[operation.clique] = 1;
    clear_range_flags();
  }

  static bool has_more_factors(const EliminationSchedule::Pass& pass, size_t most) noexcept {
    if (pass.step_count <= most) return false;  // some of which are marginals
    return std::count_if(pass.steps, pass.steps + pass.step_count,
                         [](const Step& step) { return !step.target; }) > static_cast<ptrdiff_t>(most);
  }

  // Runs a pass over the factors, and again in doubles where it left the range of floats. False where these
  // do not suffice. `clear` sets the accumulators to zero.
  template <class Operation, class Clear>
  bool sum_products(const Workspace& workspace, const Operation& operation, Clear clear) {
    const EliminationSchedule::Pass& pass = operation.pass;
    if (!schedule_.lost[operation.clique] && !has_more_factors(pass, limits.most_updates)) {
      clear();
      run(workspace, pass, nullptr);
      if (!range_flags()) return true;
    }
    const EliminationSchedule::Pass& exact = pass.exact ? *pass.exact : pass;
    if (has_more_factors(exact, limits.most_rounded)) return raise_range_flags(kRangeFlags), false;
    clear_range_flags();
    schedule_.left_range.store(true, std::memory_order_relaxed);
    clear();
    run_double_pass(exact.shape, steps_for(workspace, exact), exact.step_count);
    return !range_flags();
  }

  // False where a number is out of range, or the evidence is impossible.
  bool collect(const Workspace& workspace, const EliminationSchedule::Collect& operation, double& factor) {
    double* totals = workspace.totals;
    form_products(workspace, operation);
    if (!sum_products(workspace, operation, [&] { clear_array(totals, operation.size, workspace.settings); }))
      return false;
    factor = operation.message ? store_message(workspace, operation) : totals[0];
    if (!operation.message) schedule_.inverses[operation.clique] = 1.0 / factor;
    if (!std::isfinite(factor)) raise_range_flags(kRangeFlags);
    return factor > 0.0 && std::isfinite(factor);
  }

  // Stores the message scaled to a largest entry of one. Entries that would be lost are rounded up to the
  // smallest normal number; the distribution will tell whether that matters. Returns the scaling factor.
  double store_message(const Workspace& workspace, const EliminationSchedule::Collect& operation) {
    float* const message = operation.transposition ? workspace.transposed : operation.message;
    double largest =
        take_array(workspace.totals, workspace.scratch, message, operation.size, workspace.settings).largest;
    if (largest >= kSmallestNormalFloat && largest < kLargestFloat)
      scale_array(message, operation.size, 1.0 / largest, workspace.settings);
    if (range_flags()) {
      clear_range_flags();
      schedule_.left_range.store(true, std::memory_order_relaxed);
      largest = *std::max_element(workspace.totals, workspace.totals + operation.size);
      for (size_t i = 0; i < operation.size; ++i)
        message[i] = workspace.totals[i] > 0.0
                         ? static_cast<float>(std::max(workspace.totals[i] / largest, kSmallestNormalFloat))
                         : 0.0f;
    }
    if (operation.transposition) run(workspace, *operation.transposition, operation.message);
    return largest;
  }

  bool distribute(const Workspace& workspace, const EliminationSchedule::Distribute& operation) {
    const auto clear = [&] {
      clear_array(workspace.totals, operation.clear_totals, workspace.settings);
      clear_sums(workspace, operation.first_belief, operation.belief_count);
    };
    form_products(workspace, operation);
    if (!sum_products(workspace, operation, clear)) return false;
    if (!store_beliefs(workspace, operation.first_belief, operation.belief_count)) return false;
    for (size_t r = 0; r < operation.outgoing_count; ++r)
      if (!send(workspace, schedule_.outgoing_messages[operation.first_outgoing + r])) return false;
    return true;
  }

  bool send(const Workspace& workspace, const EliminationSchedule::Outgoing& outgoing) {
    clear_range_flags();
    if (!form_ratio(workspace, outgoing)) return false;
    if (range_flags()) {
      scale_totals(workspace, outgoing);
      clear_range_flags();
      if (!form_ratio(workspace, outgoing)) return false;
    }
    if (outgoing.transposition) run(workspace, *outgoing.transposition, outgoing.ratio);
    if (outgoing.inverse) scale_array(outgoing.ratio, outgoing.size, *outgoing.inverse, workspace.settings);
    // An entry that is still too small is negligible by now.
    if (range_flags() & kOverflowFlag) return false;
    if (outgoing.belief_count == 0) return true;
    clear_sums(workspace, outgoing.first_belief, outgoing.belief_count);
    run(workspace, *outgoing.sums, workspace.scratch);
    return store_beliefs(workspace, outgoing.first_belief, outgoing.belief_count);
  }

  // Divides the marginal by the message that the receiver has sent; the marginal itself remains in the
  // scratch array.
  bool form_ratio(const Workspace& workspace, const EliminationSchedule::Outgoing& outgoing) {
    const double* const totals = workspace.totals + outgoing.totals;
    float* const ratio = outgoing.transposition ? workspace.transposed : outgoing.ratio;
    if (!outgoing.incoming) {
      take_array(totals, workspace.scratch, ratio, outgoing.size, workspace.settings);
      return true;
    }
    scatter_message(workspace, outgoing);
    if (schedule_.left_range.load(std::memory_order_relaxed) && !is_negligible(workspace, outgoing))
      return false;
    divide_array(totals, workspace.scratch, ratio, outgoing.size, workspace.settings);
    return true;
  }

  // Scales by a power of two so that the largest entry lies between one and two. Receivers normalise anyway.
  void scale_totals(const Workspace& workspace,
                    const EliminationSchedule::Outgoing& outgoing) const noexcept {
    double* const totals = workspace.totals + outgoing.totals;
    const double largest = *std::max_element(totals, totals + outgoing.size);
    if (!(largest > 0.0) || !std::isfinite(largest)) return;
    const int exponent = -std::ilogb(largest);
    for (size_t i = 0; i < outgoing.size; ++i) totals[i] = std::ldexp(totals[i], exponent);
  }

  // Whether hardly any probability falls on the entries of the receiver's message that were rounded up.
  bool is_negligible(const Workspace& workspace,
                     const EliminationSchedule::Outgoing& outgoing) const noexcept {
    const double* const totals = workspace.totals + outgoing.totals;
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

  void scatter_message(const Workspace& workspace, const EliminationSchedule::Outgoing& outgoing) {
    if (!outgoing.incoming_map) {
      std::copy_n(outgoing.incoming, outgoing.size, workspace.scratch);
      return;
    }
    const Step scatter = {StepKind::assign, outgoing.incoming_map, outgoing.incoming};
    run_pass(outgoing.sums->shape, workspace.scratch, &scatter, 1, workspace.settings);
  }

  // ---- Beliefs ----

  double* sums_of(const Workspace& workspace, const EliminationSchedule::Belief& belief) const noexcept {
    return workspace.sums + (belief.totals - schedule_.sums.begin());
  }

  void clear_sums(const Workspace& workspace, size_t first, size_t count) noexcept {
    for (size_t b = first; b < first + count; ++b)
      std::fill_n(sums_of(workspace, schedule_.beliefs[b]), schedule_.beliefs[b].node->number_of_states, 0.0);
  }

  bool store_beliefs(const Workspace& workspace, size_t first, size_t count) noexcept {
    for (size_t b = first; b < first + count; ++b) {
      const EliminationSchedule::Belief& belief = schedule_.beliefs[b];
      const size_t states = belief.node->number_of_states;
      const double* const sums = sums_of(workspace, belief);
      double whole = 0.0;
      for (size_t i = 0; i < states; ++i)
        whole = schedule_.marginal == StepKind::sum ? whole + sums[i] : std::max(whole, sums[i]);
      if (!(whole >= kLeastWhole && std::isfinite(whole))) return raise_range_flags(kRangeFlags), false;
      for (size_t i = 0; i < states; ++i)
        engine_[*belief.node].belief[i] = static_cast<tv_number_t>(sums[i] / whole);
    }
    return true;
  }

  void store_certain_beliefs() const noexcept {
    for (const Node* node : engine_.tree->nodes) {
      if (is_unobserved(engine_, *node)) continue;
      const NodeState& data = engine_[*node];
      std::fill_n(data.belief, node->number_of_states, 0.0f);
      data.belief[std::max<ptrdiff_t>(data.propagated_state, 0)] = 1.0f;
    }
  }

  TreeEngine& engine_;
  EliminationSchedule& schedule_;
  ParallelSettings settings_;
  Workers workers_{settings_.concurrency_level};
  double mantissa_ = 1.0;
  long exponent_ = 0;
};

}  // namespace

tv_status_t run_elimination(TreeEngine& engine, EliminationSchedule& schedule) {
  return EliminationRun(engine, schedule).run();
}

}  // namespace tv

// Running an elimination plan.

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
  EliminationRun(TreeEngine& engine, EliminationSchedule& plan) noexcept
      : engine_(engine), plan_(plan), settings_(parallel_settings(*engine.domain)) {
    if (settings_.concurrency_level > 1 && plan.work / limits.grains_for_threads < settings_.grain_size)
      settings_.concurrency_level = 1;
    if (settings_.concurrency_level > 1) settings_.workers = &workers_;
    settings_.scratch = engine.pass_totals.data();
    settings_.scratch_size = engine.pass_totals.size();
  }

  tv_status_t run() {
    plan_.left_range.store(false, std::memory_order_relaxed);
    std::fill(plan_.lost.begin(), plan_.lost.end(), 0);
    bind_potentials();
    if (settings_.workers && !engine_.domain->progress_handler) {
      if (plan_.subtrees.threads != settings_.concurrency_level)
        plan_.subtrees = find_subtrees(plan_, settings_);
      if (!plan_.subtrees.empty()) return run_subtrees(plan_.subtrees);
    }
    ProgressMeter progress(*engine_.domain, "propagation", plan_.collects.size() + plan_.distributes.size());
    if (engine_.domain->progress_handler) settings_.progress = &progress;
    const Lane lane = main_workspace(settings_);
    for (size_t i = 0; i < plan_.collects.size() + plan_.distributes.size(); ++i) {
      if (tv_status_t status = progress.advance()) return status;
      if (!run_operation(lane, i)) return failure();
    }
    return finish();
  }

 private:
  // Where a thread sums and turns messages, and how it runs passes.
  struct Lane {
    double* totals;
    double* sums;
    float* scratch;
    float* turned;
    ParallelSettings settings;
    Step* moved = nullptr;  // the steps of a pass with other totals; null where they are the plan's
  };

  Lane main_workspace(const ParallelSettings& settings) const noexcept {
    return {plan_.totals.data(), plan_.sums.data(), plan_.scratch, plan_.turned, settings};
  }

  // Those that collect come first.
  bool run_operation(const Lane& lane, size_t i) {
    const size_t collects = plan_.collects.size();
    return i < collects ? collect(lane, plan_.collects[i], plan_.factors[i])
                        : distribute(lane, plan_.distributes[i - collects]);
  }

  // Without a number that was out of range, the evidence is impossible.
  static tv_status_t failure() noexcept { return range_flags() ? kOutOfRange : tv_status_no_value; }

  tv_status_t finish() noexcept {
    for (const double factor : plan_.factors) take_factor(factor);
    if (!(mantissa_ > 0.0)) return tv_status_no_value;
    store_certain_beliefs();
    set_constants();
    return tv_status_none;
  }

  // ---- Subtrees ----

  struct SubtreeRun {
    EliminationRun& run;
    const std::vector<Subtrees::Part>& parts;
    const std::vector<Lane>& lanes;
    std::atomic<size_t> next = 0;
    std::atomic<bool> failed = false;

    static void take_parts(void* context, size_t begin, size_t) {
      SubtreeRun& self = *static_cast<SubtreeRun*>(context);
      for (size_t part; (part = self.next.fetch_add(1, std::memory_order_relaxed)) < self.parts.size();)
        if (!self.run.run_part(self.lanes[begin], self.parts[part]))
          self.failed.store(true, std::memory_order_relaxed);
    }
  };

  bool run_part(const Lane& lane, const Subtrees::Part& part) {
    const uint32_t* const operations = plan_.subtrees.operations.data() + part.first;
    for (size_t i = 0; i < part.count; ++i)
      if (!run_operation(lane, operations[i])) return false;
    return true;
  }

  bool run_parts(const std::vector<Subtrees::Part>& parts, const std::vector<Lane>& lanes) {
    SubtreeRun run = {*this, parts, lanes};
    run_on_threads(lanes.size(), lanes.size(), SubtreeRun::take_parts, &run, settings_.workers);
    return !run.failed.load(std::memory_order_relaxed);
  }

  tv_status_t run_subtrees(const Subtrees& subtrees) {
    const size_t sums = plan_.totals.size() + plan_.sums.size() + settings_.scratch_size;
    const size_t message = (plan_.message_size + 15) / 16 * 8;  // two floats take the place of a double
    std::vector<Block<double>> memory(settings_.concurrency_level - 1);
    std::vector<Step> moved(memory.size() * plan_.most_steps);
    ParallelSettings alone = settings_;
    alone.concurrency_level = 1;
    std::vector<Lane> lanes = {main_workspace(alone)};
    for (Block<double>& block : memory) {
      block.allocate_uninitialized(sums + 2 * message);
      alone.scratch = block.data() + plan_.totals.size() + plan_.sums.size();
      float* const scratch = reinterpret_cast<float*>(block.data() + sums);
      lanes.push_back({block.data(), block.data() + plan_.totals.size(), scratch, scratch + 2 * message,
                       alone, moved.data() + (lanes.size() - 1) * plan_.most_steps});
    }
    if (!run_parts(subtrees.collect, lanes)) return failure();
    if (!run_part(main_workspace(settings_), subtrees.root_region)) return failure();
    return run_parts(subtrees.distribute, lanes) ? finish() : failure();
  }

  // ---- Potentials ----

  static size_t offset_of(const EliminationSchedule::Potential& potential) noexcept {
    size_t offset = 0;
    for (const EliminationSchedule::Potential::Fixed& fixed : potential.fixed)
      offset += fixed.stride * static_cast<size_t>(fixed.node->propagated_state);
    return offset;
  }

  const float* entries_of(const EliminationSchedule::Potential& potential) const noexcept {
    if (potential.layout == kNone) return potential.copy;
    return potential.node->table->data.data() + offset_of(potential);
  }

  // Some indices of the outermost dimension of a potential that is copied.
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

    static void take_slices(void* context, size_t, size_t) {
      CopyRun& self = *static_cast<CopyRun*>(context);
      for (size_t i; (i = self.next.fetch_add(1, std::memory_order_relaxed)) < self.slices.size();)
        self.run.copy_slice(self.slices[i]);
    }
  };

  void copy_on_threads() {
    CopyRun run = {*this, {}};
    for (const EliminationSchedule::Potential& potential : plan_.potentials) {
      if (potential.is_constant || !potential.copy || potential.nest.empty()) continue;
      const Dimension& outermost = potential.nest.front();
      const size_t each = std::max<size_t>(limits.copied_slice / outermost.stride, 1);
      for (size_t begin = 0; begin < outermost.count; begin += each)
        run.slices.push_back({&potential, begin, std::min(outermost.count, begin + each)});
    }
    const size_t threads = settings_.concurrency_level;
    run_on_threads(threads, threads, CopyRun::take_slices, &run, settings_.workers);
  }

  void bind_potentials() {
    for (const EliminationSchedule::Potential& potential : plan_.potentials) {
      if (potential.is_constant)
        take_factor(static_cast<double>(*entries_of(potential)));
      else if (potential.copy && (!settings_.workers || potential.nest.empty()))
        kernels().assign(potential.nest.data(), potential.nest.size(), potential.copy, entries_of(potential));
    }
    if (settings_.workers) copy_on_threads();
    for (const EliminationSchedule::Use& use : plan_.uses)
      use.step->operand = entries_of(plan_.potentials[use.potential]);
  }

  // ---- Constants ----

  void take_factor(double factor) noexcept {
    int exponent = 0;
    mantissa_ = std::frexp(mantissa_ * factor, &exponent);
    exponent_ += exponent;
  }

  void set_constants() const noexcept {
    JunctionTree& tree = *engine_.tree;
    tree.step_constant = std::ldexp(mantissa_, static_cast<int>(std::clamp(exponent_, -100000L, 100000L)));
    tree.step_log_constant = std::log(mantissa_) + static_cast<double>(exponent_) * std::numbers::ln2;
    tree.constant *= tree.step_constant;
    tree.log_constant += tree.step_log_constant;
  }

  // ---- Passes ----

  // Plans are written for the totals and the room of the plan.
  void run(const Lane& lane, const EliminationSchedule::Pass& pass, float* numbers) {
    run_pass(pass.shape, numbers, steps_for(lane, pass), pass.step_count, lane.settings);
  }

  const Step* steps_for(const Lane& lane, const EliminationSchedule::Pass& pass) const noexcept {
    Step* const moved = lane.moved;
    if (!moved) return pass.steps;
    for (size_t s = 0; s < pass.step_count; ++s) {
      moved[s] = pass.steps[s];
      if (moved[s].operand == plan_.turned) moved[s].operand = lane.turned;
      double*& target = moved[s].target;
      if (target >= plan_.totals.begin() && target < plan_.totals.end())
        target = lane.totals + (target - plan_.totals.begin());
      else if (target)
        target = lane.sums + (target - plan_.sums.begin());
    }
    return moved;
  }

  // Notes where single precision does not suffice.
  template <class Operation>
  void form_products(const Lane& lane, const Operation& operation) {
    clear_range_flags();
    for (size_t p = operation.first_product; p < operation.first_product + operation.product_count; ++p)
      run(lane, plan_.products[p].pass, plan_.products[p].numbers);
    if (range_flags()) plan_.lost[operation.clique] = 1;
    clear_range_flags();
  }

  static bool has_more_factors(const EliminationSchedule::Pass& pass, size_t most) noexcept {
    if (pass.step_count <= most) return false;  // of which some are targets
    return std::count_if(pass.steps, pass.steps + pass.step_count,
                         [](const Step& step) { return !step.target; }) > static_cast<ptrdiff_t>(most);
  }

  // Runs a pass over factors alone, again in doubles where single precision is left. False where that is not
  // enough. `clear` sets the totals to zero.
  template <class Operation, class Clear>
  bool sum_products(const Lane& lane, const Operation& operation, Clear clear) {
    const EliminationSchedule::Pass& pass = operation.pass;
    if (!plan_.lost[operation.clique] && !has_more_factors(pass, limits.most_updates)) {
      clear();
      run(lane, pass, nullptr);
      if (!range_flags()) return true;
    }
    const EliminationSchedule::Pass& exact = pass.exact ? *pass.exact : pass;
    if (has_more_factors(exact, limits.most_rounded)) return raise_range_flags(kRangeFlags), false;
    clear_range_flags();
    plan_.left_range.store(true, std::memory_order_relaxed);
    clear();
    run_double_pass(exact.shape, steps_for(lane, exact), exact.step_count);
    return !range_flags();
  }

  // False where a number is out of range, or nothing is left.
  bool collect(const Lane& lane, const EliminationSchedule::Collect& operation, double& factor) {
    double* totals = lane.totals;
    form_products(lane, operation);
    if (!sum_products(lane, operation, [&] { clear_array(totals, operation.size, lane.settings); }))
      return false;
    factor = operation.message ? store_message(lane, operation) : totals[0];
    if (!operation.message) plan_.inverses[operation.clique] = 1.0 / factor;
    if (!std::isfinite(factor)) raise_range_flags(kRangeFlags);
    return factor > 0.0 && std::isfinite(factor);
  }

  // The message in single precision, the largest number being one. What would be lost becomes the smallest
  // normal number, which is too much: the answer tells whether that matters. Returns what was divided by.
  double store_message(const Lane& lane, const EliminationSchedule::Collect& operation) {
    float* const message = operation.turn ? lane.turned : operation.message;
    double largest = take_array(lane.totals, lane.scratch, message, operation.size, lane.settings).largest;
    if (largest >= kSmallestNormalFloat && largest < kLargestFloat)
      scale_array(message, operation.size, 1.0 / largest, lane.settings);
    if (range_flags()) {
      clear_range_flags();
      plan_.left_range.store(true, std::memory_order_relaxed);
      largest = *std::max_element(lane.totals, lane.totals + operation.size);
      for (size_t i = 0; i < operation.size; ++i)
        message[i] = lane.totals[i] > 0.0
                         ? static_cast<float>(std::max(lane.totals[i] / largest, kSmallestNormalFloat))
                         : 0.0f;
    }
    if (operation.turn) run(lane, *operation.turn, operation.message);
    return largest;
  }

  bool distribute(const Lane& lane, const EliminationSchedule::Distribute& operation) {
    const auto clear = [&] {
      clear_array(lane.totals, operation.clear_totals, lane.settings);
      clear_sums(lane, operation.first_belief, operation.belief_count);
    };
    form_products(lane, operation);
    if (!sum_products(lane, operation, clear)) return false;
    if (!store_beliefs(lane, operation.first_belief, operation.belief_count)) return false;
    for (size_t r = 0; r < operation.outgoing_count; ++r)
      if (!answer(lane, plan_.outgoing_messages[operation.first_outgoing + r])) return false;
    return true;
  }

  bool answer(const Lane& lane, const EliminationSchedule::Outgoing& outgoing) {
    clear_range_flags();
    if (!form_ratio(lane, outgoing)) return false;
    if (range_flags()) {
      scale_totals(lane, outgoing);
      clear_range_flags();
      if (!form_ratio(lane, outgoing)) return false;
    }
    if (outgoing.turn) run(lane, *outgoing.turn, outgoing.ratio);
    if (outgoing.inverse) scale_array(outgoing.ratio, outgoing.size, *outgoing.inverse, lane.settings);
    // What is still too small says nothing any more.
    if (range_flags() & kOverflowFlag) return false;
    if (outgoing.belief_count == 0) return true;
    clear_sums(lane, outgoing.first_belief, outgoing.belief_count);
    run(lane, *outgoing.sums, lane.scratch);
    return store_beliefs(lane, outgoing.first_belief, outgoing.belief_count);
  }

  // The marginal without what the receiver knows already; the marginal itself remains in the scratch.
  bool form_ratio(const Lane& lane, const EliminationSchedule::Outgoing& outgoing) {
    const double* const totals = lane.totals + outgoing.totals;
    float* const ratio = outgoing.turn ? lane.turned : outgoing.ratio;
    if (!outgoing.incoming) {
      take_array(totals, lane.scratch, ratio, outgoing.size, lane.settings);
      return true;
    }
    scatter_message(lane, outgoing);
    if (plan_.left_range.load(std::memory_order_relaxed) && !is_negligible(lane, outgoing)) return false;
    divide_array(totals, lane.scratch, ratio, outgoing.size, lane.settings);
    return true;
  }

  // Lets the largest total lie between one and two. Receivers normalise what they make of the answer.
  void scale_totals(const Lane& lane, const EliminationSchedule::Outgoing& outgoing) const noexcept {
    double* const totals = lane.totals + outgoing.totals;
    const double largest = *std::max_element(totals, totals + outgoing.size);
    if (!(largest > 0.0) || !std::isfinite(largest)) return;
    const int exponent = -std::ilogb(largest);
    for (size_t i = 0; i < outgoing.size; ++i) totals[i] = std::ldexp(totals[i], exponent);
  }

  // Whether hardly any probability falls on the numbers of the receiver's message that were too small.
  bool is_negligible(const Lane& lane, const EliminationSchedule::Outgoing& outgoing) const noexcept {
    const double* const totals = lane.totals + outgoing.totals;
    double mass = 0.0, doubtful = 0.0;
    for (size_t i = 0; i < outgoing.size; ++i) {
      mass += totals[i];
      if (lane.scratch[i] > 0.0f && lane.scratch[i] <= static_cast<float>(kSmallestNormalFloat))
        doubtful += totals[i];
    }
    if (doubtful <= mass * kNegligible) return true;
    raise_range_flags(kRangeFlags);
    return false;
  }

  void scatter_message(const Lane& lane, const EliminationSchedule::Outgoing& outgoing) {
    if (!outgoing.incoming_map) {
      std::copy_n(outgoing.incoming, outgoing.size, lane.scratch);
      return;
    }
    const Step spread = {StepKind::assign, outgoing.incoming_map, outgoing.incoming};
    run_pass(outgoing.sums->shape, lane.scratch, &spread, 1, lane.settings);
  }

  // ---- Beliefs ----

  double* sums_of(const Lane& lane, const EliminationSchedule::Belief& belief) const noexcept {
    return lane.sums + (belief.totals - plan_.sums.begin());
  }

  void clear_sums(const Lane& lane, size_t first, size_t count) noexcept {
    for (size_t b = first; b < first + count; ++b)
      std::fill_n(sums_of(lane, plan_.beliefs[b]), plan_.beliefs[b].node->number_of_states, 0.0);
  }

  bool store_beliefs(const Lane& lane, size_t first, size_t count) noexcept {
    for (size_t b = first; b < first + count; ++b) {
      const EliminationSchedule::Belief& belief = plan_.beliefs[b];
      const size_t states = belief.node->number_of_states;
      const double* const sums = sums_of(lane, belief);
      double whole = 0.0;
      for (size_t i = 0; i < states; ++i)
        whole = plan_.marginal == StepKind::sum ? whole + sums[i] : std::max(whole, sums[i]);
      if (!(whole >= kLeastWhole && std::isfinite(whole))) return raise_range_flags(kRangeFlags), false;
      for (size_t i = 0; i < states; ++i)
        compiled(*belief.node).belief[i] = static_cast<tv_number_t>(sums[i] / whole);
    }
    return true;
  }

  void store_certain_beliefs() const noexcept {
    for (const Node* node : engine_.tree->nodes) {
      if (is_unobserved(*node)) continue;
      const CompiledNode& data = compiled(*node);
      std::fill_n(data.belief, node->number_of_states, 0.0f);
      data.belief[std::max<ptrdiff_t>(data.propagated_state, 0)] = 1.0f;
    }
  }

  TreeEngine& engine_;
  EliminationSchedule& plan_;
  ParallelSettings settings_;
  Workers workers_{settings_.concurrency_level};
  double mantissa_ = 1.0;
  long exponent_ = 0;
};

}  // namespace

tv_status_t run_elimination(TreeEngine& engine, EliminationSchedule& plan) {
  return EliminationRun(engine, plan).run();
}

}  // namespace tv

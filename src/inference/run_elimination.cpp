// Running an elimination plan.

#include <algorithm>
#include <cmath>
#include <numbers>

#include "inference/elimination_plan.h"
#include "network/progress.h"
#include "tables/number_bounds.h"
#include "tables/parallel.h"

namespace tv {
namespace {

constexpr double kSuspiciousMass = 5.421010862427522e-20;  // 2 to the power -64
constexpr size_t kGrainsForThreads = 1000;

class EliminationRun {
 public:
  EliminationRun(TreeEngine& engine, EliminationPlan& plan) noexcept
      : engine_(engine), plan_(plan), settings_(parallel_settings(*engine.domain)) {
    if (settings_.concurrency_level > 1 && plan.work / kGrainsForThreads < settings_.grain_size)
      settings_.concurrency_level = 1;
    if (settings_.concurrency_level > 1) settings_.workers = &workers_;
  }

  tv_status_t run() {
    ProgressMeter progress(*engine_.domain, "propagation", plan_.collects.size() + plan_.distributes.size());
    bind_potentials();
    for (const EliminationPlan::Collect& item : plan_.collects) {
      if (tv_status_t status = progress.advance()) return status;
      if (!collect(item)) return tv_status_no_value;
    }
    if (!(mantissa_ > 0.0)) return tv_status_no_value;
    for (const EliminationPlan::Distribute& item : plan_.distributes) {
      if (tv_status_t status = progress.advance()) return status;
      if (!distribute(item)) return tv_status_no_value;
    }
    store_certain_beliefs();
    set_constants();
    return tv_status_none;
  }

 private:
  // ---- Potentials ----

  static size_t offset_of(const EliminationPlan::Potential& potential) noexcept {
    size_t offset = 0;
    for (const EliminationPlan::Potential::Fixed& fixed : potential.fixed)
      offset += fixed.stride * static_cast<size_t>(fixed.node->propagated_state);
    return offset;
  }

  const float* entries_of(const EliminationPlan::Potential& potential) const noexcept {
    if (potential.layout == kNone) return potential.copy;
    return potential.node->table->data.data() + offset_of(potential);
  }

  void bind_potentials() noexcept {
    for (const EliminationPlan::Potential& potential : plan_.potentials) {
      if (potential.is_constant)
        take_factor(static_cast<double>(*entries_of(potential)));
      else if (potential.copy)
        kernels().assign(potential.nest.data(), potential.nest.size(), potential.copy, entries_of(potential));
    }
    for (const EliminationPlan::Use& use : plan_.uses)
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

  void run(const EliminationPlan::Pass& pass) {
    run_pass(pass.shape, nullptr, pass.steps, pass.step_count, settings_);
  }

  void form_products(size_t first, size_t count) {
    for (size_t p = first; p < first + count; ++p) {
      const EliminationPlan::Product& product = plan_.products[p];
      run_pass(product.pass.shape, product.numbers, product.pass.steps, product.pass.step_count, settings_);
    }
  }

  // False where too little is left of the factors' product: entries may have been lost on the way.
  bool collect(const EliminationPlan::Collect& item) {
    double* totals = plan_.totals.data();
    std::fill_n(totals, item.size, 0.0);
    form_products(item.first_product, item.product_count);
    run(item.pass);
    double sum = totals[0], largest = totals[0];
    if (item.message) {
      float* message = item.turn ? plan_.turned : item.message;
      const RatioResult result = kernels().take(totals, plan_.scratch, message, item.size);
      sum = result.sum;
      largest = result.largest;
    }
    const bool may_have_lost = item.pass.step_count > 2 && sum < kSuspiciousMass;
    if (may_have_lost || !(largest >= kSmallestNormalFloat) || !(sum < kLargestFloat)) return false;
    take_factor(largest);
    turn(item.turn, item.message);
    if (item.message)
      kernels().scale(item.message, item.size, 1.0 / largest);
    else
      plan_.inverses[item.clique] = 1.0 / largest;
    return true;
  }

  void turn(const EliminationPlan::Pass* pass, float* numbers) {
    if (pass) run_pass(pass->shape, numbers, pass->steps, pass->step_count, settings_);
  }

  bool distribute(const EliminationPlan::Distribute& item) {
    std::fill_n(plan_.totals.data(), item.clear_totals, 0.0);
    clear_sums(item.first_belief, item.belief_count);
    form_products(item.first_product, item.product_count);
    run(item.pass);
    if (!store_beliefs(item.first_belief, item.belief_count)) return false;
    for (size_t r = 0; r < item.reply_count; ++r)
      if (!answer(plan_.replies[item.first_reply + r])) return false;
    return true;
  }

  bool answer(const EliminationPlan::Reply& reply) {
    const double* totals = plan_.totals.data() + reply.totals;
    float* ratio = reply.turn ? plan_.turned : reply.ratio;
    if (!reply.heard) {
      kernels().take(totals, plan_.scratch, ratio, reply.size);
    } else {
      spread_message(reply);
      kernels().divide(totals, plan_.scratch, ratio, reply.size);
    }
    turn(reply.turn, reply.ratio);
    if (reply.inverse) kernels().scale(reply.ratio, reply.size, *reply.inverse);
    if (reply.belief_count == 0) return true;
    clear_sums(reply.first_belief, reply.belief_count);
    run_pass(reply.sums->shape, plan_.scratch, reply.sums->steps, reply.sums->step_count, settings_);
    return store_beliefs(reply.first_belief, reply.belief_count);
  }

  void spread_message(const EliminationPlan::Reply& reply) {
    if (!reply.heard_at) {
      std::copy_n(reply.heard, reply.size, plan_.scratch);
      return;
    }
    const Step spread = {Operation::assign, reply.heard_at, reply.heard};
    run_pass(reply.sums->shape, plan_.scratch, &spread, 1, settings_);
  }

  // ---- Beliefs ----

  void clear_sums(size_t first, size_t count) noexcept {
    for (size_t b = first; b < first + count; ++b)
      std::fill_n(plan_.beliefs[b].totals, plan_.beliefs[b].node->number_of_states, 0.0);
  }

  bool store_beliefs(size_t first, size_t count) noexcept {
    for (size_t b = first; b < first + count; ++b) {
      const EliminationPlan::Belief& belief = plan_.beliefs[b];
      const size_t states = belief.node->number_of_states;
      double whole = 0.0;
      for (size_t i = 0; i < states; ++i) whole += belief.totals[i];
      if (!(whole >= kSmallestNormalFloat && whole < kLargestFloat)) return false;
      for (size_t i = 0; i < states; ++i)
        compiled(*belief.node).belief[i] = static_cast<tv_number_t>(belief.totals[i] / whole);
    }
    return true;
  }

  void store_certain_beliefs() const noexcept {
    for (const Node* node : engine_.tree->nodes) {
      if (is_open(*node)) continue;
      const CompiledNode& data = compiled(*node);
      std::fill_n(data.belief, node->number_of_states, 0.0f);
      data.belief[std::max<ptrdiff_t>(data.propagated_state, 0)] = 1.0f;
    }
  }

  TreeEngine& engine_;
  EliminationPlan& plan_;
  ParallelSettings settings_;
  Workers workers_{settings_.concurrency_level};
  double mantissa_ = 1.0;
  long exponent_ = 0;
};

}  // namespace

tv_status_t run_elimination(TreeEngine& engine, EliminationPlan& plan) {
  return EliminationRun(engine, plan).run();
}

}  // namespace tv

#include "inference/schedule/gather_schedule.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "api/float_environment.h"
#include "tables/kernels/number_bounds.h"

namespace tv {
namespace {

constexpr size_t kMostTotals = kCapacity.short_table;

// The address is found before a loop; without this, compilers add the offset to each position within.
template <class T>
T* address_of(T* buffer, size_t offset) noexcept {
  return std::launder(buffer + offset);
}

// The buffers of a run.
struct Run {
  Run(TreeEngine& run_engine, const GatherSchedule& schedule) noexcept
      : engine(run_engine),
        factors(schedule.factors),
        buffers(run_engine.buffers.data()),
        nodes(run_engine.nodes),
        tables(run_engine.numbers.data()),
        node_numbers(run_engine.state->numbers.data()) {}

  const GatherFactor* factors_of(const GatherOperation& operation) const noexcept {
    return factors + operation.first;
  }
  const float* operand(const GatherFactor& factor) const noexcept {
    return address_of(buffers[factor.buffer], factor.offset);
  }
  float* table(const GatherOperation& operation) const noexcept {
    return address_of(tables, operation.table);
  }
  // A finding that is all ones.
  bool is_void(const GatherFactor& factor) const noexcept {
    return factor.finding != GatherFactor::kNoNode && nodes[factor.finding].propagated_state == kNoEvidence;
  }

  TreeEngine& engine;
  const GatherFactor* factors;
  const float* const* buffers;
  const NodeState* nodes;
  float* tables;
  tv_number_t* node_numbers;
};

void assign(const Run& run, const GatherOperation& operation, const GatherFactor& factor) noexcept {
  float* const table = run.table(operation);
  const float* const operand = run.operand(factor);
  for (size_t i = 0; i < operation.entries; ++i) table[i] = operand[factor.positions[i]];
}

void multiply(const Run& run, const GatherOperation& operation, const GatherFactor& factor) noexcept {
  float* const table = run.table(operation);
  const float* const operand = run.operand(factor);
  for (size_t i = 0; i < operation.entries; ++i) table[i] *= operand[factor.positions[i]];
}

void assign_product(const Run& run, const GatherOperation& operation, const GatherFactor& a,
                    const GatherFactor& b) noexcept {
  float* const table = run.table(operation);
  const float *const in_a = run.operand(a), *const in_b = run.operand(b);
  for (size_t i = 0; i < operation.entries; ++i) table[i] = in_a[a.positions[i]] * in_b[b.positions[i]];
}

void form(const Run& run, const GatherOperation& operation) noexcept {
  const GatherFactor* factor = run.factors_of(operation);
  const GatherFactor* const end = factor + operation.factor_count;
  if (operation.assigns && operation.factor_count > 1 && !run.is_void(factor[1])) {
    assign_product(run, operation, factor[0], factor[1]);
    factor += 2;
  } else if (operation.assigns) {
    assign(run, operation, *factor++);
  }
  for (; factor < end; ++factor)
    if (!run.is_void(*factor)) multiply(run, operation, *factor);
}

// Each target is summed in the order of the table.
void sum(const Run& run, const GatherOperation& operation, double* totals) noexcept {
  const unsigned char* source = operation.sources;
  const float* table = run.table(operation);
  for (size_t t = 0; t < operation.targets; ++t) {
    double total = 0.0;
    for (size_t k = 0; k < operation.each; ++k) total += static_cast<double>(table[*source++]);
    totals[t] = total;
  }
}

tv_status_t rescale(const Run& run, const GatherOperation& operation) noexcept {
  float* const table = run.table(operation);
  const float largest = *std::max_element(table, table + operation.entries);
  if (tv_status_t status = _tv_check_norm_factor(static_cast<double>(largest))) return status;
  const int exponent = std::clamp(std::ilogb(static_cast<double>(largest)), -126, 126);
  take_out_factor(run.engine, std::ldexp(1.0, exponent));
  const float inverse = std::ldexp(1.0f, -exponent);
  for (size_t i = 0; i < operation.entries; ++i) table[i] *= inverse;
  return tv_status_none;
}

// Forms the product again where entries underflowed, rescaling the table after each factor.
tv_status_t form_and_sum_carefully(const Run& run, const GatherOperation& operation,
                                   double* totals) noexcept {
  const GatherFactor* const factors = run.factors_of(operation);
  for (size_t f = 0; f < operation.factor_count; ++f) {
    if (f > 0)
      if (tv_status_t status = rescale(run, operation)) return status;
    if (f == 0 && operation.assigns)
      assign(run, operation, factors[f]);
    else
      multiply(run, operation, factors[f]);
  }
  sum(run, operation, totals);
  return range_flags() ? kOutOfRange : tv_status_none;
}

tv_status_t form_and_sum(const Run& run, const GatherOperation& operation, double* totals) noexcept {
  form(run, operation);
  sum(run, operation, totals);
  if (!range_flags()) return tv_status_none;
  if (operation.factor_count < 2 || !operation.assigns || holds_mass(totals, operation.targets))
    return kOutOfRange;
  clear_range_flags();
  return form_and_sum_carefully(run, operation, totals);
}

// The marginal becomes the separator's, and the update at the same time.
RatioResult take(const Run& run, const GatherOperation& operation, const double* totals) noexcept {
  float* const result = address_of(run.tables, operation.result);
  float* const message = address_of(run.tables, operation.message);
  RatioResult found = {0.0, 0.0, false};
  float largest = 0.0f;
  for (size_t t = 0; t < operation.targets; ++t) {
    const float fresh = static_cast<float>(totals[t]);
    result[t] = message[t] = fresh;
    found.sum += static_cast<double>(fresh);
    largest = largest < fresh ? fresh : largest;
  }
  found.largest = static_cast<double>(largest);
  return found;
}

double divide(const Run& run, const GatherOperation& operation, const double* totals) noexcept {
  float* const result = address_of(run.tables, operation.result);
  float* const message = address_of(run.tables, operation.message);
  double sum_of_ratios = 0.0;
  for (size_t t = 0; t < operation.targets; ++t) {
    const float fresh = static_cast<float>(totals[t]), old = result[t];
    const float ratio = old > 0.0f ? fresh / old : 0.0f;
    result[t] = fresh;
    message[t] = ratio;
    sum_of_ratios += static_cast<double>(ratio);
  }
  return sum_of_ratios;
}

tv_status_t collect(const Run& run, const GatherOperation& operation) noexcept {
  double totals[kMostTotals];
  if (tv_status_t status = form_and_sum(run, operation, totals)) return status;
  const RatioResult found = take(run, operation, totals);
  if (tv_status_t status = _tv_check_norm_factor(found.sum)) return status;
  if (tv_status_t status = _tv_check_norm_factor(found.largest)) return status;
  take_out_factor(run.engine, found.largest);
  const double inverse = 1.0 / found.largest;
  float* const message = address_of(run.tables, operation.message);
  for (size_t t = 0; t < operation.targets; ++t)
    message[t] = static_cast<float>(static_cast<double>(message[t]) * inverse);
  return range_flags() ? kOutOfRange : tv_status_none;
}

tv_status_t send(const Run& run, const GatherOperation& operation) noexcept {
  double totals[kMostTotals];
  sum(run, operation, totals);
  if (!operation.has_past)
    take(run, operation, totals);
  else if (divide(run, operation, totals) > kLargestRatioSum)
    return kOutOfRange;
  return tv_status_none;
}

tv_status_t store_belief(const Run& run, const GatherOperation& operation) noexcept {
  double totals[kMostTotals];
  sum(run, operation, totals);
  tv_number_t* const belief = address_of(run.node_numbers, operation.result);
  return tv::store_belief(totals, operation.targets, true, kSmallestNormalFloat, belief) ? tv_status_none
                                                                                         : kOutOfRange;
}

void store_observed(const Run& run, const GatherOperation& operation) noexcept {
  const ptrdiff_t state = run.nodes[operation.node].observed_state;
  store_certain_belief(static_cast<size_t>(state), operation.targets, run.node_numbers + operation.result);
}

}  // namespace

tv_status_t run_gather_operations(TreeEngine& engine, const GatherSchedule& schedule, size_t& next,
                                  bool only_one) noexcept {
  const Run run(engine, schedule);
  for (const size_t end = only_one ? next + 1 : schedule.operation_count; next < end; ++next) {
    const GatherOperation& operation = schedule.operations[next];
    tv_status_t status = tv_status_none;
    switch (operation.kind) {
      case GatherKind::operation:
      case GatherKind::root:
        return tv_status_none;
      case GatherKind::form:
        form(run, operation);
        break;
      case GatherKind::collect:
        status = collect(run, operation);
        break;
      case GatherKind::send:
        status = send(run, operation);
        break;
      case GatherKind::belief:
        status = store_belief(run, operation);
        break;
      case GatherKind::observed:
        store_observed(run, operation);
        break;
    }
    if (status) return status;
  }
  return tv_status_none;
}

tv_status_t collect_gathered_root(TreeEngine& engine, const GatherSchedule& schedule,
                                  const GatherOperation& operation) noexcept {
  return form_and_sum(Run(engine, schedule), operation, &engine.mass);
}

}  // namespace tv

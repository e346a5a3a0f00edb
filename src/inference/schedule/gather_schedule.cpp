#include "inference/schedule/gather_schedule.h"

#include <algorithm>
#include <cmath>

#include "api/float_environment.h"
#include "tables/kernels/number_bounds.h"

namespace tv {
namespace {

constexpr size_t kMostTotals = kCapacity.short_table;

const GatherFactor* factors_of(const GatherSchedule& schedule, const GatherOperation& operation) noexcept {
  return schedule.factors + operation.first;
}

void assign(const GatherOperation& operation, const GatherFactor& factor) noexcept {
  for (size_t i = 0; i < operation.entries; ++i) operation.table[i] = factor.operand[factor.positions[i]];
}

void multiply(const GatherOperation& operation, const GatherFactor& factor) noexcept {
  for (size_t i = 0; i < operation.entries; ++i) operation.table[i] *= factor.operand[factor.positions[i]];
}

void assign_product(const GatherOperation& operation, const GatherFactor& a, const GatherFactor& b) noexcept {
  for (size_t i = 0; i < operation.entries; ++i)
    operation.table[i] = a.operand[a.positions[i]] * b.operand[b.positions[i]];
}

void apply(const GatherOperation& operation, const GatherFactor& factor, bool assigns) noexcept {
  if (assigns)
    assign(operation, factor);
  else
    multiply(operation, factor);
}

void form(const GatherSchedule& schedule, const GatherOperation& operation) noexcept {
  const GatherFactor* factor = factors_of(schedule, operation);
  const GatherFactor* const end = factor + operation.factor_count;
  if (operation.assigns && operation.factor_count > 1 && !factor[1].is_void()) {
    assign_product(operation, factor[0], factor[1]);
    factor += 2;
  } else if (operation.assigns) {
    assign(operation, *factor++);
  }
  for (; factor < end; ++factor)
    if (!factor->is_void()) multiply(operation, *factor);
}

// Each target is summed in the order of the table.
void sum(const GatherOperation& operation, double* totals) noexcept {
  const unsigned char* source = operation.sources;
  const float* table = operation.table;
  for (size_t t = 0; t < operation.targets; ++t) {
    double total = 0.0;
    for (size_t k = 0; k < operation.each; ++k) total += static_cast<double>(table[*source++]);
    totals[t] = total;
  }
}

tv_status_t rescale(TreeEngine& engine, const GatherOperation& operation) noexcept {
  const float largest = *std::max_element(operation.table, operation.table + operation.entries);
  if (tv_status_t status = _tv_check_norm_factor(static_cast<double>(largest))) return status;
  const int exponent = std::clamp(std::ilogb(static_cast<double>(largest)), -126, 126);
  take_out_factor(engine, std::ldexp(1.0, exponent));
  const float inverse = std::ldexp(1.0f, -exponent);
  for (size_t i = 0; i < operation.entries; ++i) operation.table[i] *= inverse;
  return tv_status_none;
}

// Forms the product again where entries underflowed, rescaling the table after each factor.
tv_status_t form_and_sum_carefully(TreeEngine& engine, const GatherSchedule& schedule,
                                   const GatherOperation& operation, double* totals) noexcept {
  for (size_t f = 0; f < operation.factor_count; ++f) {
    if (f > 0)
      if (tv_status_t status = rescale(engine, operation)) return status;
    apply(operation, factors_of(schedule, operation)[f], operation.assigns && f == 0);
  }
  sum(operation, totals);
  return range_flags() ? kOutOfRange : tv_status_none;
}

tv_status_t form_and_sum(TreeEngine& engine, const GatherSchedule& schedule, const GatherOperation& operation,
                         double* totals) noexcept {
  form(schedule, operation);
  sum(operation, totals);
  if (!range_flags()) return tv_status_none;
  if (operation.factor_count < 2 || !operation.assigns || holds_mass(totals, operation.targets))
    return kOutOfRange;
  clear_range_flags();
  return form_and_sum_carefully(engine, schedule, operation, totals);
}

// The marginal becomes the separator's, and the update at the same time.
RatioResult take(const GatherOperation& operation, const double* totals) noexcept {
  RatioResult found = {0.0, 0.0, false};
  float largest = 0.0f;
  for (size_t t = 0; t < operation.targets; ++t) {
    const float fresh = static_cast<float>(totals[t]);
    operation.result[t] = operation.message[t] = fresh;
    found.sum += static_cast<double>(fresh);
    largest = largest < fresh ? fresh : largest;
  }
  found.largest = static_cast<double>(largest);
  return found;
}

double divide(const GatherOperation& operation, const double* totals) noexcept {
  double sum_of_ratios = 0.0;
  for (size_t t = 0; t < operation.targets; ++t) {
    const float fresh = static_cast<float>(totals[t]), old = operation.result[t];
    const float ratio = old > 0.0f ? fresh / old : 0.0f;
    operation.result[t] = fresh;
    operation.message[t] = ratio;
    sum_of_ratios += static_cast<double>(ratio);
  }
  return sum_of_ratios;
}

tv_status_t collect(TreeEngine& engine, const GatherSchedule& schedule,
                    const GatherOperation& operation) noexcept {
  double totals[kMostTotals];
  if (tv_status_t status = form_and_sum(engine, schedule, operation, totals)) return status;
  const RatioResult found = take(operation, totals);
  if (tv_status_t status = _tv_check_norm_factor(found.sum)) return status;
  if (tv_status_t status = _tv_check_norm_factor(found.largest)) return status;
  take_out_factor(engine, found.largest);
  const double inverse = 1.0 / found.largest;
  for (size_t t = 0; t < operation.targets; ++t)
    operation.message[t] = static_cast<float>(static_cast<double>(operation.message[t]) * inverse);
  return range_flags() ? kOutOfRange : tv_status_none;
}

tv_status_t send(const GatherOperation& operation) noexcept {
  double totals[kMostTotals];
  sum(operation, totals);
  if (!operation.has_past)
    take(operation, totals);
  else if (divide(operation, totals) > kLargestRatioSum)
    return kOutOfRange;
  return tv_status_none;
}

tv_status_t store_belief(const GatherOperation& operation) noexcept {
  double totals[kMostTotals], whole = 0.0;
  sum(operation, totals);
  for (size_t t = 0; t < operation.targets; ++t) whole += totals[t];
  if (!(whole >= kSmallestNormalFloat)) return kOutOfRange;
  for (size_t t = 0; t < operation.targets; ++t) operation.result[t] = static_cast<float>(totals[t] / whole);
  return tv_status_none;
}

void store_observed(const GatherOperation& operation) noexcept {
  std::fill_n(operation.result, operation.targets, 0.0f);
  operation.result[*operation.state] = 1.0f;
}

}  // namespace

void bind_potentials(const GatherSchedule& schedule) noexcept {
  for (size_t p = 0; p < schedule.potential_count; ++p) {
    const GatherPotential& potential = schedule.potentials[p];
    const float* begin = potential.plan->table()->data.data();
    const ObservedMember* observed = schedule.observed + potential.first_observed;
    for (size_t k = 0; k < potential.observed_count; ++k)
      begin += static_cast<size_t>(*observed[k].state) * observed[k].stride;
    schedule.factors[potential.factor].operand = begin;
  }
}

tv_status_t run_gather_operations(TreeEngine& engine, const GatherSchedule& schedule, size_t& next,
                                  bool only_one) noexcept {
  for (const size_t end = only_one ? next + 1 : schedule.operation_count; next < end; ++next) {
    const GatherOperation& operation = schedule.operations[next];
    tv_status_t status = tv_status_none;
    switch (operation.kind) {
      case GatherKind::operation:
      case GatherKind::root:
        return tv_status_none;
      case GatherKind::form:
        form(schedule, operation);
        break;
      case GatherKind::collect:
        status = collect(engine, schedule, operation);
        break;
      case GatherKind::send:
        status = send(operation);
        break;
      case GatherKind::belief:
        status = store_belief(operation);
        break;
      case GatherKind::observed:
        store_observed(operation);
        break;
    }
    if (status) return status;
  }
  return tv_status_none;
}

tv_status_t collect_gathered_root(TreeEngine& engine, const GatherSchedule& schedule,
                                  const GatherOperation& operation) noexcept {
  return form_and_sum(engine, schedule, operation, &engine.mass);
}

}  // namespace tv

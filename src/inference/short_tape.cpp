#include "inference/short_tape.h"

#include <algorithm>
#include <cmath>

#include "api/float_environment.h"
#include "tables/number_bounds.h"

namespace tv {
namespace {

constexpr size_t kMostTotals = kCapacity.short_table;

const ShortFactor* factors_of(const ShortTape& tape, const ShortItem& item) noexcept {
  return tape.factors + item.first;
}

void assign(const ShortItem& item, const ShortFactor& factor) noexcept {
  for (size_t i = 0; i < item.entries; ++i) item.table[i] = factor.operand[factor.positions[i]];
}

void multiply(const ShortItem& item, const ShortFactor& factor) noexcept {
  for (size_t i = 0; i < item.entries; ++i) item.table[i] *= factor.operand[factor.positions[i]];
}

void assign_product(const ShortItem& item, const ShortFactor& a, const ShortFactor& b) noexcept {
  for (size_t i = 0; i < item.entries; ++i)
    item.table[i] = a.operand[a.positions[i]] * b.operand[b.positions[i]];
}

void apply(const ShortItem& item, const ShortFactor& factor, bool assigns) noexcept {
  if (assigns)
    assign(item, factor);
  else
    multiply(item, factor);
}

void form(const ShortTape& tape, const ShortItem& item) noexcept {
  const ShortFactor* factor = factors_of(tape, item);
  const ShortFactor* const end = factor + item.factor_count;
  if (item.assigns && item.factor_count > 1) {
    assign_product(item, factor[0], factor[1]);
    factor += 2;
  } else if (item.assigns) {
    assign(item, *factor++);
  }
  for (; factor < end; ++factor) multiply(item, *factor);
}

// Every target adds up its entries in the order of the table.
void sum(const ShortItem& item, double* totals) noexcept {
  const unsigned char* source = item.sources;
  const float* table = item.table;
  for (size_t t = 0; t < item.targets; ++t) {
    double total = 0.0;
    for (size_t k = 0; k < item.each; ++k) total += static_cast<double>(table[*source++]);
    totals[t] = total;
  }
}

tv_status_t rescale(TreeEngine& engine, const ShortItem& item) noexcept {
  const float largest = *std::max_element(item.table, item.table + item.entries);
  if (tv_status_t status = _tv_check_norm_factor(static_cast<double>(largest))) return status;
  const int exponent = std::clamp(std::ilogb(static_cast<double>(largest)), -126, 126);
  take_out_factor(engine, std::ldexp(1.0, exponent));
  const float inverse = std::ldexp(1.0f, -exponent);
  for (size_t i = 0; i < item.entries; ++i) item.table[i] *= inverse;
  return tv_status_none;
}

// The product again, where entries were lost on the way: the table is rescaled after each factor.
tv_status_t form_and_sum_carefully(TreeEngine& engine, const ShortTape& tape, const ShortItem& item,
                                   double* totals) noexcept {
  for (size_t f = 0; f < item.factor_count; ++f) {
    if (f > 0)
      if (tv_status_t status = rescale(engine, item)) return status;
    apply(item, factors_of(tape, item)[f], item.assigns && f == 0);
  }
  sum(item, totals);
  return range_flags() ? kOutOfRange : tv_status_none;
}

tv_status_t form_and_sum(TreeEngine& engine, const ShortTape& tape, const ShortItem& item,
                         double* totals) noexcept {
  form(tape, item);
  sum(item, totals);
  if (!range_flags()) return tv_status_none;
  if (item.factor_count < 2 || !item.assigns || holds_mass(totals, item.targets)) return kOutOfRange;
  clear_range_flags();
  return form_and_sum_carefully(engine, tape, item, totals);
}

// The marginal becomes that of the separator, and the update.
RatioResult take(const ShortItem& item, const double* totals) noexcept {
  RatioResult found = {0.0, 0.0, false};
  float largest = 0.0f;
  for (size_t t = 0; t < item.targets; ++t) {
    const float fresh = static_cast<float>(totals[t]);
    item.result[t] = item.message[t] = fresh;
    found.sum += static_cast<double>(fresh);
    largest = largest < fresh ? fresh : largest;
  }
  found.largest = static_cast<double>(largest);
  return found;
}

double divide(const ShortItem& item, const double* totals) noexcept {
  double sum_of_ratios = 0.0;
  for (size_t t = 0; t < item.targets; ++t) {
    const float fresh = static_cast<float>(totals[t]), old = item.result[t];
    const float ratio = old > 0.0f ? fresh / old : 0.0f;
    item.result[t] = fresh;
    item.message[t] = ratio;
    sum_of_ratios += static_cast<double>(ratio);
  }
  return sum_of_ratios;
}

tv_status_t collect(TreeEngine& engine, const ShortTape& tape, const ShortItem& item) noexcept {
  double totals[kMostTotals];
  if (tv_status_t status = form_and_sum(engine, tape, item, totals)) return status;
  const RatioResult found = take(item, totals);
  if (tv_status_t status = _tv_check_norm_factor(found.sum)) return status;
  if (tv_status_t status = _tv_check_norm_factor(found.largest)) return status;
  take_out_factor(engine, found.largest);
  const double inverse = 1.0 / found.largest;
  for (size_t t = 0; t < item.targets; ++t)
    item.message[t] = static_cast<float>(static_cast<double>(item.message[t]) * inverse);
  return range_flags() ? kOutOfRange : tv_status_none;
}

tv_status_t send(const ShortItem& item) noexcept {
  double totals[kMostTotals];
  sum(item, totals);
  if (!item.has_past)
    take(item, totals);
  else if (divide(item, totals) > kLargestRatioSum)
    return kOutOfRange;
  return tv_status_none;
}

tv_status_t store_belief(const ShortItem& item) noexcept {
  double totals[kMostTotals], whole = 0.0;
  sum(item, totals);
  for (size_t t = 0; t < item.targets; ++t) whole += totals[t];
  if (!(whole >= kSmallestNormalFloat)) return kOutOfRange;
  for (size_t t = 0; t < item.targets; ++t) item.result[t] = static_cast<float>(totals[t] / whole);
  return tv_status_none;
}

void store_known(const ShortItem& item) noexcept {
  std::fill_n(item.result, item.targets, 0.0f);
  item.result[*item.state] = 1.0f;
}

}  // namespace

void find_short_potentials(const ShortTape& tape) noexcept {
  for (size_t p = 0; p < tape.potential_count; ++p) {
    const ShortPotential& potential = tape.potentials[p];
    const float* begin = potential.plan->table()->data.data();
    const KnownMember* known = tape.known + potential.first_known;
    for (size_t k = 0; k < potential.known_count; ++k)
      begin += static_cast<size_t>(*known[k].state) * known[k].stride;
    tape.factors[potential.factor].operand = begin;
  }
}

tv_status_t run_short_items(TreeEngine& engine, const ShortTape& tape, size_t& next, bool only_one) noexcept {
  for (const size_t end = only_one ? next + 1 : tape.item_count; next < end; ++next) {
    const ShortItem& item = tape.items[next];
    tv_status_t status = tv_status_none;
    switch (item.kind) {
      case ShortKind::item:
      case ShortKind::root:
        return tv_status_none;
      case ShortKind::form:
        form(tape, item);
        break;
      case ShortKind::collect:
        status = collect(engine, tape, item);
        break;
      case ShortKind::send:
        status = send(item);
        break;
      case ShortKind::belief:
        status = store_belief(item);
        break;
      case ShortKind::known:
        store_known(item);
        break;
    }
    if (status) return status;
  }
  return tv_status_none;
}

tv_status_t collect_short_root(TreeEngine& engine, const ShortTape& tape, const ShortItem& item) noexcept {
  return form_and_sum(engine, tape, item, &engine.mass);
}

}  // namespace tv

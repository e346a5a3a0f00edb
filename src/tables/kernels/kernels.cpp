// Compiles kernels_body.h for each instruction set and chooses among the results. The baseline is what every
// processor of its kind has: 128-bit vectors both on x86-64 and on 64-bit ARM.

#include "tables/kernels/kernels.h"

#include "tables/kernels/fused_product.h"
#include "tables/kernels/index_map.h"

#if defined(__x86_64__)
#if !defined(__clang__)  // the vectors that its header leaves undefined on purpose
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif
#include <immintrin.h>
#endif

#include <atomic>
#include <cstdlib>
#include <cstring>

#if defined(__clang__)
#define TV_TARGET_PRAGMA(text) _Pragma(#text)
#define TV_BEGIN_TARGET(features) \
  TV_TARGET_PRAGMA(clang attribute push(__attribute__((target(features))), apply_to = function))
#define TV_END_TARGET TV_TARGET_PRAGMA(clang attribute pop)
#else
#define TV_TARGET_PRAGMA(text) _Pragma(#text)
#define TV_BEGIN_TARGET(features) TV_TARGET_PRAGMA(GCC push_options) TV_TARGET_PRAGMA(GCC target(features))
#define TV_END_TARGET TV_TARGET_PRAGMA(GCC pop_options)
#endif

namespace tv {

namespace baseline {
#include "tables/kernels/kernel_rows.h"
#include "tables/kernels/kernel_rows_plain.h"
#include "tables/kernels/kernels_body.h"
#include "tables/kernels/kernels_runs_plain.h"
}  // namespace baseline

#if defined(__x86_64__)
TV_BEGIN_TARGET("avx2")
namespace avx2 {
#include "tables/kernels/kernel_rows.h"
#include "tables/kernels/kernel_rows_plain.h"
#include "tables/kernels/kernels_body.h"
#include "tables/kernels/kernels_runs_plain.h"
}  // namespace avx2
TV_END_TARGET

TV_BEGIN_TARGET("avx512f,avx512dq,avx512vl,avx512bw")
namespace avx512 {
#include "tables/kernels/kernel_rows.h"
#include "tables/kernels/kernel_rows_avx512.h"
#include "tables/kernels/kernels_body.h"
#include "tables/kernels/kernels_runs_avx512.h"
}  // namespace avx512
TV_END_TARGET
#endif

namespace {

constexpr Kernels kBaseline = {
    "baseline",     baseline::assign,       baseline::multiply, baseline::sum,  baseline::weighted_sum,
    baseline::max,  baseline::weighted_max, baseline::divide,   baseline::take, baseline::scale,
    baseline::form, baseline::multiply_at};
#if defined(__x86_64__)
constexpr Kernels kAvx2 = {"avx2",     avx2::assign,       avx2::multiply, avx2::sum,  avx2::weighted_sum,
                           avx2::max,  avx2::weighted_max, avx2::divide,   avx2::take, avx2::scale,
                           avx2::form, avx2::multiply_at};
constexpr Kernels kAvx512 = {
    "avx512",     avx512::assign,       avx512::multiply, avx512::sum,  avx512::weighted_sum,
    avx512::max,  avx512::weighted_max, avx512::divide,   avx512::take, avx512::scale,
    avx512::form, avx512::multiply_at};
#endif

struct Available {
  const Kernels* list[4] = {&kBaseline, nullptr, nullptr, nullptr};
  const Kernels* preferred = &kBaseline;

  Available() noexcept {
    size_t count = 1;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) list[count++] = &kAvx2;
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw"))
      list[count++] = &kAvx512;
#endif
    preferred = list[count - 1];
    const char* forced = std::getenv("TARVO_KERNELS");
    for (size_t i = 0; forced && i < count; ++i)
      if (std::strcmp(list[i]->name, forced) == 0) preferred = list[i];
  }
};

const Available& available() noexcept {
  static const Available found;
  return found;
}

std::atomic<const Kernels*>& in_use() noexcept {
  static std::atomic<const Kernels*> chosen = available().preferred;
  return chosen;
}

}  // namespace

const Kernels& kernels() noexcept { return *in_use().load(std::memory_order_relaxed); }

const Kernels* const* available_kernels() noexcept { return available().list; }

void use_kernels(const Kernels& chosen) noexcept { in_use().store(&chosen, std::memory_order_relaxed); }

}  // namespace tv

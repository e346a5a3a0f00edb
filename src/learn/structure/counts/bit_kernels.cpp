// One pair of plain loops, compiled for each way in which processors count bits.
#include "learn/structure/counts/bit_kernels.h"

#include <cstdlib>
#include <cstring>

namespace tv {
namespace {

[[gnu::always_inline]] inline size_t count_common(const uint64_t* a, const uint64_t* b, size_t words) {
  uint64_t count = 0;
  for (size_t i = 0; i < words; ++i) count += static_cast<uint64_t>(__builtin_popcountll(a[i] & b[i]));
  return count;
}

[[gnu::always_inline]] inline size_t intersect(const uint64_t* a, const uint64_t* b, uint64_t* common,
                                               size_t words) {
  uint64_t count = 0;
  for (size_t i = 0; i < words; ++i) {
    const uint64_t bits = a[i] & b[i];
    common[i] = bits;
    count += static_cast<uint64_t>(__builtin_popcountll(bits));
  }
  return count;
}

size_t count_common_baseline(const uint64_t* a, const uint64_t* b, size_t words) {
  return count_common(a, b, words);
}
size_t intersect_baseline(const uint64_t* a, const uint64_t* b, uint64_t* common, size_t words) {
  return intersect(a, b, common, words);
}
constexpr BitKernels kBaseline = {"baseline", 8.0, count_common_baseline, intersect_baseline};

#if defined(__x86_64__)
#if defined(__clang__)
#define TV_AVX512_COUNT "popcnt,avx512f,avx512vl,avx512bw,avx512dq,avx512vpopcntdq"
#else
#define TV_AVX512_COUNT "popcnt,avx512f,avx512vl,avx512bw,avx512dq,avx512vpopcntdq,prefer-vector-width=512"
#endif

[[gnu::target("popcnt")]] size_t count_common_popcnt(const uint64_t* a, const uint64_t* b, size_t words) {
  return count_common(a, b, words);
}
[[gnu::target("popcnt")]] size_t intersect_popcnt(const uint64_t* a, const uint64_t* b, uint64_t* common,
                                                  size_t words) {
  return intersect(a, b, common, words);
}
constexpr BitKernels kPopcnt = {"avx2", 1.1, count_common_popcnt, intersect_popcnt};

[[gnu::target(TV_AVX512_COUNT)]] size_t count_common_avx512(const uint64_t* a, const uint64_t* b,
                                                            size_t words) {
  return count_common(a, b, words);
}
[[gnu::target(TV_AVX512_COUNT)]] size_t intersect_avx512(const uint64_t* a, const uint64_t* b,
                                                         uint64_t* common, size_t words) {
  return intersect(a, b, common, words);
}
constexpr BitKernels kAvx512 = {"avx512", 0.2, count_common_avx512, intersect_avx512};
#endif

// The same names force these as force the kernels of tables (tables/kernels/kernels.h).
struct Available {
  const BitKernels* list[4] = {&kBaseline, nullptr, nullptr, nullptr};
  const BitKernels* fastest = &kBaseline;

  Available() noexcept {
    size_t count = 1;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("popcnt") && __builtin_cpu_supports("avx2")) list[count++] = &kPopcnt;
    if (__builtin_cpu_supports("popcnt") && __builtin_cpu_supports("avx512vl") &&
        __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vpopcntdq"))
      list[count++] = &kAvx512;
#endif
    fastest = list[count - 1];
    const char* const forced = std::getenv("TARVO_KERNELS");
    for (size_t i = 0; forced && i < count; ++i)
      if (std::strcmp(list[i]->name, forced) == 0) fastest = list[i];
  }
};

const Available& available() noexcept {
  static const Available found;
  return found;
}

}  // namespace

const BitKernels& bit_kernels() noexcept { return *available().fastest; }

const BitKernels* const* available_bit_kernels() noexcept { return available().list; }

}  // namespace tv

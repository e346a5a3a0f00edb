// Splits long arrays into parts for threads.

#include "tables/kernels/array_kernels.h"

#include <algorithm>

#include "tables/kernels/parallel.h"

namespace tv {
namespace {

constexpr size_t kMostParts = 64;
constexpr size_t kEntryWork = 4;  // in entries of a pass

struct Parts {
  size_t count, length;

  explicit Parts(size_t size) noexcept {
    length = std::max(limits.array_part, (size / kMostParts / 16 + 1) * 16);
    count = (size + length - 1) / length;
  }
};

// Calls run(part, begin, end) for all parts.
template <class Run>
void run_parts(size_t size, const ParallelSettings& settings, Run run) {
  const Parts parts(size);
  struct Context {
    const Run& run;
    size_t size, length;
  } context = {run, size, parts.length};
  const size_t threads = number_of_threads(parts.count, parts.length * kEntryWork, settings);
  run_on_threads(
      parts.count, threads,
      [](void* given, size_t begin, size_t end) {
        const Context& here = *static_cast<Context*>(given);
        for (size_t part = begin; part < end; ++part)
          here.run(part, part * here.length, std::min(here.size, (part + 1) * here.length));
      },
      &context, settings.workers);
}

using RatioKernel = RatioResult (*)(const double* fresh, float* old, float* ratio, size_t size);

RatioResult form_ratio(RatioKernel kernel, const double* fresh, float* old, float* ratio, size_t size,
                       const ParallelSettings& settings) {
  if (size <= limits.array_part) return kernel(fresh, old, ratio, size);
  RatioResult results[kMostParts];
  run_parts(size, settings, [&](size_t part, size_t begin, size_t end) {
    results[part] = kernel(fresh + begin, old + begin, ratio + begin, end - begin);
  });
  RatioResult whole = results[0];
  for (size_t part = 1; part < Parts(size).count; ++part) {
    whole.sum += results[part].sum;
    whole.largest = std::max(whole.largest, results[part].largest);
    whole.lost_entry |= results[part].lost_entry;
  }
  return whole;
}

}  // namespace

RatioResult divide_array(const double* fresh, float* old, float* ratio, size_t size,
                         const ParallelSettings& settings) {
  return form_ratio(kernels().divide, fresh, old, ratio, size, settings);
}

RatioResult take_array(const double* fresh, float* old, float* ratio, size_t size,
                       const ParallelSettings& settings) {
  return form_ratio(kernels().take, fresh, old, ratio, size, settings);
}

void scale_array(float* values, size_t size, double factor, const ParallelSettings& settings) {
  if (size <= limits.array_part) return kernels().scale(values, size, factor);
  run_parts(size, settings,
            [&](size_t, size_t begin, size_t end) { kernels().scale(values + begin, end - begin, factor); });
}

void clear_array(double* values, size_t size, const ParallelSettings& settings) {
  if (size <= limits.array_part) {
    std::fill_n(values, size, 0.0);
    return;
  }
  run_parts(size, settings,
            [&](size_t, size_t begin, size_t end) { std::fill(values + begin, values + end, 0.0); });
}

}  // namespace tv

// Dividing the work of the search among prime components.
#include "compile/total_weight/effort.h"

#include "api/memory.h"
#include "tables/limits.h"

namespace tv {
namespace {

constexpr size_t kUnit = 1500000;  // looks at sets of vertices: some 5 milliseconds
constexpr size_t kMostWork = static_cast<size_t>(-1) / 4;

// A propagation takes about as long for each number of the tables as a fraction of a look at a set. Tables of
// fewer numbers are propagated faster than a search could begin.
constexpr double kLooksPerNumber = 0.5, kLeastCost = 50000.0;

}  // namespace

SearchEffort::SearchEffort(const Domain& domain, size_t vertices) noexcept
    : is_automatic_(domain.triangulation_effort == TV_EFFORT_AUTO),
      left_(std::min(
          size_multiply(is_automatic_ ? limits.automatic_effort : domain.triangulation_effort, kUnit),
          kMostWork)),
      vertices_left_(vertices) {}

bool SearchEffort::is_worthwhile(double cost) const noexcept {
  return left_ > 0 && (!is_automatic_ || cost >= kLeastCost);
}

size_t SearchEffort::work_for(size_t vertices, double cost) noexcept {
  const double all = static_cast<double>(left_);
  const double share =
      static_cast<double>(vertices) / static_cast<double>(std::max<size_t>(vertices_left_, 1));
  const double wanted = is_automatic_ ? std::min(cost * kLooksPerNumber, all) : all * share;
  const size_t work = std::min(left_, static_cast<size_t>(wanted) + 1);
  vertices_left_ -= std::min(vertices, vertices_left_);
  left_ -= work;
  return work;
}

}  // namespace tv

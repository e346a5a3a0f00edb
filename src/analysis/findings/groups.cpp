#include "analysis/findings/groups.h"

#include <algorithm>
#include <numeric>

namespace tv {

size_t count_groups(size_t findings, size_t least, size_t most) noexcept {
  size_t count = 0, of_size = 1;
  for (size_t size = 1; size <= std::min(most, findings); ++size) {
    of_size = of_size * (findings - size + 1) / size;
    if (size >= least) count += of_size;
    if (count > kMaxGroups) return kMaxGroups + 1;
  }
  return count;
}

bool next_group(std::vector<size_t>& group, size_t findings) noexcept {
  size_t i = group.size();
  while (i > 0 && group[i - 1] == findings - group.size() + i - 1) --i;
  if (i == 0) return false;
  ++group[i - 1];
  for (; i < group.size(); ++i) group[i] = group[i - 1] + 1;
  return true;
}

std::vector<size_t> first_group(size_t size) {
  std::vector<size_t> group(size);
  std::iota(group.begin(), group.end(), size_t{0});
  return group;
}

}  // namespace tv

// Groups of findings, one after the other.
#pragma once

#include <cstddef>
#include <vector>

namespace tv {

inline constexpr size_t kMaxGroups = 65536;  // that one call looks at

// How many groups of `least` to `most` among so many findings there are; more than kMaxGroups for any number
// above that.
size_t count_groups(size_t findings, size_t least, size_t most) noexcept;

// Makes the next group of the same size, in lexicographic order; false where there is none.
bool next_group(std::vector<size_t>& group, size_t findings) noexcept;

// 0, 1, 2, ...: the first group of a size.
std::vector<size_t> first_group(size_t size);

}  // namespace tv

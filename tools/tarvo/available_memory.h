// How much memory this process may have: that of the machine, or what its control group or its resource
// limits leave of it.
#pragma once

#include <cstddef>
#include <string>

namespace program {

struct AvailableMemory {
  size_t bytes = 0;  // 0 where nothing is known
  const char* what = "the physical memory";
};
AvailableMemory available_memory();

// The smallest limit of a control group and those above it; 0 where there is none. `groups` is what
// /proc/self/cgroup says, and `root` the folder where the groups are mounted.
size_t control_group_limit(const std::string& groups, const std::string& root);

}  // namespace program

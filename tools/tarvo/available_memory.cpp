#include "available_memory.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace program {
namespace {

size_t smaller_limit(size_t a, size_t b) {
  if (a == 0 || b == 0) return std::max(a, b);
  return std::min(a, b);
}

// The number in a file; 0 for what is none, such as "max".
size_t number_in(const std::string& file) {
  std::ifstream stream(file);
  size_t number = 0;
  return stream >> number ? number : 0;
}

// The limits in a folder and those above it, up to the root of the hierarchy. In a container the path may be
// that of the world outside; then the root is the group itself.
size_t limit_along(const std::string& root, std::string path, const char* file) {
  size_t limit = 0;
  for (;;) {
    limit = smaller_limit(limit, number_in(root + path + "/" + file));
    const size_t slash = path.rfind('/');
    if (path.empty() || slash == std::string::npos) return limit;
    path.erase(slash);
  }
}

size_t resource_limit() {
  size_t smallest = 0;
  for (const auto resource : {RLIMIT_AS, RLIMIT_DATA}) {
    rlimit limit{};
    if (getrlimit(resource, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY)
      smallest = smaller_limit(smallest, limit.rlim_cur);
  }
  return smallest;
}

}  // namespace

size_t control_group_limit(const std::string& groups, const std::string& root) {
  constexpr size_t kNone = size_t{1} << 60;  // the first version has no word for "no limit"
  size_t limit = 0;
  std::istringstream lines(groups);
  for (std::string line; std::getline(lines, line);) {  // ID:CONTROLLERS:PATH
    const size_t first = line.find(':'), second = line.find(':', first + 1);
    if (first == std::string::npos || second == std::string::npos) continue;
    const std::string controllers = "," + line.substr(first + 1, second - first - 1) + ",";
    std::string path = line.substr(second + 1);
    if (path == "/") path.clear();
    size_t found = 0;
    if (controllers == ",,") {
      found = smaller_limit(limit_along(root, path, "memory.max"),
                            limit_along(root + "/unified", path, "memory.max"));
    } else if (controllers.find(",memory,") != std::string::npos) {
      found = limit_along(root + "/memory", path, "memory.limit_in_bytes");
    }
    if (found < kNone) limit = smaller_limit(limit, found);
  }
  return limit;
}

AvailableMemory available_memory() {
  AvailableMemory available;
  const long pages = sysconf(_SC_PHYS_PAGES), page_size = sysconf(_SC_PAGESIZE);
  if (pages > 0 && page_size > 0)
    available.bytes = static_cast<size_t>(pages) * static_cast<size_t>(page_size);
  const auto restrict = [&](size_t limit, const char* what) {
    if (limit > 0 && (available.bytes == 0 || limit < available.bytes)) available = {limit, what};
  };
  std::ostringstream groups;
  groups << std::ifstream("/proc/self/cgroup").rdbuf();
  restrict(control_group_limit(groups.str(), "/sys/fs/cgroup"), "the memory of its control group");
  restrict(resource_limit(), "the memory that its resource limits allow");
  return available;
}

}  // namespace program

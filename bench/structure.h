// Learning structures: from files of complete cases, and from cases drawn from the networks of a folder, of
// which the true graph is known.
#pragma once

#include <cstddef>
#include <string>

namespace bench {

// `folder`: CSV files without missing cells, each for the network of `networks` with whose name the file's
// begins.
bool run_structures(const std::string& folder, const std::string& networks, size_t repeats);

// From so many cases; a method that takes longer than `most_seconds` is stopped.
bool run_discovery(const std::string& networks, const std::string& only, size_t cases, double most_seconds,
                   size_t threads);

}  // namespace bench

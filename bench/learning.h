// Learning tables from cases with missing cells: files beside networks of the same name, and a generated
// hidden class.
#pragma once

#include <cstddef>
#include <string>

namespace bench {

// `folder`: CSV files, each for the network of `networks` with whose name the file's begins.
bool run_learning(const std::string& folder, const std::string& networks, size_t repeats);

}  // namespace bench

// Predictions from CSV to CSV: cases of files beside networks of the same name, repeated with other cells
// missing each time.
#pragma once

#include <cstddef>
#include <string>

namespace bench {

// `folder`: CSV files, each for the network of `networks` with whose name the file's begins.
bool run_predictions(const std::string& folder, const std::string& networks, size_t repeats);

}  // namespace bench

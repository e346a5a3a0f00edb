// Names of the triangulation methods on the command line.
#pragma once

#include <tarvo.h>

#include <string>
#include <utility>
#include <vector>

namespace program {

inline const std::string kBestMethod = "best_greedy";

// In the order in which they are compared.
inline const std::vector<std::pair<std::string, tv_triangulation_method_t>> kMethods = {
    {"clique_size", tv_method_clique_size},   {"clique_weight", tv_method_clique_weight},
    {"fill_in_size", tv_method_fill_in_size}, {"fill_in_weight", tv_method_fill_in_weight},
    {"total_weight", tv_method_total_weight}, {kBestMethod, tv_method_best_greedy},
};

inline tv_triangulation_method_t method_by_name(const std::string& name) {
  for (const auto& [known, method] : kMethods)
    if (known == name) return method;
  return tv_method_best_greedy;
}

}  // namespace program

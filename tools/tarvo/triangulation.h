// How networks are triangulated: what the command line says about it, and doing it.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "network.h"

namespace program {

// What compiling does unless the command line says otherwise: the best greedy method, and a search for about
// as long as a propagation of its result takes.
inline const std::string kAutomatic = "auto";

// In the order in which they are compared.
inline const std::vector<std::pair<std::string, tv_triangulation_method_t>> kMethods = {
    {"clique_size", tv_method_clique_size},   {"clique_weight", tv_method_clique_weight},
    {"fill_in_size", tv_method_fill_in_size}, {"fill_in_weight", tv_method_fill_in_weight},
    {"total_weight", tv_method_total_weight}, {"best_greedy", tv_method_best_greedy},
    {kAutomatic, tv_method_best_greedy},
};

struct TriangulationOptions {
  std::string method = kAutomatic;
  size_t effort = 0;          // units of search; 0: what the method does by itself
  size_t max_separators = 0;  // 0: no limit
  std::string order;          // file with an elimination order; empty for none
  std::string save_order;     // file to write the elimination order to, likewise

  // What decides how to eliminate: the method, or "order".
  std::string decider() const { return order.empty() || method == "total_weight" ? method : "order"; }
};

// Fails for options that do not go together.
void expect_consistent(const TriangulationOptions& options);

// Triangulates the network and writes the order down where that is asked for. Fails for orders that are none;
// what else the library refuses is returned.
tv_status_t triangulate(const Network& network, const TriangulationOptions& options);

}  // namespace program

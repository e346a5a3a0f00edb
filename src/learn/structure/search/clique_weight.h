// How heavy the cliques of a directed graph are.
#pragma once

#include "compile/triangulate/elimination.h"
#include "learn/structure/constraints/learning_problem.h"

namespace tv {

// The sum of the weights of the cliques of one greedy triangulation of the moral graph; infinite where the
// host asked to stop.
double total_clique_weight(const LearningProblem& problem, const PartialGraph& graph);

}  // namespace tv

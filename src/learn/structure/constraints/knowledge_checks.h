// Whether links can be as constraints require them, beyond what each says alone.
#pragma once

#include "learn/structure/constraints/contradictions.h"
#include "learn/structure/constraints/learning_problem.h"

namespace tv {

// In messages: between double quotes.
std::string shown(const LearningProblem& problem, size_t node);

// Why no link may lead from the one to the other, as half a sentence; empty where one may.
std::string objection(const LearningProblem& problem, size_t from, size_t to);

// Required links close no cycle, and give no node more parents than the searches may, nor more
// configurations of them than counts can index (`size_too_large`).
void check_required_links(const LearningProblem& problem, Contradictions& contradictions);

// Trees and classifiers have links of one shape; the target is known where they need it.
void check_shape(const LearningProblem& problem, Contradictions& contradictions);

}  // namespace tv

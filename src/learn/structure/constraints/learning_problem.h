// What every method starts from: the nodes of the domain that take part, in the order of their names, and
// what experts know about the links between them.
#pragma once

#include "learn/structure/constraints/learner.h"
#include "learn/structure/graph/knowledge.h"
#include "learn/structure/graph/structure.h"
#include "network/domain.h"
#include "text/lexer.h"

namespace tv {

inline constexpr double kMostTableEntries = 0x1p31;                // of what may be learned
inline constexpr char kLearningTask[] = "learning the structure";  // for the progress handler

struct LearningProblem {
  Domain* domain = nullptr;
  const StructureLearner* learner = nullptr;
  std::vector<Node*> nodes;  // in the order of the bytes of their names
  Knowledge knowledge;
  size_t target = kNone;  // its number among the nodes

  const LearnerSettings& settings() const noexcept { return learner->settings; }
  size_t size() const noexcept { return nodes.size(); }
};

// Gives names to nodes that have none, and tells `handler` of every contradiction; the status is that of the
// first one, with a message of its own.
tv_status_t state_problem(Domain& domain, const StructureLearner& learner, MessageHandler handler,
                          LearningProblem& problem);

// A structure over the nodes of the problem without any link.
Structure empty_structure(const LearningProblem& problem);

}  // namespace tv

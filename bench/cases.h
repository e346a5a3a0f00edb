// Cases of a network: sets of observed nodes, and states for them that are drawn from the network itself, so
// that the same set can be asked again with other states.
#pragma once

#include <cstdint>

#include "timing.h"
#include "workload.h"

namespace bench {

class Cases {
 public:
  // Draws some joint states of all nodes.
  explicit Cases(tv_domain_t* domain);

  // Findings on the set of nodes that this number stands for, about one node in five; different numbers stand
  // for different sets, as far as a small network has so many. The states are those of one of the draws.
  Evidence of(uint64_t set, uint64_t draw) const;

 private:
  std::vector<tv_node_t*> nodes_;
  std::vector<std::vector<size_t>> draws_;
};

// Takes back what was entered before, enters the evidence and propagates.
void ask(tv_domain_t* domain, const Evidence& evidence);

// The sum of the beliefs, so that no read is optimised away.
double read_beliefs(tv_node_t* node);
double read_all_beliefs(tv_domain_t* domain);

// The first answer of a process, in milliseconds: a new process loads and triangulates the network; then the
// allocation of the numbers, the propagation without evidence and the reading of all beliefs are timed.
double cold_answer(const Workload& workload);

// What that process does, in place of everything else: reads the network's source from its standard input and
// prints the time.
int answer_cold();

}  // namespace bench

// The distribution of a node for one configuration of its parents, itself uncertain: a Dirichlet
// distribution.
#pragma once

#include <cstddef>
#include <vector>

namespace tv {

struct Dirichlet {
  std::vector<double> means;  // of the states' probabilities; they sum to one
  double experience = 0.0;    // how many observations they are worth: the total of the counts; positive
};

// Takes in one observation: of state x with probability outcomes[x], and of nothing with what these leave of
// one. The mixture that this makes is replaced by the Dirichlet distribution with the same means and the same
// variance on average (Spiegelhalter and Lauritzen 1990).
void observe(Dirichlet& belief, const std::vector<double>& outcomes);

// Takes a certain observation back. False, with nothing changed, where no such observation can have been made
// but for rounding: no experience would be left, or the state would have a negative probability.
bool take_back(Dirichlet& belief, size_t state);

}  // namespace tv

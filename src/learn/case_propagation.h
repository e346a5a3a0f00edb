// Expected counts by propagation: a case is entered as evidence, and each family's marginal is read.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "inference/state.h"
#include "learn/families.h"

namespace tv {

// Propagates cases under the tables that are there when it is made.
class CasePropagator {
 public:
  CasePropagator(Domain& domain, const std::vector<Family>& families, size_t threads) noexcept;
  ~CasePropagator();

  // The cases of `rows`, which lack something. Adds to `counts`, by family, and to `log_likelihood`; the sums
  // have the same bits for every number of threads. The status of a propagation that fails.
  tv_status_t add(const std::vector<uint32_t>& rows, std::vector<FamilyCounts>& counts,
                  double& log_likelihood);

 private:
  struct Part;
  class State;

  std::unique_ptr<State> take_state();
  void run(const std::vector<uint32_t>& rows, std::vector<Part>& parts, size_t begin, size_t end);

  Domain& domain_;
  const std::vector<Family>& families_;
  const size_t threads_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<State>> idle_;  // states of threads, which serve one block after the other
};

// Adds `weight` times the marginal of a family, as it was found in some state, to its counts.
void add_marginal(const Family& family, const Table& marginal, double weight, FamilyCounts& counts);

}  // namespace tv

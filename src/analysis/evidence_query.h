// What analyses ask: the evidence of a domain, or a part of it, in a query of its own. The domain is only
// read.
#pragma once

#include <memory>
#include <vector>

#include "inference/query.h"
#include "network/progress.h"

namespace tv {

using Distribution = std::vector<double>;  // one probability for each state; they sum to one

class EvidenceQuery {
 public:
  // `task`: what the progress handler of the domain is told about.
  EvidenceQuery(Domain& domain, const char* task) noexcept : domain_(domain), progress_(domain, task, 0) {}

  // The checks and the memory of a query. Whatever is no finding is entered: decisions that are made and
  // required instantiations. A refusal is stored.
  tv_status_t start();

  InferenceState& state() const noexcept { return query_->state; }

  // The nodes with other evidence, in the order of the domain.
  const std::vector<Node*>& findings() const noexcept { return findings_; }

  // What the next propagation knows of the findings: none of them at first.
  void enter(size_t finding);
  void leave_out(size_t finding);
  void enter_all();
  void leave_out_all();
  void enter_only(const std::vector<size_t>& findings);  // in ascending order

  // A state that a discrete node is in for once, until it gets back what is known of it.
  void suppose(Node& node, size_t state);
  void drop_supposition(Node& node);

  tv_status_t propagate();  // a refusal is stored; `error` where the host asks to stop

  Distribution distribution(const Node& node) const;  // of a discrete node; zero for what may be impossible
  double log_probability() const noexcept;            // of all that is known

 private:
  void enter_evidence(Node& node);

  Domain& domain_;
  ProgressMeter progress_;
  std::unique_ptr<tv_query_t> query_;
  std::vector<Node*> findings_;
  std::vector<bool> is_entered_;  // by finding
  std::vector<size_t> place_;     // among the findings, by node number - 1, or kNone
};

// `invalid_evidence`: a decision that is not made influences the node.
tv_status_t check_no_decision_above(const Node& node);

// Of one distribution to another, in nats; infinite where the other one rules out what is possible.
double relative_entropy(const Distribution& of, const Distribution& to) noexcept;

// A discrete node about which something is left to be learned: otherwise `usage` is stored.
tv_status_t check_open_question(const Node* node) noexcept;

// `usage`: nothing is to be asked about a state that is impossible even without findings.
tv_status_t refuse_impossible_state(const Node& node, size_t state) noexcept;

// Whether a state or a value is entered on the node.
bool is_observed(const Node& node) noexcept;

// Marks, by node number - 1, what a decision influences that is not made, so that it cannot be known.
std::vector<bool> influenced_by_open_decisions(const Domain& domain);

}  // namespace tv

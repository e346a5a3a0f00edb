// Runs single operations of a schedule: a pass, and what becomes of the marginals that it formed.
#pragma once

#include "inference/schedule/run_schedule.h"
#include "inference/schedule/workspace.h"
#include "tables/kernels/kernels.h"

namespace tv {

// The scaling of a collecting clique's message.
struct CollectOutcome {
  double mass = 1.0, largest = 1.0;
  int exponent = 0;  // powers of two that were taken out of its table
};

class OperationRunner {
 public:
  explicit OperationRunner(const PropagationRequest& request) noexcept
      : request_(request),
        engine_(request.engine),
        weighs_findings_(request.mode == tv_evidence_fast_retraction) {}

  // The schedule whose operations are run.
  void set_schedule(const Schedule& schedule) noexcept { schedule_ = &schedule; }

  bool weighs_findings() const noexcept { return weighs_findings_; }

  tv_status_t run(const Workspace& workspace, const Operation& operation, CollectOutcome& outcome);

  // Updates the constants and the conflict. To be called in the order of the schedule, before the root is
  // run.
  void account_for(const Operation& operation, const CollectOutcome& outcome) noexcept;

  // Completes the constants by the root's mass.
  tv_status_t normalize_root() noexcept;

 private:
  CliqueWork& work(const Operation& operation) const noexcept { return engine_.cliques[operation.clique]; }

  // Passes over a table.
  const Step* bind_steps(const Workspace& workspace, const Operation& operation) const noexcept {
    return workspace.bind(schedule_->steps + operation.first_step, operation.step_count, schedule_->maps);
  }
  void run_steps(const Workspace& workspace, const Operation& operation, const Step* steps, size_t count);
  tv_status_t run_table_pass(const Workspace& workspace, const Operation& operation);
  template <class Clear>
  bool run_over_products(const Workspace& workspace, const Operation& operation, Clear clear);
  void bring_up_to_date(const Workspace& workspace, const Operation& operation, const Step* factor);
  void run_separator_pass(const Workspace& workspace, const Operation& operation);

  // Scaling factors, and products that could underflow.
  void note_factor(CliqueWork& work, double factor) noexcept;
  void note_power(CliqueWork& work, int exponent) noexcept;
  tv_status_t rescale_table(const Workspace& workspace, const Operation& operation, CollectOutcome& outcome);
  tv_status_t run_in_parts(const Workspace& workspace, const Operation& operation, const Step* steps,
                           size_t together, CollectOutcome& outcome);
  tv_status_t update_and_marginalize(const Workspace& workspace, const Operation& operation, double* totals,
                                     size_t size, CollectOutcome& outcome);

  // Messages.
  tv_status_t check_ratio(const RatioResult& result, bool has_past) const noexcept;
  double evidence_of_departing_members(const CliqueWork& work, const Clique* target) const noexcept;
  void marginalize_onto(const CliqueWork& work, const CliqueLink& link, double* totals) const noexcept;
  tv_status_t collect(const Workspace& workspace, const Operation& operation, CollectOutcome& outcome);
  float* message_buffer(const Operation& operation) const noexcept;
  void absorb_message(const Operation& operation) const noexcept;
  void pass_conflict_on(CliqueWork& from, CliqueWork& to, double mass) noexcept;
  tv_status_t collect_root(const Workspace& workspace, const Operation& operation, CollectOutcome& outcome);
  void normalize_factors(const Operation& operation) noexcept;
  tv_status_t send(const Workspace& workspace, const Operation& operation);
  tv_status_t store_belief(const Workspace& workspace, const Operation& operation) noexcept;

  const PropagationRequest& request_;
  TreeEngine& engine_;
  const Schedule* schedule_ = nullptr;
  bool weighs_findings_;
};

}  // namespace tv

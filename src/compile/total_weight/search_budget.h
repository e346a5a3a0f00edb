// What a search for a triangulation has done and what it holds: the host may stop it, and a memory limit ends
// it early.
#pragma once

#include "compile/triangulate/elimination.h"

namespace tv {

// The name under which the progress handler hears of such a search.
constexpr const char* kSearchTask = "triangulation search";

class SearchBudget {
 public:
  SearchBudget(Progress& progress, size_t memory_limit) noexcept
      : progress_(progress), memory_limit_(memory_limit) {}

  // To be told of work as it is done, in looks at sets of vertices. Whether the host wants the search to end;
  // what has been stopped stays stopped.
  bool stop_requested(size_t work) noexcept {
    work_ += work;
    is_stopped_ = progress_.stop_requested(work * kLooks);
    return is_stopped_;
  }
  bool is_stopped() const noexcept { return is_stopped_; }
  size_t work() const noexcept { return work_; }

  // Takes what is allocated into account, or given back. False once there is more than the limit allows.
  bool allocate(size_t bytes) noexcept {
    bytes_ += bytes;
    return memory_limit_ == 0 || bytes_ <= memory_limit_;
  }
  void release(size_t bytes) noexcept { bytes_ -= bytes; }

 private:
  static constexpr size_t kLooks = 4;  // at list entries, of which the progress counts the work
  Progress& progress_;
  size_t memory_limit_;
  size_t bytes_ = 0;
  size_t work_ = 0;
  bool is_stopped_ = false;
};

}  // namespace tv

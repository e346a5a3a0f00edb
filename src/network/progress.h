// Progress of long work: tells the host's handler now and then, and passes on its wish to stop.
#pragma once

#include <algorithm>

#include "network/domain.h"

namespace tv {

class ProgressMeter {
 public:
  // `steps` is how often `advance` will be called; 0 when nobody knows.
  ProgressMeter(const Domain& domain, const char* task, size_t steps) noexcept
      : domain_(domain), task_(task), steps_(steps), interval_(std::max<size_t>(steps / 100, 1)) {}

  // `error` when the host asks to stop, else `none`; stores nothing.
  tv_status_t advance() noexcept {
    if (!domain_.progress_handler) return tv_status_none;
    if (done_++ % interval_ == 0) tell();
    return stopped_ ? tv_status_error : tv_status_none;
  }

  bool is_stopped() const noexcept { return stopped_; }

  // Between two steps, where one of them is long: of so many table entries as have been done since the last
  // call. The wish to stop is passed on with the next step.
  void look_in(size_t entries) noexcept {
    if (!domain_.progress_handler || (entries_ += entries) < kEntriesOfALook) return;
    tell();
  }

 private:
  static constexpr size_t kEntriesOfALook = size_t{1} << 26;  // some tenths of a second

  void tell() noexcept {
    entries_ = 0;
    const double fraction =
        steps_ && done_ ? std::min(1.0, static_cast<double>(done_ - 1) / static_cast<double>(steps_)) : -1.0;
    if (domain_.progress_handler(task_, fraction, domain_.progress_data)) stopped_ = true;
  }

  const Domain& domain_;
  const char* task_;
  size_t steps_;
  size_t interval_;
  size_t done_ = 0;
  size_t entries_ = 0;
  bool stopped_ = false;
};

}  // namespace tv

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
    if (!domain_.progress_handler || done_++ % interval_ != 0) return tv_status_none;
    const double fraction =
        steps_ ? std::min(1.0, static_cast<double>(done_ - 1) / static_cast<double>(steps_)) : -1.0;
    return domain_.progress_handler(task_, fraction, domain_.progress_data) ? tv_status_error
                                                                            : tv_status_none;
  }

 private:
  const Domain& domain_;
  const char* task_;
  size_t steps_;
  size_t interval_;
  size_t done_ = 0;
};

}  // namespace tv

// What keeps a structure from being learned: all of it is told to a handler, the first is the outcome.
#pragma once

#include <string>

#include "api/status.h"
#include "text/lexer.h"

namespace tv {

class Contradictions {
 public:
  explicit Contradictions(MessageHandler handler) noexcept : handler_(handler) {}

  void tell(std::string message, tv_status_t status = tv_status_usage) {
    if (handler_.function) handler_.function(kNone, message.c_str(), handler_.data);
    if (count_++ > 0) return;
    first_ = std::move(message);
    status_ = status;
  }

  size_t count() const noexcept { return count_; }

  // Stores it. To be asked at the end, since a handler may have called the library.
  tv_status_t outcome() const noexcept {
    return count_ > 0 ? refuse(status_, "%s", first_.c_str()) : store_status(tv_status_none);
  }

 private:
  MessageHandler handler_;
  size_t count_ = 0;
  std::string first_;
  tv_status_t status_ = tv_status_none;
};

}  // namespace tv

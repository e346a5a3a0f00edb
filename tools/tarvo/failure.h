// What ends a command before its work is done, and the words for what the library refused.
#pragma once

#include <tarvo.h>

#include <stdexcept>
#include <string>

namespace program {

// kFailed also where the answer is no: impossible evidence, a network with faults, a size beyond the limit.
enum ExitCode { kSuccess = 0, kFailed = 1, kWrongUsage = 2 };

// Ends the command with a message on the error stream. The message may be empty when all has been said.
struct Failure : std::runtime_error {
  Failure(ExitCode code, const std::string& message) : std::runtime_error(message), exit_code(code) {}
  ExitCode exit_code;
};

// What the latest call of the library failed for, in words for people.
std::string library_message();

// The failure of the latest call, with `subject` in front.
[[noreturn]] void fail_with_status(const std::string& subject);

// Ends the command unless `status` is none.
inline void expect(tv_status_t status, const std::string& subject) {
  if (status != tv_status_none) fail_with_status(subject);
}

}  // namespace program

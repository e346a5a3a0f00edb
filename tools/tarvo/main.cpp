// The program: runs the command that it is given, and makes messages and exit codes of what goes wrong.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "command_line.h"
#include "output.h"
#include "progress.h"

namespace {

void print_failure(const std::string& message) {
  std::fflush(stdout);
  program::clear_progress();
  if (!message.empty()) std::fprintf(stderr, "tarvo: %s\n", program::printable(message, true).c_str());
}

}  // namespace

int main(int argc, char** argv) {
  program::end_cleanly_on_signals();
  int code = program::kFailed;
  try {
    code = program::run_command(argc, argv);
  } catch (const program::Failure& failure) {
    print_failure(failure.what());
    code = failure.exit_code;
  } catch (const std::bad_alloc&) {
    print_failure("out of memory; a higher --memory-limit may help");
  }
  errno = 0;
  if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
    print_failure(std::string("the output could not be written") +
                  (errno ? std::string(": ") + std::strerror(errno) : ""));
    code = program::kFailed;
  }
  return code;
}

// The program: runs the command that it is given, and makes messages and exit codes of what goes wrong.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "command_line.h"
#include "output.h"
#include "progress.h"
#include "ranks.h"

namespace {

void print_failure(const std::string& message) {
  std::fflush(stdout);
  program::clear_progress();
  if (!message.empty()) std::fprintf(stderr, "tarvo: %s\n", program::printable(message, true).c_str());
}

// Of other ranks than the first it goes to that one.
int end_with(program::ExitCode code, const std::string& message, const program::Ranks* ranks) {
  if (!ranks || ranks->is_first()) print_failure(message);
  std::fflush(stdout);
  if (ranks && ranks->are_many()) ranks->fail(code, message);
  return code;
}

int run(int argc, char** argv, program::Ranks*& ranks) {
  ranks = &program::Ranks::of_this_run();
  const program::ExitCode code = program::run_command(argc, argv);
  errno = 0;
  if (std::fflush(stdout) != 0 || std::ferror(stdout))
    throw program::Failure(program::kFailed, std::string("the output could not be written") +
                                                 (errno ? std::string(": ") + std::strerror(errno) : ""));
  if (code != program::kSuccess) return end_with(code, "", ranks);
  ranks->finish();
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  program::end_cleanly_on_signals();
  program::Ranks* ranks = nullptr;
  try {
    return run(argc, argv, ranks);
  } catch (const program::Failure& failure) {
    return end_with(failure.exit_code, failure.what(), ranks);
  } catch (const std::bad_alloc&) {
    return end_with(program::kFailed, "out of memory; a higher --memory-limit may help", ranks);
  }
}

// Signs of life on a terminal for work that takes more than half a second, and a clean end on Ctrl-C.
#pragma once

#include <tarvo.h>

#include <string>

namespace program {

// No signs of life in this run: --quiet.
void be_quiet();

// Something that may take long, from its construction to its destruction. Only the innermost one is shown, on
// the error stream when that is a terminal, and leaves nothing on the screen.
class Activity {
 public:
  explicit Activity(const std::string& what);
  ~Activity();
  Activity(const Activity&) = delete;
  Activity& operator=(const Activity&) = delete;

 private:
  std::string outer_;
};

// Shows the library's progress with the domain in the activities to come.
void show_progress_of(tv_domain_t* domain);

// While it lives, the first SIGINT asks long work with the domain to end with what it has, instead of ending
// the program, and the domain's progress is shown.
class StopOnInterrupt {
 public:
  explicit StopOnInterrupt(tv_domain_t* domain);
  ~StopOnInterrupt();
  StopOnInterrupt(const StopOnInterrupt&) = delete;
  StopOnInterrupt& operator=(const StopOnInterrupt&) = delete;
};
bool was_interrupted();

// Takes what is shown off the screen, so that something else can be printed; it comes back by itself.
void clear_progress();

// SIGINT, SIGTERM and SIGHUP take the line of progress off the screen and unfinished files off the disk, and
// end the program as they would have done anyway.
void end_cleanly_on_signals();

}  // namespace program

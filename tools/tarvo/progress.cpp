#include "progress.h"

#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <thread>

#include "files.h"
#include "output.h"

namespace program {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kPatience = std::chrono::milliseconds(500);
constexpr auto kInterval = std::chrono::milliseconds(200);
constexpr char kClearLine[] = "\r\033[K";

bool quiet = false;
std::atomic<bool> line_is_shown = false;
std::atomic<bool> can_stop = false, interrupted = false;
std::atomic<long> interrupted_at = 0;
std::atomic<double> fraction = -1.0;  // what the library last said; -1 where it is unknown

// A thread that shows what is going on: long work reports rarely or, while files are read, not at all.
class Display {
 public:
  ~Display() {
    {
      const std::lock_guard lock(mutex_);
      ends_ = true;
    }
    wake_.notify_one();
    if (thread_.joinable()) thread_.join();
  }

  // Returns what was going on before.
  std::string set(const std::string& what) {
    const std::lock_guard lock(mutex_);
    std::string before = what;
    before.swap(what_);
    begin_ = Clock::now();
    fraction = -1.0;
    clear_locked();
    if (!what.empty() && !thread_.joinable()) start();
    return before;
  }

  void clear() {
    const std::lock_guard lock(mutex_);
    clear_locked();
  }

 private:
  void start() {
    // Signals go to the thread that works: it is the one that may be waiting for input.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
      thread_ = std::thread([this] { run(); });
    } catch (const std::system_error&) {  // then there are no signs of life
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }

  void run() {
    std::unique_lock lock(mutex_);
    while (!ends_) {
      wake_.wait_for(lock, kInterval);
      const auto passed = Clock::now() - begin_;
      if (ends_ || what_.empty() || passed < kPatience) continue;
      show(std::chrono::duration_cast<std::chrono::seconds>(passed).count());
    }
    clear_locked();
  }

  void show(long seconds) {
    std::string line = printable(what_) + " ...";
    char figures[24] = "";
    if (fraction >= 0)
      std::snprintf(figures, sizeof figures, " %.0f%%", 100 * fraction);
    else if (seconds > 0)
      std::snprintf(figures, sizeof figures, " %ld s", seconds);
    winsize size{};
    const size_t columns =
        ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 20 ? size.ws_col : 80;
    if (line.size() + sizeof figures > columns) {  // without cutting a character in two
      size_t end = columns > sizeof figures + 4 ? columns - sizeof figures - 4 : 8;
      while (end > 0 && (static_cast<unsigned char>(line[end]) & 0xC0) == 0x80) --end;
      line = line.substr(0, end) + " ...";
    }
    line_is_shown = true;
    std::fprintf(stderr, "%s%s%s", kClearLine, line.c_str(), figures);
    std::fflush(stderr);
  }

  void clear_locked() {
    if (!line_is_shown.exchange(false)) return;
    std::fputs(kClearLine, stderr);
    std::fflush(stderr);
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::thread thread_;
  std::string what_;
  Clock::time_point begin_ = Clock::now();
  bool ends_ = false;
};

Display& display() {
  static Display the_one;
  return the_one;
}

bool is_shown() {
  static const bool terminal = isatty(STDERR_FILENO) != 0;
  return terminal && !quiet;
}

int note_progress(const char*, double part, void*) {
  fraction = part;
  return 0;
}

int note_progress_and_stop(const char* task, double part, void* data) {
  note_progress(task, part, data);
  return interrupted;
}

long milliseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

// Whether the signal only asks work to stop, or is that wish once more: some programs that pass an interrupt
// on send it to the process and to its group.
bool is_wish_to_stop(int signal) {
  constexpr long kOnceMore = 500;  // milliseconds
  if (signal != SIGINT) return false;
  if (interrupted) return milliseconds() - interrupted_at < kOnceMore;
  if (!can_stop) return false;
  interrupted_at = milliseconds();
  interrupted = true;
  return true;
}

void end(int signal) {
  const int error = errno;
  if (!is_wish_to_stop(signal)) {
    if (line_is_shown) (void)!write(STDERR_FILENO, kClearLine, sizeof kClearLine - 1);
    remove_unfinished_file();
    std::signal(signal, SIG_DFL);
    raise(signal);  // with its usual effect
  }
  errno = error;
}

}  // namespace

void be_quiet() { quiet = true; }

Activity::Activity(const std::string& what) {
  if (is_shown()) outer_ = display().set(what);
}

Activity::~Activity() {
  if (is_shown()) display().set(outer_);
}

void show_progress_of(tv_domain_t* domain) {
  if (is_shown()) tv_domain_set_progress_handler(domain, note_progress, nullptr);
}

void clear_progress() {
  if (is_shown()) display().clear();
}

StopOnInterrupt::StopOnInterrupt(tv_domain_t* domain) {
  tv_domain_set_progress_handler(domain, note_progress_and_stop, nullptr);
  can_stop = true;
}

StopOnInterrupt::~StopOnInterrupt() { can_stop = false; }

bool was_interrupted() { return interrupted; }

void end_cleanly_on_signals() {
  struct sigaction action {};
  action.sa_handler = end;
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction present {};
    if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler != SIG_IGN)  // as under nohup
      sigaction(signal, &action, nullptr);
  }
}

}  // namespace program

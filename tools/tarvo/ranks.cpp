#include "ranks.h"

#include <dlfcn.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "mpi_calls.h"
#include "output.h"
#include "progress.h"

namespace program {
namespace {

// In front of every message: the exit code of a failure, or 0; and how many bytes follow.
using Head = std::array<uint64_t, 2>;

// Whether mpirun has started this process together with others.
bool has_company() {
  const char* const size = std::getenv("OMPI_COMM_WORLD_SIZE");
  return size && std::atoi(size) > 1;
}

// Beside the program, or beside the library.
void* load_module() {
  std::error_code error;
  std::vector<std::filesystem::path> places = {std::filesystem::read_symlink("/proc/self/exe", error)};
  Dl_info library{};
  if (dladdr(reinterpret_cast<const void*>(&tv_get_version), &library) != 0 && library.dli_fname)
    places.emplace_back(library.dli_fname);
  void* module = nullptr;
  // Modules of MPI itself look for its functions among those of the whole process.
  for (size_t i = 0; i < places.size() && !module; ++i)
    module = dlopen(places[i].replace_filename(kMpiModule).c_str(), RTLD_NOW | RTLD_GLOBAL);
  return module;
}

const MpiCalls* load_calls() {
  void* const module = load_module();
  if (!module)
    throw Failure(kFailed,
                  std::string("mpirun has started several processes, but MPI is not there: ") + dlerror());
  const auto* const calls = static_cast<const MpiCalls*>(dlsym(module, kMpiCalls));
  if (!calls) throw Failure(kFailed, std::string(kMpiModule) + ": it is not a part of this program");
  return calls;
}

}  // namespace

Ranks& Ranks::of_this_run() {
  static Ranks ranks;
  return ranks;
}

Ranks::Ranks() {
  if (!has_company()) return;
  calls_ = load_calls();
  calls_->start(rank_, size_);
}

std::vector<std::string> Ranks::gather(std::string bytes) const {
  if (!is_first()) {
    const Head head = {0, bytes.size()};
    calls_->send(0, head.data(), sizeof head);
    calls_->send(0, bytes.data(), bytes.size());
    return {};
  }
  std::vector<std::string> all(size());
  all[0] = std::move(bytes);
  for (int from = 1; from < size_; ++from) {
    Head head{};
    calls_->receive(from, head.data(), sizeof head);
    std::string& text = all[static_cast<size_t>(from)];
    text.resize(head[1]);
    calls_->receive(from, text.data(), text.size());
    if (head[0]) throw Failure(static_cast<ExitCode>(head[0]), text);
  }
  return all;
}

std::string Ranks::broadcast(std::string bytes) const {
  if (!are_many()) return bytes;
  uint64_t size = bytes.size();
  calls_->broadcast(&size, sizeof size);
  bytes.resize(size);
  calls_->broadcast(bytes.data(), bytes.size());
  return bytes;
}

void Ranks::tell(const std::string& line) {
  if (!is_first()) {
    kept_ += line + "\n";
    return;
  }
  clear_progress();
  std::fprintf(stderr, "%s\n", printable(line, true).c_str());
}

void Ranks::tell_kept() {
  for (const std::string& lines : gather(std::exchange(kept_, {})))
    if (!lines.empty()) tell(lines.substr(0, lines.size() - 1));
}

void Ranks::finish() {
  gather("");
  if (are_many()) calls_->finish();
}

void Ranks::fail(ExitCode code, const std::string& message) const {
  if (is_first()) {
    if (are_many()) calls_->abort(code);
    std::_Exit(code);
  }
  // Short enough to be on its way before anybody asks for it.
  const std::string text = (kept_ + message).substr(0, 2000);
  const Head head = {static_cast<uint64_t>(code), text.size()};
  calls_->send(0, head.data(), sizeof head);
  calls_->send(0, text.data(), text.size());
  for (;;) broadcast("");
}

}  // namespace program

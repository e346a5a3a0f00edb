// The processes of one run, which mpirun has started: rank 0 reads for all what all need, prints and writes.
// Without mpirun there is one.
//
// Nobody waits for a rank that has failed: its failure takes the place of what it would have gathered next,
// and rank 0 ends the run with it. Until then it goes on to take part in broadcasts.
#pragma once

#include <string>
#include <vector>

#include "failure.h"

namespace program {

struct MpiCalls;

class Ranks {
 public:
  // Those of this run; starts MPI where there are several.
  static Ranks& of_this_run();

  size_t rank() const { return static_cast<size_t>(rank_); }
  size_t size() const { return static_cast<size_t>(size_); }
  bool are_many() const { return size_ > 1; }
  bool is_first() const { return rank_ == 0; }

  // The bytes of all ranks in their order, at rank 0; nothing at the others. At rank 0 a failure of another
  // rank is thrown.
  std::vector<std::string> gather(std::string bytes) const;

  // What rank 0 has.
  std::string broadcast(std::string bytes) const;

  // A line for the error stream. Other ranks than the first keep theirs, for tell_kept or for their failure.
  void tell(const std::string& line);
  void tell_kept();  // to be called by all of them

  // The end of what all ranks have done; a failure of another rank is thrown.
  void finish();

  // The end of all ranks with a failure. That of rank 0 has been printed, that of another one is.
  [[noreturn]] void fail(ExitCode code, const std::string& message) const;

 private:
  Ranks();

  const MpiCalls* calls_ = nullptr;  // null: there is one
  int rank_ = 0, size_ = 1;
  std::string kept_;
};

}  // namespace program

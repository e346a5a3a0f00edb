// What fits no node of the network, row by row: the first messages are printed, the others counted. Where
// several ranks read, what all of them see is told once.
#pragma once

#include <string>

#include "case_rows.h"
#include "network.h"

namespace program {

class RowMessages {
 public:
  enum Positions { kRows, kLines };  // what the library counts: rows from 0, or lines from 1
  // `rows`: those of the file that the library sees; null for all.
  RowMessages(const std::string& file, Positions positions, const RowRange* rows = nullptr);

  static void tell(size_t position, const char* message, void* messages);  // a handler

  // Fails where something was told and the call did not succeed; a lenient one may succeed all the same.
  void end(tv_status_t status, const Network& network, bool is_lenient) const;

 private:
  std::string place_of(size_t position) const;

  std::string file_;  // as it is shown
  Positions positions_;
  const RowRange* rows_;
  size_t count_ = 0;
};

}  // namespace program

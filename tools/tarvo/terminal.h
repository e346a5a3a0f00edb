// What the terminal behind the standard output can show; nothing special when there is none.
#pragma once

#include <cstddef>
#include <string>

namespace program {

struct Terminal {
  bool is_terminal = false;
  bool utf8 = false;
  bool bold = false;
  size_t columns = 80;

  Terminal();
  std::string bar(double share, size_t width) const;
};

}  // namespace program

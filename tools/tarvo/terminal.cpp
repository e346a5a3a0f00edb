#include "terminal.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cstdlib>

namespace program {

Terminal::Terminal()
    : is_terminal(isatty(STDOUT_FILENO) != 0), bold(is_terminal && !std::getenv("NO_COLOR")) {
  if (!is_terminal) return;
  std::setlocale(LC_CTYPE, "");
  utf8 = std::string(nl_langinfo(CODESET)) == "UTF-8";
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) columns = size.ws_col;
}

std::string Terminal::bar(double share, size_t width) const {
  const size_t eighths =
      static_cast<size_t>(std::lround(std::clamp(share, 0.0, 1.0) * 8 * static_cast<double>(width)));
  if (!utf8) return std::string((eighths + 4) / 8, '#');
  static const char* const kParts[] = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
  std::string text;
  for (size_t i = 0; i < eighths / 8; ++i) text += "█";
  return text + kParts[eighths % 8];
}

}  // namespace program

#include "network_format.h"

#include <algorithm>

namespace program {

std::string format_of(const std::string& file) {
  const auto ends_with = [&](const std::string& end) {
    return file.size() >= end.size() &&
           std::equal(end.rbegin(), end.rend(), file.rbegin(),
                      [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b - 'A' + 'a' : b); });
  };
  if (ends_with(".bif")) return "bif";
  return ends_with(".xml") || ends_with(".xmlbif") || ends_with(".bifxml") ? "xmlbif" : "net";
}

}  // namespace program

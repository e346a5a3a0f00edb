#include "suggest.h"

#include <algorithm>
#include <cctype>

namespace program {
namespace {

// Insertions, deletions, substitutions and swaps of neighbours that turn one word into the other, whatever
// the case.
size_t edit_distance(const std::string& from, const std::string& to) {
  const auto same = [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
  };
  std::vector<size_t> before, above(to.size() + 1), row(to.size() + 1);
  for (size_t j = 0; j <= to.size(); ++j) above[j] = j;
  for (size_t i = 1; i <= from.size(); ++i) {
    row[0] = i;
    for (size_t j = 1; j <= to.size(); ++j) {
      const size_t substitution = above[j - 1] + (same(from[i - 1], to[j - 1]) ? 0 : 1);
      row[j] = std::min({above[j] + 1, row[j - 1] + 1, substitution});
      if (i > 1 && j > 1 && same(from[i - 1], to[j - 2]) && same(from[i - 2], to[j - 1]))
        row[j] = std::min(row[j], before[j - 2] + 1);
    }
    before = above;
    above = row;
  }
  return above[to.size()];
}

}  // namespace

std::string did_you_mean(const std::string& word, const std::vector<std::string>& candidates) {
  size_t least = std::max<size_t>(2, word.size() / 2) + 1;  // further away is another word
  const std::string* nearest = nullptr;
  for (const std::string& candidate : candidates) {
    const size_t distance = edit_distance(word, candidate);
    if (distance < std::min(least, std::max(word.size(), candidate.size()))) {
      least = distance;
      nearest = &candidate;
    }
  }
  return nearest ? "; did you mean \"" + *nearest + "\"?" : "";
}

}  // namespace program

#include "memory.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace program {
namespace {

constexpr size_t kHuge = static_cast<size_t>(-1);
constexpr char kUnits[] = {'K', 'M', 'G', 'T'};

std::string refusal(const Network& network, const std::string& method) {
  tv_domain_t* domain = network.domain();
  const size_t need = tv_domain_get_memory_need(domain), limit = tv_domain_get_memory_limit(domain);
  std::string text = network.file() + ": too large to compile: ";
  text += need == kHuge ? "the memory needed is beyond any number of this machine"
                        : memory_text(need) + " needed";
  text += ", the limit is " + memory_text(limit);
  if (limit == four_fifths_of_physical_memory()) text += " (four fifths of the physical memory)";
  text += "\n  The treewidth is " + std::to_string(treewidth(domain)) + " by the method " + method + ".";
  text += "\n  What may help: ";
  if (method != "best_greedy") text += "--method best_greedy; ";
  text += "a higher --memory-limit; a network with fewer states, or fewer parents for its nodes.";
  text += "\n  \"tarvo info FILE --method all\" shows the need of every method without allocating it.";
  return text;
}

}  // namespace

std::optional<size_t> parse_memory_size(const std::string& text) {
  const char* end = text.data() + text.size();
  double number = 0;
  const auto [stop, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
  if (error != std::errc() || !(number >= 0) || end - stop > 1) return std::nullopt;
  if (stop != end) {
    const auto unit =
        std::find(std::begin(kUnits), std::end(kUnits), *stop >= 'a' ? *stop - 'a' + 'A' : *stop);
    if (unit == std::end(kUnits)) return std::nullopt;
    number = std::ldexp(number, 10 * static_cast<int>(unit - std::begin(kUnits) + 1));
  }
  if (number >= 0x1p63) return std::nullopt;
  return static_cast<size_t>(number);
}

std::string memory_text(size_t bytes) {
  if (bytes == kHuge) return "HUGE";
  if (bytes < 1024) return std::to_string(bytes) + " bytes";
  double number = static_cast<double>(bytes) / 1024;
  size_t unit = 0;
  for (; number >= 1024 && unit + 1 < std::size(kUnits); ++unit) number /= 1024;
  char text[64];
  std::snprintf(text, sizeof text, "%.1f %ciB", number, kUnits[unit]);
  return text;
}

size_t treewidth(tv_domain_t* domain) {
  size_t largest = 1;
  for (const tv_clique_t* clique = tv_domain_get_first_clique(domain); clique;
       clique = tv_clique_get_next(clique))
    largest = std::max(largest, tv_clique_get_number_of_members(clique));
  return largest - 1;
}

size_t four_fifths_of_physical_memory() {
  const long pages = sysconf(_SC_PHYS_PAGES), page_size = sysconf(_SC_PAGESIZE);
  if (pages <= 0 || page_size <= 0) return 0;  // not known: no limit
  return static_cast<size_t>(pages) / 5 * 4 * static_cast<size_t>(page_size);
}

tv_status_t compile_within_limit(const Network& network, size_t limit) {
  expect(tv_domain_set_memory_limit(network.domain(), limit), network.file());
  return tv_domain_compile(network.domain());
}

void fail_to_compile(const Network& network, tv_status_t status, const std::string& method) {
  tv_domain_t* domain = network.domain();
  const size_t limit = tv_domain_get_memory_limit(domain);
  if (status == tv_status_no_memory && tv_domain_is_triangulated(domain) == 1 && limit > 0 &&
      tv_domain_get_memory_need(domain) > limit)
    throw Failure(kFailed, refusal(network, method));
  const unsigned code = static_cast<unsigned>(status);
  throw Failure(kFailed, network.file() + ": " + tv_error_name(code) + ": " + tv_error_description(code));
}

}  // namespace program

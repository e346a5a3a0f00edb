#include "memory.h"

#include <sys/resource.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>

#include "available_memory.h"
#include "triangulation.h"

namespace program {
namespace {

constexpr char kUnits[] = {'K', 'M', 'G', 'T'};
constexpr size_t kSlack = size_t{64} << 20;  // for stacks, buffers and what tables bring with them

size_t default_limit() { return available_memory().bytes / 5 * 4; }

std::string limit_text(size_t limit) {
  std::string text = "the limit is " + memory_text(limit);
  if (limit == default_limit()) text += std::string(" (four fifths of ") + available_memory().what + ")";
  return text;
}

// Of the triangulated domain, with the tables that it is to have.
size_t need_of(tv_domain_t* domain) {
  return tv_domain_get_zero_compression(domain) == 1 ? tv_domain_get_compressed_memory_need(domain)
                                                     : tv_domain_get_memory_need(domain);
}

std::string refusal(const Network& network, size_t need, const std::string& method) {
  tv_domain_t* domain = network.domain();
  const bool is_compressed = tv_domain_get_zero_compression(domain) == 1;
  std::string text = network.file() + ": too large to compile: ";
  text += need == kTooLarge ? "the memory needed is beyond any number of this machine"
                            : memory_text(need) + " needed";
  if (is_compressed) text += " with compressed tables";
  text += ", " + limit_text(network.memory_limit());
  text += "\n  The treewidth is " + std::to_string(treewidth(domain)) + " by the method " + method + ".";
  text += "\n  What may help: ";
  if (method != kAutomatic) text += "--triangulation " + kAutomatic + "; ";
  text +=
      "--effort 1000, a longer search for smaller tables; a higher --memory-limit; a network with fewer "
      "states, or fewer parents for its nodes.";
  text += "\n  \"tarvo info FILE --triangulation all\" shows the need of every method without allocating it.";
  if (!is_compressed)
    text += "\n  \"tarvo info FILE --compress\" shows what is needed where impossible states take no room.";
  return text;
}

bool has_own_table(tv_node_t* node) { return !is_real_valued_function(node); }

}  // namespace

double table_numbers(tv_node_t* node) {
  double numbers = is_discrete(node) ? static_cast<double>(states_of(node)) : 1;
  for (const tv_node_t* parent : each(tv_node_get_parents(node)))
    if (is_discrete(parent)) numbers *= static_cast<double>(states_of(parent));
  return numbers;
}

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
  if (bytes >= kTooLarge / 2) return "HUGE";
  if (bytes < 1024) return std::to_string(bytes) + " bytes";
  double number = static_cast<double>(bytes) / 1024;
  size_t unit = 0;
  for (; number >= 1024 && unit + 1 < std::size(kUnits); ++unit) number /= 1024;
  char text[64];
  std::snprintf(text, sizeof text, "%.1f %ciB", number, kUnits[unit]);
  return text;
}

size_t memory_limit_of(const std::string& text) {
  if (text.empty()) return default_limit();
  return parse_memory_size(text).value_or(0);
}

void enforce_memory_limit(size_t limit) {
#if !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__)  // which reserve more than any machine has
  rlimit present{};
  if (limit == 0 || limit > kTooLarge - kSlack || getrlimit(RLIMIT_DATA, &present) != 0) return;
  present.rlim_cur = std::min<rlim_t>(present.rlim_cur, limit + kSlack);
  setrlimit(RLIMIT_DATA,
            &present);  // where that is not possible, the needs computed beforehand are the limit
#else
  (void)limit;
#endif
}

void expect_to_fit(const Network& network, const std::vector<tv_node_t*>& nodes, double copies,
                   size_t beside) {
  if (network.memory_limit() == 0) return;
  double total = 0, most = 0;
  tv_node_t* largest = nullptr;
  for (tv_node_t* node : nodes) {
    if (!has_own_table(node)) continue;
    const double numbers = table_numbers(node);
    total += numbers;
    if (numbers > most) {
      most = numbers;
      largest = node;
    }
  }
  const auto bytes = [&](double numbers) {
    const double need = numbers * (sizeof(tv_number_t) + copies);
    return need < 0x1p62 ? static_cast<size_t>(need) : kTooLarge / 2;
  };
  if (!largest || bytes(total) + std::min(beside, kTooLarge / 2) <= network.memory_limit()) return;
  char numbers[32];
  std::snprintf(numbers, sizeof numbers, most < 1e15 ? "%.0f" : "%.3g", most);
  std::string text = network.file() + ": too large: the table of \"" + name_of(largest) + "\" has " +
                     numbers + " numbers, which take " + memory_text(bytes(most));
  if (memory_text(bytes(total)) != memory_text(bytes(most))) text += " of " + memory_text(bytes(total));
  if (beside > 0) text += ", beside " + memory_text(beside) + " for inference";
  text += "; " + limit_text(network.memory_limit());
  throw Failure(
      kFailed,
      text + "\n  What may help: a higher --memory-limit; fewer states, or fewer parents for the node.");
}

size_t treewidth(tv_domain_t* domain) {
  size_t largest = 1;
  for (const tv_clique_t* clique = tv_domain_get_first_clique(domain); clique;
       clique = tv_clique_get_next(clique))
    largest = std::max(largest, tv_clique_get_number_of_members(clique));
  return largest - 1;
}

void fail_to_compile(const Network& network, tv_status_t status, const std::string& method) {
  const std::string reason = library_message();
  tv_domain_t* domain = network.domain();
  const size_t limit = network.memory_limit();
  if (status == tv_status_no_memory && tv_domain_is_triangulated(domain) == 1 && limit > 0) {
    const size_t need = need_of(domain);
    const bool is_known = need != kTooLarge || tv_error_code() == tv_status_size_too_large;
    if (is_known && need > limit) throw Failure(kFailed, refusal(network, need, method));
  }
  if (status == tv_status_no_memory && limit > 0)
    throw Failure(kFailed, network.file() +
                               (tv_domain_get_zero_compression(domain) == 1
                                    ? ": finding what is possible takes more memory than there may be; "
                                    : ": compiling takes more memory than tables leave; ") +
                               limit_text(limit));
  throw Failure(kFailed, network.file() + ": " + reason);
}

}  // namespace program

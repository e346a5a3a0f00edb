#include "compression.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "memory.h"
#include "progress.h"

namespace program {
namespace {

Json size_json(size_t bytes) { return bytes == kTooLarge ? Json() : Json(bytes); }

}  // namespace

std::optional<double> parse_epsilon(const std::string& text) {
  const char* end = text.data() + text.size();
  double number = 0;
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || !(number > 0) || !std::isfinite(number)) return std::nullopt;
  return number;
}

std::optional<double> CompressedMemory::ratio() const {
  if (full == kTooLarge || compressed == kTooLarge) return std::nullopt;
  return static_cast<double>(compressed) / static_cast<double>(full);
}

void expect_consistent(const CompressionOptions& options, bool max, bool fast_retraction) {
  if (options.compress && fast_retraction)
    throw Failure(kWrongUsage, "--fast-retraction is not possible with --compress");
  if (options.approximates() && fast_retraction)
    throw Failure(kWrongUsage, "--fast-retraction is not possible with --approximate");
  if (options.approximates() && max && !options.compress)
    throw Failure(kWrongUsage, "--max with --approximate needs --compress, which keeps the approximation");
}

void expect_possible(const Network& network, const CompressionOptions& options) {
  if (options.approximates() && network.has_decisions())
    throw Failure(kFailed, network.file() + ": --approximate is not possible in a network with decisions");
  const bool keeps_full_tables =
      std::any_of(network.nodes().begin(), network.nodes().end(),
                  [](const tv_node_t* node) { return is_continuous(node) || is_utility(node); });
  if (options.approximates() && options.compress && keeps_full_tables)
    throw Failure(kFailed, network.file() +
                               ": with continuous nodes or utilities tables stay full, and --compress cannot "
                               "keep what --approximate leaves; leave out one of them");
}

double approximate(const Network& network, const CompressionOptions& options) {
  const Activity approximating("approximating");
  const double kept = tv_domain_approximate(network.domain(), parse_epsilon(options.epsilon).value_or(0));
  if (kept >= 0) return kept;
  if (tv_error_code() == tv_status_inconsistency_or_underflow)
    throw Failure(kFailed, network.file() + ": --approximate " + options.epsilon + " leaves nothing");
  fail_with_status(network.file());
}

size_t compressed_memory_need(const Network& network) {
  const Activity finding("finding what is possible");
  const size_t need = tv_domain_get_compressed_memory_need(network.domain());
  if (need == kTooLarge && tv_error_code() != tv_status_size_too_large) fail_with_status(network.file());
  return need;
}

std::string ratio_text(const CompressedMemory& memory) {
  const std::optional<double> ratio = memory.ratio();
  if (!ratio) return "";
  char text[64];
  std::snprintf(text, sizeof text, " (%.3g of full tables)", *ratio);
  return text;
}

void print_lines(const CompressionFigures& figures) {
  if (figures.memory)
    std::printf("%-34s %s%s\n", "Memory with compressed tables",
                memory_text(figures.memory->compressed).c_str(), ratio_text(*figures.memory).c_str());
  if (figures.kept)
    std::printf("%-34s %s\n", "Kept by the approximation", significant(*figures.kept).c_str());
}

Json json_of(const CompressionFigures& figures) {
  Json entries = Json::object();
  if (figures.memory) {
    const std::optional<double> ratio = figures.memory->ratio();
    entries["memory_needed"] = size_json(figures.memory->full);
    entries["compressed_memory_needed"] = size_json(figures.memory->compressed);
    entries["compression_ratio"] = ratio ? json_number(*ratio) : Json();
  }
  if (figures.kept) entries["kept_mass"] = json_number(*figures.kept);
  return entries;
}

void print_rows(const CsvWriter& csv, const CompressionFigures& figures, size_t columns) {
  const Json entries = json_of(figures);
  for (const auto& [quantity, value] : entries.items()) {
    std::vector<std::string> row(columns);
    row[columns - 2] = quantity;
    row[columns - 1] = value.is_null() ? "" : value.dump();
    csv.row(row);
  }
}

}  // namespace program

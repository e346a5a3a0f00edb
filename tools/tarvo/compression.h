// Compression and approximation: what the command line says of them, and what they come to.
#pragma once

#include <optional>
#include <string>

#include "network.h"
#include "output.h"

namespace program {

struct CompressionOptions {
  bool compress = false;
  std::string epsilon;  // of the approximation, as it was written; none when empty

  bool approximates() const { return !epsilon.empty(); }
};

// A positive, finite number. Nothing when the text is none.
std::optional<double> parse_epsilon(const std::string& text);

// What compiling takes in bytes, each kTooLarge past the range of size_t.
struct CompressedMemory {
  size_t full = 0, compressed = 0;

  std::optional<double> ratio() const;  // nothing where one of them is too large
};

struct CompressionFigures {
  std::optional<CompressedMemory> memory;  // with --compress
  std::optional<double> kept;              // of the probability mass, with --approximate
};

// Fails for options that do not go together.
void expect_consistent(const CompressionOptions& options, bool max, bool fast_retraction);

// Fails for networks that have policies to find: they cannot be approximated. Fails, too, where compression
// would not keep the approximation.
void expect_possible(const Network& network, const CompressionOptions& options);

// Of the domain as it is propagated; returns the mass that is kept. On a compressed domain the approximation
// stays, whatever is propagated later; on others it lasts until then.
double approximate(const Network& network, const CompressionOptions& options);

// The size with compressed tables of the domain, which is triangulated.
size_t compressed_memory_need(const Network& network);

// " (0.14 of full tables)", or nothing where there is no ratio.
std::string ratio_text(const CompressedMemory& memory);

// The lines at the end of an answer.
void print_lines(const CompressionFigures& figures);

// By their names, which JSON and CSV share; an empty object where nothing was asked for.
Json json_of(const CompressionFigures& figures);
void print_rows(const CsvWriter& csv, const CompressionFigures& figures, size_t columns);

}  // namespace program

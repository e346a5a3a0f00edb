// The commands of the program. Each throws Failure when it cannot do its work; the caller prints it.
#pragma once

#include <string>
#include <vector>

#include "compression.h"
#include "evidence.h"
#include "output.h"
#include "triangulation.h"

namespace program {

struct BeliefsOptions {
  Source source;
  EvidenceOptions evidence;
  std::vector<std::string> nodes;  // to show; all when empty
  bool max = false;
  bool fast_retraction = false;
  TriangulationOptions triangulation;
  CompressionOptions compression;
  size_t threads = 1;
  std::string trace;  // file for the trace of the compilation; none when empty
  Format format = Format::kText;
};
ExitCode show_beliefs(const BeliefsOptions& options);

struct DecideOptions {
  Source source;
  EvidenceOptions evidence;
  TriangulationOptions triangulation;
  CompressionOptions compression;
  Format format = Format::kText;
};
ExitCode decide(const DecideOptions& options);

struct InfoOptions {
  Source source;
  TriangulationOptions triangulation;  // its method may be "all"
  CompressionOptions compression;
  Format format = Format::kText;
};
ExitCode show_info(const InfoOptions& options);

struct CheckOptions {
  Source source;
  TriangulationOptions triangulation;
  Format format = Format::kText;
};
ExitCode check(const CheckOptions& options);

struct ConvertOptions {
  Source source;
  std::string to;         // "-" for the standard output
  std::string to_format;  // empty for what the name of the file says
  Format format = Format::kText;
};
ExitCode convert(const ConvertOptions& options);

struct AdaptOptions {
  Source source;
  std::string cases;      // file of cases; "-" for the standard input
  std::string to;         // "-" for the standard output
  double experience = 0;  // of nodes without any; 0 to leave them alone
  TriangulationOptions triangulation;
  Format format = Format::kText;
};
ExitCode adapt(const AdaptOptions& options);

struct CompareOptions {
  Source source, other;  // the other one has no memory limit of its own
  Format format = Format::kText;
};
ExitCode compare(const CompareOptions& options);

struct TablesOptions {
  Source source;
  std::string node;
  Format format = Format::kText;
};
ExitCode show_table(const TablesOptions& options);

}  // namespace program

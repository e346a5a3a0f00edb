// The commands of the program. Each throws Failure when it cannot do its work; the caller prints it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "evidence.h"

namespace program {

enum class Format { kText, kJson, kCsv };

// Names of the triangulation methods on the command line, in the order in which they are compared.
inline const std::vector<std::pair<std::string, tv_triangulation_method_t>> kMethods = {
    {"clique_size", tv_method_clique_size},   {"clique_weight", tv_method_clique_weight},
    {"fill_in_size", tv_method_fill_in_size}, {"fill_in_weight", tv_method_fill_in_weight},
    {"total_weight", tv_method_total_weight}, {"best_greedy", tv_method_best_greedy},
};
tv_triangulation_method_t method_by_name(const std::string& name);

struct BeliefsOptions {
  std::string file;
  std::vector<Finding> findings;
  std::vector<std::string> nodes;  // to show; all when empty
  bool max = false;
  bool fast_retraction = false;
  std::string method = "best_greedy";
  size_t threads = 1;
  std::optional<size_t> memory_limit;  // bytes; four fifths of the physical memory when not given
  Format format = Format::kText;
  std::string case_file;  // with evidence; none when empty
  std::string trace;      // file for the trace of the compilation; none when empty
};

// What a propagation of the evidence has shown.
struct Answers {
  double probability = 1.0;  // of the evidence; its density when values of continuous nodes belong to it
  double log_probability = 0.0;
  std::optional<double> conflict;  // not defined for networks with decisions
  double max_probability = 0.0;    // of the most probable configuration, after --max
  double max_log_probability = 0.0;
  std::vector<tv_node_t*> nodes;  // to show
};

ExitCode show_beliefs(const BeliefsOptions& options);
void print(const Network& network, const BeliefsOptions& options, const Answers& answers);

ExitCode show_info(const std::string& file, const std::string& method);  // a method's name or "all"
ExitCode check(const std::string& file);

// Formats by name, empty for what the names of the files say; "-" stands for the standard output.
ExitCode convert(const std::string& from, const std::string& to, const std::string& from_format,
                 const std::string& to_format);
ExitCode show_table(const std::string& file, const std::string& node, Format format);

struct DecideOptions {
  std::string file;
  std::vector<Finding> findings;
  Format format = Format::kText;
};

ExitCode decide(const DecideOptions& options);

}  // namespace program

// tarvo check: what the parser says of a file, and what the library says of its potentials.
#include <cstdio>

#include "commands.h"
#include "memory.h"
#include "trace_text.h"

namespace program {
namespace {

// The section of the trace that begins with `heading`, up to the heading `next` or the end; empty when there
// is none.
std::string section(const std::string& trace, const std::string& heading, const std::string& next) {
  const size_t begin = trace.find("\n\n" + heading);
  if (begin == std::string::npos) return "";
  const size_t end = trace.find("\n\n" + next, begin + 2);
  std::string text = trace.substr(begin + 2, end == std::string::npos ? end : end - begin - 2);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text + "\n";
}

}  // namespace

ExitCode check(const std::string& file) {
  const TraceText trace;  // outlives the network
  const Network network(file);
  std::printf("%s: %zu nodes, %zu message%s of the parser\n", file.c_str(), network.nodes().size(),
              network.messages(), network.messages() == 1 ? "" : "s");
  expect(tv_domain_set_log_file(network.domain(), trace.stream()), file);
  const tv_status_t status = compile_within_limit(network, four_fifths_of_physical_memory());
  const std::string text = trace.text();
  const std::string tables = section(text, "Checking tables for all nodes", "Checking");
  if (tables.find("Warning") != std::string::npos) std::printf("\n%s", tables.c_str());
  const std::string potentials = section(text, "Checking conditional probability", "Beliefs");
  if (!potentials.empty()) std::printf("\n%s", potentials.c_str());
  std::fflush(stdout);
  if (status != tv_status_none) fail_to_compile(network, status, "best_greedy");
  return kSuccess;
}

}  // namespace program

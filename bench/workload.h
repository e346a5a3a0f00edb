// What the benchmark runs: networks from a folder with their reference answers and yardstick, and generated
// networks.
#pragma once

#include <tarvo.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

// The answers of NAME.json; beliefs[i] belongs to nodes[i].
struct ReferenceCase {
  std::vector<std::pair<std::string, std::string>> evidence;
  double log_probability = 0;
  std::vector<std::vector<double>> beliefs;
};

struct Workload {
  std::string name;
  std::string source;  // a file name or a text in the NET language
  std::vector<std::string> nodes;
  std::vector<ReferenceCase> cases;  // empty where no reference is known
};

// The row of a network in the table of the folder's README.md: column title to number, where the cell is one.
using Yardstick = std::map<std::string, double>;
using Yardsticks = std::map<std::string, Yardstick>;

std::vector<Workload> networks_in(const std::filesystem::path& folder);
Yardsticks yardsticks_in(const std::filesystem::path& folder);
std::vector<Workload> generated_networks();

// A state for every node, drawn from the network itself.
std::map<tv_node_t*, size_t> drawn_states(tv_domain_t* domain, unsigned seed);

// A finding on about one node in five, drawn from the network itself.
using Evidence = std::vector<std::pair<tv_node_t*, size_t>>;
Evidence drawn_evidence(tv_domain_t* domain, unsigned seed);
Evidence evidence_of(tv_domain_t* domain, const ReferenceCase& reference);

}  // namespace bench

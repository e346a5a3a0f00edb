// The record of a domain: its nodes and counters, its settings, and the one compiled forest.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "api/owned_list.h"
#include "api/streams.h"
#include "network/node.h"
#include "network/random_generator.h"
#include "network/sample.h"

namespace tv {

struct Forest;         // compile/forest.h
class NameTable;       // network/name_table.h
struct LimidAnalysis;  // limid/minimize_limid.h

// How many nodes there are of each category and of each kind.
struct NodeCounters {
  size_t chance = 0, decision = 0, utility = 0, function = 0, instance = 0;
  size_t discrete = 0, continuous = 0;
};

// How light separators, few fill-ins and even splits are weighed against each other when a graph has too many
// minimal separators and is split by one of them.
struct SeparatorScore {
  double log_weight = 1.0, fill_in = 0.0, exponent = 3.0;
};

// A potential over nodes joined by undirected links, see network/links/chain_graph.h.
struct ChainPotential {
  NodeList children;
  std::unique_ptr<Table> table;  // over the shared parents, then the children
};

}  // namespace tv

struct tv_domain_s {
  explicit tv_domain_s(const tv::Hooks& upper_layers);
  ~tv_domain_s();

  const tv::Hooks* const hooks;  // what follows changes further up

  tv::OwnedList<tv::Node> nodes;  // newest first; a parsed domain keeps file order
  size_t node_count = 0;
  tv::NodeCounters counters;
  std::vector<tv::ChainPotential> chain_potentials;
  std::unique_ptr<tv::NameTable> name_table;  // an accelerator, absent until first needed

  tv::CaseTable cases;

  std::FILE* log = nullptr;  // the host's stream
  size_t grain_size = 10000;
  size_t concurrency_level = 1;
  size_t em_concurrency_level = 1;
  tv::PrintContext print_context;
  tv_progress_handler_t progress_handler = nullptr;
  void* progress_data = nullptr;

  tv::AttributeList attributes;
  void* user_data = nullptr;
  std::string file_name;  // of the parsed file; empty when there was none
  bool is_class = false;  // the record serves as a class: stricter rules for names
  size_t node_width = 80, node_height = 40;
  std::vector<tv::Table*> host_tables;  // those that the host has been given and not deleted yet
  size_t table_count = 0;               // source of the serial numbers of registered tables
  size_t table_layouts = 0;     // how often a registered table has got nodes, or others, or in another order
  size_t function_outlets = 0;  // links that leave function nodes
  size_t model_count = 0;       // nodes with a model
  bool links_are_read = false;  // from a text, where their order means nothing
  tv::RandomGenerator random;
  tv::Sample sample;  // empty until one is drawn, and again when the structure changes

  // Settings and results of learning.
  double log_likelihood_tolerance = 0.0001;
  size_t max_em_iterations = 0;                  // 0: no limit
  double log_likelihood = 0.0;                   // of the cases under the present tables
  mutable bool log_likelihood_is_valid = false;  // until a case, a count or a table changes

  // Settings of compilation.
  size_t memory_limit = 0;              // bytes; 0: no limit
  bool zero_compression = false;        // tables store what is possible alone
  size_t max_number_of_separators = 0;  // 0: no limit
  size_t max_separator_size = 0;        // 0: no limit
  tv::SeparatorScore separator_score;
  size_t triangulation_effort = 0;  // units of search; TV_EFFORT_AUTO: about what a propagation costs
  tv::NodeList initial_triangulation;
  tv::NodeList required_instantiations;  // nodes that need a selected state before propagation

  // What was found out about its decisions; null until asked for, and again when the structure changes.
  std::unique_ptr<tv::LimidAnalysis, void (*)(tv::LimidAnalysis*)> limid;

  // Everything that compilation made; null while the domain is not triangulated. The deleter is
  // given with the forest, because this record does not know what a forest is.
  std::unique_ptr<tv::Forest, void (*)(tv::Forest*)> forest;
  bool compiled = false;      // the forest has its tables
  bool compressed = false;    // they store what is possible alone
  size_t compiled_bytes = 0;  // what they take
};

namespace tv {

void _tv_domain_set_triangulation_parameters(Domain& domain, double log_weight, double fill_in,
                                             double exponent) noexcept;

// Destroys the forest, if there is one. Never fails and leaves the status alone.
void _tv_uncompile_domain_safely(Domain& domain) noexcept;

// To be called by every structural change: uncompiles and drops the stored initial triangulation.
void structure_changed(Domain& domain) noexcept;

}  // namespace tv

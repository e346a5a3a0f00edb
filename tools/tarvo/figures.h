// What `tarvo info` finds out about a network and its junction forests.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "commands.h"
#include "memory.h"

namespace program {

// Sizes as doubles: they are shown, and a product of many state counts passes any integer.
struct Family {
  std::string child;
  size_t members = 0;
  double entries = 0;     // of the child's table
  double parameters = 0;  // entries that are free: the last of each distribution follows from the others
};

struct NetworkFigures {
  std::vector<std::pair<std::string, size_t>> categories;  // those that occur, then "continuous"
  size_t links = 0, most_states = 0;
  double parameters = 0, entries = 0;
  Family largest;
};

// A prime component that is not complete: what it costs depends on its triangulation.
struct ComponentFigures {
  std::string first;  // one of its nodes
  size_t members = 0;
  double cost = 0, bound = 0;  // of the present triangulation; of any

  bool is_optimal() const { return cost == bound; }
};

struct ForestFigures {
  std::string method;
  std::string trouble;  // why there is no forest; empty when there is one
  size_t cliques = 0, trees = 0, treewidth = 0;
  size_t table_size = 0;  // entries of all clique and separator tables; kTooLarge past the range of size_t
  size_t cg_size = 0;     // numbers for the continuous members of all of them, likewise
  size_t cost = 0;        // entries of all clique tables, likewise
  size_t memory = 0;      // bytes that compiling to full tables would take, likewise
  CompressionFigures compression;
  double milliseconds = 0;
  std::vector<ComponentFigures> components;  // the costliest first
  double bound = 0;                          // which the cost of no triangulation goes below
};

// What there is to tell: the figures of the network, and the forests that were made of it.
struct Figures {
  NetworkFigures network;
  std::vector<ForestFigures> forests;
  size_t hopeless = 0;  // a bound on the treewidth that made triangulating pointless; 0 where there is none
};

void print_network(const Network& network, const NetworkFigures& figures);
void print_forest(const Network& network, const ForestFigures& figures);
void print_comparison_header(const CompressionOptions& compression);
void print_compared(const ForestFigures& figures);
void print_as_json(const Network& network, const Figures& figures);
void print_as_csv(const Network& network, const Figures& figures);

}  // namespace program

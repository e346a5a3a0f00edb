// What shows only when the network is put to use: whether it compiles, and which states can be.
#include "check.h"
#include "node_table.h"
#include "propagation.h"

namespace program {
namespace {

// Whether the node's own table alone rules the state out.
bool is_ruled_out_by_table(const NodeTable& table, size_t state) {
  if (!table.numbers) return false;  // a model that could not be used
  for (size_t row = 0; row < table.rows; ++row)
    if (table.numbers[row * table.columns + state] != 0) return false;
  return true;
}

}  // namespace

void check_by_propagation(const Network& network, const TriangulationOptions& options, Remarks& remarks) {
  try {
    compile(network, options);
  } catch (const Failure& failure) {
    std::string text = failure.what();  // begins with the name of the file, which remarks do without
    if (text.rfind(network.file() + ": ", 0) == 0) text.erase(0, network.file().size() + 2);
    remarks.push_back({Severity::kError, "compilation", "certain", "", text});
    return;
  }
  for (tv_node_t* node : network.nodes()) {
    if (!is_discrete(node) || is_decision(node) || !can_be_looked_at(network, node)) continue;
    for (size_t state = 0; state < states_of(node); ++state) {
      if (tv_node_get_belief(node, state) != 0) continue;
      // Below the smallest float a probability reads as zero, too.
      const bool certain = is_ruled_out_by_table(table_of(node), state);
      remarks.push_back({Severity::kNote, "impossible_state", certain ? "certain" : "likely", name_of(node),
                         "\"" + name_of(node) + "\" is never \"" + state_name(node, state) + "\""});
    }
  }
}

}  // namespace program

#include "target.h"

#include "evidence_value.h"

namespace program {

tv_node_t* find_target(const Network& network, const std::string& text) {
  tv_node_t* node = network.find(text.substr(0, text.find('=')));
  if (!is_discrete(node) || is_decision(node))
    throw Failure(kFailed, network.file() + ": \"" + name_of(node) + "\" is " +
                               (is_decision(node) ? "a decision" : "no discrete node") +
                               ", so that there is no probability to explain");
  return node;
}

size_t most_probable_state(const tv_node_t* node) {
  size_t best = 0;
  for (size_t state = 1; state < states_of(node); ++state)
    if (tv_node_get_belief(node, state) > tv_node_get_belief(node, best)) best = state;
  return best;
}

size_t find_state(const Network& network, tv_node_t* node, const std::string& text) {
  const size_t equals = text.find('=');
  if (equals == text.npos) return most_probable_state(node);
  const std::string word = text.substr(equals + 1);
  if (const auto state = find_any_state(network, node, word)) return *state;
  throw Failure(kFailed, network.file() + ": \"" + name_of(node) + "\": " + no_such_state(node, word));
}

}  // namespace program

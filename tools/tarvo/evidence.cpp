#include "evidence.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "case_file.h"
#include "evidence_value.h"

namespace program {
namespace {

// Splits NODE=REST; a state label may hold further equals signs.
Finding split(const std::string& text, const char* form, bool is_likelihood) {
  const size_t equals = text.find('=');
  if (equals == 0 || equals == std::string::npos || equals + 1 == text.size())
    throw Failure(kWrongUsage, "\"" + text + "\": expected " + form);
  return {text.substr(0, equals), text.substr(equals + 1), is_likelihood};
}

Entered entered_on(tv_node_t* node) {
  Entered entered{node, {}, {}, {}, false};
  if (is_continuous(node)) {
    entered.value = tv_node_get_entered_value(node);
    return entered;
  }
  if (const ptrdiff_t state = tv_node_get_selected_state(node); state >= 0) {
    entered.state = static_cast<size_t>(state);
    return entered;
  }
  for (size_t state = 0; state < states_of(node); ++state)
    entered.likelihood.push_back(tv_node_get_entered_finding(node, state));
  const auto is_plain = [](tv_number_t number) { return number == 0 || number == 1; };
  const auto& numbers = entered.likelihood;
  entered.is_several_states = std::all_of(numbers.begin(), numbers.end(), is_plain) &&
                              std::find(numbers.begin(), numbers.end(), 1) != numbers.end();
  return entered;
}

}  // namespace

std::vector<Finding> parse_findings(const EvidenceOptions& options) {
  std::vector<Finding> findings;
  for (const std::string& text : options.observations)
    findings.push_back(split(text, "NODE=STATE or NODE=VALUE", false));
  for (const std::string& text : options.likelihoods) findings.push_back(split(text, "NODE=v1,v2,...", true));
  std::set<std::string> seen;
  for (const Finding& finding : findings) {
    if (finding.is_likelihood) parse_likelihood(finding.node, finding.value);
    if (!seen.insert(finding.node).second)
      throw Failure(kWrongUsage, "evidence on node \"" + finding.node + "\" is given twice");
  }
  return findings;
}

void enter_evidence(const Network& network, const std::vector<Finding>& findings,
                    const std::string& case_file) {
  if (!case_file.empty()) enter_case_file(network, case_file);
  for (const Finding& finding : findings) {
    tv_node_t* node = network.find(finding.node);
    if (finding.is_likelihood)
      enter_likelihood(network, node, finding.value);
    else
      enter_value(network, node, finding.value);
  }
}

std::vector<Entered> entered_evidence(const Network& network) {
  std::vector<Entered> evidence;
  for (tv_node_t* node : network.nodes())
    if ((is_discrete(node) || is_continuous(node)) && tv_node_evidence_is_entered(node) == 1)
      evidence.push_back(entered_on(node));
  return evidence;
}

std::string shown_value(const Entered& entered) {
  if (entered.value) return significant(*entered.value);
  if (entered.state) return shown_state(entered.node, *entered.state);
  std::string text;
  for (size_t state = 0; state < entered.likelihood.size(); ++state) {
    if (!entered.is_several_states)
      text += (text.empty() ? "likelihood " : " ") + shortest(entered.likelihood[state]);
    else if (entered.likelihood[state] > 0)
      text += (text.empty() ? "" : " or ") + shown_state(entered.node, state);
  }
  return text;
}

void add_evidence(Json& document, const std::vector<Entered>& evidence) {
  Json known = Json::object(), likelihood = Json::object();  // entries of a document move when it grows
  for (const Entered& entered : evidence) {
    const std::string name = name_of(entered.node);
    if (entered.value) known[name] = json_number(*entered.value);
    if (entered.state) known[name] = state_name(entered.node, *entered.state);
    for (size_t state = 0; state < entered.likelihood.size(); ++state) {
      if (!entered.is_several_states)
        likelihood[name].push_back(json_number(entered.likelihood[state]));
      else if (entered.likelihood[state] > 0)
        known[name].push_back(state_name(entered.node, state));
    }
  }
  document["evidence"] = std::move(known);
  document["likelihood"] = std::move(likelihood);
}

}  // namespace program

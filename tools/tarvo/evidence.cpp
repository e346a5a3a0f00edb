#include "evidence.h"

#include <charconv>
#include <set>

#include "suggest.h"

namespace program {
namespace {

// Splits NODE=REST; a state label may hold further equals signs.
Finding split(const std::string& text, const char* form, std::string& rest) {
  const size_t equals = text.find('=');
  if (equals == 0 || equals == std::string::npos || equals + 1 == text.size())
    throw Failure(kWrongUsage, "\"" + text + "\": expected " + form);
  rest = text.substr(equals + 1);
  return {text.substr(0, equals), "", {}};
}

template <class Number>
bool parse_whole(const std::string& text, Number& number) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end;
}

size_t find_state(const Network& network, tv_node_t* node, const std::string& state) {
  const ptrdiff_t index = tv_node_get_state_index_from_label(node, state.c_str());
  if (index >= 0) return static_cast<size_t>(index);
  size_t position = 0;
  if (state[0] == '#' && parse_whole(state.substr(1), position) &&
      position < tv_node_get_number_of_states(node))
    return position;

  const std::vector<std::string> names = state_names(node);
  constexpr size_t kListed = 8;
  std::string listed;
  for (size_t i = 0; i < names.size() && i < kListed; ++i) listed += (i ? ", " : "") + names[i];
  if (names.size() > kListed) listed += ", ...";
  throw Failure(kFailed, network.file() + ": node \"" + tv_node_get_name(node) + "\" has no single state \"" +
                             state + "\"" + did_you_mean(state, names) + " (states: " + listed + ")");
}

}  // namespace

Finding parse_observation(const std::string& text) {
  std::string rest;
  Finding finding = split(text, "NODE=STATE or NODE=VALUE", rest);
  finding.state = rest;
  return finding;
}

Finding parse_likelihood(const std::string& text) {
  std::string rest;
  Finding finding = split(text, "NODE=v1,v2,...", rest);
  for (size_t begin = 0; begin <= rest.size();) {
    const size_t comma = std::min(rest.find(',', begin), rest.size());
    tv_number_t value = 0;
    if (!parse_whole(rest.substr(begin, comma - begin), value))
      throw Failure(kWrongUsage,
                    "\"" + text + "\": \"" + rest.substr(begin, comma - begin) + "\" is not a number");
    finding.likelihood.push_back(value);
    begin = comma + 1;
  }
  return finding;
}

void expect_distinct_nodes(const std::vector<Finding>& findings) {
  std::set<std::string> seen;
  for (const Finding& finding : findings)
    if (!seen.insert(finding.node).second)
      throw Failure(kWrongUsage, "evidence on node \"" + finding.node + "\" is given twice");
}

double observed_value(const Network& network, const Finding& finding) {
  double value = 0;
  const bool has_plus = finding.state[0] == '+';  // which std::from_chars does not read
  if (!parse_whole(finding.state.substr(has_plus), value))
    throw Failure(kFailed, network.file() + ": evidence on \"" + finding.node + "\": \"" + finding.state +
                               "\" is not a number");
  return value;
}

void enter(const Network& network, const Finding& finding) {
  tv_node_t* node = network.find(finding.node);
  const std::string subject = network.file() + ": evidence on \"" + finding.node + "\"";
  if (is_continuous(node) && finding.likelihood.empty()) {
    expect(tv_node_enter_value(node, observed_value(network, finding)), subject);
    return;
  }
  if (!is_discrete(node)) throw Failure(kFailed, subject + ": the node has no states");
  if (finding.likelihood.empty()) {
    expect(tv_node_select_state(node, find_state(network, node, finding.state)), subject);
    return;
  }
  const size_t states = tv_node_get_number_of_states(node);
  if (finding.likelihood.size() != states)
    throw Failure(kFailed, subject + ": " + std::to_string(finding.likelihood.size()) + " values for " +
                               std::to_string(states) + " states");
  for (size_t state = 0; state < states; ++state)
    expect(tv_node_enter_finding(node, state, finding.likelihood[state]), subject);
}

void enter_case_file(const Network& network, const std::string& file) {
  MessagePrinter printer{file};
  expect(tv_domain_parse_case(network.domain(), file.c_str(), print_message, &printer), file);
}

}  // namespace program

#include "evidence_value.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include "output.h"
#include "suggest.h"

namespace program {
namespace {

[[noreturn]] void fail(const Network& network, tv_node_t* node, const std::string& trouble) {
  throw Failure(kFailed, network.file() + ": evidence on \"" + name_of(node) + "\": " + trouble);
}

enum class Reading { kNumber, kNone, kTooLarge };

Reading read_number(std::string_view text, double& number) {
  if (!text.empty() && text[0] == '+') text.remove_prefix(1);  // which std::from_chars does not read
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (stop != end || text.empty() || error == std::errc::invalid_argument) return Reading::kNone;
  if (error == std::errc()) return std::isfinite(number) ? Reading::kNumber : Reading::kTooLarge;
  const size_t exponent = text.find_first_of("eE");
  number = 0;  // too small or too large; which of them, the sign of the exponent tells
  const bool is_tiny = exponent != text.npos ? text.substr(exponent + 1, 1) == "-" : text[0] == '0';
  return is_tiny ? Reading::kNumber : Reading::kTooLarge;
}

// A state as a single word says it; nothing where it says none.
std::optional<size_t> find_state(const Network& network, tv_node_t* node, std::string word) {
  const std::vector<std::string> names = state_names(node);
  const auto label_of = [&](size_t state) { return std::string(tv_node_get_state_label(node, state)); };
  const auto find_label = [&]() -> std::optional<size_t> {
    std::optional<size_t> found;
    for (size_t state = 0; state < names.size(); ++state) {
      if (label_of(state) != word) continue;
      if (found)
        fail(network, node,
             "several states are labelled \"" + word + "\"; \"#" + std::to_string(*found) +
                 "\" is the first of them");
      found = state;
    }
    return found;
  };
  if (const auto found = find_label()) return found;
  if (word.size() > 1 && word.front() == '"' && word.back() == '"') {
    word = word.substr(1, word.size() - 2);
    return find_label();
  }
  size_t index = 0;
  const char* end = word.data() + word.size();
  if (word.size() > 1 && word[0] == '#' && std::from_chars(word.data() + 1, end, index).ptr == end &&
      index < names.size())
    return index;
  return std::nullopt;
}

// The state of a numbered node with this value, or the interval that holds it. A bound belongs to the
// interval above it, the last one to the last interval.
std::optional<size_t> find_state_of_value(tv_node_t* node, double value) {
  const size_t states = states_of(node);
  if (tv_node_get_subtype(node) == tv_subtype_number) {
    for (const double tolerance : {0.0, 1e-8}) {  // files have eight digits
      for (size_t state = 0; state < states; ++state) {
        const double own = tv_node_get_state_value(node, state);
        if (std::fabs(own - value) <= tolerance * std::fabs(own)) return state;
      }
    }
  } else if (tv_node_get_subtype(node) == tv_subtype_interval) {
    if (!(value >= tv_node_get_state_value(node, 0) && value <= tv_node_get_state_value(node, states)))
      return std::nullopt;
    size_t state = states - 1;
    while (state > 0 && value < tv_node_get_state_value(node, state)) --state;
    return state;
  }
  return std::nullopt;
}

// What would have been right.
std::string allowed(tv_node_t* node) {
  constexpr size_t kListed = 8;
  const size_t states = states_of(node);
  const tv_node_subtype_t subtype = tv_node_get_subtype(node);
  if (subtype == tv_subtype_interval)
    return "values: from " + significant(tv_node_get_state_value(node, 0)) + " to " +
           significant(tv_node_get_state_value(node, states));
  std::string text;
  for (size_t state = 0; state < std::min(states, kListed); ++state) {
    text += state ? ", " : subtype == tv_subtype_number ? "values: " : "states: ";
    text += subtype == tv_subtype_number ? significant(tv_node_get_state_value(node, state))
                                         : state_name(node, state);
  }
  return text + (states > kListed ? ", ..." : "");
}

[[noreturn]] void fail_for_state(const Network& network, tv_node_t* node, const std::string& word) {
  fail(network, node, no_such_state(node, word));
}

std::vector<std::string> words_of(const std::string& text, const char* separators) {
  std::vector<std::string> words;
  for (size_t begin = text.find_first_not_of(separators); begin != std::string::npos;) {
    const size_t end = std::min(text.find_first_of(separators, begin), text.size());
    words.push_back(text.substr(begin, end - begin));
    begin = text.find_first_not_of(separators, end);
  }
  return words;
}

bool is_list(const std::string& text) { return text.size() > 1 && text.front() == '(' && text.back() == ')'; }

void enter_numbers(const Network& network, tv_node_t* node, const std::vector<tv_number_t>& numbers) {
  for (size_t state = 0; state < numbers.size(); ++state)
    expect(tv_node_enter_finding(node, state, numbers[state]), network.file());
}

void enter_several_states(const Network& network, tv_node_t* node, const std::string& value) {
  std::vector<tv_number_t> numbers(states_of(node), 0);
  for (const std::string& word : words_of(value, ",")) {
    const auto state = find_any_state(network, node, word);
    if (!state) fail_for_state(network, node, word);
    numbers[*state] = 1;
  }
  enter_numbers(network, node, numbers);
}

void enter_real_value(const Network& network, tv_node_t* node, const std::string& text) {
  double value = 0;
  switch (read_number(text, value)) {
    case Reading::kNone:
      fail(network, node, "\"" + text + "\" is not a number, and the node is continuous");
    case Reading::kTooLarge:
      fail(network, node, "number is too large: " + text);
    case Reading::kNumber:
      expect(tv_node_enter_value(node, value), network.file());
  }
}

void expect_states(const Network& network, tv_node_t* node) {
  if (is_discrete(node)) return;
  fail(network, node,
       is_continuous(node) ? "the node has no states: it is continuous, and takes a number"
                           : "the node has no states, and takes no evidence");
}

}  // namespace

std::optional<size_t> find_any_state(const Network& network, tv_node_t* node, const std::string& word) {
  if (const auto state = find_state(network, node, word)) return state;
  double value = 0;
  if (read_number(word, value) != Reading::kNumber) return std::nullopt;
  return find_state_of_value(node, value);
}

std::string no_such_state(tv_node_t* node, const std::string& word) {
  const bool by_value = tv_node_get_subtype(node) == tv_subtype_interval;
  return "there is no state \"" + word + "\"" + (by_value ? "" : did_you_mean(word, state_names(node))) +
         " (" + allowed(node) + ")";
}

void enter_value(const Network& network, tv_node_t* node, const std::string& value) {
  if (is_continuous(node)) return enter_real_value(network, node, value);
  expect_states(network, node);
  if (const auto state = find_any_state(network, node, value))
    expect(tv_node_select_state(node, *state), network.file());
  else if (is_list(value))
    enter_likelihood(network, node, value);
  else if (value.find(',') != std::string::npos)
    enter_several_states(network, node, value);
  else
    fail_for_state(network, node, value);
}

std::vector<tv_number_t> parse_likelihood(const std::string& node, const std::string& text) {
  const auto fail = [&](const std::string& trouble) {
    throw Failure(kWrongUsage, "evidence on \"" + node + "\": " + trouble);
  };
  std::string list = text;
  if (is_list(list)) list = list.substr(1, list.size() - 2);
  std::vector<tv_number_t> numbers;
  for (const std::string& word : words_of(list, ", \t")) {
    double number = 0;
    const Reading reading = read_number(word, number);
    if (reading == Reading::kNone) fail("\"" + word + "\" is not a number");
    constexpr auto kLargest = static_cast<double>(std::numeric_limits<tv_number_t>::max());
    if (reading == Reading::kTooLarge || std::fabs(number) >= kLargest) fail("number is too large: " + word);
    if (number < 0) fail("a likelihood has no negative numbers such as " + word);
    numbers.push_back(static_cast<tv_number_t>(number));
  }
  return numbers;
}

void enter_likelihood(const Network& network, tv_node_t* node, const std::string& text) {
  expect_states(network, node);
  const std::vector<tv_number_t> numbers = parse_likelihood(name_of(node), text);
  if (numbers.size() != states_of(node))
    fail(network, node,
         std::to_string(numbers.size()) + " values for " + std::to_string(states_of(node)) + " states (" +
             allowed(node) + ")");
  enter_numbers(network, node, numbers);
}

}  // namespace program

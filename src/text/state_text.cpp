#include "text/state_text.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "network/node.h"
#include "text/trace.h"

namespace tv {
namespace {

// The largest double and everything beyond it stand for infinity.
bool is_finite_value(double value) noexcept { return std::fabs(value) < std::numeric_limits<double>::max(); }

bool is_octal_digit(char c) noexcept { return c >= '0' && c <= '7'; }

// The shortest octal escape that does not run into a digit that follows.
void append_octal(std::string& text, unsigned char byte, bool digit_follows) {
  text += '\\';
  if (digit_follows || byte >= 0100) text += static_cast<char>('0' + (byte >> 6));
  if (digit_follows || byte >= 010) text += static_cast<char>('0' + (byte >> 3 & 7));
  text += static_cast<char>('0' + (byte & 7));
}

bool label_is_unique(const Node& node, size_t state) noexcept {
  const std::vector<std::string>& labels = node.state_labels;
  return state < labels.size() && !labels[state].empty() &&
         std::count(labels.begin(), labels.end(), labels[state]) == 1;
}

}  // namespace

std::string quoted_text(std::string_view text) {
  std::string quoted = "\"";
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    switch (c) {
      case '\\':
        quoted += "\\\\";
        break;
      case '"':
        quoted += "\\\"";
        break;
      case '\r':
        quoted += "\\r";
        break;
      case '\t':
        quoted += "\\t";
        break;
      case '\n':
        quoted += "\\n";
        break;
      default:
        if (c >= ' ' && c <= '~')
          quoted += c;
        else
          append_octal(quoted, static_cast<unsigned char>(c),
                       i + 1 < text.size() && is_octal_digit(text[i + 1]));
    }
  }
  return quoted += '"';
}

bool state_values_are_valid(const Node& node) noexcept {
  const std::vector<double>& values = node.state_values;
  if (values.empty()) return false;
  const bool intervals = node.subtype == tv_subtype_interval;
  const size_t count = node.number_of_states + (intervals ? 1 : 0);
  for (size_t i = 0; i < count; ++i) {
    const bool outer_bound = intervals && (i == 0 || i + 1 == count);
    if (std::isnan(values[i]) || (!outer_bound && !is_finite_value(values[i]))) return false;
    if (i > 0 && !(values[i - 1] < values[i])) return false;
  }
  return true;
}

std::string state_text(const Node& node, size_t state) {
  if (node.subtype == tv_subtype_label && label_is_unique(node, state))
    return quoted_text(node.state_labels[state]);
  if (node.subtype == tv_subtype_boolean) return state == 0 ? "false" : "true";
  if (node.subtype == tv_subtype_number && state_values_are_valid(node))
    return NumberText(node.state_values[state], 8, true).c_str();
  return "#" + std::to_string(state);
}

}  // namespace tv

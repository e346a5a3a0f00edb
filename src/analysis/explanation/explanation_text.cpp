#include "analysis/explanation/explanation_text.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "network/links/links.h"
#include "network/refusals.h"
#include "text/trace.h"

namespace tv {
namespace {

using Explanation = tv_explanation_s;

constexpr double kNoticeable = 5e-4;  // of a probability, a point, a deciban
constexpr double kDecibans = 10 / std::numbers::ln10;

std::string number(double value) { return NumberText(value, 3).c_str(); }

// "+7.2", "-0.31"; 0 for what rounding may have left.
std::string with_sign(double value) {
  if (std::fabs(value) < kNoticeable) return "0";
  return (value > 0 ? "+" : "") + number(value);
}

// Percents with three digits, and as many more as it takes to tell a high probability from certainty.
std::string percent(double probability) {
  const double rest = 100 * (1 - probability);
  const int digits = rest > 0 && rest < 0.1 ? 2 + static_cast<int>(std::ceil(-std::log10(rest))) : 3;
  return std::string(NumberText(100 * probability, digits).c_str()) + " %";
}

std::string known(const Node& node) {
  const std::string name = shown_name(node);
  if (is_continuous(node)) return name + " = " + NumberText(node.entered.value, 6).c_str();
  if (node.entered.state < 0) return "the likelihood on " + name;
  char state[256];
  show_state(node, static_cast<size_t>(node.entered.state), state, sizeof state);
  return name + " = " + state;
}

std::string weight_text(double weight) {
  if (std::isinf(weight)) return weight > 0 ? "proof" : "a refutation";
  return with_sign(kDecibans * weight) + " decibans";
}

std::string trail_text(const Explanation::Trail& trail) {
  std::string text = shown_name(*trail.nodes[0]);
  for (size_t i = 1; i < trail.nodes.size(); ++i) {
    const Node &from = *trail.nodes[i - 1], &to = *trail.nodes[i];
    text += is_parent(from, to) ? " -> " : is_parent(to, from) ? " <- " : " -- ";
    text += shown_name(to);
  }
  return text;
}

std::string finding_text(const Explanation::Finding& finding, size_t state) {
  const double share = finding.shapley[state], error = finding.standard_error[state];
  const std::string name = known(*finding.node);
  std::string text;
  if (std::fabs(share) < kNoticeable) {
    text = "  " + name + " makes hardly any difference";
  } else {
    text = "  " + name + (share > 0 ? " speaks for it: " : " speaks against it: ") + with_sign(100 * share) +
           (error > 0 ? " (standard error " + number(100 * error) + ")" : "") + " points";
  }
  text += "; " + weight_text(finding.weight_alone[state]) + " alone, " + weight_text(finding.weight[state]) +
          " beside the others.\n";
  if (finding.trails.empty()) return text;
  return text + "    It acts along " + trail_text(finding.trails[0]) +
         (finding.trails.size() > 1 || !finding.has_all_trails ? ", and on other ways" : "") + ".\n";
}

}  // namespace

std::string explanation_text(const Explanation& explanation, const Node& node, size_t state) {
  char shown[256];
  show_state(node, state, shown, sizeof shown);
  const std::string claim = std::string(shown_name(node)) + " = " + shown;
  const double before = explanation.prior[state], after = explanation.posterior[state];
  const size_t count = explanation.findings.size();
  if (count == 0) return "Without any finding, " + claim + " has the probability " + percent(before) + ".\n";
  std::string text = count == 1 ? "One finding " : std::to_string(count) + " findings ";
  if (std::fabs(after - before) < kNoticeable)
    text += std::string(count == 1 ? "leaves" : "leave") + " the probability of " + claim + " at " +
            percent(after) + ".\n";
  else
    text +=
        std::string(after > before ? (count == 1 ? "raises" : "raise") : (count == 1 ? "lowers" : "lower")) +
        " the probability of " + claim + " from " + percent(before) + " to " + percent(after) + ".\n";
  for (const Explanation::Finding& finding : explanation.findings) text += finding_text(finding, state);
  return text;
}

}  // namespace tv

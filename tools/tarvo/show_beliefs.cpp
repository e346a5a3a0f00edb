// How beliefs are shown to people, with bars on a terminal.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "answers.h"
#include "terminal.h"

namespace program {
namespace {

template <class... Values>
std::string formatted(const char* format, Values... values) {
  char text[64];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

const Entered* evidence_on(const Answers& answers, const tv_node_t* node) {
  for (const Entered& entered : answers.evidence)
    if (entered.node == node) return &entered;
  return nullptr;
}

// What is known of the node, in brackets.
std::string note(const Entered* entered) {
  if (!entered) return "";
  if (is_decision(entered->node)) return "  [made]";
  if (entered->state || entered->value) return "  [observed]";
  return "  [" + shown_value(*entered) + "]";
}

// Six decimals, or three digits for what six decimals would hide.
std::string belief_text(tv_number_t belief) {
  return belief > 0 && belief < 1e-6f ? formatted("%.2e", static_cast<double>(belief))
                                      : formatted("%.6f", static_cast<double>(belief));
}

std::string logarithm(double number) { return formatted("%.6f", std::abs(number) < 5e-7 ? 0.0 : number); }

void print_continuous(const Network& network, tv_node_t* node) {
  const Summary summary = summary_of(network, node);
  std::printf("    mean %-14s standard deviation %s\n", significant(summary.mean).c_str(),
              significant(summary.deviation).c_str());
  std::printf("    5%% %-14s 50%% %-14s 95%% %s\n", significant(summary.points[0]).c_str(),
              significant(summary.points[1]).c_str(), significant(summary.points[2]).c_str());
}

void print_value(tv_node_t* node) {
  if (const std::optional<double> value = value_of(node))
    std::printf("    value %s\n", significant(*value).c_str());
  else
    std::printf("    no value: %s\n", printable(library_message()).c_str());
}

void print_states(tv_node_t* node, size_t label_width, const Terminal& terminal) {
  const std::vector<tv_number_t> beliefs = beliefs_of(node);
  const auto greatest =
      static_cast<size_t>(std::max_element(beliefs.begin(), beliefs.end()) - beliefs.begin());
  const size_t used = label_width + 17;
  const size_t bar_width = terminal.columns > used + 10 ? std::min<size_t>(40, terminal.columns - used) : 10;
  for (size_t state = 0; state < beliefs.size(); ++state) {
    const bool first = state == greatest;
    const std::string number = belief_text(beliefs[state]);
    std::string line = (first ? "  * " : "    ") + padded(shown_state(node, state), label_width) + "  " +
                       std::string(number.size() < 9 ? 9 - number.size() : 0, ' ') + number;
    if (terminal.is_terminal) line += "  " + terminal.bar(static_cast<double>(beliefs[state]), bar_width);
    std::printf(first && terminal.bold ? "\033[1m%s\033[0m\n" : "%s\n", line.c_str());
  }
}

void print_node(const Network& network, tv_node_t* node, size_t label_width, const Terminal& terminal) {
  if (is_continuous(node))
    print_continuous(network, node);
  else if (is_real_valued_function(node))
    print_value(node);
  else
    print_states(node, label_width, terminal);
}

void print_question(const Network& network, const BeliefsOptions& options, const Answers& answers) {
  std::printf("%s: %zu nodes, evidence on %zu", printable(network.file()).c_str(), network.nodes().size(),
              answers.evidence.size());
  if (options.max) std::printf("; max: beliefs are relative to the most probable configuration");
  if (options.fast_retraction) std::printf("; fast retraction: a belief leaves out the node's own evidence");
  std::printf("\n");
  if (answers.policies == Policies::kNoDecisions) return;
  std::printf("Decisions that are not made follow %s; \"tarvo decide\" finds the best policies.\n",
              answers.policies == Policies::kUniform ? "uniform policies" : "the policies in the file");
}

void print_figures(const BeliefsOptions& options, const Answers& answers) {
  const auto print = [](const char* what, const std::string& figure) {
    std::printf("%-34s %s\n", what, figure.c_str());
  };
  std::printf("\n");
  print(answers.is_density ? "Density of the evidence" : "Probability of the evidence",
        significant(answers.probability));
  print("Its natural logarithm", logarithm(answers.log_probability));
  if (options.max) {
    print("Most probable configuration", significant(answers.max_probability));
    print("Its natural logarithm", logarithm(answers.max_log_probability));
  }
  if (answers.conflict) {
    const char* verdict = *answers.conflict > 1 ? " (the findings disagree)" : " (the findings agree)";
    print("Conflict", significant(*answers.conflict) + (answers.evidence.size() < 2 ? "" : verdict));
  }
  print_lines(answers.compression);
}

}  // namespace

void print_as_text(const Network& network, const BeliefsOptions& options, const Answers& answers) {
  const Terminal terminal;
  size_t label_width = 0;
  for (const tv_node_t* node : answers.nodes)
    for (size_t state = 0; is_discrete(node) && state < states_of(node); ++state)
      label_width = std::max(label_width, display_width(shown_state(node, state)));
  print_question(network, options, answers);
  for (tv_node_t* node : answers.nodes) {
    std::printf("\n%s%s\n", heading_of(node).c_str(), note(evidence_on(answers, node)).c_str());
    print_node(network, node, label_width, terminal);
  }
  print_figures(options, answers);
}

}  // namespace program

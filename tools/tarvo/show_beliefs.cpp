// How beliefs are shown: text (with bars on a terminal), JSON and CSV.
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "commands.h"

namespace program {
namespace {

const Finding* finding_on(const BeliefsOptions& options, const std::string& node) {
  for (const Finding& finding : options.findings)
    if (finding.node == node) return &finding;
  return nullptr;
}

std::vector<tv_number_t> beliefs_of(const tv_node_t* node) {
  std::vector<tv_number_t> beliefs;
  for (size_t state = 0; state < tv_node_get_number_of_states(node); ++state)
    beliefs.push_back(tv_node_get_belief(node, state));
  return beliefs;
}

// The shortest decimal number that reads back as the same float.
std::string shortest(tv_number_t number) {
  char text[32];
  return std::string(text, std::to_chars(text, text + sizeof text, number).ptr);
}

std::string shortest(double number) {
  char text[32];
  return std::string(text, std::to_chars(text, text + sizeof text, number).ptr);
}

template <class... Values>
std::string formatted(const char* format, Values... values) {
  char text[64];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

// What is shown of a continuous node.
constexpr double kPercentPoints[] = {0.05, 0.5, 0.95};

struct Summary {
  double mean, deviation, points[3];
};

Summary summary_of(const Network& network, tv_node_t* node) {
  Summary summary{tv_node_get_mean(node), std::sqrt(tv_node_get_variance(node)), {}};
  for (size_t i = 0; i < 3; ++i) {
    summary.points[i] = tv_node_get_quantile(node, kPercentPoints[i]);
    expect(tv_error_code(), network.file() + ": " + tv_node_get_name(node));
  }
  return summary;
}

// The value of a function node, where the beliefs determine it.
std::optional<double> value_of(tv_node_t* node) {
  const double value = tv_node_get_value(node);
  return tv_error_code() == tv_status_none ? std::optional(value) : std::nullopt;
}

bool has_observed_value(const Network& network, const BeliefsOptions& options) {
  return std::any_of(options.findings.begin(), options.findings.end(),
                     [&](const Finding& finding) { return is_continuous(network.find(finding.node)); });
}

// ---- Text ----

// What the terminal can show; nothing special when the output is no terminal.
struct Terminal {
  bool is_terminal = isatty(STDOUT_FILENO) != 0;
  bool utf8 = false;
  bool bold = is_terminal && !std::getenv("NO_COLOR");
  size_t columns = 80;

  Terminal() {
    if (!is_terminal) return;
    std::setlocale(LC_CTYPE, "");
    utf8 = std::string(nl_langinfo(CODESET)) == "UTF-8";
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) columns = size.ws_col;
  }

  std::string bar(double share, size_t width) const {
    const size_t eighths =
        static_cast<size_t>(std::lround(std::clamp(share, 0.0, 1.0) * 8 * static_cast<double>(width)));
    if (!utf8) return std::string((eighths + 4) / 8, '#');
    static const char* const kParts[] = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
    std::string text;
    for (size_t i = 0; i < eighths / 8; ++i) text += "█";
    return text + kParts[eighths % 8];
  }
};

std::string heading(tv_node_t* node, const Finding* finding) {
  std::string text = tv_node_get_name(node);
  if (const char* label = tv_node_get_label(node); label && *label && text != label)
    text += std::string("  (") + label + ")";
  if (finding && finding->likelihood.empty()) text += "  [observed]";
  if (finding && !finding->likelihood.empty()) {
    text += "  [likelihood";
    for (tv_number_t value : finding->likelihood) text += " " + shortest(value);
    text += "]";
  }
  return text;
}

// Six decimals, or three digits for what six decimals would hide.
std::string belief_text(tv_number_t belief) {
  return belief > 0 && belief < 1e-6f ? formatted("%.2e", static_cast<double>(belief))
                                      : formatted("%.6f", static_cast<double>(belief));
}

// Six digits are what single-precision tables can carry.
std::string significant(double number) { return formatted("%.6g", number); }
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
    std::printf("    no value: %s\n", tv_error_description(static_cast<unsigned>(tv_error_code())));
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
    std::string line = (first ? "  * " : "    ") + padded(state_name(node, state), label_width) + "  " +
                       std::string(number.size() < 9 ? 9 - number.size() : 0, ' ') + number;
    if (terminal.is_terminal) line += "  " + terminal.bar(static_cast<double>(beliefs[state]), bar_width);
    std::printf(first && terminal.bold ? "\033[1m%s\033[0m\n" : "%s\n", line.c_str());
  }
}

void print_text(const Network& network, const BeliefsOptions& options, const Answers& answers) {
  const Terminal terminal;
  size_t label_width = 0;
  for (const tv_node_t* node : answers.nodes)
    for (const std::string& name : is_discrete(node) ? state_names(node) : std::vector<std::string>())
      label_width = std::max(label_width, display_width(name));

  std::printf("%s: %zu nodes, evidence on %zu", network.file().c_str(), network.nodes().size(),
              options.findings.size());
  if (options.max) std::printf("; max: beliefs are relative to the most probable configuration");
  if (options.fast_retraction) std::printf("; fast retraction: a belief leaves out the node's own evidence");
  std::printf("\n");
  for (tv_node_t* node : answers.nodes) {
    std::printf("\n%s\n", heading(node, finding_on(options, tv_node_get_name(node))).c_str());
    if (is_continuous(node))
      print_continuous(network, node);
    else if (is_real_valued_function(node))
      print_value(node);
    else
      print_states(node, label_width, terminal);
  }

  std::printf(
      "\n%-34s %s\n",
      has_observed_value(network, options) ? "Density of the evidence" : "Probability of the evidence",
      significant(answers.probability).c_str());
  std::printf("%-34s %s\n", "Its natural logarithm", logarithm(answers.log_probability).c_str());
  if (options.max) {
    std::printf("%-34s %s\n", "Most probable configuration", significant(answers.max_probability).c_str());
    std::printf("%-34s %s\n", "Its natural logarithm", logarithm(answers.max_log_probability).c_str());
  }
  if (answers.conflict)
    std::printf("%-34s %s%s\n", "Conflict", significant(*answers.conflict).c_str(),
                options.findings.size() < 2 ? ""
                : *answers.conflict > 1     ? " (the findings disagree)"
                                            : " (the findings agree)");
}

// ---- JSON ----

// A float as the JSON number with the fewest digits, 0.1 and not 0.10000000149011612.
double json_number(tv_number_t number) { return std::strtod(shortest(number).c_str(), nullptr); }

void print_json(const Network& network, const BeliefsOptions& options, const Answers& answers) {
  using Json = nlohmann::ordered_json;
  Json document = {{"file", network.file()},
                   {"equilibrium", options.max ? "max" : "sum"},
                   {"evidence_mode", options.fast_retraction ? "fast_retraction" : "normal"},
                   {"evidence", Json::object()},
                   {"likelihood", Json::object()},
                   {"probability_of_evidence", answers.probability},
                   {"log_probability_of_evidence", answers.log_probability},
                   {"conflict", answers.conflict ? Json(*answers.conflict) : Json()}};
  if (options.max) {
    document["probability_of_most_probable_configuration"] = answers.max_probability;
    document["log_probability_of_most_probable_configuration"] = answers.max_log_probability;
  }
  for (const Finding& finding : options.findings) {
    if (is_continuous(network.find(finding.node)))
      document["evidence"][finding.node] = observed_value(network, finding);
    else if (finding.likelihood.empty())
      document["evidence"][finding.node] = finding.state;
    for (tv_number_t value : finding.likelihood)
      document["likelihood"][finding.node].push_back(json_number(value));
  }
  document["nodes"] = Json::array();
  for (tv_node_t* node : answers.nodes) {
    if (is_continuous(node)) {
      const Summary summary = summary_of(network, node);
      document["nodes"].push_back(
          {{"name", tv_node_get_name(node)},
           {"mean", summary.mean},
           {"standard_deviation", summary.deviation},
           {"quantiles",
            {{"0.05", summary.points[0]}, {"0.5", summary.points[1]}, {"0.95", summary.points[2]}}}});
      continue;
    }
    if (is_real_valued_function(node)) {
      const std::optional<double> value = value_of(node);
      document["nodes"].push_back(
          {{"name", tv_node_get_name(node)}, {"value", value ? Json(*value) : Json()}});
      continue;
    }
    Json beliefs = Json::array();
    for (tv_number_t belief : beliefs_of(node)) beliefs.push_back(json_number(belief));
    document["nodes"].push_back(
        {{"name", tv_node_get_name(node)}, {"states", state_names(node)}, {"beliefs", std::move(beliefs)}});
  }
  std::printf("%s\n", document.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

// ---- CSV ----

// One row a state, and one for each figure of a continuous node; the figures of the whole network stand in
// rows without a node.
void print_csv(const Network& network, const BeliefsOptions& options, const Answers& answers) {
  std::printf("node,state,belief\n");
  for (tv_node_t* node : answers.nodes) {
    if (is_continuous(node)) {
      const Summary summary = summary_of(network, node);
      const char* name = tv_node_get_name(node);
      std::printf("%s,mean,%s\n%s,standard_deviation,%s\n", name, shortest(summary.mean).c_str(), name,
                  shortest(summary.deviation).c_str());
      for (size_t i = 0; i < 3; ++i)
        std::printf("%s,quantile_%g,%s\n", name, kPercentPoints[i], shortest(summary.points[i]).c_str());
      continue;
    }
    if (is_real_valued_function(node)) {
      const std::optional<double> value = value_of(node);
      std::printf("%s,value,%s\n", tv_node_get_name(node), value ? shortest(*value).c_str() : "");
      continue;
    }
    const std::vector<tv_number_t> beliefs = beliefs_of(node);
    for (size_t state = 0; state < beliefs.size(); ++state)
      std::printf("%s,%s,%s\n", tv_node_get_name(node), csv_text(state_name(node, state)).c_str(),
                  shortest(beliefs[state]).c_str());
  }
  std::printf(",probability_of_evidence,%s\n", shortest(answers.probability).c_str());
  std::printf(",log_probability_of_evidence,%s\n", shortest(answers.log_probability).c_str());
  if (options.max) {
    std::printf(",probability_of_most_probable_configuration,%s\n",
                shortest(answers.max_probability).c_str());
    std::printf(",log_probability_of_most_probable_configuration,%s\n",
                shortest(answers.max_log_probability).c_str());
  }
  if (answers.conflict) std::printf(",conflict,%s\n", shortest(*answers.conflict).c_str());
}

}  // namespace

void print(const Network& network, const BeliefsOptions& options, const Answers& answers) {
  switch (options.format) {
    case Format::kText:
      return print_text(network, options, answers);
    case Format::kJson:
      return print_json(network, options, answers);
    case Format::kCsv:
      return print_csv(network, options, answers);
  }
}

}  // namespace program

#include "workload.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>
#include <stdexcept>

namespace bench {
namespace {

// ---- Networks of a folder ----

void read_reference(const std::filesystem::path& file, Workload& workload) {
  std::ifstream stream(file);
  if (!stream) return;
  const auto document = nlohmann::json::parse(stream);
  workload.nodes = document.at("nodes").get<std::vector<std::string>>();
  for (const auto& each : document.at("cases")) {
    ReferenceCase reference;
    for (const auto& [node, state] : each.at("evidence").items())
      reference.evidence.emplace_back(node, state);
    reference.log_probability = each.at("log_pe");
    reference.beliefs = each.at("beliefs").get<std::vector<std::vector<double>>>();
    workload.cases.push_back(std::move(reference));
  }
}

std::vector<std::string> cells_of(const std::string& line) {
  std::vector<std::string> cells;
  std::istringstream row(line.substr(1));
  for (std::string cell; std::getline(row, cell, '|');) {
    const size_t begin = cell.find_first_not_of(' '), end = cell.find_last_not_of(' ');
    cells.push_back(begin == std::string::npos ? "" : cell.substr(begin, end - begin + 1));
  }
  return cells;
}

// "≤ 2 128 093" and "40 (optimal)" are numbers too.
std::optional<double> number_in(const std::string& cell) {
  std::string digits;
  for (char c : cell) {
    if (std::isdigit(static_cast<unsigned char>(c)) || c == '.')
      digits += c;
    else if (c != ' ' && !digits.empty())
      break;
  }
  if (digits.empty()) return std::nullopt;
  return std::stod(digits);
}

// ---- Generated networks ----

// A text in the NET language, node by node, with tables drawn from a seeded generator.
class NetText {
 public:
  explicit NetText(unsigned seed) : random_(seed) { text_ << "net {}\n"; }

  void add(size_t node, const std::vector<size_t>& parents, size_t states) {
    states_.push_back(states);
    text_ << "node n" << node << " { states = (";
    for (size_t i = 0; i < states; ++i) text_ << "\"s" << i << "\" ";
    text_ << "); }\n";
    tables_ << "potential (n" << node;
    size_t rows = 1;
    for (size_t parent : parents) {
      tables_ << (rows == 1 && parent == parents.front() ? " | n" : " n") << parent;
      rows *= states_[parent];
    }
    tables_ << ") { data = (";
    for (size_t row = 0; row < rows; ++row) add_distribution(states);
    tables_ << "); }\n";
  }

  std::string str() const { return text_.str() + tables_.str(); }
  std::mt19937& random() { return random_; }

 private:
  void add_distribution(size_t states) {
    std::vector<double> weights(states);
    double sum = 0;
    for (double& weight : weights) sum += weight = 0.05 + static_cast<double>(random_() % 1000) / 1000.0;
    for (double weight : weights) tables_ << weight / sum << ' ';
  }

  std::mt19937 random_;
  std::vector<size_t> states_;
  std::ostringstream text_, tables_;
};

Workload chain(size_t length, size_t states) {
  NetText text(1);
  for (size_t i = 0; i < length; ++i)
    text.add(i, i ? std::vector<size_t>{i - 1} : std::vector<size_t>{}, states);
  return {"chain_" + std::to_string(length) + "x" + std::to_string(states), text.str(), {}, {}};
}

Workload grid(size_t side, size_t states) {
  NetText text(2);
  for (size_t i = 0; i < side * side; ++i) {
    std::vector<size_t> parents;
    if (i >= side) parents.push_back(i - side);
    if (i % side) parents.push_back(i - 1);
    text.add(i, parents, states);
  }
  return {"grid_" + std::to_string(side) + "x" + std::to_string(side) + "x" + std::to_string(states),
          text.str(),
          {},
          {}};
}

// Up to three parents among the `width` nodes before, so that the treewidth is at most `width`.
Workload random_network(size_t length, size_t width) {
  NetText text(3);
  for (size_t i = 0; i < length; ++i) {
    std::vector<size_t> earlier;
    for (size_t j = i > width ? i - width : 0; j < i; ++j) earlier.push_back(j);
    std::shuffle(earlier.begin(), earlier.end(), text.random());
    earlier.resize(std::min<size_t>(earlier.size(), 1 + text.random()() % 3));
    text.add(i, earlier, 2 + text.random()() % 2);
  }
  return {"random_" + std::to_string(length) + "w" + std::to_string(width), text.str(), {}, {}};
}

}  // namespace

std::vector<Workload> networks_in(const std::filesystem::path& folder) {
  std::vector<Workload> workloads;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".net") continue;
    Workload workload{entry.path().stem(), entry.path(), {}, {}};
    read_reference(std::filesystem::path(entry.path()).replace_extension(".json"), workload);
    workloads.push_back(std::move(workload));
  }
  std::sort(workloads.begin(), workloads.end(), [](const Workload& a, const Workload& b) {
    return std::filesystem::file_size(a.source) < std::filesystem::file_size(b.source);
  });
  return workloads;
}

Yardsticks yardsticks_in(const std::filesystem::path& folder) {
  Yardsticks yardsticks;
  std::ifstream stream(folder / "README.md");
  std::vector<std::string> titles;
  for (std::string line; std::getline(stream, line);) {
    if (line.empty() || line[0] != '|') {
      titles.clear();  // a table has ended
      continue;
    }
    const std::vector<std::string> cells = cells_of(line);
    if (titles.empty()) {
      titles = cells;
      continue;
    }
    for (size_t i = 1; i < cells.size() && i < titles.size(); ++i)
      if (const auto number = number_in(cells[i])) yardsticks[cells[0]][titles[i]] = *number;
  }
  return yardsticks;
}

std::vector<Workload> generated_networks() {
  return {chain(200, 4),
          chain(2000, 10),
          grid(8, 2),
          grid(14, 2),
          grid(6, 4),
          random_network(1000, 8),
          random_network(300, 14),
          random_network(10000, 4),
          random_network(100000, 4)};
}

namespace {

std::map<tv_node_t*, size_t> draw_states(tv_domain_t* domain, std::mt19937& random) {
  std::uniform_real_distribution<double> uniform;
  std::map<tv_node_t*, size_t> drawn;
  const auto draw = [&](tv_node_t* node, const auto& self) -> void {
    if (drawn.count(node)) return;
    for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent) self(*parent, self);
    tv_table_t* table = tv_node_get_table(node);
    std::vector<size_t> states;
    for (tv_node_t** member = tv_table_get_nodes(table); *member; ++member)
      states.push_back(*member == node ? 0 : drawn[*member]);
    const size_t first = tv_table_get_index_from_configuration(table, states.data());
    double rest = uniform(random);
    size_t state = 0;
    while (state + 1 < tv_node_get_number_of_states(node) &&
           (rest -= static_cast<double>(tv_table_get_data(table)[first + state])) >= 0)
      ++state;
    drawn[node] = state;
  };
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node))
    draw(node, draw);
  return drawn;
}

}  // namespace

std::map<tv_node_t*, size_t> drawn_states(tv_domain_t* domain, unsigned seed) {
  std::mt19937 random(seed);
  return draw_states(domain, random);
}

Evidence drawn_evidence(tv_domain_t* domain, unsigned seed) {
  std::mt19937 random(seed);
  std::map<tv_node_t*, size_t> drawn = draw_states(domain, random);
  Evidence evidence;
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node))
    if (random() % 5 == 0) evidence.emplace_back(node, drawn[node]);
  return evidence;
}

Evidence evidence_of(tv_domain_t* domain, const ReferenceCase& reference) {
  Evidence evidence;
  for (const auto& [name, state] : reference.evidence) {
    tv_node_t* node = tv_domain_get_node_by_name(domain, name.c_str());
    const ptrdiff_t index = node ? tv_node_get_state_index_from_label(node, state.c_str()) : -1;
    if (index < 0) throw std::runtime_error("no state " + name + " = " + state);
    evidence.emplace_back(node, static_cast<size_t>(index));
  }
  return evidence;
}

}  // namespace bench

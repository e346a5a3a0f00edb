#include "structure.h"

#include <cstdio>
#include <filesystem>
#include <map>
#include <random>

#include "timing.h"
#include "workload.h"

namespace bench {
namespace {

struct DeleteLearner {
  void operator()(tv_structure_learner_t* learner) const { tv_structure_learner_delete(learner); }
};
using Learner = std::unique_ptr<tv_structure_learner_t, DeleteLearner>;

struct DeleteStructure {
  void operator()(tv_structure_t* structure) const { tv_structure_delete(structure); }
};
using Structure = std::unique_ptr<tv_structure_t, DeleteStructure>;

struct Method {
  const char* name;
  tv_structure_method_t method;
  size_t restarts;
};
constexpr Method kMethods[] = {{"tests", tv_structure_method_tests, 0},
                               {"greedy", tv_structure_method_greedy, 0},
                               {"greedy, 10 restarts", tv_structure_method_greedy, 10},
                               {"tree", tv_structure_method_tree, 0}};

Learner learner_of(const Method& method, size_t threads) {
  Learner learner(tv_new_structure_learner());
  if (!learner) expect(tv_error_code());
  expect(tv_structure_learner_set_method(learner.get(), method.method));
  expect(tv_structure_learner_set_restarts(learner.get(), method.restarts));
  expect(tv_structure_learner_set_concurrency_level(learner.get(), threads));
  return learner;
}

// Stops what takes longer than it may.
struct Deadline {
  std::chrono::steady_clock::time_point end;
  static int look(const char*, double, void* deadline) {
    return std::chrono::steady_clock::now() > static_cast<Deadline*>(deadline)->end;
  }
};

// The distance between the classes of the true graph and of what was learned.
size_t distance(tv_domain_t* domain, const tv_structure_t* learned, bool is_directed) {
  const Structure truth(tv_domain_get_structure(domain));
  const Structure of_truth(tv_structure_new_class(truth.get()));
  const Structure of_learned(is_directed ? tv_structure_new_class(learned) : nullptr);
  return tv_structure_get_hamming_distance(of_truth.get(), is_directed ? of_learned.get() : learned);
}

// A state for every node and case, drawn from the network itself.
class Sampler {
 public:
  explicit Sampler(tv_domain_t* domain) : domain_(domain) {
    for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node)) visit(node);
  }

  void draw(size_t cases) {
    expect(tv_domain_set_number_of_cases(domain_, cases));
    std::mt19937_64 random(1);
    std::vector<size_t> states(nodes_.size());
    for (size_t row = 0; row < cases; ++row)
      for (size_t i = 0; i < nodes_.size(); ++i) {
        size_t configuration = 0;
        for (const auto& [parent, count] : nodes_[i].parents)
          configuration = configuration * count + states[parent];
        const float* const column = nodes_[i].table + configuration * nodes_[i].states;
        double left = static_cast<double>(random() >> 11) * 0x1p-53;
        states[i] = 0;
        while (states[i] + 1 < nodes_[i].states && left >= static_cast<double>(column[states[i]]))
          left -= static_cast<double>(column[states[i]++]);
        expect(tv_node_set_case_state(nodes_[i].node, row, states[i]));
      }
  }

 private:
  struct Drawn {
    tv_node_t* node;
    size_t states;
    const float* table;
    std::vector<std::pair<size_t, size_t>> parents;  // places and numbers of states, as the table has them
  };

  void visit(tv_node_t* node) {
    if (place_.count(node)) return;
    Drawn drawn{node, tv_node_get_number_of_states(node), nullptr, {}};
    for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent) visit(*parent);
    tv_table_t* const table = tv_node_get_table(node);
    drawn.table = tv_table_get_data(table);
    for (tv_node_t** in = tv_table_get_nodes(table); *in; ++in)
      if (*in != node) drawn.parents.emplace_back(place_.at(*in), tv_node_get_number_of_states(*in));
    place_[node] = nodes_.size();
    nodes_.push_back(drawn);
  }

  tv_domain_t* domain_;
  std::vector<Drawn> nodes_;
  std::map<tv_node_t*, size_t> place_;
};

void report_file(const std::string& name, tv_domain_t* domain, size_t repeats) {
  for (const Method& method : kMethods) {
    std::printf("%-24s %8zu  %-20s", name.c_str(), tv_domain_get_number_of_cases(domain), method.name);
    Structure structure;
    for (const size_t threads : {1, 2}) {
      const Learner learner = learner_of(method, threads);
      double least = 0.0;
      for (size_t r = 0; r < repeats; ++r) {
        const double time =
            milliseconds([&] { structure.reset(tv_domain_learn_structure(domain, learner.get())); });
        if (!structure) expect(tv_error_code());
        if (r == 0 || time < least) least = time;
      }
      std::printf(" %9.1f", least);
    }
    std::printf(" %6zu %6zu", tv_structure_get_number_of_links(structure.get()),
                distance(domain, structure.get(), method.method != tv_structure_method_tests));
    if (method.method == tv_structure_method_tests)
      std::printf("  %zu tests\n", tv_structure_get_number_of_tests(structure.get()));
    else
      std::printf("  BIC %.1f\n", tv_structure_get_score(structure.get()));
    std::fflush(stdout);
  }
}

}  // namespace

bool run_structures(const std::string& folder, const std::string& networks, size_t repeats) {
  std::printf(
      "Structures from files, milliseconds, the least of %zu; distance: between equivalence classes\n\n",
      repeats);
  std::printf("%-24s %8s  %-20s %9s %9s %6s %6s\n", "file", "cases", "method", "1 thread", "2 threads",
              "links", "dist.");
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (name.find(".csv") == std::string::npos || name.find("miss") != std::string::npos) continue;
    const Domain domain = load_network((networks + "/" + name.substr(0, name.find('_')) + ".net").c_str());
    const DataSet data(tv_csv_parse_data_set(entry.path().c_str(), ',', nullptr, nullptr));
    if (!data) expect(tv_error_code());
    expect(tv_domain_add_cases(domain.get(), data.get(), nullptr, static_cast<size_t>(-1), tv_unmatched_error,
                               nullptr, nullptr));
    report_file(name, domain.get(), repeats);
  }
  return true;
}

bool run_discovery(const std::string& networks, const std::string& only, size_t cases, double most_seconds,
                   size_t threads) {
  std::printf("Structures from %zu cases drawn from each network, %zu threads\n\n", cases, threads);
  std::printf("%-12s %6s %6s", "network", "nodes", "links");
  for (const Method& method : kMethods)
    if (method.restarts == 0) std::printf("  %8s: links   dist.         ms", method.name);
  std::printf("\n");
  for (const Workload& workload : networks_in(networks)) {
    if (workload.name.rfind(only, 0) != 0) continue;
    const Domain domain = load_network(workload.source.c_str());
    Sampler(domain.get()).draw(cases);
    const Structure truth(tv_domain_get_structure(domain.get()));
    std::printf("%-12s %6zu %6zu", workload.name.c_str(), tv_structure_get_number_of_nodes(truth.get()),
                tv_structure_get_number_of_links(truth.get()));
    for (const Method& method : kMethods) {
      if (method.restarts > 0) continue;
      const Learner learner = learner_of(method, threads);
      Deadline deadline{std::chrono::steady_clock::now() +
                        std::chrono::milliseconds(static_cast<long>(most_seconds * 1e3))};
      expect(tv_domain_set_progress_handler(domain.get(), Deadline::look, &deadline));
      Structure structure;
      const double time =
          milliseconds([&] { structure.reset(tv_domain_learn_structure(domain.get(), learner.get())); });
      if (structure)
        std::printf("  %8s  %6zu  %6zu %9.0f%s", "", tv_structure_get_number_of_links(structure.get()),
                    distance(domain.get(), structure.get(), method.method != tv_structure_method_tests), time,
                    tv_structure_is_finished(structure.get()) ? " " : "*");
      else
        std::printf("  %8s  %6s  %6s %9s ", "", "-", "-", "stopped");
      std::fflush(stdout);
    }
    std::printf("\n");
  }
  return true;
}

}  // namespace bench

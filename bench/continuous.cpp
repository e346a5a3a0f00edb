#include "continuous.h"

#include <tarvo.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace bench {
namespace {

struct DomainDelete {
  void operator()(tv_domain_t* domain) const { tv_domain_delete(domain); }
};

void demand(bool condition) {
  if (!condition) throw std::runtime_error(tv_error_name(static_cast<unsigned>(tv_error_code())));
}

// A network under construction, and the nodes on which cases give evidence.
struct Model {
  explicit Model(unsigned seed) : domain(tv_new_domain()), random(seed) {}

  double uniform() { return std::uniform_real_distribution<>(0, 1)(random); }
  double normal() { return std::normal_distribution<>(0, 1)(random); }

  tv_node_t* discrete(size_t states, const std::vector<tv_node_t*>& parents = {}) {
    tv_node_t* node = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
    demand(tv_node_set_number_of_states(node, states) == tv_status_none);
    for (tv_node_t* parent : parents) demand(tv_node_add_parent(node, parent) == tv_status_none);
    tv_table_t* table = tv_node_get_table(node);
    tv_number_t* data = tv_table_get_data(table);
    for (size_t i = 0; i < tv_table_get_size(table); ++i) data[i] = static_cast<tv_number_t>(0.1 + uniform());
    return node;
  }

  tv_node_t* continuous(const std::vector<tv_node_t*>& parents, double coefficient) {
    tv_node_t* node = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
    for (tv_node_t* parent : parents) demand(tv_node_add_parent(node, parent) == tv_status_none);
    for (size_t i = 0; i < tv_table_get_size(tv_node_get_table(node)); ++i) {
      tv_node_set_intercept(node, i, 4 * uniform() - 2);
      tv_node_set_conditional_variance(node, i, 0.2 + uniform());
      for (tv_node_t* parent : parents)
        if (tv_node_get_kind(parent) == tv_kind_continuous)
          tv_node_set_coefficient(node, parent, i, coefficient * (0.5 + uniform()));
    }
    return node;
  }

  std::unique_ptr<tv_domain_t, DomainDelete> domain;
  std::mt19937 random;
  std::vector<tv_node_t*> observed;
};

Model chain(size_t length) {
  Model model(1);
  tv_node_t* last = nullptr;
  for (size_t t = 0; t < length; ++t) {
    last = last ? model.continuous({last}, 0.8) : model.continuous({}, 0);
    if (t % 10 == 5) model.observed.push_back(last);
  }
  return model;
}

// Naive Bayes: the class, and features that are normal in each class.
Model mixture(size_t classes, size_t features) {
  Model model(2);
  tv_node_t* kind = model.discrete(classes);
  for (size_t i = 0; i < features; ++i) {
    tv_node_t* feature = model.continuous({kind}, 0);
    if (i % 5) model.observed.push_back(feature);
  }
  return model;
}

// One clique: `size` continuous nodes, each with all earlier ones and three discrete nodes as parents.
Model block(size_t size) {
  Model model(3);
  std::vector<tv_node_t*> parents{model.discrete(10), model.discrete(10), model.discrete(10)};
  for (size_t i = 0; i < size; ++i)
    parents.push_back(model.continuous(parents, 0.5 / static_cast<double>(size)));
  model.observed.push_back(parents.back());
  return model;
}

// Islands of continuous nodes, each with up to two random parents before it in the island and one of the
// island's discrete nodes, which hang together in a chain. The boundary of an island is as wide as it has
// discrete nodes, since all of them must meet in one clique.
Model islands(size_t count, size_t discrete, size_t continuous) {
  Model model(4);
  tv_node_t* link = nullptr;
  for (size_t island = 0; island < count; ++island) {
    std::vector<tv_node_t*> switches, states;
    for (size_t i = 0; i < discrete; ++i) {
      switches.push_back(link ? model.discrete(2, {link}) : model.discrete(2));
      link = switches.back();
    }
    for (size_t i = 0; i < continuous; ++i) {
      std::vector<tv_node_t*> parents{switches[model.random() % discrete]};
      for (size_t j = 0; j < 2 && i > j; ++j) {
        tv_node_t* parent = states[i - 1 - model.random() % std::min<size_t>(i, 5)];
        if (std::find(parents.begin(), parents.end(), parent) == parents.end()) parents.push_back(parent);
      }
      states.push_back(model.continuous(parents, 0.6));
      if (i % 4 == 3) model.observed.push_back(states.back());
    }
    model.observed.push_back(switches.front());
  }
  return model;
}

// Processor time, which other processes on the machine do not lengthen.
double milliseconds() {
  timespec time;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return 1e3 * static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_nsec);
}

// Many short repeats, few long ones.
template <class Step>
double median_of(size_t repeats, Step step) {
  std::vector<double> times;
  double spent = 0;
  for (size_t i = 0; i < repeats || (spent < 200 && i < 200); ++i) {
    const double start = milliseconds();
    step();
    times.push_back(milliseconds() - start);
    spent += times.back();
    if (spent > 3000 && i >= 2) break;
  }
  std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
  return times[times.size() / 2];
}

void enter(Model& model) {
  demand(tv_domain_retract_findings(model.domain.get()) == tv_status_none);
  for (tv_node_t* node : model.observed) {
    if (tv_node_get_kind(node) == tv_kind_continuous)
      demand(tv_node_enter_value(node, model.normal()) == tv_status_none);
    else
      demand(tv_node_select_state(node, model.random() % tv_node_get_number_of_states(node)) ==
             tv_status_none);
  }
}

double read_all_answers(tv_domain_t* domain) {
  double sum = 0;  // keeps the reads from being optimised away
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node)) {
    if (tv_node_get_kind(node) == tv_kind_continuous)
      sum += tv_node_get_mean(node) + tv_node_get_variance(node);
    else
      sum += static_cast<double>(tv_node_get_belief(node, 0));
  }
  return sum;
}

void measure(const std::string& name, Model model, size_t repeats, size_t threads) {
  tv_domain_t* domain = model.domain.get();
  demand(tv_domain_set_concurrency_level(domain, threads) == tv_status_none);
  const double compile = median_of(std::min<size_t>(repeats, 3), [&] {
    demand(tv_domain_uncompile(domain) == tv_status_none);
    demand(tv_domain_compile(domain) == tv_status_none);
  });
  size_t configurations = 0, numbers = 0, largest = 0;
  for (tv_clique_t* clique = tv_domain_get_first_clique(domain); clique;
       clique = tv_clique_get_next(clique)) {
    tv_table_t* table = tv_clique_get_probability_table(clique);
    configurations += tv_table_get_size(table);
    numbers += tv_table_get_cg_size(table);
    size_t continuous = 0;
    for (tv_node_t** member = tv_clique_get_members(clique); *member; ++member)
      continuous += tv_node_get_kind(*member) == tv_kind_continuous;
    largest = std::max(largest, continuous);
  }
  const double one_case = median_of(repeats, [&] {
    enter(model);
    demand(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal) == tv_status_none);
    read_all_answers(domain);
  });
  std::printf("%-20s %6zu %7zu %9zu %10zu %10.3f %9.3f %9.1f %8.2f\n", name.c_str(),
              tv_domain_get_number_of_nodes(domain), largest, configurations, numbers, compile, one_case,
              1e6 * one_case / static_cast<double>(configurations),
              1e6 * one_case / static_cast<double>(numbers));
  std::fflush(stdout);
}

}  // namespace

bool run_continuous(size_t repeats, size_t threads) {
  std::printf(
      "Compile and case in milliseconds of processor time; a case retracts, enters evidence, propagates and "
      "reads\n"
      "all answers.\n"
      "block: continuous nodes of the largest clique. Configurations and numbers (means and covariances) "
      "are\n"
      "those of all cliques; the last two columns divide the case by them, in nanoseconds.\n\n"
      "%-20s %6s %7s %9s %10s %10s %9s %9s %8s\n",
      "network", "nodes", "block", "configs", "numbers", "compile", "case", "/config", "/number");
  bool sound = true;
  const auto run = [&](const std::string& name, auto make) {
    try {
      measure(name, make(), repeats, threads);
    } catch (const std::runtime_error& error) {
      std::printf("%-20s failed: %s\n", name.c_str(), error.what());
      sound = false;
    }
  };
  for (const size_t length : {500, 1000, 2000, 4000, 8000, 16000})
    run("chain_" + std::to_string(length), [&] { return chain(length); });
  run("mixture_20x50", [] { return mixture(20, 50); });
  run("mixture_200x50", [] { return mixture(200, 50); });
  for (const size_t size : {1, 2, 4, 8, 16})
    run("block_" + std::to_string(size), [&] { return block(size); });
  run("islands_20x(4+6)", [] { return islands(20, 4, 6); });
  run("islands_1x(8+100)", [] { return islands(1, 8, 100); });
  return sound;
}

}  // namespace bench

#include "compression.h"

#include <cmath>
#include <cstdio>
#include <random>

#include "timing.h"

namespace bench {
namespace {

constexpr size_t kAllOnes = static_cast<size_t>(-1);
constexpr double kMiB = 1 << 20;

std::vector<tv_node_t*> discrete_nodes(const Domain& domain) {
  std::vector<tv_node_t*> nodes;
  for (tv_node_t* node = tv_domain_get_first_node(domain.get()); node; node = tv_node_get_next(node))
    nodes.push_back(node);
  return nodes;
}

void propagate(const Domain& domain) {
  expect(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal));
}

// The largest difference of a belief, relative to the first one where that is not tiny.
double largest_error(const Domain& exact, const Domain& other, bool relative) {
  const std::vector<tv_node_t*> nodes = discrete_nodes(exact), twins = discrete_nodes(other);
  double largest = 0;
  for (size_t i = 0; i < nodes.size(); ++i)
    for (size_t s = 0; s < tv_node_get_number_of_states(nodes[i]); ++s) {
      const double expected = static_cast<double>(tv_node_get_belief(nodes[i], s));
      const double error = std::fabs(static_cast<double>(tv_node_get_belief(twins[i], s)) - expected);
      largest = std::max(largest, relative ? error / std::max(expected, 1e-6) : error);
    }
  return largest;
}

// Of the steps of both domains in turn, the least time of each.
struct Times {
  double full = 1e30, compressed = 1e30;

  template <class Step>
  void measure(const Domain& one, const Domain& other, size_t repeats, Step step) {
    for (size_t r = 0; r < repeats; ++r) {
      full = std::min(full, step(one));
      compressed = std::min(compressed, step(other));
    }
  }
  double ratio() const { return compressed / full; }
};

double time_after_reset(const Domain& domain) {
  expect(tv_domain_initialize(domain.get()));
  return milliseconds([&] { propagate(domain); });
}

double time_after_change(const Domain& domain) {
  expect(tv_domain_retract_findings(domain.get()));
  expect(tv_node_touch_table(tv_domain_get_first_node(domain.get())));
  return milliseconds([&] { propagate(domain); });
}

// Cases that neither domain has seen: a tenth of the nodes, drawn from the network. Means.
struct FreshCases {
  double full = 0, compressed = 0, error = 0;

  FreshCases(const Domain& one, const Domain& other, size_t cases) {
    for (unsigned c = 1; c <= cases; ++c) {
      full += run(one, c);
      compressed += run(other, c);
      error = std::max(error, largest_error(one, other, true));
    }
    full /= static_cast<double>(cases);
    compressed /= static_cast<double>(cases);
  }

 private:
  static double run(const Domain& domain, unsigned seed) {
    expect(tv_domain_initialize(domain.get()));
    std::mt19937 random(seed);
    for (const auto& [node, state] : drawn_evidence(domain.get(), seed))
      if (random() % 2 == 0) expect(tv_node_select_state(node, state));
    return milliseconds([&] { propagate(domain); });
  }
};

struct Twins {
  Domain full, compressed;
  size_t full_need, compressed_need;
  double ratio, seconds;

  explicit Twins(const Workload& workload)
      : full(load_network(workload.source.c_str())), compressed(load_network(workload.source.c_str())) {
    expect(tv_domain_compile(full.get()));
    expect(tv_domain_compile(compressed.get()));
    full_need = tv_domain_get_memory_need(full.get());
    seconds = 1e-3 * milliseconds([&] { ratio = tv_domain_compress(compressed.get()); });
    if (ratio < 0) expect(tv_error_code());
    compressed_need = tv_domain_get_compressed_memory_need(compressed.get());
  }
};

double reference_error(const Domain& domain, const Workload& workload) {
  double largest = 0;
  for (const ReferenceCase& reference : workload.cases) {
    expect(tv_domain_initialize(domain.get()));
    for (const auto& [node, state] : evidence_of(domain.get(), reference))
      expect(tv_node_select_state(node, state));
    propagate(domain);
    for (size_t i = 0; i < workload.nodes.size(); ++i) {
      const tv_node_t* node = tv_domain_get_node_by_name(domain.get(), workload.nodes[i].c_str());
      for (size_t s = 0; s < reference.beliefs[i].size(); ++s) {
        const double expected = reference.beliefs[i][s];
        const double error = std::fabs(static_cast<double>(tv_node_get_belief(node, s)) - expected);
        if (expected > 1e-6) largest = std::max(largest, error / expected);
      }
    }
  }
  return largest;
}

}  // namespace

void print_compression_titles() {
  std::printf(
      "Compressed tables beside full ones, in turn. ratio: of tables, as tv_domain_compress tells it; MiB "
      "needed with\n"
      "full and with compressed tables; milliseconds with full tables and compressed over full: after a "
      "reset without\n"
      "evidence, after a table was touched, and for fresh evidence on a tenth of the nodes; seconds that "
      "compressing took;\n"
      "the largest relative error against full tables and against reference cases.\n\n"
      "%-12s %7s %8s %8s %9s %7s %9s %7s %9s %7s %7s %9s %9s\n",
      "network", "ratio", "MiB", "after", "reset", "over", "touched", "over", "fresh", "over", "seconds",
      "error", "reference");
}

bool print_compression(const Workload& workload, size_t repeats) {
  const Twins twins(workload);
  Times reset, change;
  reset.measure(twins.full, twins.compressed, repeats, time_after_reset);
  change.measure(twins.full, twins.compressed, repeats, time_after_change);
  const FreshCases fresh(twins.full, twins.compressed, 4 * repeats);
  const double reference = reference_error(twins.compressed, workload);
  std::printf("%-12s %7.4f %8.2f %8.2f %9.3f %7.3f %9.3f %7.2f %9.3f %7.2f %7.2f %9.1e %9.1e\n",
              workload.name.c_str(), twins.ratio, static_cast<double>(twins.full_need) / kMiB,
              static_cast<double>(twins.compressed_need) / kMiB, reset.full, reset.ratio(), change.full,
              change.ratio(), fresh.full, fresh.compressed / fresh.full, twins.seconds, fresh.error,
              reference);
  std::fflush(stdout);
  return fresh.error < 4e-6 && reference < 4e-6;
}

void print_approximation_titles() {
  std::printf(
      "Approximation without evidence, then compression: of compressed tables, the share that is left; the "
      "mass kept; the\n"
      "largest error of a belief without evidence.\n\n%-12s %9s %9s %14s %11s\n",
      "network", "epsilon", "left", "mass kept", "error");
}

void print_approximation(const Workload& workload) {
  const Domain exact = load_network(workload.source.c_str());
  expect(tv_domain_compile(exact.get()));
  for (const double epsilon : {1e-8, 1e-7, 1e-6, 1e-5, 1e-4, 1e-3}) {
    const Domain domain = load_network(workload.source.c_str());
    expect(tv_domain_set_zero_compression(domain.get(), 1));
    expect(tv_domain_compile(domain.get()));
    const double kept = tv_domain_approximate(domain.get(), epsilon);
    if (kept < 0) expect(tv_error_code());
    const double left = tv_domain_compress(domain.get());
    if (left < 0) expect(tv_error_code());
    std::printf("%-12s %9.0e %9.4f %14.10f %11.2e\n", workload.name.c_str(), epsilon, left, kept,
                largest_error(exact, domain, false));
  }
  std::fflush(stdout);
}

// ---- Networks that follow from few of their nodes ----

namespace {

tv_node_t* add_node(const Domain& domain, size_t states, const std::vector<tv_node_t*>& parents,
                    const std::vector<float>& numbers) {
  tv_node_t* node = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
  expect(tv_node_set_number_of_states(node, states));
  for (tv_node_t* parent : parents) expect(tv_node_add_parent(node, parent));
  std::copy(numbers.begin(), numbers.end(), tv_table_get_data(tv_node_get_table(node)));
  expect(tv_node_touch_table(node));
  return node;
}

// Gates over eight inputs, each with two random nodes before it.
Domain circuit(size_t gates) {
  Domain domain(tv_new_domain());
  std::mt19937 random(1);
  std::vector<tv_node_t*> nodes;
  for (size_t i = 0; i < 8; ++i) {
    const auto p = static_cast<float>(0.1 + 0.1 * static_cast<double>(i));
    nodes.push_back(add_node(domain, 2, {}, {p, 1 - p}));
  }
  const std::vector<float> kinds[] = {
      {1, 0, 0, 1, 0, 1, 1, 0}, {1, 0, 1, 0, 1, 0, 0, 1}, {1, 0, 0, 1, 0, 1, 0, 1}};
  for (size_t g = 0; g < gates; ++g) {
    const size_t one = random() % nodes.size(),
                 other = (one + 1 + random() % (nodes.size() - 1)) % nodes.size();
    nodes.push_back(add_node(domain, 2, {nodes[one], nodes[other]}, kinds[random() % 3]));
  }
  return domain;
}

// Families whose children have a genotype in phase: an allele of each parent, chosen by a switch of its own.
Domain pedigree(size_t generations, size_t couples, size_t alleles) {
  Domain domain(tv_new_domain());
  std::mt19937 random(2);
  std::vector<float> founder(alleles), chosen(2 * alleles * alleles * alleles, 0.0f);
  for (size_t a = 0; a < alleles; ++a) founder[a] = 1.0f / static_cast<float>(a + 1);
  for (size_t i = 0; i < 2 * alleles * alleles; ++i) {
    const size_t side = i / (alleles * alleles), first = i / alleles % alleles, second = i % alleles;
    chosen[i * alleles + (side ? second : first)] = 1.0f;
  }
  struct Person {
    tv_node_t *paternal, *maternal;
  };
  std::vector<Person> people;
  for (size_t p = 0; p < 2 * couples; ++p)
    people.push_back({add_node(domain, alleles, {}, founder), add_node(domain, alleles, {}, founder)});
  for (size_t g = 0; g < generations; ++g) {
    std::vector<Person> children;
    for (size_t p = 0; p < people.size(); ++p) {
      Person child;
      for (tv_node_t** allele : {&child.paternal, &child.maternal}) {
        const Person& parent = people[random() % people.size()];
        tv_node_t* side = add_node(domain, 2, {}, {0.5f, 0.5f});
        *allele = add_node(domain, alleles, {side, parent.paternal, parent.maternal}, chosen);
      }
      children.push_back(child);
    }
    people = std::move(children);
  }
  return domain;
}

bool print_deterministic(const char* name, Domain domain, size_t repeats) {
  expect(tv_domain_triangulate(domain.get(), tv_method_best_greedy));
  const size_t full = tv_domain_get_memory_need(domain.get());
  size_t need = 0;
  const double found = milliseconds([&] { need = tv_domain_get_compressed_memory_need(domain.get()); });
  if (need == kAllOnes) expect(tv_error_code());
  const size_t limit = std::max(16 * need, size_t{1} << 20);
  expect(tv_domain_set_memory_limit(domain.get(), limit));
  const bool is_refused = tv_domain_compile(domain.get()) == tv_status_no_memory;
  if (!is_refused) expect(tv_domain_uncompile(domain.get()));
  expect(tv_domain_set_zero_compression(domain.get(), 1));
  const double compiled = milliseconds([&] { expect(tv_domain_compile(domain.get())); });
  double fresh = 0;
  for (unsigned c = 1; c <= repeats; ++c) {
    expect(tv_domain_initialize(domain.get()));
    for (const auto& [node, state] : drawn_evidence(domain.get(), c))
      expect(tv_node_select_state(node, state));
    fresh += milliseconds([&] { propagate(domain); }) / static_cast<double>(repeats);
  }
  std::printf("%-24s %6zu %11.3g %10.2f %9.2f %9s %9.1f %9.1f %9.3f\n", name,
              tv_domain_get_number_of_nodes(domain.get()),
              full == kAllOnes ? INFINITY : static_cast<double>(full) / kMiB,
              static_cast<double>(need) / kMiB, static_cast<double>(limit) / kMiB, is_refused ? "yes" : "no",
              found, compiled, fresh);
  std::fflush(stdout);
  return true;
}

}  // namespace

bool run_deterministic(size_t repeats) {
  std::printf(
      "MiB that full and compressed tables need, and the limit given; whether it refuses full ones; "
      "milliseconds to find\n"
      "what is possible, to compile and propagate, and for fresh evidence on a fifth of the nodes.\n\n"
      "%-24s %6s %11s %10s %9s %9s %9s %9s %9s\n",
      "network", "nodes", "full", "compressed", "limit", "refused", "find", "compile", "fresh");
  for (const size_t gates : {size_t{50}, size_t{100}, size_t{200}, size_t{400}})
    print_deterministic(("circuit of " + std::to_string(gates) + " gates").c_str(), circuit(gates), repeats);
  for (const size_t generations : {size_t{2}, size_t{3}, size_t{4}})
    print_deterministic(("pedigree, " + std::to_string(generations) + " generations").c_str(),
                        pedigree(generations, 3, 3), repeats);
  return true;
}

}  // namespace bench

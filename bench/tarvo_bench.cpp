// Times the steps of the main job on each network: load, compile (moral graph to junction forest), first
// (table allocation and the propagation without evidence), and cases (retract the last evidence, enter new
// evidence, propagate, read beliefs), which are kept apart by what the library knows of their sets of
// observed nodes.
// --check compares every belief and ln P(e) with the reference answers instead.
#include <tarvo.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "analyses.h"
#include "cases.h"
#include "changes.h"
#include "compression.h"
#include "continuous.h"
#include "data.h"
#include "decisions.h"
#include "explanation.h"
#include "learning.h"
#include "limit.h"
#include "memory.h"
#include "models.h"
#include "prediction.h"
#include "queries.h"
#include "sensitivity.h"
#include "streams.h"
#include "structure.h"
#include "triangulations.h"
#include "workload.h"

namespace bench {
namespace {

struct Settings {
  std::string folder;
  std::vector<std::string> only;
  size_t repeats = 5;
  size_t threads = 1;
  bool check = false;
  bool limit = false;
  bool streams = false;
  size_t queries = 0;         // cases
  size_t triangulations = 0;  // effort of the search
  bool continuous = false;
  bool decisions = false;
  bool models = false;
  size_t data = 0;         // rows
  std::string learning;    // folder of CSV files
  std::string structures;  // the same
  size_t discovery = 0;    // cases to learn structures from
  double most_seconds = 60;
  std::string predictions;  // the same
  size_t simulations = 0;   // cases to draw
  size_t separation = 0;    // nodes
  bool changes = false;
  bool explanation = false, sensitivity = false;
  bool compression = false, approximation = false, deterministic = false;
};

Domain load(const Workload& workload) { return load_network(workload.source.c_str()); }

// ---- Times ----

struct Figures {
  double load = 0, compile = 0, cold = 0, first = 0, fresh = 0, repeated = 0, goal = 0;
  size_t nodes = 0, cost = 0;
  double table_bytes = 0, peak_bytes = 0;  // of one domain; the peak above what the loaded network takes
};

constexpr size_t kMostProcesses = 15;
constexpr size_t kUntilCached = 40;  // after so many questions a set has got its schedule, if it ever does

// Many short repeats, few long ones: a second is enough for each figure.
template <class Step>
double median_of(size_t repeats, size_t most, Step step) {
  std::vector<double> times;
  double spent = 0;
  for (size_t i = 0; i < repeats || (repeats > 1 && spent < 200 && i < most); ++i) {
    times.push_back(step());
    spent += times.back();
    if (spent > 2000 && i >= 2) break;
  }
  return median(times);
}

template <class Step>
double median_of(size_t repeats, Step step) {
  return median_of(repeats, 200, step);
}

// The three kinds of cases, some of each in turn. Each has a domain of its own, since what a domain has seen
// decides what it caches; nothing is known of the first set of all.
void measure_cases(const Workload& workload, const Settings& settings, Figures& figures) {
  Domain domains[3];
  for (Domain& domain : domains) {
    domain = load(workload);
    expect(tv_domain_set_concurrency_level(domain.get(), settings.threads));
    expect(tv_domain_compile(domain.get()));
  }
  const Cases cases[3] = {Cases(domains[0].get()), Cases(domains[1].get()), Cases(domains[2].get())};
  tv_node_t* const goal = tv_domain_get_first_node(domains[2].get());
  std::vector<double> fresh, repeated, goals;
  uint64_t next = 0;
  const auto time = [&](size_t which, uint64_t set, auto read) {
    const Evidence evidence = cases[which].of(set, next);
    return milliseconds([&] {
      ask(domains[which].get(), evidence);
      read(domains[which].get());
    });
  };
  for (size_t i = 0; i < kUntilCached; ++i, ++next) time(1, 0, read_all_beliefs);
  median_of(settings.repeats, [&] {
    ++next;
    fresh.push_back(time(0, next, read_all_beliefs));
    repeated.push_back(time(1, 0, read_all_beliefs));
    goals.push_back(time(2, next, [&](tv_domain_t*) { return read_beliefs(goal); }));
    return fresh.back() + repeated.back() + goals.back();
  });
  figures.fresh = median(fresh);
  figures.repeated = median(repeated);
  figures.goal = median(goals);
}

Figures measure(const Workload& workload, const Settings& settings) {
  Figures figures;
  Domain domain = load(workload);
  const Evidence evidence = drawn_evidence(domain.get(), 1);
  const size_t live_before = live_bytes();
  reset_peak();
  expect(tv_domain_set_concurrency_level(domain.get(), settings.threads));
  expect(tv_domain_compile(domain.get()));
  ask(domain.get(), evidence);
  figures.peak_bytes = static_cast<double>(peak_bytes() - live_before);
  figures.nodes = tv_domain_get_number_of_nodes(domain.get());
  figures.cost = tv_domain_get_jt_cost(domain.get());
  for (auto* tree = tv_domain_get_first_junction_tree(domain.get()); tree; tree = tv_jt_get_next(tree))
    figures.table_bytes += static_cast<double>(tv_jt_get_total_size(tree)) * sizeof(tv_number_t);

  expect(tv_domain_retract_findings(domain.get()));
  figures.compile = median_of(settings.repeats, [&] {
    expect(tv_domain_uncompile(domain.get()));
    return milliseconds([&] { expect(tv_domain_triangulate(domain.get(), tv_method_best_greedy)); });
  });
  figures.first = median_of(settings.repeats, [&] {
    expect(tv_domain_uncompile(domain.get()));
    expect(tv_domain_triangulate(domain.get(), tv_method_best_greedy));
    return milliseconds([&] { expect(tv_domain_compile(domain.get())); });
  });
  domain.reset();
  figures.cold =
      median_of(std::min<size_t>(settings.repeats, kMostProcesses), 1, [&] { return cold_answer(workload); });
  measure_cases(workload, settings, figures);
  figures.load = median_of(settings.repeats, [&] { return milliseconds([&] { domain = load(workload); }); });
  return figures;
}

// A time in milliseconds and, where a yardstick is known, how many times faster than it.
void print_time(double time, const Yardstick& yardstick, const char* column) {
  const auto known = yardstick.find(column);
  if (known == yardstick.end())
    std::printf(" %9.3f %7s", time, "");
  else
    std::printf(" %9.3f %6.1fx", time, known->second / time);
}

void print_row(const std::string& name, const Figures& figures, const Yardstick& yardstick) {
  std::printf("%-18s %6zu", name.c_str(), figures.nodes);
  print_time(figures.load, yardstick, "load ms");
  print_time(figures.compile, yardstick, "compile ms");
  print_time(figures.cold, yardstick, "first ms");
  print_time(figures.fresh, yardstick, "case ms");
  std::printf(" %9.3f %9.3f %9.3f", figures.first, figures.repeated, figures.goal);
  const auto weight = yardstick.find("greedy min-weight"), fill = yardstick.find("greedy min-fill");
  std::printf(" %12zu", figures.cost);
  if (weight != yardstick.end() && fill != yardstick.end())
    std::printf(" %6.3f", static_cast<double>(figures.cost) / std::min(weight->second, fill->second));
  else
    std::printf(" %6s", "");
  const double allowed = 1.5 * figures.table_bytes + 1024.0 * static_cast<double>(figures.nodes);
  std::printf(" %9.2f %6.2f\n", figures.peak_bytes / (1 << 20), figures.peak_bytes / allowed);
  std::fflush(stdout);
}

void print_titles() {
  std::printf(
      "Milliseconds; Nx is N times faster than the yardstick. cost: clique table entries, with the ratio to "
      "the\n"
      "better greedy figure of the yardstick. peak: MiB that compilation and a first case take, with the "
      "ratio\nto 1.5 times the tables and 1 KiB a node.\n"
      "cold: the first answer of a new process, from allocation to all beliefs, without evidence; first: its "
      "allocation\nand propagation in this one. A case takes back the last, observes one node in five, "
      "propagates and reads all\nbeliefs: fresh, another set of nodes in every case; repeated, the same set "
      "in "
      "other states. goal: a fresh case of\nwhich one node is read; there is no call that asks for less than "
      "all beliefs.\n\n");
  std::printf("%-18s %6s %17s %17s %17s %17s %9s %9s %9s %19s %16s\n", "network", "nodes", "load        ",
              "compile        ", "cold        ", "fresh        ", "first", "repeated", "goal", "cost       ",
              "peak       ");
}

// ---- Reference answers ----

constexpr double kAbsoluteBound = 1e-5;
constexpr double kRelativeBound = 1e-4;  // of probabilities above kRelativeFrom, and of ln P(e)
constexpr double kRelativeFrom = 1e-6;

struct Errors {
  double absolute = 0, relative = 0, log_probability = 0;
  bool within() const {
    return absolute <= kAbsoluteBound && relative <= kRelativeBound && log_probability <= kRelativeBound;
  }
};

// A comparison with NaN must not pass.
double larger(double a, double b) { return std::isnan(b) || b > a ? (std::isnan(b) ? INFINITY : b) : a; }

Errors compare(tv_domain_t* domain, const Workload& workload) {
  Errors errors;
  for (const ReferenceCase& reference : workload.cases) {
    ask(domain, evidence_of(domain, reference));
    const double difference =
        std::abs(tv_domain_get_log_normalization_constant(domain) - reference.log_probability);
    errors.log_probability =
        larger(errors.log_probability, difference / std::max(1.0, std::abs(reference.log_probability)));
    for (size_t i = 0; i < workload.nodes.size(); ++i) {
      tv_node_t* node = tv_domain_get_node_by_name(domain, workload.nodes[i].c_str());
      if (!node) throw std::runtime_error("no node " + workload.nodes[i]);
      for (size_t state = 0; state < reference.beliefs[i].size(); ++state) {
        const double expected = reference.beliefs[i][state];
        const double error = std::abs(static_cast<double>(tv_node_get_belief(node, state)) - expected);
        errors.absolute = larger(errors.absolute, error);
        if (expected > kRelativeFrom) errors.relative = larger(errors.relative, error / expected);
      }
    }
  }
  return errors;
}

bool check(const Workload& workload, const Settings& settings) {
  Domain domain = load(workload);
  expect(tv_domain_set_concurrency_level(domain.get(), settings.threads));
  expect(tv_domain_compile(domain.get()));
  const Errors errors = compare(domain.get(), workload);
  std::printf("%-18s %5zu %12.2e %12.2e %12.2e  %s\n", workload.name.c_str(), workload.cases.size(),
              errors.absolute, errors.relative, errors.log_probability, errors.within() ? "ok" : "WRONG");
  std::fflush(stdout);
  return errors.within();
}

int run(const Settings& settings) {
  std::vector<Workload> workloads;
  Yardsticks yardsticks;
  if (!settings.folder.empty()) {
    workloads = networks_in(settings.folder);
    yardsticks = yardsticks_in(settings.folder);
  }
  const bool compares = settings.streams || settings.queries > 0 || settings.triangulations > 0 ||
                        settings.explanation || settings.sensitivity || settings.compression ||
                        settings.approximation;
  if (!compares || settings.folder.empty())
    for (Workload& workload : generated_networks()) workloads.push_back(std::move(workload));

  if (settings.limit)
    print_limit_titles();
  else if (settings.streams)
    print_stream_titles();
  else if (settings.queries > 0)
    print_query_titles();
  else if (settings.triangulations > 0)
    print_triangulation_titles(settings.triangulations);
  else if (settings.explanation)
    print_explanation_titles();
  else if (settings.sensitivity)
    print_sensitivity_titles();
  else if (settings.compression)
    print_compression_titles();
  else if (settings.approximation)
    print_approximation_titles();
  else if (settings.check)
    std::printf("%-18s %5s %12s %12s %12s\n", "network", "cases", "absolute", "relative", "ln P(e)");
  else if (settings.simulations == 0)
    print_titles();
  bool sound = true;
  for (const Workload& workload : workloads) {
    const auto wanted = [&](const std::string& start) { return workload.name.rfind(start, 0) == 0; };
    if (!settings.only.empty() && std::none_of(settings.only.begin(), settings.only.end(), wanted)) continue;
    if (settings.check && workload.cases.empty()) continue;
    try {
      if (settings.simulations > 0)
        print_simulation(workload, settings.simulations);
      else if (settings.limit)
        print_limit(workload, load(workload).get(), settings.repeats);
      else if (settings.streams)
        print_streams(workload, settings.repeats);
      else if (settings.queries > 0)
        sound &= print_queries(workload, settings.queries);
      else if (settings.triangulations > 0)
        print_triangulations(workload, settings.triangulations, settings.repeats);
      else if (settings.explanation)
        print_explanations(workload, settings.repeats);
      else if (settings.sensitivity)
        print_sensitivity(workload, settings.repeats);
      else if (settings.compression)
        sound &= print_compression(workload, settings.repeats);
      else if (settings.approximation)
        print_approximation(workload);
      else if (settings.check)
        sound &= check(workload, settings);
      else
        print_row(workload.name, measure(workload, settings), yardsticks[workload.name]);
    } catch (const std::runtime_error& error) {
      std::printf("%-18s failed: %s\n", workload.name.c_str(), error.what());
      sound = false;
    }
  }
  return sound ? 0 : 1;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--answer-cold") == 0) return bench::answer_cold();
  bench::Settings settings;
  CLI::App app{"Times Tarvo on generated networks and on the NET files of a folder."};
  app.add_option("FOLDER", settings.folder,
                 "NET files, with NAME.json for reference answers and README.md for a yardstick")
      ->check(CLI::ExistingDirectory);
  app.add_option("--only", settings.only, "networks whose names begin so (repeatable)")
      ->allow_extra_args(false);
  app.add_option("--repeats", settings.repeats, "repeats of each step, at least")->check(CLI::PositiveNumber);
  app.add_option("--threads", settings.threads, "concurrency level")->check(CLI::PositiveNumber);
  app.add_flag("--check", settings.check, "compare with the reference answers instead of timing");
  app.add_flag("--limit", settings.limit, "compare with the bandwidth of memory, and one thread with two");
  app.add_flag("--streams", settings.streams,
               "time streams of cases whose sets of observed nodes come again");
  app.add_option("--queries", settings.queries, "time so many cases through queries, alone and on threads");
  app.add_option("--triangulations", settings.triangulations,
                 "compare greedy, searched (with this effort) and exact triangulations instead");
  app.add_flag("--sensitivity", settings.sensitivity,
               "time configurations and sensitivity to parameters instead");
  app.add_flag("--explanation", settings.explanation,
               "time rankings of observations and explanations of beliefs instead");
  app.add_flag("--continuous", settings.continuous, "time generated networks with continuous nodes instead");
  app.add_flag("--decisions", settings.decisions, "time policy updating on generated networks instead");
  app.add_flag("--models", settings.models, "time the generation of tables from models instead");
  app.add_option("--data", settings.data, "time data sets of so many rows instead");
  app.add_option("--predictions", settings.predictions,
                 "time predictions instead, from CSV files whose names begin like networks of FOLDER");
  app.add_option("--learning", settings.learning,
                 "time learning instead, from CSV files whose names begin like networks of FOLDER")
      ->check(CLI::ExistingDirectory);
  app.add_option("--structures", settings.structures,
                 "time learning structures instead, from complete CSV files like those of --learning")
      ->check(CLI::ExistingDirectory);
  app.add_option("--discovery", settings.discovery,
                 "learn structures from so many cases drawn from each network instead");
  app.add_option("--seconds", settings.most_seconds,
                 "stop a method of --discovery after so long (default: 60)");
  app.add_flag("--compression", settings.compression, "time compressed tables beside full ones");
  app.add_flag("--approximation", settings.approximation, "tell what approximation saves and costs instead");
  app.add_flag("--deterministic", settings.deterministic,
               "time generated networks that full tables would be far too large for instead");
  app.add_option("--simulations", settings.simulations, "draw so many cases from each network instead");
  app.add_option("--separation", settings.separation,
                 "time d-separation in generated networks of so many nodes instead");
  app.add_flag("--changes", settings.changes, "time the change of one finding in chains instead");
  CLI11_PARSE(app, argc, argv);
  if (settings.changes) return bench::run_changes(settings.repeats) ? 0 : 1;
  if (settings.separation > 0) return bench::run_separation(settings.separation, settings.repeats) ? 0 : 1;
  if (settings.deterministic) return bench::run_deterministic(settings.repeats) ? 0 : 1;
  if (settings.decisions) return bench::run_decisions(settings.repeats) ? 0 : 1;
  if (settings.continuous) return bench::run_continuous(settings.repeats, settings.threads) ? 0 : 1;
  if (settings.data > 0) return bench::run_data(settings.data, settings.repeats) ? 0 : 1;
  if (!settings.predictions.empty())
    return bench::run_predictions(settings.predictions, settings.folder, settings.repeats) ? 0 : 1;
  if (!settings.learning.empty())
    return bench::run_learning(settings.learning, settings.folder, settings.repeats) ? 0 : 1;
  if (!settings.structures.empty())
    return bench::run_structures(settings.structures, settings.folder, settings.repeats) ? 0 : 1;
  if (settings.discovery > 0)
    return bench::run_discovery(settings.folder, settings.only.empty() ? "" : settings.only.front(),
                                settings.discovery, settings.most_seconds, settings.threads)
               ? 0
               : 1;
  if (settings.models) return bench::run_models(settings.repeats) ? 0 : 1;
  return bench::run(settings);
}

// Structures from samples of the cases, and how often links are among them.
#include <algorithm>
#include <memory>
#include <random>

#include "api/boundary.h"
#include "learn/structure/graph/equivalence_class.h"
#include "learn/structure/learn_structure.h"

struct tv_bootstrap_s {
  struct Counts {
    uint32_t directed = 0, reversed = 0, undirected = 0;  // between the lower and the higher node
  };

  std::vector<tv::StructureNode> nodes;
  tv::Knowledge knowledge;
  size_t samples = 0;
  std::vector<Counts> counts;  // by place of the pair
};

namespace tv {
namespace {

using Bootstrap = tv_bootstrap_s;

// The same numbers everywhere, whatever the standard library makes of a distribution.
std::vector<uint32_t> draw_rows(size_t rows, std::mt19937_64& random) {
  std::vector<uint32_t> drawn(rows);
  for (uint32_t& row : drawn) row = static_cast<uint32_t>(random() % rows);
  return drawn;
}

void count_links(const PartialGraph& graph, Bootstrap& bootstrap) {
  for (size_t b = 1; b < graph.size(); ++b)
    for (size_t a = 0; a < b; ++a) {
      Bootstrap::Counts& counts = bootstrap.counts[PairFindings::place(a, b)];
      const tv_structure_link_t link = graph.link(a, b);
      counts.directed += link == tv_structure_link_directed;
      counts.reversed += link == tv_structure_link_reversed;
      counts.undirected += link == tv_structure_link_undirected;
    }
}

bool can_be_sampled(const LearnerSettings& settings) {
  const char* reason = nullptr;
  if (settings.method == tv_structure_method_hierarchical) reason = "hidden nodes are not compared";
  if (settings.max_completions > 0) reason = "cases are not completed in samples";
  if (reason) refuse(tv_status_usage, "no bootstrap: %s", reason);
  return !reason;
}

Bootstrap* bootstrap_structure(Domain& domain, const StructureLearner& learner, size_t samples) {
  if (!can_be_sampled(learner.settings)) return nullptr;
  LearningProblem problem;
  if (store_status(state_problem(domain, learner, {}, problem))) return nullptr;
  ProgressMeter progress(domain, kLearningTask, 0);
  CaseColumns columns;
  if (store_status(read_case_columns(problem, progress, columns))) return nullptr;
  const Structure empty = empty_structure(problem);
  auto bootstrap = std::make_unique<Bootstrap>();
  bootstrap->nodes = empty.nodes;
  bootstrap->knowledge = problem.knowledge;
  bootstrap->samples = samples;
  bootstrap->counts.resize(problem.size() * (problem.size() - 1) / 2);
  std::mt19937_64 random(learner.settings.seed);
  for (size_t i = 0; i < samples; ++i) {
    const CaseColumns sample = columns.sample(draw_rows(columns.rows(), random));
    Structure structure = empty;
    tv_status_t status = learn_structure(problem, sample, progress, structure);
    if (!status && !structure.is_finished) status = tv_status_error;
    if (store_status(status)) return nullptr;
    const bool is_directed = learner.settings.method != tv_structure_method_tests;
    count_links(is_directed ? class_of(structure.graph, problem.knowledge) : structure.graph, *bootstrap);
  }
  return bootstrap.release();
}

// A link of the averaged structure, from the lower to the higher node or back.
struct FrequentLink {
  size_t a, b;
  double found, directed, reversed;
};

Structure* average(const Bootstrap& bootstrap, double threshold) {
  auto structure = std::make_unique<Structure>();
  structure->nodes = bootstrap.nodes;
  structure->knowledge = bootstrap.knowledge;
  structure->graph = PartialGraph(bootstrap.nodes.size());
  std::vector<FrequentLink> links;
  for (size_t b = 1; b < bootstrap.nodes.size(); ++b)
    for (size_t a = 0; a < b; ++a) {
      const Bootstrap::Counts& counts = bootstrap.counts[PairFindings::place(a, b)];
      const double found = static_cast<double>(counts.directed) + counts.reversed + counts.undirected;
      if (found == 0 || found < threshold * static_cast<double>(bootstrap.samples)) continue;
      links.push_back(
          {a, b, found, static_cast<double>(counts.directed), static_cast<double>(counts.reversed)});
    }
  std::stable_sort(links.begin(), links.end(), [](const FrequentLink& left, const FrequentLink& right) {
    return left.found > right.found;
  });
  for (const FrequentLink& link : links) {
    structure->graph.join(link.a, link.b);
    if (link.directed == link.reversed) continue;
    const bool is_forward = link.directed > link.reversed;
    structure->graph.direct(is_forward ? link.a : link.b, is_forward ? link.b : link.a);
    if (structure->graph.has_directed_cycle()) structure->graph.join(link.a, link.b);
  }
  return structure.release();
}

double frequency(const Bootstrap& bootstrap, size_t a, size_t b, tv_structure_link_t link) {
  const Bootstrap::Counts& counts = bootstrap.counts[PairFindings::place(a, b)];
  const bool is_forward = (link == tv_structure_link_directed) == (a < b);
  const double samples = static_cast<double>(bootstrap.samples);
  switch (link) {
    case tv_structure_link_none:
      return (samples - counts.directed - counts.reversed - counts.undirected) / samples;
    case tv_structure_link_undirected:
      return counts.undirected / samples;
    default:
      return (is_forward ? counts.directed : counts.reversed) / samples;
  }
}

}  // namespace
}  // namespace tv

tv_bootstrap_t* tv_domain_bootstrap_structure(tv_domain_t* domain, const tv_structure_learner_t* learner,
                                              size_t samples) {
  return tv::guarded<tv_bootstrap_t*>(nullptr, [&]() -> tv_bootstrap_t* {
    if (!tv::check(domain && learner && samples > 0)) return nullptr;
    return tv::bootstrap_structure(*domain, *learner, samples);
  });
}

tv_status_t tv_bootstrap_delete(tv_bootstrap_t* bootstrap) {
  if (!tv::check(bootstrap)) return tv_status_usage;
  delete bootstrap;
  return tv_status_none;
}

size_t tv_bootstrap_get_number_of_samples(const tv_bootstrap_t* bootstrap) {
  return tv::check(bootstrap) ? bootstrap->samples : tv::kNone;
}

double tv_bootstrap_get_frequency(const tv_bootstrap_t* bootstrap, size_t a, size_t b,
                                  tv_structure_link_t link) {
  const bool is_valid = bootstrap && a != b && a < bootstrap->nodes.size() && b < bootstrap->nodes.size() &&
                        link >= tv_structure_link_none && link <= tv_structure_link_undirected;
  return tv::check(is_valid) ? tv::frequency(*bootstrap, a, b, link) : -1.0;
}

tv_structure_t* tv_bootstrap_new_structure(const tv_bootstrap_t* bootstrap, double threshold) {
  return tv::guarded<tv_structure_t*>(nullptr, [&]() -> tv_structure_t* {
    if (!tv::check(bootstrap && threshold >= 0 && threshold <= 1)) return nullptr;
    return tv::average(*bootstrap, threshold);
  });
}

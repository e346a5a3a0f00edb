// The steps that every triangulation shares, in their order, and handing the forest to the domain.
#include "compile/compile_qualitatively.h"

#include "compile/junction_forest.h"
#include "compile/moral_graph.h"
#include "network/node_operations.h"

namespace tv {
namespace {

void register_table(Domain& domain, Table& table) noexcept { table.number = ++domain.table_count; }

void commit(Domain& domain, std::unique_ptr<Forest> forest) noexcept {
  for (Clique& clique : forest->cliques) {
    register_table(domain, clique.table);
    if (clique.utility_table) register_table(domain, *clique.utility_table);
  }
  domain.forest = {forest.release(), [](Forest* old) { delete old; }};
}

}  // namespace

QualitativeCompilation::QualitativeCompilation(Domain& domain)
    : domain_(domain), trace_(domain), progress_(domain), forest_(std::make_unique<Forest>()) {
  forest_->domain = &domain;
  forest_->nodes.resize(domain.node_count);
  if (!trace_.enabled()) return;
  for (Node& node : domain.nodes) name_of(node);
}

void QualitativeCompilation::moralize() { _tv_domain_moralize(*forest_, trace_); }

tv_status_t QualitativeCompilation::finish(const Triangulation& triangulation) {
  forest_->optimal = triangulation.optimal;
  create_cliques(*forest_, triangulation);
  report_cliques(*forest_, trace_);
  build_junction_forest(*forest_, trace_);
  create_node_data_structures(*forest_);
  if (tv_status_t status = assign_potentials(*forest_, trace_)) return status;
  trace_.flush();
  if (tv_status_t status = trace_.status()) return status;
  commit(domain_, std::move(forest_));
  return tv_status_none;
}

}  // namespace tv

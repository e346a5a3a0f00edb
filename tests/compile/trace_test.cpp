// The trace of triangulation, byte for byte, against files under tests/golden. TARVO_WRITE_GOLDEN=1 writes
// the files instead; read them before they are committed.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>

#include "graph_world.h"
#include "support/log.h"

namespace {

using namespace world;

void expect_golden(const std::string& name, const std::string& text) {
  const std::string file = std::string(TARVO_TEST_FOLDER) + "/golden/" + name;
  if (std::getenv("TARVO_WRITE_GOLDEN")) {
    std::ofstream(file, std::ios::binary) << text;
    return;
  }
  std::stringstream expected;
  expected << std::ifstream(file, std::ios::binary).rdbuf();
  EXPECT_EQ(text, expected.str()) << file;
}

std::string trace_of(const DomainOwner& domain, const std::function<tv_status_t()>& triangulate) {
  return test::log_of(domain.get(), [&] { EXPECT_EQ(triangulate(), tv_status_none); });
}

std::string trace_of(const DomainOwner& domain, tv_triangulation_method_t method) {
  std::string trace = trace_of(domain, [&] { return tv_domain_triangulate(domain.get(), method); });
  EXPECT_EQ(trace.find('\n'), 24u);  // the time stamp, as in "Thu Jan  1 00:00:00 1970"
  return trace.substr(25);
}

// A table for each node, so that nothing warns of missing ones.
DomainOwner with_tables(DomainOwner domain) {
  for (tv_node_t* node = tv_domain_get_first_node(domain.get()); node; node = tv_node_get_next(node)) {
    tv_node_get_table(node);
  }
  return domain;
}

// The chest network of Lauritzen and Spiegelhalter (1988).
DomainOwner chest() {
  DomainOwner domain(tv_new_domain());
  tv_node_t* visit = add_node(domain.get(), "visit", 2);
  tv_node_t* smoking = add_node(domain.get(), "smoking", 2);
  tv_node_t* tuberculosis = add_node(domain.get(), "tuberculosis", 2, {visit});
  tv_node_t* cancer = add_node(domain.get(), "cancer", 2, {smoking});
  tv_node_t* bronchitis = add_node(domain.get(), "bronchitis", 2, {smoking});
  tv_node_t* either = add_node(domain.get(), "either", 2, {tuberculosis, cancer});
  add_node(domain.get(), "xray", 2, {either});
  add_node(domain.get(), "dyspnoea", 2, {either, bronchitis});
  return with_tables(std::move(domain));
}

// Two rings of unequal nodes that share one node, and a node of its own.
DomainOwner rings() {
  DomainOwner domain(tv_new_domain());
  tv_node_t* hinge = add_node(domain.get(), "hinge", 3);
  for (const std::string side : {"left", "right"}) {
    tv_node_t* last = hinge;
    for (size_t i = 1; i <= 4; ++i) last = add_node(domain.get(), side + std::to_string(i), 1 + i, {last});
    tv_node_t* closing = add_node(domain.get(), side + "_closing", 2);
    tv_node_add_parent(closing, last);
    tv_node_add_parent(closing, hinge);
  }
  add_node(domain.get(), "lone", 2);
  return domain;
}

TEST(Trace, GreedyHeuristic) {
  expect_golden("trace_chest_fill_in_size.txt", trace_of(chest(), tv_method_fill_in_size));
  expect_golden("trace_rings_clique_weight.txt", trace_of(rings(), tv_method_clique_weight));
}

TEST(Trace, BestGreedySaysNothingOfItsTrials) {
  expect_golden("trace_rings_best_greedy.txt", trace_of(rings(), tv_method_best_greedy));
}

// Two rings: what the limits do to the second one, beside the order that says what the initial triangulation
// is.
TEST(Trace, TotalWeight) {
  const DomainOwner domain = rings();
  expect_golden("trace_rings_total_weight.txt", trace_of(domain, tv_method_total_weight));
  tv_domain_uncompile(domain.get());
  tv_domain_set_max_number_of_separators(domain.get(), 1);
  expect_golden("trace_rings_total_weight_split.txt", trace_of(domain, tv_method_total_weight));
}

// All separators of a ring weigh the same and need one link: that is selected which leaves two halves.
TEST(Trace, SplitsALongRingInHalves) {
  DomainOwner domain(tv_new_domain());
  std::vector<tv_node_t*> ring{add_node(domain.get(), "N0", 2)};
  for (size_t i = 1; i <= 9; ++i)
    ring.push_back(add_node(domain.get(), "N" + std::to_string(i), 2, {ring.back()}));
  add_node(domain.get(), "closing", 2, {ring.front(), ring.back()});
  tv_domain_set_max_number_of_separators(domain.get(), 34);
  const std::string trace = trace_of(with_tables(std::move(domain)), tv_method_total_weight);
  EXPECT_NE(trace.find("This component has more than 34 minimal separators\n"
                       "Using the following separator of size 2 and cost 4:\n"),
            std::string::npos);
  EXPECT_NE(trace.find("\tG0 (size: 6)\n\tG1 (size: 6)\n"), std::string::npos) << trace;
}

// Two light nodes near each other against heavy ones that leave two halves: without weights the halves win.
TEST(Trace, ScoresWeighLightnessAgainstEvenness) {
  DomainOwner domain(tv_new_domain());
  const auto states = [](size_t i) -> size_t { return i == 0 || i == 2 ? 2 : 9; };
  std::vector<tv_node_t*> ring{add_node(domain.get(), "N0", states(0))};
  for (size_t i = 1; i <= 9; ++i)
    ring.push_back(add_node(domain.get(), "N" + std::to_string(i), states(i), {ring.back()}));
  add_node(domain.get(), "closing", 2, {ring.front(), ring.back()});
  tv_domain_set_max_number_of_separators(domain.get(), 34);
  domain = with_tables(std::move(domain));
  EXPECT_NE(trace_of(domain, tv_method_total_weight).find("separator of size 2 and cost 4:\n"),
            std::string::npos);
  tv_domain_uncompile(domain.get());
  tv::_tv_domain_set_triangulation_parameters(*domain, 1.0, 0.0, 0.0);
  EXPECT_NE(trace_of(domain, tv_method_total_weight).find("\tG0 (size: 6)\n\tG1 (size: 6)\n"),
            std::string::npos);
}

TEST(Trace, TotalWeightFromAnInitialTriangulation) {
  const DomainOwner domain = rings();
  std::vector<tv_node_t*> order = vertices(domain.get());
  order.push_back(nullptr);
  tv_domain_set_initial_triangulation(domain.get(), order.data());
  tv_domain_set_max_separator_size(domain.get(), 1);
  expect_golden("trace_rings_total_weight_initial.txt", trace_of(domain, tv_method_total_weight));
}

TEST(Trace, UserOrderWithRedundantFillIns) {
  DomainOwner domain = chest();
  const auto node = [&](const char* name) { return tv_domain_get_node_by_name(domain.get(), name); };
  tv_node_t* order[] = {node("either"),       node("smoking"),  node("visit"),
                        node("tuberculosis"), node("cancer"),   node("bronchitis"),
                        node("xray"),         node("dyspnoea"), nullptr};
  expect_golden("trace_chest_order.txt",
                trace_of(domain, [&] { return tv_domain_triangulate_with_order(domain.get(), order); }));
}

TEST(Trace, DiscreteAndContinuousNodes) {
  DomainOwner domain(tv_new_domain());
  tv_node_t* filter = add_node(domain.get(), "filter", 2);
  tv_node_t* waste = add_node(domain.get(), "waste", 3);
  tv_node_t* burning = add_node(domain.get(), "burning", 2);
  tv_node_t* efficiency = add_node(domain.get(), "efficiency", 0, {filter, waste});
  tv_node_t* dust = add_node(domain.get(), "dust", 0, {burning, efficiency});
  add_node(domain.get(), "light", 0, {dust});
  expect_golden("trace_mixed.txt", trace_of(with_tables(std::move(domain)), tv_method_best_greedy));
}

TEST(Trace, DecisionsAndUtilities) {
  DomainOwner domain(tv_new_domain());
  tv_node_t* oil = add_node(domain.get(), "oil", 3);
  tv_node_t* test = add_node(domain.get(), "test", 2, {}, tv_category_decision);
  tv_node_t* seismic = add_node(domain.get(), "seismic", 4, {oil, test});
  tv_node_t* drill = add_node(domain.get(), "drill", 2, {seismic}, tv_category_decision);
  add_node(domain.get(), "gain", 1, {oil, drill}, tv_category_utility);
  add_node(domain.get(), "cost", 1, {test}, tv_category_utility);
  expect_golden("trace_decisions.txt", trace_of(with_tables(std::move(domain)), tv_method_clique_size));
}

}  // namespace

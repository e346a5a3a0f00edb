// The memory that compilation says it needs, against what it asks for, and the limit that the host sets.
#include <gtest/gtest.h>

#include <functional>

#include "faults/injection.h"
#include "support/builders.h"
#include "support/describe.h"

namespace test {
namespace {

constexpr size_t kNoLimit = 0;
constexpr size_t kAllOnes = static_cast<size_t>(-1);

// Each node has up to `parents` parents among the `width` nodes before it.
DomainOwner band(size_t length, size_t width, size_t parents, size_t states) {
  Generator random(7);
  DomainOwner domain = new_domain();
  std::vector<tv_node_t*> nodes;
  for (size_t i = 0; i < length; ++i) {
    nodes.push_back(add_node(domain.get(), nullptr, states));
    for (size_t p = 0; p < parents && i > 0; ++p)  // a parent that is one already is refused
      tv_node_add_parent(nodes[i], nodes[i - 1 - random.below(std::min(i, width))]);
  }
  return domain;
}

DomainOwner hub(size_t children, size_t states) {
  DomainOwner domain = new_domain();
  tv_node_t* center = add_node(domain.get(), nullptr, states);
  for (size_t i = 0; i < children; ++i) add_node(domain.get(), nullptr, 2 + i % 3, {center});
  return domain;
}

// One clique of all nodes.
DomainOwner dense(size_t count, size_t states) {
  DomainOwner domain = new_domain();
  std::vector<tv_node_t*> nodes;
  for (size_t i = 0; i < count; ++i) {
    nodes.push_back(add_node(domain.get(), nullptr, states));
    for (size_t j = 0; j < i; ++j) EXPECT_EQ(tv_node_add_parent(nodes[i], nodes[j]), tv_status_none);
  }
  return domain;
}

// Decisions in a row that see what came before, with a utility each.
DomainOwner decisions(size_t count, size_t states) {
  DomainOwner domain = new_domain();
  std::vector<tv_node_t*> nodes;
  for (size_t i = 0; i < count; ++i) {
    nodes.push_back(add_node(domain.get(), nullptr, states));
    tv_node_set_category(nodes[i], i % 2 ? tv_category_decision : tv_category_chance);
    for (size_t p = 1; p <= std::min<size_t>(i, 4); ++p) tv_node_add_parent(nodes[i], nodes[i - p]);
    tv_node_t* utility = tv_domain_new_node(domain.get(), tv_category_utility, tv_kind_other);
    tv_node_add_parent(utility, nodes[i]);
  }
  return domain;
}

// Continuous nodes on the states of a chain; where `linked`, with up to three of them in a row.
DomainOwner mixed(size_t length, size_t states, bool linked) {
  DomainOwner domain = new_domain();
  tv_node_t *state = add_node(domain.get(), nullptr, states), *value = nullptr;
  for (size_t i = 0; i < length; ++i) {
    if (!linked || i % 4 == 0) state = add_node(domain.get(), nullptr, states, {state});
    tv_node_t* next = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
    EXPECT_EQ(tv_node_add_parent(next, state), tv_status_none);
    if (linked && i % 4 != 0) {
      EXPECT_EQ(tv_node_add_parent(next, value), tv_status_none);
    }
    value = next;
  }
  return domain;
}

TEST(MemoryNeed, IsWhatCompilationAsksFor) {
  const struct {
    const char* name;
    DomainOwner domain;
  } networks[] = {
      {"chain", band(500, 1, 1, 3)},
      {"band", band(300, 6, 3, 2)},
      {"wide band", band(60, 9, 3, 4)},
      {"unconnected", band(400, 1, 0, 2)},
      {"hub", hub(300, 4)},
      {"dense", dense(9, 4)},
      {"many states", hub(1, 200000)},
      {"one node", band(1, 1, 0, 2)},
      {"decisions", decisions(80, 3)},
      {"values", mixed(300, 3, false)},
      {"rows of values", mixed(300, 40, true)},
  };
  for (const auto& [name, owner] : networks) {
    SCOPED_TRACE(name);
    tv_domain_t* domain = owner.get();
    ASSERT_EQ(tv_domain_triangulate(domain, tv_method_fill_in_weight), tv_status_none);
    arm(Fault::allocation, 1000000000, false);
    const size_t need = tv_domain_get_memory_need(domain);
    EXPECT_EQ(requests_seen(), 0) << "asking allocates";
    const tv_status_t status = tv_domain_compile(domain);
    disarm();
    ASSERT_EQ(status, tv_status_none);
    EXPECT_NEAR(static_cast<double>(need), static_cast<double>(bytes_requested()),
                0.1 * static_cast<double>(bytes_requested()));
    EXPECT_EQ(tv_domain_get_memory_need(domain), need) << "another answer after compilation";
  }
}

TEST(MemoryNeed, ThatDoesNotFitIsSaidAndRefused) {
  DomainOwner domain = dense(20, 20);
  EXPECT_EQ(tv_domain_get_memory_need(domain.get()), kAllOnes);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_clique_size), tv_status_none);
  EXPECT_EQ(tv_domain_get_memory_need(domain.get()), kAllOnes);
  EXPECT_EQ(tv_error_code(), tv_status_size_too_large);
  for (size_t limit : {kNoLimit, size_t{1} << 40, kAllOnes}) {
    tv_domain_set_memory_limit(domain.get(), limit);
    EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_no_memory) << limit;
    EXPECT_EQ(tv_domain_is_triangulated(domain.get()), 1);
  }
  EXPECT_EQ(tv_domain_get_memory_need(nullptr), kAllOnes);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

TEST(MemoryLimit, RefusesBeforeAnythingIsAllocated) {
  DomainOwner domain = dense(9, 4);
  ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_clique_size), tv_status_none);
  const size_t need = tv_domain_get_memory_need(domain.get());
  const std::string before = describe(domain.get());
  tv_domain_set_memory_limit(domain.get(), need - 1);
  arm(Fault::allocation, 1000000000, false);
  const tv_status_t status = tv_domain_compile(domain.get());
  disarm();
  EXPECT_EQ(status, tv_status_no_memory);
  EXPECT_EQ(requests_seen(), 0);
  EXPECT_EQ(describe(domain.get()), before);
  tv_domain_set_memory_limit(domain.get(), need);
  EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
}

TEST(MemoryLimit, LeavesTheTriangulationThatTheCallMade) {
  DomainOwner domain = dense(9, 4);
  tv_domain_set_memory_limit(domain.get(), 100000);
  const DomainOwner clone(tv_domain_clone(domain.get()));
  for (tv_domain_t* each : {domain.get(), clone.get()}) {
    EXPECT_EQ(tv_domain_compile(each), tv_status_no_memory);
    EXPECT_EQ(tv_domain_is_triangulated(each), 1);
    EXPECT_EQ(tv_domain_is_compiled(each), 0);
    tv_domain_set_memory_limit(each, kNoLimit);
    EXPECT_EQ(tv_domain_compile(each), tv_status_none);
    tv_domain_set_memory_limit(each, 1);  // what is compiled stays
    EXPECT_EQ(tv_domain_propagate(each, tv_equilibrium_max, tv_evidence_normal), tv_status_none);
  }
}

}  // namespace
}  // namespace test

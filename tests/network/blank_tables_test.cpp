// Tables whose numbers nobody has asked for: they are described, changed and written without them, and a
// limit says how many there can be.
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/builders.h"
#include "support/describe.h"

namespace test {
namespace {

constexpr size_t kAllOnes = static_cast<size_t>(-1);

std::string net_text(tv_domain_t* domain) {
  char* text = tv_domain_to_net_string(domain);
  const std::string result = text ? text : tv_error_name(tv_error_code());
  free(text);
  return result;
}

// Two times 2 to the power of `parents` numbers.
tv_node_t* add_hub(tv_domain_t* domain, size_t parents) {
  tv_node_t* hub = add_node(domain, "Hub", 2);
  for (size_t i = 0; i < parents; ++i) {
    const std::string name = "P" + std::to_string(i);
    EXPECT_EQ(tv_node_add_parent(hub, add_node(domain, name.c_str(), 2)), tv_status_none);
  }
  return hub;
}

TEST(BlankTables, AreDescribedAndChangedWhateverTheirSize) {
  constexpr size_t kParents = 61;  // more numbers than there are addresses for
  DomainOwner domain = new_domain();
  tv_node_t* hub = add_hub(domain.get(), kParents);
  tv_table_t* table = tv_node_get_table(hub);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(tv_table_get_size(table), size_t{1} << (kParents + 1));
  EXPECT_EQ(count_nodes(tv_table_get_nodes(table)), kParents + 1);
  for (tv_table_t* each : {tv_node_get_experience_table(hub), tv_node_get_fading_table(hub)})
    EXPECT_EQ(tv_table_get_size(each), size_t{1} << kParents);
  EXPECT_EQ(net_text(domain.get()), "no_memory");  // all that could be said of the learning tables
  tv_table_delete(tv_node_get_experience_table(hub));
  tv_table_delete(tv_node_get_fading_table(hub));
  EXPECT_NE(net_text(domain.get()).find("P0) {}"), std::string::npos);
  EXPECT_EQ(tv_table_get_data(table), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_no_memory);

  ASSERT_EQ(tv_node_set_number_of_states(tv_node_get_parents(hub)[0], 3), tv_status_none);
  EXPECT_EQ(tv_table_get_size(table), (size_t{1} << kParents) * 3);
  while (tv_node_t* parent = tv_node_get_parents(hub)[1]) {
    if (count_nodes(tv_node_get_parents(hub)) % 2)
      ASSERT_EQ(tv_node_delete(parent), tv_status_none);
    else
      ASSERT_EQ(tv_node_remove_parent(hub, parent), tv_status_none);
  }
  ASSERT_EQ(tv_node_set_number_of_states(hub, 4), tv_status_none);
  EXPECT_EQ(tv_table_get_size(table), 12u);
  EXPECT_EQ(tv_node_get_table(hub), table);
  ASSERT_NE(tv_table_get_data(table), nullptr);
  EXPECT_EQ(tv_node_get_table(hub), table) << "numbers made another table of it";
  for (size_t i = 0; i < 12; ++i) EXPECT_EQ(tv_table_get_data(table)[i], 0.25f);
}

// Asking for a table, with its numbers or without, changes nothing that is computed; and what is written and
// cloned shows it at once.
TEST(BlankTables, CountAsTheUniformTablesThatTheyBecome) {
  DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "A", 2, {}, {1, 3});
  tv_node_t *b = add_node(domain.get(), "B", 4, {a}),
            *c = add_node(domain.get(), "C", 2, {b}, {1, 0, 3, 1, 1, 1, 0, 1});
  tv_node_t* utility = tv_domain_new_node(domain.get(), tv_category_utility, tv_kind_other);
  tv_node_add_parent(utility, c);
  const auto belief = [&] {
    tv_node_retract_findings(c);
    tv_node_select_state(c, 0);
    EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    return tv_node_get_belief(b, 1);
  };
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const tv_number_t expected = belief();
  tv_table_t* table = tv_node_get_table(b);
  tv_node_get_table(utility);
  EXPECT_EQ(belief(), expected);
  const std::string text = net_text(domain.get());
  EXPECT_NE(text.find("0.25 0.25 0.25 0.25"), std::string::npos);
  EXPECT_EQ(net_text(DomainOwner(tv_domain_clone(domain.get())).get()), text);
  ASSERT_EQ(tv_node_touch_table(b), tv_status_none);
  EXPECT_EQ(belief(), expected);

  float* numbers = tv_table_get_data(table);
  ASSERT_NE(numbers, nullptr);
  EXPECT_EQ(net_text(domain.get()), text);
  EXPECT_EQ(belief(), expected);
  numbers[1] = 0.75f;
  tv_node_touch_table(b);
  EXPECT_GT(belief(), expected);
  ASSERT_EQ(tv_node_reverse_edge(a, b), tv_status_none);
  EXPECT_EQ(tv_table_get_size(table), 4u);
}

TEST(BlankTables, KeepTheirPlaceWhenALinkIsReversed) {
  DomainOwner domain = new_domain();
  tv_node_t *a = add_node(domain.get(), "A", 2), *b = add_node(domain.get(), "B", 3, {a});
  tv_table_t *of_a = tv_node_get_table(a), *of_b = tv_node_get_table(b);
  ASSERT_EQ(tv_node_reverse_edge(a, b), tv_status_none);
  EXPECT_EQ(tv_table_get_size(of_a), 6u);
  EXPECT_EQ(tv_table_get_size(of_b), 3u);
  EXPECT_EQ(tv_table_get_data(of_a)[5], 0.5f);
  EXPECT_EQ(tv_table_get_data(of_b)[2], 1.0f / 3);
}

TEST(MemoryLimit, HoldsForTheNumbersOfAllTables) {
  DomainOwner domain = new_domain();
  tv_node_t* hub = add_hub(domain.get(), 17);  // a megabyte
  tv_domain_set_memory_limit(domain.get(), (size_t{1} << 20) - 1);
  const std::string before = describe_names(tv_table_get_nodes(tv_node_get_table(hub)));
  EXPECT_EQ(tv_table_get_data(tv_node_get_table(hub)), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_no_memory);
  tv_domain_set_memory_limit(domain.get(), size_t{1} << 20);
  ASSERT_NE(tv_table_get_data(tv_node_get_table(hub)), nullptr);
  EXPECT_EQ(tv_table_get_data(tv_node_get_experience_table(hub)), nullptr) << "beside the other";
  EXPECT_EQ(tv_error_code(), tv_status_no_memory);
  tv_node_t* more = add_node(domain.get(), "More", 2);
  EXPECT_EQ(tv_node_add_parent(hub, more), tv_status_no_memory);
  EXPECT_EQ(describe_names(tv_table_get_nodes(tv_node_get_table(hub))), before);
  tv_domain_set_memory_limit(domain.get(), 0);
  EXPECT_EQ(tv_node_add_parent(hub, more), tv_status_none);
}

TEST(MemoryLimit, HoldsForGeneratedTables) {
  DomainOwner domain = new_domain();
  tv_node_t* hub = add_hub(domain.get(), 17);
  tv_node_t* none[] = {nullptr};
  tv_model_t* model = tv_node_new_model(hub, none);
  ASSERT_NE(model, nullptr);
  tv_expression_t* expression =
      tv_domain_string_to_expression(domain.get(), "Distribution (1, 3)", nullptr, nullptr);
  ASSERT_EQ(tv_model_set_expression(model, 0, expression), tv_status_none);
  tv_domain_set_memory_limit(domain.get(), (size_t{1} << 20) - 1);
  EXPECT_EQ(tv_node_generate_table(hub), tv_status_no_memory);
  tv_domain_set_memory_limit(domain.get(), size_t{1} << 20);
  tv_table_t* table = tv_node_get_table(hub);
  EXPECT_EQ(tv_node_generate_table(hub), tv_status_none);
  EXPECT_EQ(tv_node_get_table(hub), table);
  EXPECT_EQ(tv_table_get_data(table)[1], 0.75f);
}

TEST(NumberOfStates, HasABoundThatIsRefusedWithNothingChanged) {
  DomainOwner domain = new_domain();
  tv_node_t *a = add_node(domain.get(), "A", 2), *b = add_node(domain.get(), "B", 2, {a});
  tv_node_set_subtype(a, tv_subtype_interval);
  const std::string before = net_text(domain.get());
  for (const size_t count : {kAllOnes, kAllOnes - 1, kAllOnes / 2 + 1}) {
    EXPECT_EQ(tv_node_set_number_of_states(a, count), tv_status_no_memory);
    EXPECT_EQ(tv_node_set_number_of_states(b, count), tv_status_no_memory);
  }
  EXPECT_EQ(net_text(domain.get()), before);
}

}  // namespace
}  // namespace test

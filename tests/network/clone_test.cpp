// Copies of domains and nodes hold all that a host set, and share nothing with the original.
#include "network_world.h"

namespace {

void expect_equal_tables(const std::unique_ptr<tv::Table>& a, const std::unique_ptr<tv::Table>& b) {
  ASSERT_EQ(a == nullptr, b == nullptr);
  if (!a) return;
  EXPECT_EQ(numbers(a.get()), numbers(b.get()));
  EXPECT_EQ(a->tail_marks, b->tail_marks);
  EXPECT_EQ(std::vector<double>(a->cg_data.begin(), a->cg_data.end()),
            std::vector<double>(b->cg_data.begin(), b->cg_data.end()));
  ASSERT_EQ(a->nodes.size(), b->nodes.size());
  for (size_t i = 0; i < a->nodes.size(); ++i) EXPECT_EQ(a->nodes[i]->number, b->nodes[i]->number);
}

std::vector<size_t> node_numbers(tv_node_t* const* nodes) {
  std::vector<size_t> result;
  for (tv_node_t* node : listed(nodes)) result.push_back(node->number);
  return result;
}

TEST(Clone, OfADomainEqualsIt) {
  World world;
  tv_node_t* p = world.chance(2);
  tv_node_t* q = world.chance(3);
  tv_node_t* x = world.chance(2);
  tv_node_t* c1 = world.continuous();
  tv_node_t* c2 = world.continuous();
  world.function();
  for (tv_node_t* parent : {p, q}) tv_node_add_parent(x, parent);
  for (tv_node_t* parent : {c1, q}) tv_node_add_parent(c2, parent);
  set_table(x, {0.1f, 0.9f, 0.2f, 0.8f, 0.3f, 0.7f, 0.4f, 0.6f, 0.5f, 0.5f, 0.6f, 0.4f});
  tv_node_get_table(c2)->cg_data[3] = 2.5;
  tv_node_get_experience_table(x);
  tv_node_get_fading_table(x);
  tv_node_set_name(x, "x");
  tv_node_set_label(x, "label");
  tv_node_set_subtype(q, tv_subtype_number);
  tv_node_set_state_value(q, 1, 4.5);
  tv_node_set_state_label(q, 2, "many");
  tv_node_set_attribute(q, "first", "1");
  tv_node_set_attribute(q, "second", "2");
  tv_domain_set_attribute(world, "of", "domain");
  tv_domain_set_grain_size(world, 5);
  tv_domain_set_memory_limit(world, 6);
  tv_domain_set_ijt_nodes(world, Nodes{q, nullptr}.data());
  tv_domain_set_user_data(world, &world);
  p->entered.state = 1;
  q->entered = {tv::kFindingVector, {0.5f, 1, 0}, false, 0.0};
  c1->entered.value_flag = true;
  c1->entered.value = -2.0;
  world.domain->nodes.reverse();  // as a parser leaves them

  World clone(tv_domain_clone(world));
  const Nodes originals = all_nodes(world), copies = all_nodes(clone);
  ASSERT_EQ(originals.size(), copies.size());
  for (size_t i = 0; i < originals.size(); ++i) {
    tv_node_t *a = originals[i], *b = copies[i];
    EXPECT_EQ(b->domain, clone);
    EXPECT_EQ(a->number, b->number);
    EXPECT_EQ(a->has_name, b->has_name);
    EXPECT_STREQ(tv_node_get_name(a), tv_node_get_name(b));
    EXPECT_TRUE(a->category == b->category && a->kind == b->kind && a->subtype == b->subtype);
    EXPECT_EQ(node_numbers(tv_node_get_parents(a)), node_numbers(tv_node_get_parents(b)));
    EXPECT_EQ(node_numbers(tv_node_get_children(a)), node_numbers(tv_node_get_children(b)));
    EXPECT_EQ(a->number_of_states, b->number_of_states);
    EXPECT_EQ(a->state_labels, b->state_labels);
    EXPECT_EQ(a->state_values, b->state_values);
    EXPECT_EQ(a->label, b->label);
    EXPECT_EQ(a->entered.state, b->entered.state);
    EXPECT_EQ(a->entered.finding, b->entered.finding);
    EXPECT_EQ(a->entered.value, b->entered.value);
    for (const auto table : {&tv::Node::table, &tv::Node::experience_table, &tv::Node::fading_table})
      expect_equal_tables(a->*table, b->*table);
  }
  tv_node_t* q_copy = tv_domain_get_node_by_name(clone, tv_node_get_name(q));
  EXPECT_STREQ(tv_attribute_get_key(tv_node_get_first_attribute(q_copy)), "second");
  EXPECT_STREQ(tv_domain_get_attribute(clone, "of"), "domain");
  EXPECT_EQ(tv_domain_get_grain_size(clone), 5u);
  EXPECT_EQ(tv_domain_get_memory_limit(clone), 6u);
  EXPECT_EQ(clone.domain->required_instantiations.front(), q_copy);
  EXPECT_EQ(clone.domain->counters.continuous, 2u);
  EXPECT_EQ(tv_domain_get_user_data(clone), nullptr);

  set_table(tv_domain_get_node_by_name(clone, "x"), std::vector<float>(12, 0.5f));
  EXPECT_EQ(table_of(x)[0], 0.1f);
  EXPECT_EQ(tv_node_delete(x), tv_status_none);
  EXPECT_NE(tv_domain_get_node_by_name(clone, "x"), nullptr);
  EXPECT_EQ(tv_node_add_parent(tv_domain_get_node_by_name(clone, "x"), q_copy), tv_status_usage);
}

TEST(Clone, OfANodeTakesItsParentsAndAnAutomaticName) {
  World world;
  tv_node_t* p = world.chance(2);
  tv_node_t* x = world.chance(2);
  tv_node_t* below = world.chance(2);
  tv_node_set_name(x, "x");
  tv_node_add_parent(x, p);
  tv_node_add_parent(below, x);
  set_table(x, {0.1f, 0.9f, 0.2f, 0.8f});
  tv_node_set_state_label(x, 1, "on");
  tv_node_set_attribute(x, "key", "value");
  x->entered.state = 1;
  tv_node_t* clone = tv_node_clone(x);
  ASSERT_NE(clone, nullptr);
  EXPECT_EQ(clone->number, 4u);
  EXPECT_STREQ(tv_node_get_name(clone), "C4");
  EXPECT_EQ(listed(tv_node_get_parents(clone)), (Nodes{p}));
  EXPECT_EQ(listed(tv_node_get_children(p)), (Nodes{x, clone}));
  EXPECT_TRUE(listed(tv_node_get_children(clone)).empty());
  EXPECT_EQ(listed(tv_table_get_nodes(tv_node_get_table(clone))), (Nodes{p, clone}));
  EXPECT_EQ(table_of(clone), table_of(x));
  EXPECT_STREQ(tv_node_get_state_label(clone, 1), "on");
  EXPECT_STREQ(tv_node_get_attribute(clone, "key"), "value");
  EXPECT_EQ(clone->entered.state, 1);
  EXPECT_EQ(tv_node_clone(nullptr), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

}  // namespace

// Copies of domains and nodes hold all that a host set, and share nothing with the original.
#include <cstdlib>
#include <filesystem>

#include "network_world.h"
#include "support/describe.h"

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
  ASSERT_NE(tv_table_get_data(tv_node_get_table(c2)), nullptr);
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
  EXPECT_EQ(clone.domain->required_instantiations.front(), q_copy);
  EXPECT_EQ(clone.domain->counters.continuous, 2u);
  EXPECT_EQ(tv_domain_get_user_data(clone), nullptr);

  set_table(tv_domain_get_node_by_name(clone, "x"), std::vector<float>(12, 0.5f));
  EXPECT_EQ(table_of(x)[0], 0.1f);
  EXPECT_EQ(tv_node_delete(x), tv_status_none);
  EXPECT_NE(tv_domain_get_node_by_name(clone, "x"), nullptr);
  EXPECT_EQ(tv_node_add_parent(tv_domain_get_node_by_name(clone, "x"), q_copy), tv_status_usage);
}

// By a list: whoever adds a setting adds a line.
TEST(Clone, KeepsEverySetting) {
  struct Setting {
    tv_status_t (*set)(tv_domain_t*, size_t);
    size_t (*get)(const tv_domain_t*);
  };
  const Setting settings[] = {
      {tv_domain_set_grain_size, tv_domain_get_grain_size},
      {tv_domain_set_concurrency_level, tv_domain_get_concurrency_level},
      {tv_domain_set_em_concurrency_level, tv_domain_get_em_concurrency_level},
      {tv_domain_set_memory_limit, tv_domain_get_memory_limit},
      {tv_domain_set_max_number_of_separators, tv_domain_get_max_number_of_separators},
      {tv_domain_set_max_separator_size, tv_domain_get_max_separator_size},
      {tv_domain_set_number_of_cases, tv_domain_get_number_of_cases},
  };
  World world;
  tv_node_t* p = world.chance(2);
  tv_node_t* x = world.continuous();
  for (size_t i = 0; i < std::size(settings); ++i)
    ASSERT_EQ(settings[i].set(world, 5 + i), tv_status_none) << "setting " << i;
  tv_domain_set_node_size(world, 101, 53);
  tv_node_set_position(x, 7, 8);
  tv_domain_set_case_count(world, 2, 0.5f);
  tv_node_set_case_state(p, 1, 1);
  tv_node_set_case_value(x, 2, 2.5);
  tv_domain_set_initial_triangulation(world, Nodes{x, p, nullptr}.data());
  world.domain->file_name = "some.net";
  world.domain->is_class = true;
  tv_domain_seed_random(world, 17);

  World clone(tv_domain_clone(world));
  for (size_t i = 0; i < std::size(settings); ++i)
    EXPECT_EQ(settings[i].get(clone), 5 + i) << "setting " << i;
  size_t width = 0, height = 0;
  tv_domain_get_node_size(clone, &width, &height);
  EXPECT_EQ(width, 101u);
  EXPECT_EQ(height, 53u);
  tv_node_t *p_copy = nullptr, *x_copy = nullptr;
  for (tv_node_t* node : all_nodes(clone))
    (tv_node_get_kind(node) == tv_kind_discrete ? p_copy : x_copy) = node;
  long left = 0, top = 0;
  tv_node_get_position(x_copy, &left, &top);
  EXPECT_EQ(left, 7);
  EXPECT_EQ(top, 8);
  EXPECT_EQ(tv_domain_get_case_count(clone, 2), 0.5f);
  EXPECT_EQ(tv_node_get_case_state(p_copy, 1), 1u);
  EXPECT_EQ(tv_node_case_is_set(p_copy, 2), 0);
  EXPECT_EQ(tv_node_get_case_value(x_copy, 2), 2.5);
  const tv::NodeList& order = clone.domain->initial_triangulation;
  EXPECT_EQ(Nodes(order.begin(), order.end()), (Nodes{x_copy, p_copy}));
  EXPECT_STREQ(tv_domain_get_file_name(clone), "some.net");
  EXPECT_TRUE(clone.domain->is_class);
  World fresh;  // random numbers start as in a new domain
  EXPECT_EQ(tv_domain_get_uniform_deviate(clone), tv_domain_get_uniform_deviate(fresh));
}

TEST(Clone, IsDescribedAndWrittenLikeTheOriginal) {
  const auto text_of = [](tv_domain_t* domain) {
    const std::unique_ptr<char, decltype(&std::free)> text(tv_domain_to_net_string(domain), std::free);
    return text ? std::string(text.get()) + test::describe(domain) : tv_error_name(tv_error_code());
  };
  size_t files = 0;
  for (const auto& file : std::filesystem::directory_iterator(TARVO_EXAMPLE_FOLDER)) {
    if (file.path().extension() != ".net") continue;
    SCOPED_TRACE(file.path());
    World world(tv_net_parse_domain(file.path().c_str(), nullptr, nullptr));
    ASSERT_NE(world.domain, nullptr);
    for (tv_node_t* node : all_nodes(world))
      if (tv_node_get_kind(node) == tv_kind_discrete && tv_node_get_category(node) == tv_category_chance)
        tv_node_select_state(node, 0);
    World clone(tv_domain_clone(world));
    EXPECT_EQ(text_of(clone), text_of(world));
    ++files;
  }
  EXPECT_GE(files, 3u);
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

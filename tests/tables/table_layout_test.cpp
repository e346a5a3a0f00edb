// Changes of layout against loops that look up one configuration at a time, on random tables.
#include <gtest/gtest.h>

#include "tables/table_world.h"

namespace {

using test::Assignment;
using test::TableWorld;
using tv::Node;
using tv::NodeList;
using tv::Table;

constexpr unsigned kRounds = 200;

// Every number of `changed` is that of `original` for the same states of the nodes that both have.
void expect_same_potential(const Table& changed, const Table& original) {
  std::vector<Node*> common = test::continuous_nodes(original);
  std::erase_if(common, [&](Node* node) { return !changed.nodes.contains(node); });
  test::for_each_assignment(changed, [&](Assignment& states) {
    ASSERT_EQ(test::entry(changed, states), test::entry(original, states));
    for (const Node* node : common) {
      ASSERT_EQ(test::mean(changed, states, node), test::mean(original, states, node));
      for (const Node* other : common)
        ASSERT_EQ(test::covariance(changed, states, node, other),
                  test::covariance(original, states, node, other));
    }
  });
  for (const Node* node : common) EXPECT_EQ(test::is_tail(changed, node), test::is_tail(original, node));
}

TEST(TableLayout, PermutingKeepsThePotentialAndTheHostsPointer) {
  for (unsigned round = 0; round < kRounds; ++round) {
    TableWorld world(round);
    auto table = world.random_table(5, 3);
    const auto original = tv::clone_table(*table);
    const tv_number_t* data = table->data.data();
    const size_t layout = table->layout;
    const NodeList order = world.shuffled(*table);
    ASSERT_EQ(tv::permute_table(*table, order), tv_status_none);
    EXPECT_TRUE(table->nodes == order);
    EXPECT_EQ(table->data.data(), data);
    EXPECT_GT(table->layout, layout);
    expect_same_potential(*table, *original);
  }
}

TEST(TableLayout, DiscreteParentComesFirstAndRepeatsEverything) {
  for (unsigned round = 0; round < kRounds; ++round) {
    TableWorld world(round);
    auto table = world.random_table();
    Node* parent = world.discrete(1 + world.below(4));
    auto changed = tv::table_with_parent(*table, parent);
    EXPECT_EQ(changed->nodes[0], parent);
    EXPECT_EQ(changed->size, table->size * parent->number_of_states);
    expect_same_potential(*changed, *table);

    auto restored = tv::table_without_parent(*changed, parent);
    EXPECT_TRUE(restored->nodes == table->nodes);
    for (size_t i = 0; i < table->size; ++i) EXPECT_EQ(restored->data[i], table->data[i]);
  }
}

TEST(TableLayout, ContinuousParentBecomesATailWithZeroCoefficient) {
  for (unsigned round = 0; round < kRounds; ++round) {
    TableWorld world(round);
    auto table = world.random_table();
    Node* parent = world.continuous();
    auto changed = tv::table_with_parent(*table, parent);
    EXPECT_EQ(changed->nodes.back(), parent);
    EXPECT_TRUE(test::is_tail(*changed, parent));
    expect_same_potential(*changed, *table);
    test::for_each_assignment(*changed, [&](Assignment& states) {
      EXPECT_EQ(test::mean(*changed, states, parent), 0.0);
      for (const Node* node : test::continuous_nodes(*changed))
        EXPECT_EQ(test::covariance(*changed, states, node, parent), 0.0);
    });
  }
}

TEST(TableLayout, RemovingADiscreteParentAverages) {
  for (unsigned round = 0; round < kRounds; ++round) {
    TableWorld world(round);
    auto table = world.random_table();
    if (table->discrete_count == 0) continue;
    Node* parent = table->nodes[world.below(table->discrete_count)];
    const double count = static_cast<double>(parent->number_of_states);
    auto changed = tv::table_without_parent(*table, parent);
    EXPECT_FALSE(changed->nodes.contains(parent));
    test::for_each_assignment(*changed, [&](Assignment& states) {
      const auto average = [&](auto value) {
        double sum = 0;
        for (states[parent] = 0; states[parent] < parent->number_of_states; ++states[parent]) sum += value();
        return sum / count;
      };
      EXPECT_EQ(test::entry(*changed, states),
                static_cast<tv_number_t>(average([&] { return test::entry(*table, states); })));
      for (const Node* node : test::continuous_nodes(*table)) {
        EXPECT_EQ(test::mean(*changed, states, node),
                  average([&] { return test::mean(*table, states, node); }));
        for (const Node* other : test::continuous_nodes(*table))
          EXPECT_EQ(test::covariance(*changed, states, node, other),
                    average([&] { return test::covariance(*table, states, node, other); }));
      }
    });
  }
}

TEST(TableLayout, RemovingAContinuousParentDropsItsRowAndColumn) {
  for (unsigned round = 0; round < kRounds; ++round) {
    TableWorld world(round);
    auto table = world.random_table();
    if (table->continuous_count == 0) continue;
    Node* parent = table->nodes[table->discrete_count + world.below(table->continuous_count)];
    auto changed = tv::table_without_parent(*table, parent);
    EXPECT_EQ(changed->continuous_count, table->continuous_count - 1);
    EXPECT_FALSE(changed->nodes.contains(parent));
    expect_same_potential(*changed, *table);
  }
}

TEST(TableLayout, PermutedStatesTakeTheirEntriesAlong) {
  for (unsigned round = 0; round < kRounds; ++round) {
    TableWorld world(round);
    auto table = world.random_table();
    if (table->discrete_count == 0) continue;
    const auto original = tv::clone_table(*table);
    const Node* node = table->nodes[world.below(table->discrete_count)];
    const std::vector<size_t> order = world.shuffled_states(node->number_of_states);
    ASSERT_EQ(tv::permute_table_states(*table, node, order.data()), tv_status_none);
    test::for_each_assignment(*table, [&](Assignment& states) {
      Assignment old_states = states;
      old_states[node] = order[states[node]];
      EXPECT_EQ(test::entry(*table, states), test::entry(*original, old_states));
      for (const Node* continuous : test::continuous_nodes(*table))
        EXPECT_EQ(test::mean(*table, states, continuous), test::mean(*original, old_states, continuous));
    });
  }
}

TEST(TableLayout, NewStatesAreFilledAndTheOthersKept) {
  for (unsigned round = 0; round < kRounds; ++round) {
    TableWorld world(round);
    auto table = world.random_table();
    if (table->discrete_count == 0) continue;
    Node* node = table->nodes[world.below(table->discrete_count)];
    const size_t old_count = node->number_of_states;
    const size_t new_count = 1 + world.below(6);
    table->kind = tv::TableKind::node;
    auto changed = tv::table_with_state_count(*table, node, new_count, 0.25f);
    EXPECT_EQ(changed->size, table->size / old_count * new_count);
    ASSERT_EQ(changed->data.size(), changed->size);

    // The old table is read with the old number of states, the new one with the new number.
    node->number_of_states = std::min(old_count, new_count);
    test::for_each_assignment(*table, [&](Assignment& states) {
      node->number_of_states = old_count;
      const tv_number_t old_entry = test::entry(*table, states);
      std::vector<double> old_means;
      for (const Node* continuous : test::continuous_nodes(*table))
        old_means.push_back(test::mean(*table, states, continuous));
      node->number_of_states = new_count;
      EXPECT_EQ(test::entry(*changed, states), old_entry);
      for (size_t i = 0; i < old_means.size(); ++i)
        EXPECT_EQ(test::mean(*changed, states, table->nodes[table->discrete_count + i]), old_means[i]);
      node->number_of_states = std::min(old_count, new_count);
    });
    node->number_of_states = new_count;
    test::for_each_assignment(*changed, [&](Assignment& states) {
      if (states[node] < old_count) return;
      EXPECT_EQ(test::entry(*changed, states), 0.25f);
      for (const Node* continuous : test::continuous_nodes(*changed)) {
        EXPECT_EQ(test::mean(*changed, states, continuous), 0.0);
        EXPECT_EQ(test::covariance(*changed, states, continuous, continuous),
                  test::is_tail(*changed, continuous) ? 0.0 : 1.0);
      }
    });
  }
}

TEST(TableLayout, LongRunsAndStripsAreCoveredWhole) {
  TableWorld world;
  Node* a = world.discrete(3);
  Node* b = world.discrete(7);
  Node* c = world.discrete(61);
  auto table = world.table({a, b, c});
  ASSERT_EQ(tv::allocate_table_data(*table), tv_status_none);
  for (size_t i = 0; i < table->size; ++i) table->data[i] = static_cast<tv_number_t>(i);
  const auto original = tv::clone_table(*table);
  auto averaged = tv::table_without_parent(*table, a);  // runs of 427 entries
  for (size_t i = 0; i < averaged->size; ++i)
    ASSERT_EQ(averaged->data[i], static_cast<tv_number_t>(i + averaged->size));
  ASSERT_EQ(tv::permute_table(*table, {c, a, b}), tv_status_none);
  expect_same_potential(*table, *original);
}

TEST(TableLayout, AChangedTableKeepsItsIdentity) {
  TableWorld world;
  Node* owner = world.discrete(2);
  auto table = world.table({owner}, tv::TableKind::node, owner);
  table->user_data = &world;
  const Table* handle = table.get();
  const size_t number = table->number, layout = table->layout;
  Node* parent = world.discrete(3);
  tv::take_over(*table, tv::table_with_parent(*table, parent));
  EXPECT_EQ(table.get(), handle);
  EXPECT_EQ(table->number, number);
  EXPECT_EQ(table->owner, owner);
  EXPECT_EQ(table->kind, tv::TableKind::node);
  EXPECT_EQ(table->user_data, &world);
  EXPECT_GT(table->layout, layout);
  EXPECT_FALSE(tv::has_data(*table));  // numbers that nobody asked for stay unmade
  EXPECT_EQ(table->size, 6u);
}

TEST(TableLayout, SizesThatCannotBeHeldThrowInsteadOfWrapping) {
  TableWorld world;
  Node* node = world.discrete(2);
  auto table = world.table({node});
  ASSERT_EQ(tv::allocate_table_data(*table), tv_status_none);
  for (size_t states : {size_t{1} << 62, size_t{1} << 63, static_cast<size_t>(-1)}) {
    Node* parent = world.discrete(states);
    EXPECT_THROW(tv::table_with_parent(*table, parent), std::bad_alloc);
    EXPECT_THROW(tv::table_with_state_count(*table, node, states, 0), std::bad_alloc);
  }
  EXPECT_EQ(table->size, 2u);
}

}  // namespace

// Names: syntax, uniqueness, automatic names, and the hash table that must never change an answer.
#include <map>
#include <random>

#include "network/node_operations.h"
#include "network_world.h"

namespace {

TEST(Names, SyntaxIsThatOfDottedIdentifiers) {
  World world;
  tv_node_t* node = world.chance();
  for (const char* name : {"_x1", "a.b", "a._", "A9.b_.c", "_", "Z"})
    EXPECT_EQ(tv_node_set_name(node, name), tv_status_none) << name;
  for (const char* name : {"", "1x", "a-b", "a..b", "a.", ".a", "a.1", "a b", "a\n", "\xC3\xA4", "a\xE4"})
    EXPECT_EQ(tv_node_set_name(node, name), tv_status_invalid_name) << name;
  EXPECT_STREQ(tv_node_get_name(node), "Z");
  EXPECT_CODE(tv_status_usage, tv_node_set_name(node, nullptr));
  EXPECT_CODE(tv_status_usage, tv_node_set_name(nullptr, "x"));
  EXPECT_CODE(tv_status_usage, tv_domain_get_node_by_name(world, nullptr));

  world.domain->is_class = true;
  EXPECT_CODE(tv_status_invalid_name, tv_node_set_name(node, "a.b"));
  EXPECT_CODE(tv_status_none, tv_node_set_name(node, "a_b"));
}

TEST(Names, AreUniqueWithinTheDomain) {
  World world, other;
  tv_node_t* a = world.chance();
  tv_node_t* b = world.chance();
  EXPECT_CODE(tv_status_none, tv_node_set_name(a, "a"));
  EXPECT_CODE(tv_status_twice, tv_node_set_name(b, "a"));
  EXPECT_CODE(tv_status_none, tv_node_set_name(a, "a"));
  EXPECT_CODE(tv_status_none, tv_node_set_name(other.chance(), "a"));
  EXPECT_CODE(tv_status_none, tv_node_set_name(b, "A"));
  EXPECT_EQ(tv_domain_get_node_by_name(world, "A"), b);
  EXPECT_EQ(tv_domain_get_node_by_name(world, "none"), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_none);
}

TEST(Names, AutomaticNamesTakeTheLetterAndTheFirstFreeNumber) {
  World world;
  tv_node_t* chance = world.chance();
  tv_node_t* decision = world.decision();
  tv_node_t* utility = world.utility();
  tv_node_t* function = world.function();
  tv_node_t* taken = world.chance();
  EXPECT_STREQ(tv_node_get_name(chance), "C1");
  EXPECT_STREQ(tv_node_get_name(decision), "D2");
  EXPECT_STREQ(tv_node_get_name(utility), "U3");
  EXPECT_STREQ(tv_node_get_name(function), "F4");
  tv_node_set_name(chance, "C5");
  tv_node_set_name(utility, "C6");
  EXPECT_STREQ(tv_node_get_name(taken), "C7");  // C5 and then C6 are in use
  EXPECT_EQ(tv_domain_get_node_by_name(world, "C7"), taken);
}

TEST(NameTable, LengthsArePrimesThatFollowTheDomain) {
  const std::pair<size_t, size_t> primes[] = {{0, 2},  {2, 2},   {3, 3},      {4, 5},
                                              {9, 11}, {24, 29}, {7920, 7927}};
  for (const auto& [number, prime] : primes) EXPECT_EQ(tv::smallest_prime_not_below(number), prime);
  World world;
  for (int i = 0; i < 10; ++i) world.chance();
  tv_domain_get_node_by_name(world, "x");
  EXPECT_EQ(world.domain->name_table, nullptr);
  for (int i = 0; i < 2; ++i) world.chance();
  tv_domain_get_node_by_name(world, "x");
  EXPECT_EQ(world.domain->name_table->length(), 13u);
  while (tv_domain_get_number_of_nodes(world) < 26) world.chance();
  tv_domain_get_node_by_name(world, "x");
  EXPECT_EQ(world.domain->name_table->length(), 13u);  // up to twice its length
  world.chance();
  tv_domain_get_node_by_name(world, "x");
  EXPECT_EQ(world.domain->name_table->length(), 29u);

  World eleven;
  for (int i = 0; i < 11; ++i) eleven.chance();
  tv_domain_get_node_by_name(eleven, "x");
  EXPECT_EQ(eleven.domain->name_table->length(), 11u);
}

// Random creations, renamings, deletions and lookups against a map.
TEST(NameTable, AgreesWithAMap) {
  World world;
  std::map<std::string, tv_node_t*> names;
  std::mt19937 random(1);
  const auto pick = [&](size_t count) { return static_cast<size_t>(random() % count); };
  for (int step = 0; step < 6000; ++step) {
    const std::string name = "n" + std::to_string(pick(400));
    const auto found = names.find(name);
    const Nodes nodes = all_nodes(world);
    switch (nodes.empty() ? 0 : pick(5)) {
      case 0:
        if (nodes.size() < 300) world.chance();
        break;
      case 1: {
        tv_node_t* node = nodes[pick(nodes.size())];
        const bool taken = found != names.end() && found->second != node;
        EXPECT_EQ(tv_node_set_name(node, name.c_str()), taken ? tv_status_twice : tv_status_none);
        if (taken) break;
        std::erase_if(names, [&](const auto& entry) { return entry.second == node; });
        names[name] = node;
        break;
      }
      case 2:
        if (step % 4 == 0) {
          tv_node_t* node = nodes[pick(nodes.size())];
          std::erase_if(names, [&](const auto& entry) { return entry.second == node; });
          tv_node_delete(node);
        }
        break;
      default:
        EXPECT_EQ(tv_domain_get_node_by_name(world, name.c_str()),
                  found == names.end() ? nullptr : found->second);
    }
  }
  EXPECT_GT(names.size(), 50u);
}

}  // namespace

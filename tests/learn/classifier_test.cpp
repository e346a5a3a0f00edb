// Classifiers: their scores, hidden nodes between class and features, and the tuning of their tables.
#include <map>
#include <numeric>
#include <set>

#include "learn/structure/trees/hidden_states.h"
#include "sample_world.h"

namespace test {
namespace {

// BIC of a family by its definition.
double bic(const Cells& cells, const std::vector<size_t>& states, size_t node,
           const std::vector<size_t>& parents) {
  std::map<std::vector<int>, double> with, without;
  double configurations = 1.0;
  for (const size_t parent : parents) configurations *= static_cast<double>(states[parent]);
  for (const std::vector<int>& row : cells) {
    std::vector<int> key;
    for (const size_t parent : parents) key.push_back(row[parent]);
    ++without[key];
    key.push_back(row[node]);
    ++with[key];
  }
  double score = -0.5 * std::log(static_cast<double>(cells.size())) * configurations *
                 static_cast<double>(states[node] - 1);
  for (const auto& [key, n] : with) score += n * std::log(n);
  for (const auto& [key, n] : without) score -= n * std::log(n);
  return score;
}

TEST(Classifiers, HaveTheScoreOfTheirFamilies) {
  Generator random(2);
  const std::vector<size_t> states = {3, 2, 2, 3};
  Cells cells;
  for (size_t i = 0; i < 200; ++i) {
    const int c = static_cast<int>(random.below(3)), b = static_cast<int>(random.below(2));
    cells.push_back({c, b, random.chance(0.7) ? c % 2 : b, random.chance(0.6) ? c : b});
  }
  const DomainOwner domain = domain_with_cases({"class", "p", "q", "r"}, states, cells);
  for (const auto method :
       {tv_structure_method_naive_bayes, tv_structure_method_tan, tv_structure_method_tree}) {
    const StructureOwner structure = learn(domain.get(), method, "class");
    double sum = 0.0;
    for (size_t v = 0; v < 4; ++v) sum += bic(cells, states, v, structure->graph.parents(v));
    ASSERT_TRUE(structure->score);
    EXPECT_NEAR(*structure->score, sum, 1e-6) << links_of(structure);
  }
}

// A class of three states; of the features, u, v and w follow something that is not observed, and the others
// the class alone.
Cells hierarchical_cells(size_t rows, uint64_t seed) {
  Generator random(seed);
  Cells cells;
  for (size_t i = 0; i < rows; ++i) {
    const int c = static_cast<int>(random.below(3));
    const int hidden = random.chance(0.2 + 0.3 * c);
    const auto copy = [&](int value, double right) { return random.chance(right) ? value : 1 - value; };
    cells.push_back({c, c == 1 ? copy(1, 0.8) : copy(0, 0.7), copy(hidden, 0.9), copy(hidden, 0.85),
                     copy(hidden, 0.9) + (random.chance(0.1) ? 1 : 0), copy(c == 2, 0.8)});
  }
  return cells;
}

TEST(Hierarchical, PutsHiddenNodesAboveFeaturesThatDepend) {
  const Cells cells = hierarchical_cells(2000, 6);
  const DomainOwner domain = domain_with_cases({"class", "s", "u", "v", "w", "x"}, {3, 2, 2, 2, 3, 2}, cells);
  add_node(domain.get(), "H1", 2);  // the name is taken
  const Learner learner;
  tv_structure_learner_set_method(learner.get(), tv_structure_method_hierarchical);
  tv_structure_learner_set_target(learner.get(), "class");
  tv_structure_learner_leave_out_node(learner.get(), "H1");
  const StructureOwner structure = learn(domain.get(), learner);
  EXPECT_EQ(links_of(structure), "H2->u H2->v H3->H2 H3->w class->H3 class->s class->x");
  for (size_t v = 0; v < structure->nodes.size(); ++v) {
    const bool is_hidden = structure->nodes[v].name[0] == 'H';
    EXPECT_EQ(tv_structure_get_hidden_states(structure.get(), v) > 1, is_hidden);
    if (v > 0) {
      EXPECT_LT(structure->nodes[v - 1].name, structure->nodes[v].name);
    }
  }
  EXPECT_FALSE(structure->score);
  EXPECT_EQ(tv_domain_set_structure(domain.get(), structure.get()), tv_status_none) << tv_error_message();
}

TEST(Hierarchical, IsNaiveBayesWhereFeaturesDependOnTheClassAlone) {
  Generator random(9);
  Cells cells;
  for (size_t i = 0; i < 1000; ++i) {
    const int c = static_cast<int>(random.below(2));
    cells.push_back({c});
    for (size_t f = 0; f < 5; ++f) cells.back().push_back(random.chance(0.3) ? 1 - c : c);
  }
  const DomainOwner domain = domain_with_cases({"c", "p", "q", "r", "s", "t"}, {2, 2, 2, 2, 2, 2}, cells);
  const StructureOwner structure = learn(domain.get(), tv_structure_method_hierarchical, "c");
  EXPECT_EQ(links_of(structure), "c->p c->q c->r c->s c->t");
  EXPECT_EQ(structure->score, learn(domain.get(), tv_structure_method_naive_bayes, "c")->score);
}

// The gain is what the scores of the three families, with the hidden node as a column, add to those of two.
// No two states are better taken together.
TEST(HiddenStates, GainWhatTheirFamiliesScoreMore) {
  Generator random(12);
  size_t merged = 0;
  for (size_t trial = 0; trial < 60; ++trial) {
    const std::vector<size_t> states = {2 + random.below(2), 2 + random.below(2), 2 + random.below(3)};
    Cells cells;
    for (size_t i = 0; i < 100; ++i) {
      const size_t c = random.below(states[0]), a = random.below(states[1]);
      const size_t b = random.chance(0.6) ? a % states[2] : random.below(states[2]);
      cells.push_back({static_cast<int>(c), static_cast<int>(a), static_cast<int>(b)});
    }
    const DomainOwner domain = domain_with_cases({"a", "b", "c"}, states, cells);
    const Learner learner;
    const Columns world(domain.get(), learner);
    const tv::CaseColumns& columns = world.columns;
    const tv::CountLogarithms logarithms(columns.total(), true);
    const tv::HiddenStates found = tv::find_hidden_states(columns, logarithms, 0, 1, 2);
    ASSERT_GE(found.count, 2u);
    const auto gain = [&](const std::vector<int>& codes, size_t count) {
      Cells all = cells;
      for (size_t i = 0; i < all.size(); ++i) all[i].push_back(codes[i]);
      std::vector<size_t> sizes = states;
      sizes.push_back(count);
      return bic(all, sizes, 3, {0}) + bic(all, sizes, 1, {3}) + bic(all, sizes, 2, {3}) -
             bic(all, sizes, 1, {0}) - bic(all, sizes, 2, {0});
    };
    const std::vector<int> codes(found.codes.begin(), found.codes.end());
    EXPECT_NEAR(found.gain, gain(codes, found.count), 1e-6);
    std::map<int, std::set<std::pair<int, int>>> members;
    for (size_t i = 0; i < cells.size(); ++i) members[codes[i]].insert({cells[i][1], cells[i][2]});
    for (const auto& [code, pairs] : members) merged += pairs.size() > 1;
    for (int i = 0; found.count > 2 && i < static_cast<int>(found.count); ++i)
      for (int j = 0; j < i; ++j) {
        std::vector<int> together = codes;
        for (int& code : together) code = code == i ? j : code - (code > i);
        EXPECT_LT(gain(together, found.count - 1), found.gain);
      }
  }
  EXPECT_GT(merged, 40u);
}

// ---- Tuning ----

// A naive-Bayes classifier with tables learned from its cases.
DomainOwner learned_classifier(const Cells& cells, const std::vector<size_t>& states,
                               const std::vector<double>& counts = {}) {
  const std::vector<std::string> names = {"c", "p", "q", "r", "s", "t"};
  DomainOwner domain = domain_with_cases(
      {names.begin(), names.begin() + static_cast<ptrdiff_t>(states.size())}, states, cells, counts);
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  for (size_t v = 0; v < nodes.size(); ++v) {
    if (v > 0) tv_node_add_parent(nodes[v], nodes[0]);
    tv_node_get_experience_table(nodes[v]);
  }
  tv_domain_compile(domain.get());
  EXPECT_EQ(tv_domain_learn_tables(domain.get()), tv_status_none) << tv_error_message();
  return domain;
}

std::vector<tv_number_t> numbers_of(tv_domain_t* domain) {
  std::vector<tv_number_t> numbers;
  for (tv_node_t* node : nodes_of(domain)) {
    const tv_table_t* table = tv_node_get_table(node);
    const tv_number_t* data = tv_table_get_data(tv_node_get_table(node));
    numbers.insert(numbers.end(), data, data + tv_table_get_size(table));
  }
  return numbers;
}

// By the domain itself, over all cases.
double errors_of(tv_domain_t* domain, const Cells& cells) {
  const std::vector<tv_node_t*> nodes = nodes_of(domain);
  double wrong = 0;
  for (const std::vector<int>& row : cells) {
    tv_domain_retract_findings(domain);
    for (size_t v = 1; v < nodes.size(); ++v) tv_node_select_state(nodes[v], static_cast<size_t>(row[v]));
    tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal);
    size_t best = 0;
    for (size_t s = 1; s < tv_node_get_number_of_states(nodes[0]); ++s)
      if (tv_node_get_belief(nodes[0], s) > tv_node_get_belief(nodes[0], best)) best = s;
    wrong += best != static_cast<size_t>(row[0]);
  }
  tv_domain_retract_findings(domain);
  return wrong / static_cast<double>(cells.size());
}

TEST(TuneClassifier, NeverClassifiesWorse) {
  size_t better = 0;
  for (uint64_t seed = 0; seed < 12; ++seed) {
    const Cells cells = hierarchical_cells(400, 20 + seed);
    const DomainOwner domain = learned_classifier(cells, {3, 2, 2, 2, 3, 2});
    const std::vector<tv_number_t> numbers = numbers_of(domain.get());
    const double errors = errors_of(domain.get(), cells);
    double before = -1, after = -1;
    ASSERT_EQ(tv_node_tune_classifier(nodes_of(domain.get())[0], 0.4, 50, 0.03, seed, &before, &after),
              tv_status_none);
    ASSERT_LE(after, before);
    EXPECT_NEAR(before, errors, 0.1);
    if (after == before) {
      EXPECT_EQ(numbers_of(domain.get()), numbers);
      continue;
    }
    ++better;
    EXPECT_NEAR(after, errors_of(domain.get(), cells), 0.1);
    // Distributions remain such, and the class has the one that it had.
    for (tv_node_t* node : nodes_of(domain.get())) {
      const tv_number_t* data = tv_table_get_data(tv_node_get_table(node));
      const size_t states = tv_node_get_number_of_states(node);
      for (size_t c = 0; c < tv_table_get_size(tv_node_get_table(node)) / states; ++c, data += states) {
        EXPECT_NEAR(std::accumulate(data, data + states, 0.0), 1.0, 1e-5);
        EXPECT_GT(*std::min_element(data, data + states), 0);
      }
    }
    EXPECT_TRUE(std::equal(numbers.begin(), numbers.begin() + 3, numbers_of(domain.get()).begin()));
  }
  EXPECT_GT(better, 3u);
}

// Passes that make nothing better leave nothing behind.
TEST(TuneClassifier, KeepsTheBestPass) {
  const Cells cells = hierarchical_cells(400, 27);
  size_t improved = 0, ended = 0;
  for (uint64_t seed = 0; seed < 6; ++seed) {
    double best = 2.0;
    std::vector<tv_number_t> numbers;
    for (size_t passes = 0; passes < 8; ++passes) {
      const DomainOwner domain = learned_classifier(cells, {3, 2, 2, 2, 3, 2});
      double after = -1;
      ASSERT_EQ(tv_node_tune_classifier(nodes_of(domain.get())[0], 0.4, passes, 0.05, seed, nullptr, &after),
                tv_status_none);
      ASSERT_LE(after, best);
      if (after == best) {
        ++ended;
        EXPECT_EQ(numbers_of(domain.get()), numbers);
      }
      improved += passes > 0 && after < best;
      best = after;
      numbers = numbers_of(domain.get());
    }
  }
  EXPECT_GT(improved, 0u);
  EXPECT_GT(ended, 0u);
}

// One of two equal cases is learned from, once.
TEST(TuneClassifier, MovesProbabilitiesByTheRule) {
  const DomainOwner domain =
      domain_with_cases({"c", "p"}, {2, 3}, {{1, 2}, {-1, 0}, {1, 2}, {0, 1}}, {1, 1, 1, 0});
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  tv_node_add_parent(nodes[1], nodes[0]);
  set_table(nodes[0], {1, 1});
  set_table(nodes[1], {1, 2, 7, 0.3f, 0.2f, 0.5f});
  double before = -1, after = -1;
  const double rate = 1.6;
  EXPECT_EQ(tv_node_tune_classifier(nodes[0], 0.5, 1, rate, 1, &before, &after), tv_status_none);
  EXPECT_EQ(before, 1);
  EXPECT_EQ(after, 0);
  const double error = (0.7 - 0.5) / 1.2;
  const double lowered = 0.7 - rate * error * (2 * 0.7 - 0.1), raised = 0.5 + rate * error * (2 * 0.5 - 0.5);
  const double expected[] = {0.1 / (0.3 + lowered), 0.2 / (0.3 + lowered), lowered / (0.3 + lowered),
                             0.3 / (0.5 + raised),  0.2 / (0.5 + raised),  raised / (0.5 + raised)};
  const tv_number_t* data = tv_table_get_data(tv_node_get_table(nodes[1]));
  for (size_t i = 0; i < 6; ++i) EXPECT_NEAR(data[i], expected[i], 1e-6) << i;
  // A step that does not turn it round leaves nothing behind.
  set_table(nodes[1], {1, 2, 7, 0.3f, 0.2f, 0.5f});
  EXPECT_EQ(tv_node_tune_classifier(nodes[0], 0.5, 1, 0.1, 1, nullptr, nullptr), tv_status_none);
  EXPECT_EQ(tv_table_get_data(tv_node_get_table(nodes[1]))[2], 7);
}

// What counts three times moves as far as three cases, and what no class makes possible becomes possible.
TEST(TuneClassifier, CountsCasesAndImpossibleOnes) {
  const std::vector<float> numbers = {0.5f, 0.5f, 0.6f, 0.4f, 0.59f, 0.41f};
  const auto tuned = [&](const Cells& cells, const std::vector<double>& counts) {
    const DomainOwner domain = domain_with_cases({"c", "p"}, {3, 2}, cells, counts);
    const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
    tv_node_add_parent(nodes[1], nodes[0]);
    set_table(nodes[1], numbers);
    EXPECT_EQ(tv_node_tune_classifier(nodes[0], 0.5, 1, 3.0, 1, nullptr, nullptr), tv_status_none);
    const tv_number_t* data = tv_table_get_data(tv_node_get_table(nodes[1]));
    return std::vector<float>(data, data + 6);
  };
  const Cells two = {{0, 0}, {0, 0}}, six(6, {0, 0});
  EXPECT_NE(tuned(six, {}), numbers);
  EXPECT_EQ(tuned(two, {3, 3}), tuned(six, {}));
  EXPECT_EQ(tuned(two, {}), numbers);  // one step is not enough to be right

  const DomainOwner domain = domain_with_cases({"c", "p"}, {2, 2}, {{0, 1}, {0, 1}});
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  tv_node_add_parent(nodes[1], nodes[0]);
  set_table(nodes[1], {1, 0, 1, 0});
  double before = -1, after = -1;
  EXPECT_EQ(tv_node_tune_classifier(nodes[0], 0.5, 5, 0.1, 1, &before, &after), tv_status_none);
  EXPECT_EQ(before, 1);
  EXPECT_EQ(after, 0);
}

TEST(TuneClassifier, IsForClassifiers) {
  const Cells cells(10, {0, 1, 0});
  const DomainOwner domain = domain_with_cases({"c", "p", "q"}, {2, 2, 2}, cells);
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  const auto status_of = [&](tv_node_t* target, double held_out, double rate) {
    return tv_node_tune_classifier(target, held_out, 5, rate, 1, nullptr, nullptr);
  };
  EXPECT_EQ(status_of(nodes[0], 0.5, 0.01), tv_status_usage);  // nobody's parent
  tv_node_add_parent(nodes[1], nodes[0]);
  EXPECT_EQ(status_of(nodes[0], 0.5, 0.01), tv_status_none);
  EXPECT_EQ(status_of(nodes[1], 0.5, 0.01), tv_status_usage);
  for (const double wrong : {0.0, 1.0, std::nan("")})
    EXPECT_EQ(status_of(nodes[0], wrong, 0.01), tv_status_usage);
  for (const double wrong : {0.0, -1.0, HUGE_VAL})
    EXPECT_EQ(status_of(nodes[0], 0.5, wrong), tv_status_usage);
  EXPECT_EQ(status_of(nodes[0], 0.01, 0.01), tv_status_usage);
  EXPECT_STREQ(tv_error_message(), "of 10 cases with a known class, 0 would be held out");
  tv_domain_set_progress_handler(
      domain.get(), [](const char*, double, void*) { return 1; }, nullptr);
  EXPECT_EQ(status_of(nodes[0], 0.5, 0.01), tv_status_error);
  tv_domain_set_progress_handler(domain.get(), nullptr, nullptr);
  tv_node_add_parent(nodes[1], nodes[2]);
  EXPECT_EQ(status_of(nodes[0], 0.5, 0.01), tv_status_usage);
  EXPECT_STREQ(tv_error_message(), "the child \"p\" of the class has another parent");
}

}  // namespace
}  // namespace test

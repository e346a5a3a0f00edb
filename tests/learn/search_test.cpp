// Greedy and exact search: scores against those of whole domains and closed forms, results against all
// graphs.
#include <numeric>

#include "learn/structure/graph/equivalence_class.h"
#include "learn/structure/search/family_score.h"
#include "structure_world.h"

namespace test {
namespace {

void set_method(const Learner& learner, tv_structure_method_t method, tv_structure_score_t score) {
  tv_structure_learner_set_method(learner.get(), method);
  tv_structure_learner_set_score(learner.get(), score);
}

// Tables from complete cases, which one iteration finds.
void learn_tables(tv_domain_t* domain) {
  for (tv_node_t* node : nodes_of(domain)) ASSERT_TRUE(tv_node_get_experience_table(node));
  ASSERT_EQ(tv_domain_compile(domain), tv_status_none) << tv_error_message();
  ASSERT_EQ(tv_domain_learn_tables(domain), tv_status_none) << tv_error_message();
}

// The score of a graph, family by family.
class GraphScorer {
 public:
  GraphScorer(tv_domain_t* domain, const Learner& learner)
      : read_(domain, learner),
        logarithms_(read_.columns.total(), !read_.columns.is_weighted()),
        scorer_(read_.columns, logarithms_, learner->settings) {}

  double score(const PartialGraph& dag) {
    double sum = 0.0;
    for (uint32_t node = 0; node < dag.size(); ++node) {
      const std::vector<size_t> parents = dag.parents(node);
      const auto [known, is_new] = known_.emplace(std::pair(node, parents), 0.0);
      if (is_new) known->second = scorer_.score(node, std::vector<uint32_t>(parents.begin(), parents.end()));
      sum += known->second;
    }
    return sum;
  }

 private:
  Columns read_;
  const tv::CountLogarithms logarithms_;
  tv::FamilyScorer scorer_;
  std::map<std::pair<uint32_t, std::vector<size_t>>, double> known_;
};

DomainOwner mixed_domain(Generator& random) {
  DomainOwner domain = new_domain();
  tv_node_t* const d = add_node(domain.get(), "d", 2, {}, {0.4f, 0.6f});
  tv_node_t* const e = add_node(domain.get(), "e", 3, {d}, {0.7f, 0.2f, 0.1f, 0.1f, 0.3f, 0.6f});
  tv_node_t *x = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous),
            *y = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
  tv_node_set_name(x, "x");
  tv_node_set_name(y, "y");
  tv_node_add_parent(x, e);
  tv_node_add_parent(y, x);
  for (size_t c = 0; c < 3; ++c) {
    tv_node_set_intercept(x, c, 5.0 * static_cast<double>(c));
    tv_node_set_conditional_variance(x, c, 2.0);
  }
  tv_node_set_coefficient(y, x, 0, 0.5);
  tv_node_set_conditional_variance(y, 0, 0.3);
  draw_cases(domain.get(), random, 1000);
  return domain;
}

// What the search maximises is what the whole domain scores once its tables are learned.
TEST(Search, ScoresAreThoseOfTheDomain) {
  Generator random(12);
  for (const bool is_mixed : {false, true}) {
    const DomainOwner domain =
        is_mixed ? mixed_domain(random) : strong_network(random_dag(random, 6, 0.4), random, 3);
    if (!is_mixed) draw_cases(domain.get(), random, 2000);
    for (const tv_structure_score_t score :
         {tv_structure_score_bic, tv_structure_score_aic, tv_structure_score_log_likelihood}) {
      const Learner learner;
      set_method(learner, tv_structure_method_greedy, score);
      tv_structure_learner_set_max_parents(learner.get(), 2);
      const StructureOwner structure = learn(domain.get(), learner);
      ASSERT_EQ(tv_domain_set_structure(domain.get(), structure.get()), tv_status_none) << tv_error_message();
      learn_tables(domain.get());
      const double whole = score == tv_structure_score_bic   ? tv_domain_get_BIC(domain.get())
                           : score == tv_structure_score_aic ? tv_domain_get_AIC(domain.get())
                                                             : tv_domain_get_log_likelihood(domain.get());
      EXPECT_NEAR(tv_structure_get_score(structure.get()), whole, 1e-5 * std::abs(whole));
      if (is_mixed && score == tv_structure_score_bic) {
        EXPECT_EQ(shown(tv::class_of(graph_of(structure), structure->knowledge)), "0-1 1->2 2->3 ");
      }
    }
  }
}

// Two binary columns in five cases: 0 0, 0 0, 0 1, 1 1, 1 1, by hand.
TEST(Search, MarginalLikelihoodsHaveClosedForms) {
  const DomainOwner domain = new_domain();
  tv_node_t *a = add_node(domain.get(), "a", 2), *b = add_node(domain.get(), "b", 2);
  tv_domain_set_number_of_cases(domain.get(), 5);
  const size_t states[5][2] = {{0, 0}, {0, 0}, {0, 1}, {1, 1}, {1, 1}};
  for (size_t row = 0; row < 5; ++row) {
    tv_node_set_case_state(a, row, states[row][0]);
    tv_node_set_case_state(b, row, states[row][1]);
  }
  PartialGraph link(2);
  link.direct(0, 1);
  Learner learner;
  set_method(learner, tv_structure_method_greedy, tv_structure_score_k2);
  // Of a: 1! 3! 2! / 6!; of b given a = 0: 1! 2! 1! / 4!, given a = 1: 1! 0! 2! / 3!.
  EXPECT_NEAR(GraphScorer(domain.get(), learner).score(link), std::log(12.0 / 720 * 2.0 / 24 * 2.0 / 6),
              1e-9);
  set_method(learner, tv_structure_method_greedy, tv_structure_score_bdeu);
  tv_structure_learner_set_equivalent_sample_size(learner.get(), 4);
  // Each entry of a begins with 2, of b given a with 1: (2 3 4)(2 3) / (4 5 6 7 8) and so on.
  EXPECT_NEAR(GraphScorer(domain.get(), learner).score(link),
              std::log(24.0 * 6 / (4 * 5 * 6 * 7 * 8) * (1.0 * 2 * 1) / (2 * 3 * 4) * (1.0 * 2) / (2 * 3)),
              1e-9);
}

// A family of which some cases lack a node counts as if all cases were like those that do not.
TEST(Search, IncompleteFamiliesCountForAllCases) {
  Generator random(21);
  const DomainOwner domain = strong_network(random_dag(random, 2, 1.0), random, 3);
  draw_cases(domain.get(), random, 400, 0.2);
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  std::map<std::pair<size_t, size_t>, double> counts;
  std::map<size_t, double> of_parent;
  double complete = 0.0, sum = 0.0;
  for (size_t row = 0; row < 400; ++row) {
    if (!tv_node_case_is_set(nodes[0], row) || !tv_node_case_is_set(nodes[1], row)) continue;
    ++counts[{tv_node_get_case_state(nodes[0], row), tv_node_get_case_state(nodes[1], row)}];
    ++of_parent[tv_node_get_case_state(nodes[0], row)];
    ++complete;
  }
  for (const auto& [states, n] : counts) sum += n * std::log(n / of_parent[states.first]);
  const Learner learner;
  set_method(learner, tv_structure_method_greedy, tv_structure_score_log_likelihood);
  const Columns read(domain.get(), learner);
  const tv::CountLogarithms logarithms(read.columns.total(), true);
  const uint32_t parent[] = {0};
  EXPECT_NEAR(tv::FamilyScorer(read.columns, logarithms, learner->settings).score(1, parent),
              sum * 400.0 / complete, 1e-7);
}

// Equivalent graphs have the same BIC, AIC, likelihood and BDeu.
TEST(Search, EquivalentGraphsScoreTheSame) {
  Generator random(77);
  const DomainOwner domain = strong_network(random_dag(random, 4, 0.5), random, 3);
  draw_cases(domain.get(), random, 300);
  for (const tv_structure_score_t score :
       {tv_structure_score_bic, tv_structure_score_aic, tv_structure_score_bdeu}) {
    const Learner learner;
    set_method(learner, tv_structure_method_greedy, score);
    GraphScorer scorer(domain.get(), learner);
    std::map<std::string, double> scores;
    for (const PartialGraph& dag : all_dags(4)) {
      const auto [place, is_new] = scores.emplace(links_and_colliders(dag), scorer.score(dag));
      ASSERT_NEAR(place->second, scorer.score(dag), 1e-6);
    }
  }
}

// Whether a graph over the nodes "a", "b" and so on has what is required, and nothing else than is allowed.
bool meets(const PartialGraph& dag, const Learner& learner) {
  for (size_t node = 0; node < dag.size(); ++node)
    if (dag.parents(node).size() > learner->settings.max_parents) return false;
  for (const tv::Constraint& constraint : learner->constraints.links) {
    const size_t from = static_cast<size_t>(constraint.from[0] - 'a');
    const size_t to = static_cast<size_t>(constraint.to[0] - 'a');
    if (constraint.kind == tv::ConstraintKind::forbid_link && dag.is_directed(from, to)) return false;
    if (constraint.kind == tv::ConstraintKind::require_link && !dag.is_directed(from, to)) return false;
    if (constraint.kind == tv::ConstraintKind::require_adjacency && !dag.are_adjacent(from, to)) return false;
  }
  return !dag.has_directed_cycle();
}

// Few parents, a link that is forbidden and perhaps required the other way round, two nodes that must be
// joined.
void constrain_at_random(const Learner& learner, Generator& random, size_t size) {
  const char* const names[] = {"a", "b", "c", "d", "e"};
  if (random.chance(0.3)) tv_structure_learner_set_max_parents(learner.get(), 1 + random.below(size - 1));
  if (random.chance(0.5)) {
    const size_t from = random.below(size), to = (from + 1 + random.below(size - 1)) % size;
    tv_structure_learner_forbid_link(learner.get(), names[from], names[to]);
    if (random.chance(0.5)) tv_structure_learner_require_link(learner.get(), names[to], names[from]);
  }
  if (random.chance(0.4)) tv_structure_learner_require_adjacency(learner.get(), "a", "c");
}

TEST(Search, ExactSearchFindsTheBestOfAllGraphs) {
  Generator random(2);
  const std::vector<PartialGraph> dags[] = {all_dags(4), all_dags(5)};
  for (size_t i = 0; i < 70; ++i) {
    const size_t size = i < 60 ? 4 : 5;
    const DomainOwner domain = strong_network(random_dag(random, size, 0.6), random, 2 + i % 2);
    draw_cases(domain.get(), random, 20 + random.below(200), i % 4 == 0 ? 0.1 : 0.0);
    const Learner learner;
    set_method(learner, tv_structure_method_exact, static_cast<tv_structure_score_t>(i % 5));
    constrain_at_random(learner, random, size);
    GraphScorer scorer(domain.get(), learner);
    double best = -HUGE_VAL;
    for (const PartialGraph& dag : dags[size - 4])
      if (meets(dag, learner)) best = std::max(best, scorer.score(dag));
    const StructureOwner exact = learn(domain.get(), learner);
    EXPECT_NEAR(tv_structure_get_score(exact.get()), best, 1e-7) << i;
    EXPECT_NEAR(scorer.score(graph_of(exact)), best, 1e-7) << i;
    EXPECT_TRUE(meets(graph_of(exact), learner)) << i;

    tv_structure_learner_set_method(learner.get(), tv_structure_method_greedy);
    const StructureOwner greedy = learn(domain.get(), learner);
    EXPECT_LE(tv_structure_get_score(greedy.get()), best + 1e-7) << i;
    EXPECT_NEAR(tv_structure_get_score(greedy.get()), scorer.score(graph_of(greedy)), 1e-7) << i;
    EXPECT_TRUE(meets(graph_of(greedy), learner)) << i;
  }
}

// Links are required between a and all others, and no node may have two parents: all must lead away from a.
TEST(Search, RequiredLinksKeepTheLimitOfParents) {
  Generator random(9);
  const DomainOwner domain = strong_network(random_dag(random, 5, 0.5), random);
  draw_cases(domain.get(), random, 200);
  const Learner learner;
  tv_structure_learner_set_max_parents(learner.get(), 1);
  for (const char* other : {"b", "c", "d", "e"})
    tv_structure_learner_require_adjacency(learner.get(), "a", other);
  for (const tv_structure_method_t method : {tv_structure_method_greedy, tv_structure_method_exact}) {
    tv_structure_learner_set_method(learner.get(), method);
    const StructureOwner structure = learn(domain.get(), learner);
    size_t links = 0;
    for (size_t node = 0; node < 5; ++node) {
      EXPECT_LE(graph_of(structure).parents(node).size(), 1u);
      links += graph_of(structure).are_adjacent(0, node) && node > 0;
    }
    EXPECT_EQ(links, 4u);
  }
}

TEST(Search, TabuStepsAndRestartsAreNeverWorse) {
  Generator random(41);
  for (size_t i = 0; i < 5; ++i) {
    const DomainOwner domain = strong_network(random_dag(random, 10, 0.4), random, 2);
    draw_cases(domain.get(), random, 1000);
    const Learner learner;
    set_method(learner, tv_structure_method_greedy, tv_structure_score_bic);
    tv_structure_learner_set_tabu_steps(learner.get(), 0);
    const double plain = tv_structure_get_score(learn(domain.get(), learner).get());
    tv_structure_learner_set_tabu_steps(learner.get(), 30);
    const double tabu = tv_structure_get_score(learn(domain.get(), learner).get());
    tv_structure_learner_set_restarts(learner.get(), 5);
    const double restarted = tv_structure_get_score(learn(domain.get(), learner).get());
    tv_structure_learner_set_method(learner.get(), tv_structure_method_exact);
    const double exact = tv_structure_get_score(learn(domain.get(), learner).get());
    EXPECT_LE(plain, tabu);
    EXPECT_LE(tabu, restarted);
    EXPECT_LE(restarted, exact + 1e-7);
    EXPECT_GT(restarted, exact - 0.02 * std::abs(exact));
  }
}

TEST(Search, CliquesStayAsLightAsAsked) {
  Generator random(6);
  const DomainOwner domain = strong_network(random_dag(random, 12, 0.5), random, 3);
  draw_cases(domain.get(), random, 3000);
  const Learner learner;
  set_method(learner, tv_structure_method_greedy, tv_structure_score_aic);
  const auto weight = [&] {
    const StructureOwner structure = learn(domain.get(), learner);
    EXPECT_EQ(tv_domain_set_structure(domain.get(), structure.get()), tv_status_none);
    EXPECT_EQ(tv_domain_triangulate(domain.get(), tv_method_best_greedy), tv_status_none);
    double total = 0.0;
    for (tv_junction_tree_t* tree = tv_domain_get_first_junction_tree(domain.get()); tree;
         tree = tv_jt_get_next(tree))
      for (tv_clique_t** clique = tv_jt_get_cliques(tree); *clique; ++clique) {
        double configurations = 1.0;
        for (tv_node_t** node = tv_clique_get_members(*clique); *node; ++node)
          configurations *= static_cast<double>(tv_node_get_number_of_states(*node));
        total += configurations;
      }
    return total;
  };
  EXPECT_GT(weight(), 200.0);
  tv_structure_learner_set_max_total_weight(learner.get(), 200);
  EXPECT_LE(weight(), 200.0);
}

int stop_after(const char*, double, void* left) { return (*static_cast<int*>(left))-- <= 0; }

// The greedy search keeps what it has found.
TEST(Search, InterruptedSearchKeepsTheBest) {
  Generator random(14);
  const DomainOwner domain = strong_network(random_dag(random, 8, 0.5), random);
  draw_cases(domain.get(), random, 500);
  const Learner learner;
  set_method(learner, tv_structure_method_greedy, tv_structure_score_bic);
  const StructureOwner whole = learn(domain.get(), learner);
  EXPECT_EQ(tv_structure_is_finished(whole.get()), 1);
  double last = -HUGE_VAL;
  size_t partial = 0;
  for (int steps = 0; steps < 2000; steps += 25) {
    int left = steps;
    tv_domain_set_progress_handler(domain.get(), stop_after, &left);
    const StructureOwner structure(tv_domain_learn_structure(domain.get(), learner.get()));
    if (!structure) {
      EXPECT_EQ(tv_error_code(), tv_status_error);
      continue;
    }
    partial += tv_structure_is_finished(structure.get()) == 0;
    EXPECT_GE(tv_structure_get_score(structure.get()), last);
    last = tv_structure_get_score(structure.get());
  }
  EXPECT_GT(partial, 5u);
  EXPECT_EQ(last, tv_structure_get_score(whole.get()));
}

TEST(Search, ExactSearchRefusesWhatItCannotIndex) {
  const DomainOwner domain = new_domain();
  for (int i = 0; i < 31; ++i) add_node(domain.get(), ("n" + std::to_string(i)).c_str(), 2);
  tv_domain_set_number_of_cases(domain.get(), 1);
  for (tv_node_t* node : nodes_of(domain.get())) tv_node_set_case_state(node, 0, 0);
  const Learner learner;
  set_method(learner, tv_structure_method_exact, tv_structure_score_bic);
  EXPECT_FALSE(tv_domain_learn_structure(domain.get(), learner.get()));
  EXPECT_EQ(tv_error_code(), tv_status_size_too_large);
  tv_structure_learner_leave_out_node(learner.get(), tv_node_get_name(nodes_of(domain.get())[0]));
  for (const size_t limit : {size_t{1} << 20, size_t{10}}) {  // for the search, and for the columns
    tv_domain_set_memory_limit(domain.get(), limit);
    EXPECT_FALSE(tv_domain_learn_structure(domain.get(), learner.get()));
    EXPECT_EQ(tv_error_code(), tv_status_no_memory);
    EXPECT_NE(std::string(tv_error_message()).find("memory limit"), std::string::npos);
  }
}

}  // namespace
}  // namespace test

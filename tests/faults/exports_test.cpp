// Runs the calls that the other files list, with each allocation failing in turn. A fault has two right
// outcomes: `no_memory` and everything as it was, after which the same call succeeds, or success and exactly
// the right result.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <set>

#include "faults/export_world.h"
#include "faults/injection.h"
#include "support/describe.h"

namespace test {
namespace {

std::vector<Case>& all_cases() {
  static std::vector<Case> list;
  return list;
}

}  // namespace

Cases::Cases(std::initializer_list<Case> cases) {
  all_cases().insert(all_cases().end(), cases.begin(), cases.end());
}

World::World(void (*prepare)(World&)) {
  domain = new_domain();
  a = add_node(domain.get(), "a", 2, {}, {0.25f, 0.75f});
  b = add_node(domain.get(), "b", 3, {a}, {0.5f, 0.25f, 0.25f, 0.125f, 0.125f, 0.75f});
  c = add_node(domain.get(), "c", 2, {a});
  d = add_node(domain.get(), "d", 2, {b, c}, std::vector<float>(12, 0.5f));
  alone = add_node(domain.get(), "alone", 2);
  tv_node_set_state_label(b, 1, "mid");
  tv_node_set_attribute(a, "colour", "red");
  net_stream.reset(fmemopen(const_cast<char*>(kNet), sizeof kNet - 1, "r"));
  prepare(*this);
}

namespace {

std::string describe(const tv_data_set_t* data) {
  const std::unique_ptr<char, World::Free> text(tv_data_set_to_csv_string(data, ','));
  std::string out = text.get();
  for (const char* const* missing = tv_data_set_get_missing_texts(data); *missing; ++missing) out += *missing;
  return out;
}

std::string describe(const World::Statistics& statistics) {
  size_t size = 0;
  const std::unique_ptr<void, World::Free> bytes(tv_em_statistics_to_bytes(statistics.get(), &size));
  return {static_cast<const char*>(bytes.get()), size};
}

std::string describe(const tv_structure_learner_t* learner) {
  const std::unique_ptr<char, World::Free> text(tv_structure_learner_constraints_to_string(learner));
  const char* const target = tv_structure_learner_get_target(learner);
  return std::string(text.get()) + (target ? target : "");
}

std::string describe(const tv_structure_t* structure) {
  std::string text;
  for (size_t v = 0; v < tv_structure_get_number_of_nodes(structure); ++v)
    text += tv_structure_get_node_name(structure, v) +
            std::to_string(tv_structure_get_hidden_states(structure, v)) + " ";
  for (size_t a = 0; a < tv_structure_get_number_of_nodes(structure); ++a)
    for (size_t b = 0; b < a; ++b)
      text += std::to_string(tv_structure_get_link_between(structure, a, b)) + " " +
              std::to_string(tv_structure_get_p_value(structure, a, b)) + " ";
  return text + std::to_string(tv_structure_get_score(structure)) + "\n";
}

}  // namespace

std::string World::state() {
  return describe(domain.get()) + (data ? describe(data.get()) : "") +
         (statistics ? describe(statistics) : "") + (learner ? describe(learner.get()) : "") +
         (structure ? describe(structure.get()) : "");
}

std::string World::outcome() {
  std::string out;
  if (made_data) out += describe(made_data.get());
  if (made) out += describe(made.get());
  if (made_statistics) out += describe(made_statistics);
  if (made_structure) out += describe(made_structure.get());
  if (table) out += describe(table.get());
  if (owned_table) out += describe(owned_table);
  if (node) out += tv_node_get_name(node);
  if (list) out += describe_names(list.get());
  if (borrowed_list) out += describe_names(borrowed_list);
  if (text) out += text;
  if (expression) {
    char* printed = tv_expression_to_string(expression.get());
    out += printed;
    std::free(printed);
  }
  if (own_text) out += own_text.get();
  out += std::to_string(number) + "\n";
  made.reset();
  made_data.reset();
  made_statistics.reset();
  made_structure.reset();
  table.reset();
  expression.reset();
  list.reset();
  owned_table = nullptr;
  node = nullptr;
  borrowed_list = nullptr;
  text = nullptr;
  own_text.reset();
  number = 0;
  return out;
}

// ---- States to start from ----

void plain(World&) {}
void crowded(World& w) {  // enough nodes for the table of names
  for (int i = 0; i < 10; ++i) add_node(w.domain.get(), nullptr, 2);
}
void with_name_table(World& w) {
  crowded(w);
  tv_domain_get_node_by_name(w.domain.get(), "a");
}
void with_intervals(World& w) { tv_node_set_subtype(w.b, tv_subtype_interval); }
void with_values(World& w) {
  tv_node_set_subtype(w.b, tv_subtype_number);
  for (size_t s = 0; s < 3; ++s) tv_node_set_state_value(w.b, s, static_cast<double>(s));
  tv_node_get_experience_table(w.d);
  tv_node_get_fading_table(w.d);
  enter_findings(w.b, {0.5f, 0.25f, 1});
  tv_node_select_state(w.d, 1);
}
void with_expression(World& w) {
  w.expression.reset(tv_domain_string_to_expression(w.domain.get(), kExpression, nullptr, nullptr));
}
void with_empty_model(World& w) {
  tv_node_t* model_nodes[] = {w.b, nullptr};
  tv_node_new_model(w.d, model_nodes);
}
void with_model(World& w) {
  with_empty_model(w);
  for (size_t i = 0; i < 3; ++i) {
    with_expression(w);
    tv_model_set_expression(tv_node_get_model(w.d), i, w.expression.release());
  }
}
// A real-valued function node over a numbered one.
void with_function(World& w) {
  tv_node_set_subtype(w.b, tv_subtype_number);
  for (size_t s = 0; s < 3; ++s) tv_node_set_state_value(w.b, s, static_cast<double>(s));
  tv_node_t* f = tv_domain_new_node(w.domain.get(), tv_category_function, tv_kind_other);
  tv_node_set_name(f, "f");
  tv_node_add_parent(f, w.b);
  tv_node_t* const none = nullptr;
  tv_model_t* model = tv_node_new_model(f, const_cast<tv_node_t**>(&none));
  w.expression.reset(tv_string_to_expression("b + probability (b > 1)", w.domain.get(), nullptr, nullptr));
  tv_model_set_expression(model, 0, w.expression.release());
  tv_domain_compile(w.domain.get());
}
void triangulated(World& w) { tv_domain_triangulate(w.domain.get(), tv_method_clique_weight); }
void compiled(World& w) { tv_domain_compile(w.domain.get()); }
void with_evidence(World& w) {
  compiled(w);
  tv_node_select_state(w.d, 1);
  enter_findings(w.b, {0.5f, 0.25f, 1});
}
void parallel(World& w) {
  tv_domain_set_grain_size(w.domain.get(), 1);
  tv_domain_set_concurrency_level(w.domain.get(), 3);
  tv_node_t* last = add_node(w.domain.get(), "p", 9);  // a table large enough to be split
  last = add_node(w.domain.get(), "s", 9,
                  {last, add_node(w.domain.get(), "q", 9), add_node(w.domain.get(), "r", 9)});
  add_node(w.domain.get(), "t", 2, {last});
  with_evidence(w);
}
void querying(World& w) {
  compiled(w);
  w.query.reset(tv_domain_new_query(w.domain.get()));
  tv_query_select_state(w.query.get(), w.d, 1);
  tv_query_enter_finding(w.query.get(), w.b, 1, 0.5f);
}
void queried(World& w) {
  querying(w);
  tv_query_propagate(w.query.get(), tv_equilibrium_sum, tv_evidence_normal);
}
void propagated(World& w) {
  with_evidence(w);
  tv_domain_propagate(w.domain.get(), tv_equilibrium_sum, tv_evidence_normal);
}

void touched(World& w) {
  propagated(w);
  set_table(w.b, {2, 1, 1, 3, 1, 0});
}

void saved(World& w) {
  compiled(w);
  tv_domain_save_to_memory(w.domain.get());
  touched(w);
}

void continuous(World& w) {
  for (tv_node_t** node : {&w.x, &w.y}) {
    *node = tv_domain_new_node(w.domain.get(), tv_category_chance, tv_kind_continuous);
    tv_node_add_parent(*node, w.a);
  }
  tv_node_add_parent(w.y, w.x);
  tv_node_add_parent(w.y, w.c);
}

void with_regressions(World& w) {
  continuous(w);
  for (size_t i = 0; i < 4; ++i) {
    tv_node_set_intercept(w.y, i, static_cast<double>(i));
    tv_node_set_coefficient(w.y, w.x, i, 0.5);
    tv_node_set_conditional_variance(w.y, i, 1.0);
  }
}

void propagated_values(World& w) {
  with_regressions(w);
  with_evidence(w);
  tv_node_enter_value(w.x, 1);
  tv_domain_propagate(w.domain.get(), tv_equilibrium_sum, tv_evidence_normal);
}

void queried_values(World& w) {
  propagated_values(w);
  w.query.reset(tv_domain_new_query(w.domain.get()));
  tv_query_enter_value(w.query.get(), w.x, 1);
  tv_query_propagate(w.query.get(), tv_equilibrium_sum, tv_evidence_normal);
}

void with_cases(World& w) {
  tv_domain_set_number_of_cases(w.domain.get(), 40);
  for (size_t i = 0; i < 40; ++i) tv_node_set_case_state(w.b, i, i % 3);
}

void with_data(World& w) {
  w.data.reset(tv_new_data_set());
  tv_data_set_parse_csv_string(w.data.get(), kCsv, ',', nullptr, nullptr);
}

void described(World& w) {  // has all names and tables
  with_regressions(w);
  describe(w.domain.get());
}

void deciding(World& w) {
  const auto add = [&](tv_node_category_t category, std::initializer_list<tv_node_t*> parents) {
    tv_node_t* node = tv_domain_new_node(w.domain.get(), category, tv_kind_discrete);
    if (category == tv_category_decision) tv_node_set_number_of_states(node, 2);
    for (tv_node_t* parent : parents) tv_node_add_parent(node, parent);
    return node;
  };
  tv_node_t* made = add(tv_category_decision, {});
  w.choice = add(tv_category_decision, {w.b, made});
  w.gain = add(tv_category_utility, {w.choice, w.a});
  set_table(w.gain, {1, 2, 3, 0});
  tv_node_set_name(w.choice, "choice");
  tv_node_select_state(made, 1);
  compiled(w);
}

void deciding_later(World& w) {
  deciding(w);
  tv_domain_uncompile(w.domain.get());
}

void decided(World& w) {
  deciding(w);
  tv_domain_propagate(net(w), kSum, kNormal);
}

tv_node_t** elimination_order(World& w) {
  static tv_node_t* order[6];
  tv_node_t* const nodes[6] = {w.alone, w.d, w.c, w.b, w.a, nullptr};
  std::copy(nodes, nodes + 6, order);
  return order;
}
tv_node_t** two_nodes(World& w) {
  static tv_node_t* nodes[3];
  nodes[0] = w.a;
  nodes[1] = w.d;
  return nodes;
}
tv_table_t* clique_table_of(const tv_node_t* node) {
  tv_clique_t* clique = *tv_jt_get_cliques(tv_node_get_junction_tree(node));
  for (;; clique = tv_clique_get_next(clique)) {
    tv_node_t** members = tv_clique_get_members(clique);
    if (std::find(members, members + tv_clique_get_number_of_members(clique), node) !=
        members + tv_clique_get_number_of_members(clique))
      return tv_clique_get_probability_table(clique);
  }
}
tv_clique_t* clique_of(World& w) { return tv_domain_get_first_clique(w.domain.get()); }
tv_junction_tree_t* tree_of(World& w) { return tv_node_get_junction_tree(w.a); }

void PrintTo(const Case& test, std::ostream* out) { *out << test.function; }

namespace {

// The outcome for a domain that was reset before.
std::string expected_after_reset(const Case& test) {
  World w(test.prepare);
  tv_domain_reset_inference_engine(w.domain.get());
  test.call(w);
  std::string outcome = w.outcome();
  return outcome + w.state();
}

// Returns how many allocations the call made without a fault.
long run(const Case& test) {
  const std::string before = World(test.prepare).state();
  World ideal(test.prepare);
  test.call(ideal);
  EXPECT_EQ(tv_error_code(), tv_status_none) << tv_error_name(tv_error_code());
  std::string expected = ideal.outcome();
  expected += ideal.state();
  const std::string later = test.kind == Case::may_reset ? expected_after_reset(test) : expected;
  for (bool persistent : {false, true})
    for (long n = 0; !testing::Test::HasFailure(); ++n) {
      SCOPED_TRACE(testing::Message()
                   << "allocation " << n << (persistent ? " and all later ones" : "") << " fails");
      const long blocks = live_blocks();
      {
        World w(test.prepare);
        arm(Fault::allocation, n, persistent);
        test.call(w);
        disarm();
        const tv_status_t status = tv_error_code();
        std::string now = w.state();
        if (status == tv_status_none) {
          EXPECT_EQ(w.outcome() + now, expected);
        } else {
          EXPECT_EQ(status, tv_status_no_memory) << tv_error_name(status);
          EXPECT_TRUE(fault_struck());
          if (test.kind == Case::may_reset) {
            EXPECT_EQ(tv_domain_evidence_is_propagated(w.domain.get()), 0);
          } else {
            EXPECT_EQ(now, before);
          }
          w.outcome();
          test.call(w);
          const std::string outcome = w.outcome();
          EXPECT_EQ(outcome + w.state(), now == before ? expected : later);
        }
      }
      EXPECT_EQ(live_blocks(), blocks) << "a leak";
      if (!fault_struck()) break;
    }
  return requests_seen();
}

class AllocationFault : public testing::TestWithParam<Case> {};

TEST_P(AllocationFault, HasOneOfTwoOutcomes) {
  SCOPED_TRACE(GetParam().function);
  const long allocations = run(GetParam());
  if (GetParam().kind == Case::never_fails) {
    EXPECT_EQ(allocations, 0);
  } else {
    EXPECT_GT(allocations, 0) << "this case shows nothing";
  }
}

INSTANTIATE_TEST_SUITE_P(Exports, AllocationFault, testing::ValuesIn(all_cases()),
                         [](const testing::TestParamInfo<Case>& info) {
                           return std::to_string(info.index) + "_" + info.param.function;
                         });

TEST(Exports, EachHasACase) {
  std::set<std::string> known;
  for (const Case& test : all_cases()) known.insert(test.function);
  std::ifstream header(TARVO_TEST_FOLDER "/../include/tarvo.h");
  std::set<std::string> declared;
  for (std::string line; std::getline(header, line);) {
    if (line.rfind("TV_API ", 0) != 0) continue;
    const size_t end = line.find('(');
    declared.insert(line.substr(line.rfind("tv_", end), end - line.rfind("tv_", end)));
  }
  EXPECT_GT(declared.size(), 150u);
  for (const std::string& name : declared) EXPECT_TRUE(known.count(name)) << name << " has no case";
  for (const std::string& name : known) EXPECT_TRUE(declared.count(name)) << name << " is not exported";
}

}  // namespace
}  // namespace test

// Every exported function under failing allocation. A fault has two right outcomes: `no_memory` and
// everything as it was, after which the same call succeeds, or success and exactly the right result.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>

#include "faults/injection.h"
#include "support/builders.h"
#include "support/describe.h"

namespace test {
namespace {

const char kNet[] =
    "net { node_size = (80 40); }\n"
    "node a { states = (\"yes\" \"no\"); label = \"first\"; }\n"
    "node b { states = (\"low\" \"mid\" \"high\"); position = (10 20); }\n"
    "continuous node x {}\n"
    "continuous node y {}\n"
    "potential (a) { data = (0.25 0.75); }\n"
    "potential (y | a x) { data = (normal (1, 2) normal (3 * x, 0)); }\n"
    "potential (b | a) { data = ((0.5 0.25 0.25)(0.125 0.125 0.75)); }\n";

const char kChainNet[] =
    "node p { states = (\"0\" \"1\"); } node a { states = (\"0\" \"1\"); } node b { states = (\"0\" \"1\"); "
    "}\n"
    "potential (a b | p) { data = (1 2 3 4 5 6 7 8); } potential (p) { data = (0.25 0.75); }\n";

// A small network and whatever a call returned. Results are looked at and released after the fault.
struct World {
  explicit World(void (*prepare)(World&)) {
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
  World(const World&) = delete;

  // Text of the results, then of the domain. Releases the results.
  std::string outcome() {
    std::string out;
    if (made) out += describe(made.get());
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

  struct Free {
    void operator()(void* block) const { std::free(block); }
  };
  struct Close {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
  };
  std::unique_ptr<std::FILE, Close> net_stream;
  DomainOwner domain, made;
  tv_node_t *a, *b, *c, *d, *alone;
  tv_node_t *x = nullptr, *y = nullptr;  // continuous
  TableOwner table;
  tv_table_t* owned_table = nullptr;
  tv_node_t* node = nullptr;
  std::unique_ptr<tv_node_t*[], Free> list;
  tv_node_t** borrowed_list = nullptr;
  struct DeleteExpression {
    void operator()(tv_expression_t* what) const { tv_expression_delete(what); }
  };
  std::unique_ptr<tv_expression_t, DeleteExpression> expression;
  const char* text = nullptr;
  std::unique_ptr<char, Free> own_text;
  double number = 0;
};

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
const char kExpression[] =
    "if (c == \"a label of some length\", Distribution (1, 2), Distribution (#b + 1, 3))";
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
tv_expression_t* model_expression(World& w) { return tv_model_get_expression(tv_node_get_model(w.d), 0); }
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

void with_cases(World& w) {
  tv_domain_set_number_of_cases(w.domain.get(), 40);
  for (size_t i = 0; i < 40; ++i) tv_node_set_case_state(w.b, i, i % 3);
}

void described(World& w) {  // has all names and tables
  with_regressions(w);
  describe(w.domain.get());
}

// A file with some text, written before the fault.
const std::string kFile = testing::TempDir() + "tarvo_faults";
void with_case_file(World&) { std::ofstream(kFile) << "b: (1 0.5 1)\na: #1\nd: #0\n"; }
void with_cases_file(World& w) {
  with_cases(w);
  std::ofstream(kFile) << "#count,b,d\n2,mid,#0\n1,#0,*\n";
}
void with_node_file(World& w) {
  compiled(w);
  std::ofstream(kFile)
      << "node e { states = (\"\"); label = \"a label longer than a short string\"; } node f {}\n"
         "potential (e | a f) { data = (1 1); } potential (f) { data = (1); }\n";
}

// A decision whose policy can be improved, and one that is made.
void deciding(World& w) {
  const auto add = [&](tv_node_category_t category, std::initializer_list<tv_node_t*> parents) {
    tv_node_t* node = tv_domain_new_node(w.domain.get(), category, tv_kind_discrete);
    if (category == tv_category_decision) tv_node_set_number_of_states(node, 2);
    for (tv_node_t* parent : parents) tv_node_add_parent(node, parent);
    return node;
  };
  tv_node_t* made = add(tv_category_decision, {});
  tv_node_t* choice = add(tv_category_decision, {w.b, made});
  set_table(add(tv_category_utility, {choice, w.a}), {1, 2, 3, 0});
  tv_node_set_name(choice, "choice");
  tv_node_select_state(made, 1);
  compiled(w);
}

void deciding_later(World& w) {
  deciding(w);
  tv_domain_uncompile(w.domain.get());
}

struct Case {
  const char* function;
  void (*prepare)(World&);
  void (*call)(World&);
  enum {
    usual,
    may_reset,    // a failure leaves the domain reset, wholly or without tables
    never_fails,  // everything was allocated before, by compilation
  } kind = usual;
};
void PrintTo(const Case& test, std::ostream* out) { *out << test.function; }

tv_node_t* const* elimination_order(World& w) {
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

constexpr auto kSum = tv_equilibrium_sum;
constexpr auto kMax = tv_equilibrium_max;
constexpr auto kNormal = tv_evidence_normal;
constexpr auto kFast = tv_evidence_fast_retraction;
constexpr size_t kOrder[] = {2, 0, 1};

const Case kCases[] = {
    {"tv_new_domain", plain, [](World& w) { w.made.reset(tv_new_domain()); }},
    {"tv_domain_clone", with_values, [](World& w) { w.made.reset(tv_domain_clone(w.domain.get())); }},
    {"tv_domain_clone", propagated, [](World& w) { w.made.reset(tv_domain_clone(w.domain.get())); }},
    {"tv_domain_new_node", plain,
     [](World& w) { w.node = tv_domain_new_node(w.domain.get(), tv_category_chance, tv_kind_discrete); }},
    {"tv_domain_new_node", plain,
     [](World& w) { w.node = tv_domain_new_node(w.domain.get(), tv_category_utility, tv_kind_other); }},
    {"tv_node_delete", with_values, [](World& w) { tv_node_delete(w.c); }},
    {"tv_node_delete", compiled, [](World& w) { tv_node_delete(w.a); }},
    {"tv_node_clone", with_values, [](World& w) { w.node = tv_node_clone(w.d); }},
    {"tv_node_set_name", plain,
     [](World& w) { tv_node_set_name(w.a, "a_name_longer_than_a_short_string_can_be"); }},
    {"tv_node_set_name", with_name_table,
     [](World& w) { tv_node_set_name(w.a, "a_name_longer_than_a_short_string"); }},
    {"tv_node_get_name", crowded,
     [](World& w) { w.text = tv_node_get_name(tv_domain_get_first_node(w.domain.get())); }},
    {"tv_domain_get_node_by_name", crowded,
     [](World& w) { w.node = tv_domain_get_node_by_name(w.domain.get(), "d"); }},
    {"tv_node_set_number_of_states", with_values, [](World& w) { tv_node_set_number_of_states(w.b, 4); }},
    {"tv_node_set_number_of_states", compiled, [](World& w) { tv_node_set_number_of_states(w.a, 1); }},
    {"tv_node_set_state_label", plain,
     [](World& w) { tv_node_set_state_label(w.d, 1, "a label longer than a short string can be"); }},
    {"tv_node_set_state_value", with_intervals, [](World& w) { tv_node_set_state_value(w.b, 1, 0.5); }},
    {"tv_node_reorder_states", with_values, [](World& w) { tv_node_reorder_states(w.b, kOrder); }},
    {"tv_node_reorder_states", compiled, [](World& w) { tv_node_reorder_states(w.b, kOrder); }},
    {"tv_domain_set_attribute", plain,
     [](World& w) {
       tv_domain_set_attribute(w.domain.get(), "key", "a value longer than a short string can be");
     }},
    {"tv_node_set_attribute", plain,
     [](World& w) { tv_node_set_attribute(w.a, "colour", "a value longer than a short string can be"); }},
    {"tv_node_set_label", plain,
     [](World& w) { tv_node_set_label(w.a, "a label longer than a short string can be"); }},
    {"tv_node_add_parent", with_values, [](World& w) { tv_node_add_parent(w.d, w.alone); }},
    {"tv_node_add_parent", compiled, [](World& w) { tv_node_add_parent(w.d, w.a); }},
    {"tv_node_remove_parent", with_values, [](World& w) { tv_node_remove_parent(w.d, w.b); }},
    {"tv_node_remove_discrete_parent", compiled, [](World& w) { tv_node_remove_discrete_parent(w.d, w.c); }},
    {"tv_node_switch_parent", with_values, [](World& w) { tv_node_switch_parent(w.d, w.c, w.alone); }},
    {"tv_node_reverse_edge", plain, [](World& w) { tv_node_reverse_edge(w.b, w.d); }},
    {"tv_node_reverse_edge", compiled, [](World& w) { tv_node_reverse_edge(w.c, w.d); }},
    {"tv_node_reverse_edge", with_regressions, [](World& w) { tv_node_reverse_edge(w.x, w.y); }},
    {"tv_node_remove_parent", with_regressions, [](World& w) { tv_node_remove_parent(w.y, w.c); }},
    {"tv_domain_clone", with_regressions, [](World& w) { w.made.reset(tv_domain_clone(w.domain.get())); }},
    {"tv_node_set_intercept", continuous, [](World& w) { tv_node_set_intercept(w.y, 1, 2.0); }},
    {"tv_node_set_coefficient", continuous, [](World& w) { tv_node_set_coefficient(w.y, w.x, 1, 2.0); }},
    {"tv_node_set_conditional_variance", continuous,
     [](World& w) { tv_node_set_conditional_variance(w.y, 1, 2.0); }},
    {"tv_node_get_intercept", continuous, [](World& w) { w.number = tv_node_get_intercept(w.y, 1); }},
    {"tv_node_get_coefficient", continuous,
     [](World& w) { w.number = tv_node_get_coefficient(w.y, w.x, 1); }},
    {"tv_node_get_conditional_variance", continuous,
     [](World& w) { w.number = tv_node_get_conditional_variance(w.y, 1); }},
    {"tv_node_get_ancestors", plain, [](World& w) { w.list.reset(tv_node_get_ancestors(w.d)); }},
    {"tv_node_get_descendants", plain, [](World& w) { w.list.reset(tv_node_get_descendants(w.a)); }},
    {"tv_node_get_table", plain, [](World& w) { w.owned_table = tv_node_get_table(w.c); }},
    {"tv_node_get_experience_table", plain,
     [](World& w) { w.owned_table = tv_node_get_experience_table(w.d); }},
    {"tv_node_get_fading_table", plain, [](World& w) { w.owned_table = tv_node_get_fading_table(w.d); }},
    {"tv_table_get_data", propagated,
     [](World& w) {
       tv_table_t* table = tv_clique_get_probability_table(clique_of(w));
       if (const tv_number_t* data = tv_table_get_data(table)) w.number = data[0];
     }},
    {"tv_table_reorder_nodes", plain,
     [](World& w) {
       tv_node_t* order[] = {w.c, w.b, w.d, nullptr};
       tv_table_reorder_nodes(tv_node_get_table(w.d), order);
     }},
    {"tv_domain_set_initial_triangulation", plain,
     [](World& w) {
       tv_domain_set_initial_triangulation(w.domain.get(), const_cast<tv_node_t**>(elimination_order(w)));
     }},
    {"tv_domain_set_ijt_nodes", plain,
     [](World& w) { tv_domain_set_ijt_nodes(w.domain.get(), two_nodes(w)); }},
    {"tv_domain_triangulate_with_order", plain,
     [](World& w) {
       tv_domain_triangulate_with_order(w.domain.get(), const_cast<tv_node_t**>(elimination_order(w)));
     }},
    {"tv_domain_triangulate", plain,
     [](World& w) { tv_domain_triangulate(w.domain.get(), tv_method_fill_in_weight); }},
    {"tv_domain_triangulate", plain,
     [](World& w) { tv_domain_triangulate(w.domain.get(), tv_method_best_greedy); }},
    {"tv_domain_compile", with_values, [](World& w) { tv_domain_compile(w.domain.get()); }},
    {"tv_domain_compile", triangulated, [](World& w) { tv_domain_compile(w.domain.get()); }},
    {"tv_clique_get_neighbors", triangulated,
     [](World& w) { w.number = tv_clique_get_neighbors(clique_of(w)) != nullptr; }},
    {"tv_domain_save_to_memory", compiled, [](World& w) { tv_domain_save_to_memory(w.domain.get()); }},
    {"tv_node_enter_finding", compiled, [](World& w) { tv_node_enter_finding(w.b, 1, 0.5f); }},
    {"tv_domain_propagate", parallel, [](World& w) { tv_domain_propagate(w.domain.get(), kMax, kNormal); },
     Case::may_reset},
    {"tv_domain_propagate", saved, [](World& w) { tv_domain_propagate(w.domain.get(), kSum, kNormal); },
     Case::may_reset},
    {"tv_domain_reset_inference_engine", saved,
     [](World& w) { tv_domain_reset_inference_engine(w.domain.get()); }, Case::may_reset},
    {"tv_domain_propagate", touched, [](World& w) { tv_domain_propagate(w.domain.get(), kSum, kNormal); },
     Case::never_fails},
    {"tv_domain_propagate", with_evidence,
     [](World& w) { tv_domain_propagate(w.domain.get(), kSum, kNormal); }, Case::never_fails},
    {"tv_domain_propagate", with_evidence, [](World& w) { tv_domain_propagate(w.domain.get(), kMax, kFast); },
     Case::never_fails},
    {"tv_domain_propagate", propagated,
     [](World& w) {
       tv_node_retract_findings(w.d);
       tv_domain_propagate(w.domain.get(), kSum, kNormal);
     },
     Case::never_fails},
    {"tv_jt_propagate", with_evidence, [](World& w) { tv_jt_propagate(tree_of(w), kSum, kNormal); },
     Case::never_fails},
    {"tv_clique_propagate", with_evidence, [](World& w) { tv_clique_propagate(clique_of(w), kSum, kNormal); },
     Case::never_fails},
    {"tv_domain_reset_inference_engine", propagated,
     [](World& w) { tv_domain_reset_inference_engine(w.domain.get()); }, Case::never_fails},
    {"tv_domain_initialize", propagated, [](World& w) { tv_domain_initialize(w.domain.get()); },
     Case::never_fails},
    {"tv_domain_get_marginal", propagated,
     [](World& w) { w.table.reset(tv_domain_get_marginal(w.domain.get(), two_nodes(w))); }},
    {"tv_node_get_distribution", propagated_values,
     [](World& w) { w.table.reset(tv_node_get_distribution(w.y)); }},
    {"tv_node_get_quantile", propagated_values, [](World& w) { w.number = tv_node_get_quantile(w.y, 0.25); }},
    {"tv_domain_get_marginal", propagated_values,
     [](World& w) {
       tv_node_t* list[] = {w.y, w.b, nullptr};
       w.table.reset(tv_domain_get_marginal(w.domain.get(), list));
     }},
    {"tv_table_compute_density", propagated_values,
     [](World& w) { w.number = tv_table_compute_density(clique_table_of(w.y), w.y, 1); }},
    {"tv_table_compute_probability_of_interval", propagated_values,
     [](World& w) { w.number = tv_table_compute_probability_of_interval(clique_table_of(w.y), w.y, 0, 1); }},
    {"tv_domain_compile", continuous, [](World& w) { tv_domain_compile(w.domain.get()); }},
    {"tv_domain_propagate", propagated_values,
     [](World& w) {
       tv_node_enter_value(w.y, 2);
       tv_domain_propagate(w.domain.get(), kSum, kNormal);
     },
     Case::never_fails},
    {"tv_node_get_mutual_information", compiled,
     [](World& w) { w.number = tv_node_get_mutual_information(w.a, w.d); }},
    {"tv_number_make_expression", plain, [](World& w) { w.expression.reset(tv_number_make_expression(2)); }},
    {"tv_boolean_make_expression", plain,
     [](World& w) { w.expression.reset(tv_boolean_make_expression(1)); }},
    {"tv_label_make_expression", plain,
     [](World& w) { w.expression.reset(tv_label_make_expression("a label of some length")); }},
    {"tv_node_make_expression", plain, [](World& w) { w.expression.reset(tv_node_make_expression(w.b)); }},
    {"tv_make_composite_expression", plain,
     [](World& w) {
       w.expression.reset(tv_boolean_make_expression(1));
       if (!w.expression) return;
       tv_expression_t* operands[] = {w.expression.get(), w.expression.get(), nullptr};
       tv_expression_t* both = tv_make_composite_expression(tv_operator_and, operands);
       if (!both) return;
       w.expression.release();
       w.expression.reset(both);
     }},
    {"tv_expression_clone", with_model,
     [](World& w) { w.expression.reset(tv_expression_clone(model_expression(w))); }},
    {"tv_string_to_expression", plain,
     [](World& w) {
       w.expression.reset(tv_string_to_expression(kExpression, w.domain.get(), nullptr, nullptr));
     }},
    {"tv_domain_string_to_expression", plain, with_expression},
    {"tv_string_parse_expression", plain,
     [](World& w) {
       w.expression.reset(tv_string_parse_expression("a + 1", w.domain.get(), nullptr, nullptr));
     }},
    {"tv_expression_to_string", with_model,
     [](World& w) { std::free(tv_expression_to_string(model_expression(w))); }},
    {"tv_node_new_model", plain,
     [](World& w) {
       tv_node_t* model_nodes[] = {w.c, w.b, nullptr};
       w.number = tv_node_new_model(w.d, model_nodes) != nullptr;
     }},
    {"tv_model_set_expression", with_empty_model,
     [](World& w) {
       w.expression.reset(tv_number_make_expression(1));
       if (!w.expression || tv_model_set_expression(tv_node_get_model(w.d), 1, w.expression.get())) return;
       w.expression.release();
     }},
    {"tv_node_generate_table", with_model, [](World& w) { tv_node_generate_table(w.d); }},
    {"tv_domain_generate_tables", with_model, [](World& w) { tv_domain_generate_tables(w.domain.get()); }},
    {"tv_domain_compile", with_model, [](World& w) { tv_domain_compile(w.domain.get()); }},
    {"tv_node_get_value", with_function,
     [](World& w) { w.number = tv_node_get_value(tv_domain_get_node_by_name(w.domain.get(), "f")); }},
    {"tv_node_clone", with_model, [](World& w) { w.node = tv_node_clone(w.d); }},
    {"tv_domain_clone", with_model, [](World& w) { w.made.reset(tv_domain_clone(w.domain.get())); }},
    {"tv_node_delete", with_model, [](World& w) { tv_node_delete(w.b); }},
    {"tv_node_remove_parent", with_model, [](World& w) { tv_node_remove_parent(w.d, w.c); }},
    {"tv_node_switch_parent", with_model, [](World& w) { tv_node_switch_parent(w.d, w.c, w.alone); }},
    {"tv_node_set_number_of_states", with_model, [](World& w) { tv_node_set_number_of_states(w.b, 4); }},
    {"tv_node_reorder_states", with_model, [](World& w) { tv_node_reorder_states(w.b, kOrder); }},
    {"tv_domain_update_policies", deciding,
     [](World& w) {
       if (tv_domain_equilibrium_is(w.domain.get(), kSum) != 1)
         tv_domain_propagate(w.domain.get(), kSum, kNormal);
       tv_domain_update_policies(w.domain.get());
     },
     Case::may_reset},
    {"tv_node_get_requisite_parents", deciding,
     [](World& w) {
       w.borrowed_list = tv_node_get_requisite_parents(tv_domain_get_node_by_name(w.domain.get(), "choice"));
     }},
    {"tv_node_get_requisite_ancestors", deciding,
     [](World& w) {
       w.borrowed_list =
           tv_node_get_requisite_ancestors(tv_domain_get_node_by_name(w.domain.get(), "choice"));
     }},
    {"tv_domain_compile", deciding_later, [](World& w) { tv_domain_compile(w.domain.get()); }},
    {"tv_domain_propagate", deciding,  // what is known of decisions is looked at first
     [](World& w) { tv_domain_propagate(w.domain.get(), kSum, kNormal); }},
    {"tv_table_get_data", deciding,
     [](World& w) {
       for (tv_clique_t* clique = clique_of(w); clique; clique = tv_clique_get_next(clique))
         if (const tv_number_t* data = tv_table_get_data(tv_clique_get_utility_table(clique)))
           w.number += data[0];
         else
           return;
     }},
    {"tv_net_parse_domain", plain,
     [](World& w) { w.made.reset(tv_net_parse_domain(kNet, nullptr, nullptr)); }},
    {"tv_net_parse_from_string", plain,
     [](World& w) { w.made.reset(tv_net_parse_from_string(kNet, nullptr)); }},
    {"tv_net_parse", plain,
     [](World& w) {
       std::rewind(w.net_stream.get());
       w.made.reset(tv_net_parse(w.net_stream.get(), nullptr));
     }},
    {"tv_net_parse_domain", plain,
     [](World& w) {
       w.made.reset(tv_net_parse_domain(kChainNet, nullptr, nullptr));
       if (w.made) tv_domain_compile(w.made.get());
     }},
    {"tv_domain_write_net", with_values,
     [](World& w) {
       const auto stream = std::unique_ptr<std::FILE, World::Close>(std::fopen("/dev/null", "w"));
       tv_domain_write_net(w.domain.get(), stream.get());
     }},
    {"tv_domain_to_net_string", described,
     [](World& w) { w.own_text.reset(tv_domain_to_net_string(w.domain.get())); }},
    {"tv_domain_save_case", with_evidence,
     [](World& w) { tv_domain_save_case(w.domain.get(), "/dev/null"); }},
    {"tv_domain_parse_case", with_case_file,
     [](World& w) { tv_domain_parse_case(w.domain.get(), kFile.c_str(), nullptr, nullptr); }},
    {"tv_domain_parse_nodes", with_node_file,
     [](World& w) { w.list.reset(tv_domain_parse_nodes(w.domain.get(), kFile.c_str(), nullptr, nullptr)); }},
    {"tv_domain_save_cases", with_cases, [](World& w) { tv_domain_save_cases(w.domain.get(), "/dev/null"); }},
    {"tv_domain_parse_cases", with_cases_file,
     [](World& w) {
       if (tv_domain_parse_cases(w.domain.get(), kFile.c_str(), nullptr, nullptr)) return;
       w.number = static_cast<double>(tv_domain_get_number_of_cases(w.domain.get()));
     }},
    {"tv_domain_set_number_of_cases", with_cases,
     [](World& w) { tv_domain_set_number_of_cases(w.domain.get(), 100); }},
    {"tv_domain_new_case", with_cases, [](World& w) { tv_domain_new_case(w.domain.get()); }},
    {"tv_domain_set_case_count", with_cases,
     [](World& w) { tv_domain_set_case_count(w.domain.get(), 1, 2.0f); }},
    {"tv_node_set_case_state", with_cases, [](World& w) { tv_node_set_case_state(w.d, 1, 1); }},
    {"tv_node_set_case_value", continuous,
     [](World& w) {
       tv_domain_set_number_of_cases(w.domain.get(), 1);
       tv_node_set_case_value(w.x, 0, 1.5);
     }},
};

// Functions that only read, set plain fields or release; they have nothing to allocate.
const char kWithoutAllocation[] = R"(
  tv_error_code tv_error_name tv_error_description tv_get_version tv_domain_set_log_file tv_domain_delete
  tv_domain_get_number_of_nodes tv_domain_get_file_name tv_domain_set_progress_handler
  tv_node_get_category tv_node_get_kind tv_node_get_subtype tv_node_get_domain tv_domain_get_first_node
  tv_node_get_next tv_node_get_number_of_states tv_node_get_state_label tv_node_get_state_index_from_label
  tv_node_get_state_value tv_domain_get_attribute tv_node_get_attribute tv_domain_get_first_attribute
  tv_node_get_first_attribute tv_attribute_get_next tv_attribute_get_key tv_attribute_get_value
  tv_domain_set_user_data tv_domain_get_user_data tv_node_set_user_data tv_node_get_user_data
  tv_clique_set_user_data tv_clique_get_user_data tv_jt_set_user_data tv_jt_get_user_data
  tv_clique_set_back_pointer tv_clique_get_back_pointer tv_jt_set_back_pointer tv_jt_get_back_pointer
  tv_table_set_user_data tv_table_get_user_data
  tv_node_get_parents tv_node_get_children tv_domain_set_node_size tv_domain_get_node_size
  tv_node_set_position tv_node_get_position tv_node_get_label
  tv_table_get_nodes tv_table_get_size tv_table_get_cg_size tv_table_get_mean tv_table_get_covariance
  tv_table_get_variance tv_table_get_index_from_configuration tv_table_get_configuration_from_index
  tv_table_delete tv_node_has_experience_table tv_node_has_fading_table
  tv_domain_set_grain_size tv_domain_get_grain_size tv_domain_set_concurrency_level
  tv_domain_get_concurrency_level tv_domain_set_em_concurrency_level tv_domain_get_em_concurrency_level
  tv_domain_uncompile tv_domain_is_compiled tv_domain_is_triangulated
  tv_domain_set_max_number_of_separators tv_domain_get_max_number_of_separators
  tv_domain_set_max_separator_size tv_domain_get_max_separator_size tv_domain_get_jt_cost
  tv_domain_get_memory_need tv_domain_set_memory_limit tv_domain_get_memory_limit
  tv_domain_get_first_clique tv_clique_get_next tv_domain_get_number_of_cliques tv_clique_get_members
  tv_clique_get_number_of_members tv_clique_get_number_of_neighbors tv_clique_get_junction_tree
  tv_clique_get_utility_table tv_domain_get_first_junction_tree tv_jt_get_next tv_jt_get_root
  tv_jt_get_cliques tv_jt_get_total_size tv_jt_get_total_cg_size tv_node_get_junction_tree
  tv_node_get_moral_neighbors
  tv_node_select_state tv_node_enter_value tv_node_retract_findings tv_domain_retract_findings
  tv_node_get_selected_state tv_node_get_entered_finding tv_node_get_propagated_finding
  tv_node_get_propagated_state tv_node_get_entered_value tv_node_get_propagated_value
  tv_node_evidence_is_entered tv_node_likelihood_is_entered tv_node_evidence_is_propagated
  tv_node_likelihood_is_propagated tv_node_evidence_to_propagate tv_domain_evidence_to_propagate
  tv_domain_evidence_is_propagated tv_domain_likelihood_is_propagated tv_domain_cg_evidence_is_propagated
  tv_jt_evidence_to_propagate tv_jt_evidence_is_propagated tv_jt_likelihood_is_propagated
  tv_jt_cg_evidence_is_propagated tv_domain_equilibrium_is tv_jt_equilibrium_is tv_domain_evidence_mode_is
  tv_jt_evidence_mode_is tv_domain_get_normalization_constant tv_domain_get_log_normalization_constant
  tv_domain_get_conflict tv_jt_get_conflict tv_clique_get_conflict tv_node_get_conflict_clique
  tv_domain_tables_to_propagate tv_jt_tables_to_propagate tv_domain_reclaim_memory_tables
  tv_node_set_category tv_node_set_subtype tv_node_touch_table tv_domain_get_elimination_order
  tv_clique_get_probability_table
  tv_node_get_belief tv_node_get_expected_utility tv_node_get_min_utility tv_node_get_max_utility
  tv_node_get_variance_of_utility tv_domain_get_expected_utility tv_node_get_entropy
  tv_node_get_mean tv_node_get_variance
  tv_expression_is_composite tv_expression_get_operator tv_expression_get_operands tv_expression_get_node
  tv_expression_get_number tv_expression_get_label tv_expression_get_boolean tv_expression_delete
  tv_node_get_model tv_model_get_nodes tv_model_get_size tv_model_delete tv_model_get_expression
  tv_model_set_number_of_samples_per_interval tv_model_get_number_of_samples_per_interval
  tv_model_set_user_data tv_model_get_user_data
  tv_domain_get_number_of_cases tv_domain_get_case_count tv_node_unset_case tv_node_case_is_set
  tv_node_get_case_state tv_node_get_case_value tv_domain_enter_case
  tv_domain_seed_random tv_domain_get_uniform_deviate tv_domain_get_normal_deviate
)";

// The outcome for a domain that was reset before.
std::string expected_after_reset(const Case& test) {
  World w(test.prepare);
  tv_domain_reset_inference_engine(w.domain.get());
  test.call(w);
  std::string outcome = w.outcome();
  return outcome + describe(w.domain.get());
}

// Returns how many allocations the call made without a fault.
long run(const Case& test) {
  const std::string before = describe(World(test.prepare).domain.get());
  World ideal(test.prepare);
  test.call(ideal);
  EXPECT_EQ(tv_error_code(), tv_status_none) << tv_error_name(tv_error_code());
  std::string expected = ideal.outcome();
  expected += describe(ideal.domain.get());
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
        std::string now = describe(w.domain.get());
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
          EXPECT_EQ(outcome + describe(w.domain.get()), now == before ? expected : later);
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

INSTANTIATE_TEST_SUITE_P(Exports, AllocationFault, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<Case>& info) {
                           return std::to_string(info.index) + "_" + info.param.function;
                         });

TEST(Exports, EachHasACase) {
  std::set<std::string> known;
  for (const Case& test : kCases) known.insert(test.function);
  std::istringstream without(kWithoutAllocation);
  for (std::string name; without >> name;)
    EXPECT_TRUE(known.insert(name).second) << name << " is listed twice";
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

// ---- The other faults ----

TEST(ThreadFaults, AnswersAreRightWithoutThreads) {
  World ideal(parallel);
  ASSERT_EQ(tv_domain_propagate(ideal.domain.get(), kMax, kNormal), tv_status_none);
  const std::string expected = describe(ideal.domain.get());
  long starts = 0;
  for (bool persistent : {false, true})
    for (long n = 0;; ++n) {
      World w(parallel);
      arm(Fault::thread_start, n, persistent);
      const tv_status_t status = tv_domain_propagate(w.domain.get(), kMax, kNormal);
      disarm();
      EXPECT_EQ(status, tv_status_none);
      EXPECT_EQ(describe(w.domain.get()), expected);
      starts += requests_seen();
      if (!fault_struck()) break;
    }
  EXPECT_GT(starts, 0);
}

TEST(LogFaults, AFullDeviceStopsCompilationAndNothingElseIsLost) {
  const Case operations[] = {
      {"tv_domain_compile", plain, [](World& w) { tv_domain_compile(w.domain.get()); }},
      {"tv_domain_compile", triangulated, [](World& w) { tv_domain_compile(w.domain.get()); }},
      {"tv_domain_triangulate", plain,
       [](World& w) { tv_domain_triangulate(w.domain.get(), tv_method_best_greedy); }},
      {"tv_domain_triangulate_with_order", plain,
       [](World& w) {
         tv_domain_triangulate_with_order(w.domain.get(), const_cast<tv_node_t**>(elimination_order(w)));
       }},
  };
  for (const Case& test : operations) {
    SCOPED_TRACE(test.function);
    const std::string before = describe(World(test.prepare).domain.get());
    World silent(test.prepare);
    test.call(silent);
    const std::string expected = describe(silent.domain.get());
    for (bool buffered : {false, true})
      for (size_t room = 0; !HasFailure(); room += 1 + room / 16) {
        SCOPED_TRACE(testing::Message() << room << " bytes fit, " << (buffered ? "buffered" : "unbuffered"));
        World w(test.prepare);
        std::string written;
        std::FILE* log = open_limited_stream(room, buffered, written);
        tv_domain_set_log_file(w.domain.get(), log);
        test.call(w);
        const tv_status_t status = tv_error_code();
        std::fclose(log);
        tv_domain_set_log_file(w.domain.get(), nullptr);
        if (status == tv_status_none) {
          EXPECT_EQ(describe(w.domain.get()), expected);
          EXPECT_LT(written.size(), room + 1);
          EXPECT_GT(written.size(), 100u) << "nothing was logged: this case shows nothing";
          break;
        }
        EXPECT_EQ(status, tv_status_io) << tv_error_name(status);
        EXPECT_EQ(describe(w.domain.get()), before);
        test.call(w);
        EXPECT_EQ(tv_error_code(), tv_status_none);
        EXPECT_EQ(describe(w.domain.get()), expected);
      }
  }
}

}  // namespace
}  // namespace test

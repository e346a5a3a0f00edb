// Every exported function under failing allocation. The files beside this one list calls by subject, each
// from a state of a small network; exports_test.cpp runs them and sees that no function is missing.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <iosfwd>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "support/builders.h"

namespace test {

// A small network and whatever a call returned. Results are looked at and released after the fault.
struct World {
  explicit World(void (*prepare)(World&));
  World(const World&) = delete;

  // Text of the results. Releases them.
  std::string outcome();
  // Text of what calls may change: the domain, the data set and so on.
  std::string state();

  struct Free {
    void operator()(void* block) const { std::free(block); }
  };
  struct Close {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
  };
  struct DeleteExpression {
    void operator()(tv_expression_t* what) const { tv_expression_delete(what); }
  };
  struct DeleteQuery {
    void operator()(tv_query_t* what) const { tv_query_delete(what); }
  };
  struct DeleteDataSet {
    void operator()(tv_data_set_t* what) const { tv_data_set_delete(what); }
  };
  struct DeleteStatistics {
    void operator()(tv_em_statistics_t* what) const { tv_em_statistics_delete(what); }
  };
  struct DeleteSummary {
    void operator()(tv_column_summary_t* what) const { tv_column_summary_delete(what); }
  };
  struct DeleteLearner {
    void operator()(tv_structure_learner_t* what) const { tv_structure_learner_delete(what); }
  };
  struct DeleteStructure {
    void operator()(tv_structure_t* what) const { tv_structure_delete(what); }
  };
  using Statistics = std::unique_ptr<tv_em_statistics_t, DeleteStatistics>;
  using Summary = std::unique_ptr<tv_column_summary_t, DeleteSummary>;
  struct DeletePredictions {
    void operator()(tv_predictions_t* what) const { tv_predictions_delete(what); }
    void operator()(tv_measures_t* what) const { tv_measures_delete(what); }
  };
  using Predictions = std::unique_ptr<tv_predictions_t, DeletePredictions>;
  using Measures = std::unique_ptr<tv_measures_t, DeletePredictions>;
  std::unique_ptr<std::FILE, Close> net_stream;
  DomainOwner domain, made;
  std::unique_ptr<tv_query_t, DeleteQuery> query;
  std::unique_ptr<tv_data_set_t, DeleteDataSet> data, made_data;
  Summary summary;
  Statistics statistics, other_statistics, made_statistics;
  Predictions predictions;
  Measures measures;
  std::unique_ptr<tv_structure_learner_t, DeleteLearner> learner;
  std::unique_ptr<tv_structure_t, DeleteStructure> structure, other_structure, made_structure;
  bool analysis_is_deleted = false;  // by the call itself
  std::shared_ptr<void> analysis;    // the result of one
  tv_node_t *a, *b, *c, *d, *alone;
  tv_node_t *x = nullptr, *y = nullptr;          // continuous
  tv_node_t *choice = nullptr, *gain = nullptr;  // a decision and a utility
  TableOwner table;
  tv_table_t* owned_table = nullptr;
  tv_node_t* node = nullptr;
  std::unique_ptr<tv_node_t*[], Free> list;
  tv_node_t** borrowed_list = nullptr;
  std::unique_ptr<tv_expression_t, DeleteExpression> expression;
  const char* text = nullptr;
  std::unique_ptr<char, Free> own_text;
  double number = 0;
};

inline tv_data_set_t* table_of(World& w) { return w.data.get(); }
inline tv_domain_t* net(World& w) { return w.domain.get(); }

// Keeps what a call answered.
inline void note(World& w, const char* text) { w.text = text; }
inline void note(World& w, tv_node_t* node) { w.node = node; }
inline void note(World& w, tv_node_t** list) { w.borrowed_list = list; }
inline void note(World& w, tv_table_t* table) { w.owned_table = table; }
template <class Answer>
void note(World& w, Answer answer) {
  if constexpr (std::is_pointer_v<Answer>)
    w.number = answer != nullptr;
  else
    w.number = static_cast<double>(answer);
}

// ---- States to start from ----

void plain(World& w);
void crowded(World& w);          // enough nodes for the table of names
void with_name_table(World& w);  // and it is there
void with_intervals(World& w);
void with_values(World& w);  // numbered states, experience and fading tables, findings
void with_expression(World& w);
void with_empty_model(World& w);
void with_model(World& w);
void with_function(World& w);  // a real-valued function node over a numbered one
void triangulated(World& w);
void compiled(World& w);
void with_evidence(World& w);
void parallel(World& w);  // three threads and a table large enough to be split
void propagated(World& w);
void touched(World& w);
void saved(World& w);
void continuous(World& w);
void with_regressions(World& w);
void propagated_values(World& w);
void with_cases(World& w);
void described(World& w);  // has all names and tables
void deciding(World& w);   // a decision whose policy can be improved, and one that is made
void deciding_later(World& w);
void decided(World& w);
void querying(World& w);  // a query with evidence
void queried(World& w);   // and it is propagated
void queried_values(World& w);
void with_data(World& w);  // a data set of two columns

// ---- What calls need ----

inline constexpr auto kSum = tv_equilibrium_sum;
inline constexpr auto kMax = tv_equilibrium_max;
inline constexpr auto kNormal = tv_evidence_normal;
inline constexpr auto kFast = tv_evidence_fast_retraction;
inline constexpr char kNet[] =
    "net { node_size = (80 40); }\n"
    "node a { states = (\"yes\" \"no\"); label = \"first\"; }\n"
    "node b { states = (\"low\" \"mid\" \"high\"); position = (10 20); }\n"
    "continuous node x {}\n"
    "continuous node y {}\n"
    "potential (a) { data = (0.25 0.75); }\n"
    "potential (y | a x) { data = (normal (1, 2) normal (3 * x, 0)); }\n"
    "potential (b | a) { data = ((0.5 0.25 0.25)(0.125 0.125 0.75)); }\n";
inline constexpr char kCsv[] =
    "size,\"colour, if it has one\"\n1,red\n2.5,?\n-3,\"a name that is longer than a short "
    "\"\"string\"\"\"\n";
inline constexpr size_t kOrder[] = {2, 0, 1};
inline constexpr char kExpression[] =
    "if (c == \"a label of some length\", Distribution (1, 2), Distribution (#b + 1, 3))";

tv_node_t** elimination_order(World& w);
tv_node_t** two_nodes(World& w);
tv_table_t* clique_table_of(const tv_node_t* node);
tv_clique_t* clique_of(World& w);
tv_junction_tree_t* tree_of(World& w);

// ---- Calls ----

struct Case {
  const char* function;
  void (*prepare)(World&);
  void (*call)(World&);
  enum {
    usual,
    may_reset,    // a failure leaves the domain reset, wholly or without tables
    never_fails,  // it asks for no memory: there is nothing to allocate, or compilation has done so
  } kind = usual;
};

// A call that asks for no memory and whose answer is noted.
#define ASKS_FOR_NOTHING(function, prepare, ...)                                             \
  {                                                                                          \
#function, prepare, [](World & w) { note(w, function(__VA_ARGS__)); }, Case::never_fails \
  }

void PrintTo(const Case& test, std::ostream* out);

// Puts the cases on the list of all.
struct Cases {
  Cases(std::initializer_list<Case> cases);
};

}  // namespace test

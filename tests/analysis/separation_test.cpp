// Separation against its definition: every path between two nodes is looked at.

#include <gtest/gtest.h>
#include <tarvo.h>

#include <algorithm>
#include <cstdlib>
#include <functional>

#include "support/builders.h"
#include "support/oracle.h"

namespace test {
namespace {

using Set = std::vector<size_t>;  // of nodes, in ascending order
using Nodes = std::vector<tv_node_t*>;

bool contains(const Set& set, size_t v) { return std::find(set.begin(), set.end(), v) != set.end(); }

// What is known: hard evidence, and likelihoods.
struct Known {
  Set states, likelihoods;
};

// A directed graph without cycles; every link leads to a higher number.
class Dag {
 public:
  explicit Dag(size_t count) : links_(count, std::vector<bool>(count, false)) {}
  static Dag random(Generator& random, size_t count, double link_chance) {
    Dag dag(count);
    for (size_t to = 0; to < count; ++to)
      for (size_t from = 0; from < to; ++from) dag.links_[from][to] = random.chance(link_chance);
    return dag;
  }

  size_t size() const { return links_.size(); }
  bool leads(size_t from, size_t to) const { return links_[from][to]; }

  // A node more, without links but one to `child`.
  Dag with_cause_of(size_t child) const {
    Dag dag = *this;
    for (auto& row : dag.links_) row.push_back(false);
    dag.links_.emplace_back(size() + 1, false);
    dag.links_[size()][child] = true;
    return dag;
  }

  bool is_descendant(size_t v, size_t of) const {
    if (v == of) return true;
    for (size_t child = 0; child < size(); ++child)
      if (links_[of][child] && is_descendant(v, child)) return true;
    return false;
  }

  bool connects(size_t a, size_t b, const Known& known) const {
    if (contains(known.states, a) || contains(known.states, b)) return false;
    return a == b || any_path({a}, b, known);
  }
  bool connects(const Set& a, const Set& b, const Known& known) const {
    for (size_t v : a)
      for (size_t w : b)
        if (connects(v, w, known)) return true;
    return false;
  }

 private:
  bool is_open(size_t before, size_t v, size_t after, const Known& known) const {
    if (!links_[before][v] || !links_[after][v]) return !contains(known.states, v);
    const auto is_below = [&](size_t w) { return is_descendant(w, v); };
    return std::any_of(known.states.begin(), known.states.end(), is_below) ||
           std::any_of(known.likelihoods.begin(), known.likelihoods.end(), is_below);
  }

  bool any_path(Set path, size_t goal, const Known& known) const {
    const size_t last = path.back();
    for (size_t next = 0; next < size(); ++next) {
      if (contains(path, next) || !(links_[last][next] || links_[next][last])) continue;
      if (path.size() > 1 && !is_open(path[path.size() - 2], last, next, known)) continue;
      if (next == goal) return true;
      Set longer = path;
      longer.push_back(next);
      if (any_path(longer, goal, known)) return true;
    }
    return false;
  }

  std::vector<std::vector<bool>> links_;
};

struct Network {
  explicit Network(const Dag& dag) : domain(new_domain()) {
    for (size_t v = 0; v < dag.size(); ++v) {
      nodes.push_back(tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete));
      for (size_t parent = 0; parent < v; ++parent)
        if (dag.leads(parent, v)) tv_node_add_parent(nodes[v], nodes[parent]);
    }
  }

  Nodes list(const Set& set) const {
    Nodes list;
    for (size_t v : set) list.push_back(nodes[v]);
    list.push_back(nullptr);
    return list;
  }

  // The list of a host, which is freed.
  Set taken(tv_node_t** list) const {
    Set set;
    EXPECT_TRUE(list) << tv_error_message();
    for (tv_node_t** node = list; list && *node; ++node)
      set.push_back(static_cast<size_t>(std::find(nodes.begin(), nodes.end(), *node) - nodes.begin()));
    std::free(list);
    EXPECT_TRUE(std::is_sorted(set.rbegin(), set.rend())) << "not in the order of the domain";
    std::sort(set.begin(), set.end());
    return set;
  }

  using Lister = tv_node_t** (*)(tv_domain_t*, tv_node_t* const*, tv_node_t* const*, tv_node_t* const*);
  Set ask(Lister lister, const Set& about, const Known& known) const {
    return taken(
        lister(domain.get(), list(about).data(), list(known.states).data(), list(known.likelihoods).data()));
  }
  int separated(const Set& a, const Set& b, const Known& known) const {
    return tv_domain_are_d_separated(domain.get(), list(a).data(), list(b).data(), list(known.states).data(),
                                     list(known.likelihoods).data());
  }

  DomainOwner domain;
  Nodes nodes;
};

Set random_set(Generator& random, size_t count, double share) {
  Set set;
  for (size_t v = 0; v < count; ++v)
    if (random.chance(share)) set.push_back(v);
  return set;
}

Known random_knowledge(Generator& random, size_t count) {
  return {random_set(random, count, 0.3), random_set(random, count, 0.15)};
}

Set all_that(size_t count, const std::function<bool(size_t)>& test) {
  Set set;
  for (size_t v = 0; v < count; ++v)
    if (test(v)) set.push_back(v);
  return set;
}

TEST(Separation, IsWhatThePathsSay) {
  Generator random(1);
  for (int round = 0; round < 300; ++round) {
    const Dag dag = Dag::random(random, 2 + random.below(6), 0.2 + 0.5 * random.uniform());
    const Network network(dag);
    const Known known = random_knowledge(random, dag.size());
    SCOPED_TRACE(round);
    const Set start = random_set(random, dag.size(), 0.25), other = random_set(random, dag.size(), 0.25);
    EXPECT_EQ(network.separated(start, other, known), !dag.connects(start, other, known));
    EXPECT_EQ(network.ask(tv_domain_get_d_connected_nodes, start, known), all_that(dag.size(), [&](size_t v) {
                return !contains(start, v) && dag.connects(start, {v}, known);
              }));
    for (size_t a = 0; a < dag.size(); ++a)
      for (size_t b = 0; b < dag.size(); ++b)
        ASSERT_EQ(network.separated({a}, {b}, known), !dag.connects(a, b, known)) << a << ' ' << b;
  }
}

// A table matters where a further cause of its node would; a finding, where it would be news to the targets.
TEST(Separation, OfWhatMattersForTargets) {
  Generator random(2);
  for (int round = 0; round < 300; ++round) {
    const Dag dag = Dag::random(random, 2 + random.below(5), 0.2 + 0.4 * random.uniform());
    const Network network(dag);
    Known known = random_knowledge(random, dag.size());
    const Set targets =
        all_that(dag.size(), [&](size_t v) { return !contains(known.states, v) && random.chance(0.3); });
    SCOPED_TRACE(round);
    EXPECT_EQ(network.ask(tv_domain_get_requisite_nodes, targets, known), all_that(dag.size(), [&](size_t v) {
                return dag.with_cause_of(v).connects({dag.size()}, targets, known);
              }));
    EXPECT_EQ(network.ask(tv_domain_get_requisite_findings, targets, known),
              all_that(dag.size(), [&](size_t v) {
                if (!contains(known.states, v))
                  return contains(known.likelihoods, v) && dag.connects({v}, targets, known);
                Known others = known;
                others.states.erase(std::find(others.states.begin(), others.states.end(), v));
                return dag.connects({v}, targets, others);
              }));
    EXPECT_EQ(network.ask(tv_domain_get_barren_nodes, targets, known), all_that(dag.size(), [&](size_t v) {
                return all_that(dag.size(),
                                [&](size_t w) {
                                  return dag.is_descendant(w, v) &&
                                         (contains(targets, w) || contains(known.states, w) ||
                                          contains(known.likelihoods, w));
                                })
                    .empty();
              }));
  }
}

Known with(const Known& known, const Set& more) {
  Known result = known;
  result.states.insert(result.states.end(), more.begin(), more.end());
  return result;
}

// Calls visit(subset) for each subset of a set.
void each_subset(const Set& set, const std::function<void(const Set&)>& visit) {
  for (size_t bits = 0; bits < size_t{1} << set.size(); ++bits) {
    Set subset;
    for (size_t i = 0; i < set.size(); ++i)
      if (bits >> i & 1) subset.push_back(set[i]);
    visit(subset);
  }
}

TEST(Separation, SeparatorsExistWhereTheyCanAndAreMinimal) {
  Generator random(3);
  int found = 0, missing = 0;
  for (int round = 0; round < 2000; ++round) {
    const Dag dag = Dag::random(random, 3 + random.below(5), 0.2 + 0.4 * random.uniform());
    const Network network(dag);
    const Known known = {random_set(random, dag.size(), 0.06), random_set(random, dag.size(), 0.06)};
    const Set a = random_set(random, dag.size(), 0.2), b = random_set(random, dag.size(), 0.2);
    const bool free = random.chance(0.5);
    const Set allowed = all_that(dag.size(), [&](size_t) { return free || random.chance(0.6); });
    const Set usable = all_that(dag.size(), [&](size_t v) {
      return contains(allowed, v) && !contains(a, v) && !contains(b, v) && !contains(known.states, v);
    });
    bool possible = false;
    each_subset(usable, [&](const Set& subset) { possible |= !dag.connects(a, b, with(known, subset)); });
    SCOPED_TRACE(round);
    tv_node_t** list = tv_domain_get_minimal_separator(
        network.domain.get(), network.list(a).data(), network.list(b).data(),
        network.list(known.states).data(), network.list(known.likelihoods).data(),
        free ? nullptr : network.list(allowed).data());
    EXPECT_EQ(tv_error_code(), tv_status_none);
    ASSERT_EQ(list != nullptr, possible);
    if (!list) {
      ++missing;
      continue;
    }
    const Set separator = network.taken(list);
    found += !separator.empty();
    for (size_t v : separator) EXPECT_TRUE(contains(usable, v));
    each_subset(separator, [&](const Set& subset) {
      EXPECT_EQ(dag.connects(a, b, with(known, subset)), subset != separator);
    });
  }
  EXPECT_GT(found, 50);
  EXPECT_GT(missing, 60);
}

TEST(Separation, MarkovBlanketsScreenOffAndNoneIsSpared) {
  Generator random(4);
  for (int round = 0; round < 150; ++round) {
    const Dag dag = Dag::random(random, 1 + random.below(7), 0.2 + 0.5 * random.uniform());
    const Network network(dag);
    for (size_t v = 0; v < dag.size(); ++v) {
      const Set blanket = network.taken(tv_node_get_markov_blanket(network.nodes[v]));
      EXPECT_FALSE(contains(blanket, v));
      for (size_t w = 0; w < dag.size(); ++w) {
        if (v == w) continue;
        Set others = blanket;
        others.erase(std::remove(others.begin(), others.end(), w), others.end());
        EXPECT_EQ(dag.connects(v, w, {others, {}}), contains(blanket, w)) << round << ' ' << v << ' ' << w;
      }
    }
  }
}

// Evidence that is entered counts where no lists are given; it need not be propagated.
TEST(Separation, ReadsWhatIsEntered) {
  const DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2);
  tv_node_t* b = add_node(domain.get(), "b", 2);
  tv_node_t* c = add_node(domain.get(), "c", 3, {a, b});
  tv_node_t* d = add_node(domain.get(), "d", 2, {c});
  tv_node_t* x = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
  tv_node_add_parent(x, c);
  tv_node_t *from[] = {a, nullptr}, *to[] = {b, nullptr}, *below[] = {d, nullptr}, *none[] = {nullptr};
  const auto separated = [&](tv_node_t* const* first, tv_node_t* const* second) {
    return tv_domain_are_d_separated(domain.get(), first, second, nullptr, nullptr);
  };
  EXPECT_EQ(separated(from, to), 1);
  tv_node_enter_finding(c, 0, 0.5F);  // a likelihood connects the causes and lets through
  EXPECT_EQ(separated(from, to), 0);
  EXPECT_EQ(separated(from, below), 0);
  EXPECT_EQ(tv_domain_are_d_separated(domain.get(), from, to, none, nullptr), 1);
  tv_node_select_state(c, 1);
  EXPECT_EQ(separated(from, to), 0);
  EXPECT_EQ(separated(from, below), 1);
  tv_node_retract_findings(c);
  tv_node_enter_value(x, 1.0);
  EXPECT_EQ(separated(from, to), 0);
}

TEST(Separation, DecisionsHangOnTheirParentsUntilTheyAreMade) {
  const DomainOwner domain = new_domain();
  tv_node_t* cause = add_node(domain.get(), "cause", 2);
  tv_node_t* decision = tv_domain_new_node(domain.get(), tv_category_decision, tv_kind_discrete);
  tv_node_set_number_of_states(decision, 2);
  tv_node_add_parent(decision, cause);
  tv_node_t* other = add_node(domain.get(), "other", 2);
  tv_node_add_parent(decision, other);
  tv_node_t* effect = add_node(domain.get(), "effect", 2, {decision});
  tv_node_t* utility = tv_domain_new_node(domain.get(), tv_category_utility, tv_kind_other);
  tv_node_add_parent(utility, effect);
  tv_node_add_parent(utility, cause);
  tv_node_t *causes[] = {cause, nullptr}, *others[] = {other, nullptr}, *effects[] = {effect, nullptr},
            *made[] = {decision, nullptr}, *none[] = {nullptr}, *gains[] = {utility, nullptr};
  tv_domain_t* const net = domain.get();
  EXPECT_EQ(tv_domain_are_d_separated(net, causes, effects, none, none), 0);
  EXPECT_EQ(tv_domain_are_d_separated(net, causes, others, none, effects), 0);
  EXPECT_EQ(tv_domain_are_d_separated(net, causes, others, made, effects), 1) << "no policy joins them";
  EXPECT_EQ(tv_domain_are_d_separated(net, causes, gains, made, none), 0);

  const auto listed = [](tv_node_t** list) {
    const Nodes nodes(list, list + count_nodes(list));
    std::free(list);
    return nodes;
  };
  EXPECT_EQ(listed(tv_domain_get_requisite_nodes(net, effects, made, none)), Nodes{effect});
  EXPECT_EQ(listed(tv_domain_get_barren_nodes(net, effects, made, none)), (Nodes{utility, other, cause}));
  EXPECT_EQ(listed(tv_node_get_markov_blanket(effect)), Nodes{decision}) << "utilities do not count";
  EXPECT_FALSE(tv_domain_get_minimal_separator(net, others, effects, none, none, made));
  EXPECT_EQ(tv_error_code(), tv_status_usage) << "a decision is not observed";
  EXPECT_FALSE(tv_domain_get_minimal_separator(net, others, effects, none, none, nullptr));
  EXPECT_EQ(tv_error_code(), tv_status_none) << "and so nothing separates these";
}

TEST(Separation, GoesThroughFunctions) {
  const DomainOwner domain = new_domain();
  tv_node_t* input = add_node(domain.get(), "input", 2);
  tv_node_t* function = tv_domain_new_node(domain.get(), tv_category_function, tv_kind_other);
  tv_node_add_parent(function, input);
  tv_node_t *inputs[] = {input, nullptr}, *functions[] = {function, nullptr}, *none[] = {nullptr};
  EXPECT_EQ(tv_domain_are_d_separated(domain.get(), inputs, functions, none, none), 0);
  EXPECT_EQ(tv_domain_are_d_separated(domain.get(), inputs, functions, inputs, none), 1);
  EXPECT_EQ(tv_domain_are_d_separated(domain.get(), inputs, inputs, functions, none), -1);
  EXPECT_EQ(tv_error_code(), tv_status_usage) << "nothing is entered on a real-valued function";
}

TEST(Separation, RefusesWhatItIsNotDefinedFor) {
  const DomainOwner foreign = new_domain();
  const DomainOwner domain(
      tv_net_parse_domain("net {} node A { states = (\"0\" \"1\"); } node B { states = "
                          "(\"0\" \"1\"); } potential (A B) { data = (1 2 3 4); }",
                          nullptr, nullptr));
  ASSERT_TRUE(domain) << tv_error_message();
  tv_node_t* const a = tv_domain_get_node_by_name(domain.get(), "A");
  tv_node_t *list[] = {a, nullptr}, *none[] = {nullptr};
  EXPECT_EQ(tv_domain_are_d_separated(domain.get(), list, list, none, none), -1);
  EXPECT_STREQ(tv_error_message(), "the network has undirected links, for which d-separation is not defined");
  EXPECT_FALSE(tv_node_get_markov_blanket(a));
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_domain_are_d_separated(foreign.get(), list, none, none, none), -1);
  EXPECT_EQ(tv_domain_are_d_separated(foreign.get(), none, none, list, none), -1);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_domain_are_d_separated(foreign.get(), nullptr, none, none, none), -1);
}

// What is separated is independent, whatever the tables say; and tables that are not requisite may be
// anything.
TEST(Separation, AgreesWithProbabilities) {
  Generator random(5);
  for (int round = 0; round < 150; ++round) {
    const DomainOwner domain = random_network(random, Values::zeros);
    const Nodes nodes = nodes_of(domain.get());
    for (tv_node_t* node : nodes)
      if (random.chance(0.4)) change_evidence(random, node, Findings::any);
    const Oracle oracle(domain.get());
    const Oracle::Evidence evidence = oracle.entered();
    if (oracle.constant(evidence, tv_equilibrium_sum) == 0) continue;
    const size_t a = random.below(nodes.size()), b = random.below(nodes.size());
    tv_node_t *of_a[] = {nodes[a], nullptr}, *of_b[] = {nodes[b], nullptr};
    if (a != b && tv_domain_are_d_separated(domain.get(), of_a, of_b, nullptr, nullptr)) {
      const Vector joint = oracle.marginal({a, b}, evidence, tv_equilibrium_sum);
      const Vector pa = oracle.marginal({a}, evidence, tv_equilibrium_sum),
                   pb = oracle.marginal({b}, evidence, tv_equilibrium_sum);
      const Real all = oracle.constant(evidence, tv_equilibrium_sum);
      for (size_t i = 0; i < joint.size(); ++i)
        EXPECT_NEAR(double(joint[i] * all), double(pa[i / pb.size()] * pb[i % pb.size()]),
                    double(1e-6 * all * all));
    }
    tv_node_t** requisite = tv_domain_get_requisite_nodes(domain.get(), of_a, nullptr, nullptr);
    const Nodes kept(requisite, requisite + count_nodes(requisite));
    std::free(requisite);
    for (tv_node_t* node : nodes)
      if (std::find(kept.begin(), kept.end(), node) == kept.end())
        set_random_table(random, node, Values::positive);
    const Vector before = oracle.beliefs(evidence, tv_equilibrium_sum, tv_evidence_normal)[a];
    const Vector after = Oracle(domain.get()).beliefs(evidence, tv_equilibrium_sum, tv_evidence_normal)[a];
    for (size_t i = 0; i < before.size(); ++i) EXPECT_NEAR(double(before[i]), double(after[i]), 1e-6);
  }
}

}  // namespace
}  // namespace test

// Evidence whose probability no floating-point number of the tables could hold, down to 1e-3000, in every way
// of propagating: sums and maxima, at once and in pieces, with fast retraction, from a reset and from kept
// plans.
#include <gtest/gtest.h>

#include <cmath>

#include "support/builders.h"

namespace test {
namespace {

using Real = long double;  // its exponents reach 1e-4932
using Vector = std::vector<Real>;

// The answers for a network in which no node has more than one parent, by messages along its links.
class TreeOracle {
 public:
  TreeOracle(const std::vector<tv_node_t*>& nodes, tv_equilibrium_t equilibrium)
      : nodes_(nodes), is_max_(equilibrium == tv_equilibrium_max) {
    for (tv_node_t* node : nodes_) {
      tv_node_t* const parent = *tv_node_get_parents(node);
      parents_.push_back(parent ? index_of(parent) : nodes_.size());
      const size_t states = tv_node_get_number_of_states(node);
      Vector finding;
      for (size_t s = 0; s < states; ++s) finding.push_back(tv_node_get_entered_finding(node, s));
      findings_.push_back(finding);
      from_children_.push_back(Vector(states, 1));
      from_parent_.push_back(Vector(states, 0));
    }
    collect();
    distribute();
  }

  Real log_constant() const { return std::log(constant_); }

  // Scaled to a sum, or under max to a best entry, of one.
  Vector belief(size_t node, bool with_own_finding) const {
    Vector result;
    Real scale = 0;
    for (size_t s = 0; s < findings_[node].size(); ++s) {
      result.push_back(from_parent_[node][s] * from_children_[node][s] *
                       (with_own_finding ? findings_[node][s] : Real{1}));
      scale = join(scale, result.back());
    }
    for (Real& entry : result) entry /= scale;
    return result;
  }

 private:
  size_t index_of(tv_node_t* node) const {
    return static_cast<size_t>(std::find(nodes_.begin(), nodes_.end(), node) - nodes_.begin());
  }
  Real join(Real a, Real b) const { return is_max_ ? std::max(a, b) : a + b; }
  Real entry(size_t node, size_t parent_state, size_t state) const {
    const tv_number_t* data = tv_table_get_data(tv_node_get_table(nodes_[node]));
    const size_t states = findings_[node].size();
    Real sum = 0;
    for (size_t s = 0; s < states; ++s) sum += data[parent_state * states + s];
    return data[parent_state * states + state] / sum;
  }

  // What a node tells its parent.
  Real message(size_t node, size_t parent_state) const {
    Real total = 0;
    for (size_t s = 0; s < findings_[node].size(); ++s)
      total = join(total, entry(node, parent_state, s) * findings_[node][s] * from_children_[node][s]);
    return total;
  }

  void collect() {  // parents come before their children
    for (size_t n = nodes_.size(); n-- > 0;) {
      if (parents_[n] == nodes_.size())
        constant_ *= message(n, 0);
      else
        for (size_t p = 0; p < findings_[parents_[n]].size(); ++p)
          from_children_[parents_[n]][p] *= message(n, p);
    }
  }

  void distribute() {
    for (size_t n = 0; n < nodes_.size(); ++n)
      for (size_t s = 0; s < findings_[n].size(); ++s) {
        const size_t parent = parents_[n];
        if (parent == nodes_.size()) {
          from_parent_[n][s] = entry(n, 0, s);
          continue;
        }
        for (size_t p = 0; p < findings_[parent].size(); ++p) {
          const Real others = from_parent_[parent][p] * findings_[parent][p] * from_children_[parent][p];
          from_parent_[n][s] = join(from_parent_[n][s], others / message(n, p) * entry(n, p, s));
        }
      }
  }

  std::vector<tv_node_t*> nodes_;
  bool is_max_;
  std::vector<size_t> parents_;
  std::vector<Vector> findings_, from_children_, from_parent_;
  Real constant_ = 1;
};

enum class Form { chain, bushes, pairs };

// Chains, trees of which each node hangs at one of the last ten, and many small trees.
DomainOwner random_tree(Generator& random, Form form, size_t count) {
  DomainOwner domain = new_domain();
  std::vector<tv_node_t*> nodes;
  for (size_t n = 0; n < count; ++n) {
    const size_t back = form == Form::bushes ? 1 + random.below(std::min<size_t>(n, 10) + (n == 0)) : 1;
    const bool has_parent = n >= back && (form != Form::pairs || n % 2);
    tv_node_t* const node = has_parent
                                ? add_node(domain.get(), nullptr, 2 + random.below(3), {nodes[n - back]})
                                : add_node(domain.get(), nullptr, 2 + random.below(3));
    set_random_table(random, node, Values::positive);
    nodes.push_back(node);
  }
  return domain;
}

// Makes the first state of a node rare, whatever its parent, and observes it, or halfway so.
void observe_what_is_rare(Generator& random, tv_node_t* node, double rarity) {
  tv_table_t* const table = tv_node_get_table(node);
  tv_number_t* const data = tv_table_get_data(table);
  const size_t states = tv_node_get_number_of_states(node);
  for (size_t i = 0; i < tv_table_get_size(table); i += states)
    data[i] = static_cast<float>(rarity * (0.5 + random.uniform()));
  tv_node_touch_table(node);
  if (random.chance(0.7)) {
    tv_node_select_state(node, 0);
    return;
  }
  std::vector<float> findings(states, static_cast<float>(rarity));
  findings[0] = 1.0f;
  enter_findings(node, findings);
}

void expect_right_answers(tv_domain_t* domain, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) {
  const std::vector<tv_node_t*> nodes = nodes_of(domain);
  const TreeOracle oracle(nodes, equilibrium);
  if (mode == tv_evidence_normal) {
    const double expected = static_cast<double>(oracle.log_constant());
    EXPECT_NEAR(tv_domain_get_log_normalization_constant(domain), expected, 1e-6 * std::fabs(expected));
    EXPECT_NEAR(tv_domain_get_normalization_constant(domain), std::exp(expected), 1e-4 * std::exp(expected));
  }
  for (size_t n = 0; n < nodes.size() && !testing::Test::HasFailure(); ++n) {
    const Vector expected = oracle.belief(n, mode == tv_evidence_normal);
    for (size_t s = 0; s < expected.size(); ++s)
      EXPECT_NEAR(static_cast<Real>(tv_node_get_belief(nodes[n], s)), expected[s], 1e-5) << "node " << n;
  }
}

struct Way {
  const char* name;
  tv_equilibrium_t equilibrium;
  tv_evidence_mode_t mode;
};
const Way kWays[] = {{"sum", tv_equilibrium_sum, tv_evidence_normal},
                     {"max", tv_equilibrium_max, tv_evidence_normal},
                     {"sum with fast retraction", tv_equilibrium_sum, tv_evidence_fast_retraction}};

class FaintEvidence : public testing::TestWithParam<Form> {};

TEST_P(FaintEvidence, IsWeighedInEveryWay) {
  Generator random(static_cast<uint64_t>(GetParam()) + 1);
  for (const double rarity : {1e-2, 1e-5, 1e-12}) {
    SCOPED_TRACE(rarity);
    const auto targets = static_cast<size_t>(3000 / -std::log10(rarity));
    const DomainOwner domain = random_tree(random, GetParam(), 2 * targets);
    std::vector<tv_node_t*> observed;
    for (tv_node_t* node : nodes_of(domain.get()))
      if (observed.size() < targets && random.chance(0.5)) observed.push_back(node);
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    for (tv_node_t* node : observed) observe_what_is_rare(random, node, rarity);
    for (const Way& way : kWays) {
      SCOPED_TRACE(way.name);
      for (size_t round = 0; round < 3; ++round) {  // the last one from what is kept
        ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
        ASSERT_EQ(tv_domain_propagate(domain.get(), way.equilibrium, way.mode), tv_status_none);
        expect_right_answers(domain.get(), way.equilibrium, way.mode);
      }
    }
  }
}

// A finding now and then is left open, so that beliefs are asked for everywhere.
TEST_P(FaintEvidence, IsTakenInPieceByPiece) {
  Generator random(static_cast<uint64_t>(GetParam()) + 11);
  const DomainOwner domain = random_tree(random, GetParam(), 1000);
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  for (tv_node_t* node : nodes) observe_what_is_rare(random, node, 1e-5);
  ASSERT_EQ(tv_domain_retract_findings(domain.get()), tv_status_none);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  for (size_t first = 0; first < nodes.size(); first += 250) {
    for (size_t n = first; n < first + 250; ++n)
      if (n % 5 != 0) tv_node_select_state(nodes[n], 0);
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    expect_right_answers(domain.get(), tv_equilibrium_sum, tv_evidence_normal);
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, FaintEvidence, testing::Values(Form::chain, Form::bushes, Form::pairs));

// Messages that contradict each other: each is one at best, and the products of some of them are far below
// what single precision holds. Asked again and again, for short lists of what to do are kept.
TEST(FaintEvidence, OfContradictingHintsIsKeptApart) {
  const DomainOwner domain = new_domain();
  tv_node_t* cause = add_node(domain.get(), "cause", 2, {}, {0.5f, 0.5f});
  const float tiny = 1e-20f;
  std::vector<tv_node_t*> hints;
  for (size_t i = 0; i < 4; ++i)
    hints.push_back(
        add_node(domain.get(), nullptr, 2, {cause},
                 i % 2 ? std::vector<float>{tiny, 1, 1, 0} : std::vector<float>{1, 0, 2 * tiny, 1}));
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  for (size_t round = 0; round < 5; ++round) {
    SCOPED_TRACE(round);
    tv_domain_retract_findings(domain.get());
    ASSERT_EQ(tv_domain_reset_inference_engine(domain.get()), tv_status_none);
    for (tv_node_t* hint : hints) tv_node_select_state(hint, 0);
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    EXPECT_NEAR(tv_node_get_belief(cause, 0), 0.2, 1e-6);
    EXPECT_NEAR(tv_domain_get_log_normalization_constant(domain.get()), std::log(2.5) + 2 * std::log(1e-20),
                1e-5);
  }
}

// A node with a single state has a finding, too, which is a factor of everything but its own belief.
TEST(FaintEvidence, OnASingleStateCountsUnderFastRetraction) {
  const DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2, {}, {0.25f, 0.75f});
  tv_node_t* single = add_node(domain.get(), "single", 1, {a});
  add_node(domain.get(), "b", 2, {a, single}, {0.5f, 0.5f, 0.125f, 0.875f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  enter_findings(single, {0.5f});
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_fast_retraction),
            tv_status_none);
  EXPECT_NEAR(tv_node_get_belief(a, 1), 0.75, 1e-6);
  enter_findings(single, {0.0f});
  EXPECT_NE(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_fast_retraction),
            tv_status_none);
}

}  // namespace
}  // namespace test

// Random networks with random evidence, and what analyses of them must leave alone.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include "support/builders.h"
#include "support/describe.h"
#include "support/oracle.h"

namespace test {

template <class Handle, tv_status_t (*Delete)(Handle*)>
struct Deleter {
  void operator()(Handle* handle) const { Delete(handle); }
};
template <class Handle, tv_status_t (*Delete)(Handle*)>
using Owner = std::unique_ptr<Handle, Deleter<Handle, Delete>>;

// A compiled network, with evidence of all kinds on some of its nodes.
struct Situation {
  explicit Situation(Generator& random, double evidence_chance = 0.35, const NetworkShape& shape = {})
      : domain(random_network(random, random.chance(0.5) ? Values::zeros : Values::positive, shape)),
        oracle(domain.get()) {
    tv_domain_compile(domain.get());
    for (tv_node_t* node : oracle.nodes())
      if (random.chance(evidence_chance)) {
        change_evidence(random, node, random.chance(0.7) ? Findings::hard : Findings::any);
      }
    evidence = oracle.entered();
  }

  // What the domain is known to hold afterwards: results of other evidence than what is entered.
  void propagate_something() {
    tv_node_t* const node = oracle.nodes()[0];
    const bool was_entered = tv_node_evidence_is_entered(node) == 1;
    if (!was_entered) tv_domain_propagate(domain.get(), tv_equilibrium_max, tv_evidence_normal);
  }

  bool is_possible() const { return oracle.constant(evidence, tv_equilibrium_sum) > 0; }
  size_t states(size_t i) const { return tv_node_get_number_of_states(oracle.nodes()[i]); }
  size_t place(const tv_node_t* node) const {
    return static_cast<size_t>(std::find(oracle.nodes().begin(), oracle.nodes().end(), node) -
                               oracle.nodes().begin());
  }
  bool is_observed(size_t i) const { return tv_node_get_selected_state(oracle.nodes()[i]) >= 0; }

  std::vector<size_t> findings() const {
    std::vector<size_t> places;
    for (size_t i = 0; i < oracle.nodes().size(); ++i)
      if (tv_node_evidence_is_entered(oracle.nodes()[i]) == 1) places.push_back(i);
    return places;
  }

  // The evidence on some nodes alone.
  Oracle::Evidence only(const std::vector<size_t>& places) const {
    Oracle::Evidence part = oracle.none();
    for (const size_t i : places) part[i] = evidence[i];
    return part;
  }

  // The distribution of a node given the evidence; empty where that is impossible.
  Vector belief(size_t i, const Oracle::Evidence& given) const {
    return normalized(oracle.marginal({i}, given, tv_equilibrium_sum));
  }
  static Vector normalized(Vector numbers) {
    Real sum = 0;
    for (const Real p : numbers) sum += p;
    if (!(sum > 0)) return {};
    for (Real& p : numbers) p /= sum;
    return numbers;
  }

  // A node that is not observed, or the number of nodes where there is none.
  size_t pick_open(Generator& random) const {
    std::vector<size_t> open;
    for (size_t i = 0; i < oracle.nodes().size(); ++i)
      if (!is_observed(i)) open.push_back(i);
    return open.empty() ? oracle.nodes().size() : random.pick(open);
  }

  DomainOwner domain;
  Oracle oracle;
  Oracle::Evidence evidence;
};

// Calls work(situation, random, node) for many situations in which some node is not observed, and sees that
// it leaves the domain as it was.
inline void for_situations(uint64_t first_seed, size_t count, double evidence_chance,
                           const std::function<void(Situation&, Generator&, size_t)>& work) {
  for (uint64_t seed = first_seed; seed < first_seed + count; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    Generator random(seed);
    Situation situation(random, evidence_chance);
    situation.propagate_something();
    const size_t open = situation.pick_open(random);
    if (open == situation.oracle.nodes().size()) continue;
    const std::string before = describe(situation.domain.get());
    work(situation, random, open);
    EXPECT_EQ(describe(situation.domain.get()), before);
    if (testing::Test::HasFailure()) return;
  }
}

inline double entropy(const Vector& distribution) {
  Real sum = 0;
  for (const Real p : distribution)
    if (p > 0) sum -= p * std::log(p);
  return static_cast<double>(sum);
}

inline Real relative_entropy(const Vector& of, const Vector& to) {
  Real sum = 0;
  for (size_t s = 0; s < of.size(); ++s)
    if (of[s] > 0) sum += of[s] * std::log(of[s] / to[s]);
  return sum;
}

// A refused call: the code, words that its message must hold, and the domain as it was.
template <class Call>
void expect_refusal(tv_domain_t* domain, tv_status_t code, const std::string& words, Call call) {
  const std::string before = describe(domain);
  EXPECT_EQ(call(), nullptr) << words;
  EXPECT_EQ(tv_error_code(), code) << words;
  EXPECT_NE(std::string(tv_error_message()).find(words), std::string::npos) << tv_error_message();
  EXPECT_EQ(describe(domain), before) << words;
}

}  // namespace test

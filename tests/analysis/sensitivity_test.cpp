// Sensitivity to parameters, compared with enumeration of networks whose tables have been changed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/builders.h"
#include "support/oracle.h"

namespace {

using namespace test;

struct DeleteSensitivity {
  void operator()(tv_sensitivity_t* sensitivity) const { tv_sensitivity_delete(sensitivity); }
};
using SensitivityOwner = std::unique_ptr<tv_sensitivity_t, DeleteSensitivity>;

std::vector<double> normalized_table(tv_node_t* node) {
  tv_table_t* table = tv_node_get_table(node);
  const tv_number_t* data = tv_table_get_data(table);
  std::vector<double> numbers(data, data + tv_table_get_size(table));
  const size_t states = tv_node_get_number_of_states(node);
  for (size_t first = 0; first < numbers.size(); first += states) {
    double sum = 0;
    for (size_t s = 0; s < states; ++s) sum += numbers[first + s];
    for (size_t s = 0; s < states; ++s) numbers[first + s] /= sum;
  }
  return numbers;
}

void covary(std::vector<double>& table, size_t states, size_t entry, double value) {
  const size_t first = entry - entry % states;
  double rest = 0;
  for (size_t i = first; i < first + states; ++i) rest += i == entry ? 0 : table[i];
  for (size_t i = first; i < first + states; ++i)
    table[i] = (1 - value) * (rest > 0 ? table[i] / rest : 1.0 / static_cast<double>(states - 1));
  table[entry] = value;
}

void write_table(tv_node_t* node, const std::vector<double>& numbers) {
  tv_number_t* data = tv_table_get_data(tv_node_get_table(node));
  std::transform(numbers.begin(), numbers.end(), data,
                 [](double number) { return static_cast<float>(number); });
}

// A compiled network with evidence that is possible, and a node to ask about; false where there is none.
struct World {
  DomainOwner domain;
  std::vector<tv_node_t*> nodes;
  tv_node_t* target = nullptr;
  size_t state = 0, position = 0;

  explicit World(Generator& random) {
    NetworkShape shape;
    shape.max_joint = 300;
    domain = random_network(random, random.chance(0.5) ? Values::zeros : Values::positive, shape);
    nodes = nodes_of(domain.get());
    EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    for (tv_node_t* node : nodes)
      if (random.chance(0.3)) change_evidence(random, node, Findings::any);
    position = random.below(nodes.size());
    target = nodes[position];
    tv_node_retract_findings(target);
    state = random.below(tv_node_get_number_of_states(target));
  }

  Real evidence() const {
    const Oracle oracle(domain.get());
    return oracle.constant(oracle.entered(), tv_equilibrium_sum);
  }
  std::vector<Real> joint() const {  // of the target and the evidence
    const Oracle oracle(domain.get());
    return oracle.marginal({position}, oracle.entered(), tv_equilibrium_sum);
  }
  bool is_usable() const { return tv_node_get_number_of_states(target) > 1 && evidence() > 0; }
};

TEST(Sensitivity, OneParameter) {
  Generator random(21);
  size_t worlds = 0, zeros = 0, ones = 0;
  for (int round = 0; round < 300; ++round) {
    World world(random);
    if (!world.is_usable()) continue;
    ++worlds;
    const SensitivityOwner found(tv_node_analyze_sensitivity(world.target, world.state));
    ASSERT_NE(found, nullptr) << tv_error_message();
    const Real evidence = world.evidence();
    EXPECT_NEAR(tv_sensitivity_get_value(found.get()),
                static_cast<double>(world.joint()[world.state] / evidence), 1e-6);
    double last = INFINITY;
    for (size_t i = 0; i < tv_sensitivity_get_number_of_parameters(found.get()); ++i) {
      tv_node_t* const node = tv_sensitivity_get_node(found.get(), i);
      const size_t entry = tv_sensitivity_get_table_index(found.get(), i);
      const size_t states = tv_node_get_number_of_states(node);
      EXPECT_EQ(tv_sensitivity_find_parameter(found.get(), node, entry), i);
      const std::vector<double> former = normalized_table(node);
      const double present = tv_sensitivity_get_parameter(found.get(), i);
      EXPECT_NEAR(present, former[entry], 1e-6);
      zeros += present == 0;
      ones += present == 1;
      double constants[4], low, high, stable_low, stable_high;
      ASSERT_EQ(tv_sensitivity_get_constants(found.get(), i, constants), tv_status_none);
      ASSERT_EQ(tv_sensitivity_get_range(found.get(), i, &low, &high), tv_status_none);
      ASSERT_EQ(tv_sensitivity_get_stable_interval(found.get(), i, &stable_low, &stable_high),
                tv_status_none);
      EXPECT_LE(std::abs(tv_sensitivity_get_derivative(found.get(), i)), last);
      last = std::abs(tv_sensitivity_get_derivative(found.get(), i));
      const auto now = world.joint();
      const auto best = std::max_element(now.begin(), now.end()) - now.begin();
      const bool is_tie =
          std::count_if(now.begin(), now.end(), [&](Real weight) { return weight > 0.9999 * now[best]; }) > 1;
      for (const double t : {0.0, 0.25, 0.6, 1.0}) {
        std::vector<double> changed = former;
        covary(changed, states, entry, t);
        write_table(node, changed);
        const std::vector<Real> joint = world.joint();
        Real sum = 0;
        for (const Real weight : joint) sum += weight;
        EXPECT_NEAR(constants[2] * t + constants[3], static_cast<double>(sum / evidence),
                    2e-6 * (1 + static_cast<double>(sum / evidence)));
        EXPECT_NEAR(constants[0] * t + constants[1], static_cast<double>(joint[world.state] / evidence),
                    2e-6 * (1 + static_cast<double>(sum / evidence)));
        if (sum < 1e-5 * evidence) continue;
        const double value = static_cast<double>(joint[world.state] / sum);
        EXPECT_NEAR(tv_sensitivity_compute_value_at(found.get(), i, t), value, 1e-5);
        EXPECT_GE(value, low - 1e-5);
        EXPECT_LE(value, high + 1e-5);
        if (is_tie) continue;
        const bool leads = joint[best] > *std::max_element(joint.begin(), joint.end()) - 1e-6 * sum;
        const bool is_stable = t > stable_low && t < stable_high;
        EXPECT_TRUE(leads || !is_stable);
        EXPECT_TRUE(!leads || (t > stable_low - 1e-4 && t < stable_high + 1e-4));
      }
      write_table(node, former);
      // The derivative by itself, and that of the evidence, from small steps.
      const double step = 1e-7, t = std::min(std::max(present, step), 1 - step);
      const double slope = (tv_sensitivity_compute_value_at(found.get(), i, t + step) -
                            tv_sensitivity_compute_value_at(found.get(), i, t - step)) /
                           (2 * step);
      const double derivative = tv_sensitivity_get_derivative(found.get(), i);
      EXPECT_NEAR(derivative, slope, 1e-4 * (1 + derivative * derivative));
    }
  }
  EXPECT_GT(worlds, 150u);
  EXPECT_GT(zeros, 200u);
  EXPECT_GT(ones, 20u);
}

TEST(Sensitivity, GradientOfTheEvidence) {
  Generator random(22);
  for (int round = 0; round < 100; ++round) {
    World world(random);
    const Real evidence = world.evidence();
    const SensitivityOwner found(tv_domain_analyze_evidence_sensitivity(world.domain.get()));
    if (evidence == 0) {
      EXPECT_EQ(found, nullptr);
      EXPECT_EQ(tv_error_code(), tv_status_inconsistency_or_underflow);
      continue;
    }
    ASSERT_NE(found, nullptr) << tv_error_message();
    // With the other entries as they are, the probability is a straight line: its slope is the probability
    // where the entry is one and the others of its distribution are zero, given its configuration.
    for (size_t i = 0; i < tv_sensitivity_get_number_of_parameters(found.get()); ++i) {
      tv_node_t* const node = tv_sensitivity_get_node(found.get(), i);
      const size_t entry = tv_sensitivity_get_table_index(found.get(), i);
      const size_t states = tv_node_get_number_of_states(node);
      const std::vector<double> former = normalized_table(node);
      Real sum = 0;  // of entries times derivatives: the share of the evidence that passes the distribution
      const size_t first = entry - entry % states;
      std::vector<Real> ends;
      for (size_t s = 0; s < states; ++s) {
        std::vector<double> changed = former;
        covary(changed, states, first + s, 1.0);
        write_table(node, changed);
        ends.push_back(world.evidence());
      }
      write_table(node, former);
      // ends[s] = elsewhere + derivative[s], and the entries' mean of them is the evidence.
      Real elsewhere = 0;
      const size_t last = tv_sensitivity_find_parameter(found.get(), node, first);
      elsewhere =
          ends[0] - static_cast<Real>(tv_sensitivity_get_evidence_derivative(found.get(), last)) * evidence;
      EXPECT_NEAR(tv_sensitivity_get_evidence_derivative(found.get(), i),
                  static_cast<double>((ends[entry - first] - elsewhere) / evidence),
                  3e-6 * static_cast<double>(1 + (ends[entry - first] + ends[0]) / evidence));
      EXPECT_GE(elsewhere, -1e-6 * (evidence + ends[0]));
      for (size_t s = 0; s < states; ++s) sum += static_cast<Real>(former[first + s]) * (ends[s] - elsewhere);
      EXPECT_NEAR(static_cast<double>((elsewhere + sum) / evidence), 1.0, 1e-5);
    }
  }
}

TEST(Sensitivity, TwoParameters) {
  Generator random(23);
  size_t same = 0, others = 0;
  for (int round = 0; round < 300; ++round) {
    World world(random);
    if (!world.is_usable()) continue;
    const Real evidence = world.evidence();
    tv_node_t* const node1 = random.pick(world.nodes);
    tv_node_t* const node2 = random.chance(0.4) ? node1 : random.pick(world.nodes);
    const std::vector<double> former1 = normalized_table(node1), former2 = normalized_table(node2);
    const size_t entry1 = random.below(former1.size()), entry2 = random.below(former2.size());
    const size_t states1 = tv_node_get_number_of_states(node1), states2 = tv_node_get_number_of_states(node2);
    double above[4], below[4];
    const tv_status_t status = tv_node_get_two_way_sensitivity(world.target, world.state, node1, entry1,
                                                               node2, entry2, above, below);
    if (states1 == 1 || states2 == 1) {
      EXPECT_EQ(status, tv_status_usage);
      continue;
    }
    if (node1 == node2 && entry1 == entry2) {
      EXPECT_EQ(status, tv_status_twice);
      continue;
    }
    ASSERT_EQ(status, tv_status_none) << tv_error_message();
    const bool is_same = node1 == node2 && entry1 / states1 == entry2 / states2;
    ++(is_same ? same : others);
    for (const double t1 : {0.0, 0.3, 1.0}) {
      for (const double t2 : {0.0, 0.5, 0.7, 1.0}) {
        if (is_same && (states1 == 2 ? t1 + t2 != 1 : t1 + t2 > 1)) continue;
        std::vector<double> changed = former1;
        if (is_same) {
          const size_t first = entry1 - entry1 % states1;
          double rest = 0;
          for (size_t i = first; i < first + states1; ++i)
            rest += i == entry1 || i == entry2 ? 0 : former1[i];
          for (size_t i = first; i < first + states1; ++i)
            changed[i] = (1 - t1 - t2) * (rest > 0 ? former1[i] / rest
                                                   : 1.0 / std::max(1.0, static_cast<double>(states1) - 2));
          changed[entry1] = t1;
          changed[entry2] = t2;
          write_table(node1, changed);
        } else {
          covary(changed, states1, entry1, t1);
          write_table(node1, changed);
          std::vector<double> second = node1 == node2 ? changed : former2;
          covary(second, states2, entry2, t2);
          write_table(node2, second);
        }
        const std::vector<Real> joint = world.joint();
        const Real sum = world.evidence();
        const auto value = [&](const double* c) { return c[0] + c[1] * t1 + c[2] * t2 + c[3] * t1 * t2; };
        if (sum > 1e-4 * evidence) {
          EXPECT_NEAR(value(above) / value(below), static_cast<double>(joint[world.state] / sum), 1e-4);
        }
        write_table(node1, former1);
        write_table(node2, former2);
      }
    }
  }
  EXPECT_GT(same, 20u);
  EXPECT_GT(others, 80u);
}

// The value found reaches the goal, and no value nearer to the present one does.
TEST(Sensitivity, TuningOneParameter) {
  Generator random(24);
  size_t tuned = 0, impossible = 0;
  for (int round = 0; round < 200; ++round) {
    World world(random);
    if (!world.is_usable()) continue;
    const size_t states = tv_node_get_number_of_states(world.target);
    const SensitivityOwner found(tv_node_analyze_sensitivity(world.target, world.state));
    const size_t count = tv_sensitivity_get_number_of_parameters(found.get());
    if (count == 0) continue;
    const size_t i = random.below(std::min<size_t>(count, 10));
    const size_t other = random.chance(0.5) ? (world.state + 1) % states : static_cast<size_t>(-1);
    const double threshold = random.uniform();
    double value = -7;
    const tv_status_t status = tv_sensitivity_tune_parameter(found.get(), i, other, threshold, &value);
    tv_node_t* const node = tv_sensitivity_get_node(found.get(), i);
    const std::vector<double> former = normalized_table(node);
    const double present = tv_sensitivity_get_parameter(found.get(), i);
    const auto margin = [&](double t) {
      std::vector<double> changed = former;
      covary(changed, tv_node_get_number_of_states(node), tv_sensitivity_get_table_index(found.get(), i), t);
      write_table(node, changed);
      const std::vector<Real> joint = world.joint();
      Real sum = 0;
      for (const Real weight : joint) sum += weight;
      write_table(node, former);
      if (sum == 0) return -1.0;
      const Real rival = other == static_cast<size_t>(-1) ? 0 : joint[other];
      return static_cast<double>((joint[world.state] - rival) / sum) - threshold;
    };
    if (status == tv_status_none) {
      ++tuned;
      EXPECT_GE(margin(value), -1e-5);
      EXPECT_LE(value == present ? 0 : margin(value + 0.01 * (present - value)), 1e-5);
    } else {
      ++impossible;
      EXPECT_EQ(status, tv_status_no_value);
      EXPECT_EQ(value, -7);
      for (int k = 0; k <= 10; ++k) EXPECT_LE(margin(k / 10.0), 1e-5);
    }
  }
  EXPECT_GT(tuned, 30u);
  EXPECT_GT(impossible, 30u);
}

double distance_of(const std::vector<double>& from, const double* to) {
  double least = INFINITY, most = -INFINITY;
  for (size_t s = 0; s < from.size(); ++s) {
    if (from[s] == 0) continue;
    least = std::min(least, std::log(to[s] / from[s]));
    most = std::max(most, std::log(to[s] / from[s]));
  }
  return most - least;
}

// The distribution found reaches the goal at the distance it says, and no random one reaches it nearer by.
TEST(Sensitivity, TuningADistribution) {
  Generator random(25);
  size_t tuned = 0, tried = 0;
  for (int round = 0; round < 300; ++round) {
    World world(random);
    if (!world.is_usable()) continue;
    const SensitivityOwner found(tv_node_analyze_sensitivity(world.target, world.state));
    const size_t count = tv_sensitivity_get_number_of_parameters(found.get());
    if (count == 0) continue;
    const size_t i = random.below(std::min<size_t>(count, 5));
    tv_node_t* const node = tv_sensitivity_get_node(found.get(), i);
    const size_t states = tv_node_get_number_of_states(node);
    const size_t entry = tv_sensitivity_get_table_index(found.get(), i), first = entry - entry % states;
    const std::vector<double> former = normalized_table(node);
    const std::vector<double> part(former.begin() + static_cast<ptrdiff_t>(first),
                                   former.begin() + static_cast<ptrdiff_t>(first + states));
    const double threshold = std::min(1.0, tv_sensitivity_get_value(found.get()) + 0.2 * random.uniform());
    std::vector<double> distribution(states);
    double distance = 0;
    const auto value_of = [&](const std::vector<double>& row) {
      std::vector<double> changed = former;
      std::copy(row.begin(), row.end(), changed.begin() + static_cast<ptrdiff_t>(first));
      write_table(node, changed);
      const std::vector<Real> joint = world.joint();
      Real sum = 0;
      for (const Real weight : joint) sum += weight;
      write_table(node, former);
      return sum > 0 ? static_cast<double>(joint[world.state] / sum) : 0.0;
    };
    const tv_status_t status = tv_sensitivity_tune_distribution(found.get(), i, static_cast<size_t>(-1),
                                                                threshold, distribution.data(), &distance);
    if (status == tv_status_none) {
      ++tuned;
      EXPECT_NEAR(value_of(distribution), std::max(threshold, tv_sensitivity_get_value(found.get())), 1e-4);
      EXPECT_NEAR(distance_of(part, distribution.data()), distance, 1e-5);
    } else {
      EXPECT_EQ(status, tv_status_no_value);
      distance = 30;
    }
    for (int k = 0; k < 40; ++k) {
      std::vector<double> attempt = part;
      double sum = 0;
      for (double& number : attempt) sum += number *= std::exp(0.98 * distance * random.uniform());
      for (double& number : attempt) number /= sum;
      ++tried;
      EXPECT_LT(value_of(attempt), threshold + 1e-5);
    }
  }
  EXPECT_GT(tuned, 40u);
  EXPECT_GT(tried, 3000u);
}

tv_node_t* add_utility(tv_domain_t* domain, std::initializer_list<tv_node_t*> parents,
                       const std::vector<float>& numbers) {
  tv_node_t* node = tv_domain_new_node(domain, tv_category_utility, tv_kind_other);
  for (tv_node_t* parent : parents) EXPECT_EQ(tv_node_add_parent(node, parent), tv_status_none);
  set_table(node, numbers);
  return node;
}

// Two utilities in one tree and one in another, with a policy that is not the best one.
TEST(Sensitivity, ExpectedUtility) {
  const DomainOwner domain = new_domain();
  tv_node_t* fault = add_node(domain.get(), "fault", 3, {}, {0.7f, 0.2f, 0.1f});
  tv_node_t* test = add_node(domain.get(), "test", 2, {fault}, {0.9f, 0.1f, 0.4f, 0.6f, 0, 1});
  tv_node_t* repair = tv_domain_new_node(domain.get(), tv_category_decision, tv_kind_discrete);
  tv_node_set_number_of_states(repair, 2);
  ASSERT_EQ(tv_node_add_parent(repair, test), tv_status_none);
  set_table(repair, {0.8f, 0.2f, 0.3f, 0.7f});
  tv_node_t* mood = add_node(domain.get(), "mood", 2, {}, {0.25f, 0.75f});
  add_utility(domain.get(), {fault, repair}, {10, 4, -20, 5, -80, 3});
  add_utility(domain.get(), {repair}, {0, -2});
  add_utility(domain.get(), {mood}, {1, 7});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none) << tv_error_message();
  for (const bool observes : {false, true}) {
    if (observes) {
      ASSERT_EQ(tv_node_select_state(repair, 1), tv_status_none);
      ASSERT_EQ(tv_node_select_state(test, 1), tv_status_none);
      tv_node_enter_finding(mood, 0, 0.5f);
    }
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    const SensitivityOwner found(tv_domain_analyze_utility_sensitivity(domain.get()));
    ASSERT_NE(found, nullptr) << tv_error_message();
    EXPECT_NEAR(tv_sensitivity_get_value(found.get()), tv_domain_get_expected_utility(domain.get()), 1e-4);
    EXPECT_EQ(tv_sensitivity_get_number_of_parameters(found.get()), 11u);
    for (size_t i = 0; i < 11; ++i) {
      tv_node_t* const node = tv_sensitivity_get_node(found.get(), i);
      const size_t states = tv_node_get_number_of_states(node);
      const size_t entry = tv_sensitivity_get_table_index(found.get(), i);
      const std::vector<double> former = normalized_table(node);
      for (const double t : {0.05, 0.5, 1.0}) {
        std::vector<double> changed = former;
        covary(changed, states, entry, t);
        write_table(node, changed);
        tv_node_touch_table(node);
        if (tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal)) continue;
        EXPECT_NEAR(tv_sensitivity_compute_value_at(found.get(), i, t),
                    tv_domain_get_expected_utility(domain.get()), 1e-4);
      }
      write_table(node, former);
      tv_node_touch_table(node);
      ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    }
    double value;
    const size_t first_fault = tv_sensitivity_find_parameter(found.get(), fault, 0);
    const double goal = tv_sensitivity_get_value(found.get()) + 0.5;
    ASSERT_EQ(tv_sensitivity_tune_parameter(found.get(), first_fault, static_cast<size_t>(-1), goal, &value),
              tv_status_none);
    EXPECT_NEAR(tv_sensitivity_compute_value_at(found.get(), first_fault, value), goal, 1e-6);
    double low, high;
    EXPECT_EQ(tv_sensitivity_get_stable_interval(found.get(), 0, &low, &high), tv_status_usage);
  }
}

// A table that nobody has asked for counts as uniform, and has parameters like any other.
TEST(Sensitivity, TablesThatAreNotThere) {
  const DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2);
  tv_node_t* b = add_node(domain.get(), "b", 3, {a}, {0.5f, 0.25f, 0.25f, 0.1f, 0.2f, 0.7f});
  tv_node_t* c = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
  ASSERT_EQ(tv_node_set_number_of_states(c, 2), tv_status_none);
  ASSERT_EQ(tv_node_add_parent(c, b), tv_status_none);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_node_select_state(c, 1);
  const SensitivityOwner found(tv_node_analyze_sensitivity(b, 2));
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(tv_sensitivity_get_number_of_parameters(found.get()), 2u + 6 + 6);
  const size_t i = tv_sensitivity_find_parameter(found.get(), c, 5);  // P(c = 1 | b = 2)
  EXPECT_EQ(tv_sensitivity_get_parameter(found.get(), i), 0.5);
  const double p = (0.25 + 0.7) / 2;  // of b = 2
  EXPECT_NEAR(tv_sensitivity_compute_value_at(found.get(), i, 0.9), p * 0.9 / (p * 0.9 + (1 - p) * 0.5),
              1e-6);
}

TEST(Sensitivity, Refusals) {
  const DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2, {}, {0.5f, 0.5f});
  tv_node_t* b = add_node(domain.get(), "b", 2, {a}, {1, 0, 0.5f, 0.5f});
  tv_node_t* single = add_node(domain.get(), "c", 1);
  const auto code = [](tv_node_t* node, size_t state) {
    EXPECT_EQ(tv_node_analyze_sensitivity(node, state), nullptr);
    return tv_error_code();
  };
  EXPECT_EQ(code(a, 0), tv_status_not_compiled);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_EQ(code(a, 2), tv_status_usage);
  EXPECT_EQ(code(single, 0), tv_status_usage);
  tv_node_select_state(a, 0);
  EXPECT_EQ(code(a, 0), tv_status_usage);
  EXPECT_NE(std::string(tv_error_message()).find("observed"), std::string::npos);
  tv_node_select_state(b, 1);
  EXPECT_EQ(tv_domain_analyze_evidence_sensitivity(domain.get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_inconsistency_or_underflow);
  EXPECT_EQ(tv_domain_analyze_utility_sensitivity(domain.get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  tv_domain_retract_findings(domain.get());
  tv_node_t* apart = tv_domain_get_first_node(domain.get());  // the newest one
  ASSERT_EQ(apart, single);
  tv_node_enter_finding(apart, 0, 0);
  EXPECT_EQ(code(a, 0), tv_status_inconsistency_or_underflow);
  tv_domain_retract_findings(domain.get());
  const SensitivityOwner found(tv_node_analyze_sensitivity(a, 0));
  ASSERT_NE(found, nullptr);
  double value;
  EXPECT_EQ(tv_sensitivity_tune_parameter(found.get(), 0, 0, 0.5, &value), tv_status_usage);
  EXPECT_EQ(tv_sensitivity_tune_parameter(found.get(), 0, 1, 1.5, &value), tv_status_usage);
  EXPECT_EQ(tv_sensitivity_tune_parameter(found.get(), 99, 1, 0.5, &value), tv_status_usage);
  EXPECT_EQ(tv_sensitivity_compute_value_at(found.get(), 0, 1.5), -1);
}

}  // namespace

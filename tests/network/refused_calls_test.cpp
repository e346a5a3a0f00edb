// A call that fails changes nothing: calls with arguments drawn from good and bad ones, and everything that
// can be seen of the domain before and after, but for the triangulation that a refused compilation leaves.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>

#include "support/builders.h"

namespace test {
namespace {

constexpr size_t kAllOnes = static_cast<size_t>(-1);

struct Driver {
  explicit Driver(uint64_t seed) : random(seed) {
    tv_node_t* a = add_node(domain_owner.get(), "A", 2, {}, {0.25f, 0.75f});
    tv_node_t* b = add_node(domain_owner.get(), "B", 3, {a});
    add_node(domain_owner.get(), "D", 2, {a, b});
    tv_node_t* x = tv_domain_new_node(domain_owner.get(), tv_category_chance, tv_kind_continuous);
    tv_node_t* y = tv_domain_new_node(domain_owner.get(), tv_category_chance, tv_kind_continuous);
    tv_node_t* f = tv_domain_new_node(domain_owner.get(), tv_category_function, tv_kind_other);
    for (tv_node_t* parent : {a, x}) tv_node_add_parent(y, parent);
    tv_node_add_parent(f, x);
    tv_node_t* none[] = {nullptr};
    model = tv_node_new_model(f, none);
    tv_node_set_subtype(b, tv_subtype_number);
    tv_node_get_experience_table(b);
    tv_domain_set_number_of_cases(domain_owner.get(), 2);
    if (random.chance(0.5)) tv_node_get_table(y);
    if (random.chance(0.3)) tv_domain_set_memory_limit(domain_owner.get(), 1000);
  }

  tv_domain_t* domain() { return random.chance(0.05) ? nullptr : domain_owner.get(); }
  tv_node_t* node() { return random.chance(0.05) ? nullptr : random.pick(nodes_of(domain_owner.get())); }
  size_t index() { return random.pick<size_t>({0, 1, 2, 3, 4, kAllOnes / 2 + 1, kAllOnes - 1, kAllOnes}); }
  double number() {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    return random.pick<double>({0, 0.25, 1, -1, 1e300, infinity, -infinity, std::nan("")});
  }
  const char* word() {
    return random.pick<const char*>({"A", "B", "new", "a.b", "", "1x", "a b", "\xff", nullptr});
  }
  template <class Enumeration>
  Enumeration any_of(int low, int high) {  // what C lets pass: in the range, near it and far out
    const int values[] = {low + static_cast<int>(random.below(static_cast<size_t>(high - low + 3))) - 1, -1,
                          0, 1 << 20, std::numeric_limits<int>::min()};
    return static_cast<Enumeration>(values[random.chance(0.7) ? 0 : random.below(5)]);
  }
  auto category() { return any_of<tv_node_category_t>(tv_category_function, tv_category_utility); }
  auto kind() { return any_of<tv_node_kind_t>(tv_kind_other, tv_kind_continuous); }
  auto subtype() { return any_of<tv_node_subtype_t>(tv_subtype_label, tv_subtype_interval); }
  auto method() { return any_of<tv_triangulation_method_t>(tv_method_clique_size, tv_method_best_greedy); }
  auto equilibrium() { return any_of<tv_equilibrium_t>(tv_equilibrium_none, tv_equilibrium_max); }
  auto mode() { return any_of<tv_evidence_mode_t>(tv_evidence_normal, tv_evidence_fast_retraction); }
  std::vector<tv_node_t*> list() {
    std::vector<tv_node_t*> result;
    for (size_t i = random.below(5); i > 0; --i) result.push_back(random.pick(nodes_of(domain_owner.get())));
    result.push_back(nullptr);
    return result;
  }
  std::vector<size_t> order() {
    std::vector<size_t> result(8);
    for (size_t& entry : result) entry = random.below(4);
    return result;
  }

  std::string description() {
    tv_domain_t* domain = domain_owner.get();
    char* text = tv_domain_to_net_string(domain);
    std::string result = text ? text : tv_error_name(tv_error_code());
    free(text);
    const auto add = [&](auto value) { result += " " + std::to_string(value); };
    add(tv_domain_get_grain_size(domain));
    add(tv_domain_get_concurrency_level(domain));
    add(tv_domain_get_em_concurrency_level(domain));
    add(tv_domain_get_max_number_of_separators(domain));
    add(tv_domain_get_max_separator_size(domain));
    add(tv_domain_get_memory_limit(domain));
    add(tv_domain_get_number_of_cases(domain));
    add(tv_domain_is_compiled(domain));
    for (size_t i = 0; i < tv_domain_get_number_of_cases(domain); ++i)
      add(tv_domain_get_case_count(domain, i));
    for (tv_node_t* node : nodes_of(domain)) {
      add(tv_node_has_experience_table(node));
      add(tv_node_has_fading_table(node));
      for (size_t i = 0; i < tv_domain_get_number_of_cases(domain); ++i) {
        add(tv_node_case_is_set(node, i));
        add(tv_node_get_case_state(node, i));
        add(tv_node_get_case_value(node, i));
      }
      add(tv_node_evidence_is_entered(node));
      for (size_t s = 0; s < 4; ++s) add(tv_node_get_entered_finding(node, s));
      add(tv_node_get_entered_value(node));
    }
    add(tv_model_get_size(model));
    add(tv_model_get_number_of_samples_per_interval(model));
    return result;
  }

  Generator random;
  DomainOwner domain_owner = new_domain();
  tv_model_t* model = nullptr;
};

constexpr void (*kCalls[])(Driver&) = {
    [](Driver& d) { tv_domain_new_node(d.domain(), d.category(), d.kind()); },
    [](Driver& d) { tv_node_set_category(d.node(), d.category()); },
    [](Driver& d) { tv_node_set_subtype(d.node(), d.subtype()); },
    [](Driver& d) { tv_node_set_number_of_states(d.node(), d.index()); },
    [](Driver& d) { tv_node_set_name(d.node(), d.word()); },
    [](Driver& d) { tv_node_set_label(d.node(), d.word()); },
    [](Driver& d) { tv_node_set_state_label(d.node(), d.index(), d.word()); },
    [](Driver& d) { tv_node_set_state_value(d.node(), d.index(), d.number()); },
    [](Driver& d) { tv_node_reorder_states(d.node(), d.order().data()); },
    [](Driver& d) { tv_domain_set_attribute(d.domain(), d.word(), d.word()); },
    [](Driver& d) { tv_node_set_attribute(d.node(), d.word(), d.word()); },
    [](Driver& d) { tv_node_add_parent(d.node(), d.node()); },
    [](Driver& d) { tv_node_remove_parent(d.node(), d.node()); },
    [](Driver& d) { tv_node_remove_discrete_parent(d.node(), d.node()); },
    [](Driver& d) { tv_node_switch_parent(d.node(), d.node(), d.node()); },
    [](Driver& d) { tv_node_reverse_edge(d.node(), d.node()); },
    [](Driver& d) { tv_domain_set_node_size(d.domain(), d.index(), d.index()); },
    [](Driver& d) { tv_node_set_intercept(d.node(), d.index(), d.number()); },
    [](Driver& d) { tv_node_set_coefficient(d.node(), d.node(), d.index(), d.number()); },
    [](Driver& d) { tv_node_set_conditional_variance(d.node(), d.index(), d.number()); },
    [](Driver& d) { tv_node_get_intercept(d.node(), d.index()); },
    [](Driver& d) { tv_node_get_coefficient(d.node(), d.node(), d.index()); },
    [](Driver& d) { tv_node_get_conditional_variance(d.node(), d.index()); },
    [](Driver& d) { tv_node_get_table(d.node()); },
    [](Driver& d) { tv_node_get_experience_table(d.node()); },
    [](Driver& d) { tv_node_get_fading_table(d.node()); },
    [](Driver& d) { tv_node_generate_table(d.node()); },
    [](Driver& d) { tv_model_set_expression(d.model, d.index(), nullptr); },
    [](Driver& d) { tv_model_set_number_of_samples_per_interval(d.model, d.random.below(3)); },
    [](Driver& d) { tv_domain_set_grain_size(d.domain(), d.random.below(3)); },
    [](Driver& d) { tv_domain_set_concurrency_level(d.domain(), d.index()); },
    [](Driver& d) { tv_domain_set_em_concurrency_level(d.domain(), d.index()); },
    [](Driver& d) { tv_domain_set_ijt_nodes(d.domain(), d.list().data()); },
    [](Driver& d) { tv_domain_set_initial_triangulation(d.domain(), d.list().data()); },
    [](Driver& d) { tv_domain_triangulate(d.domain(), d.method()); },
    [](Driver& d) { tv_domain_triangulate_with_order(d.domain(), d.list().data()); },
    [](Driver& d) { tv_domain_compile(d.domain()); },
    [](Driver& d) { tv_domain_uncompile(d.domain()); },
    [](Driver& d) { tv_domain_propagate(d.domain(), d.equilibrium(), d.mode()); },
    [](Driver& d) { tv_domain_equilibrium_is(d.domain(), d.equilibrium()); },
    [](Driver& d) { tv_domain_evidence_mode_is(d.domain(), d.mode()); },
    [](Driver& d) { tv_node_select_state(d.node(), d.index()); },
    [](Driver& d) { tv_node_enter_finding(d.node(), d.index(), static_cast<tv_number_t>(d.number())); },
    [](Driver& d) { tv_node_enter_value(d.node(), d.number()); },
    [](Driver& d) { tv_domain_set_number_of_cases(d.domain(), d.random.chance(0.5) ? 2 : d.index()); },
    [](Driver& d) { tv_domain_set_case_count(d.domain(), d.index(), static_cast<tv_number_t>(d.number())); },
    [](Driver& d) { tv_node_set_case_state(d.node(), d.index(), d.index()); },
    [](Driver& d) { tv_node_set_case_value(d.node(), d.index(), d.number()); },
    [](Driver& d) { tv_node_unset_case(d.node(), d.index()); },
    [](Driver& d) { tv_domain_enter_case(d.domain(), d.index()); },
    [](Driver& d) { tv_domain_get_marginal(d.domain(), nullptr); },
    [](Driver& d) { tv_node_get_belief(d.node(), d.index()); },
    [](Driver& d) { tv_node_get_mean(d.node()); },
    [](Driver& d) { tv_node_get_value(d.node()); },
    [](Driver& d) { tv_table_get_data(tv_node_get_table(d.node())); },
};

TEST(RefusedCalls, ChangeNothing) {
  for (uint64_t seed = 0; seed < 20; ++seed) {
    Driver driver(seed);
    std::string before = driver.description();
    for (size_t i = 0; i < 300; ++i) {
      const size_t call = driver.random.below(std::size(kCalls));
      kCalls[call](driver);
      const tv_status_t status = tv_error_code();
      const std::string after = driver.description();
      if (status) {
        ASSERT_EQ(after, before) << "seed " << seed << ", call " << call << ": " << tv_error_name(status);
      }
      before = after;
    }
  }
}

}  // namespace
}  // namespace test

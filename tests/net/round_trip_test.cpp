// What is written is read back: random domains of all kinds, with every name, text and number that can be set
// and tables in any order. What no text can say is refused when it is written.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <map>

#include "expr/model.h"
#include "net_world.h"
#include "network/domain.h"
#include "network/links/links.h"
#include "support/builders.h"
#include "support/describe.h"

namespace net_test {
namespace {

using Limits = std::numeric_limits<double>;

// ---- What a text keeps of a domain ----

std::string digits(double number, int precision) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*G", precision, number);
  return text;
}

// By configuration, so that the order of the table's nodes plays no part.
std::string facts(const tv::Table& table) {
  std::map<std::string, std::string> entries;
  for (size_t index = 0; index < table.size; ++index) {
    std::vector<std::string> states;
    size_t rest = index;
    for (size_t i = table.discrete_count; i-- > 0; rest /= table.nodes[i]->number_of_states)
      states.push_back(table.nodes[i]->name + "=" + std::to_string(rest % table.nodes[i]->number_of_states));
    std::sort(states.begin(), states.end());
    std::string configuration;
    for (const std::string& state : states) configuration += " " + state;
    std::string& entry = entries[configuration];
    if (table.continuous_count == 0) {
      entry = digits(table.data[index], 6);
      continue;
    }
    tv_node_t* owner = table.owner;
    entry = digits(tv_node_get_conditional_variance(owner, index), 8) + " " +
            digits(tv_node_get_intercept(owner, index) + 0.0, 8);
    std::vector<std::string> terms;
    for (tv_node_t* parent : owner->parents)
      if (tv::is_continuous(*parent))
        terms.push_back(" " + parent->name + " " +
                        digits(tv_node_get_coefficient(owner, parent, index) + 0.0, 8));
    std::sort(terms.begin(), terms.end());
    for (const std::string& term : terms) entry += term;
  }
  std::string text;
  for (const auto& [configuration, entry] : entries) text += "   " + configuration + ": " + entry + "\n";
  return text;
}

std::string facts(const tv::Model& model) {
  std::string text = "  model " + std::to_string(model.samples_per_interval) + " over";
  for (const tv_node_t* node : model.nodes) text += " " + node->name;
  for (const tv::Expression* expression : model.expressions) {
    if (!expression) return text + " incomplete\n";
    char* printed = tv_expression_to_string(expression);
    text += std::string("\n    ") + printed;
    free(printed);
  }
  return text + (model.expressions.empty() ? " incomplete\n" : "\n");
}

std::string facts(const tv::AttributeList& attributes) {
  std::string text;
  for (const tv_attribute_t& attribute : attributes)
    text += "  " + attribute.key + "=" + attribute.value + "\n";
  return text;
}

std::string facts(const tv_node_t& node) {
  std::string text = node.name + " " + std::to_string(node.category) + " " + std::to_string(node.kind) + " " +
                     std::to_string(node.x) + " " + std::to_string(node.y) + " " + node.label + "\n";
  text += facts(node.attributes);
  std::vector<std::string> parents;
  for (const tv_node_t* parent : node.parents) parents.push_back(parent->name);
  std::sort(parents.begin(), parents.end());
  for (const std::string& parent : parents) text += " <- " + parent;
  if (tv::is_discrete(node)) {
    text += "\n  subtype " + std::to_string(node.subtype);
    const bool is_interval = node.subtype == tv_subtype_interval;
    for (size_t s = 0; s < node.number_of_states; ++s)
      text += " state " + (node.state_labels.empty() ? "" : node.state_labels[s]);
    if ((is_interval || node.subtype == tv_subtype_number) && !node.state_values.empty())
      for (size_t s = 0; s < node.number_of_states + is_interval; ++s)
        text += " " + (std::fabs(node.state_values[s]) == Limits::max()
                           ? (node.state_values[s] < 0 ? "-INF" : "INF")
                           : digits(node.state_values[s], 8));
  }
  text += "\n";
  if (node.model) text += facts(*node.model);
  if (node.table && !(node.model && node.model->stale)) text += "  table\n" + facts(*node.table);
  if (node.experience_table) text += "  experience\n" + facts(*node.experience_table);
  if (node.fading_table) text += "  fading\n" + facts(*node.fading_table);
  return text;
}

std::string facts(const tv_domain_t& domain) {
  std::string text = std::to_string(domain.node_width) + " " + std::to_string(domain.node_height) + "\n" +
                     facts(domain.attributes);
  for (const tv_node_t& node : domain.nodes) text += facts(node);
  for (const tv::ChainPotential& potential : domain.chain_potentials)
    text += "chain\n" + facts(*potential.table);
  return text;
}

// Whether a domain is written, and then comes back from its text, and the same text from that.
bool comes_back(tv_domain_t* domain) {
  const std::unique_ptr<char, decltype(&free)> text(tv_domain_to_net_string(domain), &free);
  if (!text) return false;
  const Parsed read = parse(text.get());
  if (!read.domain) {
    ADD_FAILURE() << text.get() << testing::PrintToString(read.messages);
    return true;
  }
  for (const Message& message : read.messages) EXPECT_EQ(0u, message.text.rfind("warning: ", 0)) << message;
  EXPECT_EQ(facts(*domain), facts(*read.domain)) << text.get();
  const std::unique_ptr<char, decltype(&free)> again(tv_domain_to_net_string(read.domain.get()), &free);
  EXPECT_STREQ(text.get(), again ? again.get() : nullptr);
  return true;
}

// ---- Random domains ----

// `wild` ones may hold what cannot be written.
class DomainMaker {
 public:
  DomainMaker(test::Generator& random, bool wild) : random_(random), wild_(wild) {}

  // Nodes of all kinds (continuous ones, or decisions and utilities) with links wherever they are allowed.
  test::DomainOwner make() {
    test::DomainOwner domain = test::new_domain();
    const bool is_gaussian = random_.chance(0.4);
    std::vector<tv_node_t*> nodes;
    for (size_t i = 1 + random_.below(8); i > 0; --i) {
      tv_node_t* node = new_node(domain.get(), is_gaussian);
      if (!node) continue;  // function nodes in the way of a decision
      if (tv_node_get_kind(node) == tv_kind_discrete)
        tv_node_set_number_of_states(node, 1 + random_.below(4));
      for (tv_node_t* parent : nodes)
        if (random_.chance(0.35)) tv_node_add_parent(node, parent);
      nodes.push_back(node);
      decorate(node);
      if (tv_node_get_kind(node) == tv_kind_discrete) give_states(node);
      fill_tables(node);
      if (tv_node_get_kind(node) != tv_kind_continuous && random_.chance(0.2)) add_model(node);
    }
    const size_t sizes[] = {0, 80, 12345678901234567u, SIZE_MAX - 1, SIZE_MAX};
    tv_domain_set_node_size(domain.get(), sizes[random_.below(5)], random_.below(200));
    if (random_.chance(0.5)) tv_domain_set_attribute(domain.get(), name(), text().c_str());
    if (random_.chance(0.5)) tv_domain_set_attribute(domain.get(), random_.pick(net_keys_), text().c_str());
    return domain;
  }

 private:
  tv_node_t* new_node(tv_domain_t* domain, bool is_gaussian) {
    tv_node_t* node = nullptr;
    switch (random_.below(6)) {
      case 0:
        node = is_gaussian ? tv_domain_new_node(domain, tv_category_chance, tv_kind_continuous)
                           : tv_domain_new_node(domain, tv_category_decision, tv_kind_discrete);
        break;
      case 1:
        node = is_gaussian ? tv_domain_new_node(domain, tv_category_chance, tv_kind_continuous)
                           : tv_domain_new_node(domain, tv_category_utility, tv_kind_other);
        break;
      case 2:
        node = tv_domain_new_node(domain, tv_category_function,
                                  random_.chance(0.5) ? tv_kind_other : tv_kind_discrete);
        break;
      default:
        node = tv_domain_new_node(domain, tv_category_chance, tv_kind_discrete);
    }
    if (node && random_.chance(0.5)) tv_node_set_name(node, name());
    return node;
  }

  const char* name() {
    static const std::vector<const char*> tame = {"node",     "net",    "potential", "function", "discrete",
                                                  "infinity", "normal", "min",       "Normal",   "label",
                                                  "a.b.c",    "_.x",    "data",      "boolean",  "class",
                                                  "x",        "y",      "inputs",    "_",        "E1"};
    static const std::vector<const char*> wild = {"true", "false"};
    return wild_ && random_.chance(0.3) ? random_.pick(wild) : random_.pick(tame);
  }

  std::string text() {
    std::string text;
    for (size_t length = random_.below(6); length > 0; --length)
      text += random_.chance(0.7) ? static_cast<char>('a' + random_.below(26))
                                  : static_cast<char>(1 + random_.below(255));
    return text;
  }

  // Of every magnitude that the type has.
  template <class Number>
  Number number(bool negative_allowed) {
    using Range = std::numeric_limits<Number>;
    const double sign = negative_allowed && random_.chance(0.3) ? -1 : 1;
    if (wild_ && random_.chance(0.02))
      return random_.pick(std::vector<Number>{Range::infinity(), -Range::infinity(), Range::quiet_NaN(), -1});
    if (random_.chance(0.2))
      return random_.pick(
          std::vector<Number>{0, -Number{0}, 1, Range::max(), Range::min(), Range::denorm_min()});
    const double exponent =
        Range::min_exponent10 + (Range::max_exponent10 - Range::min_exponent10) * random_.uniform();
    return static_cast<Number>(sign * random_.uniform() *
                               std::pow(10, random_.chance(0.5) ? exponent : 6 - 12 * random_.uniform()));
  }

  void decorate(tv_node_t* node) {
    if (random_.chance(0.4)) tv_node_set_label(node, text().c_str());
    const long places[] = {0, -250, 321, LONG_MIN, LONG_MAX, LONG_MAX / 3};
    if (random_.chance(0.4)) tv_node_set_position(node, places[random_.below(6)], places[random_.below(6)]);
    if (random_.chance(0.3)) tv_node_set_attribute(node, name(), text().c_str());
    if (random_.chance(0.3)) tv_node_set_attribute(node, random_.pick(node_keys_), text().c_str());
  }

  void give_states(tv_node_t* node) {
    const size_t states = tv_node_get_number_of_states(node);
    switch (random_.below(4)) {
      case 0:
        if (states == 2) tv_node_set_subtype(node, tv_subtype_boolean);
        break;
      case 1:
        tv_node_set_subtype(node, tv_subtype_number);
        for (size_t s = 0; s < states; ++s) tv_node_set_state_value(node, s, state_value());
        break;
      case 2:
        tv_node_set_subtype(node, tv_subtype_interval);
        for (size_t s = 0; s <= states && random_.chance(0.9); ++s)
          tv_node_set_state_value(node, s,
                                  s == 0 && random_.chance(0.3) ? -Limits::infinity() : state_value());
        if (wild_ && random_.chance(0.3)) tv_node_set_subtype(node, tv_subtype_number);
        break;
      default:
        break;
    }
    for (size_t s = 0; s < states; ++s)
      if (random_.chance(0.5)) tv_node_set_state_label(node, s, text().c_str());
  }

  double state_value() {
    const double value = number<double>(true);
    return std::fabs(value) == Limits::max() && !wild_ ? value / 2 : value;
  }

  void fill(tv_table_t* table, bool negative_allowed) {
    tv_number_t* data = tv_table_get_data(table);
    for (size_t i = 0; i < tv_table_get_size(table); ++i) data[i] = number<tv_number_t>(negative_allowed);
  }

  // Parents in any order, and the node itself where it must be.
  void shuffle(tv_table_t* table) {
    tv_node_t** const nodes = tv_table_get_nodes(table);
    std::vector<tv_node_t*> discrete, continuous;
    for (tv_node_t** node = nodes; *node; ++node)
      (tv_node_get_kind(*node) == tv_kind_discrete ? discrete : continuous).push_back(*node);
    const bool own_is_last =
        !discrete.empty() && table->kind == tv::TableKind::node && table->owner == discrete.back();
    for (size_t i = discrete.size() - own_is_last; i > 1; --i)
      std::swap(discrete[i - 1], discrete[random_.below(i)]);
    for (size_t i = continuous.size(); i > 1; --i) std::swap(continuous[i - 1], continuous[random_.below(i)]);
    discrete.insert(discrete.end(), continuous.begin(), continuous.end());
    discrete.push_back(nullptr);
    ASSERT_EQ(tv_status_none, tv_table_reorder_nodes(table, discrete.data()));
  }

  void fill_tables(tv_node_t* node) {
    const tv_node_category_t category = tv_node_get_category(node);
    if (category == tv_category_function || random_.chance(0.2)) return;
    tv_table_t* table = tv_node_get_table(node);
    const bool is_flat = table->nodes.size() <= 1;  // and has no room for a negative number
    if (tv_node_get_kind(node) != tv_kind_continuous)
      fill(table, category == tv_category_utility || (!is_flat && random_.chance(0.1)));
    else
      fill_regressions(node);
    if (random_.chance(0.3)) shuffle(table);
    if (category != tv_category_chance) return;
    if (random_.chance(0.3)) fill_learned(tv_node_get_experience_table(node));
    if (tv_node_get_kind(node) == tv_kind_discrete && random_.chance(0.3))
      fill_learned(tv_node_get_fading_table(node));
  }

  void fill_learned(tv_table_t* table) {
    fill(table, false);
    if (random_.chance(0.5)) shuffle(table);
  }

  void fill_regressions(tv_node_t* node) {
    for (size_t c = 0; c < tv_table_get_size(tv_node_get_table(node)); ++c) {
      tv_node_set_intercept(node, c, random_.chance(0.3) ? 0 : number<double>(true));
      tv_node_set_conditional_variance(node, c, random_.chance(0.3) ? 0 : number<double>(false));
      for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent)
        if (tv_node_get_kind(*parent) == tv_kind_continuous && random_.chance(0.8))
          tv_node_set_coefficient(node, *parent, c, random_.chance(0.3) ? -1 : number<double>(true));
    }
  }

  // Any expression will do, whether or not a table could be made of it.
  void add_model(tv_node_t* node) {
    std::vector<tv_node_t*> model_nodes;
    for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent)
      if (tv_node_get_kind(*parent) == tv_kind_discrete && random_.chance(0.4))
        model_nodes.push_back(*parent);
    model_nodes.push_back(nullptr);
    tv_model_t* model = tv_node_new_model(node, model_nodes.data());
    ASSERT_NE(nullptr, model);
    const size_t samples[] = {1, 24, 9007199254740993u, SIZE_MAX - 1, SIZE_MAX};
    if (random_.chance(0.3)) tv_model_set_number_of_samples_per_interval(model, samples[random_.below(5)]);
    if (random_.chance(0.2)) return;
    for (size_t i = 0; i < tv_model_get_size(model); ++i)
      ASSERT_EQ(tv_status_none, tv_model_set_expression(model, i, expression(node)));
  }

  tv_expression_t* expression(tv_node_t* node) {
    tv_node_t** const parents = tv_node_get_parents(node);
    if (parents[0] && random_.chance(0.3) && tv_node_get_kind(parents[0]) == tv_kind_discrete) {
      tv_expression_t* operands[] = {tv_node_make_expression(parents[0]), nullptr};
      return tv_make_composite_expression(tv_operator_state_index, operands);
    }
    if (random_.chance(0.2)) return tv_number_make_expression(number<double>(true));
    if (random_.chance(0.2)) return tv_boolean_make_expression(random_.chance(0.5));
    if (random_.chance(0.2)) return tv_label_make_expression(text().c_str());
    const std::vector<const char*> texts = {"Normal (0, 1)",          "(1 + 2) * 3 ^ 4",
                                            "Distribution (1, 2, 3)", "-(1 + 2) - (3 - 4)",
                                            "if (1 < 2, 3, 4)",       "-(-2) ^ 2"};
    return tv_string_to_expression(random_.pick(texts), tv_node_get_domain(node), nullptr, nullptr);
  }

  test::Generator& random_;
  bool wild_;
  const std::vector<const char*> node_keys_ = {"label", "position", "states", "subtype", "state_values"};
  const std::vector<const char*> net_keys_ = {"node_size", "inputs", "outputs"};
};

TEST(RoundTrip, RandomDomainsOfAllKindsComeBack) {
  test::Generator random(17);
  size_t hang_on_order = 0, refused = 0;
  for (int i = 0; i < 4000; ++i) {
    const bool wild = i % 2 == 1;
    const test::DomainOwner domain = DomainMaker(random, wild).make();
    // Decision models take some function nodes between other nodes only when their links come in a certain
    // order, which the text does not keep.
    hang_on_order += domain->counters.decision + domain->counters.utility > 0 &&
                     !tv::_tv_function_nodes_satisfy_limid_constraints(*domain);
    const bool written = comes_back(domain.get());
    refused += !written;
    ASSERT_TRUE(written || wild) << "domain " << i << ": " << tv_error_name(tv_error_code());
    ASSERT_FALSE(testing::Test::HasFailure()) << "domain " << i;
  }
  EXPECT_GT(hang_on_order, 50u);
  EXPECT_GT(refused, 100u);
  EXPECT_LT(refused, 1000u);
}

TEST(RoundTrip, ExamplesComeBack) {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(TARVO_EXAMPLE_FOLDER)) {
    if (entry.path().extension() != ".net") continue;
    const Parsed parsed = parse(entry.path().string());
    ASSERT_NE(nullptr, parsed.domain) << entry.path();
    EXPECT_TRUE(comes_back(parsed.domain.get())) << entry.path();
    ++count;
  }
  EXPECT_GE(count, 8u);
}

}  // namespace
}  // namespace net_test

#include "support/describe.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace test {
namespace {

[[gnu::format(printf, 2, 3)]] void append(std::string& out, const char* format, ...) {
  char line[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  out += line;
}

template <class Attribute>
void append_attributes(std::string& out, Attribute* attribute) {
  for (; attribute; attribute = tv_attribute_get_next(attribute))
    append(out, "  %s = %s\n", tv_attribute_get_key(attribute), tv_attribute_get_value(attribute));
}

void append_states(std::string& out, tv_node_t* node) {
  const size_t count = tv_node_get_number_of_states(node);
  append(out, "  subtype %d selected %td\n", tv_node_get_subtype(node), tv_node_get_selected_state(node));
  for (size_t s = 0; s < count; ++s)
    append(out, "  state %s value %a finding %a\n", tv_node_get_state_label(node, s),
           tv_node_get_state_value(node, s), tv_node_get_entered_finding(node, s));
}

void append_regressions(std::string& out, tv_node_t* node) {
  for (size_t i = 0; i < tv_table_get_size(tv_node_get_table(node)); ++i) {
    append(out, "  normal %a %a", tv_node_get_intercept(node, i), tv_node_get_conditional_variance(node, i));
    for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent)
      if (tv_node_get_kind(*parent) == tv_kind_continuous)
        append(out, " %a", tv_node_get_coefficient(node, *parent, i));
    out += "\n";
  }
  if (tv_node_evidence_is_entered(node) == 1) append(out, "  value %a\n", tv_node_get_entered_value(node));
}

void append_model(std::string& out, tv_model_t* model) {
  append(out, "  model with %zu samples over%s", tv_model_get_number_of_samples_per_interval(model),
         describe_names(tv_model_get_nodes(model)).c_str());
  for (size_t i = 0; i < tv_model_get_size(model); ++i) {
    tv_expression_t* expression = tv_model_get_expression(model, i);
    char* text = expression ? tv_expression_to_string(expression) : nullptr;
    append(out, "    %s\n", text ? text : "(none)");
    std::free(text);
  }
}

void append_node(std::string& out, tv_node_t* node) {
  long x = 0, y = 0;
  tv_node_get_position(node, &x, &y);
  append(out, "node %s category %d kind %d label %s at %ld %ld\n", tv_node_get_name(node),
         tv_node_get_category(node), tv_node_get_kind(node), tv_node_get_label(node), x, y);
  append_attributes(out, tv_node_get_first_attribute(node));
  out += "  parents" + describe_names(tv_node_get_parents(node));
  out += "  children" + describe_names(tv_node_get_children(node));
  if (tv_node_get_kind(node) == tv_kind_discrete) append_states(out, node);
  if (tv_table_t* table = tv_node_get_table(node)) out += describe(table);
  if (tv_node_get_kind(node) == tv_kind_continuous) append_regressions(out, node);
  if (tv_model_t* model = tv_node_get_model(node)) append_model(out, model);
  if (tv_node_has_experience_table(node) == 1)
    out += "experience" + describe(tv_node_get_experience_table(node));
  if (tv_node_has_fading_table(node) == 1) out += "fading" + describe(tv_node_get_fading_table(node));
}

void append_forest(std::string& out, tv_domain_t* domain) {
  out += "order" + describe_names(tv_domain_get_elimination_order(domain));
  for (tv_clique_t* clique = tv_domain_get_first_clique(domain); clique; clique = tv_clique_get_next(clique))
    append(out, "clique of %zu neighbours, conflict %a:%s", tv_clique_get_number_of_neighbors(clique),
           tv_clique_get_conflict(clique), describe_names(tv_clique_get_members(clique)).c_str());
}

void append_answers(std::string& out, tv_domain_t* domain) {
  for (tv_equilibrium_t e : {tv_equilibrium_none, tv_equilibrium_sum, tv_equilibrium_max})
    append(out, "equilibrium %d ", tv_domain_equilibrium_is(domain, e));
  append(out, "mode %d evidence %d %d constant %a conflict %a\n",
         tv_domain_evidence_mode_is(domain, tv_evidence_normal), tv_domain_evidence_is_propagated(domain),
         tv_domain_evidence_to_propagate(domain), tv_domain_get_normalization_constant(domain),
         tv_domain_get_conflict(domain));
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node)) {
    if (tv_node_get_kind(node) == tv_kind_continuous)
      append(out, "mean of %s: %a, variance %a\n", tv_node_get_name(node), tv_node_get_mean(node),
             tv_node_get_variance(node));
    if (tv_node_get_kind(node) != tv_kind_discrete) continue;
    append(out, "belief of %s:", tv_node_get_name(node));
    for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s)
      append(out, " %a (%a)", tv_node_get_belief(node, s), tv_node_get_expected_utility(node, s));
    out += "\n";
  }
}

}  // namespace

std::string describe_names(tv_node_t* const* list) {
  std::string out;
  for (; list && *list; ++list) append(out, " %s", tv_node_get_name(*list));
  return out + "\n";
}

std::string describe(tv_table_t* table) {
  std::string out = "  table over" + describe_names(tv_table_get_nodes(table));
  const tv_number_t* data = tv_table_get_data(table);
  for (size_t i = 0; i < tv_table_get_size(table); ++i) append(out, " %a", data[i]);
  return out + "\n";
}

std::string describe(tv_domain_t* domain) {
  std::string out;
  size_t width = 0, height = 0;
  tv_domain_get_node_size(domain, &width, &height);
  append(out, "domain of %zu nodes from %s, node size %zu %zu\n", tv_domain_get_number_of_nodes(domain),
         tv_domain_get_file_name(domain) ? tv_domain_get_file_name(domain) : "nowhere", width, height);
  append_attributes(out, tv_domain_get_first_attribute(domain));
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node))
    append_node(out, node);
  append(out, "triangulated %d compiled %d\n", tv_domain_is_triangulated(domain),
         tv_domain_is_compiled(domain));
  if (tv_domain_is_triangulated(domain) == 1) append_forest(out, domain);
  if (tv_domain_is_compiled(domain) == 1) append_answers(out, domain);
  return out;
}

}  // namespace test

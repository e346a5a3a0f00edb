/* Two nodes built by hand: rain makes the grass wet. Succeeds when P(rain | wet) is what Bayes' rule says. */
#include <math.h>
#include <tarvo.h>

int main(void) {
  tv_domain_t *domain = tv_new_domain();
  tv_node_t *rain = tv_domain_new_node(domain, tv_category_chance, tv_kind_discrete);
  tv_node_t *wet = tv_domain_new_node(domain, tv_category_chance, tv_kind_discrete);
  const tv_number_t prior[] = {0.2f, 0.8f}, given_rain[] = {0.9f, 0.1f, 0.1f, 0.9f};
  tv_number_t *data;
  int i, wrong;

  tv_node_set_number_of_states(rain, 2);
  tv_node_set_number_of_states(wet, 2);
  tv_node_add_parent(wet, rain);
  data = tv_table_get_data(tv_node_get_table(rain));
  for (i = 0; i < 2; ++i) data[i] = prior[i];
  data = tv_table_get_data(tv_node_get_table(wet));
  for (i = 0; i < 4; ++i) data[i] = given_rain[i];
  tv_node_touch_table(rain);
  tv_node_touch_table(wet);

  wrong = tv_domain_compile(domain) != tv_status_none || tv_node_select_state(wet, 0) != tv_status_none ||
          tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal) != tv_status_none ||
          fabs(tv_node_get_belief(rain, 0) - 0.18 / 0.26) > 1e-6;
  tv_domain_delete(domain);
  return wrong;
}

/* Loads a network, observes some states and prints all beliefs.
 *
 *   cc -std=c99 beliefs.c $(pkg-config --cflags --libs tarvo) -o beliefs
 *   ./beliefs ../chest.net dyspnoea yes visit_to_asia yes
 */
#include <stdio.h>
#include <tarvo.h>

static void print_message(size_t line, const char *message, void *data) {
  (void)data;
  fprintf(stderr, "line %zu: %s\n", line, message);
}

/* Every failed call leaves a message with its thread. */
static int failed(tv_domain_t *domain, const char *doing) {
  fprintf(stderr, "%s: %s\n", doing, tv_error_message());
  if (domain) tv_domain_delete(domain);
  return 1;
}

int main(int argc, char **argv) {
  tv_domain_t *domain;
  tv_node_t *node;
  size_t state;
  int i;

  if (argc < 2 || argc % 2 != 0) {
    fprintf(stderr, "usage: beliefs FILE [NODE STATE]...\n");
    return 2;
  }
  domain = tv_net_parse_domain(argv[1], print_message, NULL);
  if (!domain) return failed(domain, argv[1]);
  if (tv_domain_compile(domain) != tv_status_none) return failed(domain, "compile");

  for (i = 2; i < argc; i += 2) {
    ptrdiff_t observed = -1;
    node = tv_domain_get_node_by_name(domain, argv[i]);
    if (node) observed = tv_node_get_state_index_from_label(node, argv[i + 1]);
    if (observed < 0) {
      fprintf(stderr, "no node %s with a state %s\n", argv[i], argv[i + 1]);
      tv_domain_delete(domain);
      return 1;
    }
    if (tv_node_select_state(node, (size_t)observed) != tv_status_none) return failed(domain, argv[i]);
  }
  if (tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal) != tv_status_none)
    return failed(domain, "propagate");

  for (node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node)) {
    if (tv_node_get_kind(node) != tv_kind_discrete) continue;
    printf("%s\n", tv_node_get_name(node));
    for (state = 0; state < tv_node_get_number_of_states(node); ++state)
      printf("  %-12s %.6f\n", tv_node_get_state_label(node, state), (double)tv_node_get_belief(node, state));
  }
  printf("probability of the evidence: %g\n", tv_domain_get_normalization_constant(domain));
  tv_domain_delete(domain);
  return 0;
}

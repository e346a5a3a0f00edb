// Compiles a network straight to compressed tables, says what that saves, and asks a question.
#include <stdio.h>
#include <tarvo.h>

int main(int argc, char** argv) {
  tv_domain_t* domain = tv_net_parse_domain(argc > 1 ? argv[1] : "examples/multiplier.net", NULL, NULL);
  tv_node_t* product = domain ? tv_domain_get_node_by_name(domain, "p11") : NULL;
  tv_node_t* factor = domain ? tv_domain_get_node_by_name(domain, "a4") : NULL;
  int failed = !product || !factor || tv_domain_triangulate(domain, tv_method_best_greedy);
  size_t full = failed ? 0 : tv_domain_get_memory_need(domain);

  failed = failed || tv_domain_set_zero_compression(domain, 1) || tv_domain_compile(domain) ||
           tv_node_select_state(product, 1) ||
           tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal);
  if (failed) {
    fprintf(stderr, "%s\n", tv_error_message());
  } else {
    printf("%zu bytes instead of %zu\n", tv_domain_get_memory_need(domain), full);
    printf("P(a4 = 1 | p11 = 1) = %.4f\n", tv_node_get_belief(factor, 1));
  }
  tv_domain_delete(domain);
  return failed;
}

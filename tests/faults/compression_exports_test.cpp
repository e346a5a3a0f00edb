// Compression and approximation under failing allocation.

#include "faults/export_world.h"
#include "tables/limits.h"

namespace test {
namespace {

void with_zeros(World& w) {
  tv::limits.sparse_cost = 0;  // every clique is sparse
  set_table(w.b, {0.5f, 0.5f, 0, 0, 0.25f, 0.75f});
  set_table(w.d, {1, 0, 0, 1, 0.5f, 0.5f, 1, 0, 0, 1, 1, 0});
}

void with_zeros_propagated(World& w) {
  with_zeros(w);
  propagated(w);
}

void approximated(World& w) {
  with_zeros_propagated(w);
  tv_domain_approximate(net(w), 0.1);
}

void asked_to_compress(World& w) {
  with_zeros(w);
  tv_domain_set_zero_compression(net(w), 1);
}

void compressed(World& w) {
  asked_to_compress(w);
  with_evidence(w);
}

void compressed_propagated(World& w) {
  compressed(w);
  tv_domain_propagate(net(w), kSum, kNormal);
}

void compressed_and_touched(World& w) {
  compressed_propagated(w);
  set_table(w.b, {2, 1, 1, 3, 1, 0});
}

void triangulated_with_zeros(World& w) {
  with_zeros(w);
  triangulated(w);
}

const Cases cases = {
    {"tv_domain_compress", with_zeros_propagated, [](World& w) { note(w, tv_domain_compress(net(w))); }},
    {"tv_domain_compress", approximated, [](World& w) { note(w, tv_domain_compress(net(w))); }},
    ASKS_FOR_NOTHING(tv_domain_is_compressed, compressed, net(w)),
    ASKS_FOR_NOTHING(tv_domain_set_zero_compression, plain, net(w), 1),
    ASKS_FOR_NOTHING(tv_domain_get_zero_compression, asked_to_compress, net(w)),
    {"tv_domain_get_compressed_memory_need", triangulated_with_zeros,
     [](World& w) { note(w, tv_domain_get_compressed_memory_need(net(w))); }},
    ASKS_FOR_NOTHING(tv_domain_approximate, with_zeros_propagated, net(w), 0.1),
    {"tv_domain_approximate", compressed_propagated,
     [](World& w) { note(w, tv_domain_approximate(net(w), 0.1)); }},
    ASKS_FOR_NOTHING(tv_domain_get_approximation_constant, approximated, net(w)),
    {"tv_domain_compile", asked_to_compress, [](World& w) { tv_domain_compile(net(w)); }},
    {"tv_domain_propagate", compressed, [](World& w) { tv_domain_propagate(net(w), kSum, kNormal); },
     Case::never_fails},
    {"tv_domain_propagate", compressed_and_touched,
     [](World& w) { tv_domain_propagate(net(w), kSum, kNormal); }, Case::may_reset},
    {"tv_domain_get_marginal", compressed,
     [](World& w) {
       tv_node_t* list[] = {w.a, w.d, nullptr};
       w.table.reset(tv_domain_get_marginal(net(w), list));
     }},
};

}  // namespace
}  // namespace test

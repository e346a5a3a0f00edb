// Analyses under failing allocation.

#include "faults/export_world.h"

namespace test {
namespace {

const Cases cases = {
    {"tv_domain_get_d_connected_nodes", with_evidence,
     [](World& w) { w.list.reset(tv_domain_get_d_connected_nodes(net(w), two_nodes(w), nullptr, nullptr)); }},
    {"tv_domain_are_d_separated", with_evidence,
     [](World& w) {
       note(w, tv_domain_are_d_separated(net(w), two_nodes(w), two_nodes(w), nullptr, nullptr));
     }},
    {"tv_domain_get_minimal_separator", plain,
     [](World& w) {
       tv_node_t *from[] = {w.alone, nullptr}, *to[] = {w.d, nullptr};
       w.list.reset(tv_domain_get_minimal_separator(net(w), from, to, nullptr, nullptr, nullptr));
     }},
    {"tv_domain_get_requisite_nodes", with_evidence,
     [](World& w) { w.list.reset(tv_domain_get_requisite_nodes(net(w), two_nodes(w), nullptr, nullptr)); }},
    {"tv_domain_get_requisite_findings", with_evidence,
     [](World& w) {
       w.list.reset(tv_domain_get_requisite_findings(net(w), two_nodes(w), nullptr, nullptr));
     }},
    {"tv_domain_get_barren_nodes", with_evidence,
     [](World& w) { w.list.reset(tv_domain_get_barren_nodes(net(w), two_nodes(w), nullptr, nullptr)); }},
    {"tv_node_get_markov_blanket", plain, [](World& w) { w.list.reset(tv_node_get_markov_blanket(w.b)); }},
};

}  // namespace
}  // namespace test

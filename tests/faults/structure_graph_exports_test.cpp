// Structures as graphs under failing allocation.
#include "faults/export_world.h"
#include "learn/structure/graph/structure.h"

namespace test {
namespace {

tv_structure_t* structure_of(World& w) { return w.structure.get(); }
tv_structure_t* other_structure(World& w) { return w.other_structure.get(); }

// Of the nodes a, alone, b, c and d, with a link that has no direction.
void with_structure(World& w) {
  w.structure.reset(tv_domain_get_structure(net(w)));
  w.structure->graph.join(1, 2);
  const size_t pairs = tv::PairFindings::place(0, w.structure->nodes.size());
  w.structure->findings.p_values.assign(pairs, 0.25);
  w.structure->findings.is_separated.assign(pairs, true);
  w.structure->findings.separators.assign(pairs, {4});
}

// And another one, both with directed links alone.
void with_two_structures(World& w) {
  w.other_structure.reset(tv_domain_get_structure(net(w)));
  with_structure(w);
  w.structure->graph.direct(1, 2);
  w.structure->graph.direct(3, 2);
}

// Learned tables, a model, a table that a host has asked for and one that it has not; hidden nodes to come.
void to_be_linked(World& w) {
  with_name_table(w);
  with_values(w);
  with_model(w);
  tv_node_get_experience_table(w.b);
  with_structure(w);
  w.structure->nodes.insert(w.structure->nodes.begin(), {{"H1", 3}, {"H2", 2}});
  w.structure->findings = {};
  const size_t count = w.structure->nodes.size();
  w.structure->graph = tv::PartialGraph(count);
  w.structure->graph.join(0, count - 1);  // d
  for (size_t v = 2; v + 1 < count; ++v) w.structure->graph.direct(v, v + 1);
  compiled(w);
}

void continuous_to_be_linked(World& w) {
  with_regressions(w);
  tv_node_set_name(w.x, "x");
  tv_node_set_name(w.y, "y");
  w.structure.reset(tv_domain_get_structure(net(w)));
  const size_t x = tv_structure_get_node_by_name(w.structure.get(), "x");
  w.structure->graph.separate(x, x + 1);
  compiled(w);
}

void set_structure(World& w) { note(w, tv_domain_set_structure(net(w), structure_of(w))); }

const Cases cases = {
    {"tv_domain_get_structure", crowded,
     [](World& w) { w.made_structure.reset(tv_domain_get_structure(net(w))); }},
    {"tv_domain_set_structure", to_be_linked, set_structure},
    {"tv_domain_set_structure", continuous_to_be_linked, set_structure},
    {"tv_structure_clone", with_structure,
     [](World& w) { w.made_structure.reset(tv_structure_clone(structure_of(w))); }},
    {"tv_structure_direct", with_structure, [](World& w) { note(w, tv_structure_direct(structure_of(w))); }},
    {"tv_structure_new_class", with_two_structures,
     [](World& w) { w.made_structure.reset(tv_structure_new_class(structure_of(w))); }},
    {"tv_structure_get_hamming_distance", with_two_structures,
     [](World& w) { note(w, tv_structure_get_hamming_distance(structure_of(w), other_structure(w))); }},
    {"tv_structure_get_intervention_distance", with_two_structures,
     [](World& w) { note(w, tv_structure_get_intervention_distance(structure_of(w), other_structure(w))); }},
    {"tv_structure_delete", with_structure,
     [](World& w) { note(w, tv_structure_delete(w.structure.release())); }, Case::never_fails},
    {"tv_structure_get_link", with_structure,
     [](World& w) {
       size_t from = 0, to = 0;
       note(w, tv_structure_get_link(structure_of(w), 2, &from, &to));
       note(w, w.number + static_cast<double>(10 * from + 100 * to));
     },
     Case::never_fails},
    {"tv_structure_get_separating_set", with_structure,
     [](World& w) {
       size_t count = 0;
       const size_t* const set = tv_structure_get_separating_set(structure_of(w), 3, 1, &count);
       note(w, count == 1 ? *set : 0);
     },
     Case::never_fails},
    ASKS_FOR_NOTHING(tv_structure_is_finished, with_structure, structure_of(w)),
    ASKS_FOR_NOTHING(tv_structure_get_number_of_nodes, with_structure, structure_of(w)),
    ASKS_FOR_NOTHING(tv_structure_get_node_name, with_structure, structure_of(w), 1),
    ASKS_FOR_NOTHING(tv_structure_get_node_by_name, with_structure, structure_of(w), "c"),
    ASKS_FOR_NOTHING(tv_structure_get_hidden_states, with_structure, structure_of(w), 1),
    ASKS_FOR_NOTHING(tv_structure_get_number_of_links, with_structure, structure_of(w)),
    ASKS_FOR_NOTHING(tv_structure_get_link_between, with_structure, structure_of(w), 2, 1),
    ASKS_FOR_NOTHING(tv_structure_get_p_value, with_structure, structure_of(w), 2, 1),
    ASKS_FOR_NOTHING(tv_structure_get_number_of_tests, with_structure, structure_of(w)),
    ASKS_FOR_NOTHING(tv_structure_get_number_of_refused_tests, with_structure, structure_of(w)),
    ASKS_FOR_NOTHING(tv_structure_get_score, with_structure, structure_of(w)),
};

}  // namespace
}  // namespace test

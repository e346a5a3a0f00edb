// Learning from parts of the cases under failing allocation.

#include "faults/export_world.h"

namespace test {
namespace {

// Cases that lack something.
void learning(World& w) {
  with_cases(w);
  compiled(w);
  for (tv_node_t* node : {w.a, w.b}) tv_node_get_experience_table(node);
}
void learning_values(World& w) {
  with_regressions(w);
  tv_domain_set_number_of_cases(net(w), 3);
  tv_node_set_case_value(w.x, 1, 2.5);
  compiled(w);
  for (tv_node_t* node : {w.x, w.y}) *tv_table_get_data(tv_node_get_experience_table(node)) = 3.0f;
  w.state();  // means are computed when they are first asked for
}
template <auto prepare>
void with_statistics(World& w) {
  prepare(w);
  w.statistics.reset(tv_domain_new_em_statistics(net(w), 0));
}
void with_another_part(World& w) {
  with_statistics<learning>(w);
  w.other_statistics.reset(tv_domain_new_em_statistics(net(w), tv_get_em_block_size()));
}
void with_prior(World& w) {
  with_statistics<learning_values>(w);
  w.other_statistics.reset(tv_domain_new_em_prior(net(w)));
}
tv_em_statistics_t* statistics_of(World& w) { return w.statistics.get(); }

void parse_own_bytes(World& w) {
  size_t size = 0;
  const std::unique_ptr<void, World::Free> bytes(tv_em_statistics_to_bytes(statistics_of(w), &size));
  if (bytes) w.made_statistics.reset(tv_domain_parse_em_statistics(net(w), bytes.get(), size));
}
void add(World& w) { tv_em_statistics_add(statistics_of(w), w.other_statistics.get()); }
void compute(World& w) { w.made_statistics.reset(tv_domain_new_em_statistics(net(w), 0)); }
void compute_prior(World& w) { w.made_statistics.reset(tv_domain_new_em_prior(net(w))); }
void set_tables(World& w) { tv_em_statistics_set_tables(statistics_of(w), net(w)); }
void set_experience(World& w) { tv_em_statistics_set_experience(statistics_of(w), net(w)); }
void write_bytes(World& w) {
  size_t size = 0;
  const std::unique_ptr<void, World::Free> bytes(tv_em_statistics_to_bytes(statistics_of(w), &size));
  note(w, bytes ? size : 0);
}

const Cases cases = {
    {"tv_domain_new_em_statistics", learning, compute},
    {"tv_domain_new_em_statistics", learning_values, compute},
    {"tv_domain_new_em_prior", learning, compute_prior},
    {"tv_domain_new_em_prior", learning_values, compute_prior},
    {"tv_em_statistics_add", with_another_part, add},
    {"tv_em_statistics_add", with_prior, add},
    {"tv_em_statistics_to_bytes", with_statistics<learning>, write_bytes},
    {"tv_domain_parse_em_statistics", with_statistics<learning_values>, parse_own_bytes},
    {"tv_em_statistics_set_tables", with_statistics<learning>, set_tables},
    {"tv_em_statistics_set_tables", with_statistics<learning_values>, set_tables},
    {"tv_em_statistics_set_experience", with_statistics<learning>, set_experience},
    {"tv_em_statistics_delete", with_statistics<learning>,
     [](World& w) { note(w, tv_em_statistics_delete(w.statistics.release())); }, Case::never_fails},
    ASKS_FOR_NOTHING(tv_get_em_block_size, plain),
    ASKS_FOR_NOTHING(tv_em_statistics_get_number_of_cases, with_statistics<learning>, statistics_of(w)),
    ASKS_FOR_NOTHING(tv_em_statistics_get_number_of_incomplete_cases, with_statistics<learning>,
                     statistics_of(w)),
    ASKS_FOR_NOTHING(tv_em_statistics_get_case_count, with_statistics<learning>, statistics_of(w)),
    ASKS_FOR_NOTHING(tv_em_statistics_get_log_likelihood, with_statistics<learning>, statistics_of(w)),
};

}  // namespace
}  // namespace test

// Networks and cases as text, and stored cases, under failing allocation.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "faults/export_world.h"

namespace test {
namespace {

const char kChainNet[] =
    "node p { states = (\"0\" \"1\"); } node a { states = (\"0\" \"1\"); } node b { states = (\"0\" \"1\"); "
    "}\n"
    "potential (a b | p) { data = (1 2 3 4 5 6 7 8); } potential (p) { data = (0.25 0.75); }\n";

// A file with some text, written before the fault.
const std::string kFile =
    testing::TempDir() + "tarvo_faults_" + std::to_string(getpid());  // suites run side by side
void with_case_file(World&) { std::ofstream(kFile) << "b: (1 0.5 1)\na: #1\nd: #0\n"; }
void with_cases_file(World& w) {
  with_cases(w);
  std::ofstream(kFile) << "#count,b,d\n2,mid,#0\n1,#0,*\n";
}
void with_rows(World& w) {
  with_cases(w);
  w.data.reset(tv_new_data_set());
  tv_data_set_parse_csv_string(w.data.get(), "b,often,d,another column\n\"mid\",2,#1,one\n,1,#0,two\n", ',',
                               nullptr, nullptr);
}
void with_net_file(World&) { std::ofstream(kFile) << kNet; }
void with_node_file(World& w) {
  compiled(w);
  std::ofstream(kFile)
      << "node e { states = (\"\"); label = \"a label longer than a short string\"; } node f {}\n"
         "potential (e | a f) { data = (1 1); } potential (f) { data = (1); }\n";
}

void with_case_value(World& w) {
  continuous(w);
  tv_domain_set_number_of_cases(net(w), 1);
  tv_node_set_case_value(w.x, 0, 1.5);
}

// Cases that lack something, for two iterations.
void learning(World& w) {
  with_cases(w);
  compiled(w);
  for (tv_node_t* node : {w.a, w.b}) tv_node_get_experience_table(node);
  tv_domain_set_max_number_of_em_iterations(net(w), 2);
}

// Evidence as one more observation; complete, for taking it back.
void observing(World& w) {
  compiled(w);
  for (tv_node_t* node : {w.a, w.b, w.d}) {
    tv_table_t* experience = tv_node_get_experience_table(node);
    std::fill_n(tv_table_get_data(experience), tv_table_get_size(experience), 8.0f);
  }
  tv_node_get_fading_table(w.b);
  tv_node_select_state(w.d, 1);
  tv_domain_propagate(net(w), kSum, kNormal);
}
void observing_all(World& w) {
  observing(w);
  for (tv_node_t* node : {w.a, w.b, w.c}) tv_node_select_state(node, 1);
  tv_domain_propagate(net(w), kSum, kNormal);
}

const Cases cases = {
    {"tv_net_parse_domain", plain,
     [](World& w) { w.made.reset(tv_net_parse_domain(kNet, nullptr, nullptr)); }},
    {"tv_net_parse_from_string", plain,
     [](World& w) { w.made.reset(tv_net_parse_from_string(kNet, nullptr)); }},
    {"tv_net_parse_file", with_net_file,
     [](World& w) { w.made.reset(tv_net_parse_file(kFile.c_str(), nullptr, nullptr)); }},
    {"tv_net_parse_buffer", plain,
     [](World& w) { w.made.reset(tv_net_parse_buffer(kNet, sizeof kNet - 1, nullptr, nullptr)); }},
    {"tv_net_parse", plain,
     [](World& w) {
       std::rewind(w.net_stream.get());
       w.made.reset(tv_net_parse(w.net_stream.get(), nullptr));
     }},
    {"tv_net_parse_domain", plain,
     [](World& w) {
       w.made.reset(tv_net_parse_domain(kChainNet, nullptr, nullptr));
       if (w.made) tv_domain_compile(w.made.get());
     }},
    {"tv_domain_write_net", with_values,
     [](World& w) {
       const auto stream = std::unique_ptr<std::FILE, World::Close>(std::fopen("/dev/null", "w"));
       tv_domain_write_net(w.domain.get(), stream.get());
     }},
    {"tv_domain_to_net_string", described,
     [](World& w) { w.own_text.reset(tv_domain_to_net_string(w.domain.get())); }},
    {"tv_domain_save_case", with_evidence,
     [](World& w) { tv_domain_save_case(w.domain.get(), "/dev/null"); }},
    {"tv_domain_parse_case", with_case_file,
     [](World& w) { tv_domain_parse_case(w.domain.get(), kFile.c_str(), nullptr, nullptr); }},
    {"tv_domain_parse_nodes", with_node_file,
     [](World& w) { w.list.reset(tv_domain_parse_nodes(w.domain.get(), kFile.c_str(), nullptr, nullptr)); }},
    {"tv_domain_save_cases", with_cases, [](World& w) { tv_domain_save_cases(w.domain.get(), "/dev/null"); }},
    {"tv_domain_parse_cases", with_cases_file,
     [](World& w) {
       if (tv_domain_parse_cases(w.domain.get(), kFile.c_str(), nullptr, nullptr)) return;
       w.number = static_cast<double>(tv_domain_get_number_of_cases(w.domain.get()));
     }},
    {"tv_domain_add_cases", with_rows,
     [](World& w) {
       if (tv_domain_add_cases(net(w), table_of(w), nullptr, 1, tv_unmatched_missing, nullptr, nullptr))
         return;
       w.number = static_cast<double>(tv_domain_get_number_of_cases(net(w)));
     }},
    {"tv_domain_new_nodes_from_data_set", with_rows,
     [](World& w) {
       w.list.reset(tv_domain_new_nodes_from_data_set(net(w), table_of(w), 0, nullptr, nullptr));
     }},
    {"tv_domain_cases_to_data_set", with_cases,
     [](World& w) { w.made_data.reset(tv_domain_cases_to_data_set(net(w))); }},
    {"tv_domain_set_number_of_cases", with_cases,
     [](World& w) { tv_domain_set_number_of_cases(w.domain.get(), 100); }},
    {"tv_domain_new_case", with_cases, [](World& w) { tv_domain_new_case(w.domain.get()); }},
    {"tv_domain_set_case_count", with_cases,
     [](World& w) { tv_domain_set_case_count(w.domain.get(), 1, 2.0f); }},
    {"tv_node_set_case_state", with_cases, [](World& w) { tv_node_set_case_state(w.d, 1, 1); }},
    {"tv_node_set_case_value", continuous,
     [](World& w) {
       tv_domain_set_number_of_cases(w.domain.get(), 1);
       tv_node_set_case_value(w.x, 0, 1.5);
     }},
    {"tv_domain_learn_tables", learning, [](World& w) { tv_domain_learn_tables(net(w)); }},
    {"tv_domain_adapt", observing, [](World& w) { tv_domain_adapt(net(w)); }},
    {"tv_domain_unlearn", observing_all, [](World& w) { tv_domain_unlearn(net(w)); }},
    {"tv_domain_get_log_likelihood", learning,
     [](World& w) { note(w, tv_domain_get_log_likelihood(net(w))); }},
    {"tv_domain_get_AIC", learning, [](World& w) { note(w, tv_domain_get_AIC(net(w))); }},
    {"tv_domain_get_BIC", learning, [](World& w) { note(w, tv_domain_get_BIC(net(w))); }},
    ASKS_FOR_NOTHING(tv_domain_set_log_likelihood_tolerance, plain, net(w), 0.5),
    ASKS_FOR_NOTHING(tv_domain_get_log_likelihood_tolerance, plain, net(w)),
    ASKS_FOR_NOTHING(tv_domain_set_max_number_of_em_iterations, plain, net(w), 3),
    ASKS_FOR_NOTHING(tv_domain_get_max_number_of_em_iterations, plain, net(w)),
    ASKS_FOR_NOTHING(tv_domain_get_number_of_cases, with_cases, net(w)),
    ASKS_FOR_NOTHING(tv_domain_get_case_count, with_cases, net(w), 1),
    ASKS_FOR_NOTHING(tv_node_unset_case, with_cases, w.b, 1),
    ASKS_FOR_NOTHING(tv_node_case_is_set, with_cases, w.b, 1),
    ASKS_FOR_NOTHING(tv_node_get_case_state, with_cases, w.b, 1),
    ASKS_FOR_NOTHING(tv_node_get_case_value, with_case_value, w.x, 0),
    ASKS_FOR_NOTHING(tv_domain_enter_case, with_cases, net(w), 1),
};

}  // namespace
}  // namespace test

// Data sets as cases and as nodes, and cases as data sets.
#include <gtest/gtest.h>

#include <cmath>

#include "data/data_world.h"
#include "support/builders.h"

namespace test {
namespace {

constexpr size_t kNoColumn = static_cast<size_t>(-1);

DataSetOwner parsed(const std::string& csv) {
  DataSetOwner data(tv_new_data_set());
  EXPECT_EQ(tv_data_set_parse_csv_string(data.get(), csv.c_str(), ',', nullptr, nullptr), tv_status_none)
      << tv_error_message();
  return data;
}

struct Report {
  size_t row;
  std::string text;
};

void keep(size_t row, const char* text, void* reports) {
  static_cast<std::vector<Report>*>(reports)->push_back({row, text});
}

// A node of every kind that has cases.
struct Ward {
  DomainOwner domain = new_domain();
  tv_node_t* kind = add_node(domain.get(), "kind", 3);
  tv_node_t* ill = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
  tv_node_t* dose = add_node(domain.get(), "dose", 2);
  tv_node_t* fever = add_node(domain.get(), "fever", 2);
  tv_node_t* weight = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);

  Ward() {
    tv_node_set_name(ill, "ill");
    tv_node_set_number_of_states(ill, 2);
    EXPECT_EQ(tv_node_set_subtype(ill, tv_subtype_boolean), tv_status_none);
    tv_node_set_name(weight, "weight");
    for (const auto& [state, label] : {std::pair(0, "a"), std::pair(1, "b, or c"), std::pair(2, "#1")})
      tv_node_set_state_label(kind, static_cast<size_t>(state), label);
    tv_node_set_subtype(dose, tv_subtype_number);
    tv_node_set_state_value(dose, 0, 0.1);
    tv_node_set_state_value(dose, 1, 2);
    tv_node_set_subtype(fever, tv_subtype_interval);
    tv_node_set_state_value(fever, 0, 30);
    tv_node_set_state_value(fever, 1, 38);
    tv_node_set_state_value(fever, 2, INFINITY);
    tv_node_set_label(fever, "Body temperature");
  }

  std::vector<tv_node_t*> nodes() const { return {kind, ill, dose, fever, weight}; }

  // -1 where nothing is known.
  std::vector<double> row(size_t index) const {
    std::vector<double> cells;
    for (tv_node_t* node : nodes()) {
      const bool is_known = tv_node_case_is_set(node, index) == 1;
      const bool is_discrete = tv_node_get_kind(node) == tv_kind_discrete;
      cells.push_back(!is_known     ? -1.0
                      : is_discrete ? static_cast<double>(tv_node_get_case_state(node, index))
                                    : tv_node_get_case_value(node, index));
    }
    return cells;
  }

  tv_status_t add(const DataSetOwner& data, std::vector<Report>* reports = nullptr,
                  tv_unmatched_t unmatched = tv_unmatched_error, size_t counts = kNoColumn) {
    return tv_domain_add_cases(domain.get(), data.get(), nullptr, counts, unmatched, reports ? keep : nullptr,
                               reports);
  }
};

TEST(DataCases, ItemsStandForStatesAndValues) {
  Ward ward;
  const DataSetOwner data = parsed(
      "Body temperature,kind,ill,dose,weight,often\n"
      "38,\"b, or c\",TRUE, 0.1 ,-1.5e2,2\n"
      "37.9,\"#1\",no,2.0,?,0\n"
      "?,#0,1,#1,7,0.5\n"
      "1000,a,?,?,?,1\n");
  std::vector<Report> reports;
  ASSERT_EQ(ward.add(data, &reports, tv_unmatched_error, 5), tv_status_none) << tv_error_message();
  EXPECT_TRUE(reports.empty());
  ASSERT_EQ(tv_domain_get_number_of_cases(ward.domain.get()), 4u);
  EXPECT_EQ(ward.row(0), (std::vector<double>{1, 1, 0, 1, -150}));
  EXPECT_EQ(ward.row(1), (std::vector<double>{2, 0, 1, 0, -1})) << "a label comes before an index";
  EXPECT_EQ(ward.row(2), (std::vector<double>{0, 1, 1, -1, 7}));
  EXPECT_EQ(ward.row(3), (std::vector<double>{0, -1, -1, 1, -1}));
  EXPECT_EQ(tv_domain_get_case_count(ward.domain.get(), 2), 0.5f);

  // More rows go behind, whatever they lack.
  ASSERT_EQ(ward.add(parsed("weight\n3\n")), tv_status_none);
  ASSERT_EQ(tv_domain_get_number_of_cases(ward.domain.get()), 5u);
  EXPECT_EQ(ward.row(0), (std::vector<double>{1, 1, 0, 1, -150}));
  EXPECT_EQ(ward.row(4), (std::vector<double>{-1, -1, -1, -1, 3}));
  EXPECT_EQ(tv_domain_get_case_count(ward.domain.get(), 0), 2.0f);
  EXPECT_EQ(tv_domain_get_case_count(ward.domain.get(), 4), 1.0f);
  ASSERT_EQ(ward.add(parsed("weight,n\n3,7\n"), nullptr, tv_unmatched_error, 1), tv_status_none);
  EXPECT_EQ(tv_domain_get_case_count(ward.domain.get(), 0), 2.0f);
  EXPECT_EQ(tv_domain_get_case_count(ward.domain.get(), 5), 7.0f);
}

TEST(DataCases, NodesMayBeGiven) {
  Ward ward;
  const DataSetOwner data = parsed("kind,x,y\nb,yes,2\n");
  tv_node_t* const nodes[] = {nullptr, ward.ill, ward.dose};
  ASSERT_EQ(tv_domain_add_cases(ward.domain.get(), data.get(), nodes, kNoColumn, tv_unmatched_error, nullptr,
                                nullptr),
            tv_status_none);
  EXPECT_EQ(ward.row(0), (std::vector<double>{-1, 1, 1, -1, -1}));
}

TEST(DataCases, WhatFitsNoNodeIsReportedAndRefusedOrLeftOut) {
  Ward ward;
  ASSERT_EQ(ward.add(parsed("kind\na\n")), tv_status_none);
  const DataSetOwner data = parsed("id,kind,dose,fever,id2\n1,x,0.2,29,1\n2,a,2,31,2\n3,x,two,?,3\n");
  std::vector<Report> reports;
  EXPECT_EQ(ward.add(data, &reports), tv_status_parse);
  ASSERT_EQ(reports.size(), 7u) << "of both columns and of five items";
  EXPECT_EQ(reports[0].row, kNoColumn);
  EXPECT_EQ(reports[1].row, kNoColumn);
  EXPECT_EQ(reports[2].row, 0u);
  EXPECT_EQ(reports[0].text, "column \"id\": there is no such node");
  EXPECT_STREQ(tv_error_message(), reports[0].text.c_str());
  ASSERT_EQ(tv_data_set_delete_column(data.get(), 4), tv_status_none);
  ASSERT_EQ(tv_data_set_delete_column(data.get(), 0), tv_status_none);

  reports.clear();
  EXPECT_EQ(ward.add(data, &reports), tv_status_parse);
  std::vector<size_t> rows;
  for (const Report& report : reports) rows.push_back(report.row);
  EXPECT_EQ(rows, (std::vector<size_t>{0, 2, 0, 2, 0}));
  EXPECT_EQ(reports[0].text, "column \"kind\": \"x\" is not a (unique) state label of `kind'");
  EXPECT_EQ(reports[3].text, "column \"dose\": \"two\" is no number");
  EXPECT_NE(std::string(tv_error_message()).find("row 0, column \"kind\""), std::string::npos) << "the first";
  EXPECT_EQ(tv_domain_get_number_of_cases(ward.domain.get()), 1u);
  EXPECT_EQ(ward.row(0), (std::vector<double>{0, -1, -1, -1, -1})) << "nothing has changed";

  ASSERT_EQ(ward.add(data, &reports, tv_unmatched_missing), tv_status_none);
  EXPECT_EQ(reports.size(), 10u);
  EXPECT_EQ(ward.row(1), (std::vector<double>{-1, -1, -1, -1, -1}));
  EXPECT_EQ(ward.row(2), (std::vector<double>{0, -1, 1, 0, -1}));
  // An item that is in no row any more disturbs nobody.
  const DataSetOwner changed = parsed("kind\nx\n");
  tv_data_set_set_item(changed.get(), 0, 0, "a");
  EXPECT_EQ(ward.add(changed), tv_status_none);
  EXPECT_EQ(tv_domain_get_number_of_cases(ward.domain.get()), 5u);
}

TEST(DataCases, CountsMustBeNumbersNotBelowZero) {
  Ward ward;
  std::vector<Report> reports;
  for (const tv_unmatched_t unmatched : {tv_unmatched_error, tv_unmatched_missing})
    EXPECT_EQ(ward.add(parsed("kind,n\na,1\na,-1\na,?\na,many\na,1e39\n"), &reports, unmatched, 1),
              tv_status_parse);
  ASSERT_EQ(reports.size(), 8u);
  EXPECT_EQ(reports[0].row, 1u);
  EXPECT_EQ(reports[1].text, "column \"n\": a count is missing");
  EXPECT_EQ(reports[2].text, "column \"n\": \"many\" is no count");
  EXPECT_EQ(tv_domain_get_number_of_cases(ward.domain.get()), 0u);
}

TEST(DataCases, RefusesWhatMakesNoSense) {
  Ward ward;
  const DataSetOwner data = parsed("kind,Body temperature,fever\na,1,2\n");
  EXPECT_EQ(ward.add(data), tv_status_twice);
  EXPECT_EQ(ward.add(parsed("id\n1\n"), nullptr, tv_unmatched_missing), tv_status_usage);
  EXPECT_EQ(ward.add(data, nullptr, tv_unmatched_error, 3), tv_status_usage);
  const Ward other;
  tv_node_t* const nodes[] = {other.kind, nullptr, nullptr};
  EXPECT_EQ(tv_domain_add_cases(ward.domain.get(), data.get(), nodes, kNoColumn, tv_unmatched_error, nullptr,
                                nullptr),
            tv_status_usage);
  tv_node_t* many = tv_domain_new_node(ward.domain.get(), tv_category_chance, tv_kind_discrete);
  tv_node_set_name(many, "many");
  tv_node_set_number_of_states(many, 32769);
  EXPECT_EQ(ward.add(parsed("many\n#32767\n")), tv_status_none);
  EXPECT_EQ(ward.add(parsed("many\n#32768\n")), tv_status_case_state_too_large);
  EXPECT_EQ(tv_domain_get_number_of_cases(ward.domain.get()), 1u);
}

TEST(DataNodes, AreMadeForTheColumnsThatHaveNone) {
  const DomainOwner domain = new_domain();
  add_node(domain.get(), "known", 1);
  std::string csv = "known,Heart rate (bpm),ok,2nd,text,heart_rate_bpm\n";
  for (int i = 0; i < 40; ++i)
    csv += "x," + std::to_string(i) + ".5," + (i % 2 ? "true" : "false") + "," + std::to_string(10 - i % 4) +
           "," + (i % 3 ? "b" : "a b") + ",1\n";
  const DataSetOwner data = parsed(csv);
  const std::unique_ptr<tv_node_t*, void (*)(void*)> list(
      tv_domain_new_nodes_from_data_set(domain.get(), data.get(), 0, nullptr, nullptr), std::free);
  ASSERT_TRUE(list) << tv_error_message();
  std::vector<std::string> names;
  for (tv_node_t** node = list.get(); *node; ++node) names.push_back(tv_node_get_name(*node));
  EXPECT_EQ(names, (std::vector<std::string>{"Heart_rate_bpm", "ok", "_2nd", "text", "heart_rate_bpm"}));
  EXPECT_EQ(tv_node_get_kind(list.get()[0]), tv_kind_continuous);
  EXPECT_STREQ(tv_node_get_label(list.get()[0]), "Heart rate (bpm)");
  EXPECT_EQ(tv_node_get_subtype(list.get()[1]), tv_subtype_boolean);
  EXPECT_EQ(tv_node_get_number_of_states(list.get()[2]), 4u);
  EXPECT_EQ(tv_node_get_state_value(list.get()[2], 0), 7.0);
  EXPECT_STREQ(tv_node_get_state_label(list.get()[3], 0), "a b");
  EXPECT_EQ(tv_node_get_number_of_states(list.get()[4]), 1u);
  tv_data_set_delete_column(data.get(), 0);
  EXPECT_EQ(
      tv_domain_add_cases(domain.get(), data.get(), nullptr, kNoColumn, tv_unmatched_error, nullptr, nullptr),
      tv_status_none)
      << tv_error_message();
}

TEST(DataNodes, AllAreMadeOrNone) {
  const DomainOwner domain = new_domain();
  tv_node_t* known = add_node(domain.get(), "known", 2);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  std::vector<Report> reports;
  const DataSetOwner data = parsed("first,none,text\n1,?,a\n2,?,b\n3,?,c\n");
  EXPECT_EQ(tv_domain_new_nodes_from_data_set(domain.get(), data.get(), 2, keep, &reports), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_parse);
  ASSERT_EQ(reports.size(), 2u);
  EXPECT_EQ(reports[0].text, "column \"none\": all items are missing");
  EXPECT_EQ(reports[1].text, "column \"text\": 3 different texts are more than the 2 states allowed");
  EXPECT_EQ(tv_domain_get_first_node(domain.get()), known);
  EXPECT_EQ(tv_domain_is_compiled(domain.get()), 1);
}

TEST(DataCases, ComeBackAsADataSet) {
  Ward ward;
  ASSERT_EQ(ward.add(parsed("kind,ill,dose,Body temperature,weight,n\n\"#1\",f,0.1,33,0.1,1\na,?,2,40,?,3\n"),
                     nullptr, tv_unmatched_error, 5),
            tv_status_none)
      << tv_error_message();
  const DataSetOwner data(tv_domain_cases_to_data_set(ward.domain.get()));
  ASSERT_TRUE(data);
  ASSERT_EQ(tv_data_set_get_number_of_columns(data.get()), 6u);
  EXPECT_STREQ(tv_data_set_get_column_name(data.get(), 0), "#count");
  Ward copy;
  ASSERT_EQ(copy.add(data, nullptr, tv_unmatched_error, 0), tv_status_none) << tv_error_message();
  for (size_t row = 0; row < 2; ++row) {
    EXPECT_EQ(copy.row(row), ward.row(row));
    EXPECT_EQ(tv_domain_get_case_count(copy.domain.get(), row), row == 0 ? 1.0f : 3.0f);
  }
}

}  // namespace
}  // namespace test

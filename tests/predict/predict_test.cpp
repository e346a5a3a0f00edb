// Predictions for many rows, against enumeration and closed forms.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <set>
#include <utility>

#include "support/cg_builders.h"
#include "support/oracle.h"
#include "tables/limits.h"

namespace test {
namespace {

struct Delete {
  void operator()(tv_data_set_t* data) const { tv_data_set_delete(data); }
  void operator()(tv_predictions_t* predictions) const { tv_predictions_delete(predictions); }
  void operator()(tv_measures_t* measures) const { tv_measures_delete(measures); }
  void operator()(std::FILE* stream) const { std::fclose(stream); }
  void operator()(char* text) const { std::free(text); }
};
using Data = std::unique_ptr<tv_data_set_t, Delete>;
using Predictions = std::unique_ptr<tv_predictions_t, Delete>;
using Measures = std::unique_ptr<tv_measures_t, Delete>;
using Stream = std::unique_ptr<std::FILE, Delete>;
using Nodes = std::vector<tv_node_t*>;

Data data_of(const std::string& csv) {
  Data data(tv_new_data_set());
  EXPECT_EQ(tv_data_set_parse_csv_string(data.get(), csv.c_str(), ',', nullptr, nullptr), tv_status_none);
  return data;
}

Nodes list_of(const Nodes& nodes) {
  Nodes list(nodes);
  list.push_back(nullptr);
  return list;
}

Predictions predict(const DomainOwner& domain, const std::string& csv, const Nodes& targets) {
  Predictions result(tv_domain_predict(domain.get(), data_of(csv).get(), nullptr, list_of(targets).data(),
                                       tv_unmatched_error, nullptr, nullptr));
  EXPECT_TRUE(result) << tv_error_message();
  return result;
}

struct CsvAnswer {
  tv_status_t status;
  std::string text;
  std::string messages;
};

CsvAnswer predict_csv(const DomainOwner& domain, const std::string& csv, const Nodes& targets,
                      const std::vector<const char*>& kept = {}, tv_measures_t** measures = nullptr,
                      tv_unmatched_t unmatched = tv_unmatched_error) {
  CsvAnswer answer;
  char* text = nullptr;
  size_t size = 0;
  const auto tell = [](size_t position, const char* message, void* to) {
    *static_cast<std::string*>(to) += std::to_string(static_cast<long>(position)) + ": " + message + "\n";
  };
  std::vector<const char*> names(kept);
  names.push_back(nullptr);
  {
    const Stream from(fmemopen(const_cast<char*>(csv.data()), csv.size(), "r"));
    const Stream to(open_memstream(&text, &size));
    answer.status =
        tv_domain_predict_csv(domain.get(), from.get(), to.get(), ',', nullptr, list_of(targets).data(),
                              names.data(), unmatched, tell, &answer.messages, measures);
  }
  answer.text = std::unique_ptr<char, Delete>(text).get();
  return answer;
}

// A row of states, as indices, with some of them missing.
using Cells = std::vector<size_t>;
constexpr size_t kMissing = static_cast<size_t>(-1);

std::string csv_of(const Nodes& nodes, const std::vector<Cells>& rows) {
  std::string text;
  for (tv_node_t* node : nodes) text += (text.empty() ? "" : ",") + std::string(tv_node_get_name(node));
  for (const Cells& row : rows) {
    text += "\n";
    for (size_t v = 0; v < row.size(); ++v)
      text += (v ? "," : "") + (row[v] == kMissing ? std::string("?") : "#" + std::to_string(row[v]));
  }
  return text + "\n";
}

std::vector<Cells> random_rows(Generator& random, const Nodes& nodes, size_t count, double missing) {
  std::vector<Cells> rows(count);
  for (Cells& row : rows)
    for (tv_node_t* node : nodes)
      row.push_back(random.chance(missing) ? kMissing : random.below(tv_node_get_number_of_states(node)));
  return rows;
}

std::string bits_of(tv_predictions_t* predictions, const Nodes& targets) {
  std::string bits;
  for (size_t row = 0; row < tv_predictions_get_number_of_rows(predictions); ++row)
    for (size_t t = 0; t < targets.size(); ++t)
      for (size_t s = 0; s < tv_node_get_number_of_states(targets[t]); ++s) {
        const double p = tv_predictions_get_probability(predictions, row, t, s);
        bits.append(reinterpret_cast<const char*>(&p), sizeof p);
      }
  return bits;
}

// Compares all rows with the sum over everything that is not observed; targets are not.
void expect_enumerated(const DomainOwner& domain, const Nodes& nodes, const Nodes& targets,
                       const std::vector<Cells>& rows, tv_predictions_t* predictions) {
  const Oracle oracle(domain.get());
  for (size_t row = 0; row < rows.size(); ++row) {
    Oracle::Evidence evidence = oracle.none();
    for (size_t v = 0; v < nodes.size(); ++v) {
      if (rows[row][v] == kMissing || std::count(targets.begin(), targets.end(), nodes[v])) continue;
      std::fill(evidence[v].begin(), evidence[v].end(), 0);
      evidence[v][rows[row][v]] = 1;
    }
    const bool is_possible = oracle.constant(evidence, tv_equilibrium_sum) > 0;
    ASSERT_EQ(tv_predictions_is_possible(predictions, row), is_possible) << row;
    if (!is_possible) {
      EXPECT_EQ(tv_predictions_get_probability(predictions, row, 0, 0), -1);
      EXPECT_EQ(tv_error_code(), tv_status_inconsistency_or_underflow);
      continue;
    }
    const std::vector<Vector> beliefs = oracle.beliefs(evidence, tv_equilibrium_sum, tv_evidence_normal);
    for (size_t t = 0; t < targets.size(); ++t) {
      const size_t v = static_cast<size_t>(std::find(nodes.begin(), nodes.end(), targets[t]) - nodes.begin());
      size_t best = 0;
      for (size_t s = 0; s < beliefs[v].size(); ++s) {
        const double found = tv_predictions_get_probability(predictions, row, t, s);
        EXPECT_TRUE(close(found, beliefs[v][s])) << "row " << row << " target " << t << ": " << found;
        if (found > tv_predictions_get_probability(predictions, row, t, best)) best = s;
      }
      EXPECT_EQ(tv_predictions_get_state(predictions, row, t), best);
      EXPECT_EQ(tv_predictions_get_true_state(predictions, row, t), rows[row][v]);
    }
  }
}

// By groups; by groups where most are too wide, so that some rows go both ways; by propagation alone.
TEST(Predict, AgreesWithEnumeration) {
  Generator random(1);
  size_t impossible = 0;
  for (int round = 0; round < 120 && !testing::Test::HasFailure(); ++round) {
    const size_t usual = tv::limits.joint_states;
    if (round % 3 > 0) tv::limits.joint_states = round % 3 == 1 ? 3 : 0;
    const DomainOwner domain = random_network(random, round % 2 ? Values::zeros : Values::positive);
    const Nodes nodes = nodes_of(domain.get());
    Nodes targets;
    for (tv_node_t* node : nodes)
      if (targets.empty() || random.chance(0.3)) targets.insert(targets.begin(), node);
    const std::vector<Cells> rows = random_rows(random, nodes, 40, random.uniform());
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    tv_domain_set_concurrency_level(domain.get(), 1 + random.below(3));
    const Predictions found = predict(domain, csv_of(nodes, rows), targets);
    ASSERT_TRUE(found);
    expect_enumerated(domain, nodes, targets, rows, found.get());
    for (size_t row = 0; row < rows.size(); ++row)
      impossible += !tv_predictions_is_possible(found.get(), row);
    tv::limits.joint_states = usual;
  }
  EXPECT_GT(impossible, 100u);
}

// A chain of 30 nodes, of which whole stretches are missing: most rows repeat problems of others, many have
// barren ends.
TEST(Predict, HasTheSameBitsForEveryNumberOfThreadsAndFromEverySource) {
  Generator random(2);
  const DomainOwner domain = new_domain();
  Nodes nodes;
  for (int v = 0; v < 30; ++v) {
    nodes.push_back(add_node(domain.get(), ("n" + std::to_string(v)).c_str(), 3, {}, {}));
    if (v) tv_node_add_parent(nodes.back(), nodes[nodes.size() - 2]);
    set_random_table(random, nodes.back(), Values::positive);
  }
  const Nodes targets = {nodes[20], nodes[3]};
  const std::string csv = csv_of(nodes, random_rows(random, nodes, 20000, 0.4));
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const Predictions first = predict(domain, csv, targets);
  ASSERT_TRUE(first);
  const size_t processors = std::exchange(tv::limits.processors, 8);
  const std::string bits = bits_of(first.get(), targets), text = predict_csv(domain, csv, targets).text;
  ASSERT_EQ(tv_domain_add_cases(domain.get(), data_of(csv).get(), nullptr, SIZE_MAX, tv_unmatched_error,
                                nullptr, nullptr),
            tv_status_none);
  for (const size_t threads : {2, 3, 7}) {
    // Nothing is kept from one call to the next in the end.
    const size_t usual = std::exchange(tv::limits.kept_predictions, threads == 7 ? 0 : size_t{1} << 26);
    tv_domain_set_concurrency_level(domain.get(), threads);
    EXPECT_TRUE(bits_of(predict(domain, csv, targets).get(), targets) == bits) << threads;
    EXPECT_TRUE(predict_csv(domain, csv, targets).text == text) << threads;
    const Predictions cases(tv_domain_predict_cases(domain.get(), list_of(targets).data()));
    EXPECT_TRUE(bits_of(cases.get(), targets) == bits) << threads;
    tv::limits.kept_predictions = usual;
  }
  tv::limits.processors = processors;
}

// A class with a value below it, and a line from that value to another one.
struct Mixed {
  DomainOwner domain = new_domain();
  tv_node_t* kind = add_node(domain.get(), "kind", 2, {}, {0.25f, 0.75f});
  tv_node_t* x = add_continuous(domain.get(), "x", 0.0, 1.0, {}, {kind});
  tv_node_t* y = add_continuous(domain.get(), "y", 1.0, 0.5, {{x, 2.0}});
  Mixed() {
    set_regression(x, 0, -1.0, 1.0);
    set_regression(x, 1, 2.0, 4.0);
    EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  }
};

TEST(Predict, AnswersContinuousTargetsAndFromThem) {
  const Mixed mixed;
  const auto density = [](double value, double mean, double variance) {
    return std::exp(-(value - mean) * (value - mean) / (2 * variance)) / std::sqrt(2 * M_PI * variance);
  };
  const Predictions found =
      predict(mixed.domain, "kind,x,y\n#0,0.5,3\n,0.5,1\n#1,,0\n,0.5,1\n,,\n", {mixed.kind, mixed.y});
  ASSERT_TRUE(found);
  const double a = 0.25 * density(0.5, -1, 1), b = 0.75 * density(0.5, 2, 4);
  for (const size_t row : {0, 1, 3}) {  // what a row says of the class itself is not used
    EXPECT_NEAR(tv_predictions_get_probability(found.get(), row, 0, 0), a / (a + b), 1e-6);
    EXPECT_NEAR(tv_predictions_get_mean(found.get(), row, 1), 2.0, 1e-6);
    EXPECT_NEAR(tv_predictions_get_variance(found.get(), row, 1), 0.5, 1e-6);
  }
  EXPECT_NEAR(tv_predictions_get_mean(found.get(), 4, 1), 1 + 2 * (0.25 * -1 + 0.75 * 2), 1e-6);
  EXPECT_EQ(tv_predictions_get_true_value(found.get(), 0, 1), 3.0);
  EXPECT_EQ(tv_predictions_get_true_state(found.get(), 4, 0), SIZE_MAX);
  EXPECT_EQ(tv_error_code(), tv_status_no_value);
  EXPECT_EQ(tv_predictions_get_mean(found.get(), 0, 0), -1);
  EXPECT_EQ(tv_error_code(), tv_status_usage);

  const Measures measures(tv_predictions_new_measures(found.get(), 1));
  const double variance = tv_predictions_get_variance(found.get(), 2, 1),
               mean = tv_predictions_get_mean(found.get(), 2, 1);
  EXPECT_EQ(tv_measures_get_number_of_rows(measures.get()), 4);
  EXPECT_NEAR(tv_measures_get_mean_squared_error(measures.get()), (3 + mean * mean) / 4, 1e-5);
  EXPECT_NEAR(tv_measures_get_mean_absolute_error(measures.get()), (3 + mean) / 4, 1e-5);
  EXPECT_NEAR(tv_measures_get_log_loss(measures.get()),
              -(3 * std::log(density(1, 0, 0.5)) + std::log(density(mean, 0, variance))) / 4, 1e-5);
  EXPECT_EQ(tv_measures_get_accuracy(measures.get()), -1);
  EXPECT_EQ(predict_csv(mixed.domain, "x,y\n0.5,1\n", {mixed.y, mixed.kind}).text.substr(0, 68),
            "mean(y),variance(y),predicted(kind),P(kind=#0),P(kind=#1)\n2,0.5,#1,0");
}

TEST(Predict, MeasuresAreWhatTheySay) {
  Generator random(3);
  const DomainOwner domain = new_domain();
  tv_node_t* kind = add_node(domain.get(), "kind", 3, {}, {0.5f, 0.3f, 0.2f});
  Nodes nodes = {kind};
  for (const char* name : {"s", "t", "u"}) {
    nodes.push_back(add_node(domain.get(), name, 4, {kind}, {}));
    set_random_table(random, nodes.back(), Values::positive);
  }
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const std::vector<Cells> rows = random_rows(random, nodes, 300, 0.2);
  ASSERT_EQ(tv_domain_add_cases(domain.get(), data_of(csv_of(nodes, rows)).get(), nullptr, SIZE_MAX,
                                tv_unmatched_error, nullptr, nullptr),
            tv_status_none);
  for (size_t row = 0; row < rows.size(); ++row) tv_domain_set_case_count(domain.get(), row, row % 3);
  const Predictions found(tv_domain_predict_cases(domain.get(), list_of({kind}).data()));
  const Measures measures(tv_predictions_new_measures(found.get(), 0));
  const auto p = [&](size_t row, size_t state) {
    return tv_predictions_get_probability(found.get(), row, 0, state);
  };
  double weight = 0, loss = 0, brier = 0, right = 0, confusion[3][3] = {};
  for (size_t row = 0; row < rows.size(); ++row) {
    const size_t truth = rows[row][0], best = tv_predictions_get_state(found.get(), row, 0);
    const double count = static_cast<double>(row % 3);
    if (truth == kMissing) continue;
    weight += count;
    loss -= count * std::log(p(row, truth));
    for (size_t s = 0; s < 3; ++s) brier += count * std::pow(p(row, s) - (s == truth), 2);
    right += count * (best == truth);
    confusion[truth][best] += count;
  }
  EXPECT_EQ(tv_measures_get_number_of_rows(measures.get()), weight);
  EXPECT_NEAR(tv_measures_get_log_loss(measures.get()), loss / weight, 1e-12);
  EXPECT_NEAR(tv_measures_get_brier_score(measures.get()), brier / weight, 1e-12);
  EXPECT_NEAR(tv_measures_get_accuracy(measures.get()), right / weight, 1e-12);
  for (size_t s = 0; s < 3; ++s) {
    double pairs = 0, ordered = 0;
    for (size_t i = 0; i < rows.size(); ++i)
      for (size_t j = 0; j < rows.size(); ++j) {
        if (rows[i][0] != s || rows[j][0] == s || rows[j][0] == kMissing) continue;
        const double both = static_cast<double>((i % 3) * (j % 3));
        pairs += both;
        const double more = p(i, s) - p(j, s);
        ordered += both * (std::abs(more) < 1e-9 ? 0.5 : more > 0 ? 1.0 : 0.0);
      }
    EXPECT_NEAR(tv_measures_get_area_under_curve(measures.get(), s), ordered / pairs, 1e-12);
    for (size_t other = 0; other < 3; ++other)
      EXPECT_EQ(tv_measures_get_confusion(measures.get(), s, other), confusion[s][other]);
  }
  EXPECT_EQ(tv_measures_get_confusion(measures.get(), 3, 0), -1);
}

// Where the truth was thought impossible, where the row is, and where nothing is known.
TEST(Predict, MeasuresOfImpossibleRowsAndTruths) {
  const DomainOwner domain = new_domain();
  tv_node_t* cause = add_node(domain.get(), "cause", 2, {}, {0.5f, 0.5f});
  tv_node_t* sign = add_node(domain.get(), "sign", 3, {cause}, {0.5f, 0.5f, 0.0f, 1.0f, 0.0f, 0.0f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const auto loss_of = [&](const char* csv) {
    const Measures measures(tv_predictions_new_measures(predict(domain, csv, {cause}).get(), 0));
    return std::pair(tv_measures_get_log_loss(measures.get()),
                     tv_measures_get_number_of_impossible_rows(measures.get()));
  };
  EXPECT_EQ(loss_of("cause,sign\n#1,#1\n").first, HUGE_VAL);
  EXPECT_EQ(loss_of("cause,sign\n#1,#2\n,#2\n"), std::pair(-1.0, 1.0));
  EXPECT_EQ(tv_error_code(), tv_status_none);  // of the second question
  const CsvAnswer answer = predict_csv(domain, "cause,sign\n#1,#2\n,#1\n", {cause, sign});
  EXPECT_EQ(answer.text.substr(0, 56), "predicted(cause),P(cause=#0),P(cause=#1),predicted(sign)");
  EXPECT_EQ(predict_csv(domain, "sign\n#2\n#1\n", {cause}).text,
            "predicted(cause),P(cause=#0),P(cause=#1)\n,,\n#0,1,0\n");
}

// What nobody observed stands between two observations that exclude each other, far from the target.
TEST(Predict, RowsAreImpossibleWhereverTheyAre) {
  const DomainOwner domain = new_domain();
  tv_node_t* target = add_node(domain.get(), "target", 2, {}, {0.25f, 0.75f});
  tv_node_t* first = add_node(domain.get(), "first", 2, {}, {0.5f, 0.5f});
  tv_node_t* between = add_node(domain.get(), "between", 2, {first}, {1.0f, 0.0f, 0.0f, 1.0f});
  add_node(domain.get(), "last", 2, {between}, {1.0f, 0.0f, 0.5f, 0.5f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const Predictions found = predict(domain, "first,last\n#0,#1\n#1,#1\n#0,\n", {target});
  EXPECT_EQ(tv_predictions_is_possible(found.get(), 0), 0);
  EXPECT_EQ(tv_predictions_is_possible(found.get(), 1), 1);
  EXPECT_EQ(tv_predictions_get_probability(found.get(), 2, 0, 0), 0.25);
}

// ---- From file to file ----

// More rows than are held at a time, a column of which every item is different, and one of numbers that
// nearly all are: what is kept of them is begun anew several times.
TEST(PredictCsv, LongTextsAreAnsweredAsShortOnes) {
  const Mixed mixed;
  Generator random(4);
  std::string csv = "id,x,kind\n";
  constexpr size_t kRows = 20000;
  for (size_t row = 0; row < kRows; ++row)
    csv += "\"row \"\"" + std::to_string(row) + "\"\"\"," + std::to_string(random.uniform() * 8 - 4) + "," +
           (row % 3 ? "#1" : "?") + "\n";
  tv_measures_t* made = nullptr;
  const CsvAnswer answer = predict_csv(mixed.domain, csv, {mixed.kind}, {"id"}, &made);
  const Measures measures(made);
  ASSERT_EQ(answer.status, tv_status_none) << answer.messages;
  Data data = data_of(csv);
  tv_data_set_delete_column(data.get(), 0);
  const Predictions whole(tv_domain_predict(mixed.domain.get(), data.get(), nullptr,
                                            list_of({mixed.kind}).data(), tv_unmatched_error, nullptr,
                                            nullptr));
  std::string expected = "id,predicted(kind),P(kind=#0),P(kind=#1)\n";
  for (size_t row = 0; row < kRows; ++row) {
    char text[100];
    std::snprintf(text, sizeof text, "\"row \"\"%zu\"\"\",#%zu,%.9g,%.9g\n", row,
                  tv_predictions_get_state(whole.get(), row, 0),
                  tv_predictions_get_probability(whole.get(), row, 0, 0),
                  tv_predictions_get_probability(whole.get(), row, 0, 1));
    expected += text;
  }
  EXPECT_TRUE(answer.text == expected);
  const Measures same(tv_predictions_new_measures(whole.get(), 0));
  EXPECT_EQ(tv_measures_get_log_loss(measures.get()), tv_measures_get_log_loss(same.get()));
  EXPECT_NEAR(tv_measures_get_area_under_curve(measures.get(), 0),
              tv_measures_get_area_under_curve(same.get(), 0), 1e-9);
}

TEST(PredictCsv, WhatDoesNotFitIsToldWithItsLine) {
  const Mixed mixed;
  const std::string csv = "note,x,kind\n\"two\nlines\",1,#0\n\nb,one,#7\n";
  const std::string items = "5: column \"x\": \"one\" is no number\n5: column \"kind\": ";
  CsvAnswer answer = predict_csv(mixed.domain, csv, {mixed.kind}, {"note"});
  EXPECT_EQ(answer.status, tv_status_parse);
  EXPECT_EQ(answer.messages.substr(0, items.size()), items);
  answer = predict_csv(mixed.domain, csv, {mixed.kind}, {"note"}, nullptr, tv_unmatched_missing);
  EXPECT_EQ(answer.status, tv_status_none);
  EXPECT_EQ(answer.messages.substr(0, items.size()), items);
  EXPECT_NE(answer.text.find("\n\"two\nlines\",#"), std::string::npos);
  EXPECT_NE(answer.text.find("\nb,#1,0.25,0.75\n"), std::string::npos);
  EXPECT_EQ(predict_csv(mixed.domain, csv, {mixed.kind}).messages,
            "-1: column \"note\": there is no such node\n");
  EXPECT_EQ(predict_csv(mixed.domain, "x\n1\n2,3\n", {mixed.kind}).messages.substr(0, 2), "3:");
  EXPECT_EQ(predict_csv(mixed.domain, csv, {mixed.kind}, {"nowhere"}).status, tv_status_usage);
}

TEST(PredictCsv, AFullDeviceIsAFailure) {
  const Mixed mixed;
  const std::string csv = "x\n1\n";
  const Stream from(fmemopen(const_cast<char*>(csv.data()), csv.size(), "r")),
      to(std::fopen("/dev/full", "w"));
  EXPECT_EQ(tv_domain_predict_csv(mixed.domain.get(), from.get(), to.get(), ',', nullptr,
                                  list_of({mixed.kind}).data(), nullptr, tv_unmatched_error, nullptr, nullptr,
                                  nullptr),
            tv_status_io);
}

// ---- Refusals and stopping ----

TEST(Predict, RefusesWhatItCannotAnswer) {
  const Mixed mixed;
  const DomainOwner other = new_domain();
  tv_node_t* stranger = add_node(other.get(), "s", 2, {}, {0.5f, 0.5f});
  const Data data = data_of("x\n1\n");
  const auto refusal = [&](const Nodes& targets) {
    EXPECT_FALSE(
        Predictions(tv_domain_predict(mixed.domain.get(), data.get(), nullptr, list_of(targets).data(),
                                      tv_unmatched_error, nullptr, nullptr)));
    return tv_error_code();
  };
  EXPECT_EQ(refusal({}), tv_status_usage);
  EXPECT_EQ(refusal({stranger}), tv_status_usage);
  EXPECT_EQ(refusal({mixed.x, mixed.x}), tv_status_twice);
  tv_domain_set_progress_handler(
      mixed.domain.get(), [](const char*, double, void*) { return 1; }, nullptr);
  EXPECT_EQ(refusal({mixed.kind}), tv_status_error);
  EXPECT_EQ(predict_csv(mixed.domain, "x\n1\n", {mixed.kind}).status, tv_status_error);
  tv_domain_set_progress_handler(mixed.domain.get(), nullptr, nullptr);
  set_table(mixed.kind, {0.5f, 0.5f});
  EXPECT_EQ(refusal({mixed.kind}), tv_status_no_equilibrium);
  tv_domain_uncompile(mixed.domain.get());
  EXPECT_EQ(refusal({mixed.kind}), tv_status_not_compiled);
}

// Rows hold states in two bytes; what is to be predicted may have more.
TEST(Predict, ObservesNoMoreStatesThanCasesHold) {
  const DomainOwner domain = new_domain();
  tv_node_t* wide = add_node(domain.get(), "wide", 40000);
  tv_node_t* other = add_node(domain.get(), "other", 2);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const Data data = data_of("wide,other\n#39999,#1\n");
  const auto predicted = [&](tv_node_t* target) {
    return Predictions(tv_domain_predict(domain.get(), data.get(), nullptr, list_of({target}).data(),
                                         tv_unmatched_error, nullptr, nullptr));
  };
  const Predictions found = predicted(wide);
  EXPECT_EQ(tv_predictions_get_true_state(found.get(), 0, 0), 39999u);
  const Measures measures(tv_predictions_new_measures(found.get(), 0));  // no matrix of all states
  EXPECT_EQ(tv_measures_get_confusion(measures.get(), 39999, 0), 1);
  EXPECT_EQ(tv_measures_get_confusion(measures.get(), 39998, 0), 0);
  EXPECT_FALSE(predicted(other));
  EXPECT_EQ(tv_error_code(), tv_status_case_state_too_large);
  EXPECT_EQ(predict_csv(domain, "wide\n#1\n", {other}).status, tv_status_case_state_too_large);
}

// ---- Cross-validation ----

// Left out one by one, each coin is predicted from the shares of the others.
TEST(CrossValidation, LeavesEachCaseOut) {
  const DomainOwner domain = new_domain();
  tv_node_t* coin = add_node(domain.get(), "coin", 2, {}, {0.5f, 0.5f});
  tv_node_get_experience_table(coin);
  ASSERT_EQ(tv_domain_add_cases(domain.get(), data_of("coin\n#0\n#1\n#1\n#1\n#0\n#1\n").get(), nullptr,
                                SIZE_MAX, tv_unmatched_error, nullptr, nullptr),
            tv_status_none);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const Predictions found(tv_domain_cross_validate(domain.get(), list_of({coin}).data(), 6, 1));
  ASSERT_TRUE(found) << tv_error_message();
  for (size_t row = 0; row < 6; ++row) {
    const bool is_zero = tv_predictions_get_true_state(found.get(), row, 0) == 0;
    EXPECT_EQ(is_zero, row == 0 || row == 4);
    EXPECT_NEAR(tv_predictions_get_probability(found.get(), row, 0, 0), is_zero ? 0.2 : 0.4, 1e-7);
  }
  EXPECT_EQ(tv_table_get_data(tv_node_get_table(coin))[0], 0.5f);  // the domain has learned nothing
  EXPECT_EQ(tv_domain_get_case_count(domain.get(), 3), 1.0f);
  EXPECT_FALSE(Predictions(tv_domain_cross_validate(domain.get(), list_of({coin}).data(), 7, 1)));
  EXPECT_FALSE(Predictions(tv_domain_cross_validate(domain.get(), list_of({coin}).data(), 1, 1)));
}

// Folds of equal size, but for one, each predicted from all others; the seed decides about them.
TEST(CrossValidation, FoldsComeFromTheSeed) {
  Generator random(5);
  const DomainOwner domain = new_domain();
  tv_node_t* kind = add_node(domain.get(), "kind", 2, {}, {0.5f, 0.5f});
  tv_node_t* sign = add_node(domain.get(), "sign", 3, {kind}, {0.2f, 0.3f, 0.5f, 0.6f, 0.1f, 0.3f});
  for (tv_node_t* node : {kind, sign}) tv_node_get_experience_table(node);
  const Nodes nodes = {kind, sign};
  const std::vector<Cells> rows = random_rows(random, nodes, 100, 0.1);
  ASSERT_EQ(tv_domain_add_cases(domain.get(), data_of(csv_of(nodes, rows)).get(), nullptr, SIZE_MAX,
                                tv_unmatched_error, nullptr, nullptr),
            tv_status_none);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const auto bits = [&](uint64_t seed) {
    const Predictions found(tv_domain_cross_validate(domain.get(), list_of({kind}).data(), 3, seed));
    return bits_of(found.get(), {kind});
  };
  const std::string first = bits(7);
  EXPECT_EQ(first.size(), 100 * 2 * sizeof(double));
  EXPECT_TRUE(bits(7) == first);
  EXPECT_FALSE(bits(8) == first);
  const Predictions found(tv_domain_cross_validate(domain.get(), list_of({kind}).data(), 3, 7));
  std::set<double> answers_to_same;  // one for each fold
  for (size_t row = 0; row < rows.size(); ++row)
    if (rows[row][1] == 0) answers_to_same.insert(tv_predictions_get_probability(found.get(), row, 0, 0));
  EXPECT_EQ(answers_to_same.size(), 3u);
}

}  // namespace
}  // namespace test

#include "prediction.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>

#include "memory.h"
#include "timing.h"

namespace bench {
namespace {

constexpr size_t kRows = 1000000, kQueries = 20000;
constexpr unsigned kMissing = 20;  // percent

struct Close {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, Close>;

// The rows of a data set again and again, a fifth of the cells missing.
std::string text_of(const tv_data_set_t* data, size_t rows) {
  std::mt19937_64 random(1);
  std::string text;
  const size_t columns = tv_data_set_get_number_of_columns(data);
  for (size_t c = 0; c < columns; ++c)
    text += (c ? "," : "") + std::string(tv_data_set_get_column_name(data, c));
  for (size_t row = 0; row < rows; ++row)
    for (size_t c = 0; c < columns; ++c) {
      const char* const item = tv_data_set_get_item(data, row % tv_data_set_get_number_of_rows(data), c);
      text += c ? "," : "\n";
      text += item && random() % 100 >= kMissing ? item : "?";
    }
  return text + "\n";
}

// Processor time of the whole process: all threads together.
double process_time() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

struct Times {
  double processor = 0.0, elapsed = 0.0;
  size_t peak = 0;
};

Times predict(const Domain& domain, const std::string& text, const std::vector<tv_node_t*>& targets,
              size_t threads, bool measures, size_t repeats) {
  expect(tv_domain_set_concurrency_level(domain.get(), threads));
  std::vector<tv_measures_t*> made(targets.size());
  Times least;
  for (size_t r = 0; r < repeats; ++r) {
    const Stream from(fmemopen(const_cast<char*>(text.data()), text.size(), "r")),
        to(std::fopen("/dev/null", "w"));
    reset_peak();
    const size_t before = live_bytes();
    const double begin = process_time();
    const double elapsed = milliseconds([&] {
      expect(tv_domain_predict_csv(domain.get(), from.get(), to.get(), ',', nullptr, targets.data(), nullptr,
                                   tv_unmatched_error, nullptr, nullptr, measures ? made.data() : nullptr));
    });
    const double processor = process_time() - begin;
    if (measures)
      for (tv_measures_t* one : made)
        if (one) tv_measures_delete(one);
    if (r == 0 || processor < least.processor) least = {processor, elapsed, peak_bytes() - before};
  }
  return least;
}

// The same by one query for each row.
double by_queries(const Domain& domain, const tv_data_set_t* data, const std::vector<tv_node_t*>& targets) {
  std::mt19937_64 random(1);
  std::vector<tv_node_t*> nodes;
  for (size_t c = 0; c < tv_data_set_get_number_of_columns(data); ++c)
    nodes.push_back(tv_domain_get_node_by_name(domain.get(), tv_data_set_get_column_name(data, c)));
  tv_query_t* const query = tv_domain_new_query(domain.get());
  if (!query) expect(tv_error_code());
  double sum = 0.0;
  const double begin = processor_time();
  for (size_t row = 0; row < kQueries; ++row) {
    expect(tv_query_retract_findings(query));
    for (size_t c = 0; c < nodes.size(); ++c) {
      const char* const item = tv_data_set_get_item(data, row, c);
      if (!item || random() % 100 < kMissing || std::count(targets.begin(), targets.end(), nodes[c]))
        continue;
      size_t state = 0;
      while (std::strcmp(tv_node_get_state_label(nodes[c], state), item)) ++state;
      expect(tv_query_select_state(query, nodes[c], state));
    }
    expect(tv_query_propagate(query, tv_equilibrium_sum, tv_evidence_normal));
    for (size_t t = 0; targets[t]; ++t)
      for (size_t s = 0; s < tv_node_get_number_of_states(targets[t]); ++s)
        sum += static_cast<double>(tv_query_get_belief(query, targets[t], s));
  }
  const double time = processor_time() - begin;
  tv_query_delete(query);
  return sum > 0.0 ? time : 0.0;
}

double line_ends(const std::string& text, size_t repeats) {
  std::vector<double> times;
  size_t lines = 0;
  for (size_t r = 0; r < repeats; ++r)
    times.push_back(milliseconds([&] {
      for (const char* at = text.data(); (at = std::strchr(at, '\n')); ++at) ++lines;
    }));
  return lines ? median(times) : 0.0;
}

void report(const std::string& name, const Domain& domain, const tv_data_set_t* data, size_t repeats) {
  // The first three nodes without parents: what causes the rest.
  std::vector<tv_node_t*> targets;
  for (tv_node_t* node = tv_domain_get_first_node(domain.get()); node; node = tv_node_get_next(node))
    if (!*tv_node_get_parents(node) && targets.size() < 3) targets.push_back(node);
  targets.push_back(nullptr);
  const std::string text = text_of(data, kRows), tenth = text_of(data, kRows / 10);
  const Times one = predict(domain, text, targets, 1, false, repeats);
  const Times measured = predict(domain, text, targets, 1, true, repeats);
  const Times two = predict(domain, text, targets, 2, false, repeats);
  const Times few = predict(domain, tenth, targets, 1, false, repeats);
  std::printf("%s, %zu rows, %zu MB, targets", name.c_str(), kRows, text.size() >> 20);
  for (size_t t = 0; targets[t]; ++t) std::printf(" %s", tv_node_get_name(targets[t]));
  std::printf(
      "\n  one thread     %8.0f ms of processor time, peak %zu MB (of a tenth of the rows %zu MB)\n"
      "  with measures  %8.0f\n"
      "  two threads    %8.0f, elapsed %.0f (one: %.0f), peak %zu MB\n"
      "  line ends      %8.0f\n"
      "  by queries     %8.0f, a million at the rate of %zu\n\n",
      one.processor, one.peak >> 20, few.peak >> 20, measured.processor, two.processor, two.elapsed,
      one.elapsed, two.peak >> 20, line_ends(text, repeats),
      by_queries(domain, data, targets) * static_cast<double>(kRows) / static_cast<double>(kQueries),
      kQueries);
}

}  // namespace

bool run_predictions(const std::string& folder, const std::string& networks, size_t repeats) {
  std::printf("tv_domain_predict_csv of a stream in memory, a fifth of the cells missing.\n\n");
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename();
    const std::string network = networks + "/" + name.substr(0, name.find_first_of("_.")) + ".net";
    if (name.find(".csv") == std::string::npos || name.find("miss") != std::string::npos ||
        !std::filesystem::exists(network))
      continue;
    const DataSet data(tv_csv_parse_data_set(entry.path().c_str(), ',', nullptr, nullptr));
    if (!data) expect(tv_error_code());
    if (tv_data_set_get_number_of_rows(data.get()) < kQueries) continue;
    const Domain domain = load_network(network.c_str());
    expect(tv_domain_compile(domain.get()));
    report(name, domain, data.get(), repeats);
  }
  return true;
}

}  // namespace bench

// Tables of about a million entries over nodes with intervals as states, generated from models, against a
// plain loop that computes the same error functions for the same arguments in the same run.
#include "models.h"

#include <tarvo.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace bench {
namespace {

double median_time(size_t repeats, const std::function<void()>& work) {
  std::vector<double> times;
  for (size_t i = 0; i < repeats; ++i) {
    const auto start = std::chrono::steady_clock::now();
    work();
    times.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

// Evenly wide intervals; `open` makes the outer ones endless.
tv_node_t* add_intervals(tv_domain_t* domain, const char* name, size_t states, double low, double high,
                         bool open) {
  tv_node_t* node = tv_domain_new_node(domain, tv_category_chance, tv_kind_discrete);
  tv_node_set_name(node, name);
  tv_node_set_number_of_states(node, states);
  tv_node_set_subtype(node, tv_subtype_interval);
  for (size_t i = 0; i <= states; ++i) {
    const double bound = low + (high - low) * static_cast<double>(i) / static_cast<double>(states);
    tv_node_set_state_value(node, i, open && i == 0 ? -HUGE_VAL : open && i == states ? HUGE_VAL : bound);
  }
  return node;
}

struct Scenario {
  const char* name;
  const char* expression;
  size_t u_states, v_states, x_states, samples;
  double (*mean)(double u, double v);
  double (*variance)(double u, double v);
};

const Scenario kScenarios[] = {
    {"one sampled parent", "Normal (2 * u + 1, 4)", 50000, 1, 20, 25,
     [](double u, double) { return 2 * u + 1; }, [](double, double) { return 4.0; }},
    {"two sampled parents", "Normal (u + v ^ 2 / 4, exp (v / 4) + 1)", 100, 100, 100, 5,
     [](double u, double v) { return u + v * v / 4; }, [](double, double v) { return std::exp(v / 4) + 1; }},
    {"unused parent", "Normal (2 * u + 1, 4)", 100, 100, 100, 25, [](double u, double) { return 2 * u + 1; },
     [](double, double) { return 4.0; }},
};

double middle(double from, double to, size_t state, size_t states, size_t k, size_t samples) {
  const double width = (to - from) / static_cast<double>(states);
  return from +
         width * (static_cast<double>(state) + (static_cast<double>(k) + 0.5) / static_cast<double>(samples));
}

// The same distribution function at the same points, and nothing else.
double plain_loop(const Scenario& scenario, bool uses_v) {
  double sum = 0;
  const size_t v_states = uses_v ? scenario.v_states : 1, v_samples = uses_v ? scenario.samples : 1;
  for (size_t i = 0; i < scenario.u_states; ++i)
    for (size_t j = 0; j < v_states; ++j)
      for (size_t p = 0; p < scenario.samples; ++p)
        for (size_t q = 0; q < v_samples; ++q) {
          const double u = middle(-5, 5, i, scenario.u_states, p, scenario.samples);
          const double v = middle(-5, 5, j, scenario.v_states, q, scenario.samples);
          const double mean = scenario.mean(u, v), deviation = std::sqrt(2 * scenario.variance(u, v));
          for (size_t k = 1; k < scenario.x_states; ++k) {
            const double bound = -15 + 30 * static_cast<double>(k) / static_cast<double>(scenario.x_states);
            sum += std::erfc(std::fabs(bound - mean) / deviation);
          }
        }
  return sum;
}

bool run(const Scenario& scenario, size_t repeats) {
  tv_domain_t* domain = tv_new_domain();
  tv_node_t* u = add_intervals(domain, "u", scenario.u_states, -5, 5, false);
  tv_node_t* v = add_intervals(domain, "v", scenario.v_states, -5, 5, false);
  tv_node_t* x = add_intervals(domain, "x", scenario.x_states, -15, 15, true);
  tv_node_add_parent(x, v);
  tv_node_add_parent(x, u);
  tv_node_t* const none = nullptr;
  tv_model_t* model = tv_node_new_model(x, const_cast<tv_node_t**>(&none));
  tv_model_set_expression(model, 0,
                          tv_domain_string_to_expression(domain, scenario.expression, nullptr, nullptr));
  const bool uses_v = std::string(scenario.expression).find('v') != std::string::npos;
  tv_status_t status = tv_status_none;
  const double generation = median_time(repeats, [&] {
    tv_model_set_number_of_samples_per_interval(model, scenario.samples);  // makes the table stale
    if (tv_status_t failure = tv_node_generate_table(x)) status = failure;
  });
  double sum = 0;
  const double plain = median_time(repeats, [&] { sum += plain_loop(scenario, uses_v); });
  const double entries = static_cast<double>(tv_table_get_size(tv_node_get_table(x)));
  tv_domain_delete(domain);
  std::printf("%-20s %9.0f entries %9.1f ms   plain loop %9.1f ms   ratio %5.2f%s\n", scenario.name, entries,
              generation, plain, generation / plain, status || !(sum > 0) ? "   FAILED" : "");
  return status == tv_status_none;
}

}  // namespace

bool run_models(size_t repeats) {
  bool sound = true;
  for (const Scenario& scenario : kScenarios) sound &= run(scenario, repeats);
  return sound;
}

}  // namespace bench

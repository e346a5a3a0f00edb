// tarvo next: load, compile, enter the evidence, and ask which observation would tell most.
#include "next.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>
#include <numbers>

#include "progress.h"
#include "propagation.h"

namespace program {
namespace {

struct DeleteResult {
  void operator()(tv_observations_t* what) const { tv_observations_delete(what); }
  void operator()(tv_observation_values_t* what) const { tv_observation_values_delete(what); }
};
using Observations = std::unique_ptr<tv_observations_t, DeleteResult>;
using Values = std::unique_ptr<tv_observation_values_t, DeleteResult>;

double bits(double nats) { return nats / std::numbers::ln2; }

// The candidates as the library takes them: null pointers where all are meant.
class Candidates {
 public:
  Candidates(const Network& network, const std::vector<std::string>& texts) {
    for (const std::string& text : texts) add(network, text);
    if (!texts.empty()) nodes_.push_back(nullptr);
  }

  tv_node_t** nodes() { return nodes_.empty() ? nullptr : nodes_.data(); }
  const double* prices() const { return nodes_.empty() ? nullptr : prices_.data(); }
  bool have_prices() const {
    return std::any_of(prices_.begin(), prices_.end(), [](double price) { return price > 0; });
  }

 private:
  void add(const Network& network, const std::string& text) {
    const size_t equals = text.rfind('=');
    double price = 0;
    if (equals != text.npos) {
      const char* const end = text.data() + text.size();
      const auto [stop, error] = std::from_chars(text.data() + equals + 1, end, price);
      if (error != std::errc() || stop != end || !(price >= 0) || !std::isfinite(price))
        throw Failure(kWrongUsage, "\"" + text + "\": expected NODE or NODE=PRICE, with a price from 0");
    }
    nodes_.push_back(network.find(text.substr(0, equals)));
    prices_.push_back(price);
  }

  std::vector<tv_node_t*> nodes_;
  std::vector<double> prices_;
};

std::vector<Observation> observations_of(const tv_observations_t* found) {
  std::vector<Observation> list;
  for (size_t i = 0; i < tv_observations_get_number(found); ++i)
    list.push_back({tv_observations_get_node(found, i), bits(tv_observations_get_information(found, i)),
                    tv_observations_get_error_reduction(found, i), 0, tv_observations_get_price(found, i)});
  return list;
}

void ask_about_node(const Network& network, Candidates& candidates, size_t length, NextObservations& next) {
  const Observations ranking(tv_node_rank_observations(next.target, candidates.nodes(), candidates.prices()));
  if (!ranking) fail_with_status(network.file());
  next.ranking = observations_of(ranking.get());
  next.entropy = bits(tv_observations_get_entropy(ranking.get()));
  next.error = tv_observations_get_error(ranking.get());
  if (length == 0) return;
  const Observations sequence(
      tv_node_choose_observations(next.target, candidates.nodes(), candidates.prices(), length));
  if (!sequence) fail_with_status(network.file());
  next.sequence = observations_of(sequence.get());
  next.bound = bits(tv_observations_get_bound(sequence.get()));
}

void ask_about_decision(const Network& network, Candidates& candidates, NextObservations& next) {
  const Values values(tv_node_value_observations(next.target, candidates.nodes(), candidates.prices()));
  if (!values) fail_with_status(network.file());
  next.expected_utility = tv_observation_values_get_expected_utility(values.get());
  for (size_t i = 0; i < tv_observation_values_get_number(values.get()); ++i)
    next.ranking.push_back({tv_observation_values_get_node(values.get(), i), 0, 0,
                            tv_observation_values_get_value(values.get(), i),
                            tv_observation_values_get_price(values.get(), i)});
}

// The value of an observation is that under the best policies of the other decisions.
void propagate_with_best_policies(const Network& network) {
  propagate(network);
  const Activity updating("improving the policies");
  expect(tv_domain_update_policies(network.domain()), network.file());
}

}  // namespace

ExitCode show_next(const NextOptions& options) {
  const std::vector<Finding> findings = parse_findings(options.evidence);
  const Network network(options.source);
  NextObservations next;
  next.target = network.find(options.target);
  const bool is_for_decision = is_decision(next.target);
  if (is_for_decision && options.length > 0)
    throw Failure(kFailed, network.file() + ": \"" + options.target +
                               "\" is a decision, for which observations have values, but no sequence");
  Candidates candidates(network, options.candidates);
  compile(network, options.triangulation);
  enter_evidence(network, findings, options.evidence.case_file);
  next.evidence = entered_evidence(network);
  next.has_prices = candidates.have_prices();
  is_for_decision ? propagate_with_best_policies(network) : propagate(network);
  {
    const Activity weighing("weighing the observations");
    is_for_decision ? ask_about_decision(network, candidates, next)
                    : ask_about_node(network, candidates, options.length, next);
  }
  if (options.format == Format::kText) print_as_text(network, next);
  if (options.format == Format::kJson) print_as_json(network, options, next);
  if (options.format == Format::kCsv) print_as_csv(next);
  return kSuccess;
}

}  // namespace program

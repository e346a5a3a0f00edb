// tarvo learn: tables by expectation and maximisation, from a file of cases into a new file of the network.
#include "learn.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "experience.h"
#include "files.h"
#include "learn_on_ranks.h"
#include "progress.h"
#include "propagation.h"
#include "save_network.h"

namespace program {
namespace {

struct DeleteDomain {
  void operator()(tv_domain_t* domain) const { tv_domain_delete(domain); }
};
using DomainOwner = std::unique_ptr<tv_domain_t, DeleteDomain>;

std::vector<tv_node_t*> chance_nodes(tv_domain_t* domain) {
  std::vector<tv_node_t*> nodes;
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node))
    if (tv_node_get_category(node) == tv_category_chance) nodes.push_back(node);
  return nodes;
}

// Another point to start from: distributions drawn uniformly (shares of an exponential sample), the same on
// every machine.
void draw_tables(tv_domain_t* domain, std::mt19937_64& random) {
  const auto draw = [&] { return -std::log1p(-std::ldexp(static_cast<double>(random() >> 11), -53)); };
  for (tv_node_t* node : chance_nodes(domain)) {
    if (!is_discrete(node) || tv_node_has_experience_table(node) != 1) continue;
    tv_table_t* const table = tv_node_get_table(node);
    tv_number_t* const numbers = tv_table_get_data(table);
    const size_t states = states_of(node);
    for (size_t first = 0; numbers && first < tv_table_get_size(table); first += states) {
      double sum = 0.0;
      for (size_t s = 0; s < states; ++s) {
        const double weight = draw() + 1e-6;
        numbers[first + s] = static_cast<tv_number_t>(weight);
        sum += weight;
      }
      for (size_t s = 0; s < states; ++s) numbers[first + s] /= static_cast<tv_number_t>(sum);
    }
    expect(tv_node_touch_table(node), name_of(node));
  }
}

// The names of a network's nodes in the order in which it was eliminated, one a line; uncompiles it, since
// its tables are not needed again. Rank 0 compiles for all: how long it searches must not make a difference.
std::string elimination_order(const Ranks& ranks, const Network& network, const LearnOptions& options) {
  std::string names;
  if (ranks.is_first()) {
    compile(network, options.triangulation);  // says what is wrong before the work begins
    for (tv_node_t* node : each(tv_domain_get_elimination_order(network.domain())))
      names += name_of(node) + "\n";
    expect(tv_domain_uncompile(network.domain()), network.file());
  }
  return ranks.broadcast(names);
}

class Learning {
 public:
  // Copies of the network are eliminated in the order of these names.
  Learning(const Ranks& ranks, const Network& network, const LearnOptions& options, size_t first_row,
           const std::string& order)
      : ranks_(ranks),
        network_(network),
        options_(options),
        on_ranks_(ranks, network, options, first_row),
        order_(order) {
    if (!options.trace.empty() && ranks.is_first()) trace_ = std::make_unique<FileWriter>(options.trace);
  }

  // The best of all runs; an interrupt ends them with what there is.
  void run() {
    std::mt19937_64 random(options_.seed);
    const size_t runs = options_.restarts + 1;
    for (size_t i = 0; i < runs && !is_over(); ++i) {
      const Activity learning(
          "learning" +
          (runs > 1 ? ", start " + std::to_string(i + 1) + " of " + std::to_string(runs) : std::string()));
      DomainOwner domain(tv_domain_clone(network_.domain()));
      if (!domain) fail_with_status(network_.file());
      if (i > 0) draw_tables(domain.get(), random);
      const Scores scores = learn(domain.get());
      if (best_ && scores.log_likelihood <= scores_.log_likelihood) continue;
      scores_ = scores;
      best_ = std::move(domain);
    }
    if (trace_) trace_->commit();
  }

  tv_domain_t* best() const { return best_.get(); }
  const Scores& scores() const { return scores_; }

 private:
  // Whether rank 0 was interrupted.
  bool is_over() const { return ranks_.broadcast(was_interrupted() ? "!" : "") == "!"; }

  Scores learn(tv_domain_t* domain) {
    tv_domain_set_em_concurrency_level(domain, options_.threads);
    tv_domain_set_max_number_of_em_iterations(domain, options_.iterations);
    tv_domain_set_log_likelihood_tolerance(domain, options_.tolerance);
    compile_in_order(domain);
    const StopOnInterrupt stop(domain);
    if (ranks_.are_many()) return on_ranks_.learn(domain, trace_ ? trace_->stream() : nullptr);
    if (trace_) tv_domain_set_log_file(domain, trace_->stream());
    const tv_status_t status = tv_domain_learn_tables(domain);
    tv_domain_set_log_file(domain, nullptr);
    if (status) fail_for_cases(network_, domain, options_.cases.data.file);
    return scores_of(network_, domain, options_.cases.data.file);
  }

  void compile_in_order(tv_domain_t* domain) const {
    std::vector<tv_node_t*> nodes;
    std::istringstream names(order_);
    for (std::string name; std::getline(names, name);)
      nodes.push_back(tv_domain_get_node_by_name(domain, name.c_str()));
    nodes.push_back(nullptr);
    expect(tv_domain_triangulate_with_order(domain, nodes.data()), network_.file());
    expect(tv_domain_compile(domain), network_.file());
  }

  const Ranks& ranks_;
  const Network& network_;
  const LearnOptions& options_;
  const LearningOnRanks on_ranks_;
  const std::string order_;
  std::unique_ptr<FileWriter> trace_;
  DomainOwner best_;
  Scores scores_{};
};

void report(const Network& network, const LearnOptions& options, const Scores& scores) {
  Json document = {{"command", "learn"},
                   {"file", network.file()},
                   {"data", options.cases.data.file},
                   {"out", options.to},
                   {"interrupted", was_interrupted()}};
  document.update(json_of(scores));
  if (options.format == Format::kJson) return print_json(document);
  if (options.format == Format::kCsv) {
    const CsvWriter csv({"quantity", "value"});
    const Json figures = json_of(scores);
    for (const auto& [name, value] : figures.items()) csv.row({name, value.dump()});
    return;
  }
  if (was_interrupted()) std::fprintf(stderr, "interrupted: the tables so far are written\n");
  if (options.to == "-") return;
  std::printf("%s\n", printable(options.to).c_str());
  print_scores(scores);
}

}  // namespace

void give_experience(const Network& network, const LearnOptions& options) {
  const std::vector<tv_node_t*> nodes = chance_nodes(network.domain());
  const bool has_any = std::any_of(nodes.begin(), nodes.end(), [](const tv_node_t* node) {
    return tv_node_has_experience_table(node) == 1;
  });
  if (has_any && options.experience < 0) return;
  for (tv_node_t* node : nodes) {
    if (has_any && tv_node_has_experience_table(node) != 1) continue;
    set_experience(node, std::max(options.experience, 0.0), network.file());
  }
}

ExitCode learn(const LearnOptions& options) {
  if (options.to == "-" && options.format != Format::kText)
    throw Failure(kWrongUsage,
                  "the network itself goes to the standard output, so there is no room for --format");
  Ranks& ranks = Ranks::of_this_run();
  expect_files_for_ranks(ranks, options.source, options.cases.data);
  const Network network = read_network(ranks, options.source);
  size_t first_row = 0;
  if (ranks.are_many()) {
    const RowRange rows = rows_of_this_rank(ranks, options.cases.data, tv_get_em_block_size());
    first_row = rows.first;
    load_cases(network, options.cases, &rows);
    ranks.tell_kept();
  } else {
    load_cases(network, options.cases);
  }
  give_experience(network, options);
  Learning learning(ranks, network, options, first_row, elimination_order(ranks, network, options));
  learning.run();
  if (!ranks.is_first()) return kSuccess;
  save_network(learning.best(), network.file(), options.to, options.to_format);
  report(network, options, learning.scores());
  return kSuccess;
}

}  // namespace program

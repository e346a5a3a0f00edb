// tarvo discover: nodes from columns, links from cases, and tables by expectation and maximisation.
#include "discover.h"

#include <algorithm>
#include <cstdio>

#include "discovery.h"
#include "experience.h"
#include "files.h"
#include "memory.h"
#include "messages.h"
#include "progress.h"
#include "row_messages.h"
#include "save_network.h"

namespace program {

const std::vector<std::string> kStructureMethods = {"tests",       "greedy", "exact",       "tree",
                                                    "naive-bayes", "tan",    "hierarchical"};
const std::vector<std::string> kIndependenceTests = {"g-squared", "chi-squared"};
const std::vector<std::string> kColliderRules = {"plain", "conservative", "majority"};
const std::vector<std::string> kStructureScores = {"bic", "aic", "log-likelihood", "bdeu", "k2"};

namespace {

struct DeleteLearner {
  void operator()(tv_structure_learner_t* learner) const { tv_structure_learner_delete(learner); }
};
using Learner = std::unique_ptr<tv_structure_learner_t, DeleteLearner>;

struct DeleteDomain {
  void operator()(tv_domain_t* domain) const { tv_domain_delete(domain); }
};

// The place of a word among those that can be chosen, as the library's number.
template <class Enumeration>
Enumeration chosen(const std::vector<std::string>& words, const std::string& word) {
  return static_cast<Enumeration>(std::find(words.begin(), words.end(), word) - words.begin());
}

class Discoverer {
 public:
  explicit Discoverer(const DiscoverOptions& options)
      : options_(options), file_(shown_file(options.cases.data.file)) {}

  void run() {
    read_cases();
    learner_.reset(tv_new_structure_learner());
    if (!learner_) fail_with_status(file_);
    apply_settings();
    read_constraints();
    learn_links();
    if (options_.has_tables) learn_tables();
    if (options_.tuning_passes > 0) tune();
    if (options_.has_tables) score();
    save_network(domain(), file_, options_.to, options_.to_format);
    report(discovery_, options_);
  }

 private:
  tv_domain_t* domain() const { return network_ ? network_->domain() : domain_.get(); }
  tv_structure_learner_t* learner() const { return learner_.get(); }

  // ---- Nodes and cases ----

  void read_cases() {
    const DataSet data = load_data(options_.cases.data);
    for (const std::string& name : options_.left_out)
      expect(tv_data_set_delete_column(data.get(), column_named(data.get(), name, options_.cases.data)),
             file_);
    if (tv_data_set_get_number_of_rows(data.get()) == 0) fail_without_cases(file_);
    const std::string& count = options_.cases.count_column;
    if (!options_.nodes.file.empty())
      take_nodes(data.get());
    else
      make_nodes(data.get(), count);
    RowMessages messages(options_.cases.data.file, RowMessages::kRows);
    const Activity reading("reading " + file_);
    const size_t counts = count.empty() ? SIZE_MAX : column_named(data.get(), count, options_.cases.data);
    const tv_status_t status = tv_domain_add_cases(
        domain(), data.get(), nullptr, counts,
        options_.cases.lenient ? tv_unmatched_missing : tv_unmatched_error, RowMessages::tell, &messages);
    if (network_) messages.end(status, *network_, options_.cases.lenient);
    expect(status, file_);
    discovery_.cases = tv_domain_get_number_of_cases(domain());
  }

  // Those of a network that some column is about.
  void take_nodes(const tv_data_set_t* data) {
    Source source = options_.nodes;
    source.memory_limit = options_.cases.data.memory_limit;
    network_ = std::make_unique<Network>(source);
    for (tv_node_t* node : network_->nodes()) {
      const char* const label = tv_node_get_label(node);
      const bool has_column = tv_data_set_get_column_by_name(data, name_of(node).c_str()) != SIZE_MAX ||
                              (label && tv_data_set_get_column_by_name(data, label) != SIZE_MAX);
      if (!has_column) expect(tv_node_delete(node), network_->file());
    }
  }

  void make_nodes(const tv_data_set_t* data, const std::string& count) {
    domain_.reset(tv_new_domain());
    if (!domain_) fail_with_status(file_);
    if (const size_t limit = memory_limit_of(options_.cases.data.memory_limit))
      tv_domain_set_memory_limit(domain(), limit);
    // A column of counts becomes no node.
    DataSet copy(tv_data_set_clone(data));
    if (!copy) fail_with_status(file_);
    if (!count.empty())
      expect(tv_data_set_delete_column(copy.get(), column_named(copy.get(), count, options_.cases.data)),
             file_);
    ColumnMessages messages{file_, false};
    tv_node_t** const nodes = tv_domain_new_nodes_from_data_set(domain(), copy.get(), options_.most_states,
                                                                ColumnMessages::tell, &messages);
    if (!nodes && messages.is_told)
      throw Failure(kFailed, "--leave-out leaves such columns out, and --states allows more states");
    if (!nodes) fail_with_status(file_);
    std::free(nodes);
  }

  struct ColumnMessages {
    std::string file;
    bool is_told;
    static void tell(size_t, const char* message, void* data) {
      ColumnMessages& messages = *static_cast<ColumnMessages*>(data);
      messages.is_told = true;
      clear_progress();
      std::fprintf(stderr, "%s: %s\n", printable(messages.file).c_str(), printable(message).c_str());
    }
  };

  // ---- What is learned, and how ----

  void apply_settings() {
    tv_structure_learner_set_method(learner(),
                                    chosen<tv_structure_method_t>(kStructureMethods, options_.method));
    tv_structure_learner_set_test(learner(),
                                  chosen<tv_independence_test_t>(kIndependenceTests, options_.test));
    tv_structure_learner_set_collider_rule(learner(),
                                           chosen<tv_collider_rule_t>(kColliderRules, options_.colliders));
    tv_structure_learner_set_score(learner(), chosen<tv_structure_score_t>(kStructureScores, options_.score));
    tv_structure_learner_set_max_conditioning_size(learner(), options_.max_conditioning);
    tv_structure_learner_set_max_parents(learner(), options_.max_parents);
    tv_structure_learner_set_tabu_steps(learner(), options_.tabu_steps);
    tv_structure_learner_set_restarts(learner(), options_.restarts);
    tv_structure_learner_set_max_completions(learner(), options_.completions);
    tv_structure_learner_set_seed(learner(), options_.seed);
    tv_structure_learner_set_spanning(learner(), !options_.is_forest);
    for (const tv_status_t status :
         {tv_structure_learner_set_significance(learner(), options_.significance),
          tv_structure_learner_set_cases_per_degree(learner(), options_.cases_per_degree),
          tv_structure_learner_set_equivalent_sample_size(learner(), options_.equivalent_sample_size),
          tv_structure_learner_set_max_total_weight(learner(), options_.max_total_weight),
          tv_structure_learner_set_concurrency_level(learner(), options_.threads),
          tv_structure_learner_set_target(learner(),
                                          options_.target.empty() ? nullptr : options_.target.c_str())})
      if (status) throw Failure(kWrongUsage, library_message());
  }

  void read_constraints() {
    if (!options_.constraints.empty()) {
      const std::string text = read_file(options_.constraints), file = shown_file(options_.constraints);
      Messages messages(file, text);
      const auto note = [](size_t, const char* message, void* data) {
        static_cast<Messages*>(data)->add_from_library(message);
      };
      const tv_status_t status =
          tv_structure_learner_parse_constraints_string(learner(), text.c_str(), note, &messages);
      messages.print();
      if (status && messages.has_errors()) throw Failure(kFailed, "");
      expect(status, file);
    }
    ColumnMessages messages{options_.constraints.empty() ? file_ : shown_file(options_.constraints), false};
    const tv_status_t status =
        tv_domain_check_constraints(domain(), learner(), ColumnMessages::tell, &messages);
    if (status && messages.is_told) throw Failure(kFailed, "nothing was learned");
    expect(status, file_);
  }

  void learn_links() {
    const Activity learning("learning the structure");
    const StopOnInterrupt stop(domain());
    Structure& structure = discovery_.structure;
    if (options_.samples > 0) {
      discovery_.bootstrap.reset(tv_domain_bootstrap_structure(domain(), learner(), options_.samples));
      if (!discovery_.bootstrap) fail_with_status(file_);
      structure.reset(tv_bootstrap_new_structure(discovery_.bootstrap.get(), options_.threshold));
    } else {
      structure.reset(tv_domain_learn_structure(domain(), learner()));
    }
    if (!structure && was_interrupted()) throw Failure(kFailed, "interrupted before there was a structure");
    if (!structure) fail_with_status(file_);
    for (size_t node = 0; node < tv_structure_get_number_of_nodes(structure.get()); ++node)
      if (tv_structure_get_hidden_states(structure.get(), node) > 0)
        discovery_.hidden.push_back(tv_structure_get_node_name(structure.get(), node));
    discovery_.directed.reset(tv_structure_clone(structure.get()));
    if (!discovery_.directed) fail_with_status(file_);
    expect(tv_structure_direct(discovery_.directed.get()), file_);
    expect(tv_domain_set_structure(domain(), discovery_.directed.get()), file_);
  }

  // ---- Tables ----

  void learn_tables() {
    for (tv_node_t* node = tv_domain_get_first_node(domain()); node; node = tv_node_get_next(node))
      if (tv_node_get_category(node) == tv_category_chance) set_experience(node, 0.0, file_);
    if (!discovery_.hidden.empty()) break_symmetry();
    tv_domain_set_em_concurrency_level(domain(), options_.threads);
    tv_domain_set_max_number_of_em_iterations(domain(), options_.iterations);
    tv_domain_set_log_likelihood_tolerance(domain(), options_.tolerance);
    const Activity learning("learning the tables");
    std::optional<StopOnInterrupt> stop;
    if (!was_interrupted())
      stop.emplace(domain());
    else
      tv_domain_set_progress_handler(domain(), nullptr, nullptr);  // the next interrupt ends the program
    if (tv_domain_compile(domain()))
      throw Failure(kFailed,
                    file_ + ": " + library_message() +
                        "; --max-parents and --max-total-weight keep networks small, and --no-tables "
                        "writes the links alone");
    expect(tv_domain_learn_tables(domain()), file_);
  }

  // Of the tables that are written.
  void score() {
    if (discovery_.errors)
      expect(tv_domain_propagate(domain(), tv_equilibrium_sum, tv_evidence_normal), file_);
    Scores scores{};
    for (size_t i = 0; i < discovery_.cases; ++i)
      scores.cases += static_cast<double>(tv_domain_get_case_count(domain(), i));
    scores.log_likelihood = tv_domain_get_log_likelihood(domain());
    expect(tv_error_code(), file_);
    scores.aic = tv_domain_get_AIC(domain());
    scores.bic = tv_domain_get_BIC(domain());
    expect(tv_error_code(), file_);
    discovery_.scores = scores;
  }

  void tune() {
    constexpr double kHeldOut = 0.2, kRate = 0.01;
    const Activity tuning("tuning the tables");
    double before = 0.0, after = 0.0;
    tv_node_t* const target = tv_domain_get_node_by_name(domain(), options_.target.c_str());
    expect(tv_node_tune_classifier(target, kHeldOut, options_.tuning_passes, kRate, options_.seed, &before,
                                   &after),
           file_);
    discovery_.errors = std::pair(before, after);
  }

  // Where a node is hidden, uniform tables are a point that learning does not leave.
  void break_symmetry() {
    expect(tv_domain_seed_random(domain(), static_cast<unsigned>(options_.seed)), file_);
    for (tv_node_t* node = tv_domain_get_first_node(domain()); node; node = tv_node_get_next(node)) {
      if (!is_discrete(node) || tv_node_get_category(node) != tv_category_chance) continue;
      tv_table_t* const table = tv_node_get_table(node);
      for (size_t i = 0; i < tv_table_get_size(table); ++i)
        tv_table_get_data(table)[i] = static_cast<tv_number_t>(0.5 + tv_domain_get_uniform_deviate(domain()));
      const size_t states = states_of(node);
      for (size_t first = 0; first < tv_table_get_size(table); first += states) {
        tv_number_t sum = 0;
        for (size_t s = 0; s < states; ++s) sum += tv_table_get_data(table)[first + s];
        for (size_t s = 0; s < states; ++s) tv_table_get_data(table)[first + s] /= sum;
      }
      expect(tv_node_touch_table(node), name_of(node));
    }
  }

  const DiscoverOptions& options_;
  const std::string file_;
  std::unique_ptr<Network> network_;                   // of --nodes, or
  std::unique_ptr<tv_domain_t, DeleteDomain> domain_;  // with nodes of the columns
  Learner learner_;
  Discovery discovery_;
};

}  // namespace

ExitCode discover(const DiscoverOptions& options) {
  if (options.to == "-" && options.format != Format::kText)
    throw Failure(kWrongUsage,
                  "the network itself goes to the standard output, so there is no room for --format");
  if (options.tuning_passes > 0 && (options.method != "naive-bayes" || !options.has_tables))
    throw Failure(kWrongUsage, "--tune is for the tables of --method naive-bayes");
  Discoverer(options).run();
  return kSuccess;
}

}  // namespace program

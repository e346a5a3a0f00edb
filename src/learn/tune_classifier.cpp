// Fine tuning of naive-Bayes classifiers (El Hindi 2014): probabilities of what wrongly classified cases
// observe are moved until cases that are held out are no longer classified better.

#include <algorithm>
#include <cmath>
#include <random>

#include "api/boundary.h"
#include "inference/reset.h"
#include "network/cases.h"
#include "network/node_operations.h"
#include "network/progress.h"
#include "network/refusals.h"

namespace tv {
namespace {

// Products are kept above this as long as some class is possible.
constexpr double kLeastProduct = 0x1p-500;

struct TuningSettings {
  double held_out, rate;
  size_t max_passes;
  uint64_t seed;
};

// A child of the class with its conditional probabilities, those of one class after the other.
struct Feature {
  Node* node;
  std::vector<double> numbers;

  size_t states() const noexcept { return node->number_of_states; }
  double* of_class(size_t c) noexcept { return numbers.data() + c * states(); }
  const double* of_class(size_t c) const noexcept { return numbers.data() + c * states(); }
};

void normalize(double* numbers, size_t count) noexcept {
  double sum = 0.0;
  for (size_t i = 0; i < count; ++i) sum += numbers[i];
  if (!(sum > 0.0)) return;
  for (size_t i = 0; i < count; ++i) numbers[i] /= sum;
}

class Classifier {
 public:
  Classifier(Node& target, const TuningSettings& settings)
      : target_(target), settings_(settings), posterior_(target.number_of_states) {}

  tv_status_t load() {
    if (tv_status_t status = load_numbers(target_, prior_)) return status;
    normalize(prior_.data(), prior_.size());
    for (Node* child : target_.children) {
      features_.push_back({child, {}});
      if (tv_status_t status = load_numbers(*child, features_.back().numbers)) return status;
    }
    for (Feature& feature : features_)
      for (size_t c = 0; c < classes(); ++c) normalize(feature.of_class(c), feature.states());
    round_numbers();
    given_ = features_;
    return tv_status_none;
  }

  tv_status_t choose_cases() {
    for (size_t row = 0; row < domain().cases.count; ++row)
      if (case_is_set(target_, row) && case_count(domain(), row) > 0) trained_.push_back(row);
    std::mt19937_64 random(settings_.seed);
    for (size_t i = trained_.size(); i > 1; --i) std::swap(trained_[i - 1], trained_[random() % i]);
    const double share = settings_.held_out * static_cast<double>(trained_.size());
    const size_t count = static_cast<size_t>(std::llround(share));
    if (count == 0 || count == trained_.size())
      return refuse(tv_status_usage, "of %zu cases with a known class, %zu would be held out",
                    trained_.size(), count);
    held_out_.assign(trained_.begin(), trained_.begin() + static_cast<ptrdiff_t>(count));
    trained_.erase(trained_.begin(), trained_.begin() + static_cast<ptrdiff_t>(count));
    return tv_status_none;
  }

  tv_status_t tune(double& before, double& after) {
    ProgressMeter progress(domain(), "tuning the classifier", 0);
    before = after = share_of_errors();
    std::vector<Feature> best = features_;
    for (size_t pass = 0; pass < settings_.max_passes; ++pass) {
      if (tv_status_t status = progress.advance()) return status;
      for (const size_t row : trained_) {
        learn_from(row, progress);
        if (progress.is_stopped()) return tv_status_error;
      }
      round_numbers();
      const double errors = share_of_errors();
      if (!(errors < after)) break;
      after = errors;
      best = features_;
    }
    features_ = std::move(best);
    return tv_status_none;
  }

  // Distributions that no step has moved stay as they were given, normalised or not.
  void commit(double before, double after) noexcept {
    if (!(after < before)) return;
    for (size_t f = 0; f < features_.size(); ++f) {
      const Feature &tuned = features_[f], &given = given_[f];
      if (tuned.numbers == given.numbers) continue;
      tv_number_t* const data = tuned.node->table->data.data();
      for (size_t c = 0; c < classes(); ++c) {
        const double* const numbers = tuned.of_class(c);
        if (std::equal(numbers, numbers + tuned.states(), given.of_class(c))) continue;
        for (size_t s = 0; s < tuned.states(); ++s)
          data[c * tuned.states() + s] = static_cast<tv_number_t>(numbers[s]);
      }
      _tv_node_touch_table(*tuned.node);
    }
  }

 private:
  Domain& domain() const noexcept { return *target_.domain; }
  size_t classes() const noexcept { return target_.number_of_states; }

  static tv_status_t load_numbers(Node& node, std::vector<double>& numbers) {
    const Table* const table = filled_node_table(node);
    if (!table) return current_status();
    numbers.assign(table->data.begin(), table->data.end());
    return tv_status_none;
  }

  // As tables hold them.
  void round_numbers() noexcept {
    for (Feature& feature : features_)
      for (double& number : feature.numbers) number = static_cast<tv_number_t>(number);
  }

  // The probability of each class given what the case observes; false where no class is possible.
  bool classify(size_t row) noexcept {
    posterior_ = prior_;
    for (const Feature& feature : features_) {
      if (!case_is_set(*feature.node, row)) continue;
      const size_t state = static_cast<size_t>(feature.node->cases.states[row]);
      double most = 0.0;
      for (size_t c = 0; c < classes(); ++c)
        most = std::max(most, posterior_[c] *= feature.of_class(c)[state]);
      if (most < kLeastProduct)
        for (double& number : posterior_) number /= kLeastProduct;
    }
    normalize(posterior_.data(), posterior_.size());
    return *std::max_element(posterior_.begin(), posterior_.end()) > 0.0;
  }

  size_t likeliest_class() const noexcept {
    return static_cast<size_t>(std::max_element(posterior_.begin(), posterior_.end()) - posterior_.begin());
  }
  size_t true_class(size_t row) const noexcept { return static_cast<size_t>(target_.cases.states[row]); }

  // Cases that no class makes possible are not classified, which is wrong, too.
  double share_of_errors() noexcept {
    double wrong = 0.0, total = 0.0;
    for (const size_t row : held_out_) {
      const double count = case_count(domain(), row);
      total += count;
      if (!classify(row) || likeliest_class() != true_class(row)) wrong += count;
    }
    return wrong / total;
  }

  // A case that counts several times is like several cases.
  void learn_from(size_t row, ProgressMeter& progress) noexcept {
    const double count = case_count(domain(), row), steps = std::ceil(count);
    for (double step = 0.0; step < steps; step += 1.0) {
      progress.look_in(features_.size() * classes());
      if (progress.is_stopped()) return;
      const bool is_possible = classify(row);
      const size_t right = true_class(row), taken = likeliest_class();
      if (is_possible && taken == right) return;
      const double error = is_possible ? posterior_[taken] - posterior_[right] : 1.0;
      const double rate = settings_.rate * error * (count / steps);
      for (Feature& feature : features_) {
        if (!case_is_set(*feature.node, row)) continue;
        const size_t state = static_cast<size_t>(feature.node->cases.states[row]);
        raise(feature.of_class(right), feature.states(), state, rate);
        if (is_possible) lower(feature.of_class(taken), feature.states(), state, rate);
      }
    }
  }

  static void raise(double* numbers, size_t count, size_t state, double rate) noexcept {
    numbers[state] += rate * (2.0 * *std::max_element(numbers, numbers + count) - numbers[state]);
    normalize(numbers, count);
  }

  // A step takes at most half of it away.
  static void lower(double* numbers, size_t count, size_t state, double rate) noexcept {
    const double step = rate * (2.0 * numbers[state] - *std::min_element(numbers, numbers + count));
    numbers[state] -= std::min(step, numbers[state] / 2.0);
    normalize(numbers, count);
  }

  Node& target_;
  const TuningSettings& settings_;
  std::vector<double> prior_;
  std::vector<Feature> features_, given_;
  std::vector<size_t> trained_, held_out_;
  std::vector<double> posterior_;
};

tv_status_t check_classifier(const Node& target) noexcept {
  const auto is_fit = [](const Node& node) {
    return node.category == tv_category_chance && is_discrete(node) && node.neighbors.empty() && !node.model;
  };
  if (!is_fit(target) || !target.parents.empty())
    return refuse(
        tv_status_usage,
        "node \"%s\" is no class: a discrete chance node without parents, undirected links or model",
        shown_name(target));
  if (target.children.empty())
    return refuse(tv_status_usage, "the class \"%s\" has no children", shown_name(target));
  for (const Node* child : target.children) {
    if (!is_fit(*child))
      return refuse(
          tv_status_usage,
          "the child \"%s\" of the class is no discrete chance node without undirected links and model",
          shown_name(*child));
    if (child->parents.size() != 1)
      return refuse(tv_status_usage, "the child \"%s\" of the class has another parent", shown_name(*child));
  }
  return tv_status_none;
}

tv_status_t tune(Node& target, const TuningSettings& settings, double* before, double* after) {
  if (tv_status_t status = check_classifier(target)) return status;
  Classifier classifier(target, settings);
  if (tv_status_t status = classifier.choose_cases()) return status;
  if (tv_status_t status = classifier.load()) return status;
  double at_first = 0.0, at_last = 0.0;
  if (tv_status_t status = classifier.tune(at_first, at_last)) return status;
  classifier.commit(at_first, at_last);
  if (before) *before = at_first;
  if (after) *after = at_last;
  return tv_status_none;
}

}  // namespace
}  // namespace tv

tv_status_t tv_node_tune_classifier(tv_node_t* target, double held_out, size_t max_passes, double rate,
                                    uint64_t seed, double* before, double* after) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(target != nullptr)) return tv_status_usage;
    if (!(held_out > 0.0 && held_out < 1.0))
      return tv::refuse(tv_status_usage, "the share that is held out lies between 0 and 1, not %g", held_out);
    if (!(rate > 0.0 && std::isfinite(rate)))
      return tv::refuse(tv_status_usage, "the rate is positive and finite, not %g", rate);
    return tv::tune(*target, {held_out, rate, max_passes, seed}, before, after);
  });
}

// Each pair of nodes is a piece of work in each round; what it finds is written once the round is over.
#include "learn/structure/independence/skeleton.h"

#include <algorithm>

#include "learn/structure/counts/pieces.h"

namespace tv {
namespace {

constexpr size_t kPairsOfFirstPieces = 16;  // one test each; later on a pair has many

class Skeleton {
 public:
  Skeleton(const SkeletonSearch& search, ProgressMeter& progress, Structure& structure)
      : search_(search),
        progress_(progress),
        graph_(structure.graph),
        findings_(structure.findings),
        knowledge_(search.problem.knowledge),
        workers_(search.threads),
        stop_(progress) {}

  tv_status_t find() {
    start();
    const size_t most = search_.problem.settings().max_conditioning_size;
    for (size_t size = 0; size <= most && !pairs_.empty(); ++size)
      if (tv_status_t status = run_round(size)) return status;
    return tv_status_none;
  }

 private:
  struct Pair {
    uint32_t a, b;  // in ascending order
    bool is_separated = false, is_over = false;
    double p_value = -1.0;
    size_t tests = 0, refused_tests = 0;
    std::vector<uint32_t> separator;
  };

  // Pairs that experts have forbidden a link between are tested as well: the set that separates them tells of
  // colliders.
  void start() {
    const size_t size = graph_.size(), count = size * (size - (size > 0)) / 2;
    findings_.p_values.assign(count, -1.0);
    findings_.separators.assign(count, {});
    findings_.is_separated.assign(count, false);
    strengths_.assign(count, 0.0);
    for (uint32_t b = 1; b < size; ++b)
      for (uint32_t a = 0; a < b; ++a) {
        if (knowledge_.allows_any(a, b)) graph_.join(a, b);
        pairs_.push_back({a, b, false, false, -1.0, 0, 0, {}});
      }
  }

  tv_status_t run_round(size_t size) {
    const size_t pairs_of_piece = size == 0 ? kPairsOfFirstPieces : 1;
    const size_t pieces = (pairs_.size() + pairs_of_piece - 1) / pairs_of_piece;
    const tv_status_t status = run_pieces(
        pieces, search_.threads, progress_,
        [&](size_t thread, size_t piece) -> tv_status_t {
          const size_t end = std::min((piece + 1) * pairs_of_piece, pairs_.size());
          for (size_t i = piece * pairs_of_piece; i < end && !stop_.is_raised(); ++i)
            test_pair(thread, size, pairs_[i]);
          return stop_.is_raised() ? tv_status_error : tv_status_none;
        },
        &workers_);
    if (status) return status;
    for (Pair& pair : pairs_) write(pair);
    pairs_.erase(std::remove_if(pairs_.begin(), pairs_.end(), [](const Pair& pair) { return pair.is_over; }),
                 pairs_.end());
    return tv_status_none;
  }

  void write(Pair& pair) {
    const size_t place = PairFindings::place(pair.a, pair.b);
    findings_.tests += pair.tests;
    findings_.refused_tests += pair.refused_tests;
    pair.tests = pair.refused_tests = 0;
    findings_.p_values[place] = pair.p_value;
    if (!pair.is_separated) return;
    findings_.is_separated[place] = true;
    findings_.separators[place].assign(pair.separator.begin(), pair.separator.end());
    graph_.separate(pair.a, pair.b);
  }

  void test_pair(size_t thread, size_t size, Pair& pair) {
    if (size == 0) {
      const TestResult result = run_test(thread, pair, {});
      strengths_[PairFindings::place(pair.a, pair.b)] = result.statistic;
      pair.is_over = pair.is_separated || knowledge_.requires_any(pair.a, pair.b);
      return;
    }
    const std::vector<uint32_t> of_a = candidates(pair.a, pair.b, size, pair);
    const std::vector<uint32_t> of_b = candidates(pair.b, pair.a, size, pair);
    pair.is_over = of_a.size() <= size && of_b.size() <= size;
    size_t subsets = 0;
    const auto separates = [&](std::vector<uint32_t>& subset) {
      run_test(thread, pair, subset);
      return pair.is_separated || stop_.look(++subsets);
    };
    any_subset(of_a, size, [&](std::vector<uint32_t>& subset) {
      std::sort(subset.begin(), subset.end());
      return separates(subset);
    });
    if (pair.is_separated || of_b.size() < size) {
      pair.is_over = pair.is_over || pair.is_separated;
      return;
    }
    std::vector<uint32_t> known = of_a;
    std::sort(known.begin(), known.end());
    any_subset(of_b, size, [&](std::vector<uint32_t>& subset) {
      std::sort(subset.begin(), subset.end());
      const bool is_known = std::includes(known.begin(), known.end(), subset.begin(), subset.end());
      return is_known ? stop_.look(++subsets) : separates(subset);
    });
    pair.is_over = pair.is_over || pair.is_separated;
  }

  // Those that both depend on most come first: they are the likeliest to separate.
  std::vector<uint32_t> candidates(uint32_t of, uint32_t other, size_t size, Pair& pair) const {
    std::vector<uint32_t> found = separating_candidates(search_, graph_, of, other);
    pair.refused_tests += leave_out_refused(search_, found, size, pair.a, pair.b);
    const auto strength = [&](uint32_t node) {
      return std::min(strengths_[PairFindings::place(node, of)],
                      strengths_[PairFindings::place(node, other)]);
    };
    std::stable_sort(found.begin(), found.end(),
                     [&](uint32_t left, uint32_t right) { return strength(left) > strength(right); });
    return found;
  }

  TestResult run_test(size_t thread, Pair& pair, std::span<const uint32_t> given) const {
    const TestResult result = search_.test(thread, pair.a, pair.b, given);
    if (result.is_refused) {
      ++pair.refused_tests;
      return result;
    }
    ++pair.tests;
    const bool is_required = knowledge_.requires_any(pair.a, pair.b);
    pair.is_separated = result.p_value > search_.problem.settings().significance && !is_required;
    pair.p_value = pair.is_separated ? result.p_value : std::max(pair.p_value, result.p_value);
    if (pair.is_separated) pair.separator.assign(given.begin(), given.end());
    return result;
  }

  const SkeletonSearch& search_;
  ProgressMeter& progress_;
  PartialGraph& graph_;
  PairFindings& findings_;
  const Knowledge& knowledge_;
  std::vector<Pair> pairs_;        // that are still to be tested
  std::vector<double> strengths_;  // by place of the pair: the statistic of its first test
  Workers workers_;
  StopFlag stop_;
};

}  // namespace

bool leave_out_refused(const SkeletonSearch& search, std::vector<uint32_t>& candidates, size_t size, size_t a,
                       size_t b) {
  if (search.states.empty() || !search.is_discrete[a] || !search.is_discrete[b]) return false;
  std::vector<size_t> fewest;
  for (const uint32_t node : candidates) fewest.push_back(search.states[node]);
  std::sort(fewest.begin(), fewest.end());
  double others = 1.0;  // configurations of those with the fewest states
  for (size_t i = 0; i + 1 < size && i < fewest.size(); ++i) others *= static_cast<double>(fewest[i]);
  const double alone = static_cast<double>((search.states[a] - 1) * (search.states[b] - 1));
  return std::erase_if(candidates, [&](uint32_t node) {
    return alone * others * static_cast<double>(search.states[node]) > search.most_degrees;
  });
}

std::vector<uint32_t> separating_candidates(const SkeletonSearch& search, const PartialGraph& graph,
                                            size_t of, size_t other) {
  const std::vector<size_t>& tiers = search.problem.knowledge.tiers;
  const bool have_tiers = !tiers.empty() && tiers[of] != kNone && tiers[other] != kNone;
  const size_t latest = have_tiers ? std::max(tiers[of], tiers[other]) : kNone;
  const bool are_discrete = search.is_discrete[of] && search.is_discrete[other];
  std::vector<uint32_t> found;
  for (size_t node = 0; node < graph.size(); ++node) {
    if (node == other || !graph.are_adjacent(of, node)) continue;
    if (have_tiers && tiers[node] != kNone && tiers[node] > latest) continue;
    if (are_discrete && !search.is_discrete[node]) continue;
    found.push_back(static_cast<uint32_t>(node));
  }
  return found;
}

tv_status_t find_skeleton(const SkeletonSearch& search, ProgressMeter& progress, Structure& structure) {
  return Skeleton(search, progress, structure).find();
}

}  // namespace tv

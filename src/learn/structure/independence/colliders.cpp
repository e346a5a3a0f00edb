// Unshielded triples are collected in the order of their middle; where the conservative or the majority rule
// asks for it, each is looked into by all tests of its ends given neighbours of either.
#include "learn/structure/independence/colliders.h"

#include "learn/structure/counts/pieces.h"
#include "learn/structure/graph/links_by_kind.h"

namespace tv {
namespace {

struct Triple {
  uint32_t a, c, b;  // a before b
  bool is_collider = false, is_ambiguous = false;
  double p_value = 0.0;  // of what separated a and b
  size_t tests = 0, refused_tests = 0;
};

class ColliderSearch {
 public:
  ColliderSearch(const SkeletonSearch& search, ProgressMeter& progress, Structure& structure)
      : search_(search),
        progress_(progress),
        structure_(structure),
        skeleton_(structure.graph),
        stop_(progress) {}

  tv_status_t run(AmbiguousTriples& ambiguous) {
    collect();
    const tv_status_t status =
        run_pieces(triples_.size(), search_.threads, progress_, [&](size_t thread, size_t i) -> tv_status_t {
          judge(thread, triples_[i]);
          return stop_.is_raised() ? tv_status_error : tv_status_none;
        });
    if (status) return status;
    for (const Triple& triple : triples_) {
      structure_.findings.tests += triple.tests;
      structure_.findings.refused_tests += triple.refused_tests;
      if (triple.is_ambiguous) ambiguous.add(triple.a, triple.c, triple.b);
    }
    ambiguous.seal();
    Reachability reachability{LinksByKind(structure_.graph)};
    std::stable_sort(triples_.begin(), triples_.end(),
                     [](const Triple& left, const Triple& right) { return left.p_value > right.p_value; });
    for (const Triple& triple : triples_)
      if (triple.is_collider && can_lead(triple.a, triple.c, reachability) &&
          can_lead(triple.b, triple.c, reachability)) {
        direct(triple.a, triple.c, reachability);
        direct(triple.b, triple.c, reachability);
      }
    return tv_status_none;
  }

 private:
  void collect() {
    for (uint32_t c = 0; c < skeleton_.size(); ++c) {
      const std::vector<size_t> ends = skeleton_.adjacent(c);
      for (size_t i = 0; i < ends.size(); ++i)
        for (size_t j = i + 1; j < ends.size(); ++j) {
          const size_t place = PairFindings::place(ends[i], ends[j]);
          if (skeleton_.are_adjacent(ends[i], ends[j]) || !structure_.findings.is_separated[place]) continue;
          triples_.push_back({static_cast<uint32_t>(ends[i]), c, static_cast<uint32_t>(ends[j])});
          triples_.back().p_value = structure_.findings.p_values[place];
        }
    }
  }

  void judge(size_t thread, Triple& triple) {
    const std::vector<size_t>& separator =
        structure_.findings.separators[PairFindings::place(triple.a, triple.b)];
    const bool is_in = std::binary_search(separator.begin(), separator.end(), triple.c);
    const tv_collider_rule_t rule = search_.problem.settings().collider_rule;
    if (rule == tv_collider_rule_plain) {
      triple.is_collider = !is_in;
      return;
    }
    Separators separators;
    const std::vector<uint32_t> of_a = separating_candidates(search_, skeleton_, triple.a, triple.b);
    const std::vector<uint32_t> of_b = separating_candidates(search_, skeleton_, triple.b, triple.a);
    count_separators(thread, triple, of_a, nullptr, separators);
    count_separators(thread, triple, of_b, &of_a, separators);
    if (separators.with + separators.without == 0) ++(is_in ? separators.with : separators.without);
    const bool is_majority = rule == tv_collider_rule_majority;
    triple.is_collider = is_majority ? separators.with < separators.without : separators.with == 0;
    triple.is_ambiguous =
        is_majority ? separators.with == separators.without : separators.with > 0 && separators.without > 0;
  }

  // How many sets separate the ends of a triple with its middle in them, and without it.
  struct Separators {
    size_t with = 0, without = 0;
  };

  // Among the subsets of the candidates, but those of others that have been counted already. All of them are
  // ascending. Where every test of one size would be refused, so would those of all larger ones.
  void count_separators(size_t thread, Triple& triple, std::vector<uint32_t> candidates,
                        const std::vector<uint32_t>* others, Separators& separators) {
    const LearnerSettings& settings = search_.problem.settings();
    size_t subsets = 0;
    for (size_t size = 0; size <= std::min(candidates.size(), settings.max_conditioning_size); ++size) {
      triple.refused_tests += size > 0 && leave_out_refused(search_, candidates, size, triple.a, triple.b);
      any_subset(candidates, size, [&](const std::vector<uint32_t>& subset) {
        if (!others || !std::includes(others->begin(), others->end(), subset.begin(), subset.end()))
          count_separator(thread, triple, subset, separators);
        return stop_.look(++subsets);
      });
    }
  }

  void count_separator(size_t thread, Triple& triple, const std::vector<uint32_t>& subset,
                       Separators& separators) const {
    const TestResult result = search_.test(thread, triple.a, triple.b, subset);
    ++(result.is_refused ? triple.refused_tests : triple.tests);
    if (result.is_refused || result.p_value <= search_.problem.settings().significance) return;
    const bool has_middle = std::binary_search(subset.begin(), subset.end(), triple.c);
    ++(has_middle ? separators.with : separators.without);
  }

  bool can_lead(size_t from, size_t to, const Reachability& reachability) const noexcept {
    if (structure_.graph.is_directed(from, to)) return true;
    return structure_.graph.is_undirected(from, to) && search_.problem.knowledge.allows(from, to) &&
           !reachability.leads(to, from);
  }

  void direct(size_t from, size_t to, Reachability& reachability) noexcept {
    structure_.graph.direct(from, to);
    reachability.add(from, to);
  }

  const SkeletonSearch& search_;
  ProgressMeter& progress_;
  Structure& structure_;
  const PartialGraph skeleton_;
  std::vector<Triple> triples_;
  StopFlag stop_;
};

}  // namespace

tv_status_t direct_colliders(const SkeletonSearch& search, ProgressMeter& progress, Structure& structure,
                             AmbiguousTriples& ambiguous) {
  return ColliderSearch(search, progress, structure).run(ambiguous);
}

}  // namespace tv

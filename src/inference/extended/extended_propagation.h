// A whole propagation in numbers of any size, from the potentials and all propagated evidence. It answers
// where single precision cannot: where a product that later factors might have made decisive would become
// smaller than the smallest normal number, and where rounding would add up over very many factors. Cliques
// whose products fit into doubles are computed in doubles, the others with an exponent for each entry.
//
// Evidence is collected towards a root and distributed from it; the outgoing message of a clique is its
// marginal divided by the message that came from there (Lauritzen and Spiegelhalter 1988). Only messages are
// stored.
#pragma once

#include <span>
#include <vector>

#include "inference/engine.h"
#include "inference/extended/extended_clique.h"
#include "inference/extended/wide_array.h"

namespace tv {

class ExtendedPropagation {
 public:
  ExtendedPropagation(TreeEngine& engine, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode,
                      std::span<const LogFactor> factors = {}) noexcept
      : engine_(engine), equilibrium_(equilibrium), mode_(mode), factors_(factors) {}

  // `inconsistency_or_underflow` where the evidence is impossible; `fast_retraction` where zeros defeat that
  // mode; `error` where the host asks to stop. Stores nothing.
  tv_status_t collect(size_t root);

  // After `collect`: the mass of the root, times all factors that were taken out.
  WideNumber mass() const noexcept { return mass_; }

  // After `collect`: the message sent inwards through a separator, and for each of its members the stride in
  // that message, 0 for those that are no dimension under the present evidence.
  const WideArray& message(size_t separator) const noexcept { return inward_[separator].numbers; }
  int64_t exponent(size_t separator) const noexcept { return inward_[separator].exponent; }
  std::vector<size_t> strides(size_t separator) const;

  // After `distribute`: the message sent outwards, in the same form.
  const WideArray& outward_message(size_t separator) const noexcept { return outward_[separator].numbers; }

  // After `collect`: sends all messages outwards and stores what is asked for: the beliefs of the discrete
  // nodes; the tables of cliques and separators, in their present shapes, in which possible entries that no
  // normal number holds become the smallest one. `fast_retraction` as above.
  struct Results {
    bool beliefs = false, tables = false;
  };
  tv_status_t distribute(Results results);

 private:
  // A message: its numbers and the power of two that was taken out of them.
  struct Message {
    WideArray numbers;
    int64_t exponent = 0;
  };
  struct Visit {
    uint32_t clique;
    uint32_t link;  // towards the root
  };

  // A marginal of a clique that is needed.
  struct Marginal {
    WideArray totals;
    WideMap map;
    size_t link = kNone;         // of a message,
    const Node* node = nullptr;  // of a belief: its own findings are left out under fast retraction
  };

  const CliqueWork& work(size_t clique) const noexcept { return engine_.cliques[clique]; }
  bool retracts() const noexcept { return mode_ == tv_evidence_fast_retraction; }
  bool is_free(const Node& node) const noexcept;
  bool holds_finding(const Clique& clique, const Node& node) const noexcept;
  ExtendedClique clique_with_messages(const Visit& visit) const;
  Marginal message_of(const ExtendedClique& clique, size_t link) const;
  std::vector<Marginal> marginals_of(const ExtendedClique& clique, const Visit& visit, Results results) const;
  void run(ExtendedClique& clique, std::span<Marginal> marginals) const;
  int64_t exponent_of(const Visit& visit) const noexcept;

  void find_order(size_t root);
  tv_status_t send_inward(const Visit& visit);
  tv_status_t sum_root(const Visit& visit);
  tv_status_t send_outward(const Visit& visit, Results results);
  std::vector<bool> positive_numbers() const;
  tv_status_t check_zeros() const;

  tv_status_t store_belief(const Node& node, WideArray& totals) const noexcept;
  void store_numbers(const WideArray& totals, int64_t exponent, float* numbers) const noexcept;
  void store_certain_beliefs() const noexcept;

  TreeEngine& engine_;
  tv_equilibrium_t equilibrium_;
  tv_evidence_mode_t mode_;
  std::span<const LogFactor> factors_;
  bool ignores_findings_ = false;  // while the zeros of the tables themselves are looked for
  std::vector<Visit> order_;       // from the root outwards
  std::vector<Message> inward_;    // by position of the separator
  std::vector<Message> outward_;
  WideNumber mass_;
};

}  // namespace tv

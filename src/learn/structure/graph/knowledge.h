// What experts know about links, over the nodes that a structure is learned over, in the order of their
// names.
#pragma once

#include "api/status.h"
#include "learn/structure/graph/partial_graph.h"

namespace tv {

class Knowledge {
 public:
  Knowledge() = default;
  explicit Knowledge(size_t size) : may_lead_(size, true), must_join_(size) {}

  size_t size() const noexcept { return may_lead_.size(); }

  // A link between the two may lead from the one to the other.
  bool allows(size_t from, size_t to) const noexcept { return may_lead_.has(from, to); }
  bool allows_any(size_t a, size_t b) const noexcept { return allows(a, b) || allows(b, a); }
  // There must be a link between the two; where only one direction is allowed, it is the one required.
  bool requires_any(size_t a, size_t b) const noexcept { return must_join_.has(a, b); }
  bool requires_link(size_t from, size_t to) const noexcept {
    return requires_any(from, to) && !allows(to, from);
  }

  void forbid(size_t from, size_t to) noexcept { may_lead_.clear(from, to); }
  void require_any(size_t a, size_t b) noexcept {
    must_join_.set(a, b);
    must_join_.set(b, a);
  }

  // By node, where some have one (kNone: this one has none); links between tiers are forbidden already.
  // Nodes of a tier later than those of both of two nodes cannot be needed to separate them.
  std::vector<size_t> tiers;

 private:
  BitMatrix may_lead_, must_join_;
};

}  // namespace tv

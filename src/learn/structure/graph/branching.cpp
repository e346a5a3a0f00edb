// Maximum branchings (Chu & Liu 1965; Edmonds 1967). Each part of the graph takes its best incoming link; a
// cycle of such links becomes one part, and what a link into it is worth is counted less the link of the
// cycle that it would replace. In the end, parts are opened again from the outside in.
#include "learn/structure/graph/branching.h"

#include <algorithm>

#include "api/status.h"

namespace tv {
namespace {

// A node, or parts whose links close a cycle.
struct Part {
  std::vector<size_t> nodes;
  std::vector<size_t> members;      // parts; none of a single node
  size_t from = kNone, to = kNone;  // the link that it takes, between nodes; `from` is kNone for none
  BranchWeight value;               // of that link
  size_t whole = kNone;             // the part of which it is a member
  bool is_on_path = false, is_done = false;
};

class Contraction {
 public:
  Contraction(size_t size, const PossibleLinks& links) : links_(links), part_of_(size), paid_(size) {
    for (size_t v = 0; v < size; ++v) {
      parts_.emplace_back().nodes = {v};
      part_of_[v] = v;
    }
  }

  std::vector<size_t> run() {
    for (size_t v = 0; v < part_of_.size(); ++v) follow(part_of_[v]);
    return open_parts();
  }

 private:
  // From link to link back to where there is none, or to parts that such a path has gone through.
  void follow(size_t part) {
    std::vector<size_t> path;
    while (!parts_[part].is_done) {
      if (parts_[part].is_on_path) {
        part = contract(path, part);
        continue;
      }
      parts_[part].is_on_path = true;
      path.push_back(part);
      take_best_link(part);
      if (parts_[part].from == kNone) break;
      part = part_of_[parts_[part].from];
    }
    for (const size_t passed : path) parts_[passed].is_done = true;
  }

  void take_best_link(size_t part) {
    Part& taker = parts_[part];
    for (const size_t to : taker.nodes) {
      const BranchWeight none = BranchWeight() - paid_[to];
      if (taker.to == kNone || none > taker.value) {
        taker.value = none;
        taker.from = kNone;
        taker.to = to;
      }
      for (size_t from = 0; from < part_of_.size(); ++from) {
        BranchWeight weight;
        if (part_of_[from] == part || !links_(from, to, weight)) continue;
        const BranchWeight value = weight - paid_[to];
        if (value < taker.value || (value == taker.value && taker.from != kNone)) continue;
        taker.value = value;
        taker.from = from;
        taker.to = to;
      }
    }
  }

  // The end of the path from `first` on is a cycle.
  size_t contract(std::vector<size_t>& path, size_t first) {
    const size_t number = parts_.size();
    Part whole;
    const auto begin = std::find(path.begin(), path.end(), first);
    whole.members.assign(begin, path.end());
    path.erase(begin, path.end());
    for (const size_t member : whole.members) {
      parts_[member].whole = number;
      for (const size_t v : parts_[member].nodes) {
        whole.nodes.push_back(v);
        part_of_[v] = number;
        paid_[v] += parts_[member].value;
      }
    }
    std::sort(whole.nodes.begin(), whole.nodes.end());
    parts_.push_back(std::move(whole));
    return number;
  }

  std::vector<size_t> open_parts() const {
    std::vector<size_t> parents(part_of_.size(), kNone);
    std::vector<size_t> links_from(parts_.size(), kNone), links_to(parts_.size(), kNone);
    for (size_t p = parts_.size(); p-- > 0;) {  // wholes come behind their members
      const Part& part = parts_[p];
      const size_t from = part.whole == kNone ? part.from : links_from[p];
      const size_t to = part.whole == kNone ? part.to : links_to[p];
      if (part.members.empty()) parents[part.nodes[0]] = from;
      for (const size_t member : part.members) {
        const bool is_entered =
            std::binary_search(parts_[member].nodes.begin(), parts_[member].nodes.end(), to);
        links_from[member] = is_entered ? from : parts_[member].from;
        links_to[member] = is_entered ? to : parts_[member].to;
      }
    }
    return parents;
  }

  const PossibleLinks& links_;
  std::vector<Part> parts_;
  std::vector<size_t> part_of_;     // by node, the outermost one
  std::vector<BranchWeight> paid_;  // by node: the links of the cycles around it, which another would replace
};

}  // namespace

std::vector<size_t> heaviest_branching(size_t size, const PossibleLinks& links) {
  return Contraction(size, links).run();
}

}  // namespace tv

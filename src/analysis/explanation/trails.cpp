// A best-first search over the simple active paths that begin at the finding. The strength of a path never
// grows with its length, so that trails are met in the order of their strength.
#include "analysis/explanation/trails.h"

#include <algorithm>
#include <limits>
#include <queue>

#include "analysis/evidence_query.h"
#include "inference/evidence/evidence.h"

namespace tv {
namespace {

constexpr double kLeastStrength = 1e-10;  // nats: what rounding may feign
constexpr size_t kMaxPaths = 50000;       // that are begun

class TrailSearch {
 public:
  explicit TrailSearch(const TrailQuestion& question)
      : question_(question),
        is_known_(question.domain.node_count, false),
        is_known_below_(is_known_),
        distance_(question.domain.node_count, kNone) {
    mark_knowledge();
    measure_distances();
  }

  bool run(std::vector<tv_explanation_s::Trail>& trails) {
    begin(kNone, question_.from, Direction::up, std::numeric_limits<double>::infinity(), 0);
    while (!open_.empty()) {
      if (trails.size() == question_.count || paths_.size() >= kMaxPaths) return false;
      const size_t path = open_.top().path;
      open_.pop();
      if (paths_[path].node == &question_.to)
        trails.push_back(trail(path));
      else
        go_on(path);
    }
    return true;
  }

 private:
  enum class Direction { up, down, across };  // of the link by which a path has come to its last node

  struct Path {
    size_t before;  // without its last node
    Node* node;
    Direction direction;
    double strength;
    size_t length;
  };
  struct Open {
    double strength;
    size_t least_length;  // of a trail that begins with the path
    size_t path;
    bool operator<(const Open& other) const noexcept {  // the greatest is taken first
      if (strength != other.strength) return strength < other.strength;
      if (least_length != other.least_length) return least_length > other.least_length;
      return path > other.path;
    }
  };

  static size_t index(const Node& node) noexcept { return node.number - 1; }

  // What is known of the finding itself does not open or close anything.
  void mark_knowledge() {
    std::vector<const Node*> reached;
    for (const Node& node : question_.domain.nodes) {
      if (&node == &question_.from || !is_discrete_or_continuous(node)) continue;
      is_known_[index(node)] = is_observed(node);
      if (_tv_node_evidence_is_entered(node)) reached.push_back(&node);
    }
    while (!reached.empty()) {
      const Node& node = *reached.back();
      reached.pop_back();
      if (is_known_below_[index(node)]) continue;
      is_known_below_[index(node)] = true;
      reached.insert(reached.end(), node.parents.begin(), node.parents.end());
    }
  }

  template <class Visit>
  static void for_each_neighbor(const Node& node, Visit visit) {
    for (Node* parent : node.parents) visit(*parent, Direction::up);
    for (Node* neighbor : node.neighbors) visit(*neighbor, Direction::across);
    for (Node* child : node.children) visit(*child, Direction::down);
  }

  void measure_distances() {
    std::vector<const Node*> reached = {&question_.to};
    distance_[index(question_.to)] = 0;
    for (size_t i = 0; i < reached.size(); ++i)
      for_each_neighbor(*reached[i], [&](const Node& next, Direction) {
        if (distance_[index(next)] != kNone) return;
        distance_[index(next)] = distance_[index(*reached[i])] + 1;
        reached.push_back(&next);
      });
  }

  void begin(size_t before, Node& node, Direction direction, double strength, size_t length) {
    const double bound = std::min(strength, question_.strength[index(question_.to)]);
    if (!(bound > kLeastStrength)) return;
    open_.push({bound, length + distance_[index(node)], paths_.size()});
    paths_.push_back({before, &node, direction, strength, length});
  }

  // Whether a path may leave its last node in this direction.
  bool is_open(const Path& path, Direction next) const noexcept {
    if (path.before == kNone) return true;
    const bool is_collider = path.direction == Direction::down && next == Direction::up;
    return is_collider ? is_known_below_[index(*path.node)] : !is_known_[index(*path.node)];
  }

  bool holds(size_t path, const Node& node) const noexcept {
    for (; path != kNone; path = paths_[path].before)
      if (paths_[path].node == &node) return true;
    return false;
  }

  // Known nodes, which are colliders, have no strength of their own.
  double strength_of(const Node& node) const noexcept {
    return is_known_[index(node)] ? std::numeric_limits<double>::infinity() : question_.strength[index(node)];
  }

  void go_on(size_t path) {
    for_each_neighbor(*paths_[path].node, [&](Node& next, Direction direction) {
      const Path& last = paths_[path];
      if (!is_discrete_or_continuous(next) || distance_[index(next)] == kNone) return;
      if (!is_open(last, direction) || holds(path, next)) return;
      begin(path, next, direction, std::min(last.strength, strength_of(next)), last.length + 1);
    });
  }

  tv_explanation_s::Trail trail(size_t path) const {
    tv_explanation_s::Trail trail{{},
                                  std::min(paths_[path].strength, question_.strength[index(question_.to)])};
    for (; path != kNone; path = paths_[path].before) trail.nodes.push_back(paths_[path].node);
    std::reverse(trail.nodes.begin(), trail.nodes.end());
    return trail;
  }

  const TrailQuestion& question_;
  std::vector<bool> is_known_;        // by a state or a value; by node number - 1
  std::vector<bool> is_known_below_;  // there is evidence on the node or below it
  std::vector<size_t> distance_;      // in links, to the explained node
  std::vector<Path> paths_;
  std::priority_queue<Open> open_;
};

}  // namespace

bool find_trails(const TrailQuestion& question, std::vector<tv_explanation_s::Trail>& trails) {
  return TrailSearch(question).run(trails);
}

}  // namespace tv

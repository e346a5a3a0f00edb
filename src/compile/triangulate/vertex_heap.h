// Indexed binary heap of the vertices by their scores. Ties are left to it: it starts in vertex order and is
// made a heap from the back; an element moves only past one that it strictly beats, and of two equal
// children the second goes up.
#pragma once

#include <utility>

#include "compile/triangulate/vertex_graph.h"

namespace tv {

// The smaller one is better.
struct VertexScore {
  double first = 0.0, second = 0.0;

  bool operator<(const VertexScore& other) const noexcept {
    return first != other.first ? first < other.first : second < other.second;
  }
};

class VertexHeap {
 public:
  explicit VertexHeap(std::vector<VertexScore> scores)
      : scores_(std::move(scores)), heap_(scores_.size()), position_(scores_.size()) {
    for (Vertex v = 0; v < heap_.size(); ++v) heap_[v] = position_[v] = v;
    for (size_t i = heap_.size() / 2; i-- > 0;) sift_down(i);
  }

  bool empty() const noexcept { return heap_.empty(); }
  size_t size() const noexcept { return heap_.size(); }
  Vertex best() const noexcept { return heap_.front(); }

  void remove(Vertex v) noexcept {
    const size_t hole = position_[v];
    const Vertex last = heap_.back();
    heap_.pop_back();
    if (last == v) return;
    place(hole, last);
    update(last);
  }

  void clear() noexcept { heap_.clear(); }

  // A vertex keeps its place until it is updated.
  void set_score(Vertex v, const VertexScore& score) noexcept { scores_[v] = score; }
  void update(Vertex v) noexcept { sift_down(sift_up(position_[v])); }

 private:
  void place(size_t i, Vertex v) noexcept {
    heap_[i] = v;
    position_[v] = static_cast<Vertex>(i);
  }

  size_t sift_up(size_t i) noexcept {
    const Vertex v = heap_[i];
    const VertexScore score = scores_[v];
    while (i > 0 && score < scores_[heap_[(i - 1) / 2]]) {
      place(i, heap_[(i - 1) / 2]);
      i = (i - 1) / 2;
    }
    place(i, v);
    return i;
  }

  void sift_down(size_t i) noexcept {
    const Vertex v = heap_[i];
    const VertexScore score = scores_[v];
    for (size_t child = 2 * i + 1; child < heap_.size(); child = 2 * i + 1) {
      if (child + 1 < heap_.size() && !(scores_[heap_[child]] < scores_[heap_[child + 1]])) ++child;
      if (!(scores_[heap_[child]] < score)) break;
      place(i, heap_[child]);
      i = child;
    }
    place(i, v);
  }

  std::vector<VertexScore> scores_;  // by vertex
  std::vector<Vertex> heap_;
  std::vector<Vertex> position_;  // by vertex; meaningless once it is removed
};

}  // namespace tv

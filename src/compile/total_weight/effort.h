// How much work the search for cheap triangulations may do.
#pragma once

#include "compile/triangulate/elimination.h"

namespace tv {

class SearchEffort {
 public:
  // `vertices`: of all prime components that are not complete.
  SearchEffort(const Domain& domain, size_t vertices) noexcept;

  // Whether a component whose greedy triangulation costs so much is to be searched, and the work to be spent
  // on one with so many vertices and such a triangulation. What an earlier component has left is for the
  // others.
  bool is_worthwhile(double cost) const noexcept;
  size_t work_for(size_t vertices, double cost) noexcept;
  void give_back(size_t work) noexcept { left_ += work; }

 private:
  bool is_automatic_;
  size_t left_;           // work
  size_t vertices_left_;  // of the components to come
};

}  // namespace tv

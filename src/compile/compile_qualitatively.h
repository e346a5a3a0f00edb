// The qualitative half of compilation: from a domain to a forest of cliques without numbers.
#pragma once

#include "compile/triangulate/triangulate.h"

namespace tv {

inline bool has_participating_node(const Domain& domain) noexcept {
  return domain.counters.discrete + domain.counters.continuous > 0;
}

// Builds a forest aside; the domain receives it in the last step of `finish`, which cannot fail. The
// log is flushed when the work ends, in whatever way.
class QualitativeCompilation {
 public:
  explicit QualitativeCompilation(Domain& domain);
  ~QualitativeCompilation() { trace_.flush(); }
  QualitativeCompilation(const QualitativeCompilation&) = delete;
  QualitativeCompilation& operator=(const QualitativeCompilation&) = delete;

  Trace& trace() noexcept { return trace_; }
  Progress& progress() noexcept { return progress_; }
  Forest& forest() noexcept { return *forest_; }

  void moralize();
  tv_status_t finish(const Triangulation& triangulation);

 private:
  Domain& domain_;
  Trace trace_;
  Progress progress_;
  std::unique_ptr<Forest> forest_;
};

}  // namespace tv

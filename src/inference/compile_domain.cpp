// The quantitative half of compilation: tables, the check of the potentials, the first propagation and the
// report of the beliefs.

#include "api/boundary.h"
#include "inference/answers/potential_report.h"
#include "inference/answers/report_beliefs.h"
#include "inference/compress/compress_domain.h"
#include "inference/engine.h"
#include "inference/memory_need.h"
#include "inference/propagate.h"
#include "text/trace.h"

namespace tv {
namespace {

// Undirected links without numbers still connect their nodes in the joint distribution.
tv_status_t complete_chain_potentials(Domain& domain) {
  for (const ChainPotential& potential : domain.chain_potentials)
    if (tv_status_t status = allocate_table_data(*potential.table)) return status;
  return tv_status_none;
}

tv_status_t real_compile_quantitatively(Domain& domain, Trace& trace) {
  domain.compiled = true;
  domain.compressed = domain.zero_compression;
  domain.compiled_bytes = memory_needed(domain);
  if (tv_status_t status = create_engines(domain)) return status;
  if (trace.enabled()) {
    const tv_status_t status = inspect_all_potentials(domain, trace);
    if (status != tv_status_none && status != tv_status_invalid_probability_potential) return status;
  }
  if (tv_status_t status = propagate_state(own_state(domain), tv_equilibrium_sum, tv_evidence_normal))
    return status;
  if (trace.enabled())
    if (tv_status_t status = _tv_domain_report_beliefs(domain, trace)) return status;
  trace.flush();
  return trace.status();
}

// Undoes a failed compilation, also when memory ran out on the way.
class CompilationRollback {
 public:
  CompilationRollback(Domain& domain, bool triangulated_here) noexcept
      : domain_(domain), triangulated_here_(triangulated_here) {}
  ~CompilationRollback() {
    if (committed_ || !domain_.forest) return;
    if (domain_.compiled) destroy_engines(domain_);
    domain_.compiled = false;
    drop_compression(domain_);
    if (triangulated_here_) _tv_uncompile_domain_safely(domain_);
    if (domain_.log) std::fflush(domain_.log);
  }
  CompilationRollback(const CompilationRollback&) = delete;
  CompilationRollback& operator=(const CompilationRollback&) = delete;
  void commit() noexcept { committed_ = true; }

 private:
  Domain& domain_;
  bool triangulated_here_;
  bool committed_ = false;
};

tv_status_t compile_quantitatively(Domain& domain, bool triangulated_here) {
  if (tv_status_t status = complete_chain_potentials(domain)) return status;
  CompilationRollback rollback(domain, triangulated_here);
  Trace trace(domain);
  if (tv_status_t status = real_compile_quantitatively(domain, trace)) return status;
  rollback.commit();
  return tv_status_none;
}

tv_status_t compress_before_compilation(Domain& domain, bool triangulated_here) {
  CompilationRollback rollback(domain, triangulated_here);
  const tv_status_t status = prepare_compression(domain);
  rollback.commit();
  return status;
}

tv_status_t compile(Domain& domain) {
  if (domain.zero_compression)
    if (tv_status_t status = check_for_compression(domain)) return status;
  const bool triangulates = !is_triangulated(domain);
  if (triangulates)
    if (tv_status_t status = triangulate_as_asked(domain, tv_method_best_greedy)) return status;
  // The triangulation stays, also one made here: the host may look at it to see what to do.
  if (domain.zero_compression)
    if (tv_status_t status = compress_before_compilation(domain, triangulates)) return status;
  if (exceeds_memory_limit(domain)) {
    const tv_status_t status = refuse_for_memory(domain);
    drop_compression(domain);
    return status;
  }
  return compile_quantitatively(domain, triangulates);
}

tv_status_t refuse_compilation(const Domain* domain) noexcept {
  if (!domain) return store_status(tv_status_usage);
  return refuse(tv_status_usage, is_compiled(*domain) ? "the network is compiled already"
                                                      : "there is no discrete or continuous node to compile");
}

}  // namespace
}  // namespace tv

tv_status_t tv_domain_compile(tv_domain_t* domain) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain && domain->counters.discrete + domain->counters.continuous > 0 &&
                   !tv::is_compiled(*domain)))
      return tv::refuse_compilation(domain);
    return tv::compile(*domain);
  });
}

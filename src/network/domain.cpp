// Domains: deleting and copying them, and the settings that the host makes.
#include "network/domain.h"

#include <memory>
#include <utility>

#include "api/boundary.h"
#include "network/name_table.h"
#include "network/node_operations.h"
#include "tables/host_table.h"

tv_domain_s::tv_domain_s(const tv::Hooks& upper_layers)
    : hooks(&upper_layers), limid(nullptr, nullptr), forest(nullptr, nullptr) {}
tv_domain_s::~tv_domain_s() { tv::forget_domain(*this); }

namespace tv {
namespace {

// Null without a list; the nodes are discrete nodes of the domain, none of them twice.
tv_status_t set_required_instantiations(Domain& domain, Node* const* nodes) {
  if (domain.compressed) return refuse(tv_status_compressed, "compressed tables hold every state of a node");
  NodeList list;
  std::vector<bool> seen(domain.node_count, false);
  for (; nodes && *nodes; ++nodes) {
    const Node& node = **nodes;
    if (node.domain != &domain || !is_discrete(node) || seen[node.number - 1])
      return store_status(tv_status_usage);
    seen[node.number - 1] = true;
    list.push_back(*nodes);
  }
  for (Node* node : domain.required_instantiations) node->is_required = false;
  for (Node* node : list) node->is_required = true;
  domain.required_instantiations = std::move(list);
  return tv_status_none;
}

// The shape of every numeric setting: a domain, perhaps a value other than zero.
tv_status_t set_size(tv_domain_t* domain, size_t Domain::*setting, size_t value,
                     bool zero_is_valid) noexcept {
  if (!check(domain && (value > 0 || zero_is_valid))) return tv_status_usage;
  domain->*setting = value;
  return tv_status_none;
}

size_t get_size(const tv_domain_t* domain, size_t Domain::*setting) noexcept {
  return check(domain) ? domain->*setting : kNone;
}

}  // namespace

void _tv_uncompile_domain_safely(Domain& domain) noexcept {
  domain.compiled = domain.compressed = false;
  domain.forest.reset();
}

void _tv_domain_set_triangulation_parameters(Domain& domain, double log_weight, double fill_in,
                                             double exponent) noexcept {
  domain.separator_score = {log_weight, fill_in, exponent};
}

void structure_changed(Domain& domain) noexcept {
  _tv_uncompile_domain_safely(domain);
  domain.initial_triangulation.clear();
  domain.log_likelihood_is_valid = false;
  domain.limid.reset();
  domain.sample = {};
}

}  // namespace tv

tv_status_t tv_domain_delete(tv_domain_t* domain) {
  if (!tv::check(domain)) return tv_status_usage;
  delete domain;
  return tv_status_none;
}

tv_domain_t* tv_domain_clone(tv_domain_t* domain) {
  return tv::guarded(static_cast<tv_domain_t*>(nullptr), [&]() -> tv_domain_t* {
    return tv::check(domain) ? tv::clone_domain(*domain).release() : nullptr;
  });
}

size_t tv_domain_get_number_of_nodes(const tv_domain_t* domain) {
  return tv::get_size(domain, &tv::Domain::node_count);
}

const char* tv_domain_get_file_name(const tv_domain_t* domain) {
  return tv::check(domain) && !domain->file_name.empty() ? domain->file_name.c_str() : nullptr;
}

tv_status_t tv_domain_set_log_file(tv_domain_t* domain, FILE* stream) {
  if (!tv::check(domain)) return tv_status_usage;
  domain->log = stream;
  return tv_status_none;
}

tv_status_t tv_domain_set_user_data(tv_domain_t* domain, void* data) {
  if (!tv::check(domain)) return tv_status_usage;
  domain->user_data = data;
  return tv_status_none;
}

void* tv_domain_get_user_data(const tv_domain_t* domain) {
  return tv::check(domain) ? domain->user_data : nullptr;
}

tv_status_t tv_domain_set_progress_handler(tv_domain_t* domain, tv_progress_handler_t handler,
                                           void* handler_data) {
  if (!tv::check(domain)) return tv_status_usage;
  domain->progress_handler = handler;
  domain->progress_data = handler_data;
  return tv_status_none;
}

tv_status_t tv_domain_set_node_size(tv_domain_t* domain, size_t width, size_t height) {
  if (!tv::check(domain && width != tv::kNone && height != tv::kNone)) return tv_status_usage;
  domain->node_width = width;
  domain->node_height = height;
  return tv_status_none;
}

tv_status_t tv_domain_get_node_size(const tv_domain_t* domain, size_t* width, size_t* height) {
  if (!tv::check(domain && width && height)) return tv_status_usage;
  *width = domain->node_width;
  *height = domain->node_height;
  return tv_status_none;
}

tv_status_t tv_domain_set_ijt_nodes(tv_domain_t* domain, tv_node_t** nodes) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain)) return tv_status_usage;
    return tv::set_required_instantiations(*domain, nodes);
  });
}

tv_status_t tv_domain_set_grain_size(tv_domain_t* domain, size_t size) {
  return tv::set_size(domain, &tv::Domain::grain_size, size, false);
}

size_t tv_domain_get_grain_size(const tv_domain_t* domain) {
  return tv::get_size(domain, &tv::Domain::grain_size);
}

tv_status_t tv_domain_set_concurrency_level(tv_domain_t* domain, size_t level) {
  return tv::set_size(domain, &tv::Domain::concurrency_level, level, false);
}

size_t tv_domain_get_concurrency_level(const tv_domain_t* domain) {
  return tv::get_size(domain, &tv::Domain::concurrency_level);
}

tv_status_t tv_domain_set_em_concurrency_level(tv_domain_t* domain, size_t level) {
  return tv::set_size(domain, &tv::Domain::em_concurrency_level, level, false);
}

size_t tv_domain_get_em_concurrency_level(const tv_domain_t* domain) {
  return tv::get_size(domain, &tv::Domain::em_concurrency_level);
}

tv_status_t tv_domain_set_max_number_of_em_iterations(tv_domain_t* domain, size_t count) {
  return tv::set_size(domain, &tv::Domain::max_em_iterations, count, true);
}

size_t tv_domain_get_max_number_of_em_iterations(const tv_domain_t* domain) {
  return tv::get_size(domain, &tv::Domain::max_em_iterations);
}

tv_status_t tv_domain_set_log_likelihood_tolerance(tv_domain_t* domain, double tolerance) {
  if (!tv::check(domain && tolerance >= 0.0)) return tv_status_usage;
  domain->log_likelihood_tolerance = tolerance;
  return tv_status_none;
}

double tv_domain_get_log_likelihood_tolerance(const tv_domain_t* domain) {
  return tv::check(domain) ? domain->log_likelihood_tolerance : -1.0;
}

tv_status_t tv_domain_set_max_number_of_separators(tv_domain_t* domain, size_t count) {
  return tv::set_size(domain, &tv::Domain::max_number_of_separators, count, true);
}

size_t tv_domain_get_max_number_of_separators(const tv_domain_t* domain) {
  return tv::get_size(domain, &tv::Domain::max_number_of_separators);
}

tv_status_t tv_domain_set_max_separator_size(tv_domain_t* domain, size_t size) {
  return tv::set_size(domain, &tv::Domain::max_separator_size, size, true);
}

size_t tv_domain_get_max_separator_size(const tv_domain_t* domain) {
  return tv::get_size(domain, &tv::Domain::max_separator_size);
}

tv_status_t tv_domain_set_triangulation_effort(tv_domain_t* domain, size_t effort) {
  return tv::set_size(domain, &tv::Domain::triangulation_effort, effort, true);
}

size_t tv_domain_get_triangulation_effort(const tv_domain_t* domain) {
  return tv::get_size(domain, &tv::Domain::triangulation_effort);
}

tv_status_t tv_domain_set_zero_compression(tv_domain_t* domain, int on) {
  if (!tv::check(domain)) return tv_status_usage;
  domain->zero_compression = on != 0;
  return tv_status_none;
}

int tv_domain_get_zero_compression(const tv_domain_t* domain) {
  return tv::check(domain) ? domain->zero_compression : -1;
}

tv_status_t tv_domain_set_memory_limit(tv_domain_t* domain, size_t bytes) {
  return tv::set_size(domain, &tv::Domain::memory_limit, bytes, true);
}

size_t tv_domain_get_memory_limit(const tv_domain_t* domain) {
  return tv::get_size(domain, &tv::Domain::memory_limit);
}

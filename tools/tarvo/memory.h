// How much memory a command may use, and what it says when that is not enough.
#pragma once

#include <optional>
#include <string>

#include "network.h"

namespace program {

// "1536", "512K", "3.5G": bytes, with K, M, G and T for powers of 1024. Nothing when it is no such text.
std::optional<size_t> parse_memory_size(const std::string& text);

// "17 bytes", "1.5 KiB" ...; "HUGE" for all ones, which stands for a size that does not fit.
std::string memory_text(size_t bytes);

// How far the triangulated domain is from a tree: the members of its largest clique, less one.
size_t treewidth(tv_domain_t* domain);

// What commands allow themselves unless they are told otherwise; 0, no limit, where that is not known.
size_t four_fifths_of_physical_memory();

// Compiles the network, which may be triangulated, under a memory limit in bytes (0 for none).
tv_status_t compile_within_limit(const Network& network, size_t limit);

// Ends the command after a compilation that failed with `status`, and explains it where the limit was the
// reason. The method is the one of the triangulation.
[[noreturn]] void fail_to_compile(const Network& network, tv_status_t status, const std::string& method);

}  // namespace program

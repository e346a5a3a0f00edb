// How much memory a command may use, and what it says when that is not enough.
#pragma once

#include <optional>
#include <string>

#include "network.h"

namespace program {

// "1536", "512K", "3.5G": bytes, with K, M, G and T for powers of 1024. Nothing when it is no such text.
std::optional<size_t> parse_memory_size(const std::string& text);

// Stands for a size that does not fit.
inline constexpr size_t kTooLarge = static_cast<size_t>(-1);

// "17 bytes", "1.5 KiB" ...; "HUGE" for what is too large.
std::string memory_text(size_t bytes);

// The limit for a command that was given `text`: four fifths of what there is where that is empty. In bytes,
// 0 for none.
size_t memory_limit_of(const std::string& text);

// From here on allocations fail that would take the process well beyond the limit, whoever asks for them.
void enforce_memory_limit(size_t limit);

// How many numbers a node's own table has, as a double: a product of many state counts passes any integer.
double table_numbers(tv_node_t* node);

// Ends the command when the tables of these nodes pass the limit, and names the largest of them. `copies` is
// how many bytes are needed for each number beside its own four, and `beside` how many for other things.
void expect_to_fit(const Network& network, const std::vector<tv_node_t*>& nodes, double copies = 0,
                   size_t beside = 0);

// How far the triangulated domain is from a tree: the members of its largest clique, less one.
size_t treewidth(tv_domain_t* domain);

// Ends the command after a compilation that failed with `status`, and explains it where the limit was the
// reason. The method is the one of the triangulation.
[[noreturn]] void fail_to_compile(const Network& network, tv_status_t status, const std::string& method);

}  // namespace program

// The one fault harness. It stands under the library in this executable: operator new in all its
// forms, and by the linker's --wrap the calls of malloc, realloc, calloc, free and pthread_create
// that the objects linked here make themselves.
#pragma once

#include <cstdio>
#include <string>

namespace test {

enum class Fault { allocation, thread_start };

// From now on the n-th request (from 0) fails, and if persistent, all that follow.
void arm(Fault fault, long n, bool persistent) noexcept;
void disarm() noexcept;
long requests_seen() noexcept;      // since the last arm
size_t bytes_requested() noexcept;  // from operator new, likewise
bool fault_struck() noexcept;       // since the last arm
long live_blocks() noexcept;        // allocated and not freed, in the whole process

// A stream whose device is full after `room` bytes; what was written stays in `written`.
std::FILE* open_limited_stream(size_t room, bool buffered, std::string& written);

}  // namespace test

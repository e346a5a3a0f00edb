// What the program needs of MPI. The calls stand in a module of their own, which is loaded only in a process
// that mpirun has started: linking MPI would make every start of the program slower.
#pragma once

#include <cstddef>

namespace program {

struct MpiCalls {
  void (*start)(int& rank, int& size);
  void (*send)(int to, const void* data, size_t size);
  void (*receive)(int from, void* data, size_t size);
  void (*broadcast)(void* data, size_t size);  // from the first rank to all others
  void (*finish)();
  void (*abort)(int code);
};

inline constexpr const char* kMpiModule = "tarvo_mpi.so";
inline constexpr const char* kMpiCalls = "tarvo_mpi_calls";

}  // namespace program

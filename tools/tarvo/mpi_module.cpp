// The module that calls MPI. Whatever fails in MPI ends all ranks: that is its default.
#include <mpi.h>

#include <algorithm>

#include "mpi_calls.h"

namespace {

// Calls `move` for pieces whose sizes MPI can count.
template <class Byte, class Move>
void in_pieces(Byte* bytes, size_t size, Move move) {
  constexpr size_t kMost = size_t{1} << 30;
  for (size_t done = 0; done < size;) {
    const size_t piece = std::min(kMost, size - done);
    move(bytes + done, static_cast<int>(piece));
    done += piece;
  }
}

void start(int& rank, int& size) {
  int provided = 0;
  MPI_Init_thread(nullptr, nullptr, MPI_THREAD_FUNNELED, &provided);
  MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  MPI_Comm_size(MPI_COMM_WORLD, &size);
}

void send(int to, const void* data, size_t size) {
  in_pieces(static_cast<const char*>(data), size,
            [to](const char* bytes, int count) { MPI_Send(bytes, count, MPI_BYTE, to, 0, MPI_COMM_WORLD); });
}

void receive(int from, void* data, size_t size) {
  in_pieces(static_cast<char*>(data), size, [from](char* bytes, int count) {
    MPI_Recv(bytes, count, MPI_BYTE, from, 0, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
  });
}

void broadcast(void* data, size_t size) {
  in_pieces(static_cast<char*>(data), size,
            [](char* bytes, int count) { MPI_Bcast(bytes, count, MPI_BYTE, 0, MPI_COMM_WORLD); });
}

void finish() { MPI_Finalize(); }
void abort_all(int code) { MPI_Abort(MPI_COMM_WORLD, code); }

}  // namespace

extern "C" [[gnu::visibility("default")]] const program::MpiCalls tarvo_mpi_calls;
const program::MpiCalls tarvo_mpi_calls = {start, send, receive, broadcast, finish, abort_all};

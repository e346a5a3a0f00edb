#include "row_messages.h"

#include <cstdint>

#include "files.h"
#include "ranks.h"

namespace program {
namespace {

constexpr size_t kMostMessages = 20;

}  // namespace

RowMessages::RowMessages(const std::string& file, Positions positions, const RowRange* rows)
    : file_(shown_file(file)), positions_(positions), rows_(rows) {}

std::string RowMessages::place_of(size_t position) const {
  if (positions_ == kRows) return ": row " + std::to_string((rows_ ? rows_->first : 0) + position + 1) + ", ";
  const std::string column = tv_error_line() == position ? ":" + std::to_string(tv_error_column()) : "";
  if (rows_ && position > rows_->header_lines) position += rows_->skipped_lines;
  return ":" + std::to_string(position) + column + ": ";
}

void RowMessages::tell(size_t position, const char* message, void* data) {
  RowMessages& messages = *static_cast<RowMessages*>(data);
  Ranks& ranks = Ranks::of_this_run();
  const bool is_column = position == SIZE_MAX;  // then all ranks see it
  if (++messages.count_ > kMostMessages || (is_column && !ranks.is_first())) return;
  ranks.tell(messages.file_ + (is_column ? ": " : messages.place_of(position)) + message);
}

void RowMessages::end(tv_status_t status, const Network& network, bool is_lenient) const {
  if (count_ > kMostMessages)
    Ranks::of_this_run().tell(file_ + ": " + std::to_string(count_ - kMostMessages) + " more of the kind");
  if (status && count_)
    throw Failure(kFailed, file_ + " does not fit " + network.file() +
                               (is_lenient ? "" : "; --lenient leaves out what no node has a state for"));
}

}  // namespace program

#include "text/output.h"

#include <algorithm>
#include <cstring>

#include "api/memory.h"
#include "text/number_text.h"

namespace tv {
namespace {

constexpr size_t kFirstCapacity = 4000;
constexpr size_t kStreamCapacity = size_t{1} << 16;

}  // namespace

OutputSink::~OutputSink() { _tv_shrink(buffer_, 0); }

// A string doubles, or becomes as large as it must.
bool OutputSink::grow(size_t needed) noexcept {
  size_t capacity = capacity_ ? size_multiply(capacity_, 2) : stream_ ? kStreamCapacity : kFirstCapacity;
  capacity = std::max(capacity, needed);
  char* larger = static_cast<char*>(_tv_reallocate(buffer_, capacity));
  if (!larger) {
    status_ = tv_status_no_memory;
    return false;
  }
  buffer_ = larger;
  capacity_ = capacity;
  return true;
}

void OutputSink::flush() noexcept {
  if (used_ > 0 && !status_ && std::fwrite(buffer_, 1, used_, stream_) != used_) status_ = tv_status_io;
  used_ = 0;
}

char* OutputSink::room(size_t count) noexcept {
  if (status_) return nullptr;
  const size_t wanted = size_add(count, 1);  // with the null character behind the text
  if (wanted > capacity_ - used_ && stream_) {
    flush();
    if (status_) return nullptr;
  }
  if (wanted > capacity_ - used_ && !grow(size_add(used_, wanted))) return nullptr;
  return buffer_ + used_;
}

void OutputSink::text(std::string_view text) noexcept {
  char* const to = room(text.size());
  if (!to) return;
  std::memcpy(to, text.data(), text.size());
  used_ += text.size();
}

void OutputSink::blanks(size_t count) noexcept {
  char* const to = room(count);
  if (!to) return;
  std::memset(to, ' ', count);
  used_ += count;
}

void OutputSink::table_number(tv_number_t number) noexcept {
  char* const to = room(kNumberRoom);
  if (to) used_ += static_cast<size_t>(write_six_digits(to, static_cast<double>(number)) - to);
}

void OutputSink::number(double number, int precision) noexcept {
  char* const to = room(kNumberRoom);
  if (to) used_ += static_cast<size_t>(write_digits(to, number, precision) - to);
}

// What the stream still holds must arrive, too: a full device is often noticed no earlier than then.
tv_status_t OutputSink::finish() noexcept {
  if (stream_) flush();
  if (stream_ && !status_ && std::fflush(stream_) != 0) status_ = tv_status_io;
  return status_;
}

char* OutputSink::release() noexcept {
  char* const end = room(0);
  if (!end) return nullptr;
  *end = '\0';
  char* const text = static_cast<char*>(_tv_shrink(buffer_, used_ + 1));
  buffer_ = nullptr;
  used_ = capacity_ = 0;
  return text;
}

}  // namespace tv

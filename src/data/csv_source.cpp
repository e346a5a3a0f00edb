#include "data/csv_source.h"

#include <zlib.h>

#include <algorithm>
#include <climits>
#include <new>

#include "api/memory.h"

namespace tv {
namespace {

constexpr std::string_view kMagic = "\x1F\x8B";
constexpr size_t kWindow = size_t{1} << 16;

}  // namespace

// One gzip member after another, as one text.
class GzipReader {
 public:
  explicit GzipReader(std::FILE* stream) : stream_(stream), input_(std::make_unique<Bytef[]>(kWindow)) {
    state_.zalloc = allocate;
    state_.zfree = release;
    if (inflateInit2(&state_, 16 + MAX_WBITS) != Z_OK) throw std::bad_alloc();
  }
  ~GzipReader() { inflateEnd(&state_); }
  GzipReader(const GzipReader&) = delete;
  GzipReader& operator=(const GzipReader&) = delete;

  // Bytes that have been read from the stream to see what it is.
  void put_back(std::string_view bytes) noexcept {
    std::copy(bytes.begin(), bytes.end(), input_.get());
    state_.next_in = input_.get();
    state_.avail_in = static_cast<uInt>(bytes.size());
  }

  // Null, or what is wrong with the compressed text.
  const char* read(char* to, size_t room, size_t& count) {
    count = 0;
    while (count < room && !is_done_) {
      if (state_.avail_in == 0) refill();
      state_.next_out = reinterpret_cast<Bytef*>(to + count);
      state_.avail_out = static_cast<uInt>(std::min<size_t>(room - count, UINT_MAX));
      const uInt before = state_.avail_out;
      const int outcome = inflate(&state_, Z_NO_FLUSH);
      count += before - state_.avail_out;
      if (outcome == Z_MEM_ERROR) throw std::bad_alloc();
      if (outcome == Z_STREAM_END) {
        begin_member();
      } else if (outcome == Z_BUF_ERROR && state_.avail_in == 0) {
        return std::ferror(stream_) ? nullptr : "the compressed text is cut off";
      } else if (outcome != Z_OK) {
        return "the compressed text is damaged";
      }
    }
    return nullptr;
  }

 private:
  static void* allocate(void*, uInt count, uInt size) { return _tv_allocate(size_multiply(count, size)); }
  static void release(void*, void* block) { _tv_shrink(block, 0); }

  void refill() noexcept {
    state_.next_in = input_.get();
    state_.avail_in = static_cast<uInt>(std::fread(input_.get(), 1, kWindow, stream_));
  }

  // Behind the end of one: the text is over, or another one begins.
  void begin_member() noexcept {
    if (state_.avail_in == 0) refill();
    is_done_ = state_.avail_in == 0;
    inflateReset(&state_);
  }

  std::FILE* stream_;
  std::unique_ptr<Bytef[]> input_;
  z_stream state_{};
  bool is_done_ = false;
};

CsvSource::CsvSource(std::string_view text) noexcept : text_(text), has_begun_(true) {}
CsvSource::CsvSource(std::FILE* stream) noexcept : stream_(stream) {}
CsvSource::~CsvSource() = default;

size_t CsvSource::read_stream(char* to, size_t room) noexcept {
  const size_t count = std::fread(to, 1, room, stream_);
  if (count < room && std::ferror(stream_)) status_ = tv_status_io;
  return count;
}

// The first bytes tell whether the stream is compressed.
void CsvSource::begin() {
  has_begun_ = true;
  text_ = {first_, read_stream(first_, sizeof first_)};
  if (text_ != kMagic) return;
  gzip_ = std::make_unique<GzipReader>(stream_);
  gzip_->put_back(text_);
}

size_t CsvSource::read(char* to, size_t room) {
  if (!has_begun_) begin();
  if (status_) return 0;
  size_t count = 0;
  if (gzip_) {
    message_ = gzip_->read(to, room, count);
    status_ = message_ ? tv_status_parse : std::ferror(stream_) ? tv_status_io : tv_status_none;
    return count;
  }
  count = std::min(room, text_.size());
  std::copy_n(text_.data(), count, to);
  text_.remove_prefix(count);
  return stream_ ? count + read_stream(to + count, room - count) : count;
}

}  // namespace tv

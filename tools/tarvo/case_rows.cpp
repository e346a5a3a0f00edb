#include "case_rows.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "failure.h"

namespace program {
namespace {

using GzFile = std::unique_ptr<gzFile_s, int (*)(gzFile)>;

GzFile open_file(const std::string& file) {
  errno = 0;
  GzFile stream(gzopen(file.c_str(), "rb"), gzclose);
  if (!stream) throw Failure(kFailed, file + ": " + std::strerror(errno ? errno : ENOMEM));
  gzbuffer(stream.get(), 1 << 18);
  return stream;
}

[[noreturn]] void fail_for(gzFile stream, const std::string& file) {
  int code = 0;
  const std::string words = gzerror(stream, &code);
  throw Failure(kFailed, file + ": " + (code == Z_ERRNO ? std::strerror(errno) : words));
}

// Takes the text piece by piece.
class RowFinder {
 public:
  RowFinder(char separator, uint64_t rows_of_block) : separator_(separator), rows_of_block_(rows_of_block) {
    for (const char mark : {'"', '\n', '\r', separator}) is_mark_[static_cast<unsigned char>(mark)] = true;
  }

  void take(const char* text, size_t size) {
    for (size_t i = 0; i < size; ++i) {
      const char c = text[i];
      if (is_mark_[static_cast<unsigned char>(c)])
        take_mark(c, offset_ + i);
      else
        is_empty_ = false;
      before_ = c;
    }
    offset_ += size;
  }

  // The byte order mark is part of no line.
  void skip(size_t size) { line_.offset = offset_ += size; }

  RowIndex finish() {
    if (!is_empty_) end_line(offset_);
    if (!has_header_) index_.begin = line_;
    return std::move(index_);
  }

 private:
  void take_mark(char c, uint64_t at) {
    const bool ends_line = c == '\n' || c == '\r';
    const bool continues_end = c == '\n' && before_ == '\r';
    lines_ += ends_line && !continues_end;
    if (is_quoted_ || !ends_line) {
      is_empty_ = false;
      if (c == '"') is_quoted_ = !is_quoted_;
      if (c == separator_ && !is_quoted_ && !has_header_) has_columns_ = true;
      return;
    }
    if (continues_end && is_empty_)
      line_ = {at + 1, lines_};
    else
      end_line(at + 1);
  }

  // A line without anything is a row only where there is just one column.
  void end_line(uint64_t behind) {
    const bool counts = !is_empty_ || (has_header_ && !has_columns_);
    if (counts && !has_header_) {
      has_header_ = true;
      index_.begin = {behind, lines_};
    } else if (counts) {
      if (index_.rows % rows_of_block_ == 0) index_.blocks.push_back(line_);
      ++index_.rows;
    }
    line_ = {behind, lines_};
    is_empty_ = true;
  }

  const char separator_;
  const uint64_t rows_of_block_;
  std::array<bool, 256> is_mark_{};
  RowIndex index_;
  uint64_t offset_ = 0, lines_ = 0;
  RowIndex::Place line_;  // where the present one begins
  char before_ = '\0';
  bool is_quoted_ = false, is_empty_ = true;
  bool has_header_ = false, has_columns_ = false;
};

// A stream of two pieces of a file.
struct Pieces {
  GzFile file;
  RowRange range;
  uint64_t at = 0;

  ssize_t read(char* to, size_t room) {
    if (at == range.header_end) {
      at = std::max(range.begin, at);
      if (gzseek(file.get(), static_cast<z_off_t>(at), SEEK_SET) < 0) return -1;
    }
    const uint64_t end = at < range.header_end ? range.header_end : range.end;
    const auto wanted = static_cast<unsigned>(std::min<uint64_t>({room, end - std::min(at, end), 1U << 20}));
    const int got = gzread(file.get(), to, wanted);
    if (got > 0) at += static_cast<uint64_t>(got);
    return got;
  }
};

}  // namespace

std::string RowIndex::to_bytes() const {
  std::vector<uint64_t> words = {rows, begin.offset, begin.line};
  for (const Place& place : blocks) words.insert(words.end(), {place.offset, place.line});
  return {reinterpret_cast<const char*>(words.data()), words.size() * sizeof words[0]};
}

RowIndex RowIndex::from_bytes(const std::string& bytes) {
  std::vector<uint64_t> words(bytes.size() / sizeof(uint64_t));
  std::memcpy(words.data(), bytes.data(), words.size() * sizeof words[0]);
  RowIndex index;
  index.rows = words[0];
  index.begin = {words[1], words[2]};
  for (size_t i = 3; i + 1 < words.size(); i += 2) index.blocks.push_back({words[i], words[i + 1]});
  return index;
}

RowIndex index_rows(const std::string& file, char separator, uint64_t rows_of_block) {
  const GzFile stream = open_file(file);
  RowFinder finder(separator, rows_of_block);
  std::vector<char> window(1 << 18);
  bool is_start = true;
  for (int size; (size = gzread(stream.get(), window.data(), static_cast<unsigned>(window.size()))) != 0;) {
    if (size < 0) fail_for(stream.get(), file);
    const bool has_mark = is_start && size >= 3 && std::memcmp(window.data(), "\xEF\xBB\xBF", 3) == 0;
    if (has_mark) finder.skip(3);
    is_start = false;
    finder.take(window.data() + (has_mark ? 3 : 0), static_cast<size_t>(size) - (has_mark ? 3 : 0));
  }
  int code = 0;
  gzerror(stream.get(), &code);
  if (code < 0) fail_for(stream.get(), file);
  return finder.finish();
}

RowRange rows_of_rank(const RowIndex& index, uint64_t rows_of_block, size_t rank, size_t size) {
  const auto block_of = [&](size_t r) { return index.blocks.size() * r / size; };
  const uint64_t from = block_of(rank), to = block_of(rank + 1);
  const uint64_t first = std::min(from * rows_of_block, index.rows);
  RowRange range{
      first, std::min(to * rows_of_block, index.rows) - first, 0, 0, index.begin.offset, index.begin.line, 0};
  if (from == to) return range;
  range.begin = index.blocks[from].offset;
  range.end = to < index.blocks.size() ? index.blocks[to].offset : UINT64_MAX;
  range.skipped_lines = index.blocks[from].line - index.begin.line;
  return range;
}

StreamOwner open_rows(const std::string& file, const RowRange& range) {
  auto pieces = std::make_unique<Pieces>(Pieces{open_file(file), range});
  const cookie_io_functions_t calls = {
      [](void* data, char* to, size_t room) { return static_cast<Pieces*>(data)->read(to, room); }, nullptr,
      nullptr,
      [](void* data) {
        delete static_cast<Pieces*>(data);
        return 0;
      }};
  StreamOwner stream(fopencookie(pieces.get(), "r", calls), std::fclose);
  if (!stream) throw Failure(kFailed, file + ": " + std::strerror(errno));
  pieces.release();
  return stream;
}

}  // namespace program

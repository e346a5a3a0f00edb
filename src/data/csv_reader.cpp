// The text is looked at through a window, which always holds the whole of the cell that is being read: it
// moves on from there, and grows if a cell does not fit.

#include "data/csv_reader.h"

#include <algorithm>
#include <unordered_set>

#include "api/boundary.h"
#include "api/text_place.h"
#include "data/column_writer.h"
#include "data/csv_marks.h"

namespace tv {
namespace {

class CsvReader {
 public:
  CsvReader(CsvSource& source, char separator, DataSet& data, MessageHandler handler, size_t window) noexcept
      : source_(source),
        separator_(separator),
        data_(data),
        handler_(handler),
        first_window_(window),
        window_(CountedAllocator<char>(*data.budget)),
        codes_(CountedAllocator<Code>(*data.budget)),
        recent_(CountedAllocator<RecentItem>(*data.budget)),
        writers_(CountedAllocator<ColumnWriter>(*data.budget)) {
    last_place = {};
  }

  // Until about so many rows have been handed over; kNone for all.
  tv_status_t read(size_t most_rows);
  bool is_at_end() const noexcept { return is_at_end_; }
  const std::vector<size_t>& lines() const noexcept { return lines_; }
  void forget_rows();
  tv_status_t tell(const char* message) noexcept;  // where it stands; gives `parse`

 private:
  // ---- The window ----

  bool refill();
  void move_window();
  void seek(size_t offset) noexcept {
    next_block_ = offset;
    marks_ = 0;
  }
  bool next_mark(size_t& at) noexcept;
  std::string_view text_of(size_t from, size_t to) const noexcept {
    return {window_.data() + from, to - from};
  }

  // ---- Cells and rows; all give false after a failure ----

  void begin();
  bool take_mark(size_t at);
  bool read_quoted();
  bool find_closing_quote(size_t& length, bool& has_doubled);
  bool end_quoted(size_t at);
  bool end_cell(size_t at);
  bool end_line(size_t at);
  bool end_row(size_t at);
  bool add_name(std::string_view name);
  bool check_place(size_t at);
  bool check_text(std::string_view text, size_t first);
  void count_lines(size_t from, size_t to) noexcept;
  void begin_line(size_t behind, char ended_by) noexcept;
  void make_writers();
  void flush();
  bool finish();

  bool fail(size_t offset, const std::string& message) noexcept;
  bool fail_source() noexcept;

  CsvSource& source_;
  const char separator_;
  DataSet& data_;
  const MessageHandler handler_;
  const size_t first_window_;
  tv_status_t status_ = tv_status_none;

  CountedVector<char> window_;  // with readable bytes behind the last
  size_t end_ = 0;              // of what has been read into it
  size_t cell_ = 0;             // where the present cell begins
  size_t block_ = 0, next_block_ = 0;
  uint64_t marks_ = 0;  // of the block, those that have not been taken

  size_t line_ = 1, row_line_ = 1;  // the latter is that in which the present row begins
  ptrdiff_t line_begin_ = 0;        // from the window's first byte
  bool after_return_ = false;       // a line feed that comes first belongs to the line end before it
  bool is_cell_taken_ = false;      // the last cell was quoted and nothing has followed it

  bool has_begun_ = false, is_paused_ = false, is_at_end_ = false;
  size_t most_rows_ = kNone;  // to be handed over before a pause
  std::vector<size_t>
      lines_;  // by row handed over: where it begins; not kept where all rows are read at once
  bool is_header_ = true;
  std::unordered_set<std::string> names_;
  size_t column_ = 0;        // of the present cell
  size_t row_ = 0;           // of those that wait to be handed over
  size_t waiting_rows_ = 1;  // at most
  CountedVector<Code> codes_;
  CountedVector<RecentItem> recent_;
  CountedVector<ColumnWriter> writers_;
};

constexpr size_t kReadable = std::max(kMarkBlock, ColumnWriter::kReadable);

// ---- The window ----

void CsvReader::move_window() {
  const size_t kept = end_ - cell_;
  if (cell_ > 0) std::memmove(window_.data(), window_.data() + cell_, kept);
  line_begin_ -= static_cast<ptrdiff_t>(cell_);
  cell_ = 0;
  end_ = kept;
  if (window_.size() < end_ + kReadable + 1)
    window_.resize(size_add(std::max(first_window_, size_multiply(end_, 2)), kReadable));
}

// More behind what is there. False at the end of the text.
bool CsvReader::refill() {
  move_window();
  const size_t before = end_;
  end_ += source_.read(window_.data() + end_, window_.size() - kReadable - end_);
  seek(before);
  return end_ > before;
}

bool CsvReader::next_mark(size_t& at) noexcept {
  while (marks_ == 0) {
    if (next_block_ >= end_) return false;
    block_ = next_block_;
    next_block_ += kMarkBlock;
    marks_ = csv_marks(window_.data() + block_, separator_);
    if (next_block_ > end_) marks_ &= ~(~uint64_t{0} << (end_ - block_));
  }
  at = block_ + static_cast<size_t>(std::countr_zero(marks_));
  marks_ &= marks_ - 1;
  return true;
}

// ---- Cells and rows ----

void CsvReader::begin() {
  constexpr size_t kMarkLength = 3;
  while (end_ < kMarkLength && refill()) continue;
  cell_ = end_ - without_byte_order_mark(text_of(0, end_)).size();
  line_begin_ = static_cast<ptrdiff_t>(cell_);
  seek(cell_);
  has_begun_ = true;
}

tv_status_t CsvReader::read(size_t most_rows) {
  most_rows_ = most_rows;
  is_paused_ = false;
  if (!has_begun_) begin();
  do {
    for (size_t at; next_mark(at);) {
      if (!take_mark(at)) return status_;
      if (is_paused_) return tv_status_none;
    }
  } while (refill());
  if (source_.status() ? fail_source() : finish()) is_at_end_ = true;
  if (is_at_end_ && most_rows_ == kNone)
    for (const auto& column : data_.columns) {
      column->codes.shrink();
      column->items.seal();
    }
  return status_;
}

// Items stay, for rows like those before them, as long as they are not too many.
void CsvReader::forget_rows() {
  lines_.clear();
  for (const auto& column : data_.columns) {
    column->codes.erase(0, column->codes.size());
    if (column->items.size() <= CsvRows::kMostKeptItems) continue;
    ItemTable none(*data_.budget);
    column->items.swap(none);
    std::fill(recent_.begin(), recent_.end(), RecentItem());
  }
}

bool CsvReader::take_mark(size_t at) {
  const char mark = window_[at];
  if (mark == separator_) {
    if (!end_cell(at)) return false;
    cell_ = at + 1;
    return true;
  }
  if (mark != '"') return end_line(at);
  return at == cell_ ? read_quoted() : fail(at, "quotation mark inside an item that does not begin with one");
}

bool CsvReader::end_cell(size_t at) {
  if (is_header_) return check_text(text_of(cell_, at), cell_) && add_name(text_of(cell_, at));
  if (column_ == writers_.size()) return check_place(cell_);
  if (!writers_[column_].put(row_, window_.data() + cell_, at - cell_))
    return check_text(text_of(cell_, at), cell_);
  ++column_;
  return true;
}

// A line without anything is a row only where there is just one column.
bool CsvReader::end_line(size_t at) {
  const char mark = window_[at];
  if (at == cell_ && column_ == 0) {
    if (mark == '\n' && after_return_) {
      --line_;
      begin_line(at + 1, mark);
      return true;
    }
    if (is_header_ || writers_.size() != 1) {
      begin_line(at + 1, mark);
      return true;
    }
  }
  if (!end_cell(at) || !end_row(at)) return false;
  begin_line(at + 1, mark);
  return true;
}

void CsvReader::begin_line(size_t behind, char ended_by) noexcept {
  cell_ = behind;
  line_begin_ = static_cast<ptrdiff_t>(behind);
  row_line_ = ++line_;
  after_return_ = ended_by == '\r';
}

bool CsvReader::end_row(size_t at) {
  if (is_header_) {
    make_writers();
  } else if (column_ < writers_.size()) {
    return fail(at, "row of " + std::to_string(column_) + " items, but there are " +
                        std::to_string(writers_.size()) + " columns");
  } else {
    if (most_rows_ != kNone) lines_.push_back(row_line_);
    if (++row_ == waiting_rows_) flush();
  }
  column_ = 0;
  return true;
}

bool CsvReader::check_place(size_t at) {
  return column_ < writers_.size() || fail(at, "row of more than " + std::to_string(writers_.size()) +
                                                   " items, which is the number of columns");
}

bool CsvReader::check_text(std::string_view text, size_t first) {
  size_t at = 0;
  if (is_item_text(text, &at)) return true;
  return fail(first + at, text[at] == '\0' ? "null character" : "bytes that are not UTF-8");
}

bool CsvReader::add_name(std::string_view name) {
  if (!names_.emplace(name).second)
    return fail(cell_, "there is a column named \"" + std::string(name) + "\" already");
  data_.columns.push_back(new_column(*data_.budget, name, 0));
  ++column_;
  return true;
}

// Many columns have less room each, so that a long header is not answered with hundreds of megabytes.
void CsvReader::make_writers() {
  constexpr size_t kMostWaiting = 256, kWaitingCells = size_t{1} << 16, kManyColumns = 1000;
  const size_t columns = data_.columns.size();
  const unsigned cache_bits = columns < kManyColumns ? 5 : 1;
  waiting_rows_ = std::clamp<size_t>(kWaitingCells / columns, 1, std::min(kMostWaiting, most_rows_));
  codes_.resize(size_multiply(columns, waiting_rows_));
  recent_.resize(columns << cache_bits);
  writers_.reserve(columns);
  for (size_t i = 0; i < columns; ++i)
    writers_.emplace_back(*data_.columns[i], data_.missing, codes_.data() + i * waiting_rows_,
                          recent_.data() + (i << cache_bits), cache_bits);
  is_header_ = false;
  names_.clear();
}

void CsvReader::flush() {
  for (ColumnWriter& writer : writers_) writer.flush(row_);
  row_ = 0;
  is_paused_ = data_.number_of_rows() >= most_rows_;
}

// What stands behind the last line end is a row, too.
bool CsvReader::finish() {
  if (column_ > 0 || cell_ < end_ || is_cell_taken_) {
    if (!is_cell_taken_ && !end_cell(end_)) return false;
    if (!end_row(end_)) return false;
  }
  flush();
  return true;
}

// ---- Quoted cells ----

// `length` reaches from the opening quotation mark to behind the closing one.
bool CsvReader::find_closing_quote(size_t& length, bool& has_doubled) {
  for (length = 1;; ++length) {
    const char* const cell = window_.data() + cell_;
    const void* const quote = std::memchr(cell + length, '"', end_ - cell_ - length);
    if (!quote) {
      length = end_ - cell_ - 1;
      if (!refill())
        return source_.status() ? fail_source() : fail(cell_, "the quotation mark is not closed");
      continue;
    }
    length = static_cast<size_t>(static_cast<const char*>(quote) - cell) + 1;
    if (cell_ + length == end_) refill();
    if (cell_ + length == end_ || window_[cell_ + length] != '"') return true;
    has_doubled = true;
  }
}

bool CsvReader::read_quoted() {
  size_t length = 0;
  bool has_doubled = false;
  if (!find_closing_quote(length, has_doubled)) return false;
  std::string_view text = text_of(cell_ + 1, cell_ + length - 1);
  std::string single;
  if (has_doubled) {
    for (size_t i = 0; i < text.size(); ++i) {
      single += text[i];
      if (text[i] == '"') ++i;
    }
    text = single;
  }
  if (is_header_) {
    if (!check_text(text, cell_ + 1) || !add_name(text)) return false;
  } else {
    if (!check_place(cell_)) return false;
    if (!writers_[column_].put_quoted(row_, text)) return check_text(text, cell_ + 1);
    ++column_;
  }
  count_lines(cell_, cell_ + length);
  return end_quoted(cell_ + length);
}

bool CsvReader::end_quoted(size_t at) {
  seek(at + 1);
  is_cell_taken_ = at == end_;
  if (is_cell_taken_) {
    cell_ = end_;
    return true;
  }
  const char mark = window_[at];
  if (mark == separator_) {
    cell_ = at + 1;
    return true;
  }
  if (mark != '\n' && mark != '\r') return fail(at, "text behind the closing quotation mark");
  if (!end_row(at)) return false;
  begin_line(at + 1, mark);
  return true;
}

void CsvReader::count_lines(size_t from, size_t to) noexcept {
  for (size_t i = from; i < to; ++i) {
    const bool is_end = window_[i] == '\n' || (window_[i] == '\r' && window_[i + 1] != '\n');
    if (!is_end) continue;
    ++line_;
    line_begin_ = static_cast<ptrdiff_t>(i + 1);
  }
}

// ---- Failures ----

tv_status_t CsvReader::tell(const char* message) noexcept {
  last_place = {line_, static_cast<size_t>(static_cast<ptrdiff_t>(cell_) - line_begin_) + 1};
  if (handler_.function) handler_.function(line_, message, handler_.data);
  return tv_status_parse;
}

bool CsvReader::fail(size_t offset, const std::string& message) noexcept {
  cell_ = offset;
  status_ = tell(message.c_str());
  return false;
}

bool CsvReader::fail_source() noexcept {
  cell_ = end_;
  status_ = source_.status();
  tell(status_ == tv_status_parse ? source_.message() : tv_error_description(tv_status_io));
  return false;
}

}  // namespace

bool is_csv_separator(char separator) noexcept {
  return separator > '\0' && separator != '"' && separator != '\n' && separator != '\r';
}

// A failure to get memory has a place, too.
tv_status_t read_guarded(CsvReader& reader, const DataSet& data, size_t most_rows) {
  const tv_status_t status = guarded([&]() -> tv_status_t { return reader.read(most_rows); });
  if (status != tv_status_no_memory) return status;
  constexpr const char* kLimited = "the data set is larger than its memory limit";
  const bool is_limited = data.budget->has_refused();
  reader.tell(is_limited ? kLimited : tv_error_description(tv_status_no_memory));
  return is_limited ? refuse(status, "%s", kLimited) : status;
}

tv_status_t read_csv(DataSet& data, CsvSource& source, char separator, MessageHandler handler,
                     size_t window) {
  DataSet fresh;
  fresh.budget->set_limit(data.budget->limit());
  fresh.missing = MissingTexts(data.missing);
  CsvReader reader(source, separator, fresh, handler, window);
  if (tv_status_t status = read_guarded(reader, fresh, kNone)) return status;
  take_columns(data, fresh);
  return tv_status_none;
}

class CsvRows::Reader : public CsvReader {
 public:
  using CsvReader::CsvReader;
};

CsvRows::CsvRows(DataSet& data, CsvSource& source, char separator, MessageHandler handler, size_t window)
    : data_(data), reader_(std::make_unique<Reader>(source, separator, data, handler, window)) {}
CsvRows::~CsvRows() = default;

tv_status_t CsvRows::next(size_t rows) {
  reader_->forget_rows();
  if (reader_->is_at_end()) return tv_status_none;
  return read_guarded(*reader_, data_, rows);
}

size_t CsvRows::line(size_t row) const noexcept { return reader_->lines()[row]; }

}  // namespace tv

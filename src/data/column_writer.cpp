#include "data/column_writer.h"

namespace tv {
namespace {

// From so many items on the tables of a column are too large for the nearer caches.
constexpr Code kManyItems = 1 << 12;

}  // namespace

void ColumnWriter::remember(std::string_view text, Code code, RecentItem* recent) noexcept {
  if (!recent) return;
  *recent = key_of(text.data(), text.size());
  recent->code = code;
}

bool ColumnWriter::look_up(size_t row, std::string_view text, RecentItem* recent) {
  if (!missing_->contain(text)) return look_up_item(row, text, recent);
  codes_[row] = kMissingCode;
  remember(text, kMissingCode, recent);
  return true;
}

bool ColumnWriter::look_up_item(size_t row, std::string_view text, RecentItem* recent) {
  if (column_->items.size() >= kManyItems) return wait(row, text);
  codes_[row] = column_->items.code_of(text);
  if (codes_[row] == kRefusedCode) return false;
  remember(text, codes_[row], recent);
  return true;
}

bool ColumnWriter::wait(size_t row, std::string_view text) {
  if (!is_item_text(text)) return false;
  const uint32_t hash = column_->items.hash_of(text);
  column_->items.expect_slot(hash);
  waiting_.push_back({row, waiting_texts_.size(), text.size(), hash});
  waiting_texts_.insert(waiting_texts_.end(), text.begin(), text.end());
  return true;
}

// One step of all look-ups after the other, so that none of them waits alone.
void ColumnWriter::end_waiting() {
  ItemTable& items = column_->items;
  for (const Waiting& one : waiting_) items.expect_address(one.hash);
  for (const Waiting& one : waiting_) items.expect_text(one.hash);
  for (const Waiting& one : waiting_)
    codes_[one.row] = items.code_of({waiting_texts_.data() + one.begin, one.length}, one.hash);
  waiting_.clear();
  waiting_texts_.clear();
}

void ColumnWriter::flush(size_t rows) {
  end_waiting();
  column_->codes.append(codes_, rows);
}

}  // namespace tv

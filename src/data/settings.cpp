// What a data set is told before it reads: the texts that mean a missing item, and how much memory it may
// take.

#include <algorithm>

#include "api/boundary.h"
#include "data/data_set.h"

namespace tv {
namespace {

// Only what can stand without quotes is ever compared with these texts.
bool can_mean_missing(std::string_view text) noexcept {
  return is_item_text(text) && text.find_first_of("\"\r\n") == text.npos;
}

bool are_missing_texts(const char* const* texts) noexcept {
  if (!texts || !*texts) return false;
  for (; *texts; ++texts)
    if (!can_mean_missing(*texts)) return false;
  return true;
}

}  // namespace

MissingTexts::MissingTexts() : texts_{"", "?", "NA", "*"} { make_list(); }

MissingTexts::MissingTexts(const char* const* texts) {
  for (; *texts; ++texts) texts_.emplace_back(*texts);
  make_list();
}

MissingTexts::MissingTexts(const MissingTexts& other) : texts_(other.texts_) { make_list(); }

void MissingTexts::make_list() {
  for (const std::string& text : texts_) list_.push_back(text.c_str());
  list_.push_back(nullptr);
}

bool MissingTexts::contain(std::string_view text) const noexcept {
  return std::find(texts_.begin(), texts_.end(), text) != texts_.end();
}

}  // namespace tv

tv_status_t tv_data_set_set_missing_texts(tv_data_set_t* data, const char* const* texts) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(data && tv::are_missing_texts(texts))) return tv_status_usage;
    data->missing = tv::MissingTexts(texts);
    return tv_status_none;
  });
}

const char* const* tv_data_set_get_missing_texts(const tv_data_set_t* data) {
  return tv::check(data) ? data->missing.list() : nullptr;
}

tv_status_t tv_data_set_set_memory_limit(tv_data_set_t* data, size_t limit) {
  if (!tv::check(data)) return tv_status_usage;
  data->budget->set_limit(limit);
  return tv_status_none;
}

size_t tv_data_set_get_memory_limit(const tv_data_set_t* data) {
  return tv::check(data) ? data->budget->limit() : tv::kNone;
}

size_t tv_data_set_get_memory_size(const tv_data_set_t* data) {
  return tv::check(data) ? data->budget->used() : tv::kNone;
}

// Counting patterns of evidence, and the credit of the cache.

#include "inference/schedule/cache_admission.h"

#include <algorithm>
#include <bit>
#include <new>

#include "tables/limits.h"

namespace tv {

void CacheAdmission::prepare(size_t patterns) noexcept {
  patterns_ = std::bit_floor(std::max(patterns, kWays));
}

// Most trees are only compiled and asked once. Lists of patterns are not allocated for these.
void CacheAdmission::note_search(uint64_t hash) noexcept {
  if (++clock_ == 1) first_hash_ = hash;
  hash_ = hash;
  current_ = nullptr;
  if (list_ && ages())
    std::for_each(list_.get(), list_.get() + patterns_, [](Pattern& pattern) { pattern.count /= 2; });
  if (clock_ > 2 || (clock_ == 2 && hash == first_hash_)) reserve();
  if (list_) remember(hash);
  for (int32_t& credit : credit_) credit = std::min(credit + kSearch, kMost);
  std::fill(is_charged_, is_charged_ + 2, false);
}

// Without memory for the list, no pattern comes again.
void CacheAdmission::reserve() noexcept {
  if (list_) return;
  list_.reset(new (std::nothrow) Pattern[patterns_]);
  if (list_) remember(first_hash_);
}

void CacheAdmission::remember(uint64_t hash) noexcept {
  Pattern* const bucket = list_.get() + (hash >> 32) % (patterns_ / kWays) * kWays;
  const auto mark = static_cast<uint32_t>(hash);
  Pattern* found = std::find_if(bucket, bucket + kWays - 1,
                                [mark](const Pattern& pattern) { return pattern.hash == mark; });
  if (found->hash != mark) *found = {.hash = mark};
  std::rotate(bucket, found, found + 1);
  current_ = bucket;
  if (current_->count < kMostCount) ++current_->count;
  for (uint8_t& searches : current_->rejected)
    if (searches > 0) --searches;
}

void CacheAdmission::note_hit(Kind kind) noexcept {
  int32_t& credit = credit_[static_cast<size_t>(kind)];
  credit = std::min(credit + kSaved, kMost);
}

bool CacheAdmission::is_worth_building(Kind kind) const noexcept {
  const auto k = static_cast<size_t>(kind);
  if (current_ && current_->rejected[k] > 0) return false;
  return limits.caches_new_patterns || (count() >= 2 && credit_[k] >= kBuilt);
}

void CacheAdmission::charge(Kind kind) noexcept {
  const auto k = static_cast<size_t>(kind);
  if (is_charged_[k]) return;
  is_charged_[k] = true;
  credit_[k] = std::max(credit_[k] - kBuilt, 0);
}

void CacheAdmission::reject(Kind kind) noexcept {
  if (current_) current_->rejected[static_cast<size_t>(kind)] = kRetryAfter;
}

void CacheAdmission::note_tables_needed() noexcept {
  if (!current_) {
    reserve();
    if (list_ && clock_ > 1) remember(hash_);
  }
  if (current_) current_->needs_tables = true;
}

}  // namespace tv

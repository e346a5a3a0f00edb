// Filling the rows from neighbour lists.
#include "compile/triangulate/link_rows.h"

namespace tv {

void LinkRows::start(Vertex v, std::span<const Vertex> members) {
  ++round_;
  members_ = members.size();
  words_ = (members_ + kBits - 1) / kBits;
  vertices_.assign(members.begin(), members.end());
  rows_.assign(members_ * words_, 0);
  for (std::uint32_t i = 0; i < members_; ++i) places_[members[i]] = {round_, i};
  forget(v);
}

void LinkRows::see(size_t member, std::span<const Vertex> neighbors) {
  const size_t word = member / kBits;
  for (const Vertex w : neighbors) {
    Place& place = places_[w];
    if (place.round == kGone) continue;
    if (place.round != round_) {
      place = {round_, static_cast<std::uint32_t>(vertices_.size())};
      vertices_.push_back(w);
      rows_.resize(rows_.size() + words_, 0);
    }
    rows_[place.row * words_ + word] |= bit(member);
  }
}

void LinkRows::find_missing() {
  missing_.resize(members_ * words_);
  incomplete_.assign(words_, 0);
  for (size_t i = 0; i < members_; ++i) {
    std::uint64_t* const missing = missing_.data() + i * words_;
    std::uint64_t any = 0;
    for (size_t word = 0; word < words_; ++word) {
      const size_t rest = members_ - word * kBits;
      const std::uint64_t all = rest >= kBits ? ~std::uint64_t{0} : bit(rest) - 1;
      missing[word] = all & ~row(i)[word];
    }
    missing[i / kBits] &= ~bit(i);
    for (size_t word = 0; word < words_; ++word) any |= missing[word];
    if (any) incomplete_[i / kBits] |= bit(i);
  }
}

}  // namespace tv

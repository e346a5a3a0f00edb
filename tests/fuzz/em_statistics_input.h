// One input of the fuzz target of learning's statistics: any bytes are refused or are statistics, which are
// written as the same bytes again, add up and give tables. The sum that tells damage is made right, or no
// input would get past it.
#pragma once

#include <memory>

#include "learn/em_statistics_bytes.h"
#include "net_input.h"

namespace fuzz {

struct LearningDomain {
  tv_domain_t* domain = tv_net_parse_from_string(
      "node A { states = (\"yes\" \"no\"); } node B { states = (\"yes\" \"no\"); } continuous node X {}\n"
      "potential (A) { experience = (2); } potential (B | A) { experience = (1 0); }\n"
      "potential (X | A) { data = (normal (1, 1) normal (2, 1)); experience = (1 1); }",
      nullptr);
  LearningDomain() { require(domain && tv_domain_compile(domain) == tv_status_none, "it compiles"); }
};

inline void parse_statistics(const std::string& bytes) {
  static const LearningDomain world;
  using Statistics = std::unique_ptr<tv_em_statistics_t, decltype(&tv_em_statistics_delete)>;
  const Statistics read(tv_domain_parse_em_statistics(world.domain, bytes.data(), bytes.size()),
                        tv_em_statistics_delete);
  require(read || tv_error_code() == tv_status_parse || tv_error_code() == tv_status_usage,
          "a refusal has a code");
  if (!read) return;
  size_t size = 0;
  const std::unique_ptr<void, decltype(&std::free)> again(tv_em_statistics_to_bytes(read.get(), &size),
                                                          std::free);
  require(size == bytes.size() && std::memcmp(again.get(), bytes.data(), size) == 0,
          "it is written as it was");
  const Statistics known(tv_domain_new_em_prior(world.domain), tv_em_statistics_delete);
  if (known) tv_em_statistics_add(read.get(), known.get());
  require(tv_em_statistics_set_tables(read.get(), world.domain) == tv_status_none, "it gives tables");
}

inline void parse_statistics_bytes(const uint8_t* data, size_t size) {
  std::string bytes(reinterpret_cast<const char*>(data), size);
  parse_statistics(bytes);
  bytes.resize(size / tv::kWordSize * tv::kWordSize + tv::kWordSize);
  const uint64_t sum =
      tv::sum_of_words(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size() - tv::kWordSize);
  for (size_t i = 0; i < tv::kWordSize; ++i)
    bytes[bytes.size() - tv::kWordSize + i] = static_cast<char>(sum >> 8 * i);
  parse_statistics(bytes);
}

}  // namespace fuzz

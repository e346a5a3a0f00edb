// Statistics as bytes that travel: words of eight bytes, the lowest first, so that they mean the same on
// every machine. In this order: what they are, the version, the network, the size of blocks, how many nodes
// of the tree there are, whether there is a prior; the nodes, the prior; a sum over all of it, which tells
// damage.
#include "learn/em_statistics_bytes.h"

#include <bit>
#include <cmath>
#include <memory>

#include "api/boundary.h"
#include "api/memory.h"
#include "learn/em_checks.h"
#include "learn/em_statistics.h"
#include "tables/limits.h"

namespace tv {
namespace {

constexpr uint64_t kMagic = 0x54415453'4d455654;  // "TVEMSTAT"
constexpr uint64_t kVersion = 1;
constexpr size_t kHeaderWords = 6, kNodeWords = 6;
constexpr uint64_t kMostLevels = 48, kMostBlocks = uint64_t{1} << kMostLevels;

size_t words_of(const std::vector<FamilyCounts>& counts) noexcept {
  size_t words = 0;
  for (const FamilyCounts& count : counts)
    words += count.origins.size() + count.numbers.size() + count.moments.size();
  return words;
}

class WordWriter {
 public:
  explicit WordWriter(unsigned char* bytes) noexcept : begin_(bytes), next_(bytes) {}

  void put(uint64_t word) noexcept {
    for (size_t i = 0; i < kWordSize; ++i) *next_++ = static_cast<unsigned char>(word >> 8 * i);
  }
  void put(const std::vector<double>& numbers) noexcept {
    for (const double number : numbers) put(std::bit_cast<uint64_t>(number));
  }
  void put(const std::vector<FamilyCounts>& counts) noexcept {
    for (const FamilyCounts& count : counts) put(count.origins), put(count.numbers), put(count.moments);
  }
  void put(const BlockSums& node) noexcept {
    for (const uint64_t word :
         {node.first, node.level, node.cases, node.incomplete, std::bit_cast<uint64_t>(node.weight),
          std::bit_cast<uint64_t>(node.log_likelihood)})
      put(word);
    put(node.counts);
  }
  void seal() noexcept { put(sum_of_words(begin_, static_cast<size_t>(next_ - begin_))); }

 private:
  unsigned char* const begin_;
  unsigned char* next_;
};

// Reads what is there: whoever asks has seen that it is.
class WordReader {
 public:
  explicit WordReader(const unsigned char* bytes) noexcept : next_(bytes) {}

  uint64_t word() noexcept {
    const uint64_t word = word_at(next_);
    next_ += kWordSize;
    return word;
  }
  double number() noexcept { return std::bit_cast<double>(word()); }

  // Fills counts, whose shape is known. Whether they can be such.
  bool read(std::vector<FamilyCounts>& counts) noexcept {
    bool is_sound = true;
    for (FamilyCounts& count : counts) {
      for (double& origin : count.origins) is_sound &= std::isfinite(origin = number());
      for (double& number_of_cases : count.numbers)
        is_sound &= std::isfinite(number_of_cases = number()) && number_of_cases >= 0.0;
      for (double& moment : count.moments) is_sound &= std::isfinite(moment = number());
    }
    return is_sound;
  }

  bool read(BlockSums& node) noexcept {
    node.first = word();
    node.level = word();
    node.cases = word();
    node.incomplete = word();
    node.weight = number();
    node.log_likelihood = number();
    const bool is_possible = node.level < kMostLevels && node.first < kMostBlocks &&
                             node.first % (uint64_t{1} << node.level % kMostLevels) == 0 && node.cases > 0 &&
                             (node.cases - 1) / limits.block_cases >> node.level % kMostLevels == 0 &&
                             node.incomplete <= node.cases && std::isfinite(node.weight) &&
                             node.log_likelihood < HUGE_VAL;
    return read(node.counts) && is_possible;
  }

 private:
  const unsigned char* next_;
};

tv_status_t refuse_as_damaged() noexcept {
  return refuse(tv_status_parse, "the bytes of the statistics are damaged");
}

tv_status_t read_all(WordReader& words, size_t nodes, bool has_prior, const std::vector<FamilyCounts>& shape,
                     EmStatistics& statistics) {
  uint64_t end = 0;
  for (size_t i = 0; i < nodes; ++i) {
    BlockSums node;
    node.counts = shape;
    if (!words.read(node) || node.first < end) return refuse_as_damaged();
    end = node.end();
    statistics.cases.append(std::move(node));
  }
  if (statistics.cases.nodes().size() != nodes) return refuse_as_damaged();  // siblings that were not merged
  if (!has_prior) return tv_status_none;
  statistics.prior = shape;
  return words.read(statistics.prior) ? tv_status_none : refuse_as_damaged();
}

tv_status_t parse(Domain& domain, const unsigned char* bytes, size_t size, EmStatistics& statistics) {
  const size_t words = size / kWordSize;
  if (size % kWordSize != 0 || words <= kHeaderWords || word_at(bytes) != kMagic)
    return refuse(tv_status_parse, "the bytes are no statistics, or some are lacking");
  WordReader reader(bytes + kWordSize);
  if (const uint64_t version = reader.word(); version != kVersion)
    return refuse(tv_status_parse, "the statistics have a form of another version");
  if (sum_of_words(bytes, size - kWordSize) != word_at(bytes + size - kWordSize)) return refuse_as_damaged();
  std::vector<Family> families;
  if (tv_status_t status = collect_families_to_learn(domain, families)) return status;
  statistics.network = reader.word();
  if (tv_status_t status = check_network(statistics, fingerprint_of(families))) return status;
  if (reader.word() != limits.block_cases) return refuse_as_damaged();
  const std::vector<FamilyCounts> shape = empty_counts(families);
  const size_t nodes = reader.word(), priors = reader.word(), count = words_of(shape);
  const size_t body = size_add(size_multiply(nodes, kNodeWords + count), priors == 1 ? count : 0);
  if (priors > 1 || size_add(body, kHeaderWords + 1) != words) return refuse_as_damaged();
  return read_all(reader, nodes, priors == 1, shape, statistics);
}

}  // namespace
}  // namespace tv

void* tv_em_statistics_to_bytes(const tv_em_statistics_t* statistics, size_t* size) {
  if (!tv::check(statistics && size)) return nullptr;
  const std::vector<tv::BlockSums>& nodes = statistics->cases.nodes();
  size_t words = tv::kHeaderWords + tv::words_of(statistics->prior) + 1;
  for (const tv::BlockSums& node : nodes) words += tv::kNodeWords + tv::words_of(node.counts);
  auto* const bytes = static_cast<unsigned char*>(tv::_tv_allocate(words * tv::kWordSize));
  if (!bytes) return nullptr;
  tv::WordWriter writer(bytes);
  for (const uint64_t word : {tv::kMagic, tv::kVersion, statistics->network, uint64_t{tv::limits.block_cases},
                              uint64_t{nodes.size()}, uint64_t{!statistics->prior.empty()}})
    writer.put(word);
  for (const tv::BlockSums& node : nodes) writer.put(node);
  writer.put(statistics->prior);
  writer.seal();
  *size = words * tv::kWordSize;
  return bytes;
}

tv_em_statistics_t* tv_domain_parse_em_statistics(tv_domain_t* domain, const void* bytes, size_t size) {
  return tv::guarded(static_cast<tv_em_statistics_t*>(nullptr), [&]() -> tv_em_statistics_t* {
    if (!tv::check(domain && bytes)) return nullptr;
    auto statistics = std::make_unique<tv::EmStatistics>();
    if (tv_status_t status = tv::parse(*domain, static_cast<const unsigned char*>(bytes), size, *statistics))
      return tv::store_status(status), nullptr;
    return statistics.release();
  });
}

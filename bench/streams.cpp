#include "streams.h"

#include <cmath>
#include <cstdio>
#include <random>

#include "cases.h"

namespace bench {
namespace {

enum class Choice { uniform, zipf, twice };

struct Stream {
  const char* title;
  Choice choice;
  size_t sets;
};

// The first stream, of sets that never come again, is what the others are compared with.
constexpr Stream kStreams[] = {
    {"fresh", Choice::twice, 0}, {"1", Choice::uniform, 1},     {"5", Choice::uniform, 5},
    {"8", Choice::uniform, 8},   {"9", Choice::uniform, 9},     {"16", Choice::uniform, 16},
    {"30", Choice::uniform, 30}, {"100", Choice::uniform, 100}, {"1000", Choice::uniform, 1000},
    {"z5", Choice::zipf, 5},     {"z8", Choice::zipf, 8},       {"z9", Choice::zipf, 9},
    {"z16", Choice::zipf, 16},   {"z30", Choice::zipf, 30},     {"z1000", Choice::zipf, 1000},
    {"twice", Choice::twice, 2},
};
constexpr size_t kMostCases = 3000, kFewestCases = 150;
constexpr double kTimeForStream = 400;  // milliseconds

// Draws the sets of one stream.
class Sets {
 public:
  Sets(const Stream& stream, uint64_t seed) : stream_(stream), random_(seed), first_(seed << 32) {
    double total = 0;
    if (stream.choice == Choice::zipf)
      for (size_t s = 0; s < stream.sets; ++s) bounds_.push_back(total += 1 / static_cast<double>(s + 1));
  }

  uint64_t next() {
    const uint64_t position = count_++;
    if (stream_.choice == Choice::twice) return first_ + position / std::max<size_t>(stream_.sets, 1);
    if (stream_.choice == Choice::uniform) return first_ + random_() % stream_.sets;
    const double point = std::uniform_real_distribution<double>(0, bounds_.back())(random_);
    return first_ +
           static_cast<uint64_t>(std::lower_bound(bounds_.begin(), bounds_.end(), point) - bounds_.begin());
  }

 private:
  const Stream& stream_;
  std::mt19937_64 random_;
  uint64_t first_;  // each seed has sets of its own
  std::vector<double> bounds_;
  uint64_t count_ = 0;
};

// A stream in progress, with a domain of its own that has not seen any case before.
class Run {
 public:
  Run(const Workload& workload, const Stream& stream, uint64_t seed)
      : domain_(load_network(workload.source.c_str())), cases_(domain_.get()), sets_(stream, seed) {
    expect(tv_domain_compile(domain_.get()));
  }

  void ask_some(size_t count) {
    for (size_t i = 0; i < count; ++i) {
      const Evidence evidence = cases_.of(sets_.next(), draw_++);
      const double start = processor_time();
      ask(domain_.get(), evidence);
      read_all_beliefs(domain_.get());
      time_ += processor_time() - start;
    }
  }
  double time() const { return time_; }

 private:
  Domain domain_;
  Cases cases_;
  Sets sets_;
  uint64_t draw_ = 0;
  double time_ = 0;
};

// The times of all streams, a few cases of each in turn, so that all see the same machine. Each repetition
// begins with another one, since the place of a domain in memory makes a few percent.
std::vector<double> run_all(const Workload& workload, uint64_t seed, size_t cases) {
  constexpr size_t count = std::size(kStreams);
  std::vector<std::unique_ptr<Run>> runs(count);
  for (size_t s = 0; s < count; ++s) {
    const size_t which = (s + 5 * seed) % count;
    runs[which] = std::make_unique<Run>(workload, kStreams[which], seed);
  }
  Run between(workload, kStreams[0], seed + 1);
  constexpr size_t rounds = 15;
  for (size_t round = 0; round < rounds; ++round)
    for (size_t s = 0; s < count; ++s) {
      between.ask_some(std::max<size_t>(cases / rounds / 10, 1));
      runs[(s + 5 * seed) % count]->ask_some(cases / rounds);
    }
  std::vector<double> times;
  for (const std::unique_ptr<Run>& run : runs) times.push_back(run->time());
  return times;
}

size_t cases_for(const Workload& workload) {
  Run probe(workload, kStreams[0], 0);
  probe.ask_some(20);
  const double cases = kTimeForStream / (probe.time() / 20);
  return static_cast<size_t>(std::clamp<double>(cases, kFewestCases, kMostCases));
}

}  // namespace

void print_stream_titles() {
  std::printf(
      "Streams of cases from a newly compiled domain, all beliefs read. fresh: milliseconds of processor "
      "time "
      "for a\ncase where every case observes another set of nodes. The other columns are relative to it, "
      "each "
      "with what it\ncosts to cache: N sets in random order, zN the same by Zipf's law, twice: each set two "
      "times, then never again.\n\n%-18s %6s %9s",
      "network", "cases", "fresh");
  for (size_t s = 1; s < std::size(kStreams); ++s) std::printf(" %5s", kStreams[s].title);
  std::printf("\n");
}

void print_streams(const Workload& workload, size_t repeats) {
  const size_t cases = cases_for(workload) / 15 * 15;
  std::vector<std::vector<double>> ratios(std::size(kStreams));
  for (size_t r = 0; r < repeats; ++r) {
    const std::vector<double> times = run_all(workload, r + 1, cases);
    ratios[0].push_back(times[0] / static_cast<double>(cases));
    for (size_t s = 1; s < times.size(); ++s) ratios[s].push_back(times[s] / times[0]);
  }
  std::printf("%-18s %6zu %9.4f", workload.name.c_str(), cases, median(ratios[0]));
  for (size_t s = 1; s < ratios.size(); ++s) std::printf(" %5.2f", median(ratios[s]));
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace bench

// Every seed of the fuzz targets, whole and damaged in simple ways, without the fuzzer.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "fuzz/case_input.h"
#include "fuzz/constraint_input.h"
#include "fuzz/csv_input.h"
#include "fuzz/em_statistics_input.h"

namespace {

std::vector<std::string> read_seeds(const std::string& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  std::vector<std::string> seeds;
  for (const auto& file : files) {
    std::ifstream stream(file, std::ios::binary);
    seeds.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
  }
  return seeds;
}

using Target = void (*)(const uint8_t*, size_t);

// Whole, cut and spoilt.
void replay_seeds(const std::string& folder, Target target) {
  const auto replay = [target](const std::string& text) {
    target(reinterpret_cast<const uint8_t*>(text.data()), text.size());
  };
  const std::vector<std::string> seeds = read_seeds(std::string(TARVO_TEST_FOLDER "/fuzz/corpus/") + folder);
  ASSERT_FALSE(seeds.empty());
  const std::string spoilers("()[]{}|=;%\"\\.-+e0\n\0\xFF", 20);
  std::mt19937 random(11);
  for (const std::string& seed : seeds) {
    replay(seed);
    for (size_t length = 0; length < seed.size(); ++length) replay(seed.substr(0, length));
    for (int i = 0; i < 200 && !seed.empty(); ++i) {
      std::string text = seed;
      const size_t position = random() % text.size();
      if (i % 3 == 0)
        text[position] = spoilers[random() % spoilers.size()];
      else if (i % 3 == 1)
        text.erase(position, 1 + random() % 8);
      else
        text.insert(random() % text.size(), text, position, random() % 40);
      replay(text);
    }
  }
}

TEST(Replay, NetSeeds) { replay_seeds("net", fuzz::parse_bytes); }
TEST(Replay, CaseSeeds) { replay_seeds("case", fuzz::parse_case_bytes); }
TEST(Replay, ConstraintSeeds) { replay_seeds("constraint", fuzz::parse_constraint_bytes); }
TEST(Replay, CsvSeeds) { replay_seeds("csv", fuzz::parse_csv_bytes); }
TEST(Replay, EmStatisticsSeeds) { replay_seeds("em_statistics", fuzz::parse_statistics_bytes); }

}  // namespace

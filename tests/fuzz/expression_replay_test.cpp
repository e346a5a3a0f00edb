// The seeds of the fuzz target of expressions, whole and damaged in simple ways, without the fuzzer.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "fuzz/expression_input.h"

namespace {

TEST(Replay, ExpressionSeedsWholeCutAndSpoilt) {
  fuzz::ExpressionWorld world;
  const auto replay = [&](const std::string& text) {
    world.run(reinterpret_cast<const uint8_t*>(text.data()), text.size());
  };
  const std::string spoilers("()#+-*/^<>=!,.\"1 nib");
  std::mt19937 random(7);
  size_t seeds = 0;
  for (const auto& file : std::filesystem::directory_iterator(TARVO_TEST_FOLDER "/fuzz/corpus/expression")) {
    std::ifstream stream(file.path(), std::ios::binary);
    const std::string seed{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    ++seeds;
    replay(seed);
    for (size_t length = 0; length < seed.size(); ++length) replay(seed.substr(0, length));
    for (int i = 0; i < 100; ++i) {
      std::string text = seed;
      text[random() % text.size()] = spoilers[random() % spoilers.size()];
      if (i % 2) text.insert(random() % text.size(), text, random() % text.size(), 12);
      replay(text);
    }
  }
  EXPECT_GT(seeds, 0u);
}

}  // namespace

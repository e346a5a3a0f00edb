// The generator against a plain stream: the whole sequence is laid out in one long array by the
// recurrence, and the values that should be handed out are picked from it.
#include <cmath>
#include <cstring>

#include "network_world.h"

namespace {

double sum_modulo_1(double x, double y) { return x + y >= 1.0 ? x + y - 1.0 : x + y; }

// The hundred values from which a seed starts, computed on whole numbers of 2^-52.
std::vector<double> seeded_state(unsigned seed) {
  constexpr uint64_t kOne = uint64_t{1} << 52;
  unsigned s = seed % (1u << 30);
  std::vector<uint64_t> x(199, 0);
  uint64_t start = 2 * (uint64_t{s} + 2);
  for (size_t j = 0; j < 100; ++j) {
    x[j] = start;
    start *= 2;
    if (start >= kOne) start -= kOne - 2;
  }
  x[1] += 1;
  for (int t = 69; t > 0;) {
    for (size_t j = 99; j >= 1; --j) {
      x[2 * j] = x[j];
      x[2 * j - 1] = 0;
    }
    for (size_t j = 198; j >= 100; --j) {
      x[j - 63] = (x[j - 63] + x[j]) % kOne;
      x[j - 100] = (x[j - 100] + x[j]) % kOne;
    }
    if (s % 2) {
      for (size_t j = 100; j >= 1; --j) x[j] = x[j - 1];
      x[0] = x[100];
      x[37] = (x[37] + x[100]) % kOne;
    }
    if (s)
      s /= 2;
    else
      --t;
  }
  std::vector<double> state(100);
  for (size_t j = 0; j < 100; ++j) state[(j + 63) % 100] = std::ldexp(static_cast<double>(x[j]), -52);
  return state;
}

// `count` deviates: of every 1009 values after the first 1990 the first hundred.
std::vector<double> expected_deviates(unsigned seed, size_t count) {
  std::vector<double> stream = seeded_state(seed);
  while (stream.size() < 100 + 1990 + (count / 100 + 1) * 1009) {
    const size_t n = stream.size();
    stream.push_back(sum_modulo_1(stream[n - 100], stream[n - 37]));
  }
  std::vector<double> deviates;
  for (size_t i = 0; i < count; ++i) deviates.push_back(stream[1990 + i / 100 * 1009 + i % 100]);
  return deviates;
}

TEST(Random, DeviatesAreThoseOfTheRecurrence) {
  World world;
  for (const unsigned seed : {310952u, 0u, 1u, 42u, 1073741823u, 0x40000000u, 0xFFFFFFFFu}) {
    if (seed != 310952u) tv_domain_seed_random(world, seed);  // a new domain has been seeded with this one
    for (const double expected : expected_deviates(seed, 350))
      ASSERT_EQ(tv_domain_get_uniform_deviate(world), expected) << seed;
  }
  EXPECT_EQ(seeded_state(5), seeded_state(5 + (3u << 30)));
}

TEST(Random, NormalDeviatesAreChecked) {
  World world, twin;
  EXPECT_CODE(tv_status_usage, tv_domain_seed_random(nullptr, 1));
  EXPECT_EQ(tv_domain_get_uniform_deviate(nullptr), -1.0);
  EXPECT_EQ(tv_domain_get_normal_deviate(world, 0.0, -1.0), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_CODE(tv_status_usage, tv_domain_get_normal_deviate(world, NAN, 1.0));
  EXPECT_CODE(tv_status_usage, tv_domain_get_normal_deviate(world, 0.0, INFINITY));
  EXPECT_EQ(tv_domain_get_normal_deviate(world, 5.0, 0.0), 5.0);  // draws nothing
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_EQ(tv_domain_get_uniform_deviate(world), tv_domain_get_uniform_deviate(twin));
}

TEST(Random, NormalDeviatesHaveTheirMomentsAndQuantiles) {
  World world;
  constexpr int kCount = 20000;
  double sum = 0, squares = 0;
  int within = 0;
  for (int i = 0; i < kCount; ++i) {
    const double z = (tv_domain_get_normal_deviate(world, 3.0, 4.0) - 3.0) / 2.0;
    sum += z;
    squares += z * z;
    within += std::abs(z) < 1.0;
  }
  EXPECT_NEAR(sum / kCount, 0.0, 0.03);
  EXPECT_NEAR(squares / kCount, 1.0, 0.04);
  EXPECT_NEAR(static_cast<double>(within) / kCount, 0.6827, 0.015);
}

}  // namespace

// How many threads there are, whatever is asked for.
#include "tables/kernels/parallel.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <thread>
#include <utility>

#include "support/builders.h"
#include "tables/limits.h"

namespace test {
namespace {

constexpr size_t kAllOnes = static_cast<size_t>(-1);

size_t running_threads() {
  size_t count = 0;
  for ([[maybe_unused]] const auto& task : std::filesystem::directory_iterator("/proc/self/task")) ++count;
  return count;
}

// Those that the process has of its own: an emulator starts one with the first of the program's.
size_t base_threads() {
  std::thread([] {}).join();
  return running_threads();
}

// The most threads that were seen while `work` ran operations of so many shares.
struct Watch {
  std::atomic<size_t> most = 0, units = 0;

  static void task(void* context, size_t begin, size_t end) {
    Watch& watch = *static_cast<Watch*>(context);
    watch.units += end - begin;
    const size_t now = running_threads();
    for (size_t seen = watch.most; seen < now && !watch.most.compare_exchange_weak(seen, now);) {
    }
  }
};

TEST(Threads, AreNotMoreThanTheProcessHasProcessors) {
  const size_t assumed = std::exchange(tv::limits.processors, 0);
  const size_t usable = tv::usable_threads(kAllOnes);
  EXPECT_GE(usable, 1u);
  EXPECT_LE(usable, static_cast<size_t>(sysconf(_SC_NPROCESSORS_CONF)));
  EXPECT_EQ(tv::usable_threads(1), 1u);
  tv::limits.processors = 3;
  EXPECT_EQ(tv::usable_threads(kAllOnes), 3u);
  EXPECT_EQ(tv::usable_threads(2), 2u);
  tv::limits.processors = assumed;
}

TEST(Threads, AreNotMoreThanAnOperationHasShares) {
  const size_t base = base_threads();
  tv::Workers workers(64);
  for (const size_t shares : {1, 2, 4, 3, 2}) {
    Watch watch;
    tv::run_on_threads(100, shares, Watch::task, &watch, &workers);
    EXPECT_EQ(watch.units, 100u);
    EXPECT_LE(watch.most, base + 3);
  }
}

TEST(Threads, ThatNoMachineHasAreNoReasonToFail) {
  const size_t base = base_threads();
  DomainOwner domain = new_domain();
  std::vector<tv_node_t*> nodes;
  for (size_t i = 0; i < 12; ++i) {
    nodes.push_back(add_node(domain.get(), nullptr, 3));
    for (size_t p = i > 4 ? i - 4 : 0; p < i; ++p) tv_node_add_parent(nodes[i], nodes[p]);
  }
  tv_domain_set_grain_size(domain.get(), 1);
  for (const size_t level : {size_t{1000000000}, kAllOnes}) {
    ASSERT_EQ(tv_domain_set_concurrency_level(domain.get(), level), tv_status_none);
    EXPECT_EQ(tv_domain_get_concurrency_level(domain.get()), level);
    if (!tv_domain_is_compiled(domain.get())) {
      ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    }
    ASSERT_EQ(tv_node_select_state(nodes[7], 1), tv_status_none);
    EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    tv_node_t* pair[] = {nodes.front(), nodes.back(), nullptr};
    EXPECT_NE(TableOwner(tv_domain_get_marginal(domain.get(), pair)), nullptr);
    EXPECT_EQ(running_threads(), base);
  }
}

}  // namespace
}  // namespace test

// Threads that cannot be started and devices that are full.

#include <gtest/gtest.h>

#include "faults/export_world.h"
#include "faults/injection.h"
#include "support/describe.h"

namespace test {
namespace {

TEST(ThreadFaults, AnswersAreRightWithoutThreads) {
  World ideal(parallel);
  ASSERT_EQ(tv_domain_propagate(ideal.domain.get(), kMax, kNormal), tv_status_none);
  const std::string expected = describe(ideal.domain.get());
  long starts = 0;
  for (bool persistent : {false, true})
    for (long n = 0;; ++n) {
      World w(parallel);
      arm(Fault::thread_start, n, persistent);
      const tv_status_t status = tv_domain_propagate(w.domain.get(), kMax, kNormal);
      disarm();
      EXPECT_EQ(status, tv_status_none);
      EXPECT_EQ(describe(w.domain.get()), expected);
      starts += requests_seen();
      if (!fault_struck()) break;
    }
  EXPECT_GT(starts, 0);
}

TEST(LogFaults, AFullDeviceStopsCompilationAndNothingElseIsLost) {
  const Case operations[] = {
      {"tv_domain_compile", plain, [](World& w) { tv_domain_compile(w.domain.get()); }},
      {"tv_domain_compile", triangulated, [](World& w) { tv_domain_compile(w.domain.get()); }},
      {"tv_domain_triangulate", plain,
       [](World& w) { tv_domain_triangulate(w.domain.get(), tv_method_best_greedy); }},
      {"tv_domain_triangulate_with_order", plain,
       [](World& w) { tv_domain_triangulate_with_order(w.domain.get(), elimination_order(w)); }},
  };
  for (const Case& test : operations) {
    SCOPED_TRACE(test.function);
    const std::string before = describe(World(test.prepare).domain.get());
    World silent(test.prepare);
    test.call(silent);
    const std::string expected = describe(silent.domain.get());
    for (bool buffered : {false, true})
      for (size_t room = 0; !HasFailure(); room += 1 + room / 16) {
        SCOPED_TRACE(testing::Message() << room << " bytes fit, " << (buffered ? "buffered" : "unbuffered"));
        World w(test.prepare);
        std::string written;
        std::FILE* log = open_limited_stream(room, buffered, written);
        tv_domain_set_log_file(w.domain.get(), log);
        test.call(w);
        const tv_status_t status = tv_error_code();
        std::fclose(log);
        tv_domain_set_log_file(w.domain.get(), nullptr);
        if (status == tv_status_none) {
          EXPECT_EQ(describe(w.domain.get()), expected);
          EXPECT_LT(written.size(), room + 1);
          EXPECT_GT(written.size(), 100u) << "nothing was logged: this case shows nothing";
          break;
        }
        EXPECT_EQ(status, tv_status_io) << tv_error_name(status);
        EXPECT_EQ(describe(w.domain.get()), before);
        test.call(w);
        EXPECT_EQ(tv_error_code(), tv_status_none);
        EXPECT_EQ(describe(w.domain.get()), expected);
      }
  }
}

}  // namespace
}  // namespace test

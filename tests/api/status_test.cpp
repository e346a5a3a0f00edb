// Codes, their texts, the status of each thread, and what the boundary makes of exceptions.
#include "api/status.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include "api/boundary.h"

namespace {

TEST(Status, NamesStandInNumericOrder) {
  const char* const names[] = {"none",
                               "usage",
                               "io",
                               "no_memory",
                               "cg_limids_not_supported",
                               "twice",
                               "invalid_name",
                               "cyclic_network",
                               "cyclic_functional_dependency",
                               "functional_dependency",
                               "size_too_large",
                               "fast_retraction",
                               "rounding",
                               "bad_kb_password",
                               "bad_kb_version",
                               "bad_kb_type",
                               "bad_kb_format",
                               "not_compiled",
                               "invalid_probability_potential",
                               "chain_graph",
                               "enumeration",
                               "no_equilibrium",
                               "low_density",
                               "zero_variance",
                               "inconsistency_or_underflow",
                               "overflow",
                               "cg_evidence_incorporated",
                               "normalization",
                               "compressed",
                               "table_too_large",
                               "invalid_evidence",
                               "case_state_too_large",
                               "no_value",
                               "parse",
                               "invalid_expression",
                               "syntax",
                               "division_by_zero",
                               "inappropriate_arguments",
                               "computation_failed",
                               "insufficient_state_range",
                               "invalid_state_values",
                               "cyclic_instance_hierarchy",
                               "illegal_binding",
                               "locale",
                               "invalid_license",
                               "expired_license",
                               "demo",
                               "error"};
  ASSERT_EQ(std::size(names), 48u);
  std::set<std::string> descriptions;
  for (unsigned code = 0; code < 48; ++code) {
    EXPECT_STREQ(tv_error_name(code), names[code]);
    descriptions.insert(tv_error_description(code));
  }
  EXPECT_EQ(descriptions.size(), 48u);
}

TEST(Status, DescriptionsKeepTheirQuotesAndSpaces) {
  EXPECT_STREQ(tv_error_description(tv_status_size_too_large),
               "The true size is too large to represent within the `size_t' type.");
  EXPECT_STREQ(
      tv_error_description(tv_status_error),
      "This is an \"impossible\" error.  It should never occur.  It might be caused by an error in the "
      "Tarvo API.");
  EXPECT_STREQ(
      tv_error_description(tv_status_invalid_evidence),
      "The specified evidence violates the \"free will\" condition, or evidence on a decision node is "
      "not an instantiation.");
}

TEST(Status, CodesOutOfRangeHaveAnAnswerToo) {
  for (const unsigned code : {48u, 49u, static_cast<unsigned>(-1)}) {
    EXPECT_STREQ(tv_error_name(code), "no_such_error");
    EXPECT_STREQ(tv_error_description(code), "No such error.");
  }
}

TEST(Status, QueriesLeaveItAlone) {
  tv::store_status(tv_status_io);
  tv_error_name(3);
  tv_error_description(99);
  EXPECT_EQ(tv_error_code(), tv_status_io);
  EXPECT_EQ(tv_error_code(), tv_status_io);
}

TEST(Status, EachThreadStartsFreshAndKeepsItsOwn) {
  tv_table_get_size(nullptr);
  ASSERT_EQ(tv_error_code(), tv_status_usage);
  tv_status_t fresh = -1, later = -1;
  std::thread([&] {
    fresh = tv_error_code();
    tv::store_status(tv_status_io);
    later = tv_error_code();
  }).join();
  EXPECT_EQ(fresh, tv_status_none);
  EXPECT_EQ(later, tv_status_io);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  std::thread([&] { fresh = tv_error_code(); }).join();  // nothing is left over from an ended thread
  EXPECT_EQ(fresh, tv_status_none);
}

TEST(Status, ASuccessfulCallClearsAnEarlierFailure) {
  EXPECT_EQ(tv_domain_set_log_file(nullptr, stderr), tv_status_usage);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  tv_domain_t* domain = tv_new_domain();
  ASSERT_NE(domain, nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_EQ(tv_domain_set_log_file(nullptr, nullptr), tv_status_usage);
  EXPECT_EQ(tv_domain_set_log_file(domain, stderr), tv_status_none);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_EQ(tv_domain_set_log_file(domain, nullptr), tv_status_none);
  EXPECT_EQ(tv_domain_delete(domain), tv_status_none);
}

TEST(Boundary, NoExceptionPassesAndEachHasItsCode) {
  const auto code_for = [](auto exception) {
    tv::store_status(tv_status_none);
    EXPECT_EQ(tv::guarded(-1, [&]() -> int { throw exception; }), -1);
    return tv_error_code();
  };
  EXPECT_EQ(code_for(std::bad_alloc()), tv_status_no_memory);
  EXPECT_EQ(code_for(std::bad_array_new_length()), tv_status_no_memory);
  EXPECT_EQ(code_for(std::length_error("long")), tv_status_no_memory);
  EXPECT_EQ(code_for(std::runtime_error("other")), tv_status_error);
  EXPECT_EQ(code_for(7), tv_status_error);
  EXPECT_EQ(tv::guarded([]() -> tv_status_t { throw std::bad_alloc(); }), tv_status_no_memory);
}

TEST(Boundary, StatusesAreStoredAndReturned) {
  tv::store_status(tv_status_io);
  EXPECT_EQ(tv::guarded([]() -> tv_status_t { return tv_status_none; }), tv_status_none);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_EQ(tv::guarded([]() -> tv_status_t { return tv_status_twice; }), tv_status_twice);
  EXPECT_EQ(tv_error_code(), tv_status_twice);
  EXPECT_EQ(tv::guarded(-1, [] { return 5; }), 5);
}

TEST(Boundary, ALaterCheckReplacesTheCodeOnlyWhenItFails) {
  EXPECT_TRUE(tv::check(true));
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_TRUE(tv::require(true, tv_status_twice));
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_FALSE(tv::require(false, tv_status_twice));
  EXPECT_EQ(tv_error_code(), tv_status_twice);
  EXPECT_FALSE(tv::check(false));
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

}  // namespace

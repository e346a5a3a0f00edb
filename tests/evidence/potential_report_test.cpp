// The report of suspicious potentials, as exact text.
#include "inference/answers/potential_report.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <string>

#include "network/domain.h"
#include "support/builders.h"

namespace {

struct Report {
  tv_status_t status;
  std::string text;
};

Report inspect(const test::DomainOwner& domain) {
  char* text = nullptr;
  size_t size = 0;
  std::FILE* stream = open_memstream(&text, &size);
  tv::Trace trace(stream);
  const tv_status_t status = tv::inspect_all_potentials(*domain, trace);
  std::fclose(stream);
  const Report report{status, std::string(text, size)};
  std::free(text);
  return report;
}

const char kHeading[] = "\n\nChecking conditional probability potentials:\n";

TEST(PotentialReport, SaysSoWhenNothingIsWrong) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* a = test::add_node(domain.get(), "A", 2, {}, {1, 3});
  test::add_node(domain.get(), "B", 2, {a}, {0.5f, 0.5f, 0, 1.00005f});
  test::add_node(domain.get(), "C", 2);
  const Report report = inspect(domain);
  EXPECT_EQ(report.status, tv_status_none);
  EXPECT_EQ(report.text, std::string(kHeading) + "\n    No errors found\n");

  const test::DomainOwner decisions = test::new_domain();
  tv_domain_new_node(decisions.get(), tv_category_decision, tv_kind_discrete);
  EXPECT_EQ(inspect(decisions).text,
            "\n\nChecking conditional probability and policy potentials:\n\n    No errors found\n");
}

TEST(PotentialReport, NamesEachFaultWithTheStatesOfTheParents) {
  const test::DomainOwner domain = test::new_domain();
  const float infinity = std::numeric_limits<float>::infinity();
  test::add_node(domain.get(), "Z", 2, {}, {0, 0});
  tv_node_t* a = test::add_node(domain.get(), "A", 2, {}, {0.5f, infinity});
  tv_node_set_state_label(a, 1, "on");
  tv_node_t* b = test::add_node(domain.get(), "B", 3);
  test::add_node(domain.get(), "C", 2, {a, b}, {1, 0, 1, 0, 1, 0, 1, 0, 0, 0, -0.25f, 1});
  const Report report = inspect(domain);
  EXPECT_EQ(report.status, tv_status_invalid_probability_potential);
  EXPECT_EQ(report.text, std::string(kHeading) +
                             "\nPotential for C has a zero-sum distribution for:\n"
                             "    A = \"on\"\n    B = #1\n"
                             "\nPotential for C has an invalid value (-0.25) for:\n"
                             "    A = \"on\"\n    B = #2\n"
                             "\nPotential for A has an invalid value (inf) for:\n"
                             "\nPotential for A is an infinite-sum distribution\n"
                             "\nPotential for Z is a zero-sum distribution\n");
}

TEST(PotentialReport, WarnsOfSumsThatDiffer) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* a = test::add_node(domain.get(), "A", 3);
  test::add_node(domain.get(), "B", 2, {a}, {1, 1, 0.5f, 0.5f, 3, 0});
  const Report report = inspect(domain);
  EXPECT_EQ(report.status, tv_status_none);
  EXPECT_EQ(report.text, std::string(kHeading) +
                             "\nWarning: Conditional distributions for B sum to different values:\n"
                             "    min = 1\n    max = 3\n");
}

TEST(PotentialReport, AFullDiskIsReported) {
  const test::DomainOwner domain = test::new_domain();
  test::add_node(domain.get(), "A", 2, {}, {0, 0});
  std::FILE* full = std::fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  std::setvbuf(full, nullptr, _IONBF, 0);
  tv::Trace trace(full);
  EXPECT_EQ(tv::inspect_all_potentials(*domain, trace), tv_status_io);
  std::fclose(full);
}

}  // namespace

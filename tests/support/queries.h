// Queries with owners.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "support/builders.h"

namespace test {

struct DeleteQuery {
  void operator()(tv_query_t* query) const { tv_query_delete(query); }
};
using QueryOwner = std::unique_ptr<tv_query_t, DeleteQuery>;

inline QueryOwner new_query(const DomainOwner& domain) {
  QueryOwner query(tv_domain_new_query(domain.get()));
  EXPECT_TRUE(query) << tv_error_message();
  return query;
}

}  // namespace test

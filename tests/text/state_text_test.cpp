// States and strings as files write them.
#include "text/state_text.h"

#include <gtest/gtest.h>

#include "support/builders.h"

namespace {

using tv::quoted_text;
using tv::state_text;

TEST(QuotedText, EscapesWhatAReaderWouldMisread) {
  EXPECT_EQ(quoted_text(""), "\"\"");
  EXPECT_EQ(quoted_text("say \"a\\b\""), "\"say \\\"a\\\\b\\\"\"");
  EXPECT_EQ(quoted_text("\t\r\n"), "\"\\t\\r\\n\"");
  EXPECT_EQ(quoted_text("\x01x"), "\"\\1x\"");
  EXPECT_EQ(quoted_text("\x01"
                        "7"),
            "\"\\0017\"");
  EXPECT_EQ(quoted_text("\x1f"
                        "8\x7f"),
            "\"\\378\\177\"");
  EXPECT_EQ(quoted_text("\xc3\xa5"), "\"\\303\\245\"");
}

TEST(StateText, NamesTheStateSoThatItCanBeReadBack) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* node = test::add_node(domain.get(), "A", 3);
  EXPECT_EQ(state_text(*node, 1), "#1");
  tv_node_set_state_label(node, 0, "high");
  tv_node_set_state_label(node, 1, "low");
  EXPECT_EQ(state_text(*node, 1), "\"low\"");
  EXPECT_EQ(state_text(*node, 2), "#2");
  tv_node_set_state_label(node, 2, "low");
  EXPECT_EQ(state_text(*node, 1), "#1") << "two states have this label";

  ASSERT_EQ(tv_node_set_subtype(node, tv_subtype_number), tv_status_none);
  EXPECT_EQ(state_text(*node, 0), "#0") << "values not set";
  const double values[] = {-0.5, 1.0 / 3, 1e20};
  for (size_t i = 0; i < 3; ++i) ASSERT_EQ(tv_node_set_state_value(node, i, values[i]), tv_status_none);
  EXPECT_EQ(state_text(*node, 1), "0.33333333");
  EXPECT_EQ(state_text(*node, 2), "1E+20");
  ASSERT_EQ(tv_node_set_subtype(node, tv_subtype_interval), tv_status_none);
  EXPECT_EQ(state_text(*node, 1), "#1");

  tv_node_t* truth = test::add_node(domain.get(), "B", 2);
  ASSERT_EQ(tv_node_set_subtype(truth, tv_subtype_boolean), tv_status_none);
  tv_node_set_state_label(truth, 1, "yes");
  EXPECT_EQ(state_text(*truth, 0), "false");
  EXPECT_EQ(state_text(*truth, 1), "true");
}

TEST(StateValues, MustIncreaseAndBeFiniteInside) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* node = test::add_node(domain.get(), "A", 2);
  ASSERT_EQ(tv_node_set_subtype(node, tv_subtype_interval), tv_status_none);
  EXPECT_FALSE(tv::state_values_are_valid(*node));
  tv_node_set_state_value(node, 1, 0);
  EXPECT_TRUE(tv::state_values_are_valid(*node)) << "the outer intervals are open";
  tv_node_set_state_value(node, 0, 0);
  EXPECT_FALSE(tv::state_values_are_valid(*node));
  ASSERT_EQ(tv_node_set_subtype(node, tv_subtype_number), tv_status_none);
  tv_node_set_state_value(node, 1, 2);
  EXPECT_TRUE(tv::state_values_are_valid(*node));
}

}  // namespace

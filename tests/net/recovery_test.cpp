// What a reader that goes on behind an error tells: every mistake of a text with its place, and nothing that
// only follows from another one.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "net_world.h"

namespace net_test {
namespace {

void tell_place(size_t, const char* message, void* data) {
  static_cast<std::vector<std::string>*>(data)->push_back(std::to_string(tv_error_line()) + ":" +
                                                          std::to_string(tv_error_column()) + " " + message);
}

using Told = std::vector<std::string>;

struct Outcome {
  Told told;
  bool succeeds = false;
  tv_status_t status = tv_status_none;
};

Outcome outcome_of_file(const std::string& name) {
  Outcome outcome;
  const DomainHandle domain(tv_net_parse_file(name.c_str(), tell_place, &outcome.told));
  outcome.succeeds = domain != nullptr;
  outcome.status = tv_error_code();
  return outcome;
}

Outcome outcome_of(const std::string& text) {
  Outcome outcome;
  const DomainHandle domain(tv_net_parse_buffer(text.data(), text.size(), tell_place, &outcome.told));
  outcome.succeeds = domain != nullptr;
  outcome.status = tv_error_code();
  const TextFile file(text);
  EXPECT_EQ(outcome.told, outcome_of_file(file.name()).told) << "a file is read like a text";
  return outcome;
}

TEST(Recovery, TellsOfEveryMistake) {
  const struct {
    const char* text;
    Told told;
    tv_status_t status = tv_status_parse;
  } tests[] = {
      {"node A { states = (\"a\" 1); label = 2; position = (1 x); colour = \"red\"; }\n"
       "potential (A) { data = (0.5 0.5); dat = 1; }\n",
       {"1:24 state or `)' expected", "1:36 string expected", "1:53 number expected",
        "2:39 unknown field: `dat'"}},
      // A semicolon is missing: what comes next is read all the same.
      {"node A {\n  label = \"x\"\n  states = (\"a\" \"b\");\n  subtype = bool\n}\n"
       "potential (A) { data = (1 2 3); }",
       {"3:3 `;' expected", "4:13 `label', `boolean', `number', or `interval' expected",
        "6:29 `)' expected"}},
      // A brace is missing, a block, a parenthesis.
      {"node A { states = (\"a\");\nnode B { states = (1); }\nnode C\nnode D { label = 3; }\n"
       "potential (A | B { data = 1; }\npotential (E) {}",
       {"2:6 `=' expected", "2:20 state or `)' expected", "4:1 `{' expected", "4:18 string expected",
        "5:18 `)' or a node name expected", "6:12 node `E' not found"}},
      // Strings that do not end take their line with them.
      {"node A {\n  label = \"never;\n  states = (\"a\" \"b);\n  subtype = label;\n}\n"
       "potential (A) { data = (1 1); }\nnode B { label = 1; }",
       {"2:11 string did not end", "3:17 string did not end", "7:18 string expected"}},
      // What a broken declaration leaves open is no mistake of what builds on it.
      {"knode A { x = { y }; }\nnode B { states = (\"a\" \"b\" 3); subtype = boolean; }\n"
       "node N { subtype = numbers; states = (\"\"); state_values = (1); }\n"
       "potential (A) { data = (1 2); }\npotential (B | A) { data = (1 2 3); }\n"
       "potential (B) { data = (1 2 3); }\npotential (B) {}\npotential (C) {}",
       {"1:1 unknown object type: knode", "2:28 state or `)' expected",
        "3:20 `label', `boolean', `number', or `interval' expected",
        "7:13 potential specified twice for node `B'", "8:12 node `C' not found"}},
      {"continuous node X {} utility U { label = 1; } node A { label = 2; } potential (U | A) {}",
       {"1:22 API error: LIMIDs with CG nodes are not supported.", "1:64 string expected"},
       tv_status_cg_limids_not_supported},
      {"node A { subtype = boolean; } & class C { node D {} }\nnode E { & }",
       {"1:29 a boolean node must have exactly two states", "1:31 unexpected character: `&'",
        "1:33 unknown object type: class", "2:10 unexpected character: `&'"}},
      {"node A { x = \"\\q\"; y = \"\"; y = \"\"; states = (\"\" \"\"",
       {"1:15 illegal escape sequence: `\\q'", "1:30 attribute `y' defined twice",
        "1:51 state or `)' expected"}},
      {"node A {} potential (A) { model_nodes = (); model_data = (1 + ); data = (1e999); }",
       {"1:63 unexpected token", "1:74 number is too large"},
       tv_status_syntax},
      {"\xEF\xBB\xBFnode\rA {\r\n&", {"3:1 unexpected character: `&'"}},
  };
  for (const auto& test : tests) {
    const Outcome outcome = outcome_of(test.text);
    EXPECT_EQ(test.told, outcome.told) << test.text;
    EXPECT_EQ(test.status, outcome.status) << test.text;
    EXPECT_FALSE(outcome.succeeds);
  }
}

TEST(Recovery, StopsAtTheTenth) {
  std::string text;
  for (int i = 0; i < 30; ++i) text += "node N" + std::to_string(i) + " { label = 1; }\n";
  EXPECT_EQ(10u, outcome_of(text).told.size());
  EXPECT_EQ(10u, outcome_of(std::string(100, '&')).told.size());
}

// Whatever is cut off or put in, the parser comes to an end and never takes a wrong text for a right one.
TEST(Recovery, ComesToAnEnd) {
  const std::string text =
      "net { name = \"n\"; }\nnode A { states = (\"a\" \"b\"); subtype = boolean; }\n"
      "continuous node X { position = (1 2); }\npotential (A) { data = (0.5 0.5); }\n"
      "potential (X | A) { data = (normal (1, 2) normal (0, 1)); }\n";
  ASSERT_TRUE(outcome_of(text).succeeds);
  for (size_t place = 0; place < text.size(); ++place)
    for (const char* piece : {"", "}", "{", ";", "(", ")", "\"", "=", "node ", "1", "&", "|"}) {
      for (const bool cut : {false, true}) {
        const std::string changed =
            text.substr(0, place) + piece + (cut ? "" : text.substr(place + (*piece == 0)));
        Told told;
        const DomainHandle domain(tv_net_parse_buffer(changed.data(), changed.size(), tell_place, &told));
        const auto is_error = [](const std::string& message) {
          return message.find("warning: ") == message.npos;
        };
        const auto errors = std::count_if(told.begin(), told.end(), is_error);
        ASSERT_EQ(domain == nullptr, errors > 0) << changed;
        ASSERT_LE(errors, 10) << changed;
        const DomainHandle strict(tv_net_parse_from_string(changed.c_str(), nullptr));
        ASSERT_EQ(domain == nullptr, strict == nullptr) << changed;
      }
    }
}

TEST(Recovery, ReadsFilesOfAnyNameAndBuffersOfAnyLength) {
  const std::string name = "/tmp/net_test_" + std::to_string(getpid());
  for (const std::string& file : {name + "/net 1.net", name + "/node{"}) {
    mkdir(name.c_str(), 0700);
    ASSERT_EQ(0, chdir(name.c_str()));
    FILE* stream = fopen(file.c_str(), "w");
    fputs("node A {}", stream);
    fclose(stream);
    const std::string base = file.substr(name.size() + 1);
    const DomainHandle domain(tv_net_parse_file(base.c_str(), nullptr, nullptr));
    ASSERT_NE(nullptr, domain);
    EXPECT_EQ(base, tv_domain_get_file_name(domain.get()));
    ASSERT_EQ(0, chdir("/"));
    remove(file.c_str());
  }
  remove(name.c_str());
  EXPECT_EQ(tv_status_io, outcome_of_file(name).status);
  EXPECT_EQ(0u, tv_error_line());
  EXPECT_EQ(nullptr, tv_net_parse_file(nullptr, nullptr, nullptr));
  EXPECT_EQ(tv_status_usage, tv_error_code());
  EXPECT_EQ(nullptr, tv_net_parse_buffer(nullptr, 0, nullptr, nullptr));
  EXPECT_EQ(tv_status_usage, tv_error_code());

  const char text[] = "node A {} node B {} no more";
  const DomainHandle domain(tv_net_parse_buffer(text, strlen("node A {} node B {}"), nullptr, nullptr));
  ASSERT_NE(nullptr, domain);
  EXPECT_EQ(2u, tv_domain_get_number_of_nodes(domain.get()));
  const DomainHandle empty(tv_net_parse_buffer("", 0, nullptr, nullptr));
  EXPECT_NE(nullptr, empty);
  EXPECT_EQ((Told{"1:10 unexpected character: `"}), outcome_of(std::string("node A {}\0", 10)).told);
}

}  // namespace
}  // namespace net_test

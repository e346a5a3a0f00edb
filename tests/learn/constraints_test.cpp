// Constraints: as text, and against each other, the settings and the nodes of a domain.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "learner_world.h"

namespace test {
namespace {

// What the parser tells about a text: "position: message" lines; the learner is what it was.
std::string errors_of(const std::string& text) {
  const Learner learner;
  tv_structure_learner_set_tier(learner.get(), "old", 7);
  const std::string before = text_of(learner);
  Messages messages;
  EXPECT_EQ(parse(learner, text, &messages), tv_status_parse) << text;
  EXPECT_EQ(text_of(learner), before) << text;
  return messages.text;
}

TEST(ConstraintText, IsWrittenAsItIsRead) {
  const std::string text =
      "tier 1: age, sex;\n"
      "tier 18446744073709551614: lung.cancer, \"two words\";\n"
      "no links in tier 1;\n"
      "no links in tier 3;\n"
      "require smoker -> \"2\\\"b\\\\\\n\\377\";\n"
      "require age - sex;\n"
      "forbid lung.cancer -> smoker;\n"
      "forbid tier - no;\n";
  const Learner learner;
  ASSERT_EQ(parse(learner, text), tv_status_none);
  EXPECT_EQ(text_of(learner), text);
  // Once more, and as functions say it: nothing new.
  ASSERT_EQ(parse(learner, text), tv_status_none);
  tv_structure_learner_set_tier(learner.get(), "age", 1);
  tv_structure_learner_forbid_adjacency(learner.get(), "tier", "no");
  tv_structure_learner_forbid_link(learner.get(), "lung.cancer", "smoker");
  tv_structure_learner_require_link(learner.get(), "smoker", "2\"b\\\n\377");
  tv_structure_learner_forbid_links_in_tier(learner.get(), 3);
  EXPECT_EQ(text_of(learner), text);
}

TEST(ConstraintText, HasListsArrowsAndComments) {
  const Learner learner;
  ASSERT_EQ(parse(learner, "require a->b,c<-d , e-f;forbid a <- % odd\n b;tier 2:x,y;tier 2:z;"),
            tv_status_none);
  EXPECT_EQ(text_of(learner),
            "tier 2: x, y, z;\nrequire a -> b;\nrequire d -> c;\nrequire e - f;\nforbid b -> a;\n");
  std::string wide;
  for (int i = 100; i < 160; ++i) wide += (i > 100 ? ", node_" : "node_") + std::to_string(i);
  tv_structure_learner_clear_constraints(learner.get());
  ASSERT_EQ(parse(learner, "tier 0: " + wide + ";"), tv_status_none);
  const std::string written = text_of(learner);
  EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), 7);
  for (size_t line = 0; line < written.size(); line = written.find('\n', line) + 1)
    ASSERT_LE(written.find('\n', line) - line, 100u) << written;
  const Learner again;
  ASSERT_EQ(parse(again, written), tv_status_none);
  EXPECT_EQ(text_of(again), written);
}

TEST(ConstraintText, TellsWhatIsWrong) {
  EXPECT_EQ(errors_of("teir 1: a;"), "4: `tier', `no', `require' or `forbid' expected\n");
  EXPECT_EQ(errors_of("tier -1: a;"), "6: the number of a tier expected\n");
  EXPECT_EQ(errors_of("tier 1.5: a;"), "8: the number of a tier expected\n");
  EXPECT_EQ(errors_of("tier 18446744073709551616: a;"), "25: the number of a tier expected\n");
  EXPECT_EQ(errors_of("tier 1 a;"), "8: `:' expected\n");
  EXPECT_EQ(errors_of("tier 1: ;"), "9: the name of a node expected\n");
  EXPECT_EQ(errors_of("tier 1: a b;"), "11: `,' or `;' expected\n");
  EXPECT_EQ(errors_of("tier 1: a, b; tier 2: c, a, b;"),
            "26: node `a' has two tiers\n29: node `b' has two tiers\n");
  EXPECT_EQ(errors_of("tier 1: old;"), "11: node `old' has two tiers\n");
  EXPECT_EQ(errors_of("no link in tier 1;"), "7: `no links in tier' expected\n");
  EXPECT_EQ(errors_of("require a -> a;"), "14: a link from node `a' to itself\n");
  EXPECT_EQ(errors_of("require a - > b;"), "13: the name of a node expected\n");
  EXPECT_EQ(errors_of("require a < - b;"), "13: `<-' expected\n");
  EXPECT_EQ(errors_of("require a => b;"), "11: `->', `<-' or `-' expected\n");
  EXPECT_EQ(errors_of("forbid a - b"), "12: `,' or `;' expected\n");
  // One broken statement does not hide the next one.
  EXPECT_EQ(errors_of("tier 1 a; & require b; forbid \"x\\q\" - y; no;"),
            "8: `:' expected\n11: unexpected character: `&'\n34: illegal escape sequence: `\\q'\n"
            "44: `no links in tier' expected\n");
  std::string many = "require a - a";
  for (int i = 0; i < 40; ++i) many += ", a - a";
  const std::string told = errors_of(many + "; no; no;");
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 20);
}

TEST(ConstraintText, StandsInFiles) {
  const std::string file = testing::TempDir() + "tarvo_constraints_" + std::to_string(getpid());
  const Learner learner;
  Messages messages;
  const auto read = [&](const char* text) {
    std::ofstream(file) << text;
    return tv_structure_learner_parse_constraints(learner.get(), file.c_str(), Messages::collect, &messages);
  };
  EXPECT_EQ(read("tier 1: a;\r\n\r\nrequire a -> b;"), tv_status_none);
  EXPECT_EQ(read("tier 1: c;\n\nrequire a;\n"), tv_status_parse);
  EXPECT_EQ(messages.text, "3: `->', `<-' or `-' expected\n");
  EXPECT_EQ(text_of(learner), "tier 1: a;\nrequire a -> b;\n");
  unlink(file.c_str());
  EXPECT_EQ(tv_structure_learner_parse_constraints(learner.get(), file.c_str(), nullptr, nullptr),
            tv_status_io);
}

// Discrete nodes a to f, continuous x and y, and a function.
struct Clinic {
  Clinic() {
    for (const char* name : {"f", "e", "d", "c", "b", "a"}) add_node(domain.get(), name, 2);
    for (const char* name : {"y", "x"})
      tv_node_set_name(tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous), name);
    tv_node_set_name(tv_domain_new_node(domain.get(), tv_category_function, tv_kind_other), "sum");
  }

  // The messages that these constraints get, a line each; the status is that of the first.
  std::string check(const std::string& text, tv_structure_method_t method = tv_structure_method_greedy,
                    const char* target = nullptr, size_t max_parents = SIZE_MAX) {
    const Learner learner;
    EXPECT_EQ(parse(learner, text), tv_status_none) << text;
    tv_structure_learner_set_method(learner.get(), method);
    tv_structure_learner_set_target(learner.get(), target);
    tv_structure_learner_set_max_parents(learner.get(), max_parents);
    for (const std::string& name : left_out) tv_structure_learner_leave_out_node(learner.get(), name.c_str());
    Messages messages;
    status = tv_domain_check_constraints(domain.get(), learner.get(), Messages::collect, &messages);
    const std::string explanation = status == tv_status_none ? "" : tv_error_message();
    std::string told = without_positions(messages.text);
    EXPECT_NE(told.find(explanation), std::string::npos) << explanation;
    EXPECT_EQ(told.empty(), status == tv_status_none) << told;
    return told;
  }

  DomainOwner domain = new_domain();
  std::vector<std::string> left_out;
  tv_status_t status = tv_status_none;
};

TEST(Constraints, NameNodesThatTakePart) {
  Clinic clinic;
  EXPECT_EQ(clinic.check("require a -> b; forbid c - d; tier 1: a; tier 2: b, c; no links in tier 9;"), "");
  clinic.left_out = {"f", "no_such_node"};
  EXPECT_EQ(clinic.check("tier 1: q; forbid q -> sum; require a -> f, f -> b;"),
            "constraints name \"q\", which is no node of the domain\n"
            "constraints name node \"f\", which is left out\n"
            "constraints name node \"sum\", which is no chance node\n");
  EXPECT_EQ(clinic.status, tv_status_usage);
}

TEST(Constraints, ContradictEachOther) {
  Clinic clinic;
  EXPECT_EQ(clinic.check("require a -> b; forbid a -> b;"),
            "the link \"a\" -> \"b\" is required, but \"a\" -> \"b\" is forbidden\n");
  EXPECT_EQ(clinic.check("require b -> a; forbid a - b;"),
            "the link \"b\" -> \"a\" is required, but links between the two are forbidden\n");
  EXPECT_EQ(clinic.check("require a -> b, b -> a;"),
            "the link \"a\" -> \"b\" is required, but \"b\" -> \"a\" is required\n");
  EXPECT_EQ(clinic.check("tier 1: a; tier 2: b; require b -> a; require a - b;"),
            "the link \"b\" -> \"a\" is required, but \"a\" is in an earlier tier than \"b\"\n"
            "a link between \"a\" and \"b\" is required, but \"b\" -> \"a\" is required, and \"a\" is in an "
            "earlier tier than \"b\"\n");
  EXPECT_EQ(clinic.check("tier 1: a, b; no links in tier 1; require b - a; require a -> c;"),
            "a link between \"b\" and \"a\" is required, but \"a\" and \"b\" are in tier 1, which has no "
            "links\n");
  EXPECT_EQ(clinic.check("require x -> a; require b - y, x - y;"),
            "the link \"x\" -> \"a\" is required, but the continuous node \"x\" can be no parent of \"a\", "
            "which is discrete\n");
  EXPECT_EQ(clinic.check("forbid a -> b; require a - b;"), "");
}

TEST(Constraints, CloseNoCycle) {
  Clinic clinic;
  EXPECT_EQ(clinic.check("require b -> c, c -> d, d -> b, a -> b;"),
            "the required links close a cycle: \"b\" -> \"c\" -> \"d\" -> \"b\"\n");
  EXPECT_EQ(clinic.status, tv_status_cyclic_network);
  // Where one direction alone is allowed, links without a direction have one.
  EXPECT_NE(clinic.check("require b -> c, c - d, d -> b; forbid d -> c;"), "");
  EXPECT_NE(clinic.check("tier 1: c; tier 2: d; require b -> c, c - d, d -> b;"), "");
  EXPECT_EQ(clinic.check("require b -> c, c - d, d -> b;"), "");
  EXPECT_EQ(clinic.check("require a -> b, a -> c, b -> d, c -> d;"), "");
}

TEST(Constraints, KeepTheLimitOfParents) {
  Clinic clinic;
  const auto limited = [&](const char* text, size_t limit) {
    return clinic.check(text, tv_structure_method_exact, nullptr, limit);
  };
  EXPECT_EQ(limited("require a -> c, b -> c, c -> d;", 1),
            "the required links give node \"c\" more than 1 parent\n");
  EXPECT_EQ(limited("require a -> c, b -> c;", 2), "");
  EXPECT_EQ(clinic.check("require a -> c, b -> c;", tv_structure_method_tests, nullptr, 1), "");
  // All six links among four nodes: some node has three parents.
  const char* const all = "require a - b, a - c, a - d, b - c, b - d, c - d;";
  EXPECT_EQ(limited(all, 2), "whichever way the required links lead, some node has more than 2 parents\n");
  EXPECT_EQ(limited(all, 3), "");
  EXPECT_EQ(limited("require a - b, b - c, c - a;", 2), "");
  EXPECT_NE(limited("require a - b, b - c, c - a;", 1), "");
  EXPECT_EQ(limited("require a - b, b - c, c - d;", 1), "");
  EXPECT_NE(limited("require a -> b, b - c, d -> c;", 1), "");
  EXPECT_NE(limited("require a - b;", 0), "");
}

TEST(Constraints, FitTrees) {
  Clinic clinic;
  const auto tree = [&](const char* text, const char* target = nullptr) {
    return clinic.check(text, tv_structure_method_tree, target);
  };
  EXPECT_EQ(tree("require a -> b, b -> c, c - d; forbid a - f;"), "");
  EXPECT_EQ(tree("require a -> b, c -> b;"),
            "the required links give node \"b\" the parents \"a\" and \"c\", where a tree gives one\n");
  EXPECT_EQ(tree("require a - b, b - c, c - d, d - b;"),
            "the required links \"b\" - \"c\" - \"d\" - \"b\" are no part of a tree\n");
  EXPECT_EQ(tree("require a -> b;", "b"),
            "the required link from \"a\" leads into the root of the tree, \"b\"\n");
  EXPECT_EQ(tree("require a -> b;", "a"), "");
  EXPECT_EQ(tree("require c - d, d - e; forbid e -> d;", "e"),
            "the required link from \"d\" leads into the root of the tree, \"e\"\n");
  EXPECT_EQ(
      tree("require a -> b, b - c, d -> c;"),
      "the required links about node \"a\" cannot all lead away from one node, as those of a tree do\n");
  EXPECT_EQ(
      tree("require a -> b, b - c;", "c"),
      "the required links about node \"a\" cannot all lead away from the target, as those of a tree do\n");
  EXPECT_EQ(tree("require a -> b, b - c;", "d"), "");
  EXPECT_EQ(tree("", "q"), "the target is \"q\", which is no node of the domain\n");
  EXPECT_EQ(tree("", "x"), "");
}

TEST(Constraints, FitClassifiers) {
  Clinic clinic;
  const auto classify = [&](tv_structure_method_t method, const char* text, const char* target = "c") {
    return clinic.check(text, method, target);
  };
  const auto naive = tv_structure_method_naive_bayes, tan = tv_structure_method_tan;
  for (const auto method : {naive, tan}) {
    EXPECT_EQ(classify(method, "require c -> a, c - x; forbid a - b, d -> c;"), "");
    EXPECT_EQ(classify(method, "forbid c -> a;"),
              "the method links the target \"c\" to \"a\", but \"c\" -> \"a\" is forbidden\n");
    EXPECT_EQ(classify(method, "tier 1: a; tier 2: c;"),
              "the method links the target \"c\" to \"a\", but \"a\" is in an earlier tier than \"c\"\n");
    EXPECT_EQ(classify(method, "", nullptr), "classification needs a target\n");
    EXPECT_EQ(classify(method, "", "sum"), "the target is node \"sum\", which is no chance node\n");
    EXPECT_EQ(classify(method, "", "x"),
              "the target \"x\" is continuous, where classification needs a discrete node\n");
  }
  EXPECT_EQ(classify(naive, "require a - b;"),
            "a link between \"a\" and \"b\" is required, but the method never has it\n");
  EXPECT_EQ(classify(tan, "require c -> a, a -> b, b -> d;"), "");
  EXPECT_NE(classify(tan, "require a -> b, d -> b;"), "");
  EXPECT_NE(classify(tan, "require a - b, b - d, d - a;"), "");

  const auto hierarchical = tv_structure_method_hierarchical;
  EXPECT_NE(classify(hierarchical, ""), "");  // there are continuous nodes
  clinic.left_out = {"x", "y"};
  EXPECT_EQ(classify(hierarchical, "forbid a - b, d -> c; tier 3: c; tier 4: e;"), "");
  EXPECT_NE(classify(hierarchical, "require c -> a;"), "");
  EXPECT_NE(classify(hierarchical, "forbid c -> a;"), "");
}

// A table over nodes of so many states would have 2^40 entries.
TEST(Constraints, AskForNoTableBeyondAllCounts) {
  const DomainOwner domain = new_domain();
  const Learner learner;
  tv_node_t* const child = add_node(domain.get(), "child", 1 << 10);
  for (const char* name : {"a", "b", "c"}) {
    add_node(domain.get(), name, 1 << 10);
    EXPECT_EQ(tv_domain_check_constraints(domain.get(), learner.get(), nullptr, nullptr), tv_status_none);
    tv_structure_learner_require_link(learner.get(), name, "child");
  }
  EXPECT_EQ(tv_domain_check_constraints(domain.get(), learner.get(), nullptr, nullptr),
            tv_status_size_too_large);
  EXPECT_NE(std::string(tv_error_message()).find("\"child\""), std::string::npos);
  EXPECT_EQ(tv_node_set_number_of_states(child, 1), tv_status_none);
  EXPECT_EQ(tv_domain_check_constraints(domain.get(), learner.get(), nullptr, nullptr), tv_status_none);
}

TEST(Constraints, AreCheckedWithTheScore) {
  Clinic clinic;
  const Learner learner;
  const auto status_of = [&](tv_structure_method_t method, tv_structure_score_t score) {
    tv_structure_learner_set_method(learner.get(), method);
    tv_structure_learner_set_score(learner.get(), score);
    return tv_domain_check_constraints(clinic.domain.get(), learner.get(), nullptr, nullptr);
  };
  EXPECT_EQ(status_of(tv_structure_method_greedy, tv_structure_score_bic), tv_status_none);
  EXPECT_EQ(status_of(tv_structure_method_tests, tv_structure_score_bdeu), tv_status_none);
  EXPECT_EQ(status_of(tv_structure_method_greedy, tv_structure_score_bdeu), tv_status_usage);
  EXPECT_EQ(status_of(tv_structure_method_tree, tv_structure_score_k2), tv_status_usage);
  for (const char* name : {"x", "y"}) tv_structure_learner_leave_out_node(learner.get(), name);
  EXPECT_EQ(status_of(tv_structure_method_greedy, tv_structure_score_bdeu), tv_status_none);
  tv_structure_learner_set_target(learner.get(), "c");
  EXPECT_EQ(status_of(tv_structure_method_hierarchical, tv_structure_score_bic), tv_status_none);
  tv_structure_learner_set_max_completions(learner.get(), 1);
  EXPECT_EQ(status_of(tv_structure_method_hierarchical, tv_structure_score_bic), tv_status_usage);
  for (const char* name : {"a", "b", "c", "d", "e", "f"})
    tv_structure_learner_leave_out_node(learner.get(), name);
  EXPECT_EQ(status_of(tv_structure_method_greedy, tv_structure_score_bdeu), tv_status_usage);
  EXPECT_STREQ(tv_error_message(), "the domain has no chance node that is not left out");
}

}  // namespace
}  // namespace test

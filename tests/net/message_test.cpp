// Every message of the parser, with its status and its position in a string and in a file.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "net_world.h"

namespace net_test {
namespace {

struct Case {
  const char* text;  // the marker ^ stands where reading stopped; it is taken out
  std::string message;
  tv_status_t status = tv_status_parse;
};

std::string api_error(tv_status_t status) {
  return std::string("API error: ") + tv_error_description(static_cast<unsigned>(status));
}

// Nodes for the potentials below.
const std::string kNodes =
    "node A { states = (\"a\" \"b\"); } node B { states = (\"x\" \"y\" \"z\"); }\n"
    "decision D { states = (\"d\"); } utility U {} function F {} discrete function G {}\n";
const std::string kContinuous =
    "node A { states = (\"a\" \"b\"); } continuous node X {} continuous node Y {}\n";

void expect_message(const std::string& prefix, const Case& test) {
  std::string text = prefix + test.text;
  size_t stop = text.find('^');
  ASSERT_NE(std::string::npos, stop) << test.text;
  text.erase(stop, 1);
  const size_t line = 1 + static_cast<size_t>(std::count(text.begin(), text.begin() + stop, '\n'));
  const TextFile file(text);
  for (const bool from_file : {false, true}) {
    const Parsed parsed = parse(from_file ? file.name() : text);
    EXPECT_EQ(nullptr, parsed.domain) << text;
    EXPECT_EQ(test.status, parsed.status) << text;
    const Message expected{from_file ? line : stop, test.message};
    EXPECT_EQ(std::vector<Message>{expected}, parsed.messages) << text;
  }
}

TEST(Messages, OfItemsAndTheNetBlock) {
  const Case cases[] = {
      {"\n(^", "unexpected token"},
      {"\n1^", "unexpected token"},
      {"\nnet.x^", "unexpected token"},
      {"nodes^ A", "unknown object type: nodes"},
      {"class^ C {}", "unknown object type: class"},
      {"continuous decision^ A", "keyword `node' expected"},
      {"discrete utility^ A", "keyword `node', `decision', or `function' expected"},
      {"discrete\n{^", "keyword `node', `decision', or `function' expected"},
      {"net\n\n(^", "`{' expected"},
      {"net { (^", "`}' or an attribute name expected"},
      {"net {^", "`}' or an attribute name expected"},
      {"net { a 1^", "`=' expected"},
      {"net { a = \"\" }^", "`;' expected"},
      {"net { a = 1^; }", "value of a user-defined attribute must be a string"},
      {"net { a = \"\"; a =^ \"\"; }", "attribute `a' defined twice"},
      {"net { a = \"\"; } net { a =^ \"\"; }", "attribute `a' defined twice"},
      {"net { node_size = 1^ }", "`(' expected"},
      {"net { node_size = (1 )^ }", "number expected"},
      {"net { node_size = (1 2 3^) }", "`)' expected"},
      {"net { node_size = (1 -1)^; }", "<number> must be nonnegative"},
      {"net { inputs = A^; }", "`(' expected"},
      {"net { outputs = (A 1^); }", "node name or `)' expected"},
      {"net { inputs = (); inputs =^ (); }", "attribute `inputs' defined twice"},
  };
  for (const Case& test : cases) expect_message("net {} ", test);
}

TEST(Messages, OfTheLexer) {
  const Case cases[] = {
      {"net { a = \"b^\n\"; }", "string did not end"},
      {"net { a = \"\\q^\"; }", "illegal escape sequence: `\\q'"},
      {"net { a = !^\"\"; }", "unexpected character: `!'"},
      {"node a.^ {}", "`.' must be followed by a letter or an `_'"},
      {"node A { position = (\n1 1e400^) }", "number is too large"},
  };
  for (const Case& test : cases) expect_message("net {} ", test);
}

TEST(Messages, OfNodes) {
  const Case cases[] = {
      {"node {^", "name expected"},
      {"node\nA^ {}", "a node with name `A' already exists"},
      {"node C ;^", "`{' expected"},
      {"node C { =^", "`}' or an attribute name expected"},
      {"node C { label = 1^", "string expected"},
      {"node C { label = \"\"; label =^ \"\"; }", "attribute `label' defined twice"},
      {"node C { x = 1^", "value of a user-defined attribute must be a string"},
      {"node C { x = \"\"; x =^ \"\"; }", "attribute `x' defined twice"},
      {"node C { position = (1 -^) }", "number expected"},
      {"node C { states = \"a\"^ }", "`(' expected"},
      {"node C { states = ()^ }", "empty list of states"},
      {"node C { states = (\"a\"\n1^) }", "state or `)' expected"},
      {"node C { states = (\"a\"); states =^ (\"b\"); }", "states specified twice (or more)"},
      {"utility C { states =^ (\"a\"); }", "only discrete nodes can have states"},
      {"function C { states =^ (\"a\"); }", "only discrete nodes can have states"},
      {"utility C { subtype =^ label; }", "subtype designations only make sense for discrete nodes"},
      {"node C { subtype = other^; }", "`label', `boolean', `number', or `interval' expected"},
      {"node C { subtype = \"label\"^; }", "`label', `boolean', `number', or `interval' expected"},
      {"node C { subtype = label; subtype =^ label; }", "attribute `subtype' defined twice"},
      {"utility C { state_values =^ (1); }", "only discrete nodes can have state values"},
      {"node C { states = (\"a\"); state_values =^ (1); }", "only numeric nodes can have state values"},
      {"node C { subtype = boolean; states = (\"a\" \"b\"); state_values =^ (0 1); }",
       "only numeric nodes can have state values"},
      {"node C { subtype = number; state_values =^ (1); }", "states must be specified before state values"},
      {"node C { subtype = boolean; states = (\"a\" \"b\" \"c\"); }^",
       "a boolean node must have exactly two states"},
      {"node C { subtype = boolean; }^", "a boolean node must have exactly two states"},
  };
  for (const Case& test : cases) expect_message(kNodes, test);
}

TEST(Messages, OfStateValues) {
  const Case cases[] = {
      {"subtype = number; state_values = 1^;", "`(' expected"},
      {"subtype = number; state_values = (1)^;", "incorrect number of state values"},
      {"subtype = number; state_values = (1 2 3^);", "incorrect number of state values"},
      {"subtype = interval; state_values = (1 2)^;", "incorrect number of state values"},
      {"subtype = interval; state_values = (1 2 3 4^);", "incorrect number of state values"},
      {"subtype = number; state_values = (1 \"2\"^);", "state value expected"},
      {"subtype = number; state_values = (1 - )^;", "state value expected"},
      {"subtype = number; state_values = (1 --^2);", "state value expected"},
      {"subtype = number; state_values = (1 inf^);", "state value expected"},
      {"subtype = number; state_values = (1 2); state_values =^ (1 2);",
       "state values have already been specified"},
  };
  for (const Case& test : cases) expect_message("node C { states = (\"a\" \"b\");\n", test);
  const std::string invalid = api_error(tv_status_usage);
  const Case infinite{"subtype = number; state_values = (1 infinity^); }", invalid.c_str(), tv_status_usage};
  expect_message("node C { states = (\"a\" \"b\");\n", infinite);
}

TEST(Messages, OfPotentialHeads) {
  const Case cases[] = {
      {"potential A^", "`(' expected"},
      {"potential ()^", "empty child node list"},
      {"potential ( |^ A)", "empty child node list"},
      {"potential ({^", "`|', `)', or a node name expected"},
      {"potential (A ;^", "`|', `)', or a node name expected"},
      {"potential (A | B |^", "`)' or a node name expected"},
      {"potential (A | B {^", "`)' or a node name expected"},
      {"potential (a^)", "node `a' not found"},
      {"potential (C.A^)", "node `C.A' not found"},
      {"potential (A | B.C^)", "node `B' is not an instance node"},
      {"potential (A | A^)", "node `A' appears twice in potential specification"},
      {"potential (A | B B^)", "node `B' appears twice in potential specification"},
      {"potential (A | U)^", "utility node `U' specified as parent"},
      {"potential (A | F B)^", "real-valued function parents must appear last"},
      {"potential (A) (^", "`{' expected"},
  };
  for (const Case& test : cases) expect_message(kNodes, test);
  const Case continuous[] = {
      {"potential (A | X)^", "continuous node `X' is not allowed as parent of discrete node `A'"},
      {"potential (X | Y A)^", "discrete parents must appear first"},
  };
  for (const Case& test : continuous) expect_message(kContinuous, test);
}

TEST(Messages, OfChainPotentials) {
  const std::string nodes = kNodes + "node C {} node E {}\n";
  const Case cases[] = {
      {"potential (A D)^ {}", "undirected links can only be specified for discrete chance nodes"},
      {"potential (A G)^ {}", "undirected links can only be specified for discrete chance nodes"},
      {"potential (U A)^ {}", "undirected links can only be specified for discrete chance nodes"},
      {"potential (A F)^ {}", "real-valued function nodes are not allowed in chain potentials"},
      {"potential (A B | F)^ {}", "real-valued function nodes are not allowed in chain potentials"},
      {"potential (A B | U)^ {}", "utility node `U' specified as parent"},
      {"potential (A B | A^) {}", "node `A' appears twice in potential specification"},
      {"potential (A B) { data = (1 2 3 4 5 6); } potential (B A)^ {}", "links specified twice for B"},
      {"potential (A B | C) { data = (1 2 3 4 5 6); } potential (A | D)^ {}",
       "potential for node A must include all parents"},
      {"potential (A | D) { data = (1 2); } potential (A B | D C)^ {}",
       "the directed link C --> A should have been included in the potential for A"},
      {"potential (C | A) { data = (1 2); } potential (A B | C)^ {}",
       "adding the link C --> A creates a directed cycle"},
      {"potential (C | A) { data = (1 2); } potential (A C)^ {}",
       "adding chain potential creates a directed cycle"},
      {"potential (C | A) { data = (1 2); } potential (E C) { data = (1); } potential (E A)^ {}",
       "adding chain potential creates a directed cycle"},
      {"potential (A C) { data = (1 2); } potential (E | A) { data = (1 2); } potential (C | E)^ {}",
       "adding the link E --> C creates a directed cycle"},
      {"potential (A B) { model_nodes =^ (); }", "models cannot be specified for chain graph potentials"},
      {"potential (A) { model_nodes = (); } potential (A B) { model_data =^ (1); }",
       "`model_nodes' attribute has not been specified"},
      {"potential (A B) { experience =^ 1; }",
       "experience data cannot be specified for chain graph potentials"},
      {"potential (A B) { fading =^ 1; }", "fading data cannot be specified for chain graph potentials"},
      {"potential (A B) { data = ((1 2 3)(4 5 6)); data =^ (1); }", "`data' attribute specified twice"},
      {"potential (A B) { data = ((1 2 3)(4 5)^ ", "number expected"},
      {"potential (A B) { data = (1 2 3 4 5 -6^ ", "<number> must be nonnegative"},
  };
  for (const Case& test : cases) expect_message(nodes, test);

  // What a function node makes of the parent of A reaches C: the two cannot be propagated together.
  const Parsed trail = parse(
      "node A { states = (\"\"); } node C { states = (\"\"); } node X { states = (\"\"); } function F {}\n"
      "potential (A | X) { data = (1); } potential (F | X) {} potential (C | F) { data = (1); } potential (A "
      "C) {}");
  EXPECT_EQ(nullptr, trail.domain);
  ASSERT_FALSE(trail.messages.empty());
  EXPECT_EQ("adding chain potential creates a cyclic functional dependency", trail.messages.back().text);
}

TEST(Messages, OfPotentialsAfterAWarning) {
  const std::string text = "node A {} node B {} potential (A | B) {}\n";
  const Case cases[] = {
      {"potential (A) {}", "potential specified twice for node `A'"},
      {"potential (B | A) {}", "adding the link A --> B creates a directed cycle"},
  };
  for (const Case& test : cases) {
    const Parsed parsed = parse(text + test.text);
    EXPECT_EQ(nullptr, parsed.domain);
    EXPECT_EQ(tv_status_parse, parsed.status);
    ASSERT_EQ(2u, parsed.messages.size());
    EXPECT_EQ("warning: no potential data specified", parsed.messages[0].text);
    EXPECT_EQ(text.size() - 1, parsed.messages[0].position);
    EXPECT_EQ(test.message, parsed.messages[1].text);
  }
}

TEST(Messages, OfFields) {
  const Case cases[] = {
      {"(A) { (^", "`}' or an attribute name expected"},
      {"(A) { data (^", "`=' expected"},
      {"(A) { data = (0.5 0.5) }^", "`;' expected"},
      {"(A) { date =^ 1; }", "unknown field: `date'"},
      {"(A) { data = (0.5 0.5); data =^ (0.5 0.5); }", "`data' attribute specified twice"},
      {"(F) { data =^ (0.5); }", "`data' attribute is not allowed for real-valued function nodes"},
      {"(D) { experience =^ 1; }", "experience data can only be specified for chance nodes"},
      {"(D) { fading =^ 1; }", "fading data can only be specified for discrete chance nodes"},
      {"(A) { experience = 1; experience =^ 1; }", "`experience' attribute specified twice"},
      {"(A) { fading = 1; fading =^ 1; }", "`fading' attribute specified twice"},
      {"(A) { model_data =^ (1); }", "`model_nodes' attribute has not been specified"},
      {"(A) { samples_per_interval =^ 5; }", "`model_nodes' attribute has not been specified"},
      {"(A) { model_nodes = (^", "`)' or a node name expected"},
      {"(A) { model_nodes = Q^", "`(' expected"},
      {"(A) { model_nodes = (); model_nodes =^ (); }", "`model_nodes' attribute specified twice"},
      {"(A | B) { model_nodes = (Q^); }", "node `Q' not found"},
      {"(A | B) { model_nodes = (B B^); }", "node `B' appears twice in `model_nodes' attribute"},
      {"(A | B) { model_nodes = (A^); }", "node `A' is not a parent of node `A'"},
      {"(U | B F) { model_nodes = (B F^); }", "the `model_nodes' attribute must contain discrete nodes only"},
      {"(A) { model_nodes = (); samples_per_interval = x^; }", "number expected"},
      {"(A) { model_nodes = (); samples_per_interval = 0^; }",
       "`samples_per_interval' must be a positive integer"},
      {"(A) { model_nodes = (); samples_per_interval = 1.5^; }",
       "`samples_per_interval' must be a positive integer"},
      {"(A) { model_nodes = (); model_data = (1); model_data =^ (1); }",
       "`model_data' attribute specified twice"},
      {"(A) { model_nodes = (); model_data = 1^; }", "`(' expected"},
      {"(A) { model_nodes = (); model_data = (1,^ 2); }", "`)' expected"},
      {"(A | B) { model_nodes = (B); model_data = (1, 2)^; }", "`,' expected"},
      {"(A) { model_nodes = (); model_data = (1 + *^); }", "unexpected token", tv_status_syntax},
      {"(A) { model_nodes = (); model_data = (Normal (0)^); }", api_error(tv_status_invalid_expression),
       tv_status_invalid_expression},
  };
  for (const Case& test : cases) expect_message(kNodes + "potential ", test);
  const Case continuous[] = {
      {"(X) { model_nodes =^ (); }", "models cannot be specified for CG nodes"},
      {"(X) { fading =^ 1; }", "fading data can only be specified for discrete chance nodes"},
  };
  for (const Case& test : continuous) expect_message(kContinuous + "potential ", test);
}

TEST(Messages, OfNormalLeaves) {
  const std::string term = "<number> or <node name> expected in mean value expression";
  const std::string variance = "variance (a nonnegative <number>) expected";
  const std::string large = "1" + std::string(308, '0');
  const std::string huge = "(X) { data = normal (" + large + " + " + large + ",^ 1); }";
  const std::string overflow = api_error(tv_status_overflow);
  const Case cases[] = {
      {"(X) { data = 1^", "the keyword `normal' was expected"},
      {"(X) { data = gauss^", "the keyword `normal' was expected"},
      {"(X) { data = normal 1^", "`(' expected"},
      {"(X) { data = normal ()^", term.c_str()},
      {"(X) { data = normal (,^ 1)", term.c_str()},
      {"(X | Y) { data = normal (1 +\n,^ 1)", term.c_str()},
      {"(X | Y) { data = normal (2 * 3^, 1)", term.c_str()},
      {"(X | Y) { data = normal (Y *^ 3, 1)", "expected one of: ,+-"},
      {"(X | Y) { data = normal (2 Y^, 1)", "expected one of: ,+-"},
      {"(X | Y) { data = normal (1 2^, 1)", "expected one of: ,+-"},
      {"(X | Y) { data = normal (1)^; }", "expected one of: ,+-"},
      {"(X | A Y) { data = (normal (2 * A^, 1)", "node `A' is not part of the table"},
      {"(X | Y) { data = normal (X^, 1)", "node `X' is not part of the table"},
      {"(X | Y) { data = normal (1 - nobody^, 1)", "node `nobody' is not part of the table"},
      {"(X | Y) { data = normal (Y, Y^)", variance.c_str()},
      {"(X | Y) { data = normal (Y, )^", variance.c_str()},
      {"(X | Y) { data = normal (Y, -1^)", "variance must be nonnegative"},
      {"(X | Y) { data = normal (Y, 1;^", "`)' expected"},
      {"(X | Y) { data = (normal (Y, 1) normal^ (Y, 1)); }", "`)' expected"},
      {"(X | A) { data = normal^ (0, 1); }", "`(' expected"},
      {"(X | A) { data = (normal (0, 1))^; }", "the keyword `normal' was expected"},
      {"(X | A) { data = ((^normal (0, 1)", "the keyword `normal' was expected"},
      {"(Z | A B) { data = ((normal (0, 1))^; }", "the keyword `normal' was expected"},
      {huge.c_str(), overflow.c_str(), tv_status_overflow},
  };
  const std::string more = "node B { states = (\"x\" \"y\"); } continuous node Z {}\n";
  for (const Case& test : cases) expect_message(kContinuous + more + "potential ", test);
}

TEST(Messages, OfTableData) {
  const Case cases[] = {
      {"(A) { data = 0.5^", "`(' expected"},
      {"(A) { data = ((^0.5 0.5)); }", "number expected"},
      {"(A) { data = (0.5)^; }", "number expected"},
      {"(A) { data = (0.5 0.4 0.1^); }", "`)' expected"},
      {"(A) { data = (0.5 -0.5^); }", "<number> must be nonnegative"},
      {"(A) { data = (0.5 half^); }", "number expected"},
      {"(A | B) { data = (1 0 1 0 1)^; }", "number expected"},
      {"(A | B) { data = (1 0 1 0 1 0 1^); }", "`)' expected"},
      {"(A | B) { data = (1 0\n1 0 1 (^0)); }", "number expected"},
      {"(A | B) { data = (1 0 1 0 1 -1e-9^); }", "<number> must be nonnegative"},
      {"(A | B) { data = ((1 0)(1 0 1^) }", "`)' expected"},
      {"(A | B) { data = ((1 0)(1)^ }", "number expected"},
      {"(A | B) { data = ((1 0)(1 0) 1^ }", "`(' expected"},
      {"(A | B) { data = ((1 0)(1 0))^; }", "`(' expected"},
      {"(A | B) { data = ((1 0)(1 0)(1 0)(^1 0)); }", "`)' expected"},
      {"(U | A) { data = 1^", "`(' expected"},
      {"(U) { data = one^", "number expected"},
      {"(U) { data = (1 2^); }", "`)' expected"},
      {"(U) { data = ()^; }", "number expected"},
  };
  for (const Case& test : cases) expect_message(kNodes + "potential ", test);
}

TEST(Messages, OfTheLibrary) {
  const std::string mixed = api_error(tv_status_cg_limids_not_supported);
  const Case utility{"utility^ U {}", mixed.c_str(), tv_status_cg_limids_not_supported};
  expect_message("continuous node X {}\n", utility);

  // The table would have 2^64 entries.
  std::string nodes, parents;
  for (int i = 0; i < 64; ++i) {
    const std::string name = "N" + std::to_string(i);
    nodes += "node " + name + " { states = (\"0\" \"1\"); }\n";
    parents += (i == 0 ? name + " |" : " " + name);
  }
  const std::string memory = api_error(tv_status_no_memory);
  const Case huge{"=^ (1 2); }", memory.c_str(), tv_status_no_memory};
  expect_message(nodes + "potential (" + parents + ") { data ", huge);
}

TEST(Messages, NeedNoHandler) {
  EXPECT_EQ(nullptr, tv_net_parse_domain("net { a = \"\\0\"; (", nullptr, nullptr));
  EXPECT_EQ(tv_status_parse, tv_error_code());
  EXPECT_EQ(nullptr, tv_net_parse_from_string("node A { x", nullptr));
  EXPECT_EQ(tv_status_parse, tv_error_code());
}

TEST(Messages, OfTextsThatAreNoDescription) {
  for (const char* name : {"", "net", "nodes {", "no such file", "% net {}", "node.net"}) {
    const Parsed parsed = parse(name);
    EXPECT_EQ(nullptr, parsed.domain);
    EXPECT_EQ(tv_status_io, parsed.status) << name;
    EXPECT_TRUE(parsed.messages.empty());
  }
  EXPECT_EQ(nullptr, tv_net_parse_domain(nullptr, nullptr, nullptr));
  EXPECT_EQ(tv_status_usage, tv_error_code());
  EXPECT_EQ(nullptr, tv_net_parse(nullptr, nullptr));
  EXPECT_EQ(tv_status_usage, tv_error_code());
  EXPECT_EQ(nullptr, tv_net_parse_from_string(nullptr, nullptr));
  EXPECT_EQ(tv_status_usage, tv_error_code());
}

}  // namespace
}  // namespace net_test

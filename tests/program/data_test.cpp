// tarvo data: tables of comma-separated values.
#include "program/program.h"

namespace test {
namespace {

const char kCases[] =
    "age,name,ill\n"
    "41,Ada,no\n"
    "7,\"Bo, the younger\",?\n"
    "62,Cy,yes\n"
    "?,Di,yes\n"
    "7.0,Ed,no\n";

TEST_F(Program, DataDescribesItsColumns) {
  const std::string file = write("cases.csv", kCases);
  const Outcome text = tarvo("data describe " + file);
  EXPECT_EQ(text.exit_code, 0) << text.errors;
  EXPECT_EQ(text.output,
            file +
                ": 5 rows, 3 columns\n\n"
                "column  items  missing  distinct  least  greatest  mean   deviation  most frequent\n"
                "age     4      1        4         7      62        29.25  27.0847    41 (1), 62 (1), "
                "7 (1), ...\n"
                "name    5      0        5         -      -         -      -          Ada (1), "
                "Bo, the younger (1), Cy (1), ...\n"
                "ill     4      1        2         -      -         -      -          no (2), yes (2)\n");
  const auto answer = answer_of("data describe - -c ill <" + file);
  EXPECT_EQ(answer.at("file"), "standard input");
  EXPECT_EQ(answer.at("columns").size(), 1u);
  EXPECT_EQ(answer.at("columns")[0].at("most_frequent")[1], (nlohmann::json{{"item", "yes"}, {"count", 2}}));
}

TEST_F(Program, DataAreSortedAndConverted) {
  const std::string file = write("cases.csv", kCases), out = path("out.tsv");
  EXPECT_EQ(tarvo("data sort " + file + " --by age:desc --by name:desc").output,
            "age,name,ill\n62,Cy,yes\n41,Ada,no\n7.0,Ed,no\n7,\"Bo, the younger\",\n,Di,yes\n");
  const Outcome converted = tarvo("data convert " + file + " -o " + out + " --to-missing NA");
  EXPECT_EQ(converted.exit_code, 0) << converted.errors;
  EXPECT_EQ(converted.output, "");
  EXPECT_EQ(read_file(out),
            "age\tname\till\n41\tAda\tno\n7\tBo, the younger\tNA\n62\tCy\tyes\nNA\tDi\tyes\n7.0\tEd\tno\n");
  EXPECT_EQ(tarvo("data convert " + out + " --missing NA --missing no --to-separator ';'").output,
            "age;name;ill\n41;Ada;NA\n7;Bo, the younger;NA\n62;Cy;yes\nNA;Di;yes\n7.0;Ed;NA\n");
  EXPECT_EQ(shell("gzip -c " + file + " | '" TARVO_PROGRAM "' data convert -").output,
            "age,name,ill\n41,Ada,no\n7,\"Bo, the younger\",\n62,Cy,yes\n,Di,yes\n7.0,Ed,no\n");
}

TEST_F(Program, DataAreDiscretized) {
  std::string text = "x,class\n";
  for (int i = 0; i < 60; ++i) text += std::to_string(i) + (i < 20 || i >= 40 ? ",a\n" : ",b\n");
  const std::string file = write("numbers.csv", text), out = path("out.csv");
  EXPECT_EQ(tarvo("data discretize " + file + " -c x --method class --class class -o " + out).output,
            "x: 3 intervals: 0, 19.5, 39.5, 59\n");
  EXPECT_TRUE(contains(read_file(out), "\n0,a\n1,b\n1,b\n"));
  for (const char* method : {"width", "frequency", "k-means"})
    EXPECT_EQ(tarvo("data discretize " + file + " -c x --bins 2 --method " + method + " -o " + out).output,
              "x: 2 intervals: 0, 29.5, 59\n");
  const auto answer = answer_of("data discretize " + file + " -c x --bounds=-inf,10,20 -o " + out);
  EXPECT_EQ(answer.at("discretized")[0].at("bounds"), (nlohmann::json{nullptr, 10, 20}));
  const auto counts = answer_of("data describe " + out + " -c x").at("columns")[0].at("most_frequent");
  EXPECT_EQ(counts[0], (nlohmann::json{{"item", "1"}, {"count", 50}}));
}

TEST_F(Program, DataSayWhatIsWrong) {
  const std::string file = write("cases.csv", kCases), bad = write("bad.csv", "a,b\n1,\"2\n");
  const struct {
    std::string arguments;
    int exit_code;
    std::string error;
  } cases[] = {
      {"describe " + bad, 1, bad + ":2:3: the quotation mark is not closed\n"},
      {"describe " + path("none.csv"), 1, "none.csv: No such file or directory"},
      {"describe " + file + " -c nam", 1, "there is no column \"nam\"; did you mean \"name\"?"},
      {"sort " + file + " --by ago:desc", 1, "there is no column \"ago\"; did you mean \"age\"?"},
      {"discretize " + file + " -c name", 1, "the items of column \"name\" are not all numbers"},
      {"discretize " + file + " -c age --bounds 1,x", 2, "\"x\" is no bound"},
      {"discretize " + file + " -c age --bounds 2,1", 1, "do not increase"},
      {"discretize " + file + " -c age --method class", 2, "--method class and --class go together"},
      {"convert " + file + " --format json", 2, "there is no room for --format"},
      {"convert " + file + " --separator ab", 2, "\"ab\" is no separator"},
      {"convert " + file + " --to-missing 'a,b'", 2, "see --to-missing"},
      {"sortt " + file, 2, "there is no command \"sortt\"; did you mean \"sort\"?"},
      {"describe " + file + " --colum age", 2, "there is no option \"--colum\"; did you mean \"--column\"?"},
      {"convert " + file + " -o /dev/full", 1, "No space left on device"},
  };
  for (const auto& one : cases) {
    const Outcome outcome = tarvo("data " + one.arguments);
    EXPECT_EQ(outcome.exit_code, one.exit_code) << one.arguments;
    EXPECT_TRUE(contains(outcome.errors, one.error)) << one.arguments << ": " << outcome.errors;
  }
}

}  // namespace
}  // namespace test

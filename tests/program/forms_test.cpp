// The forms for other programs: what the schemas promise is what is printed, and CSV has rows of equal
// length.
#include <gtest/gtest.h>

#include "program/program.h"

namespace test {
namespace {

using nlohmann::json;

bool has_type(const json& value, const std::string& type) {
  if (type == "integer") return value.is_number_integer();
  if (type == "number") return value.is_number();
  if (type == "string") return value.is_string();
  if (type == "boolean") return value.is_boolean();
  if (type == "null") return value.is_null();
  return type == "array" ? value.is_array() : value.is_object();
}

// As much of JSON Schema as the schemas use; returns the first fault, or nothing.
std::string fault(const json& value, const json& schema, const std::string& place) {
  if (schema.contains("type")) {
    const json types = schema.at("type").is_array() ? schema.at("type") : json::array({schema.at("type")});
    bool fits = false;
    for (const auto& type : types) fits |= has_type(value, type);
    if (!fits) return place + " has another type: " + value.dump();
  }
  if (schema.contains("enum")) {
    bool fits = false;
    for (const auto& choice : schema.at("enum")) fits |= choice == value;
    if (!fits) return place + " is none of the values: " + value.dump();
  }
  std::string found;
  for (size_t i = 0; value.is_array() && schema.contains("items") && i < value.size() && found.empty(); ++i)
    found = fault(value[i], schema.at("items"), place + "[" + std::to_string(i) + "]");
  if (!value.is_object() || !found.empty()) return found;
  const json properties = schema.value("properties", json::object());
  for (const auto& [key, entry] : value.items()) {
    if (!found.empty()) return found;
    if (properties.contains(key))
      found = fault(entry, properties.at(key), place + "." + key);
    else if (schema.value("additionalProperties", json(true)) == json(false))
      found = place + " has the unknown entry " + key;
  }
  for (const auto& key : schema.value("required", json::array()))
    if (!value.contains(key.get<std::string>())) found = place + " lacks " + key.get<std::string>();
  return found;
}

size_t columns_of(const std::string& row) {
  size_t columns = 1;
  bool quoted = false;
  for (const char c : row) {
    quoted ^= c == '"';
    columns += c == ',' && !quoted;
  }
  return columns;
}

TEST_F(Program, JsonFollowsTheSchemasAndCsvHasNamedColumns) {
  const std::string odd =
      write("odd.net", "net {} node a { states = (\"x\" \"x\"); } potential (a) { data = (0.5 0.4); }");
  const std::string data = write("data.csv", "x,y\n1,\"a,b\"\n2,?\n");
  const std::string coins = write("coins.csv", "gauge\n23.5\n?\n");
  const char* const commands[] = {
      "beliefs chest.net -e x_ray=abnormal -l dyspnoea=0.5,1",
      "beliefs coins.net -e gauge=23.6",
      "beliefs claims.net",
      "beliefs printer.net --max",
      "beliefs chest.net --compress --approximate 0.01 -e x_ray=abnormal",
      "beliefs wildcatter.net -e test=yes",
      "decide wildcatter.net -e test=yes",
      "decide breeding.net",
      "decide wildcatter.net --compress",
      "next chest.net -t lung_cancer -e dyspnoea=yes --sequence 2 -c x_ray=2 -c smoker",
      "next wildcatter.net -t drill",
      "explain chest.net -t bronchitis -l dyspnoea=0.9,0.2 -e smoker=no -e x_ray=abnormal --groups 2 -x "
      "lung_cancer",
      "explain coins.net -t coin=50c -e gauge=23.6 -e scale=7.6",
      "explain chest.net -t smoker",
      "configurations chest.net -e dyspnoea=yes -l x_ray=0.5,1",
      "configurations coins.net -n coin --at-least 0.05 -e gauge=23.6",
      "sensitivity chest.net -t lung_cancer=yes -e dyspnoea=yes --reach 0.2",
      "sensitivity wildcatter.net -e test=no",
      "info printer.net",
      "info coins.net --triangulation all",
      "info chest.net --compress --approximate 0.01",
      "check chest.net",
      "check ODD",
      "tables chest.net dyspnoea",
      "tables cellar.net good1",
      "tables wildcatter.net drill",
      "separate chest.net smoker",
      "separate chest.net visit_to_asia smoker -g dyspnoea -l x_ray",
      "separate wildcatter.net oil drill",
      "simulate chest.net -n 3 -e dyspnoea=yes -l smoker=1,0.5 --missing 0.5 -o OUT",
      "convert chest.net OUT --to bif",
      "compare sprinkler.net sprinkler_guess.net",
      "compare chest.net sprinkler.net",
      "discover patients.csv -o OUT",
      "discover patients.csv -o OUT --method greedy --no-tables",
      "discover patients.csv -o OUT --method tan --target smoker --bootstrap 3",
      "discover patients.csv -o OUT --method hierarchical --target bronchitis",
      "discover patients.csv -o OUT --method naive-bayes --target bronchitis --tune 5",
      "data describe DATA",
      "data sort DATA --by x -o OUT",
      "data discretize DATA -c x --bins 2 -o OUT",
      "data convert DATA -o OUT",
      "adapt chest.net patients.csv --experience 9 -o OUT",
      "learn chest.net patients.csv -o OUT",
      "score chest.net patients.csv",
      "predict chest.net patients.csv -t bronchitis -t smoker -o OUT",
      "predict coins.net COINS -t gauge -t coin -o OUT",
      "validate chest.net patients.csv -t bronchitis --folds 3",
  };
  for (std::string command : commands) {
    if (const size_t place = command.find("COINS"); place != command.npos) command.replace(place, 5, coins);
    if (const size_t place = command.find("ODD"); place != command.npos) command.replace(place, 3, odd);
    if (const size_t place = command.find("DATA"); place != command.npos) command.replace(place, 4, data);
    if (const size_t place = command.find("OUT"); place != command.npos)
      command.replace(place, 3, path("out.net"));
    const std::string name = command.substr(0, command.find(' '));
    const json schema = json::parse(read_file(kExamples + "/../docs/schemas/" + name + ".json"));
    EXPECT_EQ(fault(json::parse(tarvo(command + " --format json").output), schema, name), "") << command;

    std::istringstream rows(tarvo(command + " --format csv").output);
    std::string header;
    ASSERT_TRUE(std::getline(rows, header)) << command;
    for (std::string row; std::getline(rows, row);)
      EXPECT_EQ(columns_of(row), columns_of(header)) << command << row;
  }
}

}  // namespace
}  // namespace test

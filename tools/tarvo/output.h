// The three forms of the answers: text for people, JSON, and CSV with one row for each fact.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace program {

enum class Format { kText, kJson, kCsv };

using Json = nlohmann::ordered_json;

// Names and labels come from files: control characters are shown as \x1b and the like, so that no file speaks
// to the terminal. Line ends and tabs are kept where `lines` says so.
std::string printable(const std::string& text, bool lines = false);

// On the standard output, indented; control characters are escaped.
void print_json(const Json& document);

// A JSON object on the standard output whose last entry is a list too long to be kept: a line for each
// element.
class JsonList {
 public:
  JsonList(const Json& object, const std::string& key);
  JsonList(JsonList& outer, const Json& element,
           const std::string& key);  // a list in the list's next element
  void add(const Json& element);
  void end();

 private:
  void begin_element();

  size_t depth_ = 0;
  bool is_empty_ = true;
};
std::string json_text(const Json& value, int indentation = -1);  // on one line unless it is indented

// Rows of a CSV file on the standard output; fields stand between quotes where they need them. On a terminal
// control characters are shown as in text.
class CsvWriter {
 public:
  explicit CsvWriter(const std::vector<std::string>& columns);
  void row(const std::vector<std::string>& fields) const;

 private:
  bool to_terminal_;
};

// Columns of text on the standard output, as wide as their widest cell.
using TextTable = std::vector<std::vector<std::string>>;
void print_table(const TextTable& table, const std::string& margin = "    ");

// Characters on the screen, not bytes; and a text filled up with blanks to so many.
size_t display_width(const std::string& text);
std::string padded(const std::string& text, size_t width);

// The shortest decimal number that reads back as the same float or double.
std::string shortest(float number);
std::string shortest(double number);

// A float as the JSON number with the fewest digits, 0.1 and not 0.10000000149011612. What JSON has no number
// for is null.
Json json_number(float number);
Json json_number(double number);

std::string significant(double number);  // six digits, what single-precision tables can carry
std::string rounded(double number);      // three digits, as many as one can compare at a glance

}  // namespace program

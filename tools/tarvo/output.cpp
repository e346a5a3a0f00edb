#include "output.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

namespace program {
namespace {

// Bytes of the UTF-8 character at `text[i]`; 0 where none begins.
size_t character_size(const std::string& text, size_t i) {
  const auto byte = [&](size_t k) {
    return i + k < text.size() ? static_cast<unsigned char>(text[i + k]) : 0u;
  };
  const auto follows = [&](size_t k) { return (byte(k) & 0xC0) == 0x80; };
  if (byte(0) < 0x80) return 1;
  if (byte(0) >= 0xC2 && byte(0) < 0xE0 && follows(1)) return 2;
  if ((byte(0) & 0xF0) == 0xE0 && follows(1) && follows(2)) return 3;
  if (byte(0) >= 0xF0 && byte(0) < 0xF5 && follows(1) && follows(2) && follows(3)) return 4;
  return 0;
}

std::string escaped_byte(char c) {
  char text[8];
  std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
  return text;
}

std::string quoted(const std::string& field) {
  if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
  std::string text = "\"";
  for (const char c : field) text += c == '"' ? std::string("\"\"") : std::string(1, c);
  return text + '"';
}

template <class Number>
std::string shortest_text(Number number) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

}  // namespace

std::string printable(const std::string& text, bool lines) {
  std::string shown;
  for (size_t i = 0; i < text.size();) {
    const size_t size = character_size(text, i);
    const auto first = static_cast<unsigned char>(text[i]);
    const bool is_control = first < 0x20 || first == 0x7F ||
                            (size == 2 && first == 0xC2 && static_cast<unsigned char>(text[i + 1]) < 0xA0);
    if (size == 0 || (is_control && !(lines && (first == '\n' || first == '\t')))) {
      for (size_t k = 0; k < std::max<size_t>(size, 1); ++k) shown += escaped_byte(text[i + k]);
    } else {
      shown.append(text, i, size);
    }
    i += std::max<size_t>(size, 1);
  }
  return shown;
}

std::string json_text(const Json& value, int indentation) {
  const std::string text = value.dump(indentation, ' ', false, Json::error_handler_t::replace);
  std::string safe;  // controls that JSON itself lets stand
  for (size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0u;
    char escape[8] = "";
    if (byte == 0x7F) std::snprintf(escape, sizeof escape, "\\u%04x", 0x7Fu);
    if (byte == 0xC2 && next < 0xA0) std::snprintf(escape, sizeof escape, "\\u%04x", next);
    if (*escape)
      safe += escape;
    else
      safe += text[i];
    i += *escape && byte == 0xC2;
  }
  return safe;
}

void print_json(const Json& document) { std::printf("%s\n", json_text(document, 2).c_str()); }

JsonList::JsonList(const Json& object, const std::string& key) {
  std::string text = json_text(object, 2);
  text.erase(text.size() - 2);  // the last brace, on a line of its own
  std::printf("%s,\n  %s: [", text.c_str(), json_text(Json(key)).c_str());
}

JsonList::JsonList(JsonList& outer, const Json& element, const std::string& key) : depth_(outer.depth_ + 1) {
  outer.begin_element();
  std::string text = json_text(element);
  text.pop_back();
  std::printf("%s,%s:[", text.c_str(), json_text(Json(key)).c_str());
}

void JsonList::begin_element() {
  std::printf("%s\n    %s", is_empty_ ? "" : ",", std::string(2 * depth_, ' ').c_str());
  is_empty_ = false;
}

void JsonList::add(const Json& element) {
  begin_element();
  std::printf("%s", json_text(element).c_str());
}

void JsonList::end() {
  if (depth_ > 0)
    std::printf("]}");
  else
    std::printf("%s]\n}\n", is_empty_ ? "" : "\n  ");
}

CsvWriter::CsvWriter(const std::vector<std::string>& columns) : to_terminal_(isatty(STDOUT_FILENO) != 0) {
  row(columns);
}

void CsvWriter::row(const std::vector<std::string>& fields) const {
  std::string line;
  for (size_t i = 0; i < fields.size(); ++i)
    line += (i ? "," : "") + quoted(to_terminal_ ? printable(fields[i]) : fields[i]);
  std::printf("%s\n", line.c_str());
}

void print_table(const TextTable& table, const std::string& margin) {
  std::vector<size_t> widths(table[0].size(), 0);
  for (const auto& row : table)
    for (size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], display_width(row[c]));
  for (const auto& row : table) {
    std::string line = margin;
    for (size_t c = 0; c < row.size(); ++c) line += padded(row[c], widths[c] + 2);
    line.erase(line.find_last_not_of(' ') + 1);
    std::printf("%s\n", line.c_str());
  }
}

size_t display_width(const std::string& text) {
  return static_cast<size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string padded(const std::string& text, size_t width) {
  const size_t used = display_width(text);
  return text + std::string(used < width ? width - used : 0, ' ');
}

std::string shortest(float number) { return shortest_text(number); }
std::string shortest(double number) { return shortest_text(number); }

Json json_number(float number) {
  return std::isfinite(number) ? Json(std::strtod(shortest(number).c_str(), nullptr)) : Json();
}
Json json_number(double number) { return std::isfinite(number) ? Json(number) : Json(); }

std::string significant(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", number);
  return text;
}

std::string rounded(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3g", number);
  return text;
}

}  // namespace program

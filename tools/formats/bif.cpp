// BIF: blocks of words. A variable has `type discrete [ n ] { states };`, a probability its numbers either as
// one `table` (the child's states slowest, as the format has it) or row by row, `(states of the parents)
// numbers;`, with a `default` row for those that are not given.
#include <algorithm>
#include <charconv>

#include "draft.h"

namespace formats {
namespace {

struct Word {
  std::string text;  // empty at the end
  bool quoted = false;
  size_t line = 1;
  bool is(std::string_view other) const { return !quoted && text == other; }
};

bool is_blank(char c) { return static_cast<unsigned char>(c) <= ' '; }
bool is_mark(char c) { return std::string_view("{}()[]|,;").find(c) != std::string_view::npos; }

// Words, marks and quoted strings; comments are those of C++.
class Words {
 public:
  explicit Words(std::string_view text) : text_(text) { read(); }

  const Word& next() const { return word_; }  // without taking it
  Word take() {
    Word taken = std::move(word_);
    read();
    return taken;
  }
  bool take_if(std::string_view text) {
    const bool matches = word_.is(text);
    if (matches) read();
    return matches;
  }
  void expect(std::string_view text) {
    if (!take_if(text)) fail("\"" + std::string(text) + "\" expected");
  }
  Word expect_word() {
    if (word_.text.empty() && !word_.quoted) fail("unexpected end of the file");
    if (!word_.quoted && is_mark(word_.text[0])) fail("unexpected \"" + word_.text + "\"");
    return take();
  }
  [[noreturn]] void fail(const std::string& message) const { throw Error(word_.line, message); }
  bool at_end() const { return word_.text.empty() && !word_.quoted; }

  // Everything up to the semicolon, which is taken; the word at hand is its first.
  std::string take_statement() {
    std::string statement;
    while (!word_.is(";")) {
      if (at_end()) fail("unexpected end of the file");
      statement += (statement.empty() ? "" : " ") + take().text;
    }
    read();
    return statement;
  }

 private:
  void read() {
    skip_blanks();
    word_ = {"", false, line_};
    if (position_ == text_.size()) return;
    const char first = text_[position_];
    if (first == '"') return read_quoted();
    do word_.text += text_[position_++];
    while (!is_mark(first) && position_ < text_.size() && !is_blank(text_[position_]) &&
           !is_mark(text_[position_]) && text_[position_] != '"');
  }

  void skip_blanks() {
    while (position_ < text_.size()) {
      if (is_blank(text_[position_])) {
        line_ += text_[position_++] == '\n';
      } else if (text_.substr(position_, 2) == "//") {
        position_ = std::min(text_.find('\n', position_), text_.size());
      } else if (text_.substr(position_, 2) == "/*") {
        const size_t end = text_.find("*/", position_ + 2);
        if (end == text_.npos) throw Error(line_, "the comment does not end");
        line_ += static_cast<size_t>(std::count(text_.begin() + static_cast<ptrdiff_t>(position_),
                                                text_.begin() + static_cast<ptrdiff_t>(end), '\n'));
        position_ = end + 2;
      } else {
        return;
      }
    }
  }

  void read_quoted() {
    word_.quoted = true;
    for (++position_;; ++position_) {
      if (position_ < text_.size() && text_[position_] == '\\' && position_ + 1 < text_.size())
        ++position_;
      else if (position_ < text_.size() && text_[position_] == '"')
        break;
      if (position_ == text_.size()) throw Error(word_.line, "the string does not end");
      line_ += text_[position_] == '\n';
      word_.text += text_[position_];
    }
    ++position_;
  }

  std::string_view text_;
  size_t position_ = 0;
  size_t line_ = 1;
  Word word_;
};

class BifReader {
 public:
  explicit BifReader(std::string_view text) : words_(text) {}

  Draft read() {
    while (!words_.at_end()) {
      if (words_.take_if("network"))
        read_network();
      else if (words_.take_if("variable"))
        read_variable();
      else if (words_.take_if("probability"))
        read_probability();
      else
        words_.fail("\"network\", \"variable\" or \"probability\" expected");
    }
    return std::move(draft_);
  }

 private:
  void read_network() {
    if (!words_.next().is("{")) draft_.name = words_.expect_word().text;
    words_.expect("{");
    while (!words_.take_if("}")) words_.take_statement();
  }

  void read_variable() {
    Variable variable;
    variable.line = words_.next().line;
    variable.name = words_.expect_word().text;
    words_.expect("{");
    while (!words_.take_if("}")) {
      if (words_.take_if("type"))
        read_states(variable);
      else if (words_.take_if("property"))
        read_property(words_.take_statement(), variable);
      else
        words_.fail("\"type\", \"property\" or \"}\" expected");
    }
    draft_.add(std::move(variable));
  }

  void read_states(Variable& variable) {
    words_.expect("discrete");
    words_.expect("[");
    const Word count = words_.expect_word();
    words_.expect("]");
    words_.expect("{");
    while (!words_.take_if("}")) {
      variable.states.push_back(words_.expect_word().text);
      words_.take_if(",");
    }
    words_.expect(";");
    if (count.text != std::to_string(variable.states.size()))
      throw Error(count.line, "\"" + variable.name + "\" has " + std::to_string(variable.states.size()) +
                                  " states instead of " + count.text);
  }

  void read_probability() {
    Definition definition;
    definition.line = words_.next().line;
    words_.expect("(");
    definition.child = words_.expect_word().text;
    words_.take_if("|");  // some writers separate parents by commas alone
    while (!words_.take_if(")")) {
      if (words_.take_if(",")) continue;
      definition.parents.push_back(words_.expect_word().text);
    }
    const size_t size = table_size(draft_, definition);
    words_.expect("{");
    rows_.assign(size, -1);
    const size_t states = draft_.expect(definition.child, definition.line).states.size();
    std::vector<tv_number_t> other_rows;
    while (!words_.take_if("}")) {
      if (words_.take_if("property"))
        words_.take_statement();
      else if (words_.take_if("table"))
        read_table(states, size);
      else if (words_.take_if("default"))
        other_rows = read_numbers(states);
      else if (words_.take_if("("))
        read_row(definition, states);
      else
        words_.fail("\"table\", \"default\", \"(\", \"property\" or \"}\" expected");
    }
    for (size_t i = 0; i < size; ++i) {
      if (rows_[i] < 0 && other_rows.empty())
        throw Error(definition.line, "the probabilities of \"" + definition.child + "\" are incomplete");
      if (rows_[i] < 0) rows_[i] = other_rows[i % states];
    }
    definition.numbers = std::move(rows_);
    draft_.definitions.push_back(std::move(definition));
  }

  std::vector<tv_number_t> read_numbers(size_t count) {
    std::vector<tv_number_t> numbers;
    while (!words_.take_if(";")) {
      if (words_.take_if(",")) continue;
      tv_number_t number = 0;
      if (const char* message = read_number(words_.next().text, number)) words_.fail(message);
      if (number < 0) words_.fail("probabilities must not be negative");
      if (numbers.size() == count) words_.fail("too many numbers");
      numbers.push_back(number);
      words_.take();
    }
    if (numbers.size() < count) words_.fail("too few numbers");
    return numbers;
  }

  void read_table(size_t states, size_t size) {
    const std::vector<tv_number_t> numbers = read_numbers(size);
    const size_t rows = size / states;
    for (size_t i = 0; i < size; ++i) rows_[i % rows * states + i / rows] = numbers[i];
  }

  // The parenthesis has been taken.
  void read_row(const Definition& definition, size_t states) {
    size_t row = 0;
    for (const std::string& name : definition.parents) {
      const Variable& parent = draft_.expect(name, definition.line);
      const Word word = words_.expect_word();
      words_.take_if(",");
      const auto state = std::find(parent.states.begin(), parent.states.end(), word.text);
      if (state == parent.states.end())
        throw Error(word.line, "\"" + parent.name + "\" has no state \"" + word.text + "\"");
      row = row * parent.states.size() + static_cast<size_t>(state - parent.states.begin());
    }
    words_.expect(")");
    words_.take_if(",");
    const std::vector<tv_number_t> numbers = read_numbers(states);
    std::copy(numbers.begin(), numbers.end(), rows_.begin() + static_cast<ptrdiff_t>(row * states));
  }

  Words words_;
  Draft draft_;
  std::vector<tv_number_t> rows_;  // of the probability being read; -1 where nothing is known
};

// As a word where possible, since not every reader knows quotes.
std::string word_text(const std::string& text) {
  const bool plain = !text.empty() && std::none_of(text.begin(), text.end(), [](char c) {
    return is_blank(c) || is_mark(c) || c == '"' || c == '\\' || c == '/';
  });
  if (plain) return text;
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

std::string list_text(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word_text(word);
  return text;
}

std::string numbers_text(const tv_number_t* numbers, size_t count) {
  std::string text;
  for (size_t i = 0; i < count; ++i) text += (i ? ", " : "") + number_text(numbers[i]);
  return text;
}

void write_variable(std::string& text, const Variable& variable) {
  text += "variable " + word_text(variable.name) + " {\n  type discrete [ " +
          std::to_string(variable.states.size()) + " ] { " + list_text(variable.states) + " };\n";
  for (const std::string& property : properties(variable))
    text += "  property " + word_text(property) + ";\n";
  text += "}\n";
}

void write_probability(std::string& text, const Draft& draft, const Definition& definition) {
  text += "probability ( " + word_text(definition.child);
  if (!definition.parents.empty()) text += " | " + list_text(definition.parents);
  text += " ) {\n";
  const size_t states = draft.expect(definition.child, 0).states.size();
  std::vector<const Variable*> parents;
  for (const std::string& parent : definition.parents) parents.push_back(&draft.expect(parent, 0));
  for (size_t row = 0; row < definition.numbers.size() / states; ++row) {
    const tv_number_t* numbers = definition.numbers.data() + row * states;
    std::vector<std::string> configuration(parents.size());
    for (size_t i = parents.size(), rest = row; i-- > 0; rest /= parents[i]->states.size())
      configuration[i] = parents[i]->states[rest % parents[i]->states.size()];
    text += parents.empty() ? "  table " : "  (" + list_text(configuration) + ") ";
    text += numbers_text(numbers, states) + ";\n";
  }
  text += "}\n";
}

}  // namespace

DomainOwner read_bif(std::string_view text) { return build(BifReader(with_plain_lines(text)).read()); }

std::string write_bif(tv_domain_t* domain) {
  const Draft draft = describe(domain);
  for (const Variable& variable : draft.variables)
    if (variable.category != tv_category_chance)
      throw Error(0, "node \"" + variable.name + "\" is no chance node, and BIF knows no other");
  std::string text = "network " + (draft.name.empty() ? "unknown" : word_text(draft.name)) + " {\n}\n";
  for (const Variable& variable : draft.variables) write_variable(text, variable);
  for (const Definition& definition : draft.definitions) write_probability(text, draft, definition);
  return text;
}

}  // namespace formats

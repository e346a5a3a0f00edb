// Tokens, positions and messages of the lexer, from strings and from streams.

#include "text/lexer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace tv {
namespace {

struct Message {
  size_t position;
  std::string text;
};

void collect(size_t position, const char* message, void* data) {
  static_cast<std::vector<Message>*>(data)->push_back({position, message});
}

// A stream over a text; a null stream is never returned.
std::shared_ptr<FILE> open_text(const std::string& text) {
  FILE* stream = std::tmpfile();
  std::fwrite(text.data(), 1, text.size(), stream);
  std::rewind(stream);
  return {stream, std::fclose};
}

std::string describe(const Lexer& lexer, Token token) {
  switch (token) {
    case Token::name:
      return "name " + lexer.text();
    case Token::dotted_name:
      return "dotted " + lexer.text();
    case Token::string:
      return "string " + lexer.text();
    case Token::number:
      return "number " + std::to_string(lexer.number());
    case Token::end:
      return "end";
    case Token::error:
      return "error";
    default:
      return std::string(1, static_cast<char>(token));
  }
}

std::vector<std::string> tokens_of(Lexer& lexer) {
  std::vector<std::string> tokens;
  for (;;) {
    const Token token = lexer.next();
    tokens.push_back(describe(lexer, token));
    if (token == Token::end || token == Token::error) return tokens;
  }
}

std::vector<std::string> tokens_of(const std::string& text) {
  Lexer lexer(text, {});
  return tokens_of(lexer);
}

using Tokens = std::vector<std::string>;

TEST(Lexer, CutsTextIntoTokens) {
  EXPECT_EQ((Tokens{"name a_1", "=", "(", "number 0.500000", "number -2.000000", ")", ";", "end"}),
            tokens_of("a_1=(.5-2);"));
  EXPECT_EQ((Tokens{"#", "(", ")", "*", ",", ":", ";", "=", "?", "{", "|", "}", "end"}),
            tokens_of("# ( ) * , : ; = ? { | }"));
  EXPECT_EQ((Tokens{"dotted a.b._c", "name d", "string %x", "end"}),
            tokens_of("a.b._c%x\n\t\v\f\r d \"%x\""));
  EXPECT_EQ((Tokens{"end"}), tokens_of(" % a comment without an end"));
  EXPECT_EQ((Tokens{"end"}), tokens_of(""));
}

TEST(Lexer, GivesATokenBack) {
  Lexer lexer("a 1 )", {});
  EXPECT_EQ(Token::name, lexer.next());
  lexer.push_back();
  EXPECT_EQ(Token::name, lexer.next());
  EXPECT_EQ("a", lexer.text());
  EXPECT_EQ(Token::number, lexer.next());
  lexer.push_back();
  double number = 0;
  EXPECT_TRUE(lexer.read_number(number));
  EXPECT_EQ(1.0, number);
  EXPECT_FALSE(lexer.read_number(number));
}

TEST(Lexer, LetsSignsOfOperandsStandAlone) {
  Lexer lexer("-1 -1 + infinity", {});
  EXPECT_EQ(Token::number, lexer.next());
  EXPECT_EQ(punctuation('-'), lexer.next_operand());
  EXPECT_EQ(Token::number, lexer.next_operand());
  EXPECT_EQ(punctuation('+'), lexer.next_operand());
  EXPECT_EQ(Token::name, lexer.next_operand());
}

TEST(Lexer, ReadsEscapes) {
  const auto content = [](const std::string& quoted) {
    Lexer lexer(quoted, {});
    return lexer.next() == Token::string ? lexer.text() : "not a string";
  };
  EXPECT_EQ("", content(R"("")"));
  EXPECT_EQ("aAbA\t01", content(R"("a\x41b\101\x9\0601")"));
  EXPECT_EQ("\"'?\\", content(R"("\"\'\?\\")"));
  EXPECT_EQ("\a\b\f\n\r\t\v\377", content(R"("\a\b\f\n\r\t\v\377")"));
  EXPECT_EQ("ab", content("\"a\\\nb\""));
}

struct Failure {
  std::string text;
  std::string message;  // "" for none
  size_t characters, line;
};

TEST(Lexer, ReportsWhatItCannotRead) {
  const Failure failures[] = {
      {"a &", "unexpected character: `&'", 3, 1},
      {"\n\n \xC3\xA6", "unexpected character: `\xC3'", 4, 3},
      {"% c\n>", "unexpected character: `>'", 5, 2},
      {"a.3", "`.' must be followed by a letter or an `_'", 3, 1},
      {"a.", "`.' must be followed by a letter or an `_'", 2, 1},
      {"a..b", "`.' must be followed by a letter or an `_'", 4, 1},
      {"\"abc", "string did not end", 4, 1},
      {"\n\"abc\n\"", "string did not end", 5, 2},
      {"\"abc\\", "string did not end", 5, 1},
      {"\"\\8\"", "illegal escape sequence: `\\8'", 3, 1},
      {"\"\\\n\\q\"", "illegal escape sequence: `\\q'", 5, 2},
      {"\"\\xg\"", "illegal escape sequence: `\\x'", 3, 1},
      {"1 -", "", 0, 0},
      {"1e999 2", "number is too large", 5, 1},
      {"\r\"abc\r\n\"", "string did not end", 5, 2},
      {"\"\\\r\n\\\r\\q\"", "illegal escape sequence: `\\q'", 8, 3},
      {"\xEF\xBB\xBF\r\r\n% a\r\n &", "unexpected character: `&'", 13, 4},
  };
  for (const Failure& failure : failures) {
    for (const bool from_file : {false, true}) {
      std::vector<Message> messages;
      const auto stream = open_text(failure.text);
      Lexer from_text(failure.text, {collect, &messages});
      Lexer from_stream(stream.get(), {collect, &messages});
      Lexer& lexer = from_file ? from_stream : from_text;
      EXPECT_EQ("error", tokens_of(lexer).back()) << failure.text;
      if (failure.message.empty()) {
        EXPECT_TRUE(messages.empty());
        EXPECT_EQ(tv_status_none, lexer.status());
        continue;
      }
      ASSERT_EQ(1u, messages.size()) << failure.text;
      EXPECT_EQ(failure.message, messages[0].text);
      EXPECT_EQ(from_file ? failure.line : failure.characters, messages[0].position) << failure.text;
      EXPECT_EQ(tv_status_parse, lexer.status());
      EXPECT_EQ(1u, lexer.error_count());
      EXPECT_EQ(Token::error, lexer.next());  // and nothing comes behind it
    }
  }
}

TEST(Lexer, KeepsNullCharactersWithAWarning) {
  std::vector<Message> messages;
  Lexer lexer("\"a\\0b\"", {collect, &messages});
  EXPECT_EQ(Token::string, lexer.next());
  EXPECT_EQ(std::string("a\0b", 3), lexer.text());
  ASSERT_EQ(1u, messages.size());
  EXPECT_EQ("warning: null character in string", messages[0].text);
  EXPECT_EQ(0u, lexer.error_count());
}

// Tokens of every kind, long enough to lie across the borders of what is read at once.
TEST(Lexer, ReadsTheSameFromAStreamAsFromAString) {
  std::string text;
  for (int i = 0; i < 30000; ++i) {
    text += "name" + std::to_string(i * 7919) + " \"a string \\x41 " + std::to_string(i) + "\" % a comment\n";
    text += " (-0.12345678901234567890123e-3 17 1.5)\n";
  }
  text +=
      std::string(600000, 'n') + " 0." + std::string(600000, '1') + " \"" + std::string(600000, 's') + "\"";
  const auto stream = open_text(text);
  Lexer from_stream(stream.get(), {});
  Lexer from_text(text, {});
  EXPECT_EQ(tokens_of(from_text), tokens_of(from_stream));
  EXPECT_EQ(60001u, from_stream.position());
  EXPECT_EQ(text.size(), from_text.position());
}

ssize_t fail_to_read(void*, char*, size_t) { return -1; }

TEST(Lexer, PassesOnAFailureToRead) {
  FILE* stream = fopencookie(nullptr, "r", {fail_to_read, nullptr, nullptr, nullptr});
  {
    Lexer lexer(stream, {});
    EXPECT_EQ(Token::error, lexer.next());
    EXPECT_EQ(tv_status_io, lexer.status());
    EXPECT_EQ(0u, lexer.error_count());
  }
  std::fclose(stream);
}

}  // namespace
}  // namespace tv

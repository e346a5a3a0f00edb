// CSV in and out, against a reader that takes one character after the other; every way in which a text can
// be cut into pieces; what is refused, and where.

#include <gtest/gtest.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdlib>
#include <fstream>

#include "data/csv_marks.h"
#include "data/csv_reader.h"
#include "data_world.h"
#include "support/builders.h"

namespace test {
namespace {

const std::vector<std::string> kMissing = {"", "?", "NA", "*"};

struct Told {
  std::string text;
  size_t line = 0, column = 0, calls = 0;
};
void tell(size_t position, const char* message, void* told) {
  Told& to = *static_cast<Told*>(told);
  to.text = message;
  to.line = position;
  to.column = tv_error_column();
  ++to.calls;
}

std::string csv_of(const tv_data_set_t* data, char separator = ',') {
  const std::unique_ptr<char, decltype(&std::free)> text(tv_data_set_to_csv_string(data, separator),
                                                         std::free);
  return text ? text.get() : "nothing";
}

Sheet parsed(const std::string& text, char separator = ',') {
  const DataSetOwner data(tv_new_data_set());
  Told told;
  EXPECT_EQ(tv_data_set_parse_csv_string(data.get(), text.c_str(), separator, tell, &told), tv_status_none)
      << told.line << ": " << told.text << "\n"
      << text;
  return sheet_of(data.get());
}

TEST(Csv, ReadsWhatItSays) {
  EXPECT_EQ(parsed(""), Sheet());
  EXPECT_EQ(parsed("a,b"), (Sheet{{"a", "b"}, {}}));
  EXPECT_EQ(parsed("\n\na,b\n\n1,2\n\n\n,\n"), (Sheet{{"a", "b"}, {{"1", "2"}, {{}, {}}}}))
      << "lines without anything do not count";
  EXPECT_EQ(parsed("a\n1\n\n3"), (Sheet{{"a"}, {{"1"}, {{}}, {"3"}}})) << "but in one column they do";
  EXPECT_EQ(parsed("a,b\n?,\"?\"\nNA,\"\"\n*,NA \n"), (Sheet{{"a", "b"}, {{{}, "?"}, {{}, ""}, {{}, "NA "}}}))
      << "what is quoted is an item, and blanks belong to it";
  EXPECT_EQ(parsed("\xEF\xBB\xBF\"a\"\r\n\"1\"\"\r\n,\"\r\n"), (Sheet{{"a"}, {{"1\"\r\n,"}}}));
  EXPECT_EQ(parsed("a;b\r1;2\r\r3;4", ';'), (Sheet{{"a", "b"}, {{"1", "2"}, {"3", "4"}}}));
  EXPECT_EQ(parsed("\"\"\n\"\"\n"), (Sheet{{""}, {{""}}}));
  EXPECT_EQ(parsed("a,b\n1,\"2\""), (Sheet{{"a", "b"}, {{"1", "2"}}}));
  EXPECT_EQ(parsed("a,b\n1,"), (Sheet{{"a", "b"}, {{"1", {}}}}));
}

TEST(Csv, SaysWhereATextIsWrong) {
  const struct {
    std::string text;
    size_t line, column;
    const char* message;
  } cases[] = {
      {"a,b\n1,2\n\"x\ny,3\n", 3, 1, "the quotation mark is not closed"},
      {"a,b\n\n1\n", 3, 2, "row of 1 items, but there are 2 columns"},
      {"a,b\n\"1\n\n\",2\n1", 5, 2, "row of 1 items, but there are 2 columns"},
      {"a,b\r\n1,2,3\n", 2, 5, "row of more than 2 items, which is the number of columns"},
      {"a,b\n1,2,\"3\"\n", 2, 5, "row of more than 2 items, which is the number of columns"},
      {"a,b\n\"1\n2\"x,3\n", 3, 3, "text behind the closing quotation mark"},
      {"a,b\n1,2\"3\"\n", 2, 4, "quotation mark inside an item that does not begin with one"},
      {"a,b\n1,x\xFFy\n", 2, 4, "bytes that are not UTF-8"},
      {"a,b\n1,\"x\xFFy\"\n", 2, 5, "bytes that are not UTF-8"},
      {"a,\xC3\n", 1, 3, "bytes that are not UTF-8"},
      {"\xEF\xBB\xBF\nab,c,\"ab\"\n", 2, 6, "there is a column named \"ab\" already"},
  };
  const DataSetOwner data = data_set_of({{"old"}, {{"1"}}});
  for (const auto& one : cases) {
    Told told;
    EXPECT_EQ(tv_data_set_parse_csv_string(data.get(), one.text.c_str(), ',', tell, &told), tv_status_parse)
        << one.text;
    EXPECT_EQ(told.text, one.message) << one.text;
    EXPECT_EQ(told.line, one.line) << one.text;
    EXPECT_EQ(told.column, one.column) << one.text;
    EXPECT_EQ(tv_error_line(), one.line);
    EXPECT_EQ(told.calls, 1u);
    EXPECT_EQ(sheet_of(data.get()), (Sheet{{"old"}, {{"1"}}})) << "a failure changes nothing";
  }
  for (const char separator : {'\0', '"', '\n', '\r', '\xC3'})
    EXPECT_EQ(tv_data_set_parse_csv_string(data.get(), "a", separator, nullptr, nullptr), tv_status_usage);
}

std::string random_cell(Generator& random, char separator) {
  static const std::vector<std::string> cells = {"",
                                                 "?",
                                                 "NA",
                                                 "yes",
                                                 "no",
                                                 "1.5",
                                                 "exactly 15 byte",
                                                 "exactly 16 bytes",
                                                 "\xC3\xA4\xE2\x82\xAC",
                                                 "*",
                                                 "null",
                                                 "a longer text than any key can hold, again"};
  if (random.chance(0.8)) return random.pick(cells);
  std::string text;
  const std::string alphabet = std::string("ab \"\n\r") + separator;
  for (size_t left = random.below(90); left > 0; --left) text += alphabet[random.below(alphabet.size())];
  return text;
}

// Quoted where it must be, and now and then where it need not.
std::string random_csv(Generator& random, char separator) {
  const size_t columns = 1 + random.below(6), rows = random.below(30);
  const std::string line_end = random.chance(0.5) ? "\n" : "\r\n";
  std::string text;
  for (size_t row = 0; row <= rows; ++row) {
    for (size_t i = 0; i < columns; ++i) {
      const std::string cell = row == 0 ? "c" + std::to_string(i) + random_cell(random, separator)
                                        : random_cell(random, separator);
      const bool must = cell.find_first_of(std::string("\"\r\n") + separator) != cell.npos;
      std::string quoted = "\"";
      for (const char c : cell) quoted.append(c == '"' ? 2 : 1, c);
      if (i > 0) text += separator;
      text += must || random.chance(0.2) ? quoted + "\"" : cell;
    }
    if (row < rows || random.chance(0.5)) text += line_end;
    if (columns > 1 && row > 0 && row < rows && random.chance(0.1)) text += line_end;
  }
  return text;
}

Sheet read_in_pieces(const std::string& text, char separator, size_t window) {
  tv::DataSet data;
  tv::CsvSource source{std::string_view(text)};
  Told told;
  EXPECT_EQ(tv::read_csv(data, source, separator, {tell, &told}, window), tv_status_none) << told.text;
  return sheet_of(&data);
}

// The rows some at a time, each with the line in which it begins.
Sheet read_some_rows(const std::string& text, char separator, size_t rows, size_t window) {
  tv::DataSet data;
  tv::CsvSource source{std::string_view(text)};
  tv::CsvRows reader(data, source, separator, {}, window);
  Sheet all;
  size_t line = 1;
  do {
    EXPECT_EQ(reader.next(rows), tv_status_none);
    const Sheet some = sheet_of(&data);
    EXPECT_LE(some.rows.size(), rows);
    all.names = some.names;
    all.rows.insert(all.rows.end(), some.rows.begin(), some.rows.end());
    for (size_t row = 0; row < some.rows.size(); ++row) {
      EXPECT_LT(line, reader.line(row));
      line = reader.line(row);
    }
  } while (data.number_of_rows() > 0);
  return all;
}

TEST(Csv, AgreesWithANaiveReaderInEveryWindow) {
  for (uint64_t seed = 0; seed < 400; ++seed) {
    Generator random(seed);
    const char separator = ",;\t|"[random.below(4)];
    const std::string text = random_csv(random, separator);
    const Sheet expected = read_naively(text, separator, kMissing);
    ASSERT_EQ(parsed(text, separator), expected) << "seed " << seed << "\n" << text;
    for (const size_t window : {1, 2, 3, 5, 17, 64, 65})
      ASSERT_EQ(read_in_pieces(text, separator, window), expected)
          << "seed " << seed << ", window " << window;
    for (const size_t rows : {1, 2, 7})
      ASSERT_EQ(read_some_rows(text, separator, rows, 1 + seed % 70), expected) << "seed " << seed;
    const DataSetOwner data = data_set_of(expected);
    const std::string written = csv_of(data.get(), separator);
    ASSERT_EQ(parsed(written, separator), expected) << "seed " << seed << "\n" << written;
    ASSERT_EQ(read_naively(written, separator, kMissing), expected) << "seed " << seed << "\n" << written;
  }
}

// Columns with many items look up the items of many rows together.
TEST(Csv, ReadsColumnsWithManyItems) {
  Generator random(3);
  std::string text = "few,many,long\n";
  for (int i = 0; i < 30000; ++i) {
    const std::string number = std::to_string(random.below(12000));
    text += i % 3 ? "yes," : "no,";
    text += random.chance(0.1) ? "\"" + number + "\"," : random.chance(0.1) ? "?," : number + ",";
    text += random.chance(0.1) ? "NA\n" : "a text of more than 15 bytes " + number + "\n";
  }
  const Sheet expected = read_naively(text, ',', kMissing);
  EXPECT_TRUE(parsed(text) == expected);
  for (const size_t window : {1000, 70000}) EXPECT_TRUE(read_in_pieces(text, ',', window) == expected);
  Told told;
  const DataSetOwner data(tv_new_data_set());
  EXPECT_EQ(tv_data_set_parse_csv_string(data.get(), (text + "yes,x\xFF,\n").c_str(), ',', tell, &told),
            tv_status_parse);
  EXPECT_EQ(told.line, 30002u);
  EXPECT_EQ(told.column, 6u);
}

// A stream that hands out its text a few bytes at a time, and may fail in the end.
struct SlowText {
  std::string text;
  size_t piece, next = 0;
  bool fails = false;
};
ssize_t read_slowly(void* cookie, char* to, size_t room) {
  SlowText& from = *static_cast<SlowText*>(cookie);
  if (from.next == from.text.size() && from.fails) {
    errno = EIO;
    return -1;
  }
  const size_t count = from.text.copy(to, std::min(room, from.piece), from.next);
  from.next += count;
  return static_cast<ssize_t>(count);
}
tv_status_t parse_slowly(tv_data_set_t* data, SlowText text, Told& told) {
  std::FILE* const stream = fopencookie(&text, "r", {read_slowly, nullptr, nullptr, nullptr});
  const tv_status_t status = tv_data_set_parse_csv_stream(data, stream, ',', tell, &told);
  std::fclose(stream);
  return status;
}

std::string gzipped(const std::string& text) {
  std::string packed(compressBound(text.size()) + 100, '\0');
  z_stream state{};
  deflateInit2(&state, 9, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
  state.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  state.avail_in = static_cast<uInt>(text.size());
  state.next_out = reinterpret_cast<Bytef*>(packed.data());
  state.avail_out = static_cast<uInt>(packed.size());
  deflate(&state, Z_FINISH);
  packed.resize(state.total_out);
  deflateEnd(&state);
  return packed;
}

TEST(Csv, ReadsStreamsWhateverTheyHandOut) {
  std::string text = "name,\"a\nb\"\r\n";
  for (int i = 0; i < 2000; ++i) text += "item " + std::to_string(i % 700) + ",\"x\r\n\"\"\"\r\n";
  const Sheet expected = read_naively(text, ',', kMissing);
  const std::string half = text.substr(0, 5000), rest = text.substr(5000);
  const std::string packed = gzipped(half) + gzipped(rest);  // two members are one text
  for (const std::string& whole : {text, gzipped(text), packed})
    for (const size_t piece : {1, 2, 3, 7, 100, 100000}) {
      Told told;
      const DataSetOwner data(tv_new_data_set());
      ASSERT_EQ(parse_slowly(data.get(), {whole, piece}, told), tv_status_none) << told.text;
      ASSERT_EQ(sheet_of(data.get()), expected) << piece;
    }
  const DataSetOwner data = data_set_of({{"old"}, {{"1"}}});
  Told told;
  for (const std::string& whole : {text, packed, std::string("x"), text + "\"open"}) {
    told = {};
    EXPECT_EQ(parse_slowly(data.get(), {whole, 100, 0, true}, told), tv_status_io);
    EXPECT_EQ(told.calls, 1u);
  }
  for (const size_t cut : {size_t{2}, size_t{12}, packed.size() / 2, packed.size() - 1}) {
    EXPECT_EQ(parse_slowly(data.get(), {packed.substr(0, cut), 100}, told), tv_status_parse) << cut;
    EXPECT_EQ(told.text, "the compressed text is cut off");
  }
  for (std::string spoilt : {packed, packed + "x", "\x1F\x8B" + packed}) {
    if (spoilt == packed) spoilt[packed.size() - 6] ^= 1;  // of the check sum
    EXPECT_EQ(parse_slowly(data.get(), {spoilt, 100}, told), tv_status_parse);
  }
  EXPECT_EQ(parse_slowly(data.get(), {std::string("a\nb\0c\n", 6), 1}, told), tv_status_parse);
  EXPECT_EQ(told.text, "null character");
  EXPECT_EQ(told.column, 2u);
  EXPECT_EQ(sheet_of(data.get()), (Sheet{{"old"}, {{"1"}}}));
}

TEST(Csv, GoesThroughFiles) {
  const std::string name = testing::TempDir() + "tarvo_csv_" + std::to_string(getpid());
  const Sheet sheet{{"\xEF\xBB\xBF", "", "a,b"}, {{"?", {}, "\""}, {"x\r", "\n", ""}}};
  const DataSetOwner data = data_set_of(sheet);
  ASSERT_EQ(tv_data_set_save_csv(data.get(), name.c_str(), '\t'), tv_status_none);
  const DataSetOwner read(tv_csv_parse_data_set(name.c_str(), '\t', nullptr, nullptr));
  ASSERT_TRUE(read) << tv_error_message();
  EXPECT_EQ(sheet_of(read.get()), sheet);
  const Sheet nameless{{""}, {{""}, {{}}, {"?"}}};
  EXPECT_EQ(parsed(csv_of(data_set_of(nameless).get())), nameless) << "of one column without a name";
  EXPECT_EQ(tv_csv_parse_data_set((name + ".none").c_str(), ',', nullptr, nullptr), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_io);
  EXPECT_EQ(tv_data_set_save_csv(data.get(), "/dev/full", ','), tv_status_io);
  std::remove(name.c_str());
}

TEST(Csv, KeepsToItsSettings) {
  const DataSetOwner owner(tv_new_data_set());
  tv_data_set_t* const data = owner.get();
  const char* const texts[] = {"-9", "none; of these, ever", nullptr};
  ASSERT_EQ(tv_data_set_set_missing_texts(data, texts), tv_status_none);
  EXPECT_STREQ(tv_data_set_get_missing_texts(data)[1], texts[1]);
  EXPECT_EQ(tv_data_set_get_missing_texts(data)[2], nullptr);
  ASSERT_EQ(tv_data_set_parse_csv_string(data, "a|b\n-9|NA\n|none; of these, ever\n\"-9\"|x\n", '|', nullptr,
                                         nullptr),
            tv_status_none);
  EXPECT_EQ(sheet_of(data), (Sheet{{"a", "b"}, {{{}, "NA"}, {"", {}}, {"-9", "x"}}}));
  const DataSetOwner copy(tv_data_set_clone(data));
  EXPECT_EQ(csv_of(copy.get(), '|'), "a|b\n-9|NA\n|-9\n\"-9\"|x\n");
  EXPECT_EQ(tv_data_set_to_csv_string(data, '9'), nullptr) << "it would part what means missing";

  tv_data_set_set_memory_limit(data, 1000000);
  std::string text = "n\n";
  for (int i = 0; i < 200000; ++i) text += std::to_string(i) + "\n";
  Told told;
  EXPECT_EQ(tv_data_set_parse_csv_string(data, text.c_str(), ',', tell, &told), tv_status_no_memory);
  EXPECT_EQ(told.text, "the data set is larger than its memory limit");
  EXPECT_STREQ(tv_error_message(), "the data set is larger than its memory limit");
  EXPECT_GT(told.line, 1000u);
  EXPECT_EQ(tv_data_set_get_number_of_rows(data), 3u);
}

TEST(Csv, TakesLittleMoreThanCodesAndItems) {
  std::string text = "few,many\n";
  for (int i = 0; i < 100000; ++i) text += (i % 3 ? "yes," : "no,") + std::to_string(i % 5000) + "\n";
  const DataSetOwner data(tv_new_data_set());
  ASSERT_EQ(tv_data_set_parse_csv_string(data.get(), text.c_str(), ',', nullptr, nullptr), tv_status_none);
  const size_t codes = 100000 * (1 + 2), items = 5002 * (5 + sizeof(char*));
  EXPECT_LT(tv_data_set_get_memory_size(data.get()), (codes + items) * 11 / 10);
}

TEST(Csv, MarksTheSameOnEveryProcessor) {
  Generator random(5);
  for (int i = 0; i < 2000; ++i) {
    char block[tv::kMarkBlock];
    for (char& c : block)
      c = random.chance(0.3) ? ",\"\n\r;-"[random.below(6)] : static_cast<char>(random.below(256));
    const char separator = ",;\x01\x7F"[random.below(4)];
    uint64_t expected = 0;
    for (size_t k = 0; k < tv::kMarkBlock; ++k)
      if (block[k] == separator || block[k] == '"' || block[k] == '\n' || block[k] == '\r')
        expected |= uint64_t{1} << k;
    ASSERT_EQ(tv::csv_marks_plain(block, separator), expected);
    ASSERT_EQ(tv::csv_marks(block, separator), expected);
  }
}

}  // namespace
}  // namespace test

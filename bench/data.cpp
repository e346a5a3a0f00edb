#include "data.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "memory.h"
#include "timing.h"

namespace bench {
namespace {

struct CloseFile {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// What the cells of a column are drawn from.
enum class Kind { kLabels, kNumbers };

struct Shape {
  const char* name;
  size_t labels, numbers;  // columns
};

std::string cell_of(Kind kind, size_t column, uint64_t random) {
  static const char* const labels[] = {"LOW",  "NORMAL", "HIGH", "TRUE", "FALSE",   "ZERO",
                                       "MILD", "SEVERE", "?",    "NONE", "ONESIDED"};
  if (kind == Kind::kNumbers) return std::to_string(static_cast<double>(random % 1000003) / 64);
  return labels[(column + random % (2 + column % 4)) % std::size(labels)];
}

// A file without a name.
File write_text(const Shape& shape, size_t rows) {
  File file(std::tmpfile());
  if (!file) throw std::runtime_error("no temporary file");
  uint64_t state = 1;
  std::string line;
  for (size_t row = 0; row <= rows; ++row) {
    line.clear();
    for (size_t i = 0; i < shape.labels + shape.numbers; ++i) {
      state = state * 6364136223846793005 + 1442695040888963407;
      const Kind kind = i < shape.labels ? Kind::kLabels : Kind::kNumbers;
      line += (i ? "," : "") + (row ? cell_of(kind, i, state >> 33) : "column" + std::to_string(i));
    }
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), file.get());
  }
  return file;
}

size_t count_lines(std::FILE* stream) {
  std::vector<char> block(size_t{1} << 18);
  size_t lines = 0;
  while (const size_t size = std::fread(block.data(), 1, block.size(), stream)) {
    const char *from = block.data(), *const end = from + size;
    while ((from = static_cast<const char*>(std::memchr(from, '\n', static_cast<size_t>(end - from))))) {
      ++lines;
      ++from;
    }
  }
  return lines;
}

// Milliseconds of processor time.
template <class Work>
double best_of(size_t repeats, const Work& work) {
  double best = 1e30;
  for (size_t i = 0; i < repeats; ++i) {
    const double start = processor_time();
    work();
    best = std::min(best, processor_time() - start);
  }
  return best;
}

// What the distinct items and the codes of the rows are at least: texts with an end and an address, and the
// fewest whole bytes.
double encoded_bytes(const tv_data_set_t* data) {
  double bytes = 0;
  for (size_t column = 0; column < tv_data_set_get_number_of_columns(data); ++column) {
    tv_column_summary_t* const summary = tv_data_set_describe_column(data, column);
    const size_t distinct = tv_column_summary_get_number_of_distinct_items(summary);
    for (size_t i = 0; i < distinct; ++i)
      bytes += static_cast<double>(std::strlen(tv_column_summary_get_item(summary, i)) + 1 + sizeof(char*));
    bytes += (distinct < 256     ? 1
              : distinct < 65536 ? 2
                                 : 4) *
             static_cast<double>(tv_data_set_get_number_of_rows(data));
    tv_column_summary_delete(summary);
  }
  return bytes;
}

void print_reading(const Shape& shape, size_t rows, size_t repeats) {
  const File file = write_text(shape, rows);
  const double megabytes = static_cast<double>(std::ftell(file.get())) / 1e6;
  const double lines = best_of(repeats, [&] {
    std::rewind(file.get());
    if (count_lines(file.get()) != rows + 1) throw std::runtime_error("lines are missing");
  });
  DataSet data(tv_new_data_set());
  const size_t live_before = live_bytes();
  size_t peak = 0;
  const double reading = best_of(repeats, [&] {
    data.reset(tv_new_data_set());
    reset_peak();
    std::rewind(file.get());
    expect(tv_data_set_parse_csv_stream(data.get(), file.get(), ',', nullptr, nullptr));
    peak = peak_bytes() - live_before;
  });
  const File nowhere(std::fopen("/dev/null", "w"));
  const double writing =
      best_of(repeats, [&] { expect(tv_data_set_write_csv(data.get(), nowhere.get(), ',')); });
  const double encoded = encoded_bytes(data.get());
  const double size = static_cast<double>(tv_data_set_get_memory_size(data.get()));
  std::printf("%-26s %9.1f %9.0f %9.0f %9.0f %9.1f %6.2f %9.1f\n", shape.name, megabytes,
              megabytes / lines * 1e3, megabytes / reading * 1e3, megabytes / writing * 1e3, size / 1e6,
              size / encoded, static_cast<double>(peak) / 1e6);
  std::fflush(stdout);
}

using Method = double* (*)(const tv_data_set_t*, size_t, size_t, size_t*);

void print_bounds(const char* name, const tv_data_set_t* data, size_t repeats, Method method, size_t wanted) {
  const double time = best_of(repeats, [&] {
    size_t intervals = 0;
    double* const bounds = method(data, 1, wanted, &intervals);
    if (!bounds) expect(tv_error_code());
    std::free(bounds);
  });
  std::printf("%-40s %9.1f\n", name, time);
}

void print_work(size_t rows, size_t repeats) {
  const File file = write_text({"", 1, 1}, rows);
  std::rewind(file.get());
  const DataSet data(tv_new_data_set());
  expect(tv_data_set_parse_csv_stream(data.get(), file.get(), ',', nullptr, nullptr));
  std::printf("\nMilliseconds of processor time, for a column of labels and one of numbers:\n");
  std::printf("%-40s %9.1f\n", "description of the numbers", best_of(repeats, [&] {
                tv_column_summary_delete(tv_data_set_describe_column(data.get(), 1));
              }));
  print_bounds("intervals of equal width", data.get(), repeats, tv_data_set_get_equal_width_bounds, 10);
  print_bounds("intervals of equal frequency", data.get(), repeats, tv_data_set_get_equal_frequency_bounds,
               10);
  print_bounds("intervals by k-means", data.get(), repeats, tv_data_set_get_k_means_bounds, 10);
  print_bounds("intervals for a class", data.get(), repeats, tv_data_set_get_class_bounds, 0);
  const size_t columns[] = {0, 1};
  std::printf("%-40s %9.1f\n", "sorting by both, once",
              best_of(1, [&] { expect(tv_data_set_sort(data.get(), columns, nullptr, 2)); }));
}

}  // namespace

bool run_data(size_t rows, size_t repeats) {
  std::printf(
      "%zu rows; megabytes, and megabytes of text a second of processor time, the best of %zu. lines: a loop "
      "that only finds "
      "line ends;\nmemory: afterwards, with the ratio to distinct items and codes; peak: of all allocations "
      "while reading.\n\n%-26s %9s %9s %9s %9s %9s %6s %9s\n",
      rows, repeats, "columns", "text", "lines", "reading", "writing", "memory", "", "peak");
  for (const Shape& shape : {Shape{"40 of labels", 40, 0}, Shape{"20 of labels, 2 of numbers", 20, 2},
                             Shape{"8 of numbers", 0, 8}})
    print_reading(shape, rows, repeats);
  print_work(rows, repeats);
  return true;
}

}  // namespace bench

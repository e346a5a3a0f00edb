// tarvo data discretize: intervals in the place of the numbers of some columns.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "data.h"
#include "files.h"

namespace program {
namespace {

using Bounds = std::vector<double>;

// "0,2.5,inf"
Bounds read_bounds(const std::string& text) {
  Bounds bounds;
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(',', begin), text.size());
    double bound = 0;
    const auto [behind, error] = std::from_chars(text.data() + begin, text.data() + end, bound);
    if (error != std::errc() || behind != text.data() + end || std::isnan(bound))
      throw Failure(kWrongUsage, "\"" + text.substr(begin, end - begin) + "\" is no bound");
    bounds.push_back(bound);
    begin = end + 1;
  }
  if (bounds.size() < 2) throw Failure(kWrongUsage, "--bounds needs two numbers at least");
  return bounds;
}

Bounds find_bounds(const tv_data_set_t* data, size_t column, const DataOptions& options) {
  if (!options.bounds.empty()) return read_bounds(options.bounds);
  size_t intervals = 0;
  double* bounds;
  if (options.method == "class")
    bounds = tv_data_set_get_class_bounds(data, column, column_named(data, options.class_column, options),
                                          &intervals);
  else if (options.method == "frequency")
    bounds = tv_data_set_get_equal_frequency_bounds(data, column, options.bins, &intervals);
  else if (options.method == "k-means")
    bounds = tv_data_set_get_k_means_bounds(data, column, options.bins, &intervals);
  else
    bounds = tv_data_set_get_equal_width_bounds(data, column, options.bins, &intervals);
  if (!bounds) fail_with_status(shown_file(options.file));
  const std::unique_ptr<double, void (*)(void*)> owner(bounds, std::free);
  return Bounds(bounds, bounds + intervals + 1);
}

Json json_bounds(const Bounds& bounds) {
  Json list = Json::array();
  for (const double bound : bounds) list.push_back(json_number(bound));
  return list;
}

void print_bounds(const std::string& name, const Bounds& bounds) {
  std::string line = printable(name) + ": " + std::to_string(bounds.size() - 1) + " intervals:";
  for (const double& bound : bounds) line += (&bound == &bounds.front() ? " " : ", ") + shortest(bound);
  std::printf("%s\n", line.c_str());
}

}  // namespace

// All bounds are found before any column changes, so that one may be the class of another.
ExitCode discretize_data(const DataOptions& options) {
  expect_room_for_report(options);
  if ((options.method == "class") != !options.class_column.empty())
    throw Failure(kWrongUsage, "--method class and --class go together");
  const DataSet data = load_data(options);
  std::vector<size_t> columns;
  std::vector<Bounds> bounds;
  for (const std::string& name : options.columns) {
    columns.push_back(column_named(data.get(), name, options));
    bounds.push_back(find_bounds(data.get(), columns.back(), options));
  }
  Json found = Json::array();
  for (size_t i = 0; i < columns.size(); ++i) {
    expect(tv_data_set_discretize(data.get(), columns[i], bounds[i].data(), bounds[i].size() - 1, nullptr),
           shown_file(options.file));
    found.push_back({{"column", options.columns[i]}, {"bounds", json_bounds(bounds[i])}});
  }
  save_data(data.get(), options);
  if (options.format == Format::kText && options.to != "-")
    for (size_t i = 0; i < columns.size(); ++i) print_bounds(options.columns[i], bounds[i]);
  report_data(data.get(), options, "discretize", {{"discretized", found}});
  return kSuccess;
}

}  // namespace program

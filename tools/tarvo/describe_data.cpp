// tarvo data describe: what each column holds.
#include <cstdio>
#include <nlohmann/json.hpp>

#include "data.h"
#include "files.h"

namespace program {
namespace {

constexpr size_t kItemsInText = 3, kItemsInJson = 10;

struct DeleteSummary {
  void operator()(tv_column_summary_t* summary) const { tv_column_summary_delete(summary); }
};
using Summary = std::unique_ptr<tv_column_summary_t, DeleteSummary>;

struct Described {
  std::string name;
  Summary summary;

  size_t items() const { return tv_column_summary_get_number_of_items(summary.get()); }
  size_t missing() const { return tv_column_summary_get_number_of_missing_items(summary.get()); }
  size_t distinct() const { return tv_column_summary_get_number_of_distinct_items(summary.get()); }
  bool is_numeric() const { return tv_column_summary_is_numeric(summary.get()) == 1; }
  std::string item(size_t index) const { return tv_column_summary_get_item(summary.get(), index); }
  size_t count(size_t index) const { return tv_column_summary_get_item_count(summary.get(), index); }
};

struct Quantity {
  const char* name;
  double (*of)(const tv_column_summary_t*);
};
constexpr Quantity kQuantities[] = {{"least", tv_column_summary_get_least},
                                    {"greatest", tv_column_summary_get_greatest},
                                    {"mean", tv_column_summary_get_mean},
                                    {"standard_deviation", tv_column_summary_get_standard_deviation}};

void print_as_text(const tv_data_set_t* data, const DataOptions& options,
                   const std::vector<Described>& columns) {
  std::printf("%s: %zu rows, %zu columns\n\n", printable(shown_file(options.file)).c_str(),
              tv_data_set_get_number_of_rows(data), tv_data_set_get_number_of_columns(data));
  TextTable table = {
      {"column", "items", "missing", "distinct", "least", "greatest", "mean", "deviation", "most frequent"}};
  for (const Described& column : columns) {
    std::vector<std::string> row = {printable(column.name), std::to_string(column.items()),
                                    std::to_string(column.missing()), std::to_string(column.distinct())};
    for (const Quantity& quantity : kQuantities)
      row.push_back(column.is_numeric() ? significant(quantity.of(column.summary.get())) : "-");
    std::string items;
    for (size_t i = 0; i < std::min(column.distinct(), kItemsInText); ++i)
      items += (i ? ", " : "") + printable(column.item(i)) + " (" + std::to_string(column.count(i)) + ")";
    row.push_back(items + (column.distinct() > kItemsInText ? ", ..." : ""));
    table.push_back(row);
  }
  print_table(table, "");
}

void print_as_json(const tv_data_set_t* data, const DataOptions& options,
                   const std::vector<Described>& columns) {
  JsonList list({{"command", "data describe"},
                 {"file", shown_file(options.file)},
                 {"rows", tv_data_set_get_number_of_rows(data)}},
                "columns");
  for (const Described& column : columns) {
    Json object = {{"name", column.name},
                   {"items", column.items()},
                   {"missing", column.missing()},
                   {"distinct", column.distinct()},
                   {"numeric", column.is_numeric()}};
    for (const Quantity& quantity : kQuantities)
      if (column.is_numeric()) object[quantity.name] = json_number(quantity.of(column.summary.get()));
    object["most_frequent"] = Json::array();
    for (size_t i = 0; i < std::min(column.distinct(), kItemsInJson); ++i)
      object["most_frequent"].push_back({{"item", column.item(i)}, {"count", column.count(i)}});
    list.add(object);
  }
  list.end();
}

void print_as_csv(const std::vector<Described>& columns) {
  const CsvWriter csv({"column", "item", "quantity", "value"});
  for (const Described& column : columns) {
    csv.row({column.name, "", "items", std::to_string(column.items())});
    csv.row({column.name, "", "missing", std::to_string(column.missing())});
    csv.row({column.name, "", "distinct", std::to_string(column.distinct())});
    for (const Quantity& quantity : kQuantities)
      if (column.is_numeric())
        csv.row({column.name, "", quantity.name, shortest(quantity.of(column.summary.get()))});
    for (size_t i = 0; i < std::min(column.distinct(), kItemsInJson); ++i)
      csv.row({column.name, column.item(i), "count", std::to_string(column.count(i))});
  }
}

}  // namespace

ExitCode describe_data(const DataOptions& options) {
  const DataSet data = load_data(options);
  std::vector<size_t> indexes;
  for (const std::string& name : options.columns) indexes.push_back(column_named(data.get(), name, options));
  for (size_t i = 0; options.columns.empty() && i < tv_data_set_get_number_of_columns(data.get()); ++i)
    indexes.push_back(i);
  std::vector<Described> columns;
  for (const size_t index : indexes) {
    Summary summary(tv_data_set_describe_column(data.get(), index));
    if (!summary) fail_with_status(shown_file(options.file));
    columns.push_back({tv_data_set_get_column_name(data.get(), index), std::move(summary)});
  }
  if (options.format == Format::kText) print_as_text(data.get(), options, columns);
  if (options.format == Format::kJson) print_as_json(data.get(), options, columns);
  if (options.format == Format::kCsv) print_as_csv(columns);
  return kSuccess;
}

}  // namespace program

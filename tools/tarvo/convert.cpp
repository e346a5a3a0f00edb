// tarvo convert: a network from one file into another, perhaps of another format.
#include <nlohmann/json.hpp>

#include "commands.h"
#include "memory.h"
#include "network_format.h"
#include "save_network.h"

namespace program {
namespace {

// The other formats are written from a copy of the numbers, and as one text.
constexpr double kBytesPerCopiedNumber = 20;

// What was done, for other programs; people see nothing where nothing is wrong.
void report(const Network& network, const ConvertOptions& options, const std::string& format) {
  const std::string from =
      options.source.format.empty() ? format_of(options.source.file) : options.source.format;
  const size_t messages = network.messages().all().size();
  if (options.format == Format::kJson)
    print_json({{"command", "convert"},
                {"file", network.file()},
                {"from", from},
                {"out", options.to},
                {"to", format},
                {"nodes", network.nodes().size()},
                {"warnings", messages}});
  if (options.format != Format::kCsv) return;
  const CsvWriter csv({"quantity", "value"});
  csv.row({"from", from});
  csv.row({"to", format});
  csv.row({"nodes", std::to_string(network.nodes().size())});
  csv.row({"warnings", std::to_string(messages)});
}

}  // namespace

ExitCode convert(const ConvertOptions& options) {
  if (options.to == "-" && options.format != Format::kText)
    throw Failure(kWrongUsage,
                  "the network itself goes to the standard output, so there is no room for --format");
  const std::string format = options.to_format.empty() ? format_of(options.to) : options.to_format;
  const Network network(options.source);
  expect_to_fit(network, network.nodes(), format == "net" ? 0 : kBytesPerCopiedNumber);
  save_network(network.domain(), network.file(), options.to, format);
  report(network, options, format);
  return kSuccess;
}

}  // namespace program

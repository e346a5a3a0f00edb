// tarvo convert: a network from one file into another, perhaps of another format.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "files.h"
#include "formats.h"
#include "memory.h"
#include "network_format.h"
#include "progress.h"

namespace program {
namespace {

// The other formats are written from a copy of the numbers, and as one text.
constexpr double kBytesPerCopiedNumber = 20;

void write(const Network& network, const FileWriter& out, const std::string& format) {
  if (format == "net") {
    errno = 0;
    const tv_status_t status = tv_domain_write_net(network.domain(), out.stream());
    if (status == tv_status_io && errno) out.fail(std::strerror(errno));
    return expect(status, network.file());
  }
  try {
    const std::string text =
        format == "bif" ? formats::write_bif(network.domain()) : formats::write_xmlbif(network.domain());
    std::fwrite(text.data(), 1, text.size(), out.stream());  // failures are noticed when the file is complete
  } catch (const formats::Error& error) {
    throw Failure(kFailed, network.file() + ": " + error.what());
  }
}

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
  {
    const Activity writing("writing " + shown_file(options.to));
    FileWriter out(options.to);
    write(network, out, format);
    out.commit();
  }
  report(network, options, format);
  return kSuccess;
}

}  // namespace program

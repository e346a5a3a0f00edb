#include "files.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "formats.h"

namespace program {
namespace {

std::string read_whole(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  if (!stream) throw Failure(kFailed, file + ": cannot be read");
  return text;
}

std::string in_other_format(const Network& network, const std::string& format) {
  try {
    return format == "bif" ? formats::write_bif(network.domain()) : formats::write_xmlbif(network.domain());
  } catch (const formats::Error& error) {
    throw Failure(kFailed, network.file() + ": " + error.what());
  }
}

void write_text(const std::string& file, const std::string& text) {
  if (file == "-") {
    std::fwrite(text.data(), 1, text.size(), stdout);  // failures are noticed at the end
    return;
  }
  std::ofstream stream(file, std::ios::binary);
  stream << text;
  stream.close();
  if (!stream) throw Failure(kFailed, file + ": cannot be written");
}

}  // namespace

std::string format_of(const std::string& file) {
  const auto ends_with = [&](const std::string& end) {
    return file.size() >= end.size() &&
           std::equal(end.rbegin(), end.rend(), file.rbegin(),
                      [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b - 'A' + 'a' : b); });
  };
  if (ends_with(".bif")) return "bif";
  return ends_with(".xml") || ends_with(".xmlbif") || ends_with(".bifxml") ? "xmlbif" : "net";
}

tv_domain_t* read_other_format(const std::string& file, const std::string& format) {
  const std::string text = read_whole(file);
  try {
    return (format == "bif" ? formats::read_bif(text) : formats::read_xmlbif(text)).release();
  } catch (const formats::Error& error) {
    const std::string place = error.line ? ":" + std::to_string(error.line) : "";
    throw Failure(kFailed, file + place + ": " + error.what());
  }
}

void write_network(const Network& network, const std::string& file, const std::string& format) {
  if (format != "net") return write_text(file, in_other_format(network, format));
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };
  const std::unique_ptr<char, Free> text(tv_domain_to_net_string(network.domain()));
  if (!text) fail_with_status(network.file());
  write_text(file, text.get());
}

}  // namespace program

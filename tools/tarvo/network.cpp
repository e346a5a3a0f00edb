#include "network.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "files.h"
#include "suggest.h"

namespace program {

void print_message(size_t line, const char* message, void* data) {
  auto& printer = *static_cast<MessagePrinter*>(data);
  ++printer.count;
  std::fprintf(stderr, "%s:%zu: %s\n", printer.file.c_str(), line, message);
}

void fail_with_status(const std::string& subject) {
  const unsigned code = static_cast<unsigned>(tv_error_code());
  throw Failure(kFailed, subject + ": " + tv_error_name(code) + ": " + tv_error_description(code));
}

Network::Network(const std::string& file, const std::string& format) : file_(file) {
  std::error_code unreadable;
  if (std::filesystem::is_directory(file, unreadable)) throw Failure(kFailed, file + ": is a folder");
  MessagePrinter printer{file_};
  const std::string written_in = format.empty() ? format_of(file) : format;
  if (written_in == "net")
    domain_.reset(tv_net_parse_domain(file.c_str(), print_message, &printer));
  else
    domain_.reset(read_other_format(file, written_in));
  if (!domain_) fail_with_status(file);
  messages_ = printer.count;
  for (tv_node_t* node = tv_domain_get_first_node(domain()); node; node = tv_node_get_next(node))
    nodes_.push_back(node);
}

tv_node_t* Network::find(const std::string& name) const {
  if (tv_node_t* node = tv_domain_get_node_by_name(domain(), name.c_str())) return node;
  std::vector<std::string> names;
  for (tv_node_t* node : nodes_) names.push_back(tv_node_get_name(node));
  throw Failure(kFailed, file_ + ": there is no node \"" + name + "\"" + did_you_mean(name, names));
}

std::string state_name(const tv_node_t* node, size_t state) {
  const std::string label = tv_node_get_state_label(node, state);
  return label.empty() ? "#" + std::to_string(state) : label;
}

std::vector<std::string> state_names(const tv_node_t* node) {
  std::vector<std::string> names;
  for (size_t state = 0; state < tv_node_get_number_of_states(node); ++state)
    names.push_back(state_name(node, state));
  return names;
}

std::string csv_text(const std::string& field) {
  if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
  std::string text = "\"";
  for (char c : field) text += c == '"' ? std::string("\"\"") : std::string(1, c);
  return text + '"';
}

size_t display_width(const std::string& text) {
  return static_cast<size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string padded(const std::string& text, size_t width) {
  const size_t used = display_width(text);
  return text + std::string(used < width ? width - used : 0, ' ');
}

}  // namespace program

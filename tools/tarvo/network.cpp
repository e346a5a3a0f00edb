#include "network.h"

#include <algorithm>
#include <cstdio>

#include "files.h"
#include "formats.h"
#include "memory.h"
#include "network_format.h"
#include "output.h"
#include "progress.h"
#include "suggest.h"

namespace program {
namespace {

struct DeleteDomain {
  void operator()(tv_domain_t* domain) const { tv_domain_delete(domain); }
};
using DomainOwner = std::unique_ptr<tv_domain_t, DeleteDomain>;

void receive(size_t, const char* message, void* messages) {
  static_cast<Messages*>(messages)->add_from_library(message);
}

DomainOwner parse_net(const std::string& text, Messages& messages) {
  if (text.empty()) {
    messages.add(0, 0, "the file is empty");
    return nullptr;
  }
  return DomainOwner(tv_net_parse_buffer(text.data(), text.size(), receive, &messages));
}

DomainOwner parse_other(const std::string& text, const std::string& format, Messages& messages) {
  try {
    return DomainOwner((format == "bif" ? formats::read_bif(text) : formats::read_xmlbif(text)).release());
  } catch (const formats::Error& error) {
    messages.add(error.line, 0, error.what());
    return nullptr;
  }
}

}  // namespace

Network::Network(const Source& source, KeepMessages)
    : file_(shown_file(source.file)), memory_limit_(memory_limit_of(source.memory_limit)) {
  const Activity reading("reading " + file_);
  enforce_memory_limit(memory_limit_);
  text_ = read_file(source.file);
  messages_ = Messages(file_, text_);
  read(source.format.empty() ? format_of(source.file) : source.format);
  if (messages_.all().empty()) std::string().swap(text_);
}

Network::Network(const Source& source) : Network(source, kKeepMessages) {
  messages_.print();
  if (!domain_) throw Failure(kFailed, "");
}

void Network::read(const std::string& format) {
  DomainOwner domain = format == "net" ? parse_net(text_, messages_) : parse_other(text_, format, messages_);
  if (!domain && !messages_.has_errors()) messages_.add(0, 0, library_message().c_str());
  domain_.reset(domain.release());
  if (!domain_) return;
  for (tv_node_t* node = tv_domain_get_first_node(domain_.get()); node; node = tv_node_get_next(node))
    nodes_.push_back(node);
  expect(tv_domain_set_memory_limit(domain_.get(), memory_limit_), file_);
  show_progress_of(domain_.get());
}

tv_node_t* Network::find(const std::string& name) const {
  if (tv_node_t* node = tv_domain_get_node_by_name(domain(), name.c_str())) return node;
  std::vector<std::string> names;
  for (tv_node_t* node : nodes_) names.push_back(name_of(node));
  throw Failure(kFailed, file_ + ": there is no node \"" + name + "\"" + did_you_mean(name, names));
}

bool Network::has_decisions() const { return std::any_of(nodes_.begin(), nodes_.end(), is_decision); }

std::string state_name(const tv_node_t* node, size_t state) {
  const std::string label = tv_node_get_state_label(node, state);
  return label.empty() ? "#" + std::to_string(state) : label;
}

std::vector<std::string> state_names(const tv_node_t* node) {
  std::vector<std::string> names;
  for (size_t state = 0; state < states_of(node); ++state) names.push_back(state_name(node, state));
  return names;
}

std::string shown_state(const tv_node_t* node, size_t state) { return printable(state_name(node, state)); }

std::string heading_of(tv_node_t* node) {
  const std::string name = name_of(node), label = tv_node_get_label(node);
  return label.empty() || label == name ? name : name + "  (" + printable(label) + ")";
}

}  // namespace program

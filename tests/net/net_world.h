// What the tests of the parser share: parsing with the messages kept.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "tarvo.h"

namespace net_test {

struct Message {
  size_t position;
  std::string text;
  bool operator==(const Message&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Message& message) {
  return out << message.position << ": " << message.text;
}

struct DeleteDomain {
  void operator()(tv_domain_t* domain) const { tv_domain_delete(domain); }
};
using DomainHandle = std::unique_ptr<tv_domain_t, DeleteDomain>;

inline void collect(size_t position, const char* message, void* data) {
  static_cast<std::vector<Message>*>(data)->push_back({position, message});
}

// The result of a parse. `status` is what the parser left.
struct Parsed {
  DomainHandle domain;
  std::vector<Message> messages;
  tv_status_t status = tv_status_none;
};

inline Parsed parse(const std::string& text_or_file) {
  Parsed parsed;
  parsed.domain.reset(tv_net_parse_domain(text_or_file.c_str(), collect, &parsed.messages));
  parsed.status = tv_error_code();
  return parsed;
}

// A file with some text, as long as the object lives.
class TextFile {
 public:
  explicit TextFile(const std::string& text) {
    char name[] = "/tmp/net_test_XXXXXX";
    const int descriptor = mkstemp(name);
    name_ = name;
    FILE* stream = fdopen(descriptor, "w");
    fwrite(text.data(), 1, text.size(), stream);
    fclose(stream);
  }
  ~TextFile() { std::remove(name_.c_str()); }
  const std::string& name() const { return name_; }

 private:
  std::string name_;
};

inline tv_node_t* node(const Parsed& parsed, const char* name) {
  return tv_domain_get_node_by_name(parsed.domain.get(), name);
}

inline std::vector<tv_number_t> numbers(tv_table_t* table) {
  const tv_number_t* data = tv_table_get_data(table);
  return {data, data + tv_table_get_size(table)};
}

inline std::string names(tv_node_t** nodes) {
  std::string text;
  for (; *nodes; ++nodes) text += (text.empty() ? "" : " ") + std::string(tv_node_get_name(*nodes));
  return text;
}

}  // namespace net_test

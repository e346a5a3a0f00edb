// One input of the parser's fuzz target: any bytes give a message or a domain, the same from a string as
// from a stream. Broken promises end the process.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tarvo.h"

namespace fuzz {

inline void require(bool condition, const char* claim) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", claim);
  std::abort();
}

inline std::vector<std::string> messages;
inline void collect(size_t, const char* message) { messages.push_back(message); }

// What came of one parse: the status and the messages.
struct Outcome {
  tv_status_t status;
  std::vector<std::string> said;
  bool operator==(const Outcome&) const = default;
};

// Empty for the only domain that a text can make and no text can say: one in which a constant was read before
// a node took its name.
inline std::string written(tv_domain_t* domain) {
  char* text = tv_domain_to_net_string(domain);
  require(text || tv_error_code() == tv_status_invalid_expression, "a domain can be written");
  std::string result = text ? text : "";
  std::free(text);
  return result;
}

// What is written is read, and written again the same.
inline void require_round_trip(tv_domain_t* domain) {
  const std::string text = written(domain);
  if (text.empty()) return;
  tv_domain_t* const again = tv_net_parse_from_string(text.c_str(), nullptr);
  require(again != nullptr, "what was written can be read");
  require(written(again) == text, "a second writing gives the same text");
  tv_domain_delete(again);
}

inline Outcome judge(tv_domain_t* domain) {
  const Outcome outcome{tv_error_code(), std::move(messages)};
  messages.clear();
  require((domain != nullptr) == (outcome.status == tv_status_none),
          "a domain comes with status `none' alone");
  size_t errors = 0;
  for (const std::string& message : outcome.said) errors += !message.starts_with("warning: ");
  require(errors == (domain ? 0 : 1), "a failure has one message, a domain none");
  if (domain) {
    // Reading all of it shows that it is whole.
    for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node)) {
      require(tv_node_get_name(node) != nullptr, "every node has a name");
      if (tv_table_t* table =
              tv_node_has_experience_table(node) == 1 ? tv_node_get_experience_table(node) : nullptr)
        require(tv_table_get_data(table) != nullptr, "an experience table has data");
    }
    require_round_trip(domain);
    tv_domain_delete(domain);
  }
  return outcome;
}

inline void count_errors(size_t, const char* message, void* errors) {
  require(tv_error_line() > 0 && tv_error_column() > 0, "a message has a place");
  *static_cast<size_t*>(errors) += std::strncmp(message, "warning: ", 9) != 0;
}

// Going on behind errors finds more of them, and takes the same texts for right.
inline void require_recovery(const std::string& bytes, const Outcome& first) {
  size_t errors = 0;
  tv_domain_t* const domain = tv_net_parse_buffer(bytes.data(), bytes.size(), count_errors, &errors);
  require(tv_error_code() == first.status, "the status is that of the first error");
  require((domain == nullptr) == (errors > 0) && errors <= 10, "one to ten errors, or a domain");
  tv_domain_delete(domain);
}

inline void parse_bytes(const uint8_t* data, size_t size) {
  std::string bytes(reinterpret_cast<const char*>(data), size);
  FILE* stream = size ? fmemopen(bytes.data(), size, "r") : std::fopen("/dev/null", "r");
  require(stream != nullptr, "the stream opens");
  tv_domain_t* const from_stream = tv_net_parse(stream, collect);
  const Outcome streamed = judge(from_stream);
  std::fclose(stream);
  require_recovery(bytes, streamed);
  tv_domain_t* const from_string = tv_net_parse_from_string(bytes.c_str(), collect);
  const Outcome direct = judge(from_string);
  if (std::strlen(bytes.c_str()) == size) require(direct == streamed, "string and stream are read alike");
}

}  // namespace fuzz

// A network as the commands of the program see it: a domain loaded from a file, its nodes in file order, and
// the failures that end a command. The program is a host like any other and uses tarvo.h alone.
#pragma once

#include <tarvo.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace program {

enum ExitCode { kSuccess = 0, kFailed = 1, kWrongUsage = 2 };

// Ends the command with a message on the error stream.
struct Failure : std::runtime_error {
  Failure(ExitCode code, const std::string& message) : std::runtime_error(message), exit_code(code) {}
  ExitCode exit_code;
};

// The failure for the status of the last call: its name and description, with `subject` in front.
[[noreturn]] void fail_with_status(const std::string& subject);

// Ends the command unless `status` is none.
inline void expect(tv_status_t status, const std::string& subject) {
  if (status != tv_status_none) fail_with_status(subject);
}

// Prints the messages of a reader to the error stream as "FILE:LINE: message", and counts them.
struct MessagePrinter {
  const std::string& file;
  size_t count = 0;
};
void print_message(size_t line, const char* message, void* printer);

class Network {
 public:
  // Reads `file`, in the format that its name tells unless one is given; every message goes to the error
  // stream.
  explicit Network(const std::string& file, const std::string& format = "");

  tv_domain_t* domain() const { return domain_.get(); }
  const std::string& file() const { return file_; }
  const std::vector<tv_node_t*>& nodes() const { return nodes_; }
  tv_node_t* find(const std::string& name) const;  // fails with a suggestion when there is none
  size_t messages() const { return messages_; }    // number of warnings of the parser

 private:
  struct Delete {
    void operator()(tv_domain_t* domain) const { tv_domain_delete(domain); }
  };
  std::string file_;
  size_t messages_ = 0;
  std::unique_ptr<tv_domain_t, Delete> domain_;
  std::vector<tv_node_t*> nodes_;
};

// A null-terminated list of the library as a range: for (tv_node_t* parent : each(tv_node_get_parents(node)))
template <class T>
struct NullTerminated {
  T** first;
  struct Iterator {
    T** position;
    T* operator*() const { return *position; }
    Iterator& operator++() {
      ++position;
      return *this;
    }
    bool operator!=(std::nullptr_t) const { return position && *position; }
  };
  Iterator begin() const { return {first}; }
  std::nullptr_t end() const { return nullptr; }
};

template <class T>
NullTerminated<T> each(T** list) {
  return {list};
}

inline bool is_discrete(const tv_node_t* node) { return tv_node_get_kind(node) == tv_kind_discrete; }
inline bool is_continuous(const tv_node_t* node) { return tv_node_get_kind(node) == tv_kind_continuous; }
inline bool is_real_valued_function(const tv_node_t* node) {
  return tv_node_get_category(node) == tv_category_function && !is_discrete(node);
}

// The label of a state, or "#index" for a state without one.
std::string state_name(const tv_node_t* node, size_t state);
std::vector<std::string> state_names(const tv_node_t* node);

// Characters on the screen, not bytes; and a text filled up with blanks to so many.
size_t display_width(const std::string& text);
std::string padded(const std::string& text, size_t width);

// A field of a CSV file, between quotes where it needs them.
std::string csv_text(const std::string& field);

}  // namespace program

// A network as the commands of the program see it: a domain loaded from a file, with its nodes in file order.
// The program is a host like any other and uses tarvo.h alone.
#pragma once

#include <tarvo.h>

#include <memory>
#include <string>
#include <vector>

#include "failure.h"
#include "messages.h"

namespace program {

// Where a network comes from, and what the command may use.
struct Source {
  std::string file;    // "-" for the standard input
  std::string format;  // empty for what the name of the file says
  std::string memory_limit;
};

class Network {
 public:
  // Reads the file; messages of the reader go to the error stream.
  explicit Network(const Source& source);

  // The same for a command that shows the messages itself: no failure when the file holds no network, but a
  // domain that is null.
  enum KeepMessages { kKeepMessages };
  Network(const Source& source, KeepMessages);

  tv_domain_t* domain() const { return domain_.get(); }
  const std::string& file() const { return file_; }
  const std::vector<tv_node_t*>& nodes() const { return nodes_; }
  const Messages& messages() const { return messages_; }
  size_t memory_limit() const { return memory_limit_; }  // bytes; 0 for none

  tv_node_t* find(const std::string& name) const;  // fails with a suggestion when there is none
  bool has_decisions() const;

 private:
  void read(const std::string& format);

  struct Delete {
    void operator()(tv_domain_t* domain) const { tv_domain_delete(domain); }
  };
  std::string file_;  // as it is shown
  size_t memory_limit_ = 0;
  std::string text_;
  Messages messages_;
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
inline bool is_decision(const tv_node_t* node) { return tv_node_get_category(node) == tv_category_decision; }
inline bool is_utility(const tv_node_t* node) { return tv_node_get_category(node) == tv_category_utility; }
inline bool is_real_valued_function(const tv_node_t* node) {
  return tv_node_get_category(node) == tv_category_function && !is_discrete(node);
}
inline std::string name_of(tv_node_t* node) { return tv_node_get_name(node); }
inline size_t states_of(const tv_node_t* node) { return tv_node_get_number_of_states(node); }

// The label of a state, or "#index" for a state without one; for a person as `shown_state`.
std::string state_name(const tv_node_t* node, size_t state);
std::vector<std::string> state_names(const tv_node_t* node);
std::string shown_state(const tv_node_t* node, size_t state);

// "name  (label)" for people.
std::string heading_of(tv_node_t* node);

}  // namespace program

// A node list: node pointers with a null behind the last, so that it can be handed to the host.
#pragma once

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <vector>

#include "network/types.h"

namespace tv {

// The node that stands for another one in a copy.
using NodeMap = std::function<Node*(Node*)>;

class NodeList {
 public:
  NodeList() = default;
  NodeList(std::initializer_list<Node*> nodes) {
    for (Node* node : nodes) push_back(node);
  }

  size_t size() const noexcept { return nodes_.empty() ? 0 : nodes_.size() - 1; }
  bool empty() const noexcept { return size() == 0; }
  Node* operator[](size_t i) const noexcept { return nodes_[i]; }
  Node* front() const noexcept { return nodes_.front(); }
  Node* back() const noexcept { return nodes_[size() - 1]; }
  Node* const* begin() const noexcept { return nodes_.data(); }
  Node* const* end() const noexcept { return nodes_.data() + size(); }

  // Null-terminated also when the list is empty.
  Node** terminated() const noexcept {
    static Node* none[1] = {nullptr};
    return nodes_.empty() ? none : const_cast<Node**>(nodes_.data());
  }

  void reserve(size_t count) { nodes_.reserve(count + 1); }
  // Makes the next insertion unable to fail.
  void reserve_one_more() { nodes_.reserve(grown_capacity(size() + 2)); }
  void push_back(Node* node) { insert(size(), node); }
  void push_front(Node* node) { insert(0, node); }
  void insert(size_t position, Node* node) {
    reserve_one_more();
    if (nodes_.empty()) nodes_.push_back(nullptr);
    nodes_.insert(nodes_.begin() + static_cast<std::ptrdiff_t>(position), node);
  }
  void erase(const Node* node) noexcept {
    const auto found = std::find(nodes_.begin(), nodes_.end(), node);
    if (found != nodes_.end() && node) nodes_.erase(found);
  }
  void replace(const Node* old_node, Node* new_node) noexcept {
    std::replace(nodes_.begin(), nodes_.end(), const_cast<Node*>(old_node), new_node);
  }
  void clear() noexcept { nodes_.clear(); }

  bool contains(const Node* node) const noexcept { return std::find(begin(), end(), node) != end(); }
  size_t position(const Node* node) const noexcept {  // size() when it is not there
    return static_cast<size_t>(std::find(begin(), end(), node) - begin());
  }
  friend bool operator==(const NodeList& a, const NodeList& b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
  }

 private:
  size_t grown_capacity(size_t needed) const noexcept {
    return needed <= nodes_.capacity() ? nodes_.capacity() : std::max(needed, 2 * nodes_.capacity());
  }

  std::vector<Node*> nodes_;  // with the terminating null, or empty
};

}  // namespace tv

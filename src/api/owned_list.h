// A singly linked list that owns its elements; the link is the element's own field `next`.
// Hosts walk the same links through the `_get_next` queries.
#pragma once

#include <cstddef>
#include <memory>

namespace tv {

template <class T>
class OwnedList {
 public:
  class Iterator {
   public:
    explicit Iterator(T* element) noexcept : element_(element) {}
    T& operator*() const noexcept { return *element_; }
    T* operator->() const noexcept { return element_; }
    Iterator& operator++() noexcept {
      element_ = element_->next;
      return *this;
    }
    bool operator!=(const Iterator& other) const noexcept { return element_ != other.element_; }

   private:
    T* element_;
  };

  OwnedList() = default;
  OwnedList(const OwnedList&) = delete;
  OwnedList& operator=(const OwnedList&) = delete;
  ~OwnedList() { clear(); }

  T* first() const noexcept { return first_; }
  bool empty() const noexcept { return !first_; }
  Iterator begin() const noexcept { return Iterator(first_); }
  Iterator end() const noexcept { return Iterator(nullptr); }

  T& push_front(std::unique_ptr<T> element) noexcept {
    element->next = first_;
    first_ = element.release();
    return *first_;
  }

  // Unhooks an element of this list and hands it to the caller.
  std::unique_ptr<T> remove(T& element) noexcept {
    T** link = &first_;
    while (*link != &element) link = &(*link)->next;
    *link = element.next;
    element.next = nullptr;
    return std::unique_ptr<T>(&element);
  }

  void reverse() noexcept {
    T* reversed = nullptr;
    while (first_) {
      T* rest = first_->next;
      first_->next = reversed;
      reversed = first_;
      first_ = rest;
    }
    first_ = reversed;
  }

  void clear() noexcept {
    while (first_) remove(*first_);
  }

 private:
  T* first_ = nullptr;
};

}  // namespace tv

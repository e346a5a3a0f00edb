// Size arithmetic that cannot wrap, memory for the host, and lists that own their elements.
#include "api/memory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "api/owned_list.h"

namespace {

using tv::kHugeSize;

TEST(SizeArithmetic, WhatDoesNotFitIsHuge) {
  constexpr size_t half = size_t{1} << 32;
  EXPECT_EQ(tv::size_multiply(half, half - 1), (half - 1) << 32);
  EXPECT_EQ(tv::size_multiply(half, half), kHugeSize);
  EXPECT_EQ(tv::size_multiply(kHugeSize, 2), kHugeSize);
  EXPECT_EQ(tv::size_multiply(kHugeSize, 1), kHugeSize);
  EXPECT_EQ(tv::size_multiply(0, kHugeSize), 0u);
  EXPECT_EQ(tv::size_add(kHugeSize - 1, 1), kHugeSize);
  EXPECT_EQ(tv::size_add(kHugeSize, 1), kHugeSize);
  EXPECT_EQ(tv::size_add(kHugeSize - 2, 1), kHugeSize - 1);
}

TEST(Memory, AllocationReportsItsOutcome) {
  tv::store_status(tv_status_io);
  void* block = tv::_tv_allocate(10);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_EQ(tv::_tv_allocate(tv::size_multiply(size_t{1} << 40, size_t{1} << 40)), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_no_memory);
  std::free(block);
  block = tv::_tv_allocate(0);  // an empty block is no failure
  EXPECT_NE(block, nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  std::free(block);
}

TEST(Memory, AFailedReallocationLeavesTheOldBlock) {
  char* block = static_cast<char*>(tv::_tv_reallocate(nullptr, 6));
  ASSERT_NE(block, nullptr);
  std::strcpy(block, "block");
  EXPECT_EQ(tv::_tv_reallocate(block, kHugeSize), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_no_memory);
  EXPECT_STREQ(block, "block");
  block = static_cast<char*>(tv::_tv_reallocate(block, 1000));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_STREQ(block, "block");
  std::free(block);
}

TEST(Memory, ShrinkingNeverTouchesTheStatus) {
  char* block = static_cast<char*>(tv::_tv_allocate(1000));
  std::strcpy(block, "block");
  tv::store_status(tv_status_io);
  block = static_cast<char*>(tv::_tv_shrink(block, 6));
  EXPECT_STREQ(block, "block");
  EXPECT_EQ(tv::_tv_shrink(block, 0), nullptr);  // freed: the leak checker sees to that
  EXPECT_EQ(tv::_tv_shrink(nullptr, 100), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_io);
}

TEST(Memory, StringsAreCopied) {
  for (const std::string text : {"", "a", "a text of some length"}) {
    for (char* copy : {tv::_tv_allocate_string(text.c_str()), tv::_tv_copy_file_name(text.c_str())}) {
      ASSERT_NE(copy, nullptr);
      EXPECT_NE(static_cast<const char*>(copy), text.c_str());
      EXPECT_EQ(copy, text);
      std::free(copy);
    }
  }
  EXPECT_EQ(tv_error_code(), tv_status_none);
}

struct Element {
  Element(char new_name, int* count_alive) : name(new_name), alive(count_alive) { ++*alive; }
  ~Element() { --*alive; }
  char name;
  int* alive;
  Element* next = nullptr;
};

std::string names_of(const tv::OwnedList<Element>& list) {
  std::string names;
  for (const Element& element : list) names += element.name;
  return names;
}

TEST(OwnedList, KeepsOrderAndOwnsItsElements) {
  int alive = 0;
  {
    tv::OwnedList<Element> list;
    EXPECT_TRUE(list.empty());
    list.push_front(std::make_unique<Element>('c', &alive));
    Element& middle = list.push_front(std::make_unique<Element>('b', &alive));
    list.push_front(std::make_unique<Element>('a', &alive));
    EXPECT_EQ(names_of(list), "abc");
    list.reverse();
    EXPECT_EQ(names_of(list), "cba");
    {
      const auto removed = list.remove(middle);
      EXPECT_EQ(removed->name, 'b');
      EXPECT_EQ(removed->next, nullptr);
    }
    EXPECT_EQ(names_of(list), "ca");
    EXPECT_EQ(alive, 2);
    list.remove(*list.first());
    EXPECT_EQ(names_of(list), "a");
  }
  EXPECT_EQ(alive, 0);
}

}  // namespace

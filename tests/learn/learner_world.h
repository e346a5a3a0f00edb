// Learners of structures in tests: owners, constraints as text, and the messages about them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "support/builders.h"

namespace test {

struct DeleteLearner {
  void operator()(tv_structure_learner_t* learner) const { tv_structure_learner_delete(learner); }
};

struct Learner : std::unique_ptr<tv_structure_learner_t, DeleteLearner> {
  Learner() : unique_ptr(tv_new_structure_learner()) {}
};

// "position: message" lines.
struct Messages {
  std::string text;
  static void collect(size_t position, const char* message, void* messages) {
    static_cast<Messages*>(messages)->text += std::to_string(position) + ": " + message + "\n";
  }
};

// The messages of a check, which have no position but all ones.
inline std::string without_positions(const std::string& text) {
  const std::string none = std::to_string(SIZE_MAX) + ": ";
  std::string result;
  for (size_t line = 0, end; (end = text.find('\n', line)) != std::string::npos; line = end + 1) {
    EXPECT_EQ(text.compare(line, none.size(), none), 0) << text;
    result += text.substr(line + none.size(), end + 1 - line - none.size());
  }
  return result;
}

inline tv_status_t parse(const Learner& learner, const std::string& text, Messages* messages = nullptr) {
  return tv_structure_learner_parse_constraints_string(learner.get(), text.c_str(),
                                                       messages ? Messages::collect : nullptr, messages);
}

inline std::string text_of(const Learner& learner) {
  const std::unique_ptr<char, decltype(&std::free)> text(
      tv_structure_learner_constraints_to_string(learner.get()), std::free);
  EXPECT_TRUE(text) << tv_error_message();
  return text ? text.get() : "";
}

}  // namespace test

// One input of the fuzz target of constraints: any text is refused with a message, and changes nothing then,
// or it is read; what was read is written as a text that gives the same constraints.
#pragma once

#include "net_input.h"

namespace fuzz {

inline std::string constraints_of(const tv_structure_learner_t* learner) {
  char* const text = tv_structure_learner_constraints_to_string(learner);
  require(text != nullptr, "constraints can be written");
  const std::string result = text;
  std::free(text);
  return result;
}

inline bool read_constraints(tv_structure_learner_t* learner, const std::string& text) {
  size_t errors = 0;
  const std::string before = constraints_of(learner);
  const tv_status_t status =
      tv_structure_learner_parse_constraints_string(learner, text.c_str(), count_errors, &errors);
  require((errors > 0) == (status != tv_status_none), "a failure is told");
  require(errors <= 20, "few errors are told");
  require(status == tv_status_none || constraints_of(learner) == before, "a failure changes nothing");
  return status == tv_status_none;
}

inline void parse_constraint_bytes(const uint8_t* data, size_t size) {
  tv_structure_learner_t* const learner = tv_new_structure_learner();
  if (read_constraints(learner, std::string(reinterpret_cast<const char*>(data), size))) {
    const std::string text = constraints_of(learner);
    require(read_constraints(learner, text), "what was written can be read");
    require(constraints_of(learner) == text, "and says nothing new");
    tv_structure_learner_clear_constraints(learner);
    require(read_constraints(learner, text) && constraints_of(learner) == text, "and says everything");
  }
  tv_structure_learner_delete(learner);
}

}  // namespace fuzz

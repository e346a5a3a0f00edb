// Files of one case, which become evidence, and of many.
#pragma once

#include <string>

#include "network.h"

namespace program {

// Replaces what is entered. "-" stands for the standard input; messages of the reader go to the error stream.
void enter_case_file(const Network& network, const std::string& file);

// The cases of the domain, likewise.
void read_cases(const Network& network, const std::string& file);

}  // namespace program

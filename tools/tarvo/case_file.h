// Evidence from a file of one case.
#pragma once

#include <string>

#include "network.h"

namespace program {

// Replaces what is entered. "-" stands for the standard input; messages of the reader go to the error stream.
void enter_case_file(const Network& network, const std::string& file);

}  // namespace program

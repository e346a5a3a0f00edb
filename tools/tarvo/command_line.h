// The command line of the program: commands, options, help.
#pragma once

#include "failure.h"

namespace program {

// Does what the arguments say. Wrong arguments are explained on the error stream.
ExitCode run_command(int argc, char** argv);

}  // namespace program

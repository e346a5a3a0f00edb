// Constraints as text: one statement after the other, each ended by a semicolon, as experts write them down.
#pragma once

#include "learn/structure/constraints/learner.h"
#include "text/lexer.h"
#include "text/output.h"

namespace tv {

// Adds what the text says to the constraints. After an error, which has been reported like all others that
// the text has, up to a limit, the constraints are good for nothing.
tv_status_t parse_constraints(Lexer& lexer, Constraints& constraints);

// Whatever the names are, the parser reads the same constraints back.
void write_constraints(OutputSink& sink, const Constraints& constraints);

}  // namespace tv

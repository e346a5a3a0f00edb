// The parser of expressions: recursive descent over the tokens of a lexer, which may stand in the middle of
// a larger text.
#pragma once

#include "expr/expression.h"
#include "text/lexer.h"

namespace tv {

// Reads one expression over the nodes of the domain and leaves the token behind it to be read again. Every
// failure has been reported to the lexer's handler: `syntax`, `invalid_expression`, or what the lexer itself
// ran into (`io`, `no_memory`).
tv_status_t parse_expression(Lexer& lexer, Domain& domain, ExpressionOwner& result);

}  // namespace tv

// What the parser of network descriptions shares with other files of the library.
#pragma once

namespace tv {

// Whether a text is a network description (1) rather than the name of a file (0): behind white space and
// comments it starts with a keyword of the language that white space or a brace follows. Negative on
// failure.
int _tv_string_is_net_description(const char* source) noexcept;

}  // namespace tv

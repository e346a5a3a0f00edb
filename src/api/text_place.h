// Where the message stands that a parser has told last: for hosts that show the line with a mark.
#pragma once

#include "tarvo.h"

namespace tv {

struct TextPlace {
  size_t line = 0;  // from 1; 0: nothing has been told
  size_t column = 0;
};

// Of the calling thread. Whatever begins to read a text empties it, whatever tells a message sets it.
extern constinit thread_local TextPlace last_place [[gnu::tls_model("initial-exec")]];

}  // namespace tv

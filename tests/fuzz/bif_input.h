// One input of the fuzz target of BIF and XMLBIF: an error with its line, or a network that is written and
// read again unchanged.
#pragma once

#include "formats.h"
#include "net_input.h"

namespace fuzz {

template <class Read, class Write>
void parse_format(std::string_view text, Read read, Write write) {
  try {
    const formats::DomainOwner domain = read(text);
    const std::string once = write(domain.get());
    const formats::DomainOwner again = read(once);
    require(write(again.get()) == once, "a second writing gives the same text");
  } catch (const formats::Error& error) {
    require(*error.what() != '\0', "every error has a message");
  }
}

inline void parse_bif_bytes(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (!text.empty() && text[0] == '<')
    parse_format(text, formats::read_xmlbif, formats::write_xmlbif);
  else
    parse_format(text, formats::read_bif, formats::write_bif);
}

}  // namespace fuzz

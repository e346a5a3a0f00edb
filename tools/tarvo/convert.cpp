// tarvo convert: a network from one file into another, perhaps of another format.
#include "commands.h"
#include "files.h"

namespace program {

ExitCode convert(const std::string& from, const std::string& to, const std::string& from_format,
                 const std::string& to_format) {
  const Network network(from, from_format);
  write_network(network, to, to_format.empty() ? format_of(to) : to_format);
  return kSuccess;
}

}  // namespace program

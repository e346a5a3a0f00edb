// Networks into files of any format.
#pragma once

#include <tarvo.h>

#include <string>

namespace program {

// `to`: the file to write, "-" for the standard output. `format`: empty for what the name of the file says.
// `subject`: what failures are about.
void save_network(tv_domain_t* domain, const std::string& subject, const std::string& to,
                  const std::string& format);

}  // namespace program

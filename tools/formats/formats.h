// Networks of discrete nodes in the formats of the public repositories: BIF (the interchange format of 1998,
// as repositories write it) and XMLBIF 0.3. The reading and writing is done here, the networks are made and
// looked at through tarvo.h alone.
#pragma once

#include <tarvo.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace formats {

// What is wrong with a text, and where; for a network that a format cannot express the line is 0.
struct Error : std::runtime_error {
  Error(size_t error_line, const std::string& message) : std::runtime_error(message), line(error_line) {}
  size_t line;
};

struct DeleteDomain {
  void operator()(tv_domain_t* domain) const { tv_domain_delete(domain); }
};
using DomainOwner = std::unique_ptr<tv_domain_t, DeleteDomain>;

// Names that are none in Tarvo are changed; the original becomes the label of the node. Throw Error.
DomainOwner read_bif(std::string_view text);
DomainOwner read_xmlbif(std::string_view text);

// Tables are written with as many digits as bring the same numbers back. BIF knows chance nodes alone, XMLBIF
// decisions and utilities, too. Throw Error.
std::string write_bif(tv_domain_t* domain);
std::string write_xmlbif(tv_domain_t* domain);

}  // namespace formats

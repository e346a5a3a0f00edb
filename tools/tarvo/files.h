// Networks in files of several formats: "net", "bif" and "xmlbif".
#pragma once

#include <string>
#include <vector>

#include "network.h"

namespace program {

inline const std::vector<std::string> kFormats = {"net", "bif", "xmlbif"};

std::string format_of(const std::string& file);  // by the end of its name; "net" where that says nothing

tv_domain_t* read_other_format(const std::string& file, const std::string& format);

// "-" stands for the standard output.
void write_network(const Network& network, const std::string& file, const std::string& format);

}  // namespace program

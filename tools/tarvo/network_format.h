// The formats of networks in files: "net", "bif" and "xmlbif".
#pragma once

#include <string>
#include <vector>

namespace program {

inline const std::vector<std::string> kNetworkFormats = {"net", "bif", "xmlbif"};

std::string format_of(const std::string& file);  // by the end of its name; "net" where that says nothing

}  // namespace program

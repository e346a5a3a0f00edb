// Attributes: pairs of texts that a host hangs on a domain or a node, newest key first.
#pragma once

#include <string>
#include <string_view>

#include "api/owned_list.h"
#include "network/types.h"

struct tv_attribute_s {
  std::string key;
  std::string value;
  tv_attribute_s* next = nullptr;
};

namespace tv {

using AttributeList = OwnedList<Attribute>;

// `invalid_name` unless the key is a plain name. An existing key keeps its place, a new one goes to the
// head of the list.
tv_status_t set_attribute(AttributeList& attributes, std::string_view key, std::string_view value);
tv_status_t remove_attribute(AttributeList& attributes, std::string_view key) noexcept;
const char* find_attribute(const AttributeList& attributes, std::string_view key) noexcept;

}  // namespace tv

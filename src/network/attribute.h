// Attributes: pairs of texts that a host hangs on a domain or a node, newest key first.
#pragma once

#include <string>

#include "api/owned_list.h"
#include "network/types.h"

struct tv_attribute_s {
  std::string key;
  std::string value;
  tv_attribute_s* next = nullptr;
};

namespace tv {

using AttributeList = OwnedList<Attribute>;

// `value` null removes the key; `invalid_name` unless the key is a plain name.
tv_status_t set_attribute(AttributeList& attributes, const char* key, const char* value);
const char* find_attribute(const AttributeList& attributes, const char* key) noexcept;

}  // namespace tv

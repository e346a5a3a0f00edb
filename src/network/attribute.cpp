// Attributes of domains and nodes: short lists, so a linear search is all they need.
#include "network/attribute.h"

#include <algorithm>
#include <memory>

#include "api/boundary.h"
#include "network/domain.h"
#include "network/node_operations.h"

namespace tv {
namespace {

Attribute* find(const AttributeList& attributes, std::string_view key) noexcept {
  for (Attribute& attribute : attributes)
    if (attribute.key == key) return &attribute;
  return nullptr;
}

// What a description of a network says under these keys is something else.
constexpr std::string_view kNodeFields[] = {"label", "position", "states", "subtype", "state_values"};
constexpr std::string_view kDomainFields[] = {"node_size", "inputs", "outputs"};

template <size_t n>
tv_status_t set_or_remove(AttributeList& attributes, const std::string_view (&fields)[n], const char* key,
                          const char* value) {
  if (!value) return remove_attribute(attributes, key);
  if (std::find(std::begin(fields), std::end(fields), key) != std::end(fields)) return tv_status_invalid_name;
  return set_attribute(attributes, key, value);
}

}  // namespace

tv_status_t set_attribute(AttributeList& attributes, std::string_view key, std::string_view value) {
  if (tv_status_t status = _tv_check_name(key, false)) return status;
  if (Attribute* attribute = find(attributes, key)) {
    attribute->value = value;
    return tv_status_none;
  }
  auto attribute = std::make_unique<Attribute>();
  attribute->key = key;
  attribute->value = value;
  attributes.push_front(std::move(attribute));
  return tv_status_none;
}

tv_status_t remove_attribute(AttributeList& attributes, std::string_view key) noexcept {
  if (tv_status_t status = _tv_check_name(key, false)) return status;
  if (Attribute* attribute = find(attributes, key)) attributes.remove(*attribute);
  return tv_status_none;
}

const char* find_attribute(const AttributeList& attributes, std::string_view key) noexcept {
  const Attribute* attribute = find(attributes, key);
  return attribute ? attribute->value.c_str() : nullptr;
}

}  // namespace tv

tv_status_t tv_domain_set_attribute(tv_domain_t* domain, const char* key, const char* value) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain && key)) return tv_status_usage;
    return tv::set_or_remove(domain->attributes, tv::kDomainFields, key, value);
  });
}

tv_status_t tv_node_set_attribute(tv_node_t* node, const char* key, const char* value) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(node && key)) return tv_status_usage;
    return tv::set_or_remove(node->attributes, tv::kNodeFields, key, value);
  });
}

const char* tv_domain_get_attribute(const tv_domain_t* domain, const char* key) {
  return tv::check(domain && key) ? tv::find_attribute(domain->attributes, key) : nullptr;
}

const char* tv_node_get_attribute(const tv_node_t* node, const char* key) {
  return tv::check(node && key) ? tv::find_attribute(node->attributes, key) : nullptr;
}

tv_attribute_t* tv_domain_get_first_attribute(const tv_domain_t* domain) {
  return tv::check(domain) ? domain->attributes.first() : nullptr;
}

tv_attribute_t* tv_node_get_first_attribute(const tv_node_t* node) {
  return tv::check(node) ? node->attributes.first() : nullptr;
}

tv_attribute_t* tv_attribute_get_next(const tv_attribute_t* attribute) {
  return tv::check(attribute) ? attribute->next : nullptr;
}

const char* tv_attribute_get_key(const tv_attribute_t* attribute) {
  return tv::check(attribute) ? attribute->key.c_str() : nullptr;
}

const char* tv_attribute_get_value(const tv_attribute_t* attribute) {
  return tv::check(attribute) ? attribute->value.c_str() : nullptr;
}

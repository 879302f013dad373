#include "platform/UserDefaults.h"

namespace murvel {

void UserDefaults::registerDefaults(const PropertyValue& dictionary) {
  if (!dictionary.is_object())
    return;
  for (const auto& [key, value] : dictionary.items()) registered_[key] = value;
}

std::optional<PropertyValue> UserDefaults::objectForKey(std::string_view key) const {
  if (auto stored = persistentObject(key))
    return stored;
  auto found = registered_.find(std::string(key));
  if (found == registered_.end())
    return std::nullopt;
  return *found;
}

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
  auto value = objectForKey(key);
  if (!value || !value->is_string())
    return std::nullopt;
  return value->get<std::string>();
}

bool UserDefaults::boolForKey(std::string_view key) const {
  auto value = objectForKey(key);
  return value && value->is_boolean() && value->get<bool>();
}

std::optional<PropertyValue> UserDefaults::dictionaryForKey(std::string_view key) const {
  auto value = objectForKey(key);
  if (!value || !value->is_object())
    return std::nullopt;
  return value;
}

}  // namespace murvel

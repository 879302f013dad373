#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/PropertyValue.h"

namespace murvel {

// The application's persistent key-value store. Concrete stores supply the persistent part;
// registered defaults live in memory for the present run only and are never persisted.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;

  // The persisted value at `key`, or nothing.
  virtual std::optional<PropertyValue> persistentObject(std::string_view key) const = 0;

  // Stores `value` at `key` at once, for all later reads. A null value removes the key.
  virtual void setObject(const PropertyValue& value, std::string_view key) = 0;

  // Fallback values that a key reads while nothing is stored at it. A later call adds to or
  // replaces earlier entries.
  void registerDefaults(const PropertyValue& dictionary);

  // The stored value, else the registered one, else nothing.
  std::optional<PropertyValue> objectForKey(std::string_view key) const;

  // The string at `key`; nothing when absent or not a string.
  std::optional<std::string> stringForKey(std::string_view key) const;

  // The boolean at `key`; false when absent or not a boolean.
  bool boolForKey(std::string_view key) const;

  // The dictionary at `key`; nothing when absent or not a dictionary.
  std::optional<PropertyValue> dictionaryForKey(std::string_view key) const;

  void setBool(bool value, std::string_view key) { setObject(PropertyValue(value), key); }

 private:
  PropertyValue registered_ = PropertyValue::object();
};

}  // namespace murvel

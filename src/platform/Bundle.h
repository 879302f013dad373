#pragma once

#include <optional>
#include <string_view>

#include "platform/PropertyValue.h"

namespace murvel {

// The application's own description of itself.
class Bundle {
 public:
  virtual ~Bundle() = default;
  // An entry of the information dictionary, such as "CFBundleShortVersionString", or nothing.
  virtual std::optional<PropertyValue> objectForInfoDictionaryKey(std::string_view key) = 0;
};

}  // namespace murvel

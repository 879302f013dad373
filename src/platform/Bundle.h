#pragma once

#include <optional>
#include <string>
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

// The bundle's version string, or "1.0" when it has none.
inline std::string shortVersionString(Bundle& bundle) {
  auto version = bundle.objectForInfoDictionaryKey("CFBundleShortVersionString");
  if (version && version->is_string())
    return version->get<std::string>();
  return "1.0";
}

}  // namespace murvel

#include "platform/linux/desktop/LinuxBundle.h"

namespace murvel::linux_platform {

std::optional<PropertyValue> LinuxBundle::objectForInfoDictionaryKey(std::string_view key) {
  if (key == "CFBundleShortVersionString")
    return PropertyValue(version_);
  if (key == "CFBundleIdentifier")
    return PropertyValue("com.murvel.mac");
  return std::nullopt;
}

}  // namespace murvel::linux_platform

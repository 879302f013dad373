#pragma once

#include <string>

#include "platform/Bundle.h"

namespace murvel::linux_platform {

// The two entries of the application's description that the system reads.
class LinuxBundle final : public Bundle {
 public:
  explicit LinuxBundle(std::string version) : version_(std::move(version)) {}

  std::optional<PropertyValue> objectForInfoDictionaryKey(std::string_view key) override;

 private:
  std::string version_;
};

}  // namespace murvel::linux_platform

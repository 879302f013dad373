#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace murvel {

inline constexpr std::string_view pasteboardTypeString = "public.utf8-plain-text";

// The general pasteboard (the desktop's clipboard).
class Pasteboard {
 public:
  virtual ~Pasteboard() = default;
  virtual void clearContents() = 0;
  virtual bool setString(const std::string& text, std::string_view type) = 0;
  virtual std::optional<std::string> stringForType(std::string_view type) = 0;
};

}  // namespace murvel

#pragma once

#include "platform/Pasteboard.h"

namespace murvel::linux_platform {

// The desktop's clipboard (the CLIPBOARD selection, not PRIMARY), plain text only. On X11 the
// clipboard holds no data of its own: this application owns it and hands the text over when
// another one asks, from the main thread. So the application must stay alive and its event loop
// responsive for a paste to work. Needs a QGuiApplication on the main thread.
class QtPasteboard final : public Pasteboard {
 public:
  void clearContents() override;
  // Only the plain-text type is written; any other is refused.
  bool setString(const std::string& text, std::string_view type) override;
  std::optional<std::string> stringForType(std::string_view type) override;
};

}  // namespace murvel::linux_platform

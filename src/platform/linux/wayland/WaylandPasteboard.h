#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/Pasteboard.h"

class QObject;

namespace murvel::linux_platform {

// The clipboard of a Wayland desktop: the text goes to the X11 clipboard (for XWayland windows)
// and, through wl-copy and the data-control protocol, to the one that Wayland windows read.
// wl-copy runs beside the main thread; it returns once the compositor holds the offer and then
// serves the text from the background until something else is copied. Reads come from the X11
// side, which holds the same text. Main thread only.
class WaylandPasteboard final : public Pasteboard {
 public:
  explicit WaylandPasteboard(Pasteboard& x11Clipboard);
  ~WaylandPasteboard() override;

  void clearContents() override;
  bool setString(const std::string& text, std::string_view type) override;
  std::optional<std::string> stringForType(std::string_view type) override;

  // Runs `then` on the main thread once the Wayland clipboard holds the last text written: at
  // once when no write is under way. A paste keystroke sent earlier would paste the old text.
  void whenWritten(std::function<void()> then);

 private:
  void written();

  Pasteboard& x11Clipboard_;
  std::unique_ptr<QObject> context_;
  int writing_ = 0;
  std::vector<std::function<void()>> waiting_;
};

}  // namespace murvel::linux_platform

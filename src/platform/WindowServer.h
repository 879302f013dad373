#pragma once

#include <optional>
#include <string_view>

namespace murvel {

class Window;
class Popover;

// What puts the system's windows and popovers on the screen. A surface is announced once, when
// it is made; from then on the toolkit follows its record until the record goes away.
class WindowServer {
 public:
  virtual ~WindowServer() = default;
  virtual void addWindow(Window& window) = 0;
  virtual void addPopover(Popover& popover) = 0;
  // Whether the desktop's icon set has a picture for this symbol name.
  virtual bool hasSymbolImage(std::string_view name) = 0;
};

}  // namespace murvel

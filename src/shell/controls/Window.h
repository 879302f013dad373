#pragma once

#include <functional>
#include <string>

#include "shell/controls/View.h"

namespace murvel {

namespace WindowStyle {
inline constexpr unsigned titled = 1;
inline constexpr unsigned closable = 2;
inline constexpr unsigned miniaturizable = 4;
inline constexpr unsigned resizable = 8;
}  // namespace WindowStyle

// An ordinary window with a title and one content view.
class Window : public Control {
 public:
  ControlKind kind() const override { return ControlKind::window; }

  const std::string& title() const { return title_; }
  void setTitle(std::string title) { assign(title_, std::move(title)); }
  unsigned styleMask() const { return styleMask_; }
  void setStyleMask(unsigned mask) { assign(styleMask_, mask); }
  bool isReleasedWhenClosed() const { return releasedWhenClosed_; }
  void setReleasedWhenClosed(bool released) { assign(releasedWhenClosed_, released); }
  bool isCentered() const { return centered_; }
  void center() { assign(centered_, true); }

  View& contentView() { return content_; }

  bool isVisible() const { return visible_; }
  // Shows the window in front of the others and gives it the keyboard.
  void makeKeyAndOrderFront() {
    assign(visible_, true);
    notify(ControlEvent::orderFront);
  }
  void orderOut() { assign(visible_, false); }
  // Takes the window off the screen without asking its delegate.
  void close() { assign(visible_, false); }

  // The delegate's answer to the close button: false keeps the window as it is.
  std::function<bool()> windowShouldClose;
  // The user clicked the close button.
  void performClose() {
    if (!windowShouldClose || windowShouldClose())
      close();
  }

 private:
  std::string title_;
  unsigned styleMask_ = WindowStyle::titled | WindowStyle::closable;
  bool releasedWhenClosed_ = true;
  bool centered_ = false;
  bool visible_ = false;
  View content_;
};

}  // namespace murvel

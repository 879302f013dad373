#pragma once

#include <memory>

#include "shell/controls/Control.h"
#include "shell/controls/StatusItem.h"
#include "shell/controls/ViewController.h"

namespace murvel {

enum class PopoverBehavior { applicationDefined = 0, transient = 1, semitransient = 2 };
// The edge of the anchor that the popover opens from; 1 is the bottom edge of the menu bar.
enum class RectEdge { minX = 0, minY = 1, maxX = 2, maxY = 3 };

// A panel that opens from the menu-bar button and shows a view controller's view.
class Popover : public Control {
 public:
  ControlKind kind() const override { return ControlKind::popover; }

  Size contentSize() const { return contentSize_; }
  void setContentSize(Size size) { assign(contentSize_, size); }
  PopoverBehavior behavior() const { return behavior_; }
  void setBehavior(PopoverBehavior behavior) { assign(behavior_, behavior); }
  // Held weakly: the delegate owns the controller.
  std::shared_ptr<ViewController> contentViewController() const {
    return contentViewController_.lock();
  }
  void setContentViewController(std::weak_ptr<ViewController> controller) {
    contentViewController_ = std::move(controller);
    notify(ControlEvent::changed);
  }

  bool isShown() const { return shown_; }
  const StatusItemButton* anchor() const { return anchor_; }
  RectEdge preferredEdge() const { return edge_; }
  // Opens under `button`. The content's view is built no later than here.
  void showRelativeTo(const StatusItemButton& button, RectEdge edge) {
    if (auto controller = contentViewController())
      controller->view();
    anchor_ = &button;
    edge_ = edge;
    shown_ = true;
    notify(ControlEvent::show);
  }
  // Closes it, whoever asks: a click elsewhere, the program, quitting. The content hears of it.
  void close() {
    if (!shown_)
      return;
    shown_ = false;
    notify(ControlEvent::changed);
    if (auto controller = contentViewController())
      controller->viewDidDisappear();
  }
  void performClose() { close(); }

 private:
  Size contentSize_;
  PopoverBehavior behavior_ = PopoverBehavior::applicationDefined;
  std::weak_ptr<ViewController> contentViewController_;
  bool shown_ = false;
  const StatusItemButton* anchor_ = nullptr;
  RectEdge edge_ = RectEdge::minY;
};

}  // namespace murvel

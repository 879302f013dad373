#pragma once

namespace murvel {

class View;

// Owns a view that a popover or window shows, and hears when it leaves the screen.
class ViewController {
 public:
  virtual ~ViewController() = default;
  // The root view, built on first use.
  virtual View& view() = 0;
  virtual void viewDidDisappear() = 0;
};

}  // namespace murvel

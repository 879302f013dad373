#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/PropertyValue.h"

namespace murvel {

// Who receives a menu item's action: the application's delegate, or whoever the platform finds
// (on this system that is the delegate too).
enum class MenuTarget { unset, appDelegate };

struct Menu;

// One entry of a menu, as data. `action` names the operation; `perform` carries it out with the
// item as the sender.
struct MenuItem {
  std::string title;
  std::string action;
  std::string keyEquivalent;
  MenuTarget target = MenuTarget::unset;
  // 1 checked, 0 not.
  int state = 0;
  // null when there is none.
  PropertyValue representedObject;
  std::shared_ptr<Menu> submenu;
  bool isSeparator = false;
  std::function<void(const MenuItem&)> perform;

  static MenuItem separatorItem() {
    MenuItem item;
    item.isSeparator = true;
    return item;
  }
  // The user chose this item.
  void choose() const {
    if (perform)
      perform(*this);
  }
};

// A menu built for one showing: it is data, not a live control.
struct Menu {
  std::vector<MenuItem> items;
  void addItem(MenuItem item) { items.push_back(std::move(item)); }
};

}  // namespace murvel

#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/DateFormatter.h"
#include "platform/StatusBar.h"
#include "platform/WindowServer.h"
#include "shell/controls/Popover.h"
#include "shell/controls/Window.h"

namespace murvel::testing {

class FakeStatusBar final : public StatusBar {
 public:
  std::shared_ptr<StatusItem> statusItemWithLength(double length) override {
    items.push_back(std::make_shared<StatusItem>(length, true));
    return items.back();
  }
  void removeStatusItem(StatusItem& item) override { item.remove(); }

  std::vector<std::shared_ptr<StatusItem>> items;
};

class FakeWindowServer final : public WindowServer {
 public:
  void addWindow(Window& window) override { windows.push_back(&window); }
  void addPopover(Popover&) override {}
  bool hasSymbolImage(std::string_view name) override {
    return !missingSymbols.count(std::string(name));
  }

  std::vector<Window*> windows;
  std::set<std::string> missingSymbols;
};

// Times of day in UTC as "H:MM", so that tests read the same everywhere.
class FakeDateFormatter final : public DateFormatter {
 public:
  std::string shortTimeString(Date date) override;
};

}  // namespace murvel::testing

#pragma once

#include <memory>
#include <set>
#include <string>

#include "platform/DateFormatter.h"
#include "platform/StatusBar.h"
#include "platform/WindowServer.h"
#include "shell/controls/Popover.h"
#include "shell/controls/Window.h"

namespace murvel::testing {

class FakeStatusBar final : public StatusBar {
 public:
  std::shared_ptr<StatusItem> statusItemWithLength(double length) override {
    return std::make_shared<StatusItem>(length, true);
  }
  void removeStatusItem(StatusItem& item) override { item.remove(); }
};

class FakeWindowServer final : public WindowServer {
 public:
  void addWindow(Window&) override {}
  void addPopover(Popover&) override {}
  bool hasSymbolImage(std::string_view name) override {
    return !missingSymbols.count(std::string(name));
  }

  std::set<std::string> missingSymbols;
};

// Times of day in UTC as "H:MM", so that tests read the same everywhere.
class FakeDateFormatter final : public DateFormatter {
 public:
  std::string shortTimeString(Date date) override;
};

}  // namespace murvel::testing

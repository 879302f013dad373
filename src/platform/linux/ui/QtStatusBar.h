#pragma once

#include <QPoint>
#include <QRect>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/StatusBar.h"

namespace murvel::linux_platform::ui {

// The menu-bar item as a QSystemTrayIcon, on whichever tray protocol the desktop speaks
// (StatusNotifierItem or XEmbed). A left click reaches the button's action as a left mouse-up, a
// right click as a right mouse-up while the menu is about to show, so that the menu the action
// attaches is the one that opens. Needs a QApplication on the main thread.
class QtStatusBar final : public StatusBar {
 public:
  // `setCurrentEventType` names the input event being dispatched, and clears it after.
  explicit QtStatusBar(std::function<void(std::optional<std::uint64_t>)> setCurrentEventType);
  ~QtStatusBar() override;
  QtStatusBar(const QtStatusBar&) = delete;
  QtStatusBar& operator=(const QtStatusBar&) = delete;

  std::shared_ptr<StatusItem> statusItemWithLength(double length) override;
  void removeStatusItem(StatusItem& item) override;

  // Where the button's icon is on the screen; empty where the tray does not tell.
  QRect geometryOf(const StatusItemButton& button) const;
  // A mouse button released over the button's icon, as a window that held the pointer saw it.
  void releasedOn(const StatusItemButton& button, Qt::MouseButton mouseButton,
                  const QPoint& global);

 private:
  class Tray;
  std::function<void(std::optional<std::uint64_t>)> setCurrentEventType_;
  std::vector<std::unique_ptr<Tray>> trays_;
};

}  // namespace murvel::linux_platform::ui

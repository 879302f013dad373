#pragma once

#include <QPointer>
#include <QRect>
#include <QWidget>
#include <functional>
#include <vector>

#include "platform/WindowServer.h"

namespace murvel {
class StatusItemButton;
}

namespace murvel::linux_platform::ui {

// Windows as top-level Qt windows, and the popover as a frameless popup panel under the tray
// icon. Each surface follows its record until the record goes away. Needs a QApplication on the
// main thread.
class QtWindowServer final : public WindowServer {
 public:
  using AnchorGeometry = std::function<QRect(const StatusItemButton&)>;
  using AnchorReleased = std::function<void(const StatusItemButton&, Qt::MouseButton, QPoint)>;

  // `anchorGeometry` tells where a menu-bar button is on the screen, or an empty rectangle;
  // `anchorReleased` hands it a click that the open panel took, at the button's release.
  explicit QtWindowServer(AnchorGeometry anchorGeometry, AnchorReleased anchorReleased = {});
  ~QtWindowServer() override;
  QtWindowServer(const QtWindowServer&) = delete;
  QtWindowServer& operator=(const QtWindowServer&) = delete;

  void addWindow(Window& window) override;
  void addPopover(Popover& popover) override;
  bool hasSymbolImage(std::string_view name) override;

  // The top-level widgets of the surfaces still on record, windows and popovers alike.
  std::vector<QWidget*> surfaces() const;

 private:
  AnchorGeometry anchorGeometry_;
  AnchorReleased anchorReleased_;
  std::vector<QPointer<QWidget>> surfaces_;
};

}  // namespace murvel::linux_platform::ui

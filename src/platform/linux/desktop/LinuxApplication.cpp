#include "platform/linux/desktop/LinuxApplication.h"

#include <unistd.h>

#include <QApplication>
#include <QWidget>

namespace murvel::linux_platform {

void LinuxApplication::terminate() {
  // exit() does nothing while the loop isn't running yet (a later instance ends during its
  // launch), so the request waits in the queue for the loop.
  QMetaObject::invokeMethod(
      QCoreApplication::instance(), [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
}

void LinuxApplication::activateIgnoringOtherApps(bool /*flag*/) {
  // Whether other applications are ignored is the window manager's call on X11.
  if (qobject_cast<QApplication*>(QCoreApplication::instance()) == nullptr)
    return;
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (!window->isVisible() || window->windowType() == Qt::Popup ||
        window->windowType() == Qt::ToolTip)
      continue;
    window->raise();
    window->activateWindow();
  }
}

std::int64_t LinuxApplication::processIdentifier() {
  return ::getpid();
}

}  // namespace murvel::linux_platform

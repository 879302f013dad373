#include "platform/linux/x11/QtKeyFilter.h"

#include <QCoreApplication>
#include <QKeyEvent>

namespace murvel::linux_platform::x11 {

QtKeyFilter::QtKeyFilter(std::function<bool(const DeliveredKey&)> shouldSwallow)
    : shouldSwallow_(std::move(shouldSwallow)) {
  if (auto* application = QCoreApplication::instance())
    application->installEventFilter(this);
}

QtKeyFilter::~QtKeyFilter() {
  if (auto* application = QCoreApplication::instance())
    application->removeEventFilter(this);
}

bool QtKeyFilter::eventFilter(QObject* watched, QEvent* event) {
  auto type = event->type();
  if (type != QEvent::KeyPress && type != QEvent::KeyRelease && type != QEvent::ShortcutOverride)
    return QObject::eventFilter(watched, event);
  // Key events that the application made up itself never came from the server.
  if (!event->spontaneous() && type != QEvent::ShortcutOverride)
    return false;
  auto* key = static_cast<QKeyEvent*>(event);
  DeliveredKey delivered{key->nativeScanCode(), type != QEvent::KeyRelease,
                         static_cast<std::uint32_t>(key->timestamp()), key->isAutoRepeat()};
  if (delivered.keycode == 0 || !shouldSwallow_(delivered))
    return false;
  // An accepted shortcut check keeps shortcuts from firing; the key press itself is dropped next.
  event->accept();
  return true;
}

}  // namespace murvel::linux_platform::x11

#include "platform/linux/ui/QtDateFormatter.h"

#include <QDateTime>
#include <QLocale>
#include <chrono>

namespace murvel::linux_platform::ui {

std::string QtDateFormatter::shortTimeString(Date date) {
  const auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(date.time_since_epoch()).count();
  const QTime time = QDateTime::fromMSecsSinceEpoch(milliseconds).time();
  return QLocale().toString(time, QLocale::ShortFormat).toStdString();
}

}  // namespace murvel::linux_platform::ui

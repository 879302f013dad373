#include "platform/linux/ui/QtDateFormatter.h"

#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>
#include <chrono>

namespace murvel::linux_platform::ui {

std::string QtDateFormatter::shortTimeString(Date date) {
  const auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(date.time_since_epoch()).count();
  const QTime time = QDateTime::fromMSecsSinceEpoch(milliseconds).time();
  // The time of day in hours and minutes. Some locales' short form still carries the seconds
  // (the C locale's is "HH:mm:ss"): they go, with the separator before them.
  const QLocale locale;
  QString format = locale.timeFormat(QLocale::ShortFormat);
  static const QRegularExpression seconds(QStringLiteral("[^hHmaApP]?s+([.,]?z+)?"));
  format.remove(seconds);
  return locale.toString(time, format.trimmed()).toStdString();
}

}  // namespace murvel::linux_platform::ui

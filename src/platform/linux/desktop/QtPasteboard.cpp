#include "platform/linux/desktop/QtPasteboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace murvel::linux_platform {

void QtPasteboard::clearContents() {
  QGuiApplication::clipboard()->clear(QClipboard::Clipboard);
}

bool QtPasteboard::setString(const std::string& text, std::string_view type) {
  if (type != pasteboardTypeString)
    return false;
  QGuiApplication::clipboard()->setText(QString::fromStdString(text), QClipboard::Clipboard);
  return true;
}

std::optional<std::string> QtPasteboard::stringForType(std::string_view type) {
  if (type != pasteboardTypeString)
    return std::nullopt;
  const QMimeData* data = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
  if (data == nullptr || !data->hasText())
    return std::nullopt;
  return data->text().toStdString();
}

}  // namespace murvel::linux_platform

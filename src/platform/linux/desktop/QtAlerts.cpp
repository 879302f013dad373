#include "platform/linux/desktop/QtAlerts.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <vector>

namespace murvel::linux_platform {

long QtAlerts::runModal(const Alert& alert) {
  QMessageBox box;
  if (const QIcon icon = QApplication::windowIcon(); !icon.isNull())
    box.setIconPixmap(icon.pixmap(64, 64));
  box.setWindowTitle(QStringLiteral("Murvel"));
  box.setText(QString::fromStdString(alert.messageText));
  box.setInformativeText(QString::fromStdString(alert.informativeText));
  box.setWindowModality(Qt::ApplicationModal);

  std::vector<std::string> titles = alert.buttonTitles;
  if (titles.empty())
    titles.emplace_back("OK");
  std::vector<QPushButton*> buttons;
  for (const auto& title : titles) {
    // One role for all: roles would let the desktop's button order reshuffle them.
    buttons.push_back(box.addButton(QString::fromStdString(title), QMessageBox::ActionRole));
  }
  box.setDefaultButton(buttons.front());
  box.setEscapeButton(buttons.back());

  // Once shown, the alert comes to the front of the desktop, not only of this application.
  QTimer::singleShot(0, &box, [&box] {
    box.raise();
    box.activateWindow();
  });
  box.exec();

  const QAbstractButton* chosen = box.clickedButton();
  for (std::size_t i = 0; i < buttons.size(); ++i) {
    if (buttons[i] == chosen)
      return alertFirstButtonReturn + static_cast<long>(i);
  }
  return alertFirstButtonReturn + static_cast<long>(buttons.size() - 1);
}

}  // namespace murvel::linux_platform

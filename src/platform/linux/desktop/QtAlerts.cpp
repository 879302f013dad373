#include "platform/linux/desktop/QtAlerts.h"

#include <QApplication>
#include <QGridLayout>
#include <QMessageBox>
#include <QPushButton>
#include <QSpacerItem>
#include <QTimer>
#include <vector>

namespace murvel::linux_platform {

namespace {

// Wide enough for a sentence of about sixty characters on one line.
constexpr int readableWidth = 380;

}  // namespace

long QtAlerts::runModal(const Alert& alert) {
  QMessageBox box;
  if (const QIcon icon = QApplication::windowIcon(); !icon.isNull())
    box.setIconPixmap(icon.pixmap(64, 64));
  box.setWindowTitle(QStringLiteral("Murvel"));
  box.setText(QString::fromStdString(alert.messageText));
  box.setInformativeText(QString::fromStdString(alert.informativeText));
  box.setWindowModality(Qt::ApplicationModal);
  // An open panel holds the pointer and the keyboard, and the toolkit closes it when a window of
  // its own opens: over the panel the alert opens as the next popup instead, so that the panel
  // stays behind it. A click elsewhere then dismisses the alert, as its last button would.
  if (QApplication::activePopupWidget() != nullptr)
    box.setWindowFlags(Qt::Popup);

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
  // The box takes its width from the short question alone and folds the sentence under it into
  // a narrow column: a row across the whole box holds it to a width that reads as lines.
  if (auto* grid = qobject_cast<QGridLayout*>(box.layout())) {
    grid->addItem(new QSpacerItem(readableWidth, 0, QSizePolicy::Minimum, QSizePolicy::Minimum),
                  grid->rowCount(), 0, 1, grid->columnCount());
  }

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

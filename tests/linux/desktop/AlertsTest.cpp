#include <gtest/gtest.h>

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <functional>

#include "DesktopTestSupport.h"
#include "platform/linux/desktop/QtAlerts.h"

namespace murvel::linux_platform {
namespace {

// Runs `act` on the alert once it is up, from inside its modal loop.
void whenAlertShows(std::function<void(QMessageBox&)> act) {
  auto* timer = new QTimer(QApplication::instance());
  QObject::connect(timer, &QTimer::timeout, [timer, act = std::move(act)] {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (box == nullptr || !box->isVisible())
      return;
    timer->stop();
    timer->deleteLater();
    act(*box);
  });
  timer->start(10);
}

// The titles of the alert's buttons, left to right.
QStringList buttonTitlesOnScreen(QMessageBox& box) {
  auto buttons = box.findChildren<QPushButton*>();
  std::sort(buttons.begin(), buttons.end(), [](QPushButton* a, QPushButton* b) {
    return a->mapToGlobal(QPoint(0, 0)).x() < b->mapToGlobal(QPoint(0, 0)).x();
  });
  QStringList titles;
  for (auto* button : buttons) titles.push_back(button->text());
  return titles;
}

QPushButton* buttonTitled(QMessageBox& box, const QString& title) {
  for (auto* button : box.findChildren<QPushButton*>()) {
    if (button->text() == title)
      return button;
  }
  return nullptr;
}

const Alert permissions{"Murvel needs 2 permissions",
                        "• Microphone: needed to hear you\n• Accessibility: needed to paste",
                        {"Open Accessibility", "Allow Microphone", "Later"}};

TEST(Alerts, AChosenButtonAnswersThousandPlusItsIndex) {
  QStringList shown;
  whenAlertShows([&](QMessageBox& box) {
    shown = QStringList{box.text(), box.informativeText()} + buttonTitlesOnScreen(box);
    QTest::mouseClick(buttonTitled(box, "Allow Microphone"), Qt::LeftButton);
  });
  EXPECT_EQ(QtAlerts().runModal(permissions), 1001);
  EXPECT_EQ(shown, (QStringList{QString::fromStdString(permissions.messageText),
                                QString::fromStdString(permissions.informativeText),
                                "Open Accessibility", "Allow Microphone", "Later"}));
}

TEST(Alerts, ReturnTakesTheFirstButtonAndEscapeTheLast) {
  whenAlertShows([](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Return); });
  EXPECT_EQ(QtAlerts().runModal(permissions), 1000);
  whenAlertShows([](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Escape); });
  EXPECT_EQ(QtAlerts().runModal(permissions), 1002);
}

TEST(Alerts, AnAlertWithoutButtonsOffersOk) {
  QStringList titles;
  whenAlertShows([&](QMessageBox& box) {
    titles = buttonTitlesOnScreen(box);
    QTest::keyClick(&box, Qt::Key_Escape);
  });
  EXPECT_EQ(QtAlerts().runModal(Alert{"All permissions are enabled", "", {}}), 1000);
  EXPECT_EQ(titles, QStringList{"OK"});
}

}  // namespace
}  // namespace murvel::linux_platform

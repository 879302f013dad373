#include <gtest/gtest.h>

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <algorithm>

#include "DesktopTestSupport.h"
#include "platform/linux/desktop/QtAlerts.h"

namespace murvel::linux_platform {
namespace {

TEST(Alerts, AChosenButtonAnswersThousandPlusItsIndex) {
  const Alert alert{
      "Murvel needs 2 permissions", "• Microphone", {"Accessibility", "Mic", "Later"}};
  QStringList shown;
  // Once the alert is up, inside its modal loop: what it shows, then a click on the second button.
  QTimer::singleShot(0, [&] {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    auto buttons = box->findChildren<QPushButton*>();
    std::sort(buttons.begin(), buttons.end(), [](QPushButton* a, QPushButton* b) {
      return a->mapToGlobal(QPoint(0, 0)).x() < b->mapToGlobal(QPoint(0, 0)).x();
    });
    shown = QStringList{box->text(), box->informativeText()};
    for (QPushButton* button : buttons) shown.push_back(button->text());
    QTest::mouseClick(buttons.value(1), Qt::LeftButton);
  });
  EXPECT_EQ(QtAlerts().runModal(alert), 1001);
  EXPECT_EQ(shown.join('|'), "Murvel needs 2 permissions|• Microphone|Accessibility|Mic|Later");
}

}  // namespace
}  // namespace murvel::linux_platform

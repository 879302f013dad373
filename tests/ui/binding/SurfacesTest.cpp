// The surfaces: windows and their close button, the panel that closes when dismissed, where the
// panel opens, colours on dark and light themes, times of day, and the alert's answers.

#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QLocale>
#include <QMessageBox>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <cmath>

#include "platform/linux/desktop/QtAlerts.h"
#include "platform/linux/ui/Look.h"
#include "platform/linux/ui/PopoverPlacement.h"
#include "platform/linux/ui/QtDateFormatter.h"
#include "platform/linux/ui/QtWindowServer.h"
#include "shell/controls/Label.h"
#include "shell/controls/Popover.h"
#include "shell/controls/Window.h"

namespace murvel::linux_platform::ui {
namespace {

QWidget* topLevelTitled(const QString& title) {
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (widget->windowTitle() == title)
      return widget;
  }
  return nullptr;
}

// The close button's answer from the window's delegate, and what the window does then.
struct CloseCase {
  const char* name;
  bool answer;
  bool hidesItself;  // the delegate hides the window itself, as the Settings window does
  bool staysOnScreen;
};

class WindowCloseTest : public ::testing::TestWithParam<CloseCase> {};

TEST_P(WindowCloseTest, CloseButtonAsksTheRecord) {
  const CloseCase& test = GetParam();
  QtWindowServer server([](const StatusItemButton&) { return QRect(); });
  Window window;
  window.setTitle(std::string("Close ") + test.name);
  window.contentView().setSize({500, 380});
  int asked = 0;
  window.windowShouldClose = [&] {
    ++asked;
    if (test.hidesItself)
      window.orderOut();
    return test.answer;
  };
  server.addWindow(window);
  window.makeKeyAndOrderFront();
  QWidget* widget = topLevelTitled(QString::fromStdString(window.title()));
  ASSERT_NE(widget, nullptr);
  ASSERT_TRUE(widget->isVisible());
  EXPECT_EQ(widget->size(), QSize(500, 380));

  widget->close();  // what the window manager's close button asks for
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(widget->isVisible(), test.staysOnScreen);
  EXPECT_EQ(window.isVisible(), test.staysOnScreen);
}

INSTANTIATE_TEST_SUITE_P(Answers, WindowCloseTest,
                         ::testing::Values(CloseCase{"Allowed", true, false, false},
                                           CloseCase{"RefusedAndHidden", false, true, false},
                                           CloseCase{"Refused", false, false, true}),
                         [](const auto& info) { return std::string(info.param.name); });

// A shown window that its record changes stays shown: hiding it and showing it again would have
// the window manager hand it the focus, away from the application the user dictates into.
TEST(WindowBinding, ChangesToAShownWindowNeverHideIt) {
  struct HideCounter : QObject {
    int hides = 0;
    bool eventFilter(QObject*, QEvent* event) override {
      hides += event->type() == QEvent::Hide ? 1 : 0;
      return false;
    }
  } counter;
  QtWindowServer server([](const StatusItemButton&) { return QRect(); });
  Window window;
  window.setTitle("Changing");
  window.contentView().setSize({500, 380});
  server.addWindow(window);
  window.makeKeyAndOrderFront();
  QWidget* widget = topLevelTitled("Changing");
  ASSERT_NE(widget, nullptr);
  widget->installEventFilter(&counter);
  window.setTitle("Changed");
  window.makeKeyAndOrderFront();
  EXPECT_TRUE(widget->isVisible());
  EXPECT_EQ(counter.hides, 0);
}

// A panel whose content counts its disappearances.
struct Panel : ViewController {
  View root;
  Label label{"Murvel Dictation"};
  int disappeared = 0;
  Panel() {
    root.setSize({340, 320});
    root.addRow(label);
  }
  View& view() override { return root; }
  void viewDidDisappear() override { ++disappeared; }
};

TEST(PopoverPanel, OpensUnderTheButtonAndAClickElsewhereClosesIt) {
  StatusItemButton button;
  QtWindowServer server([](const StatusItemButton&) { return QRect(600, 0, 22, 22); });
  auto panel = std::make_shared<Panel>();
  Popover popover;
  popover.setContentSize({340, 320});
  popover.setContentViewController(panel);
  server.addPopover(popover);

  popover.showRelativeTo(button, RectEdge::minY);
  QWidget* shown = QApplication::activePopupWidget();
  ASSERT_NE(shown, nullptr);
  EXPECT_EQ(shown->geometry(), QRect(441, 24, 340, 320));
  EXPECT_NE(shown->findChild<QLabel*>(), nullptr);

  shown->close();  // what Qt does with a popup when the user clicks outside it
  EXPECT_FALSE(popover.isShown());
  EXPECT_EQ(panel->disappeared, 1);

  popover.showRelativeTo(button, RectEdge::minY);
  popover.close();  // the program closes it
  EXPECT_FALSE(shown->isVisible());
  EXPECT_EQ(panel->disappeared, 2);
}

struct Placement {
  const char* name;
  QRect anchor;
  QPoint pointer;
  QRect expected;
};

class PlacementTest : public ::testing::TestWithParam<Placement> {};

TEST_P(PlacementTest, PanelOpensBesideTheIconInsideTheScreen) {
  const QRect screen(0, 0, 1280, 800);
  EXPECT_EQ(popoverFrame(GetParam().anchor, QSize(340, 320), screen, GetParam().pointer),
            GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Trays, PlacementTest,
    ::testing::Values(
        Placement{"UnderAnIconAtTheTop", QRect(500, 0, 24, 24), {}, QRect(342, 26, 340, 320)},
        Placement{"AboveAnIconAtTheBottom", QRect(500, 776, 24, 24), {}, QRect(342, 454, 340, 320)},
        Placement{"KeptInsideTheRightEdge", QRect(1256, 0, 24, 24), {}, QRect(940, 26, 340, 320)},
        Placement{"AtThePointerWithoutGeometry", QRect(), QPoint(100, 780),
                  QRect(0, 458, 340, 320)}),
    [](const auto& info) { return std::string(info.param.name); });

double luminance(const QColor& color) {
  const auto channel = [](double c) {
    return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * channel(color.redF()) + 0.7152 * channel(color.greenF()) +
         0.0722 * channel(color.blueF());
}

double contrast(const QColor& a, const QColor& b) {
  const double x = luminance(a) + 0.05;
  const double y = luminance(b) + 0.05;
  return std::max(x, y) / std::min(x, y);
}

struct Theme {
  const char* name;
  QColor window;
  QColor text;
};

class ColourTest : public ::testing::TestWithParam<Theme> {};

TEST_P(ColourTest, EveryTextColourReadsOnTheWindow) {
  QPalette palette;
  palette.setColor(QPalette::Window, GetParam().window);
  palette.setColor(QPalette::WindowText, GetParam().text);
  for (Color color : {Color::labelColor, Color::secondaryLabelColor, Color::systemRedColor,
                      Color::systemOrangeColor, Color::systemGreenColor, Color::systemBlueColor}) {
    EXPECT_GE(contrast(colorFor(color, palette), GetParam().window), 4.5)
        << "colour " << static_cast<int>(color);
  }
  // The faintest text, for notes, still stands out of its background.
  EXPECT_GE(contrast(colorFor(Color::tertiaryLabelColor, palette), GetParam().window), 3.0);
}

INSTANTIATE_TEST_SUITE_P(Themes, ColourTest,
                         ::testing::Values(Theme{"Light", QColor(0xef, 0xef, 0xef), Qt::black},
                                           Theme{"Dark", QColor(0x2b, 0x2b, 0x2b), Qt::white}),
                         [](const auto& info) { return std::string(info.param.name); });

struct TimeCase {
  const char* locale;
  const char* expected;
};

class DateFormatterTest : public ::testing::TestWithParam<TimeCase> {};

TEST_P(DateFormatterTest, ShortTimeOfDayInTheUsersLocale) {
  const QLocale saved;
  QLocale::setDefault(QLocale(GetParam().locale));
  const QDateTime local(QDate(2024, 3, 1), QTime(14, 5));
  const Date date{std::chrono::milliseconds(local.toMSecsSinceEpoch())};
  EXPECT_EQ(QtDateFormatter().shortTimeString(date), GetParam().expected);
  QLocale::setDefault(saved);
}

INSTANTIATE_TEST_SUITE_P(Locales, DateFormatterTest,
                         ::testing::Values(TimeCase{"en_US", "2:05 PM"},
                                           TimeCase{"de_DE", "14:05"}),
                         [](const auto& info) { return std::string(info.param.locale); });

// Return answers as the first button, Escape as the last; a click on a button is answered by its
// index, which the desktop tests check on a real desktop.
TEST(AlertTest, ReturnTakesTheFirstButtonAndEscapeTheLast) {
  const Alert alert{
      "Sign out of Murvel?", "You will need to sign in again.", {"Sign Out", "Cancel"}};
  for (const auto& [key, expected] : {std::pair{Qt::Key_Return, 1000}, {Qt::Key_Escape, 1001}}) {
    QTimer::singleShot(0, [key = key] {
      auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
      ASSERT_NE(box, nullptr);
      QTest::keyClick(box, key);
    });
    EXPECT_EQ(QtAlerts().runModal(alert), expected);
  }
}

}  // namespace
}  // namespace murvel::linux_platform::ui

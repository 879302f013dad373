// Each record kind bound to its widget: what the record says shows in the widget, and what the
// user does to the widget reaches the operation the record names.

#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QTest>
#include <QTextEdit>
#include <functional>
#include <memory>

#include "platform/linux/ui/Binding.h"
#include "platform/linux/ui/RecordLabel.h"
#include "platform/linux/ui/Spinner.h"
#include "shell/controls/Button.h"
#include "shell/controls/Label.h"
#include "shell/controls/PopUpButton.h"
#include "shell/controls/ProgressIndicator.h"
#include "shell/controls/ScrollView.h"
#include "shell/controls/SegmentedControl.h"
#include "shell/controls/TabView.h"
#include "shell/controls/TableView.h"
#include "shell/controls/TextField.h"
#include "shell/controls/TextView.h"

namespace murvel::linux_platform::ui {
namespace {

// A control as the surfaces hold it: the record and the widget bound to it, on a shown window.
struct Bound {
  std::unique_ptr<Control> record;
  std::unique_ptr<QWidget> window = std::make_unique<QWidget>();
  QWidget* widget = nullptr;

  template <class T>
  T& as() const {
    return static_cast<T&>(*record);
  }
  template <class W>
  W& widgetAs() const {
    return *qobject_cast<W*>(widget);
  }
};

Bound bindRecord(std::unique_ptr<Control> record) {
  Bound bound;
  bound.record = std::move(record);
  bound.widget = makeWidget(*bound.record, bound.window.get());
  bound.window->resize(400, 300);
  bound.widget->resize(380, 280);
  bound.window->show();
  return bound;
}

// A record changed by the system, and what its widget shows before and after.
struct RecordChange {
  const char* name;
  std::function<std::unique_ptr<Control>()> make;
  std::function<void(Control&)> change;
  std::function<QString(QWidget&)> shown;
  QString before;
  QString after;
};

class RecordChangeTest : public ::testing::TestWithParam<RecordChange> {};

TEST_P(RecordChangeTest, ShowsInItsWidget) {
  const RecordChange& test = GetParam();
  const Bound bound = bindRecord(test.make());
  EXPECT_EQ(test.shown(*bound.widget), test.before);
  test.change(*bound.record);
  EXPECT_EQ(test.shown(*bound.widget), test.after);
}

QString flag(bool value) {
  return value ? "yes" : "no";
}

INSTANTIATE_TEST_SUITE_P(
    Records, RecordChangeTest,
    ::testing::Values(
        RecordChange{"LabelText", [] { return std::make_unique<Label>("Murvel Dictation"); },
                     [](Control& c) { static_cast<Label&>(c).setText("Listening…"); },
                     [](QWidget& w) { return static_cast<QLabel&>(w).text(); }, "Murvel Dictation",
                     "Listening…"},
        RecordChange{"LabelColourFollowsTheSemanticName",
                     [] { return std::make_unique<Label>("x", Color::labelColor); },
                     [](Control& c) { static_cast<Label&>(c).setTextColor(Color::clearColor); },
                     [](QWidget& w) {
                       return QString::number(w.palette().color(QPalette::WindowText).alpha());
                     },
                     "255", "0"},
        RecordChange{"HiddenControl", [] { return std::make_unique<Label>("x"); },
                     [](Control& c) { c.setHidden(true); },
                     [](QWidget& w) { return flag(w.isVisible()); }, "yes", "no"},
        RecordChange{"ButtonTitleAndEnabled",
                     [] { return std::make_unique<Button>("Copy Result"); },
                     [](Control& c) {
                       auto& button = static_cast<Button&>(c);
                       button.setTitle("Copied!");
                       button.setEnabled(false);
                     },
                     [](QWidget& w) {
                       auto& button = static_cast<QPushButton&>(w);
                       return button.text() + " " + flag(button.isEnabled());
                     },
                     "Copy Result yes", "Copied! no"},
        RecordChange{"PopUpItemsAndSelection",
                     [] {
                       auto popUp = std::make_unique<PopUpButton>();
                       popUp->setItemTitles({"Off", "Fast", "Smart"});
                       return popUp;
                     },
                     [](Control& c) { static_cast<PopUpButton&>(c).selectItem(2); },
                     [](QWidget& w) {
                       auto& combo = static_cast<QComboBox&>(w);
                       return QString::number(combo.count()) + " " + combo.currentText();
                     },
                     "3 Off", "3 Smart"},
        RecordChange{
            "TextFieldValue", [] { return std::make_unique<TextField>(); },
            [](Control& c) { static_cast<TextField&>(c).setStringValue("ada@example.com"); },
            [](QWidget& w) { return static_cast<QLineEdit&>(w).text(); }, "", "ada@example.com"},
        RecordChange{"TextViewInItsScrollView",
                     [] {
                       // The scroll view owns nothing: its document lives beside it, as in the
                       // panel.
                       struct Scrolled : ScrollView {
                         TextView text{"Recording…"};
                         Scrolled() { setDocumentView(text); }
                       };
                       return std::make_unique<Scrolled>();
                     },
                     [](Control& c) {
                       static_cast<TextView&>(*static_cast<ScrollView&>(c).documentView())
                           .setString("Meet me at noon.");
                     },
                     [](QWidget& w) { return static_cast<QTextEdit&>(w).toPlainText(); },
                     "Recording…", "Meet me at noon."},
        RecordChange{"SegmentSelected",
                     [] {
                       auto segments = std::make_unique<SegmentedControl>();
                       segments->setLabels({"Dictate", "History", "Account"});
                       segments->setSelectedSegment(0);
                       return segments;
                     },
                     [](Control& c) { static_cast<SegmentedControl&>(c).setSelectedSegment(2); },
                     [](QWidget& w) {
                       auto& bar = static_cast<QTabBar&>(w);
                       return bar.tabText(bar.currentIndex());
                     },
                     "Dictate", "Account"},
        RecordChange{"TabSelected",
                     [] {
                       auto tabs = std::make_unique<TabView>();
                       for (const char* label : {"Setup", "Preferences", "Permissions", "About"})
                         tabs->addTabViewItem(label);
                       return tabs;
                     },
                     [](Control& c) { static_cast<TabView&>(c).selectItem(3); },
                     [](QWidget& w) {
                       auto& tabs = static_cast<QTabWidget&>(w);
                       return tabs.tabText(tabs.currentIndex());
                     },
                     "Setup", "About"},
        RecordChange{"SpinnerShownOnlyWhileItTurns",
                     [] {
                       auto spinner = std::make_unique<ProgressIndicator>();
                       spinner->setDisplayedWhenStopped(false);
                       return spinner;
                     },
                     [](Control& c) { static_cast<ProgressIndicator&>(c).startAnimation(); },
                     [](QWidget& w) {
                       return flag(w.isVisible()) + " " +
                              flag(static_cast<Spinner&>(w).isAnimating());
                     },
                     "no no", "yes yes"}),
    [](const auto& info) { return std::string(info.param.name); });

// A one-line text longer than its label by a share of the label's width, and whether it is still
// drawn whole (in a slightly smaller font) or shortened with an ellipsis.
struct LineFit {
  const char* name;
  double overshoot;
  bool whole;
};

class LineFitTest : public ::testing::TestWithParam<LineFit> {};

TEST_P(LineFitTest, ShrinksALittleBeforeItShortens) {
  auto record = std::make_unique<Label>();
  record->setFont(Font::system(11));
  const Bound bound = bindRecord(std::move(record));
  auto& label = dynamic_cast<RecordLabel&>(*bound.widget);
  const int width = label.contentsRect().width();
  const QString words = "Pasted into active window, cleaned up and encrypted in transit. ";
  QString text;
  while (QFontMetrics(label.font()).horizontalAdvance(text) < width * (1 + GetParam().overshoot))
    text += words[text.size() % words.size()];
  bound.as<Label>().setText(text.toStdString());
  const QStringList lines = label.visibleLines(width);
  ASSERT_EQ(lines.size(), 1);
  EXPECT_EQ(lines.front() == text, GetParam().whole) << lines.front().toStdString();
  EXPECT_EQ(lines.front().endsWith(QChar(0x2026)), !GetParam().whole);
  EXPECT_LE(QFontMetrics(label.fontAt(width)).horizontalAdvance(lines.front()), width);
}

INSTANTIATE_TEST_SUITE_P(Lengths, LineFitTest,
                         ::testing::Values(LineFit{"SlightlyTooLong", 0.05, true},
                                           LineFit{"FarTooLong", 0.4, false}),
                         [](const auto& info) { return std::string(info.param.name); });

// A table of dictations, as the panel's history is: rows made by a data source on each reload.
struct History : TableViewDataSource {
  explicit History(std::vector<std::string> rows) : texts(std::move(rows)) {}
  std::vector<std::string> texts;
  long numberOfRows(TableView&) override { return static_cast<long>(texts.size()); }
  std::unique_ptr<View> viewFor(TableView&, const TableColumn*, long row) override {
    auto cell = std::make_unique<View>();
    cell->addRow(cell->make<Label>(texts[static_cast<std::size_t>(row)]));
    return cell;
  }
  double heightOfRow(TableView&, long) override { return 44; }
};

TEST(TableBinding, ReloadAsksForEveryRowAgain) {
  History history({"first"});
  auto table = std::make_unique<TableView>();
  table->dataSource = &history;
  table->setRowHeight(44);
  const Bound bound = bindRecord(std::unique_ptr<Control>(std::move(table)));
  auto& widget = bound.widgetAs<QTableWidget>();
  ASSERT_EQ(widget.rowCount(), 1);
  history.texts = {"newest", "first"};
  bound.as<TableView>().reloadData();
  ASSERT_EQ(widget.rowCount(), 2);
  EXPECT_EQ(qobject_cast<QLabel*>(widget.cellWidget(0, 0)->findChild<RecordLabel*>())->text(),
            "newest");
  EXPECT_EQ(widget.rowHeight(1), 44);
}

// Something the user does to a widget, and what the record's operation saw.
struct Gesture {
  const char* name;
  std::function<std::unique_ptr<Control>(std::string& heard)> make;
  std::function<void(QWidget&)> act;
  std::string heard;
};

class GestureTest : public ::testing::TestWithParam<Gesture> {};

TEST_P(GestureTest, ReachesTheRecordsOperation) {
  std::string heard;
  const Bound bound = bindRecord(GetParam().make(heard));
  GetParam().act(*bound.widget);
  EXPECT_EQ(heard, GetParam().heard);
}

INSTANTIATE_TEST_SUITE_P(
    Gestures, GestureTest,
    ::testing::Values(
        Gesture{"ClickOnAButton",
                [](std::string& heard) {
                  auto button = std::make_unique<Button>("Record");
                  button->action = [&heard] {
                    heard += "recordTapped";
                  };
                  return button;
                },
                [](QWidget& w) { QTest::mouseClick(&w, Qt::LeftButton); }, "recordTapped"},
        Gesture{"ItemChosenFromAPopUp",
                [](std::string& heard) {
                  auto popUp = std::make_unique<PopUpButton>();
                  popUp->setItemTitles({"Fn", "Right ⌘", "Right ⌥"});
                  popUp->action = [&heard, popUp = popUp.get()] {
                    heard += "hotkeyChanged " + std::to_string(popUp->indexOfSelectedItem());
                  };
                  return popUp;
                },
                [](QWidget& w) {
                  auto& combo = static_cast<QComboBox&>(w);
                  combo.setFocus();
                  QTest::keyClick(&combo, Qt::Key_Down);
                },
                "hotkeyChanged 1"},
        Gesture{"TypingThenReturnInATextField",
                [](std::string& heard) {
                  auto field = std::make_unique<TextField>();
                  field->action = [&heard, field = field.get()] {
                    heard += "continueInBrowser " + field->stringValue();
                  };
                  return field;
                },
                [](QWidget& w) {
                  QTest::keyClicks(&w, "a@b.c");
                  QTest::keyClick(&w, Qt::Key_Return);
                },
                "continueInBrowser a@b.c"},
        Gesture{"SegmentClicked",
                [](std::string& heard) {
                  auto segments = std::make_unique<SegmentedControl>();
                  segments->setLabels({"Dictate", "History", "Account"});
                  segments->setSelectedSegment(0);
                  segments->action = [&heard, segments = segments.get()] {
                    heard += "segChanged " + std::to_string(segments->selectedSegment());
                  };
                  return segments;
                },
                [](QWidget& w) {
                  auto& bar = static_cast<QTabBar&>(w);
                  QTest::mouseClick(&bar, Qt::LeftButton, {}, bar.tabRect(1).center());
                },
                "segChanged 1"},
        Gesture{"RowSelectedThenDoubleClicked",
                [](std::string& heard) {
                  static History history({"newest", "older"});
                  auto table = std::make_unique<TableView>();
                  table->dataSource = &history;
                  table->doubleAction = [&heard, table = table.get()] {
                    heard += "rePaste " + std::to_string(table->selectedRow());
                  };
                  return table;
                },
                [](QWidget& w) {
                  // On the row's own view, as a person clicks: the table behind it hears it.
                  QWidget* row = static_cast<QTableWidget&>(w).cellWidget(1, 0);
                  QTest::mouseClick(row, Qt::LeftButton, {}, row->rect().center());
                  QTest::mouseDClick(row, Qt::LeftButton, {}, row->rect().center());
                },
                "rePaste 1"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace murvel::linux_platform::ui

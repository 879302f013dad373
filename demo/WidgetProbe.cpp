// Linked into the builds of the app that are driven from outside (the demonstration's, the
// benchmarks' and the tests') and never into the shipped program: with MURVEL_WIDGET_DUMP naming a
// file, each SIGUSR1 makes the app write every top-level widget and its descendants there as JSON
// (class, global geometry, visibility, texts and whether they are cut short, tabs, menu entries),
// so that a program on a private desktop can see what the screen shows and where.

#include <unistd.h>

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QSaveFile>
#include <QSocketNotifier>
#include <QTabBar>
#include <QTabWidget>
#include <QTextEdit>
#include <csignal>

#include "platform/linux/ui/RecordLabel.h"

namespace {

int dumpPipe[2] = {-1, -1};
int sequence = 0;

void onDumpSignal(int) {
  const char byte = 1;
  [[maybe_unused]] const auto written = ::write(dumpPipe[1], &byte, 1);
}

QJsonObject frame(const QWidget& widget, const QRect& local) {
  const QPoint origin = widget.mapToGlobal(local.topLeft());
  return QJsonObject{
      {"x", origin.x()}, {"y", origin.y()}, {"w", local.width()}, {"h", local.height()}};
}

QJsonObject describe(const QWidget& widget) {
  QJsonObject object = frame(widget, widget.rect());
  object["class"] = widget.metaObject()->className();
  object["visible"] = widget.isVisible();
  if (const auto* label = qobject_cast<const QLabel*>(&widget))
    object["text"] = label->text();
  if (const auto* label = dynamic_cast<const murvel::linux_platform::ui::RecordLabel*>(&widget)) {
    const int width = label->contentsRect().width();
    const QString drawn = label->visibleLines(width).join(QLatin1Char(' '));
    // Shrunk to fit is cut short too: every text is meant to fit whole at its own font.
    object["shortened"] =
        drawn.simplified() != label->text().simplified() ||
        QFontInfo(label->fontAt(width)).pixelSize() < QFontInfo(label->font()).pixelSize();
  }
  if (const auto* button = qobject_cast<const QAbstractButton*>(&widget))
    object["text"] = button->text();
  if (const auto* field = qobject_cast<const QLineEdit*>(&widget))
    object["text"] = field->text();
  if (const auto* text = qobject_cast<const QTextEdit*>(&widget))
    object["text"] = text->toPlainText();
  if (const auto* combo = qobject_cast<const QComboBox*>(&widget))
    object["text"] = combo->currentText();
  if (const auto* bar = qobject_cast<const QTabBar*>(&widget)) {
    QJsonArray tabs;
    for (int i = 0; i < bar->count(); ++i) {
      QJsonObject tab = frame(widget, bar->tabRect(i));
      tab["text"] = bar->tabText(i);
      tabs.push_back(tab);
    }
    object["tabs"] = tabs;
  }
  if (const auto* menu = qobject_cast<const QMenu*>(&widget)) {
    QJsonArray actions;
    for (QAction* action : menu->actions()) {
      QJsonObject entry = frame(widget, menu->actionGeometry(action));
      entry["text"] = action->text();
      actions.push_back(entry);
    }
    object["actions"] = actions;
  }
  if (widget.isWindow()) {
    object["title"] = widget.windowTitle();
    object["popup"] = widget.windowType() == Qt::Popup;
  }
  QJsonArray children;
  for (const QObject* child : widget.children()) {
    if (const auto* childWidget = qobject_cast<const QWidget*>(child);
        childWidget && !childWidget->isWindow())
      children.push_back(describe(*childWidget));
  }
  object["children"] = children;
  return object;
}

void writeDump(const QString& path) {
  QJsonArray windows;
  for (const QWidget* widget : QApplication::topLevelWidgets())
    windows.push_back(describe(*widget));
  QSaveFile file(path);
  if (!file.open(QIODevice::WriteOnly))
    return;
  file.write(QJsonDocument(QJsonObject{{"sequence", ++sequence}, {"windows", windows}}).toJson());
  file.commit();
}

void installWidgetProbe() {
  const QString path = qEnvironmentVariable("MURVEL_WIDGET_DUMP");
  if (path.isEmpty() || ::pipe(dumpPipe) != 0)
    return;
  // A request that comes early waits in the pipe.
  std::signal(SIGUSR1, onDumpSignal);
  // The event loop is not there yet while the application is being made: start on its first turn.
  QMetaObject::invokeMethod(
      QCoreApplication::instance(),
      [path] {
        auto* notifier =
            new QSocketNotifier(dumpPipe[0], QSocketNotifier::Read, QCoreApplication::instance());
        QObject::connect(notifier, &QSocketNotifier::activated, notifier, [path] {
          char byte = 0;
          [[maybe_unused]] const auto read = ::read(dumpPipe[0], &byte, 1);
          writeDump(path);
        });
      },
      Qt::QueuedConnection);
}

}  // namespace

Q_COREAPP_STARTUP_FUNCTION(installWidgetProbe)

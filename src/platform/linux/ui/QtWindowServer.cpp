#include "platform/linux/ui/QtWindowServer.h"

#include <optional>

#include <QAbstractButton>
#include <QApplication>
#include <QCloseEvent>
#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QTextEdit>
#include <QVBoxLayout>
#include <cmath>
#include <utility>

#include "platform/linux/ui/Binding.h"
#include "platform/linux/ui/MenuBarIcons.h"
#include "platform/linux/ui/PopoverPlacement.h"
#include "platform/linux/ui/Widgets.h"
#include "shell/controls/Popover.h"
#include "shell/controls/Window.h"

// Last: Xlib's macros clash with names in the headers above.
#include <X11/Xatom.h>
#include <X11/Xlib.h>

namespace murvel::linux_platform::ui {

namespace {

QSize pixelSize(Size size) {
  return {static_cast<int>(std::lround(size.width)), static_cast<int>(std::lround(size.height))};
}

// Fills `surface` with the widget of `content`, edge to edge.
void setContent(QWidget& surface, View& content) {
  auto* layout = new QVBoxLayout(&surface);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(makeView(content, &surface));
}

// An ordinary window. Its close button asks the record, which decides whether it goes.
class WindowSurface final : public QWidget {
 public:
  explicit WindowSurface(Window& record) : record_(&record) {}
  void forget() { record_ = nullptr; }

 protected:
  void closeEvent(QCloseEvent* event) override {
    event->ignore();
    // The record hides the window, or keeps it, through its own answer.
    if (record_ != nullptr)
      record_->performClose();
  }
  // Return presses the window's default button, unless a text field takes it for its own action.
  void keyPressEvent(QKeyEvent* event) override {
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    QWidget* focus = focusWidget();
    if (!enter || qobject_cast<QLineEdit*>(focus) != nullptr ||
        qobject_cast<QTextEdit*>(focus) != nullptr) {
      QWidget::keyPressEvent(event);
      return;
    }
    for (QPushButton* button : findChildren<QPushButton*>()) {
      if (button->isDefault() && button->isEnabled() && button->isVisible()) {
        button->click();
        return;
      }
    }
    QWidget::keyPressEvent(event);
  }

 private:
  Window* record_;
};

// Asks the window manager, before the window is mapped, for a frame that offers neither resizing
// nor minimizing. The size hints of a fixed size and the Motif hints that Qt derives from the
// missing buttons already rule out resizing and maximizing. Minimizing is the window type's to
// rule out: openbox, for one, ignores the Motif hint for it and takes it away only from toolbars
// and menus, and a toolbar keeps its title bar and close button.
void askForFixedFrame(QWidget& window) {
  auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (x11 == nullptr || x11->display() == nullptr)
    return;
  Display* display = x11->display();
  const Atom type = XInternAtom(display, "_NET_WM_WINDOW_TYPE", False);
  const Atom toolbar = XInternAtom(display, "_NET_WM_WINDOW_TYPE_TOOLBAR", False);
  XChangeProperty(display, static_cast<::Window>(window.winId()), type, XA_ATOM, 32,
                  PropModeReplace, reinterpret_cast<const unsigned char*>(&toolbar), 1);
  XFlush(display);
}

class WindowBinding final : public RecordBinding<Window, WindowSurface> {
 public:
  using RecordBinding::RecordBinding;

 private:
  void apply() override {
    const Window& window = record();
    const QString title = QString::fromStdString(window.title());
    if (view().windowTitle() != title)
      view().setWindowTitle(title);
    Qt::WindowFlags flags = Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint;
    if (window.styleMask() & WindowStyle::closable)
      flags |= Qt::WindowCloseButtonHint;
    if (window.styleMask() & WindowStyle::miniaturizable)
      flags |= Qt::WindowMinimizeButtonHint;
    if (window.styleMask() & WindowStyle::resizable)
      flags |= Qt::WindowMaximizeButtonHint;
    // Compared with what was asked last, not with windowFlags(), to which the toolkit adds hints
    // of its own: setting flags hides a shown window, and showing it again makes the window
    // manager hand it the focus, away from the application the user is dictating into.
    if (appliedFlags_ != flags) {
      view().setWindowFlags(flags);
      appliedFlags_ = flags;
    }
    const QSize size = pixelSize(record().contentView().size());
    if (!(window.styleMask() & WindowStyle::resizable) && !size.isEmpty())
      view().setFixedSize(size);
    if (!window.isVisible() && view().isVisible())
      view().hide();
    if (window.isVisible() && !view().isVisible())
      show();
  }

  void handle(ControlEvent event) override {
    if (event != ControlEvent::orderFront)
      return;
    show();
    view().raise();
    view().activateWindow();
  }

  void show() {
    if (record().isCentered() && !placed_) {
      if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        QRect frame(QPoint(0, 0), view().size());
        frame.moveCenter(screen->availableGeometry().center());
        view().move(frame.topLeft());
      }
    }
    placed_ = true;
    if (!(record().styleMask() & (WindowStyle::resizable | WindowStyle::miniaturizable)) &&
        !view().isVisible())
      askForFixedFrame(view());
    view().show();
  }

  void applyFrame() override {}

  void recordGone() override {
    view().forget();
    view().hide();
    view().deleteLater();
  }

  bool placed_ = false;
  std::optional<Qt::WindowFlags> appliedFlags_;
};

// The panel under the tray icon. A click anywhere else closes it, as the record's close would.
// It holds the pointer while it is open, so a click on the tray icon comes here; that one is
// handed to the icon at its release with the panel still open, so that a right click opens the
// menu of a shown panel and a left click closes it through the icon's own action.
class PopoverPanel final : public QWidget {
 public:
  PopoverPanel(Popover& record, const QtWindowServer::AnchorGeometry& anchorGeometry,
               const QtWindowServer::AnchorReleased& anchorReleased)
      : QWidget(nullptr, Qt::Popup | Qt::FramelessWindowHint),
        record_(&record),
        anchorGeometry_(anchorGeometry),
        anchorReleased_(anchorReleased) {
    // A click elsewhere that closes the panel goes no further.
    setAttribute(Qt::WA_NoMouseReplay);
  }
  void forget() { record_ = nullptr; }

 protected:
  void mousePressEvent(QMouseEvent* event) override {
    anchorPressed_ = onAnchor(event->globalPosition().toPoint());
    if (anchorPressed_) {
      event->accept();
      return;
    }
    QWidget::mousePressEvent(event);
  }
  void mouseReleaseEvent(QMouseEvent* event) override {
    const QPoint global = event->globalPosition().toPoint();
    if (std::exchange(anchorPressed_, false) && onAnchor(global)) {
      event->accept();
      anchorReleased_(*record_->anchor(), event->button(), global);
      return;
    }
    QWidget::mouseReleaseEvent(event);
  }
  // A thin line around the panel sets it off from whatever lies behind it.
  void paintEvent(QPaintEvent* event) override {
    QWidget::paintEvent(event);
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
  }
  void hideEvent(QHideEvent* event) override {
    QWidget::hideEvent(event);
    if (record_ != nullptr && record_->isShown())
      record_->close();
  }

 private:
  bool onAnchor(const QPoint& global) const {
    return anchorReleased_ && record_ != nullptr && record_->anchor() != nullptr &&
           !rect().contains(mapFromGlobal(global)) &&
           anchorGeometry_(*record_->anchor()).contains(global);
  }

  Popover* record_;
  const QtWindowServer::AnchorGeometry& anchorGeometry_;
  const QtWindowServer::AnchorReleased& anchorReleased_;
  bool anchorPressed_ = false;
};

class PopoverBinding final : public RecordBinding<Popover, PopoverPanel> {
 public:
  PopoverBinding(Popover& popover, PopoverPanel& panel,
                 const QtWindowServer::AnchorGeometry& anchorGeometry)
      : RecordBinding(popover, panel), anchorGeometry_(anchorGeometry) {}

 private:
  void apply() override {
    const QSize size = pixelSize(record().contentSize());
    if (!size.isEmpty())
      view().setFixedSize(size);
    if (!record().isShown() && view().isVisible())
      view().hide();
  }

  void handle(ControlEvent event) override {
    if (event != ControlEvent::show)
      return;
    // The content is made no later than its first showing.
    if (!built_) {
      if (auto controller = record().contentViewController()) {
        setContent(view(), controller->view());
        built_ = true;
      }
    }
    const QRect anchor =
        record().anchor() != nullptr ? anchorGeometry_(*record().anchor()) : QRect();
    const QPoint pointer = QCursor::pos();
    const QScreen* screen = QGuiApplication::screenAt(anchor.isEmpty() ? pointer : anchor.center());
    if (screen == nullptr)
      screen = QGuiApplication::primaryScreen();
    const QRect area = screen != nullptr ? screen->availableGeometry() : QRect(0, 0, 1024, 768);
    view().setGeometry(popoverFrame(anchor, view().size(), area, pointer));
    view().show();
    view().activateWindow();
  }

  void applyFrame() override {}

  void recordGone() override {
    view().forget();
    view().hide();
    view().deleteLater();
  }

  const QtWindowServer::AnchorGeometry& anchorGeometry_;
  bool built_ = false;
};

}  // namespace

QtWindowServer::QtWindowServer(AnchorGeometry anchorGeometry, AnchorReleased anchorReleased)
    : anchorGeometry_(std::move(anchorGeometry)), anchorReleased_(std::move(anchorReleased)) {
  QApplication::setWindowIcon(applicationIcon());
}

QtWindowServer::~QtWindowServer() {
  for (const QPointer<QWidget>& surface : surfaces_) delete surface.data();
}

void QtWindowServer::addWindow(Window& window) {
  auto* surface = new WindowSurface(window);
  setContent(*surface, window.contentView());
  auto* binding = new WindowBinding(window, *surface);
  binding->setParent(surface);
  binding->start();
  surfaces_.emplace_back(surface);
}

void QtWindowServer::addPopover(Popover& popover) {
  auto* panel = new PopoverPanel(popover, anchorGeometry_, anchorReleased_);
  auto* binding = new PopoverBinding(popover, *panel, anchorGeometry_);
  binding->setParent(panel);
  binding->start();
  surfaces_.emplace_back(panel);
}

bool QtWindowServer::hasSymbolImage(std::string_view name) {
  return hasSymbol(name);
}

std::vector<QWidget*> QtWindowServer::surfaces() const {
  std::vector<QWidget*> result;
  for (const QPointer<QWidget>& surface : surfaces_) {
    if (!surface.isNull())
      result.push_back(surface.data());
  }
  return result;
}

}  // namespace murvel::linux_platform::ui

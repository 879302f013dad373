#include "platform/linux/ui/QtStatusBar.h"

#include <QAction>
#include <QApplication>
#include <QKeySequence>
#include <QMenu>
#include <QMouseEvent>
#include <QSystemTrayIcon>

#include "platform/linux/ui/MenuBarIcons.h"

namespace murvel::linux_platform::ui {

namespace {

constexpr std::uint64_t leftMouseUp = 2;
constexpr std::uint64_t rightMouseUp = 4;

// A key equivalent comes with the desktop's command modifier, Control.
QKeySequence shortcutFor(const std::string& key) {
  if (key.empty())
    return {};
  return QKeySequence(QStringLiteral("Ctrl+") + QString::fromStdString(key).toUpper());
}

}  // namespace

// One tray icon following one status item's button.
class QtStatusBar::Tray final : public QObject {
 public:
  Tray(std::shared_ptr<StatusItem> item,
       const std::function<void(std::optional<std::uint64_t>)>& setCurrentEventType)
      : item_(std::move(item)), setCurrentEventType_(setCurrentEventType) {
    icon_.setContextMenu(&menu_);
    icon_.setToolTip(QStringLiteral("Murvel"));
    connect(&icon_, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
              if (reason == QSystemTrayIcon::Trigger)
                click(EventMask::leftMouseUp, leftMouseUp);
            });
    // On an XEmbed tray the icon is a window of this process, and Qt opens the panel or the menu
    // as the button goes down; the icon's own mouse events are taken here, so that only the
    // release acts. A StatusNotifierItem host tells no press from release: it reports one
    // activation, which the connection above takes as the click.
    QApplication::instance()->installEventFilter(this);
    // Both tray protocols ask for the menu here, right before it opens: the action builds it now.
    connect(&menu_, &QMenu::aboutToShow, this, [this] {
      clearMenu();
      click(EventMask::rightMouseUp, rightMouseUp);
    });
    if (StatusItemButton* button = item_->button()) {
      listener_ = button->addListener([this](ControlEvent event) {
        if (event == ControlEvent::changed)
          apply();
        else if (event == ControlEvent::performClick)
          fillMenu();
      });
      apply();
    }
  }
  ~Tray() override {
    if (StatusItemButton* button = item_->button())
      button->removeListener(listener_);
    clearMenu();
  }

  StatusItem& item() const { return *item_; }
  QRect geometry() const { return icon_.geometry(); }

  // A mouse button released over the icon at `global`: a left one is the button's click, a right
  // one opens the menu.
  void released(Qt::MouseButton button, const QPoint& global) {
    if (button == Qt::LeftButton)
      click(EventMask::leftMouseUp, leftMouseUp);
    else if (button == Qt::RightButton)
      menu_.popup(global);
  }

  bool eventFilter(QObject* watched, QEvent* event) override {
    const QEvent::Type type = event->type();
    if (type != QEvent::MouseButtonPress && type != QEvent::MouseButtonDblClick &&
        type != QEvent::MouseButtonRelease)
      return false;
    // Qt's XEmbed icon window, which forwards presses to the tray icon.
    if (!watched->isWidgetType() ||
        qstrcmp(watched->metaObject()->className(), "QSystemTrayIconSys") != 0)
      return false;
    const auto* mouse = static_cast<QMouseEvent*>(event);
    const QPoint global = mouse->globalPosition().toPoint();
    // A release away from the icon is a click given up.
    if (type == QEvent::MouseButtonRelease && geometry().contains(global))
      released(mouse->button(), global);
    return true;
  }

  void apply() {
    const StatusItemButton& button = *item_->button();
    if (button.image()) {
      icon_.setIcon(
          menuBarIcon(*button.image(), button.contentTintColor(), QApplication::palette()));
      icon_.setToolTip(QString::fromStdString(button.image()->accessibilityDescription));
    }
    // A tray icon without a picture would be an empty square: it waits for its first image.
    const bool shown = !button.isHidden() && !item_->isRemoved() && !icon_.icon().isNull();
    if (icon_.isVisible() != shown)
      icon_.setVisible(shown);
  }

 private:
  // The button's action, told which click it is, if the button acts on that click.
  void click(unsigned mask, std::uint64_t eventType) {
    StatusItemButton* button = item_->button();
    if (button == nullptr || !button->action || (button->sendActionOnMask() & mask) == 0)
      return;
    setCurrentEventType_(eventType);
    // The action may build and attach a menu, which performClick hands over to fillMenu().
    auto action = button->action;
    action();
    setCurrentEventType_(std::nullopt);
  }

  void fillMenu() {
    clearMenu();
    shownMenu_ = item_->button()->menu();
    if (shownMenu_)
      addItems(menu_, *shownMenu_);
  }

  void addItems(QMenu& target, const Menu& menu) {
    for (const MenuItem& item : menu.items) {
      if (item.isSeparator) {
        target.addSeparator();
        continue;
      }
      const QString title =
          QString::fromStdString(item.title).replace(QLatin1Char('&'), QLatin1String("&&"));
      if (item.submenu) {
        auto* submenu = new QMenu(title, &target);
        submenus_.push_back(submenu);
        addItems(*submenu, *item.submenu);
        target.addMenu(submenu);
        continue;
      }
      QAction* action = target.addAction(title);
      action->setShortcut(shortcutFor(item.keyEquivalent));
      action->setShortcutVisibleInContextMenu(true);
      if (item.state == 1) {
        action->setCheckable(true);
        action->setChecked(true);
      }
      action->setEnabled(static_cast<bool>(item.perform));
      // The action holds its own copy of the item, with the operation it names.
      connect(action, &QAction::triggered, this, [chosen = item] { chosen.choose(); });
    }
  }

  void clearMenu() {
    menu_.clear();
    for (QMenu* submenu : submenus_) delete submenu;
    submenus_.clear();
  }

  std::shared_ptr<StatusItem> item_;
  const std::function<void(std::optional<std::uint64_t>)>& setCurrentEventType_;
  QSystemTrayIcon icon_;
  QMenu menu_;
  std::vector<QMenu*> submenus_;
  std::shared_ptr<Menu> shownMenu_;
  Control::ListenerId listener_ = 0;
};

QtStatusBar::QtStatusBar(std::function<void(std::optional<std::uint64_t>)> setCurrentEventType)
    : setCurrentEventType_(std::move(setCurrentEventType)) {}

QtStatusBar::~QtStatusBar() = default;

std::shared_ptr<StatusItem> QtStatusBar::statusItemWithLength(double length) {
  auto item = std::make_shared<StatusItem>(length);
  trays_.push_back(std::make_unique<Tray>(item, setCurrentEventType_));
  return item;
}

void QtStatusBar::removeStatusItem(StatusItem& item) {
  // The icon goes off the tray at once; its tray object stays, since the removal may come from
  // one of its own menu's actions.
  item.remove();
  for (const auto& tray : trays_) {
    if (&tray->item() == &item)
      tray->apply();
  }
}

void QtStatusBar::releasedOn(const StatusItemButton& button, Qt::MouseButton mouseButton,
                             const QPoint& global) {
  for (const auto& tray : trays_) {
    if (tray->item().button() == &button)
      tray->released(mouseButton, global);
  }
}

QRect QtStatusBar::geometryOf(const StatusItemButton& button) const {
  for (const auto& tray : trays_) {
    if (tray->item().button() == &button)
      return tray->geometry();
  }
  return {};
}

}  // namespace murvel::linux_platform::ui

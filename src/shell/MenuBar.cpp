#include <array>

#include "shell/AppDelegate.h"
#include "shell/OnboardingWindow.h"
#include "shell/PopoverViewController.h"
#include "shell/controls/Popover.h"
#include "shell/controls/StatusItem.h"

namespace murvel {

namespace {

struct Choice {
  const char* title;
  const char* value;
};
constexpr std::array<Choice, 4> toneChoices{{{"Auto (default)", "auto"},
                                             {"Casual", "casual"},
                                             {"Formal", "formal"},
                                             {"Bullet list", "bullets"}}};
constexpr std::array<Choice, 3> cleanupChoices{
    {{"Off", "off"}, {"Fast", "fast"}, {"Smart", "smart"}}};

constexpr std::uint64_t rightMouseUpEvent = 4;

// A menu entry whose action reaches the delegate, if it is still there.
MenuItem menuItem(std::weak_ptr<AppDelegate> weakSelf, std::string title, std::string action,
                  std::string keyEquivalent, MenuTarget target, void (AppDelegate::*operation)()) {
  MenuItem item;
  item.title = std::move(title);
  item.action = std::move(action);
  item.keyEquivalent = std::move(keyEquivalent);
  item.target = target;
  item.perform = [weakSelf, operation](const MenuItem&) {
    if (auto self = weakSelf.lock())
      (self.get()->*operation)();
  };
  return item;
}

// A submenu of choices, the one equal to `current` checked, each sent to `operation`.
template <std::size_t N, class Represent>
std::shared_ptr<Menu> choiceMenu(std::weak_ptr<AppDelegate> weakSelf,
                                 const std::array<Choice, N>& choices, const char* action,
                                 void (AppDelegate::*operation)(const MenuItem&),
                                 const std::string& current, Represent represent) {
  auto menu = std::make_shared<Menu>();
  for (const Choice& choice : choices) {
    MenuItem item;
    item.title = choice.title;
    item.action = action;
    item.target = MenuTarget::appDelegate;
    item.representedObject = represent(choice.value);
    item.state = current == choice.value ? 1 : 0;
    item.perform = [weakSelf, operation](const MenuItem& sender) {
      if (auto self = weakSelf.lock())
        (self.get()->*operation)(sender);
    };
    menu->addItem(std::move(item));
  }
  return menu;
}

MenuItem submenuItem(std::string title, std::shared_ptr<Menu> submenu) {
  MenuItem item;
  item.title = std::move(title);
  item.submenu = std::move(submenu);
  return item;
}

}  // namespace

void AppDelegate::setupMenuBar() {
  statusItem = platform_.statusBar.statusItemWithLength(StatusItem::squareLength);
  setIdleIcon();
  if (StatusItemButton* button = statusItem->button()) {
    button->action = [weakSelf = weak_from_this()] {
      if (auto self = weakSelf.lock())
        self->statusBarClicked();
    };
    // Only the release acts, never the press; no menu stays attached.
    button->sendActionOn(EventMask::leftMouseUp | EventMask::rightMouseUp);
  }
}

void AppDelegate::setupPopover() {
  popoverVC = std::make_shared<PopoverViewController>(platform_);
  popoverVC->appDelegate = weak_from_this();
  popover = std::make_shared<Popover>();
  popover->setContentSize({340, 320});
  popover->setBehavior(PopoverBehavior::transient);
  popover->setContentViewController(popoverVC);
  platform_.windowServer.addPopover(*popover);
}

void AppDelegate::statusBarClicked() {
  const auto type = platform_.application.currentEventType();
  if (!type)
    return;
  StatusItemButton* button = statusItem ? statusItem->button() : nullptr;
  if (*type == rightMouseUpEvent) {
    if (!button)
      return;
    // The menu is attached for this one click only, so left clicks keep reaching this action.
    button->setMenu(buildMenu());
    button->performClick();
    button->setMenu(nullptr);
    return;
  }
  togglePopover();
}

std::shared_ptr<Menu> AppDelegate::buildMenu() {
  auto menu = std::make_shared<Menu>();
  const auto weakSelf = weak_from_this();
  menu->addItem(menuItem(weakSelf, "Open Murvel", "togglePopover", "", MenuTarget::unset,
                         &AppDelegate::togglePopover));
  if (popover && popover->isShown()) {
    menu->addItem(menuItem(weakSelf, "Close Dictation Panel", "closePopover", "",
                           MenuTarget::appDelegate, &AppDelegate::closePopover));
  }
  if (onboardingWindow && onboardingWindow->isVisible()) {
    menu->addItem(menuItem(weakSelf, "Close Settings", "closeSettingsWindow", "",
                           MenuTarget::appDelegate, &AppDelegate::closeSettingsWindow));
  }
  menu->addItem(MenuItem::separatorItem());

  // The application in front at this moment; the tone entry keeps it even if that changes.
  const auto frontmost = platform_.workspace.frontmostApplication();
  const std::string name =
      frontmost && frontmost->localizedName ? *frontmost->localizedName : "Current App";
  const std::string identifier =
      frontmost && frontmost->bundleIdentifier ? *frontmost->bundleIdentifier : "";
  if (!identifier.empty()) {
    const AppTones tones = settings.appTones();
    const auto stored = tones.find(identifier);
    menu->addItem(
        submenuItem("Tone for " + name,
                    choiceMenu(weakSelf, toneChoices, "setAppTone:", &AppDelegate::setAppTone,
                               stored == tones.end() ? "auto" : stored->second,
                               [&identifier](const char* value) {
                                 return PropertyValue::array({identifier, value});
                               })));
    menu->addItem(MenuItem::separatorItem());
  }
  menu->addItem(submenuItem(
      "Cleanup Mode",
      choiceMenu(weakSelf, cleanupChoices, "setCleanupMode:", &AppDelegate::setCleanupMode,
                 settings.cleanupMode(), [](const char* value) { return PropertyValue(value); })));
  menu->addItem(MenuItem::separatorItem());
  menu->addItem(menuItem(weakSelf, "Settings (v" + currentAppVersion() + ")\u2026", "openSettings",
                         ",", MenuTarget::unset, &AppDelegate::openSettings));
  menu->addItem(MenuItem::separatorItem());
  menu->addItem(menuItem(weakSelf, "Quit Murvel", "quitMurvel", "q", MenuTarget::appDelegate,
                         &AppDelegate::quitMurvel));
  return menu;
}

void AppDelegate::setAppTone(const MenuItem& sender) {
  const PropertyValue& object = sender.representedObject;
  if (!object.is_array() || object.size() != 2 || !object[0].is_string() || !object[1].is_string())
    return;
  const auto identifier = object[0].get<std::string>();
  const auto tone = object[1].get<std::string>();
  AppTones tones = settings.appTones();
  // "auto" is never stored: it is what no entry means.
  if (tone == "auto") {
    tones.erase(identifier);
  } else {
    tones[identifier] = tone;
  }
  settings.setAppTones(tones);
}

void AppDelegate::setCleanupMode(const MenuItem& sender) {
  if (!sender.representedObject.is_string())
    return;
  settings.setCleanupMode(sender.representedObject.get<std::string>());
  // Announcing idle is what brings the panel's cleanup wording up to date.
  if (popoverVC)
    popoverVC->setState(DictationState::idle());
}

void AppDelegate::togglePopover() {
  if (popover && popover->isShown()) {
    popover->close();
    return;
  }
  StatusItemButton* button = statusItem ? statusItem->button() : nullptr;
  if (!button || !popover)
    return;
  if (popoverVC)
    popoverVC->refreshHistory();
  popover->showRelativeTo(*button, RectEdge::minY);
}

void AppDelegate::closePopover() {
  if (popover)
    popover->close();
}

std::optional<MenuBarImage> AppDelegate::menuBarImage(const std::string& symbolName,
                                                      const std::string& fallback) {
  MenuBarImage image;
  if (platform_.windowServer.hasSymbolImage(symbolName)) {
    image.kind = MenuBarImage::Kind::symbol;
    image.name = symbolName;
    image.accessibilityDescription = "Murvel";
    image.pointSize = 16;
    image.bold = true;
    image.isTemplate = true;
  } else {
    image.kind = MenuBarImage::Kind::drawnText;
    image.name = fallback;
    image.accessibilityDescription = "Murvel";
    image.pointSize = 14;
    image.canvas = {18, 18};
    image.isTemplate = false;
  }
  return image;
}

void AppDelegate::setIdleIcon() {
  // Icon changes always take a later turn of the main queue, so they land in call order.
  platform_.dispatch.async([self = shared_from_this()] {
    StatusItemButton* button = self->statusItem ? self->statusItem->button() : nullptr;
    if (!button)
      return;
    button->setImage(self->menuBarImage("mic.circle.fill", "\U0001F3A4"));
    button->setContentTintColor(std::nullopt);
  });
}

void AppDelegate::setRecordingIcon() {
  platform_.dispatch.async([self = shared_from_this()] {
    StatusItemButton* button = self->statusItem ? self->statusItem->button() : nullptr;
    if (!button)
      return;
    static const std::array<const char*, 3> symbols = {"waveform.circle.fill", "record.circle.fill",
                                                       "mic.circle.fill"};
    // The phase is read when this runs, not when it was asked for.
    button->setImage(
        self->menuBarImage(symbols[static_cast<std::size_t>(self->pulsePhase % 3)], "\U0001F534"));
    button->setImageTemplate(false);
    button->setContentTintColor(Color::systemRedColor);
  });
}

}  // namespace murvel

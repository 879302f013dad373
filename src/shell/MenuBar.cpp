#include <array>

#include "shell/AppDelegate.h"
#include "shell/PopoverViewController.h"
#include "shell/controls/StatusItem.h"

namespace murvel {

namespace {

MenuBarImage menuBarImage(std::string symbolName, std::string fallback) {
  return MenuBarImage{std::move(symbolName), std::move(fallback), true};
}

}  // namespace

void AppDelegate::setupMenuBar() {
  statusItem = std::make_shared<StatusItem>();
  statusItem->presence.setVisible(true);
  setIdleIcon();
}

void AppDelegate::setupPopover() {
  popoverVC = std::make_shared<PopoverViewController>(platform_);
  popoverVC->appDelegate = weak_from_this();
  popover = std::make_shared<Popover>();
}

void AppDelegate::togglePopover() {
  if (popover && popover->isShown()) {
    popover->window.setVisible(false);
    return;
  }
  if (!statusItem || !statusItem->button || !popover)
    return;
  if (popoverVC)
    popoverVC->loadView();
  popover->window.setVisible(true);
}

void AppDelegate::closePopover() {
  if (popover)
    popover->window.setVisible(false);
}

void AppDelegate::setIdleIcon() {
  // Icon changes always take a later turn of the main queue, so they land in call order.
  platform_.dispatch.async([self = shared_from_this()] {
    if (!self->statusItem || !self->statusItem->button)
      return;
    self->statusItem->button->setImage(menuBarImage("mic.circle.fill", "\U0001F3A4"));
    self->statusItem->button->setContentTintColor(std::nullopt);
  });
}

void AppDelegate::setRecordingIcon() {
  platform_.dispatch.async([self = shared_from_this()] {
    if (!self->statusItem || !self->statusItem->button)
      return;
    static const std::array<const char*, 3> symbols = {"waveform.circle.fill", "record.circle.fill",
                                                       "mic.circle.fill"};
    MenuBarImage image =
        menuBarImage(symbols[static_cast<std::size_t>(self->pulsePhase % 3)], "\U0001F534");
    image.isTemplate = false;
    self->statusItem->button->setImage(std::move(image));
    self->statusItem->button->setContentTintColor(Color::systemRedColor);
  });
}

}  // namespace murvel

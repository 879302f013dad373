#include "platform/linux/wayland/WaylandKeyEventPoster.h"

#include <QProcess>
#include <QStringList>

#include "hotkey/KeyEvent.h"
#include "platform/linux/wayland/WaylandPasteboard.h"
#include "platform/linux/x11/KeyTable.h"

namespace murvel::linux_platform {

namespace {

class WaylandEventSource final : public EventSource {};

}  // namespace

WaylandKeyEventPoster::WaylandKeyEventPoster(WaylandPasteboard& pasteboard,
                                             std::function<bool()> focusIsTerminal)
    : pasteboard_(pasteboard), focusIsTerminal_(std::move(focusIsTerminal)) {}

std::shared_ptr<EventSource> WaylandKeyEventPoster::eventSourceCreate(std::int32_t) {
  return std::make_shared<WaylandEventSource>();
}

std::optional<KeyboardEvent> WaylandKeyEventPoster::keyboardEventCreate(const EventSource*,
                                                                        std::uint16_t virtualKey,
                                                                        bool keyDown) {
  return KeyboardEvent{virtualKey, keyDown, 0};
}

void WaylandKeyEventPoster::eventPost(std::int32_t, const KeyboardEvent& event) {
  if (!event.keyDown)
    return;
  const auto letter = x11::letterFor(event.virtualKey);
  if (!letter)
    return;
  QStringList modifiers;
  if ((event.flags & (ModifierFlag::command | ModifierFlag::control)) != 0)
    modifiers << "ctrl";
  if ((event.flags & ModifierFlag::shift) != 0 ||
      ((event.flags & ModifierFlag::command) != 0 && focusIsTerminal_ && focusIsTerminal_()))
    modifiers << "shift";
  if ((event.flags & ModifierFlag::option) != 0)
    modifiers << "alt";
  QStringList arguments;
  for (const auto& modifier : modifiers) arguments << "-M" << modifier;
  arguments << "-k" << QString(QChar(*letter));
  for (auto it = modifiers.rbegin(); it != modifiers.rend(); ++it) arguments << "-m" << *it;
  pasteboard_.whenWritten([arguments] { QProcess::startDetached("wtype", arguments); });
}

}  // namespace murvel::linux_platform

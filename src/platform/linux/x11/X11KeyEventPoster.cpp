#include "platform/linux/x11/X11KeyEventPoster.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <algorithm>
#include <set>
#include <vector>

#include "hotkey/KeyEvent.h"
#include "platform/linux/x11/KeyTable.h"
#include "platform/linux/x11/TerminalClasses.h"
#include "platform/linux/x11/WindowProperties.h"
#include "platform/linux/x11/XConnection.h"

namespace murvel::linux_platform {

namespace {

class X11EventSource final : public EventSource {};

// Keys whose modifier is a lock: holding them changes no chord, and pressing them toggles.
bool isLockKey(KeySym keysym) {
  return keysym == XK_Caps_Lock || keysym == XK_Shift_Lock || keysym == XK_Num_Lock ||
         keysym == XK_Scroll_Lock;
}

}  // namespace

class X11KeyEventPoster::Impl {
 public:
  explicit Impl(std::shared_ptr<SyntheticKeyLedger> ownKeys);

  bool available() const { return display_ != nullptr; }
  void post(const KeyboardEvent& event);

 private:
  struct Chord {
    std::uint16_t virtualKey;
    unsigned keycode;
    std::vector<unsigned> modifiers;  // pressed for the chord, released after it
    std::vector<unsigned> restore;    // the user's, let go for the chord, pressed again after
  };

  void press(const KeyboardEvent& event);
  void release(const KeyboardEvent& event);
  void send(unsigned keycode, bool press);
  void drainEvents();
  unsigned keycodeFor(std::uint16_t virtualKey);
  unsigned keycodeForKeysym(KeySym keysym, unsigned fallback);
  bool focusIsTerminal();

  std::shared_ptr<SyntheticKeyLedger> ownKeys_;
  std::unique_ptr<x11::XConnection> connection_;
  Display* display_ = nullptr;
  std::optional<Chord> chord_;
};

X11KeyEventPoster::Impl::Impl(std::shared_ptr<SyntheticKeyLedger> ownKeys)
    : ownKeys_(std::move(ownKeys)) {
  if (!ownKeys_)
    ownKeys_ = std::make_shared<SyntheticKeyLedger>();
  auto connection = x11::XConnection::open();
  if (!connection)
    return;
  int event = 0;
  int error = 0;
  int major = 0;
  int minor = 0;
  if (!XTestQueryExtension(connection->display(), &event, &error, &major, &minor))
    return;
  connection_ = std::move(connection);
  display_ = connection_->display();
}

void X11KeyEventPoster::Impl::post(const KeyboardEvent& event) {
  if (display_ == nullptr)
    return;
  drainEvents();
  if (event.keyDown)
    press(event);
  else
    release(event);
  // Sent, and handled by the server, before the caller goes on.
  XSync(display_, False);
  drainEvents();
  connection_->takeError();
}

void X11KeyEventPoster::Impl::press(const KeyboardEvent& event) {
  if (chord_)
    release(KeyboardEvent{chord_->virtualKey, false, 0});
  unsigned keycode = keycodeFor(event.virtualKey);
  if (keycode == 0)
    return;
  bool control = (event.flags & (ModifierFlag::command | ModifierFlag::control)) != 0;
  bool shift = (event.flags & ModifierFlag::shift) != 0 ||
               ((event.flags & ModifierFlag::command) != 0 && focusIsTerminal());
  bool alt = (event.flags & ModifierFlag::option) != 0;

  // Which held keys are modifiers, and of which kind.
  std::set<unsigned> down = connection_->keysDown();
  bool controlHeld = false;
  bool shiftHeld = false;
  std::vector<unsigned> spoilers;
  if (XModifierKeymap* map = XGetModifierMapping(display_)) {
    for (int row = 0; row < 8; ++row) {
      for (int i = 0; i < map->max_keypermod; ++i) {
        auto keycode = static_cast<unsigned>(map->modifiermap[row * map->max_keypermod + i]);
        if (keycode == 0 || !down.contains(keycode) ||
            isLockKey(XkbKeycodeToKeysym(display_, static_cast<::KeyCode>(keycode), 0, 0)))
          continue;
        if (row == ControlMapIndex && control)
          controlHeld = true;
        else if (row == ShiftMapIndex && shift)
          shiftHeld = true;
        else if (std::find(spoilers.begin(), spoilers.end(), keycode) == spoilers.end())
          spoilers.push_back(keycode);
      }
    }
    XFreeModifiermap(map);
  }

  Chord chord{event.virtualKey, keycode, {}, {}};
  if (!spoilers.empty()) {
    for (unsigned spoiler : spoilers) send(spoiler, false);
    // XTest can only let go of keys held through XTest itself; a key that stays down is the
    // physical keyboard's, and is not pressed again after the chord.
    XSync(display_, False);
    std::set<unsigned> after = connection_->keysDown();
    for (unsigned spoiler : spoilers) {
      if (!after.contains(spoiler))
        chord.restore.push_back(spoiler);
    }
  }
  if (control && !controlHeld)
    chord.modifiers.push_back(keycodeForKeysym(XK_Control_L, x11::Keycode::leftControl));
  if (shift && !shiftHeld)
    chord.modifiers.push_back(keycodeForKeysym(XK_Shift_L, x11::Keycode::leftShift));
  if (alt)
    chord.modifiers.push_back(keycodeForKeysym(XK_Alt_L, x11::Keycode::leftAlt));
  for (unsigned modifier : chord.modifiers) send(modifier, true);
  send(keycode, true);
  chord_ = std::move(chord);
}

void X11KeyEventPoster::Impl::release(const KeyboardEvent& event) {
  if (!chord_ || chord_->virtualKey != event.virtualKey) {
    if (unsigned keycode = keycodeFor(event.virtualKey); keycode != 0)
      send(keycode, false);
    return;
  }
  Chord chord = std::move(*chord_);
  chord_.reset();
  send(chord.keycode, false);
  for (auto it = chord.modifiers.rbegin(); it != chord.modifiers.rend(); ++it) send(*it, false);
  for (unsigned keycode : chord.restore) send(keycode, true);
}

void X11KeyEventPoster::Impl::send(unsigned keycode, bool press) {
  ownKeys_->expect(keycode, press);
  XTestFakeKeyEvent(display_, keycode, press ? True : False, 0);  // no delay
}

// Nothing else reads this connection: take the events the server sends every client, and
// follow keymap changes so that keysyms are looked up in the current layout.
void X11KeyEventPoster::Impl::drainEvents() {
  while (XPending(display_) > 0) {
    XEvent event;
    XNextEvent(display_, &event);
    if (event.type == MappingNotify)
      XRefreshKeyboardMapping(&event.xmapping);
  }
}

// Letters are found by the keysym in the current layout, so that the chord for V is the one
// the layout calls V; other keys by their position.
unsigned X11KeyEventPoster::Impl::keycodeFor(std::uint16_t virtualKey) {
  auto position = x11::keycodeFor(virtualKey);
  if (auto letter = x11::letterFor(virtualKey))
    return keycodeForKeysym(static_cast<KeySym>(*letter), position.value_or(0));
  return position.value_or(0);
}

unsigned X11KeyEventPoster::Impl::keycodeForKeysym(KeySym keysym, unsigned fallback) {
  ::KeyCode keycode = XKeysymToKeycode(display_, keysym);
  return keycode != 0 ? keycode : fallback;
}

bool X11KeyEventPoster::Impl::focusIsTerminal() {
  Window window = x11::focusedClientWindow(display_);
  if (window == None)
    window = x11::windowWithClass(display_, x11::activeWindow(display_));
  auto windowClass = x11::windowClass(display_, window);
  connection_->takeError();
  return windowClass && (x11::isTerminalClass(windowClass->className) ||
                         x11::isTerminalClass(windowClass->instance));
}

X11KeyEventPoster::X11KeyEventPoster(std::shared_ptr<SyntheticKeyLedger> ownKeys)
    : impl_(std::make_unique<Impl>(std::move(ownKeys))) {}

X11KeyEventPoster::~X11KeyEventPoster() = default;

std::shared_ptr<EventSource> X11KeyEventPoster::eventSourceCreate(std::int32_t /*stateID*/) {
  if (!impl_->available())
    return nullptr;
  return std::make_shared<X11EventSource>();
}

std::optional<KeyboardEvent> X11KeyEventPoster::keyboardEventCreate(const EventSource* source,
                                                                    std::uint16_t virtualKey,
                                                                    bool keyDown) {
  if (source == nullptr)
    return std::nullopt;
  return KeyboardEvent{virtualKey, keyDown, 0};
}

void X11KeyEventPoster::eventPost(std::int32_t /*tap*/, const KeyboardEvent& event) {
  impl_->post(event);
}

}  // namespace murvel::linux_platform

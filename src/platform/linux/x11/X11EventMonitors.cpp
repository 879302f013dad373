#include "platform/linux/x11/X11EventMonitors.h"

// Qt before Xlib: Xlib's macros (None, KeyPress, Bool...) would break Qt's headers.
#include <QCoreApplication>
#include <QGuiApplication>
#include <QSocketNotifier>
#include <QWindow>

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/x11/ModifierState.h"
#include "platform/linux/x11/QtKeyFilter.h"
#include "platform/linux/x11/XConnection.h"

namespace murvel::linux_platform {

namespace {

struct Monitor {
  std::uint64_t mask = 0;
  // Exactly one of the two is set.
  std::function<std::optional<KeyEvent>(const KeyEvent&)> local;
  std::function<void(const KeyEvent&)> global;
  bool active = true;
};

// What the local monitors made of a key that reached a window of this process.
struct Decision {
  unsigned keycode;
  bool press;
  std::uint32_t time;
  bool swallowed;
};

// XF86XK_Fn: the keysym of evdev's KEY_FN, in the range that X keeps for evdev codes.
constexpr KeySym functionKeysym = 0x10081000 + 0x1d0;

// Enough for the keys that can be in flight between the X server and Qt at once.
constexpr std::size_t decisionCapacity = 64;

}  // namespace

class X11EventMonitors::Impl {
 public:
  explicit Impl(std::shared_ptr<SyntheticKeyLedger> ownKeys);
  ~Impl();

  std::optional<MonitorToken> add(std::shared_ptr<Monitor> monitor);
  void remove(MonitorToken token);
  bool hasFunctionKey() const { return state_.hasFunctionKeycodes(); }

 private:
  bool connect();
  void startListening();
  void stopListening();
  void drainSoon();
  void drain();
  void handle(XEvent& event);
  void handleRawKey(unsigned keycode, bool press, int sourceDevice, std::uint32_t time);
  void settleCapsLock();
  void refreshKeymap();
  void refreshXtestDevices();
  bool focusIsOurs();
  bool hasActive(bool local) const;
  void record(unsigned keycode, bool press, std::uint32_t time, bool swallowed);
  const Decision* findDecision(const x11::DeliveredKey& key) const;
  bool shouldSwallow(const x11::DeliveredKey& key);

  std::shared_ptr<SyntheticKeyLedger> ownKeys_;
  std::unique_ptr<x11::XConnection> connection_;
  Display* display_ = nullptr;
  int xiOpcode_ = 0;
  int xkbEventBase_ = 0;
  std::unique_ptr<QSocketNotifier> notifier_;
  std::unique_ptr<x11::QtKeyFilter> keyFilter_;
  bool listening_ = false;
  x11::ModifierState state_;
  std::set<int> xtestDevices_;
  std::vector<std::pair<MonitorToken, std::shared_ptr<Monitor>>> monitors_;
  MonitorToken nextToken_ = 1;
  std::deque<Decision> decisions_;
  std::set<unsigned> swallowedHeld_;
};

X11EventMonitors::Impl::Impl(std::shared_ptr<SyntheticKeyLedger> ownKeys)
    : ownKeys_(std::move(ownKeys)) {
  if (!ownKeys_)
    ownKeys_ = std::make_shared<SyntheticKeyLedger>();
  if (!connect())
    return;
  keyFilter_ = std::make_unique<x11::QtKeyFilter>(
      [this](const x11::DeliveredKey& key) { return shouldSwallow(key); });
}

X11EventMonitors::Impl::~Impl() {
  keyFilter_.reset();
  notifier_.reset();
}

bool X11EventMonitors::Impl::connect() {
  auto connection = x11::XConnection::open();
  if (!connection)
    return false;
  Display* display = connection->display();
  int event = 0;
  int error = 0;
  if (!XQueryExtension(display, "XInputExtension", &xiOpcode_, &event, &error))
    return false;
  int major = 2;
  int minor = 2;
  if (XIQueryVersion(display, &major, &minor) != Success || major < 2)
    return false;
  int xkbOpcode = 0;
  int xkbMajor = XkbMajorVersion;
  int xkbMinor = XkbMinorVersion;
  if (!XkbQueryExtension(display, &xkbOpcode, &xkbEventBase_, &error, &xkbMajor, &xkbMinor))
    return false;
  // Keymap changes come to every client; they keep the Fn keys current.
  XkbSelectEvents(display, XkbUseCoreKbd, XkbMapNotifyMask | XkbNewKeyboardNotifyMask,
                  XkbMapNotifyMask | XkbNewKeyboardNotifyMask);
  connection_ = std::move(connection);
  display_ = display;
  refreshKeymap();
  notifier_ = std::make_unique<QSocketNotifier>(ConnectionNumber(display_), QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                   [this] { drain(); });
  drainSoon();
  return true;
}

std::optional<MonitorToken> X11EventMonitors::Impl::add(std::shared_ptr<Monitor> monitor) {
  if (display_ == nullptr)
    return std::nullopt;
  MonitorToken token = nextToken_++;
  monitors_.emplace_back(token, std::move(monitor));
  if (!listening_)
    startListening();
  return token;
}

void X11EventMonitors::Impl::remove(MonitorToken token) {
  auto found = std::find_if(monitors_.begin(), monitors_.end(),
                            [token](const auto& entry) { return entry.first == token; });
  if (found == monitors_.end())
    return;
  // A delivery in progress holds its own reference and skips inactive monitors.
  found->second->active = false;
  monitors_.erase(found);
  if (monitors_.empty() && listening_)
    stopListening();
}

void X11EventMonitors::Impl::startListening() {
  unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
  XISetMask(bits, XI_RawKeyPress);
  XISetMask(bits, XI_RawKeyRelease);
  XIEventMask mask{XIAllMasterDevices, sizeof bits, bits};
  XISelectEvents(display_, DefaultRootWindow(display_), &mask, 1);
  XkbSelectEventDetails(display_, XkbUseCoreKbd, XkbStateNotify, XkbModifierLockMask,
                        XkbModifierLockMask);
  refreshXtestDevices();

  // Keys held from before are part of the flags from the first event on.
  std::set<unsigned> held = connection_->keysDown();
  XkbStateRec xkbState{};
  XkbGetState(display_, XkbUseCoreKbd, &xkbState);
  state_.reset(held, (xkbState.locked_mods & LockMask) != 0);
  listening_ = true;
  drainSoon();
}

void X11EventMonitors::Impl::stopListening() {
  unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
  XIEventMask mask{XIAllMasterDevices, sizeof bits, bits};
  XISelectEvents(display_, DefaultRootWindow(display_), &mask, 1);
  XkbSelectEventDetails(display_, XkbUseCoreKbd, XkbStateNotify, XkbModifierLockMask, 0);
  listening_ = false;
  swallowedHeld_.clear();
  drainSoon();
}

// Xlib reads events into its queue during any call that waits for a reply; then the socket
// stays quiet although events wait. After calls outside the drain loop, drain from the loop.
void X11EventMonitors::Impl::drainSoon() {
  QMetaObject::invokeMethod(
      notifier_.get(), [this] { drain(); }, Qt::QueuedConnection);
}

void X11EventMonitors::Impl::drain() {
  while (XPending(display_) > 0) {
    XEvent event;
    XNextEvent(display_, &event);
    handle(event);
  }
}

void X11EventMonitors::Impl::handle(XEvent& event) {
  if (event.type == GenericEvent && event.xcookie.extension == xiOpcode_) {
    if (!XGetEventData(display_, &event.xcookie))
      return;
    const auto* raw = static_cast<const XIRawEvent*>(event.xcookie.data);
    int type = raw->evtype;
    auto keycode = static_cast<unsigned>(raw->detail);
    int source = raw->sourceid;
    auto time = static_cast<std::uint32_t>(raw->time);
    XFreeEventData(display_, &event.xcookie);
    if (type == XI_RawKeyPress || type == XI_RawKeyRelease)
      handleRawKey(keycode, type == XI_RawKeyPress, source, time);
    return;
  }
  if (event.type == xkbEventBase_) {
    XkbEvent xkb;
    std::memcpy(&xkb, &event, sizeof event);
    if (xkb.any.xkb_type == XkbStateNotify)
      state_.setCapsLocked((xkb.state.locked_mods & LockMask) != 0);
    else if (xkb.any.xkb_type == XkbMapNotify || xkb.any.xkb_type == XkbNewKeyboardNotify)
      refreshKeymap();
    return;
  }
  if (event.type == MappingNotify) {
    XRefreshKeyboardMapping(&event.xmapping);
    refreshKeymap();
  }
}

void X11EventMonitors::Impl::handleRawKey(unsigned keycode, bool press, int sourceDevice,
                                          std::uint32_t time) {
  if (!listening_)
    return;
  // This process's own paste chord comes back from the XTest device like any client's keys.
  if (xtestDevices_.contains(sourceDevice) && ownKeys_->claim(keycode, press))
    return;
  const bool lockedBefore = state_.capsLocked();
  if (keycode == x11::Keycode::capsLock)
    settleCapsLock();
  if (!press)
    swallowedHeld_.erase(keycode);

  auto event = state_.apply(keycode, press);
  // X turns the lock on at the first press and off at the second release, so two of the four
  // edges of a double tap leave it as it was. Only a change of the lock is an event, as the hotkey
  // logic expects: a tap with the lock already on then turns it off and starts nothing.
  if (keycode == x11::Keycode::capsLock && state_.capsLocked() == lockedBefore)
    event.reset();
  std::uint64_t bit = event ? (1ull << event->type) : 0;
  bool interested = std::any_of(monitors_.begin(), monitors_.end(), [bit](const auto& entry) {
    return (entry.second->mask & bit) != 0;
  });
  if (!interested) {
    if (hasActive(true))
      record(keycode, press, time, false);
    return;
  }

  // Iterate over a copy: handlers may add and remove monitors.
  auto monitors = monitors_;
  if (focusIsOurs()) {
    KeyEvent current = *event;
    bool swallowed = false;
    for (const auto& [token, monitor] : monitors) {
      if (!monitor->active || !monitor->local || (monitor->mask & bit) == 0)
        continue;
      std::optional<KeyEvent> result = current;
      try {
        result = monitor->local(current);
      } catch (...) {
        // A failing handler lets the key go on; it must not take the event loop down.
      }
      if (!result) {
        swallowed = true;
        break;
      }
      current = *result;
    }
    record(keycode, press, time, swallowed);
    if (swallowed && press)
      swallowedHeld_.insert(keycode);
    return;
  }
  for (const auto& [token, monitor] : monitors) {
    if (!monitor->active || !monitor->global || (monitor->mask & bit) == 0)
      continue;
    try {
      monitor->global(*event);
    } catch (...) {
      // As above: the other monitors still hear the key.
    }
  }
}

// The lock changes while the server processes the key, just after it sent the raw event. Its
// state notification is then the next event: wait for it, so that the key's own event carries
// the lock state after the key, as for every other modifier.
void X11EventMonitors::Impl::settleCapsLock() {
  XSync(display_, False);
  if (XEventsQueued(display_, QueuedAlready) == 0)
    return;
  XEvent next;
  XPeekEvent(display_, &next);
  if (next.type != xkbEventBase_)
    return;
  XkbEvent xkb;
  std::memcpy(&xkb, &next, sizeof next);
  if (xkb.any.xkb_type != XkbStateNotify)
    return;
  XNextEvent(display_, &next);
  handle(next);
}

// Fn is usually handled inside the keyboard and never reaches X (its evdev code is beyond X's
// keycode range); a keyboard or keymap that does give a key the Fn keysym makes that key Fn.
void X11EventMonitors::Impl::refreshKeymap() {
  int minKeycode = 0;
  int maxKeycode = 0;
  XDisplayKeycodes(display_, &minKeycode, &maxKeycode);
  int perKeycode = 0;
  KeySym* keysyms = XGetKeyboardMapping(display_, static_cast<::KeyCode>(minKeycode),
                                        maxKeycode - minKeycode + 1, &perKeycode);
  std::set<unsigned> functionKeycodes;
  if (keysyms != nullptr) {
    for (int keycode = minKeycode; keycode <= maxKeycode; ++keycode) {
      for (int level = 0; level < perKeycode; ++level) {
        if (keysyms[(keycode - minKeycode) * perKeycode + level] == functionKeysym)
          functionKeycodes.insert(static_cast<unsigned>(keycode));
      }
    }
    XFree(keysyms);
  }
  state_.setFunctionKeycodes(std::move(functionKeycodes));
}

void X11EventMonitors::Impl::refreshXtestDevices() {
  xtestDevices_.clear();
  int count = 0;
  XIDeviceInfo* devices = XIQueryDevice(display_, XIAllDevices, &count);
  if (devices == nullptr)
    return;
  for (int i = 0; i < count; ++i) {
    // The server names them "<master> XTEST keyboard".
    if (devices[i].use == XISlaveKeyboard && devices[i].name != nullptr &&
        std::string(devices[i].name).find("XTEST") != std::string::npos)
      xtestDevices_.insert(devices[i].deviceid);
  }
  XIFreeDeviceInfo(devices);
}

bool X11EventMonitors::Impl::focusIsOurs() {
  if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) == nullptr)
    return false;
  std::vector<WId> ours;
  for (QWindow* window : QGuiApplication::allWindows()) {
    // An open popup of this process (the panel, a menu) holds the keyboard without the focus.
    if (window->isVisible() && window->type() == Qt::Popup)
      return true;
    if (window->handle() != nullptr)
      ours.push_back(window->winId());
  }
  if (ours.empty())
    return false;
  Window focus = None;
  int revert = 0;
  XGetInputFocus(display_, &focus, &revert);
  return std::find(ours.begin(), ours.end(), static_cast<WId>(focus)) != ours.end();
}

bool X11EventMonitors::Impl::hasActive(bool local) const {
  return std::any_of(monitors_.begin(), monitors_.end(), [local](const auto& entry) {
    return static_cast<bool>(entry.second->local) == local;
  });
}

void X11EventMonitors::Impl::record(unsigned keycode, bool press, std::uint32_t time,
                                    bool swallowed) {
  if (decisions_.size() == decisionCapacity)
    decisions_.pop_front();
  decisions_.push_back({keycode, press, time, swallowed});
}

// Keys are told apart by keycode, direction and server time; one person does not press one key
// twice within a millisecond.
const Decision* X11EventMonitors::Impl::findDecision(const x11::DeliveredKey& key) const {
  for (auto it = decisions_.rbegin(); it != decisions_.rend(); ++it) {
    if (it->keycode == key.keycode && it->press == key.press &&
        (key.time == 0 || it->time == key.time))
      return &*it;
  }
  return nullptr;
}

bool X11EventMonitors::Impl::shouldSwallow(const x11::DeliveredKey& key) {
  // A key that ended the last local monitor (Escape ending a capture) was decided on before the
  // monitor went: that decision still holds for the key event Qt delivers after it.
  const Decision* decision = key.time != 0 ? findDecision(key) : nullptr;
  if (decision == nullptr && listening_ && hasActive(true)) {
    // Qt's connection can be ahead of this one. Once this round trip returns, the raw event
    // (sent before the key event Qt holds) is in the queue; drain it through the monitors.
    decision = findDecision(key);
    if (decision == nullptr) {
      XSync(display_, False);
      drain();
      decision = findDecision(key);
    }
  }
  if (decision != nullptr)
    return decision->swallowed;
  // Auto-repeat makes no raw events: repeats of a swallowed key stay swallowed.
  return listening_ && hasActive(true) && key.press && key.autoRepeat &&
         swallowedHeld_.contains(key.keycode);
}

X11EventMonitors::X11EventMonitors(std::shared_ptr<SyntheticKeyLedger> ownKeys)
    : impl_(std::make_unique<Impl>(std::move(ownKeys))) {}

X11EventMonitors::~X11EventMonitors() = default;

std::optional<MonitorToken> X11EventMonitors::addLocalMonitor(
    std::uint64_t mask, std::function<std::optional<KeyEvent>(const KeyEvent&)> handler) {
  if (!handler)
    return std::nullopt;
  auto monitor = std::make_shared<Monitor>();
  monitor->mask = mask;
  monitor->local = std::move(handler);
  return impl_->add(std::move(monitor));
}

std::optional<MonitorToken> X11EventMonitors::addGlobalMonitor(
    std::uint64_t mask, std::function<void(const KeyEvent&)> handler) {
  if (!handler)
    return std::nullopt;
  auto monitor = std::make_shared<Monitor>();
  monitor->mask = mask;
  monitor->global = std::move(handler);
  return impl_->add(std::move(monitor));
}

void X11EventMonitors::removeMonitor(MonitorToken token) {
  impl_->remove(token);
}

bool X11EventMonitors::hasFunctionKey() const {
  return impl_->hasFunctionKey();
}

}  // namespace murvel::linux_platform

// Murvel on the Linux desktop: the real platform families, built once here and handed to the
// one AppDelegate, which the Qt event loop then drives.

#include <QApplication>
#include <QGuiApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>

#include "hotkey/HotkeyCatalogue.h"
#include "platform/HotkeyCommands.h"
#include "platform/Platform.h"
#include "platform/linux/audio/PulseAudioCaptureDevice.h"
#include "platform/linux/audio/PulseAudioRecorderFactory.h"
#include "platform/linux/audio/PulseAudioSounds.h"
#include "platform/linux/audio/PulseConnection.h"
#include "platform/linux/desktop/LinuxApplication.h"
#include "platform/linux/desktop/LinuxBundle.h"
#include "platform/linux/desktop/LinuxUrlEvents.h"
#include "platform/linux/desktop/LinuxWorkspace.h"
#include "platform/linux/desktop/QtAlerts.h"
#include "platform/linux/desktop/QtPasteboard.h"
#include "platform/linux/desktop/SingleInstance.h"
#include "platform/linux/desktop/UrlMessage.h"
#include "platform/linux/net/CurlUrlSessions.h"
#include "platform/linux/qt/QtDispatch.h"
#include "platform/linux/qt/StdoutOutput.h"
#include "platform/linux/stores/FileUserDefaults.h"
#include "platform/linux/stores/SecretKeychainBackend.h"
#include "platform/linux/ui/QtDateFormatter.h"
#include "platform/linux/ui/QtStatusBar.h"
#include "platform/linux/ui/QtWindowServer.h"
#include "platform/linux/wayland/SwayWindows.h"
#include "platform/linux/wayland/WaylandKeyEventPoster.h"
#include "platform/linux/wayland/WaylandPasteboard.h"
#include "platform/linux/wayland/WaylandSession.h"
#include "platform/linux/x11/DisplayCheck.h"
#include "platform/linux/x11/SyntheticKeyLedger.h"
#include "platform/linux/x11/TerminalClasses.h"
#include "platform/linux/x11/X11Accessibility.h"
#include "platform/linux/x11/X11ActiveWindow.h"
#include "platform/linux/x11/X11EventMonitors.h"
#include "platform/linux/x11/X11KeyEventPoster.h"
#include "shell/AppDelegate.h"
#include "stores/KeychainCache.h"
#include "stores/Settings.h"

namespace {

// SIGINT and SIGTERM end Murvel the way its own Quit does. The handler only writes a byte; the
// main loop reads it.
int quitSignalPipe[2] = {-1, -1};

void onQuitSignal(int) {
  const char byte = 1;
  [[maybe_unused]] const auto written = ::write(quitSignalPipe[1], &byte, 1);
}

}  // namespace

int main(int argc, char** argv) {
  using namespace murvel;
  using namespace murvel::linux_platform;

  // A desktop's key binding tells the running copy about the hotkey and ends: no display, no
  // window, nothing started.
  if (argc >= 2 && std::string_view(argv[1]) == "--hotkey") {
    if (argc != 3 || !hotkeyCommandNamed(argv[2])) {
      std::fprintf(stderr, "usage: murvel --hotkey press|release|toggle\n");
      return 2;
    }
    QCoreApplication commandApplication(argc, argv);
    if (!SingleInstance::handOverHotkeyCommand(argv[2])) {
      std::fprintf(stderr, "Murvel is not running: start it first, then the hotkey works.\n");
      return 1;
    }
    return 0;
  }

  // Murvel lives on X11 (on Wayland, as a client of XWayland). Without a display Qt would
  // abort; say what is missing instead.
  if (const auto missing = x11::missingDisplay()) {
    std::fprintf(stderr, "%s\n", missing->c_str());
    return 1;
  }
  // Under XWayland, Qt would otherwise pick Wayland, where the key monitors hear nothing.
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
    qputenv("QT_QPA_PLATFORM", "xcb");

  QApplication qtApplication(argc, argv);
  QApplication::setApplicationName("Murvel");
  QApplication::setDesktopFileName("murvel");
  // Murvel lives without a main window: closing an alert must not end it.
  QApplication::setQuitOnLastWindowClosed(false);

  // Settled before anything else: a later copy hands its link over here and then ends.
  SingleInstance instance(argc, argv);
  // A link may carry a login token: once read, it must not stay readable in the command line.
  eraseMurvelUrlArguments(argc, argv);

  // Made before the sessions and so destroyed after them: the sessions cancel what is still
  // under way as they end, and those completions hop to the main queue.
  QtDispatch dispatch;
  // libcurl is initialised here, before the sessions start threads of their own.
  CurlUrlSessions urlSessions;
  FileUserDefaults userDefaults(FileUserDefaults::defaultPath());
  auto pulse = std::make_shared<PulseConnection>();
  PulseAudioRecorderFactory audioRecorders(pulse);
  PulseAudioCaptureDevice captureDevice(pulse);
  PulseAudioSounds sounds(pulse);
  // On Wayland the other applications are reached through the compositor; Murvel's own
  // windows, sound and stores stay as on X11.
  const auto wayland = waylandSession();
  if (wayland && instance.isPrimary())
    std::fprintf(stderr, "%s\n", wayland->abilities().c_str());
  X11ActiveWindow activeWindow;
  std::optional<SwayWindows> swayWindows;
  if (wayland && wayland->swaySocket)
    swayWindows.emplace(*wayland->swaySocket);
  const auto windowHooks =
      swayWindows ? WindowHooks{[&swayWindows] { return swayWindows->frontmostApplication(); },
                                [&swayWindows](const RunningApplication& application) {
                                  swayWindows->activate(application);
                                }}
                  : WindowHooks{[&activeWindow] { return activeWindow.frontmostApplication(); },
                                [&activeWindow](const RunningApplication& application) {
                                  activeWindow.activate(application);
                                }};
  LinuxWorkspace workspace(instance, windowHooks);
  SecretKeychainBackend secretService;
  // The store answers over D-Bus on the main thread; after the first read the key comes from
  // memory.
  KeychainCache keychain(secretService);
  // The paste keystrokes Murvel sends must not come back as the user's own keys.
  auto ownKeys = std::make_shared<SyntheticKeyLedger>();
  X11EventMonitors keyMonitors(ownKeys);
  // Where the keys of other applications never reach Murvel, the desktop's key bindings say
  // when the hotkey goes down and up (`murvel --hotkey ...`); they are heard as the key itself.
  HotkeyCommandMonitors eventMonitors(keyMonitors, [&userDefaults](bool down) {
    return murvelHotkeyEvent(Settings(userDefaults).hotkey(), down);
  });
  instance.setHotkeyReceiver(
      [&eventMonitors](HotkeyCommand command) { eventMonitors.perform(command); });
  // X hardly ever sees Fn, and a compositor's binding can name any key: without a key for Fn,
  // Right Control is the hotkey until one is chosen. Registered, so in memory only: a stored
  // choice always wins.
  if (!keyMonitors.hasFunctionKey())
    userDefaults.registerDefaults(PropertyValue{{std::string(SettingsKey::hotkey), "right_ctrl"}});
  X11KeyEventPoster x11KeyEventPoster(ownKeys);
  QtPasteboard x11Pasteboard;
  WaylandPasteboard waylandPasteboard(x11Pasteboard);
  Pasteboard& pasteboard =
      wayland && wayland->hasWlCopy ? static_cast<Pasteboard&>(waylandPasteboard) : x11Pasteboard;
  WaylandKeyEventPoster waylandKeyEventPoster(waylandPasteboard, [&swayWindows] {
    const auto window = swayWindows ? swayWindows->focusedWindow() : std::nullopt;
    return window &&
           (x11::isTerminalClass(window->appId) || x11::isTerminalClass(window->windowClass) ||
            x11::isTerminalClass(window->instance));
  });
  KeyEventPoster& keyEventPoster = wayland && wayland->hasWlCopy && wayland->canPostKeys()
                                       ? static_cast<KeyEventPoster&>(waylandKeyEventPoster)
                                       : x11KeyEventPoster;
  X11Accessibility accessibility;
  QtAlerts alerts;
  LinuxBundle bundle(MURVEL_VERSION);
  LinuxApplication application;
  LinuxUrlEvents urlEvents(instance);
  StdoutOutput standardOutput;
  // The face of the program: the tray icon tells the clicks it dispatches, and the panel opens
  // under it.
  ui::QtStatusBar statusBar(
      [&application](std::optional<std::uint64_t> type) { application.setCurrentEventType(type); });
  ui::QtWindowServer windowServer(
      [&statusBar](const StatusItemButton& button) { return statusBar.geometryOf(button); },
      [&statusBar](const StatusItemButton& button, Qt::MouseButton mouseButton, QPoint at) {
        statusBar.releasedOn(button, mouseButton, at);
      });
  ui::QtDateFormatter dateFormatter;

  Platform platform{dispatch,       userDefaults,   audioRecorders, captureDevice, workspace,
                    sounds,         keychain,       eventMonitors,  urlSessions,   pasteboard,
                    keyEventPoster, accessibility,  alerts,         bundle,        application,
                    urlEvents,      standardOutput, statusBar,      windowServer,  dateFormatter};

  auto delegate = std::make_shared<AppDelegate>(platform, MURVEL_API_BASE_URL);
  delegate->applicationWillFinishLaunching();
  // Launch finishes on the first turn of the event loop, as on any desktop application.
  QTimer::singleShot(0, &qtApplication, [&delegate] { delegate->applicationDidFinishLaunching(); });
  QObject::connect(&qtApplication, &QGuiApplication::applicationStateChanged, &qtApplication,
                   [&delegate](Qt::ApplicationState state) {
                     if (state == Qt::ApplicationActive)
                       delegate->applicationDidBecomeActive();
                   });

  std::unique_ptr<QSocketNotifier> quitNotifier;
  if (::pipe(quitSignalPipe) == 0) {
    quitNotifier = std::make_unique<QSocketNotifier>(quitSignalPipe[0], QSocketNotifier::Read);
    QObject::connect(quitNotifier.get(), &QSocketNotifier::activated, &qtApplication,
                     [&delegate, &quitNotifier] {
                       char byte = 0;
                       [[maybe_unused]] const auto read = ::read(quitSignalPipe[0], &byte, 1);
                       quitNotifier->setEnabled(false);
                       delegate->quitMurvel();
                     });
    std::signal(SIGINT, onQuitSignal);
    std::signal(SIGTERM, onQuitSignal);
  }

  const int status = QApplication::exec();
  // Background work may still hold the delegate; once it has ended, the delegate goes first: it
  // uses every family above.
  dispatch.waitForGlobalWork();
  delegate.reset();
  return status;
}

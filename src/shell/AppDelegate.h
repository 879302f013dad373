#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dictation/DictationState.h"
#include "dictation/DictationValues.h"
#include "dictation/Trace.h"
#include "permissions/PermissionState.h"
#include "platform/Platform.h"
#include "stores/HistoryEntry.h"
#include "stores/Settings.h"

namespace murvel {

class HistoryFileWriter;
class OnboardingWindow;
class PopoverViewController;
class Popover;
class StatusItem;
struct Menu;
struct MenuItem;
struct MenuBarImage;

// The one object that owns all long-lived state. Made in main and shared, so that closures that
// outlive a call can hold it weakly. Its operations are defined in the folders they belong to.
class AppDelegate : public std::enable_shared_from_this<AppDelegate> {
 public:
  struct AccountInfo {
    std::string email;
    friend bool operator==(const AccountInfo&, const AccountInfo&) = default;
  };

  AppDelegate(Platform& platform, std::string apiBaseURL);
  ~AppDelegate();
  AppDelegate(const AppDelegate&) = delete;
  AppDelegate& operator=(const AppDelegate&) = delete;

  Platform& platform() { return platform_; }

  // Application lifecycle: shell/Lifecycle.cpp
  void applicationWillFinishLaunching();
  void applicationDidFinishLaunching();
  void applicationDidBecomeActive();
  void quitMurvel();
  void openSettings();
  void showOnboarding();
  void closeSettingsWindow();
  void maybeShowLaunchHint();

  // Menu-bar item: shell/MenuBar.cpp
  void setupMenuBar();
  void setupPopover();
  // A click on the menu-bar button; which one is told by the event being handled.
  void statusBarClicked();
  // A new menu for one right click, as things stand at this moment.
  std::shared_ptr<Menu> buildMenu();
  void setAppTone(const MenuItem& sender);
  void setCleanupMode(const MenuItem& sender);
  void togglePopover();
  void closePopover();
  std::optional<MenuBarImage> menuBarImage(const std::string& symbolName,
                                           const std::string& fallback);
  void setIdleIcon();
  void setRecordingIcon();

  // Dictation session: dictation/Session.cpp
  void startRecording();
  void stopRecording();
  void toggleRecording();
  void transcribeAudio();
  void startPulse();
  void stopPulse();

  // Audio capture: dictation/AudioCapture.cpp
  void setupRecordingURL();

  // Cleanup: dictation/Cleanup.cpp
  std::string currentCleanupTone();
  std::string cleanupModeDisplayName(std::optional<std::string> mode = std::nullopt);
  void aiClean(std::string text, std::string accessKey, double duration, std::string cleanupMode,
               std::optional<std::string> traceID, std::optional<Date> releasedAt);

  // Text delivery: dictation/Delivery.cpp
  void pasteText(std::string text, std::function<void()> onPosted = {});
  void finishWithText(std::string text, double duration, bool cleanupFailed = false,
                      std::optional<std::string> cleanupMode = std::nullopt,
                      std::optional<std::string> traceID = std::nullopt,
                      std::optional<Date> releasedAt = std::nullopt);

  // Dictation trace: dictation/Trace.cpp. Callable from any thread.
  void logDictationTrace(const std::string& traceID, const std::string& event,
                         const TraceFields& fields);

  // Hotkey: hotkey/Monitoring.cpp
  std::string hotkeyDisplayName();
  void setupHotkey(bool showPermissionPrompt = false);
  void reinstallHotkey();
  void setHotkeyCaptureActive(bool active);
  void removeEventMonitors();

  // Dictation history: stores/History.cpp
  std::filesystem::path historyURL();
  void loadHistory();
  void saveHistory();
  void addHistoryEntry(HistoryEntry entry);
  void clearHistory();

  // Service connection: service/Connection.cpp
  void prewarmAPIConnection();
  // apiSession, made on first use.
  std::shared_ptr<UrlSession> getApiSession();

  // Browser sign-in: service/SignIn.cpp
  void startBrowserSignIn(std::string_view email);
  void handleGetURLEvent(const UrlEvent& event);
  void completeBrowserSignIn(std::string loginToken);

  // Account: service/Account.cpp
  void fetchAccountInfo(std::function<void(Result<AccountInfo>)> completion);
  void signOut();

  // Permissions: permissions/Permissions.cpp
  int microphoneAuthorizationStatus();
  bool hasAccessibilityAccess();
  std::vector<MurvelPermissionState> permissionStates();
  std::vector<MurvelPermissionState> missingPermissionStates();
  void refreshPermissionUI();
  void requestPermission(MurvelPermissionKind kind);
  void showPermissionsPopup(bool force = false, bool showSuccessWhenClear = false);
  void requestMicrophoneAccess(std::function<void(bool)> completion);
  void handleBlockedMicrophonePermission();
  void openMicrophonePrivacySettings();
  void openAccessibilityPrivacySettings();
  void maybePromptPermissionsIfNeeded();
  std::string currentAppVersion();

  // The typed settings over the user defaults.
  Settings settings;

  // Long-lived state, with the access the subsystems need.
  std::shared_ptr<StatusItem> statusItem;
  std::unique_ptr<AudioRecorder> audioRecorder;
  std::optional<std::filesystem::path> recordingURL;
  bool isRecording = false;
  std::optional<Date> recordingStart;
  bool hotkeyPressed = false;
  bool hotkeyCaptureActive = false;
  std::vector<MonitorToken> globalMonitors;
  std::vector<MonitorToken> localMonitors;
  std::shared_ptr<Timer> pulseTimer;
  long long pulsePhase = 0;
  std::optional<RunningApplication> frontmostAppBeforeRecording;
  std::shared_ptr<Popover> popover;
  std::shared_ptr<PopoverViewController> popoverVC;
  std::shared_ptr<OnboardingWindow> onboardingWindow;
  std::vector<HistoryEntry> history;
  const std::string apiBaseURL;
  std::shared_ptr<UrlSession> apiSession;

 private:
  // dictation/Session.cpp
  static void recordingStage(std::weak_ptr<AppDelegate> weakSelf, DictationValues values);
  void announce(DictationState state);
  void playSound(std::shared_ptr<Sound>& cache, bool& looked, std::string_view name);

  // dictation/Exchange.cpp
  void sendTranscription(DictationValues values, Date prepareStart, long long fileSize);
  void handleTranscriptionOutcome(const DictationValues& values, Date requestStart,
                                  std::optional<std::string> data,
                                  std::optional<PlatformError> error);

  // dictation/Cleanup.cpp
  void handleTranscribedText(const nlohmann::json& reply, std::string text,
                             const DictationValues& values);

  // hotkey/Monitoring.cpp
  void installLocalEventMonitors();
  void installGlobalEventMonitors();
  void handleModifierFlags(const KeyEvent& event);

  // service/Connection.cpp
  std::string apiURL(std::string_view pathComponent) const;

  Platform& platform_;

  // stores/History.cpp: saves run in the background and may overlap; the writer keeps the newest.
  std::shared_ptr<HistoryFileWriter> historyWriter_;
  std::uint64_t historyGeneration_ = 0;

  // The two shared sounds, looked up on first use and kept; either may be absent.
  std::shared_ptr<Sound> tinkSound_;
  std::shared_ptr<Sound> popSound_;
  bool tinkLooked_ = false;
  bool popLooked_ = false;
};

}  // namespace murvel

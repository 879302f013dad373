#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Desktop.h"

// The pieces of a person's way through Murvel on the private desktop, shared by the end-to-end
// test and the demonstration: the real service, a browser, a window to type into, and the steps.
// Each step says what went wrong in `problem` rather than asserting, so the demonstration can tell
// a person and the test can fail with it.
namespace murvel::e2e {

// Where the programs under test are; fixed into this build.
struct Programs {
  std::string murvel, cloud, targetWindow, browser;
};
Programs builtPrograms();

// murvel-cloud on the port the app under test was built for, keeping its data in `directory`.
class Cloud {
 public:
  Cloud(std::string program, fs::path directory, std::vector<std::string> options = {});
  // Starts it and waits until it answers; false if it does not.
  bool start();
  std::string log() const;

 private:
  std::string program_;
  fs::path directory_;
  std::vector<std::string> options_;
  std::unique_ptr<Process> process_;
};

// A window with one text box, standing for what the person types into; it reports its text.
class TargetWindow {
 public:
  TargetWindow(const std::string& program, const fs::path& directory);
  // Brings it to the front with the keyboard's focus in its text box.
  bool focus();
  std::string text() const;
  QRect frame() const;

 private:
  fs::path textFile_;
  Process process_;
};

// The murvel: link that the service's sign-in sends a browser back to, for `email`, as the
// browser would follow it; nothing, and why in `problem`, if it does not.
std::optional<std::string> signInLink(const std::string& email, std::string& problem);

// The access key in the session's keyring, or empty.
std::string storedAccessKey();

// Whether no Settings window of `app` shows, once that is so.
bool noSettingsWindow(App& app);

// Signs the running `app` in from the Settings window of its first launch, as a browser hands
// it the service's murvel: link: through a second copy of `program` given the link. Returns once
// the app has put that window away again; false, and why in `problem`, if it did not.
bool signInByLink(App& app, const std::string& program, const std::string& email,
                  const fs::path& work, std::string& problem);

// The share of words to substitute, insert or delete to turn `heard` into `said`, ignoring case
// and punctuation; 1 when nothing was said.
double wordErrorRate(const std::string& said, const std::string& heard);

using Instant = std::chrono::steady_clock::time_point;

// Holds `key` down while `wav` plays into the microphone, and lets go a moment after its end.
// Gives when the key went up (the moment the tool that let go returned), or nothing if the key
// or the microphone did not take part.
std::optional<Instant> speakWhileHeld(const fs::path& wav, const std::string& key = "Control_R");

// On the headless sway of tests/linux/session.sh --wayland:
// The same hold of Right Control, through the compositor's virtual-keyboard protocol: one
// keyboard holds the key for the whole sentence, since a keyboard that goes away lets go of its
// keys. `work` takes the tool's log.
std::optional<Instant> speakWhileHeldOnWayland(const fs::path& wav, const fs::path& work);
// The app id of the window that sway says has the focus, or empty.
std::string swayFocusedAppId();
// A native Wayland terminal whose program writes every byte it gets to `typed` as it gets it,
// once it has the focus; nothing, if it never took it.
std::unique_ptr<Process> focusedWaylandTerminal(const fs::path& typed, const fs::path& work);

// The way through, step by step, in a fresh home of the session.
class Journey {
 public:
  explicit Journey(fs::path work);

  // The first launch, the Settings window it opens, the address typed and "Continue with Email"
  // pressed, the page the browser was sent to followed to its murvel: link, and that link handed
  // to a second copy of the app, as a browser does.
  bool signIn(const std::string& email);
  // "Pick Button…" in the Settings window's Preferences, and Right Control pressed.
  bool pickRightControl();
  // Closes the Settings window.
  bool closeSettings();
  // The sentence spoken into the microphone while the hotkey is held with the target window in
  // front, and the text that arrived there; nothing if none did.
  std::optional<std::string> dictate(const std::string& sentence, const std::string& name);
  // Chooses the tray menu's entry whose title starts with `entry`.
  bool chooseFromTrayMenu(const std::string& entry);
  // Opens the panel with a left click on the tray icon.
  std::optional<json> openPanel();
  std::optional<json> openSettingsFromMenu();

  fs::path home() const { return home_; }
  fs::path work() const { return work_; }
  std::string accessKey() const { return storedAccessKey(); }
  // How many pastes the app's trace has told of.
  int pastes() const;

  Programs programs = builtPrograms();
  Cloud cloud;
  std::unique_ptr<App> app;
  std::unique_ptr<TargetWindow> target;
  std::string problem;

 private:
  bool fail(const std::string& why);
  std::optional<QRect> icon();

  fs::path work_, home_, browserLog_;
  json lastMenu_;
};

}  // namespace murvel::e2e

#include "shell/OnboardingWindow.h"

#include <algorithm>
#include <array>

#include "common/Text.h"
#include "shell/AppDelegate.h"
#include "shell/PopoverViewController.h"
#include "stores/Keychain.h"

namespace murvel {

namespace {

struct Choice {
  const char* title;
  const char* value;
};
constexpr std::array<Choice, 3> cleanupModeChoices{
    {{"Off", "off"}, {"Fast (no AI rewrite)", "fast"}, {"Smart (AI rewrite)", "smart"}}};
constexpr std::array<Choice, 4> toneChoices{{{"Auto (match speaker)", "auto"},
                                             {"Casual", "casual"},
                                             {"Formal", "formal"},
                                             {"Bullet List", "bullets"}}};

template <std::size_t N>
void fillPopUp(PopUpButton& popUp, const std::array<Choice, N>& choices,
               const std::string& current) {
  std::vector<std::string> titles;
  for (const Choice& choice : choices) titles.emplace_back(choice.title);
  popUp.setItemTitles(std::move(titles));
  // An unknown stored value leaves the first item selected.
  for (std::size_t i = 0; i < N; ++i) {
    if (current == choices[i].value) {
      popUp.selectItem(static_cast<long>(i));
      break;
    }
  }
}

template <std::size_t N>
const char* chosenValue(const PopUpButton& popUp, const std::array<Choice, N>& choices) {
  const long index = popUp.indexOfSelectedItem();
  if (index < 0 || index >= static_cast<long>(N))
    return nullptr;
  return choices[static_cast<std::size_t>(index)].value;
}

const char* const askToContinue = "Enter your email, then continue in your browser to sign in.";

}  // namespace

OnboardingWindow::OnboardingWindow(Platform& platform, std::weak_ptr<AppDelegate> appDelegate)
    : platform_(platform), appDelegate_(std::move(appDelegate)) {
  picker_ = std::make_shared<HotkeyPicker>(
      platform, hotkeyPop, pickHotkeyButton,
      HotkeyPickerWords{
          "Pick Button\u2026",
          "Press a key\u2026",
          [](const MurvelHotkeyOption& option) { return "Picked " + option.compactLabel; },
          "Use a supported key",
          "Cancelled",
          false,
          {},
          {}},
      HotkeyPicker::Hooks{
          [this] { return appDelegate_.lock(); }, [this] { syncHotkeyPicker(); }, {}});
  window.contentView().setSize({500, 380});
  window.setStyleMask(WindowStyle::titled | WindowStyle::closable);
  window.setTitle("Murvel Settings (v" + appVersion(platform_.bundle) + ")");
  window.center();
  window.setReleasedWhenClosed(false);
  window.windowShouldClose = [this] {
    return windowShouldClose();
  };
  buildLayout();
  platform_.windowServer.addWindow(window);
}

void OnboardingWindow::buildLayout() {
  View& content = window.contentView();
  Label& name = content.make<Label>("Murvel");
  name.setFont(Font::bold(22));
  name.setAlignment(TextAlignment::center);
  content.addRow(name);
  Label& tagline = content.make<Label>(
      "Voice dictation powered by Murvel Cloud \u00B7 v" + appVersion(platform_.bundle),
      Color::secondaryLabelColor);
  tagline.setFont(Font::system(12));
  tagline.setAlignment(TextAlignment::center);
  content.addRow(tagline);
  tabView.setSize({480, 304});
  content.addRow(LayoutRow{{}, {&tabView}, {}});
  buildSetupTab();
  buildSettingsTab();
  buildPermissionsTab();
  buildAboutTab();
}

void OnboardingWindow::addSectionLabel(const std::string& text, View& view) {
  Label& label = view.make<Label>(uppercased(text), Color::secondaryLabelColor);
  label.setFont(Font::bold(10));
  view.addRow(label, 6);
}

void OnboardingWindow::addDivider(View& view) {
  Box& divider = view.make<Box>(BoxType::separator);
  divider.setSize({0, 1});
  view.addRow(divider, 4);
}

void OnboardingWindow::addStep(View& view, int number, const std::string& text) {
  Label& badge = view.make<Label>(std::to_string(number));
  badge.setFont(Font::bold(12));
  badge.setAlignment(TextAlignment::center);
  badge.setSize({22, 22});
  badge.setBackground(Color::systemBlueColor, 0.15, 11);
  Label& line = view.make<Label>(text);
  line.setFont(Font::system(12));
  line.setMaximumNumberOfLines(2);
  view.addRow(LayoutRow{{&badge, &line}, {}, {}, 4});
}

Label& OnboardingWindow::addNote(View& view, const std::string& text) {
  Label& note = view.make<Label>(text, Color::tertiaryLabelColor);
  note.setFont(Font::system(10));
  note.setMaximumNumberOfLines(2);
  view.addRow(note);
  return note;
}

void OnboardingWindow::buildSetupTab() {
  View& tab = tabView.addTabViewItem("Setup");
  addStep(tab, 1, "Enter the email you want to use for Murvel.");
  addStep(tab, 2,
          "Have an account already? Murvel may email you a link to finish signing in on this "
          "computer.");
  addStep(tab, 3, "New to Murvel? Your account is made on the spot and Murvel opens right away.");
  Label& fieldLabel = tab.make<Label>("Account Email:");
  fieldLabel.setFont(Font::system(12));
  tab.addRow(fieldLabel, 10);
  emailField.setPlaceholderString("you@example.com");
  emailField.setStringValue(Settings(platform_.userDefaults).signedInEmail());
  emailField.action = [this] {
    continueInBrowser();
  };
  tab.addRow(emailField);
  statusLabel.setFont(Font::system(11));
  statusLabel.setTextColor(Color::secondaryLabelColor);
  statusLabel.setAlignment(TextAlignment::center);
  statusLabel.setMaximumNumberOfLines(2);
  tab.addRow(statusLabel, 4);
  continueButton.setTitle("Continue with Email");
  continueButton.setKeyEquivalent("\r");
  continueButton.action = [this] {
    continueInBrowser();
  };
  tab.addRow(LayoutRow{{}, {&continueButton}, {}, 4});
  Label& note = addNote(tab,
                        "No API key to paste: you sign in with your email, and Murvel keeps its "
                        "access key in your desktop keyring.");
  note.setAlignment(TextAlignment::center);
  refreshAuthState(true);
}

void OnboardingWindow::buildSettingsTab() {
  View& tab = tabView.addTabViewItem("Preferences");
  addSectionLabel("Hotkey", tab);
  tab.addRow(LayoutRow{{&hotkeyPop, &pickHotkeyButton}, {}, {}});
  // Gives the picker its items and the stored key, then its actions.
  picker_->configureControls();
  addNote(tab, "Supported: " + murvelHotkeyHintText());
  addDivider(tab);
  addSectionLabel("Cleanup Mode", tab);
  const Settings settings(platform_.userDefaults);
  fillPopUp(cleanupModePop, cleanupModeChoices, settings.cleanupMode());
  cleanupModePop.action = [this] {
    cleanupModeChanged();
  };
  tab.addRow(cleanupModePop);
  addNote(tab, "Fast removes filler words and tidies spacing without calling the rewrite model.");
  addDivider(tab);
  addSectionLabel("Default Tone (Smart mode only)", tab);
  fillPopUp(tonePop, toneChoices, settings.defaultTone());
  tonePop.action = [this] {
    toneChanged();
  };
  tab.addRow(tonePop);
  addNote(tab, "App-specific tones: right-click the menu bar icon while an app is focused");
}

void OnboardingWindow::buildPermissionsTab() {
  View& tab = tabView.addTabViewItem("Permissions");
  Label& intro = tab.make<Label>(
      "Murvel needs these permissions to record audio and use your hotkey while you stay in "
      "other apps.");
  intro.setFont(Font::system(12));
  intro.setMaximumNumberOfLines(2);
  tab.addRow(intro);
  permissionSummaryLabel.setFont(Font::bold(12));
  tab.addRow(permissionSummaryLabel, 4);
  const auto addPermissionRow = [&](const char* title, Label& status, Button& button,
                                    std::function<void()> action) {
    Label& heading = tab.make<Label>(title);
    heading.setFont(Font::bold(12));
    tab.addRow(heading, 8);
    status.setFont(Font::system(11));
    status.setMaximumNumberOfLines(2);
    button.action = std::move(action);
    tab.addRow(LayoutRow{{&status}, {}, {&button}});
  };
  addPermissionRow("Microphone", microphoneStatusLabel, microphoneButton,
                   [this] { requestMicrophonePermission(); });
  addPermissionRow("Accessibility", accessibilityStatusLabel, accessibilityButton,
                   [this] { requestAccessibilityPermission(); });
  addNote(tab,
          "Accessibility is what lets your selected hotkey work in Chrome, Google Meet, "
          "WhatsApp, and other apps.");
  permissionsPopupButton.setTitle("Review Missing Permissions");
  permissionsPopupButton.action = [this] {
    reviewMissingPermissions();
  };
  permissionsRefreshButton.setTitle("Refresh");
  permissionsRefreshButton.action = [this] {
    refreshPermissions();
  };
  tab.addRow(LayoutRow{{&permissionsPopupButton}, {}, {&permissionsRefreshButton}, 8});
  refreshPermissionState();
}

void OnboardingWindow::buildAboutTab() {
  View& tab = tabView.addTabViewItem("About");
  const std::array<std::pair<const char*, std::string>, 6> rows{{
      {"Version", appVersion(platform_.bundle)},
      {"Transcription", "Murvel Cloud voice capture"},
      {"AI Cleanup", "Off, Fast local tidy, or Smart AI rewrite"},
      {"Hotkey", "Configurable (Fn, Right \u2325, Right \u2318, Right \u2303, Caps Lock)"},
      {"History", "Last 10 dictations, click to re-paste"},
      {"Website", "murvel.app"},
  }};
  for (const auto& [key, value] : rows) {
    Label& keyLabel = tab.make<Label>(std::string(key) + ":");
    keyLabel.setFont(Font::bold(12));
    keyLabel.setSize({110, 24});
    Label& valueLabel = tab.make<Label>(value, Color::secondaryLabelColor);
    valueLabel.setFont(Font::system(12));
    valueLabel.setSize({0, 24});
    tab.addRow(LayoutRow{{&keyLabel, &valueLabel}, {}, {}});
  }
}

void OnboardingWindow::setStatus(std::string text, Color color) {
  statusLabel.setText(std::move(text));
  statusLabel.setTextColor(color);
}

void OnboardingWindow::refreshAuthState(bool resetStatus) {
  const auto key = Keychain::load(platform_.keychain, Keychain::accessKeyAccount);
  const bool signedIn = key.has_value() && !key->empty();
  const std::string email = Settings(platform_.userDefaults).signedInEmail();
  emailField.setStringValue(email);
  continueButton.setTitle("Continue with Email");
  if (!resetStatus)
    return;
  if (signedIn && !email.empty()) {
    setStatus("Signed in as " + email, Color::systemGreenColor);
  } else {
    setStatus(askToContinue);
  }
}

void OnboardingWindow::refreshPermissionState() {
  auto delegate = appDelegate_.lock();
  if (!delegate)
    return;
  const auto states = delegate->permissionStates();
  const auto missing = std::count_if(states.begin(), states.end(),
                                     [](const MurvelPermissionState& s) { return !s.isGranted; });
  if (missing == 0) {
    permissionSummaryLabel.setText("All required permissions are enabled.");
    permissionSummaryLabel.setTextColor(Color::systemGreenColor);
  } else if (missing == 1) {
    permissionSummaryLabel.setText("1 permission still needs attention.");
    permissionSummaryLabel.setTextColor(Color::systemOrangeColor);
  } else {
    permissionSummaryLabel.setText(std::to_string(missing) + " permissions still need attention.");
    permissionSummaryLabel.setTextColor(Color::systemOrangeColor);
  }
  for (const auto& state : states) {
    const bool microphone = state.kind == MurvelPermissionKind::microphone;
    Label& status = microphone ? microphoneStatusLabel : accessibilityStatusLabel;
    Button& button = microphone ? microphoneButton : accessibilityButton;
    status.setText(state.detail);
    status.setTextColor(state.isGranted ? Color::systemGreenColor : Color::secondaryLabelColor);
    button.setTitle(state.actionTitle);
    button.setEnabled(!state.isGranted);
    button.setAlphaValue(state.isGranted ? 0.55 : 1.0);
  }
  permissionsPopupButton.setTitle(missing == 0 ? "Review Permissions"
                                               : "Review Missing Permissions");
}

void OnboardingWindow::continueInBrowser() {
  const std::string email = lowercased(trimmedWhitespaceAndNewlines(emailField.stringValue()));
  if (email.find('@') == std::string::npos) {
    setStatus("Please enter the email you want to use for Murvel.", Color::systemOrangeColor);
    return;
  }
  Settings(platform_.userDefaults).setSignedInEmail(email);
  setStatus(
      "Your browser is open. A new account opens Murvel right away; an existing one may finish "
      "from the link in your email.",
      Color::systemBlueColor);
  if (auto delegate = appDelegate_.lock())
    delegate->startBrowserSignIn(email);
}

void OnboardingWindow::requestMicrophonePermission() {
  if (auto delegate = appDelegate_.lock())
    delegate->requestPermission(MurvelPermissionKind::microphone);
  refreshPermissionState();
}

void OnboardingWindow::requestAccessibilityPermission() {
  if (auto delegate = appDelegate_.lock())
    delegate->requestPermission(MurvelPermissionKind::accessibility);
  refreshPermissionState();
}

void OnboardingWindow::reviewMissingPermissions() {
  if (auto delegate = appDelegate_.lock())
    delegate->showPermissionsPopup(true, true);
  refreshPermissionState();
}

void OnboardingWindow::refreshPermissions() {
  if (auto delegate = appDelegate_.lock())
    delegate->setupHotkey();
  refreshPermissionState();
}

void OnboardingWindow::syncHotkeyPicker() {
  picker_->syncPopup();
}

void OnboardingWindow::stopHotkeyCapture() {
  picker_->stopHotkeyCapture();
}

void OnboardingWindow::flashPickHotkeyButton(std::string title) {
  picker_->flashPickHotkeyButton(std::move(title));
}

void OnboardingWindow::beginHotkeyCapture() {
  picker_->beginHotkeyCapture();
}

void OnboardingWindow::hotkeyChanged() {
  picker_->hotkeyChanged();
}

void OnboardingWindow::cleanupModeChanged() {
  const char* mode = chosenValue(cleanupModePop, cleanupModeChoices);
  if (mode == nullptr)
    return;
  Settings(platform_.userDefaults).setCleanupMode(mode);
  auto delegate = appDelegate_.lock();
  if (delegate && delegate->popoverVC)
    delegate->popoverVC->setState(DictationState::idle());
}

void OnboardingWindow::toneChanged() {
  if (const char* tone = chosenValue(tonePop, toneChoices))
    Settings(platform_.userDefaults).setDefaultTone(tone);
}

bool OnboardingWindow::windowShouldClose() {
  stopHotkeyCapture();
  window.orderOut();
  return false;
}

}  // namespace murvel

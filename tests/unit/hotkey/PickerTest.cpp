#include "fakes/AppHarness.h"
#include "shell/OnboardingWindow.h"
#include "shell/controls/Popover.h"

namespace murvel::testing {
namespace {

using ::testing::ElementsAre;

// The words of one surface, and where its picker lives.
struct Surface {
  const char* name;
  bool isPanel;
  std::vector<std::string> keys;  // the popup's entries
  std::string rest, waiting, unsupported, escape;
  std::function<std::string(const MurvelHotkeyOption&)> picked;
};

// The keys as each popup lists them.
const std::vector<std::string> pickerLabels{"Fn (Function key)", "Right Command \u2318",
                                            "Right Option \u2325", "Right Control \u2303",
                                            "Caps Lock"};
const std::vector<std::string> compactLabels{"Fn", "Right \u2318", "Right \u2325", "Right \u2303",
                                             "Caps Lock"};

const Surface surfaces[] = {
    {"settings", false, pickerLabels, "Pick Button\u2026", "Press a key\u2026",
     "Use a supported key", "Cancelled",
     [](const MurvelHotkeyOption& o) {
       return "Picked " + o.compactLabel;
     }},
    {"panel", true, compactLabels, "Map", "Wait", "Retry", "Done",
     [](const MurvelHotkeyOption&) {
       return std::string("Picked");
     }},
};

KeyEvent keyDown(std::uint16_t code, std::uint64_t flags = 0) {
  return KeyEvent{KeyEventType::keyDown, code, flags};
}
constexpr auto flags = &AppHarness::flagsChanged;

class PickerTest : public ::testing::TestWithParam<Surface> {
 protected:
  PickerTest() {
    h.launchSignedIn();
    h.app->openSettings();
    h.app->togglePopover();
  }
  const Surface& surface() const { return GetParam(); }
  PopUpButton& popup() {
    return surface().isPanel ? h.app->popoverVC->hotkeyPop : h.app->onboardingWindow->hotkeyPop;
  }
  Button& button() {
    return surface().isPanel ? h.app->popoverVC->pickHotkeyButton
                             : h.app->onboardingWindow->pickHotkeyButton;
  }
  void closeSurface() {
    if (surface().isPanel) {
      h.app->closePopover();
    } else {
      h.app->onboardingWindow->window.performClose();
    }
  }
  // The event as the application's own window hears it: what comes back went on unswallowed.
  std::optional<KeyEvent> send(const KeyEvent& event) {
    return h.fake.eventMonitors.sendLocal(event);
  }
  void expectAtRest() {
    EXPECT_EQ(button().title(), surface().rest);
    EXPECT_TRUE(popup().isEnabled());
    EXPECT_FALSE(h.app->hotkeyCaptureActive);
  }
  AppHarness h;
};

TEST_P(PickerTest, EachSupportedKeyIsPickedByPressingIt) {
  EXPECT_EQ(popup().itemTitles(), surface().keys);
  for (const MurvelHotkeyOption& option : murvelHotkeyOptions()) {
    h.app->settings.setHotkey(option.value == "fn" ? "right_ctrl" : "fn");
    button().performClick();
    EXPECT_EQ(button().title(), surface().waiting);
    EXPECT_FALSE(popup().isEnabled());
    EXPECT_TRUE(h.app->hotkeyCaptureActive);
    const auto monitorsBefore = h.app->localMonitors;
    EXPECT_EQ(send(flags(option.keyCode, option.modifierFlag)), std::nullopt) << option.value;
    EXPECT_EQ(h.app->settings.hotkey(), option.value);
    EXPECT_NE(h.app->localMonitors, monitorsBefore);  // reinstalled
    EXPECT_EQ(button().title(), surface().picked(option));
    EXPECT_TRUE(popup().isEnabled());
    EXPECT_FALSE(h.app->hotkeyCaptureActive);
    EXPECT_FALSE(h.app->hotkeyPressed);  // the picking press starts no dictation
    h.fake.dispatch.advance(1.0);
    expectAtRest();
  }
  // The popup of the panel follows every pick; the window's follows only its own.
  EXPECT_EQ(h.app->popoverVC->hotkeyPop.indexOfSelectedItem(), 4);
}

// Which modifier events match is CaptureLookupTest's; here, what the picker does with the others.
TEST_P(PickerTest, LeftTwinsShowNothingAndGoOn) {
  button().performClick();
  const KeyEvent leftCommand = flags(KeyCode::leftCommand, ModifierFlag::command);
  EXPECT_EQ(send(leftCommand), leftCommand);
  EXPECT_EQ(button().title(), surface().waiting);
  // The right key pressed while the left one is held is picked all the same.
  send(flags(KeyCode::rightCommand, ModifierFlag::command));
  EXPECT_EQ(h.app->settings.hotkey(), "right_cmd");
}

TEST_P(PickerTest, EscapeEndsTheCaptureWhateverModifiersAreHeld) {
  const std::string before = h.app->settings.hotkey();
  button().performClick();
  EXPECT_EQ(send(keyDown(KeyCode::escape, ModifierFlag::shift | ModifierFlag::command)),
            std::nullopt);
  EXPECT_EQ(button().title(), surface().escape);
  EXPECT_TRUE(popup().isEnabled());
  EXPECT_FALSE(h.app->hotkeyCaptureActive);
  EXPECT_EQ(h.app->settings.hotkey(), before);
  EXPECT_EQ(send(keyDown(0)), keyDown(0));  // the monitor is gone
  h.fake.dispatch.advance(1.0);
  expectAtRest();
}

TEST_P(PickerTest, OtherKeysFlashAndTheLastFlashDecidesTheReset) {
  button().performClick();
  EXPECT_EQ(send(keyDown(0)), std::nullopt);  // swallowed: typing reaches no control
  EXPECT_EQ(button().title(), surface().unsupported);
  h.fake.dispatch.advance(0.6);
  send(keyDown(1));  // a held key repeats the flash and pushes the reset back
  h.fake.dispatch.advance(0.6);
  EXPECT_EQ(button().title(), surface().unsupported);
  h.fake.dispatch.advance(0.4);
  // Back at rest, not waiting, though the capture goes on and the popup stays off.
  EXPECT_EQ(button().title(), surface().rest);
  EXPECT_FALSE(popup().isEnabled());
  EXPECT_TRUE(h.app->hotkeyCaptureActive);

  send(keyDown(2));
  button().performClick();  // a click during the flash cancels its reset
  h.fake.dispatch.advance(2.0);
  EXPECT_EQ(button().title(), surface().waiting);
  send(flags(KeyCode::rightOption, ModifierFlag::option));
  EXPECT_EQ(h.app->settings.hotkey(), "right_option");
}

TEST_P(PickerTest, ClosingTheSurfaceEndsTheCaptureWithNothingStored) {
  const std::string before = h.app->settings.hotkey();
  button().performClick();
  send(keyDown(0));
  closeSurface();
  expectAtRest();
  EXPECT_EQ(h.app->settings.hotkey(), before);
  h.fake.dispatch.advance(1.0);
  EXPECT_EQ(button().title(), surface().rest);
  EXPECT_EQ(h.fake.eventMonitors.localCount(), h.app->localMonitors.size());
}

TEST_P(PickerTest, PopupStoresTheChosenKey) {
  popup().choose(4);
  EXPECT_EQ(h.app->settings.hotkey(), "capslock");
  EXPECT_EQ(h.app->popoverVC->subtitleLabel.text(),
            "Hold Caps Lock to dictate \u00B7 release to transcribe");
  popup().choose(7);  // out of range: nothing
  EXPECT_EQ(h.app->settings.hotkey(), "capslock");
}

INSTANTIATE_TEST_SUITE_P(Surfaces, PickerTest, ::testing::ValuesIn(surfaces),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace murvel::testing

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fakes/FakeStores.h"
#include "stores/Settings.h"

namespace murvel::testing {
namespace {

class SettingsTest : public ::testing::Test {
 protected:
  SettingsTest() { settings.registerDefaults(); }
  void store(const char* key, PropertyValue value) { defaults.stored[key] = std::move(value); }

  FakeUserDefaults defaults;
  Settings settings{defaults};
};

TEST_F(SettingsTest, CleanupModeReadsNormalisedWithoutRewritingTheStore) {
  store("cleanupMode", " SMART\n");
  EXPECT_EQ(settings.cleanupMode(), "smart");
  EXPECT_EQ(defaults.stored["cleanupMode"], " SMART\n");

  // An unknown mode falls back on the older boolean, and a non-string counts as absent.
  store("cleanupMode", "turbo");
  store("aiCleanup", true);
  EXPECT_EQ(settings.cleanupMode(), "fast");
  store("aiCleanup", false);
  EXPECT_EQ(settings.cleanupMode(), "off");
  EXPECT_FALSE(settings.aiCleanup());
  store("cleanupMode", 3);
  store("aiCleanup", "yes");  // not a boolean: reads false
  EXPECT_EQ(settings.cleanupMode(), "off");
}

TEST_F(SettingsTest, CleanupModeWritesKeepTheBooleanInStep) {
  struct Case {
    const char* written;
    const char* stored;
    bool aiCleanup;
  };
  for (const Case& c :
       {Case{"off", "off", false}, Case{"fast", "fast", true}, Case{"smart", "smart", true},
        Case{"OFF", "smart", true}, Case{" fast", "smart", true}}) {
    settings.setCleanupMode(c.written);
    EXPECT_EQ(defaults.stored["cleanupMode"], c.stored) << c.written;
    EXPECT_EQ(defaults.stored["aiCleanup"], c.aiCleanup) << c.written;
  }
  settings.setCleanupMode("smart");
  settings.setAiCleanup(true);
  EXPECT_EQ(settings.cleanupMode(), "fast");
  settings.setAiCleanup(false);
  EXPECT_EQ(settings.cleanupMode(), "off");
}

TEST_F(SettingsTest, StoredBooleanWithoutAModeStillReadsTheRegisteredMode) {
  store("aiCleanup", false);
  EXPECT_EQ(settings.cleanupMode(), "fast");
}

TEST_F(SettingsTest, HotkeyAlwaysReadsASupportedToken) {
  store("hotkey", "  RIGHT_CMD ");
  EXPECT_EQ(settings.hotkey(), "right_cmd");
  store("hotkey", "left_cmd");
  EXPECT_EQ(settings.hotkey(), "fn");
  store("hotkey", true);
  EXPECT_EQ(settings.hotkey(), "fn");
  EXPECT_EQ(defaults.stored["hotkey"], true);  // reads never rewrite

  // A default that the platform registers holds only while nothing is stored.
  defaults.registerDefaults({{"hotkey", "right_ctrl"}});
  EXPECT_EQ(settings.hotkey(), "fn");
  defaults.stored.erase("hotkey");
  EXPECT_EQ(settings.hotkey(), "right_ctrl");
  store("hotkey", "capslock");
  EXPECT_EQ(settings.hotkey(), "capslock");
}

TEST_F(SettingsTest, TonesPassThroughAndAppTonesAreAllOrNothing) {
  settings.setDefaultTone("pirate");
  EXPECT_EQ(settings.defaultTone(), "pirate");

  settings.setAppTones({{"com.example.mail", "formal"}, {"com.example.chat", "casual"}});
  EXPECT_EQ(settings.appTones(),
            (AppTones{{"com.example.mail", "formal"}, {"com.example.chat", "casual"}}));
  store("appTones", PropertyValue{{"com.example.mail", "formal"}, {"com.example.chat", 2}});
  EXPECT_TRUE(settings.appTones().empty());
  store("appTones", PropertyValue::array({"formal"}));
  EXPECT_TRUE(settings.appTones().empty());
}

}  // namespace
}  // namespace murvel::testing

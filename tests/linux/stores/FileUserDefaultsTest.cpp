#include "platform/linux/stores/FileUserDefaults.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "TemporaryDirectory.h"
#include "common/Files.h"

namespace murvel::linux_platform {
namespace {

namespace fs = std::filesystem;

void writeBytes(const fs::path& file, const std::string& bytes) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << bytes;
}

class FileUserDefaultsTest : public ::testing::Test {
 protected:
  // The file as a later run reads it.
  PropertyValue onDisk() const { return PropertyValue::parse(readWholeFile(file_).value_or("")); }

  murvel::test::TemporaryDirectory temporary_;
  fs::path dir_ = temporary_.path();
  fs::path file_ = dir_ / "murvel" / "settings.json";
};

TEST_F(FileUserDefaultsTest, ValuesPersistAcrossInstancesWithTheirTypes) {
  const PropertyValue values = {{"cleanupMode", "smart"},
                                {"aiCleanup", true},
                                {"count", 42},
                                {"ratio", 0.5},
                                {"appTones", {{"org.example.Editor", "formal"}}},
                                {"list", PropertyValue::array({1, "two"})},
                                {"signedInEmail", "Grüße ✓"}};
  {
    FileUserDefaults defaults(file_);
    for (const auto& [key, value] : values.items()) defaults.setObject(value, key);
  }
  FileUserDefaults reopened(file_);
  for (const auto& [key, value] : values.items()) {
    const auto stored = reopened.persistentObject(key);
    ASSERT_TRUE(stored) << key;
    EXPECT_EQ(stored->dump(), value.dump());  // 42 is not 42.0, true is not 1
  }
  // A file a person can read and edit.
  const std::string text = readWholeFile(file_).value_or("");
  EXPECT_NE(text.find("\n  \"signedInEmail\": \"Grüße ✓\""), std::string::npos) << text;
  // The temporary file of each write was renamed over the settings file.
  EXPECT_EQ(std::distance(fs::directory_iterator(file_.parent_path()), {}), 1);
}

TEST_F(FileUserDefaultsTest, EditsByHandWhileRunningAreReadAndKeptByTheNextWrite) {
  FileUserDefaults defaults(file_);
  defaults.setObject("fast", "cleanupMode");
  writeBytes(file_, R"({"cleanupMode": "smart", "hotkey": "capslock"})");
  EXPECT_EQ(defaults.persistentObject("hotkey"), "capslock");
  // Edited again, and written before any read: the write starts from the file as it is.
  writeBytes(file_, R"({"cleanupMode": "off", "hotkey": "capslock", "defaultTone": "formal"})");
  defaults.setObject("2.3", "lastLaunchHintVersion");
  defaults.setObject(nullptr, "cleanupMode");  // null removes the key
  EXPECT_FALSE(defaults.persistentObject("cleanupMode"));
  EXPECT_EQ(onDisk(), PropertyValue({{"hotkey", "capslock"},
                                     {"defaultTone", "formal"},
                                     {"lastLaunchHintVersion", "2.3"}}));
  fs::remove(file_);
  EXPECT_FALSE(defaults.persistentObject("hotkey"));
}

TEST_F(FileUserDefaultsTest, UnreadableContentReadsEmptyAndIsKeptAsideByTheNextWrite) {
  for (const std::string bytes : {"garbage \x01\xff not json", "[\"cleanupMode\", \"smart\"]",
                                  "{\"cleanupMode\": \"smart\", \"hotkey\": \"ri"}) {
    SCOPED_TRACE(bytes);
    writeBytes(file_, bytes);
    FileUserDefaults defaults(file_);
    EXPECT_FALSE(defaults.persistentObject("cleanupMode"));
    EXPECT_EQ(readWholeFile(file_), bytes);
    defaults.setObject("off", "hotkey");
    EXPECT_EQ(onDisk(), PropertyValue({{"hotkey", "off"}}));
    EXPECT_EQ(readWholeFile(fs::path(file_) += ".invalid"), bytes);
  }
}

TEST_F(FileUserDefaultsTest, RegisteredDefaultsNeverReachTheFile) {
  FileUserDefaults defaults(file_);
  defaults.registerDefaults({{"aiCleanup", true}, {"cleanupMode", "fast"}});
  defaults.setObject("smart", "cleanupMode");
  EXPECT_EQ(onDisk(), PropertyValue({{"cleanupMode", "smart"}}));
}

TEST_F(FileUserDefaultsTest, IllFormedUtf8IsWrittenReplaced) {
  FileUserDefaults defaults(file_);
  defaults.setObject(std::string("bad \xff bytes"), "signedInEmail");
  defaults.setObject("x", std::string("key \xc3"));
  EXPECT_EQ(onDisk(), PropertyValue({{"signedInEmail", "bad \uFFFD bytes"}, {"key \uFFFD", "x"}}));
}

TEST_F(FileUserDefaultsTest, AFailedWriteKeepsTheValueForThisRun) {
  writeBytes(dir_ / "not-a-folder", "x");
  FileUserDefaults defaults(dir_ / "not-a-folder" / "settings.json");
  defaults.setObject("fn", "hotkey");
  EXPECT_EQ(defaults.persistentObject("hotkey"), "fn");
}

TEST_F(FileUserDefaultsTest, ASymlinkedFileStaysALink) {
  const fs::path real = dir_ / "dotfiles" / "murvel.json";
  writeBytes(real, "{\"hotkey\": \"capslock\"}");
  fs::create_symlink(real, dir_ / "link.json");
  FileUserDefaults(dir_ / "link.json").setObject("off", "cleanupMode");
  EXPECT_TRUE(fs::is_symlink(dir_ / "link.json"));
  EXPECT_EQ(PropertyValue::parse(readWholeFile(real).value_or("")),
            PropertyValue({{"hotkey", "capslock"}, {"cleanupMode", "off"}}));
}

TEST(FileUserDefaultsPathTest, DefaultPathFollowsTheXdgConfigHome) {
  const fs::path fallback = fs::path(std::getenv("HOME")) / ".config/murvel/com.murvel.mac.json";
  setenv("XDG_CONFIG_HOME", "/srv/conf", 1);
  EXPECT_EQ(FileUserDefaults::defaultPath(), "/srv/conf/murvel/com.murvel.mac.json");
  setenv("XDG_CONFIG_HOME", "relative/conf", 1);  // ignored, as the XDG rules say
  EXPECT_EQ(FileUserDefaults::defaultPath(), fallback);
  unsetenv("XDG_CONFIG_HOME");
  EXPECT_EQ(FileUserDefaults::defaultPath(), fallback);
}

}  // namespace
}  // namespace murvel::linux_platform

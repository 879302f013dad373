#include "platform/linux/stores/FileUserDefaults.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

namespace murvel::linux_platform {
namespace {

namespace fs = std::filesystem;

std::string readBytes(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeBytes(const fs::path& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
}

class FileUserDefaultsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "murvel-defaults.XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
    file_ = dir_ / "murvel" / "com.murvel.mac.json";
  }
  void TearDown() override { fs::remove_all(dir_); }

  // The file parsed again, as a later run would see it.
  PropertyValue fileContents() const { return PropertyValue::parse(readBytes(file_)); }

  fs::path dir_;
  fs::path file_;
};

TEST_F(FileUserDefaultsTest, ValuesPersistAcrossInstancesWithTheirTypes) {
  {
    FileUserDefaults defaults(file_);
    defaults.setObject("smart", "cleanupMode");
    defaults.setBool(true, "aiCleanup");
    defaults.setObject({{"org.example.Editor", "formal"}, {"org.example.Chat", "casual"}},
                       "appTones");
    defaults.setObject(PropertyValue::array({1, "two"}), "list");
    defaults.setObject(42, "count");
    defaults.setObject(0.5, "ratio");
    defaults.setObject("Grüße ✓", "signedInEmail");
  }
  FileUserDefaults reopened(file_);
  EXPECT_EQ(reopened.stringForKey("cleanupMode"), "smart");
  ASSERT_TRUE(reopened.persistentObject("aiCleanup"));
  EXPECT_TRUE(reopened.persistentObject("aiCleanup")->is_boolean());
  EXPECT_TRUE(reopened.boolForKey("aiCleanup"));
  auto tones = reopened.dictionaryForKey("appTones");
  ASSERT_TRUE(tones);
  EXPECT_EQ(*tones,
            PropertyValue({{"org.example.Editor", "formal"}, {"org.example.Chat", "casual"}}));
  EXPECT_EQ(reopened.persistentObject("list"), PropertyValue::array({1, "two"}));
  EXPECT_TRUE(reopened.persistentObject("count")->is_number_integer());
  EXPECT_EQ(reopened.persistentObject("count"), 42);
  EXPECT_EQ(reopened.persistentObject("ratio"), 0.5);
  EXPECT_EQ(reopened.stringForKey("signedInEmail"), "Grüße ✓");
  // A value of another type reads as absent through the typed reads.
  EXPECT_FALSE(reopened.stringForKey("aiCleanup"));
  EXPECT_FALSE(reopened.dictionaryForKey("cleanupMode"));
}

TEST_F(FileUserDefaultsTest, NullRemovesTheKeyFromMemoryAndFile) {
  FileUserDefaults defaults(file_);
  defaults.setObject("right_ctrl", "hotkey");
  defaults.setObject("auto", "defaultTone");
  defaults.setObject(nullptr, "hotkey");
  EXPECT_FALSE(defaults.persistentObject("hotkey"));
  EXPECT_EQ(fileContents(), PropertyValue({{"defaultTone", "auto"}}));
  EXPECT_FALSE(FileUserDefaults(file_).persistentObject("hotkey"));
}

TEST_F(FileUserDefaultsTest, FileIsIndentedUtf8JsonAndReplacedWithoutLeftovers) {
  FileUserDefaults defaults(file_);
  defaults.setObject("right_ctrl", "hotkey");
  defaults.setObject("Zoë", "signedInEmail");
  const std::string text = readBytes(file_);
  EXPECT_NE(text.find("\n  \"hotkey\": \"right_ctrl\""), std::string::npos) << text;
  EXPECT_NE(text.find("\"Zoë\""), std::string::npos) << text;  // not \u escapes
  EXPECT_EQ(text.back(), '\n');
  // Only the settings file is left in its folder: the temporary files were renamed over it.
  int entries = 0;
  for (const auto& entry : fs::directory_iterator(file_.parent_path())) {
    EXPECT_EQ(entry.path(), file_);
    ++entries;
  }
  EXPECT_EQ(entries, 1);
  // The folder is created private to the user.
  EXPECT_EQ(fs::status(file_.parent_path()).permissions() & fs::perms::all, fs::perms::owner_all);
}

TEST_F(FileUserDefaultsTest, MissingFileReadsEmptyAndNothingIsCreatedUntilAWrite) {
  const fs::path deep = dir_ / "a" / "b" / "settings.json";
  FileUserDefaults defaults(deep);
  EXPECT_FALSE(defaults.persistentObject("hotkey"));
  EXPECT_FALSE(fs::exists(dir_ / "a"));
  defaults.setObject("fn", "hotkey");
  EXPECT_EQ(PropertyValue::parse(readBytes(deep)), PropertyValue({{"hotkey", "fn"}}));
}

TEST_F(FileUserDefaultsTest, UnreadableContentReadsEmptyAndStaysUntilTheNextWrite) {
  const std::string contents[] = {
      "garbage \x01\xff not json",
      "[\"cleanupMode\", \"smart\"]",
      "{\"cleanupMode\": \"smart\", \"hotkey\": \"ri",
      "",
      "\"just a string\"",
      "{\"hotkey\": \"\xff\xfe\"}",
  };
  for (const std::string& bytes : contents) {
    SCOPED_TRACE(bytes);
    fs::create_directories(file_.parent_path());
    writeBytes(file_, bytes);
    FileUserDefaults defaults(file_);
    defaults.registerDefaults({{"cleanupMode", "fast"}});
    EXPECT_FALSE(defaults.persistentObject("cleanupMode"));
    EXPECT_EQ(defaults.stringForKey("cleanupMode"), "fast");
    EXPECT_FALSE(defaults.persistentObject("hotkey"));
    EXPECT_EQ(readBytes(file_), bytes);

    defaults.setObject("off", "cleanupMode");
    EXPECT_EQ(fileContents(), PropertyValue({{"cleanupMode", "off"}}));
  }
}

TEST_F(FileUserDefaultsTest, RegisteredDefaultsNeverReachTheFile) {
  {
    FileUserDefaults defaults(file_);
    defaults.registerDefaults({{"aiCleanup", true}, {"cleanupMode", "fast"}});
    defaults.setObject("right_alt", "hotkey");
    defaults.setObject("smart", "cleanupMode");
    EXPECT_EQ(defaults.stringForKey("cleanupMode"), "smart");  // a stored value wins
    EXPECT_TRUE(defaults.boolForKey("aiCleanup"));
  }
  EXPECT_EQ(fileContents(), PropertyValue({{"hotkey", "right_alt"}, {"cleanupMode", "smart"}}));
  FileUserDefaults reopened(file_);
  EXPECT_FALSE(reopened.boolForKey("aiCleanup"));
}

TEST_F(FileUserDefaultsTest, InvalidUtf8IsWrittenReplacedInsteadOfThrowing) {
  FileUserDefaults defaults(file_);
  defaults.setObject("fn", "hotkey");
  EXPECT_NO_THROW(defaults.setObject(std::string("bad \xff\xfe bytes"), "signedInEmail"));
  EXPECT_NO_THROW(defaults.setObject("x", std::string("key \xc3")));
  FileUserDefaults reopened(file_);
  EXPECT_EQ(reopened.stringForKey("hotkey"), "fn");
  EXPECT_EQ(reopened.stringForKey("signedInEmail"), "bad \xEF\xBF\xBD\xEF\xBF\xBD bytes");
}

TEST_F(FileUserDefaultsTest, AFailedWriteKeepsTheValueForThisRunAndThrowsNothing) {
  writeBytes(dir_ / "not-a-folder", "x");
  FileUserDefaults defaults(dir_ / "not-a-folder" / "settings.json");
  EXPECT_NO_THROW(defaults.setObject("fn", "hotkey"));
  EXPECT_EQ(defaults.stringForKey("hotkey"), "fn");
  EXPECT_EQ(readBytes(dir_ / "not-a-folder"), "x");
}

TEST_F(FileUserDefaultsTest, ASymlinkedFileStaysALink) {
  const fs::path real = dir_ / "dotfiles" / "murvel.json";
  fs::create_directories(real.parent_path());
  fs::create_directories(file_.parent_path());
  writeBytes(real, "{\"hotkey\": \"capslock\"}");
  fs::create_symlink(real, file_);
  FileUserDefaults defaults(file_);
  EXPECT_EQ(defaults.stringForKey("hotkey"), "capslock");
  defaults.setObject("off", "cleanupMode");
  EXPECT_TRUE(fs::is_symlink(file_));
  EXPECT_EQ(PropertyValue::parse(readBytes(real)),
            PropertyValue({{"hotkey", "capslock"}, {"cleanupMode", "off"}}));
}

TEST(FileUserDefaultsPathTest, DefaultPathFollowsTheXdgConfigHome) {
  const char* savedConfig = std::getenv("XDG_CONFIG_HOME");
  const std::optional<std::string> saved =
      savedConfig ? std::optional<std::string>(savedConfig) : std::nullopt;
  const fs::path home = std::getenv("HOME");

  setenv("XDG_CONFIG_HOME", "/srv/conf", 1);
  EXPECT_EQ(FileUserDefaults::defaultPath(), fs::path("/srv/conf/murvel/com.murvel.mac.json"));
  setenv("XDG_CONFIG_HOME", "relative/conf", 1);
  EXPECT_EQ(FileUserDefaults::defaultPath(), home / ".config/murvel/com.murvel.mac.json");
  unsetenv("XDG_CONFIG_HOME");
  EXPECT_EQ(FileUserDefaults::defaultPath(), home / ".config/murvel/com.murvel.mac.json");

  if (saved)
    setenv("XDG_CONFIG_HOME", saved->c_str(), 1);
}

}  // namespace
}  // namespace murvel::linux_platform

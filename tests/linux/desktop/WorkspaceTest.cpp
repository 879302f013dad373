#include <gtest/gtest.h>
#include <signal.h>

#include <QTest>
#include <memory>

#include "DesktopTestSupport.h"
#include "platform/linux/desktop/LinuxWorkspace.h"
#include "platform/linux/desktop/SingleInstance.h"

namespace murvel::linux_platform {
namespace {

using testing::ScopedEnv;

constexpr int deadlineMs = 10000;

class WorkspaceTest : public ::testing::Test {
 protected:
  static std::unique_ptr<SingleInstance> makeInstance() {
    const char* argv[] = {"murvel"};
    return std::make_unique<SingleInstance>(1, argv);
  }

  std::unique_ptr<SingleInstance> instance_ = makeInstance();
  LinuxWorkspace workspace_{*instance_};
  testing::FakeTools tools_;
};

TEST_F(WorkspaceTest, DirectoriesFollowTheXdgVariables) {
  ScopedEnv home("HOME", "/home/someone");
  // Empty and relative values are ignored, as the XDG rules say.
  for (const char* value : {"/srv/x", "", "relative/x", static_cast<const char*>(nullptr)}) {
    ScopedEnv tmp("TMPDIR", value);
    ScopedEnv data("XDG_DATA_HOME", value);
    const bool used = value && *value == '/';
    EXPECT_EQ(workspace_.temporaryDirectory(), used ? "/srv/x" : "/tmp");
    EXPECT_EQ(workspace_.applicationSupportDirectory(),
              used ? "/srv/x" : "/home/someone/.local/share");
  }
  ScopedEnv data("XDG_DATA_HOME", nullptr);
  ScopedEnv noHome("HOME", nullptr);
  EXPECT_EQ(workspace_.applicationSupportDirectory(), std::nullopt);
}

TEST_F(WorkspaceTest, WebPagesAndSoundSettingsOpenAndOtherUrlsAreRefused) {
  const std::string settings = "x-apple.systempreferences:com.apple.preference.security?Privacy_";
  for (const char* tool : {"xdg-open", "gnome-control-center", "pavucontrol"}) tools_.add(tool);
  const auto opens = [&](const std::string& url) {
    const qsizetype before = tools_.calls().size();
    return workspace_.openURL(url) &&
           QTest::qWaitFor([&] { return tools_.calls().size() > before; }, deadlineMs);
  };
  for (const std::string& refused : std::initializer_list<std::string>{
           "file:///etc/passwd", "javascript:alert(1)", "murvel://auth?x=y", "ftp://example.com/",
           "https:///no-host", "--help", "http://exa mple.com/", settings + "Accessibility"}) {
    EXPECT_FALSE(workspace_.openURL(refused)) << refused;
  }
  // One argument, with no shell in between to expand anything.
  const std::string page = "https://example.com/start?email=a%40b.c&x=$(id);";
  EXPECT_TRUE(opens(page));
  ScopedEnv desktop("XDG_CURRENT_DESKTOP", "XFCE");  // a mixer, though GNOME's panel is here
  EXPECT_TRUE(opens(settings + "Microphone"));
  EXPECT_EQ(tools_.calls(), QString::fromStdString("xdg-open " + page + "\npavucontrol\n"));
}

TEST_F(WorkspaceTest, ProgramsStartedForUrlsDoNotHoldTheInstanceLock) {
  tools_.add("xdg-open", "echo $$ >> '" + tools_.log() + "'\nexec sleep 30");
  ASSERT_TRUE(workspace_.openURL("https://example.com/"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return tools_.calls().count('\n') == 2; }, deadlineMs));
  instance_.reset();
  EXPECT_TRUE(makeInstance()->isPrimary()) << "the browser kept the lock of an ended instance";
  ::kill(tools_.calls().split('\n')[1].toInt(), SIGTERM);
}

}  // namespace
}  // namespace murvel::linux_platform

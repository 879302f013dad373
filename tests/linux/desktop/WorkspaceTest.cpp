#include <gtest/gtest.h>
#include <signal.h>

#include <QTest>
#include <memory>

#include "DesktopTestSupport.h"
#include "platform/linux/desktop/LinuxWorkspace.h"
#include "platform/linux/desktop/SingleInstance.h"

namespace murvel::linux_platform {
namespace {

using testing::FakeTools;
using testing::ScopedEnv;

constexpr int deadlineMs = 10000;
constexpr const char* microphoneSettings =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone";
constexpr const char* accessibilitySettings =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility";

class WorkspaceTest : public ::testing::Test {
 protected:
  static std::unique_ptr<SingleInstance> makeInstance() {
    const char* argv[] = {"murvel"};
    return std::make_unique<SingleInstance>(1, argv);
  }

  std::unique_ptr<SingleInstance> instance_ = makeInstance();
  LinuxWorkspace workspace_{*instance_};
};

TEST_F(WorkspaceTest, DirectoriesFollowTheXdgVariables) {
  {
    ScopedEnv tmp("TMPDIR", "/var/tmp/murvel-test");
    EXPECT_EQ(workspace_.temporaryDirectory(), "/var/tmp/murvel-test");
  }
  for (const char* unusable : {"", "relative/tmp"}) {
    ScopedEnv tmp("TMPDIR", QByteArray(unusable));
    EXPECT_EQ(workspace_.temporaryDirectory(), "/tmp") << unusable;
  }
  {
    ScopedEnv tmp("TMPDIR", std::nullopt);
    EXPECT_EQ(workspace_.temporaryDirectory(), "/tmp");
  }

  ScopedEnv home("HOME", "/home/someone");
  {
    ScopedEnv data("XDG_DATA_HOME", "/data/someone");
    EXPECT_EQ(workspace_.applicationSupportDirectory(), "/data/someone");
  }
  for (const char* unusable : {"", "relative/share"}) {
    ScopedEnv data("XDG_DATA_HOME", QByteArray(unusable));
    EXPECT_EQ(workspace_.applicationSupportDirectory(), "/home/someone/.local/share") << unusable;
  }
  ScopedEnv noData("XDG_DATA_HOME", std::nullopt);
  EXPECT_EQ(workspace_.applicationSupportDirectory(), "/home/someone/.local/share");
  ScopedEnv noHome("HOME", std::nullopt);
  EXPECT_EQ(workspace_.applicationSupportDirectory(), std::nullopt);
}

TEST_F(WorkspaceTest, WebPagesGoToTheBrowserVerbatimAndOtherUrlsAreRefused) {
  FakeTools tools;
  tools.add("xdg-open");
  for (const char* refused :
       {"file:///etc/passwd", "javascript:alert(1)", "murvel://auth?login_token=x",
        "ftp://example.com/", "http://", "https:///no-host", "", "--help", "xdg-open",
        "http://exa mple.com/", "x-apple.systempreferences:com.apple.preference.security"}) {
    EXPECT_FALSE(workspace_.openURL(refused)) << refused;
  }

  // Handed over as one argument, with no shell in between to expand anything.
  const std::string page =
      "https://example.com/api/auth/start?email=a%40b.c&redirect_uri=murvel%3A%2F%2Fauth&x=$(id);";
  EXPECT_TRUE(workspace_.openURL(page));
  ASSERT_TRUE(QTest::qWaitFor([&] { return !tools.calls().isEmpty(); }, deadlineMs));
  EXPECT_EQ(tools.calls(), QStringList{QString::fromStdString("xdg-open " + page)});
}

TEST_F(WorkspaceTest, PrivacyLinksOpenTheDesktopsNearestSettings) {
  FakeTools tools;
  tools.add("gnome-control-center");
  tools.add("pavucontrol");
  {
    ScopedEnv desktop("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
    EXPECT_TRUE(workspace_.openURL(microphoneSettings));
    ASSERT_TRUE(QTest::qWaitFor([&] { return tools.calls().size() == 1; }, deadlineMs));
  }
  {
    ScopedEnv desktop("XDG_CURRENT_DESKTOP", "XFCE");
    EXPECT_TRUE(workspace_.openURL(microphoneSettings));
    ASSERT_TRUE(QTest::qWaitFor([&] { return tools.calls().size() == 2; }, deadlineMs));
  }
  EXPECT_EQ(tools.calls(), (QStringList{"gnome-control-center sound", "pavucontrol"}));

  // Nothing on this desktop grants listening to keys; the link opens nothing.
  EXPECT_FALSE(workspace_.openURL(accessibilitySettings));
}

TEST_F(WorkspaceTest, ProgramsStartedForUrlsDoNotHoldTheInstanceLock) {
  FakeTools tools;
  const QString pidFile = tools.logPath() + ".pid";
  tools.add("xdg-open", QStringLiteral("echo $$ > '%1'\nexec sleep 30").arg(pidFile));
  ASSERT_TRUE(workspace_.openURL("https://example.com/"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return QFile(pidFile).size() > 0; }, deadlineMs));

  instance_.reset();
  const auto next = makeInstance();
  EXPECT_TRUE(next->isPrimary()) << "the browser kept the lock of an instance that has ended";

  QFile file(pidFile);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  ::kill(file.readAll().trimmed().toInt(), SIGTERM);
}

}  // namespace
}  // namespace murvel::linux_platform

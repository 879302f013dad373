#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QLocalSocket>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <filesystem>
#include <fstream>

#include "DesktopTestSupport.h"

#include "platform/linux/desktop/InstanceLock.h"
#include "platform/linux/desktop/LinuxUrlEvents.h"
#include "platform/linux/desktop/SingleInstance.h"

namespace murvel::linux_platform {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr int deadlineMs = 10000;

TEST(SingleInstance, SimultaneousStartsLeaveExactlyOneRunning) {
  QProcess probes[4];
  for (QProcess& probe : probes)
    probe.start(QCoreApplication::applicationFilePath(), {"--instance"});
  int running = 0;
  for (QProcess& probe : probes) {
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return probe.canReadLine() || probe.state() == QProcess::NotRunning; }, deadlineMs));
    running += probe.state() == QProcess::NotRunning ? 0 : 1;
  }
  EXPECT_EQ(running, 1);
  for (QProcess& probe : probes) probe.close();
}

TEST(SingleInstance, HostileInputOnTheSocketIsDroppedAndServingGoesOn) {
  const char* argv[] = {"murvel"};
  SingleInstance instance(1, argv);
  ASSERT_TRUE(instance.isPrimary());
  std::vector<std::string> received;
  instance.setUrlReceiver([&](const std::string& url) { received.push_back(url); });
  const QString server = QString::fromStdString(instance.serverName());
  // Whether the instance takes `bytes` on a connection of their own and then closes it.
  const auto send = [&](const QByteArray& bytes) {
    QLocalSocket socket;
    socket.connectToServer(server);
    return socket.waitForConnected(deadlineMs) && socket.write(bytes) == bytes.size() &&
           QTest::qWaitFor([&] { return socket.state() == QLocalSocket::UnconnectedState; },
                           deadlineMs);
  };
  // A peer that connects and says nothing holds up nobody.
  QLocalSocket idle;
  idle.connectToServer(server);
  ASSERT_TRUE(idle.waitForConnected(deadlineMs));

  const QByteArray huge = "murvel://auth?login_token="_ba + QByteArray(1 << 20, 'a');
  for (const QByteArray& hostile :
       {huge + "\n", huge, "https://example.com/?login_token=x\n"_ba,
        "murvel://auth?login_token=\0\x01\x7f\n"_ba, "murvel://auth?login_token=\xff\xfe\n"_ba,
        "\x00\x9f\x92\x96\n\x00"_ba}) {
    EXPECT_TRUE(send(hostile)) << hostile.left(40).toStdString();
  }
  EXPECT_TRUE(received.empty());
  EXPECT_TRUE(send("murvel://auth?login_token=ok\nmurvel://auth?login_token=second\n"));
  EXPECT_EQ(received, std::vector<std::string>{"murvel://auth?login_token=ok"});
}

// Where the lock may live, by how the environment stands. "-" names no place: then no copy
// starts at all.
struct PlaceCase {
  std::string name;
  std::string runtime;   // XDG_RUNTIME_DIR: "private", "open" (mode 0777), "link", "" unset
  std::string state;     // "home" (~/.local/state), "xdg" (XDG_STATE_HOME), "link", "open",
                         // "no home" (HOME is a file)
  std::string expected;  // "runtime", "state" or "-"
  friend void PrintTo(const PlaceCase& c, std::ostream* out) { *out << c.name; }
};

class LockPlaceTest : public ::testing::TestWithParam<PlaceCase> {};

TEST_P(LockPlaceTest, LockLivesOnlyInAPlaceOfTheUsersOwn) {
  const PlaceCase& c = GetParam();
  QTemporaryDir root;
  const std::filesystem::path base = root.path().toStdString();
  const auto makeDirectory = [](const std::filesystem::path& path, std::filesystem::perms mode) {
    std::filesystem::create_directories(path);
    std::filesystem::permissions(path, mode);
  };
  makeDirectory(base / "private", std::filesystem::perms::owner_all);
  std::filesystem::path runtime = base / "private";
  if (c.runtime == "open") {
    runtime = base / "open";
    makeDirectory(runtime, std::filesystem::perms::all);
  } else if (c.runtime == "link") {
    runtime = base / "link";
    std::filesystem::create_directory_symlink(base / "private", runtime);
  }
  std::filesystem::path home = base / "home";
  std::filesystem::path state = home / ".local/state";
  if (c.state == "xdg") {
    state = base / "xdg-state";
  } else if (c.state == "link") {
    std::filesystem::create_directories(state);
    std::filesystem::create_directory_symlink(base / "private", state / "murvel");
  } else if (c.state == "open") {
    makeDirectory(state / "murvel", std::filesystem::perms::owner_all |
                                        std::filesystem::perms::group_read |
                                        std::filesystem::perms::others_read);
  } else if (c.state == "no home") {
    std::ofstream(home) << "not a directory";
  }
  testing::ScopedEnv runtimeVariable("XDG_RUNTIME_DIR",
                                     c.runtime.empty() ? nullptr : runtime.c_str());
  testing::ScopedEnv stateVariable("XDG_STATE_HOME", c.state == "xdg" ? state.c_str() : nullptr);
  testing::ScopedEnv homeVariable("HOME", home.c_str());

  const std::optional<std::filesystem::path> expected =
      c.expected == "runtime" ? std::optional(runtime)
      : c.expected == "state" ? std::optional(state / "murvel")
                              : std::nullopt;
  EXPECT_EQ(privateRuntimeDirectory(), expected);
  const char* argv[] = {"murvel"};
  SingleInstance instance(1, argv);
  EXPECT_EQ(instance.isPrimary(), expected.has_value());
  if (expected) {
    EXPECT_TRUE(instance.serverName().starts_with(expected->string() + "/"));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Places, LockPlaceTest,
    ::testing::Values(PlaceCase{"PrivateRuntimeDirectory", "private", "home", "runtime"},
                      PlaceCase{"OpenRuntimeDirectory", "open", "home", "state"},
                      PlaceCase{"RuntimeDirectoryThroughALink", "link", "home", "state"},
                      PlaceCase{"NoRuntimeDirectory", "", "xdg", "state"},
                      PlaceCase{"StateDirectoryThroughALink", "", "link", "-"},
                      PlaceCase{"StateDirectoryOpenToOthers", "", "open", "-"},
                      PlaceCase{"NoHome", "", "no home", "-"}),
    [](const auto& info) { return info.param.name; });

TEST(UrlEvents, TheLaunchUrlReachesAHandlerSetLaterExactlyOnce) {
  const char* argv[] = {"murvel", "--flag", "murvel://auth?login_token=launch", "file:///x"};
  SingleInstance instance(4, argv);
  LinuxUrlEvents urlEvents(instance);
  QTest::qWait(50);  // turns of the event loop with no handler lose nothing

  std::vector<std::string> received;
  const auto handler = [&](const UrlEvent& event) {
    received.push_back(event.directObjectString.value_or(""));
  };
  urlEvents.setEventHandler(handler);
  EXPECT_TRUE(received.empty()) << "delivered from inside setEventHandler";
  ASSERT_TRUE(QTest::qWaitFor([&] { return !received.empty(); }, deadlineMs));
  urlEvents.setEventHandler(handler);  // a new handler does not get it again
  QTest::qWait(50);
  EXPECT_EQ(received, std::vector<std::string>{"murvel://auth?login_token=launch"});
}

}  // namespace
}  // namespace murvel::linux_platform

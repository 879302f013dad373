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
  std::vector<HotkeyCommand> commands;
  instance.setHotkeyReceiver([&](HotkeyCommand command) { commands.push_back(command); });
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
        "\x00\x9f\x92\x96\n\x00"_ba, "hotkey jump\n"_ba, "hotkey press now\n"_ba,
        "HOTKEY press\n"_ba, "hotkey press"_ba, "hotkey murvel://auth?login_token=x\n"_ba}) {
    EXPECT_TRUE(send(hostile)) << hostile.left(40).toStdString();
  }
  EXPECT_TRUE(received.empty());
  EXPECT_TRUE(commands.empty());
  EXPECT_TRUE(send("murvel://auth?login_token=ok\nmurvel://auth?login_token=second\n"));
  EXPECT_EQ(received, std::vector<std::string>{"murvel://auth?login_token=ok"});
  EXPECT_TRUE(send("hotkey release\nhotkey press\n"));
  EXPECT_EQ(commands, std::vector<HotkeyCommand>{HotkeyCommand::release});
}

// Where the lock may live as the environment stands. Under a fresh root lie "private", a
// directory of mode 0700, and the row's one entry; HOME is "home". No expected place: no copy
// starts at all.
enum class Entry { privateDirectory, openDirectory, linkToPrivate, file };

struct PlaceCase {
  std::string name;
  std::string entry;  // where the entry lies
  Entry kind;
  std::string runtime;    // XDG_RUNTIME_DIR; unset when empty
  std::string stateHome;  // XDG_STATE_HOME; unset when empty
  std::string expected;
  friend void PrintTo(const PlaceCase& c, std::ostream* out) { *out << c.name; }
};

class LockPlaceTest : public ::testing::TestWithParam<PlaceCase> {};

TEST_P(LockPlaceTest, LockLivesOnlyInAPlaceOfTheUsersOwn) {
  namespace fs = std::filesystem;
  const PlaceCase& c = GetParam();
  QTemporaryDir root;
  const fs::path base = root.path().toStdString(), entry = base / c.entry;
  fs::create_directories(entry.parent_path());
  fs::create_directory(base / "private");
  fs::permissions(base / "private", fs::perms::owner_all);
  if (c.kind == Entry::linkToPrivate) {
    fs::create_directory_symlink(base / "private", entry);
  } else if (c.kind == Entry::file) {
    std::ofstream(entry) << "not a directory";
  } else {
    fs::create_directory(entry);
    fs::permissions(entry, c.kind == Entry::openDirectory ? fs::perms::all : fs::perms::owner_all);
  }
  const auto under = [&](const std::string& path) {
    return path.empty() ? std::string() : (base / path).string();
  };
  const std::string runtime = under(c.runtime), state = under(c.stateHome);
  testing::ScopedEnv runtimeVariable("XDG_RUNTIME_DIR",
                                     runtime.empty() ? nullptr : runtime.c_str());
  testing::ScopedEnv stateVariable("XDG_STATE_HOME", state.empty() ? nullptr : state.c_str());
  testing::ScopedEnv homeVariable("HOME", (base / "home").c_str());

  const std::string expected = under(c.expected);
  EXPECT_EQ(privateRuntimeDirectory().value_or("").string(), expected);
  const char* argv[] = {"murvel"};
  SingleInstance instance(1, argv);
  EXPECT_EQ(instance.isPrimary(), !expected.empty());
  if (!expected.empty()) {
    EXPECT_TRUE(instance.serverName().starts_with(expected + "/"));
  }
}

constexpr const char* stateDirectory = "home/.local/state/murvel";

INSTANTIATE_TEST_SUITE_P(
    Places, LockPlaceTest,
    ::testing::Values(
        PlaceCase{"PrivateRuntimeDirectory", "run", Entry::privateDirectory, "run", "", "run"},
        PlaceCase{"OpenRuntimeDirectory", "run", Entry::openDirectory, "run", "", stateDirectory},
        PlaceCase{"RuntimeDirectoryThroughALink", "run", Entry::linkToPrivate, "run", "",
                  stateDirectory},
        PlaceCase{"XdgStateHome", "state", Entry::privateDirectory, "", "state", "state/murvel"},
        PlaceCase{"StateDirectoryThroughALink", stateDirectory, Entry::linkToPrivate, "", "", ""},
        PlaceCase{"StateDirectoryOpenToOthers", stateDirectory, Entry::openDirectory, "", "", ""},
        PlaceCase{"NoHome", "home", Entry::file, "", "", ""}),
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

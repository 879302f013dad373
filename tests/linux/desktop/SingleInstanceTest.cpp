#include <gtest/gtest.h>
#include <signal.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QLocalSocket>
#include <QProcess>
#include <QTest>
#include <memory>

#include "platform/linux/desktop/LinuxUrlEvents.h"
#include "platform/linux/desktop/SingleInstance.h"

namespace murvel::linux_platform {
namespace {

constexpr int deadlineMs = 10000;

// The bytes of a literal, NULs included.
template <std::size_t size>
QByteArray bytes(const char (&text)[size]) {
  return QByteArray(text, size - 1);
}

// A Murvel start-up in a process of its own (see instance_probe.cpp).
class Probe {
 public:
  explicit Probe(QStringList arguments = {}) {
    process_.start(MURVEL_INSTANCE_PROBE, arguments);
    EXPECT_TRUE(process_.waitForStarted(deadlineMs));
  }
  ~Probe() {
    if (process_.state() != QProcess::NotRunning) {
      process_.terminate();
      process_.waitForFinished(deadlineMs);
    }
  }

  // The next line of output, or nothing if none comes before the deadline.
  std::optional<QString> nextLine() {
    QDeadlineTimer deadline(deadlineMs);
    while (!process_.canReadLine()) {
      if (process_.state() == QProcess::NotRunning || deadline.hasExpired())
        return std::nullopt;
      process_.waitForReadyRead(static_cast<int>(deadline.remainingTime()));
    }
    return QString::fromUtf8(process_.readLine()).trimmed();
  }
  // Whether this probe became the running instance.
  bool isReady() {
    const auto line = nextLine();
    return line && line->startsWith("ready ");
  }
  bool endsQuietly() {
    return process_.waitForFinished(deadlineMs) && process_.exitStatus() == QProcess::NormalExit &&
           process_.exitCode() == 0 && process_.readAllStandardOutput().isEmpty();
  }
  void kill() {
    ::kill(static_cast<pid_t>(process_.processId()), SIGKILL);
    process_.waitForFinished(deadlineMs);
  }

 private:
  QProcess process_;
};

TEST(SingleInstanceProcesses, LaterProcessesHandTheirUrlsToTheRunningOneAndEnd) {
  Probe first;
  ASSERT_TRUE(first.isReady());

  Probe second({"murvel://auth?login_token=abc"});
  EXPECT_TRUE(second.endsQuietly());
  EXPECT_EQ(first.nextLine(), "url murvel://auth?login_token=abc");

  // Only murvel: URLs travel; the running instance keeps serving later processes.
  Probe third({"--verbose", "https://example.com/", "murvel://auth?login_token=def"});
  EXPECT_TRUE(third.endsQuietly());
  EXPECT_EQ(first.nextLine(), "url murvel://auth?login_token=def");
}

TEST(SingleInstanceProcesses, AKilledInstanceLeavesNothingThatBlocksTheNext) {
  {
    Probe crashed;
    ASSERT_TRUE(crashed.isReady());
    crashed.kill();
  }
  Probe next;
  ASSERT_TRUE(next.isReady());
  Probe later({"murvel://auth?login_token=after-crash"});
  EXPECT_TRUE(later.endsQuietly());
  EXPECT_EQ(next.nextLine(), "url murvel://auth?login_token=after-crash");
}

TEST(SingleInstanceProcesses, SimultaneousStartsLeaveExactlyOneRunning) {
  std::vector<std::unique_ptr<Probe>> probes;
  for (int i = 0; i < 4; ++i) probes.push_back(std::make_unique<Probe>());
  int running = 0;
  for (auto& probe : probes) running += probe->isReady() ? 1 : 0;
  EXPECT_EQ(running, 1);
}

// What the running instance delivers, in this process.
class PrimaryInProcess : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* argv[] = {"murvel"};
    instance_ = std::make_unique<SingleInstance>(1, argv);
    ASSERT_TRUE(instance_->isPrimary());
    instance_->setUrlReceiver([this](const std::string& url) { received_.push_back(url); });
  }

  // Sends `bytes` and waits until the instance has closed the connection.
  void sendAndWaitForClose(const QByteArray& bytes) {
    QLocalSocket socket;
    socket.connectToServer(QString::fromStdString(instance_->serverName()));
    ASSERT_TRUE(socket.waitForConnected(deadlineMs));
    socket.write(bytes);
    EXPECT_TRUE(QTest::qWaitFor([&] { return socket.state() == QLocalSocket::UnconnectedState; },
                                deadlineMs))
        << bytes.left(40).toStdString();
  }

  std::unique_ptr<SingleInstance> instance_;
  std::vector<std::string> received_;
};

TEST_F(PrimaryInProcess, HostileInputOnTheSocketIsDroppedAndServingGoesOn) {
  // A peer that connects and says nothing holds up nobody.
  QLocalSocket idle;
  idle.connectToServer(QString::fromStdString(instance_->serverName()));
  ASSERT_TRUE(idle.waitForConnected(deadlineMs));

  sendAndWaitForClose("murvel://auth?login_token=" + QByteArray(1 << 20, 'a') + "\n");
  sendAndWaitForClose("murvel://auth?login_token=" + QByteArray(1 << 20, 'a'));
  sendAndWaitForClose("https://example.com/?login_token=x\n");
  sendAndWaitForClose(bytes("murvel://auth?login_token=\0\x01\x7f\n"));
  sendAndWaitForClose("murvel://auth?login_token=\xff\xfe\n");
  sendAndWaitForClose(bytes("\x00\x9f\x92\x96\n\x00"));
  EXPECT_TRUE(received_.empty());

  sendAndWaitForClose("murvel://auth?login_token=ok\nmurvel://auth?login_token=second\n");
  EXPECT_EQ(received_, std::vector<std::string>{"murvel://auth?login_token=ok"});
}

TEST(UrlEvents, TheLaunchUrlReachesAHandlerSetLaterExactlyOnce) {
  const char* argv[] = {"murvel", "--flag", "murvel://auth?login_token=launch",
                        "file:///etc/passwd"};
  SingleInstance instance(4, argv);
  ASSERT_TRUE(instance.isPrimary());
  LinuxUrlEvents urlEvents(instance);
  QTest::qWait(50);

  std::vector<std::string> first;
  std::vector<std::string> second;
  urlEvents.setEventHandler(
      [&](const UrlEvent& event) { first.push_back(event.directObjectString.value_or("")); });
  EXPECT_TRUE(first.empty()) << "delivered from inside setEventHandler";
  ASSERT_TRUE(QTest::qWaitFor([&] { return !first.empty(); }, deadlineMs));

  urlEvents.setEventHandler(
      [&](const UrlEvent& event) { second.push_back(event.directObjectString.value_or("")); });
  QTest::qWait(50);
  EXPECT_EQ(first, std::vector<std::string>{"murvel://auth?login_token=launch"});
  EXPECT_TRUE(second.empty());
}

}  // namespace
}  // namespace murvel::linux_platform

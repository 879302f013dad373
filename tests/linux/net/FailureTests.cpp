#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "NetTestSupport.h"
#include "RawHttpServer.h"

namespace murvel::test {
namespace {

using linux_platform::UrlErrorCode;
using FailureTest = NetTest;

TEST_F(FailureTest, AClosedPortFailsWithAReadableError) {
  // A port that is bound but not listening: nothing else can take it, and it refuses.
  const int holder = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  socklen_t length = sizeof address;
  ASSERT_EQ(bind(holder, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(getsockname(holder, reinterpret_cast<sockaddr*>(&address), &length), 0);
  const std::string url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";

  // The session waits 30 s for data, twice as long as the log waits: only a refusal ends it.
  const Outcome outcome = log.run(session->dataTask(makeRequest(url, "HEAD"), log.record()));
  close(holder);

  expectError(outcome, UrlErrorCode::cannotConnectToHost, "Could not connect to the server.");
}

// A listener of user `nobody` in a child process: it writes its port, then the number of bytes
// the first connection brought once that connection ends or stays silent for a second.
pid_t listenAsAnotherUser(int report) {
  const pid_t child = fork();
  if (child != 0)
    return child;
  // The socket belongs to whoever makes it: become that user first.
  if (setgid(65534) != 0 || setuid(65534) != 0)
    _exit(1);
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener, 4) != 0 ||
      getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0)
    _exit(1);
  int value = ntohs(address.sin_port);
  static_cast<void>(write(report, &value, sizeof value));
  const int connection = accept(listener, nullptr, nullptr);
  char buffer[4096];
  int received = 0;
  pollfd readable{connection, POLLIN, 0};
  for (ssize_t n;
       poll(&readable, 1, 1000) == 1 && (n = read(connection, buffer, sizeof buffer)) > 0;) {
    received += static_cast<int>(n);
    static const char reply[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}";
    static_cast<void>(write(connection, reply, sizeof reply - 1));
  }
  static_cast<void>(write(report, &received, sizeof received));
  _exit(0);
}

TEST_F(FailureTest, AServiceOfAnotherUserOnThisComputerIsSentNothing) {
  if (geteuid() != 0)
    GTEST_SKIP() << "only root can listen as another user";
  int report[2];
  ASSERT_EQ(pipe(report), 0);
  const pid_t child = listenAsAnotherUser(report[1]);
  int port = 0;
  ASSERT_EQ(read(report[0], &port, sizeof port), static_cast<ssize_t>(sizeof port));

  const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/api/transcribe";
  const Outcome outcome =
      log.run(session->dataTask(makeRequest(url, "POST", {}, "my words"), log.record()));
  int received = -1;
  pollfd ready{report[0], POLLIN, 0};
  if (poll(&ready, 1, 10000) == 1)
    static_cast<void>(read(report[0], &received, sizeof received));
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  close(report[0]);
  close(report[1]);

  expectError(outcome, UrlErrorCode::serviceOfAnotherUser,
              "The service at this address on your computer is not run by you, so Murvel sends "
              "it nothing.");
  EXPECT_EQ(received, 0);
}

TEST_F(FailureTest, ErrorStatusesStillDeliverTheBodyAndTheStatus) {
  for (const auto& [status, body] : {std::pair{401, R"({"error":"Sign in again."})"}, {503, ""}}) {
    RawHttpServer server({.status = status, .body = body});
    const Outcome outcome = log.run(
        session->dataTask(makeRequest(server.url("/api/cleanup"), "POST", {}, "{}"), log.record()));
    EXPECT_FALSE(outcome.error);
    ASSERT_TRUE(outcome.response);
    EXPECT_EQ(outcome.response->statusCode, status);
    EXPECT_EQ(outcome.data, body);
  }
}

struct TimingCase {
  const char* name;
  RawHttpServer::Reply reply;  // a trickle sends one byte every 100 ms
  std::string body;
  double sessionTimeout;
  double resourceTimeout;
  double requestTimeout;
  bool timesOut;
  friend void PrintTo(const TimingCase& c, std::ostream* out) { *out << c.name; }
};

class TimingTest : public NetTest, public ::testing::WithParamInterface<TimingCase> {};

TEST_P(TimingTest, EndsInTheTimeoutErrorOnlyWhenALimitIsReached) {
  const TimingCase& c = GetParam();
  RawHttpServer server({.reply = c.reply, .body = c.body});
  session = sessions.sessionWithConfiguration(configuration(c.sessionTimeout, c.resourceTimeout));
  UrlRequest request = makeRequest(server.url("/api/account/info"), "GET");
  request.timeoutInterval = c.requestTimeout;

  const Outcome outcome = log.run(session->dataTask(request, log.record()));

  if (c.timesOut)
    expectError(outcome, UrlErrorCode::timedOut, "The request timed out.");
  else
    EXPECT_TRUE(!outcome.error && outcome.data == c.body);
  EXPECT_EQ(server.requests().size(), 1u);
}

constexpr auto kNever = RawHttpServer::Reply::never;
constexpr auto kTrickle = RawHttpServer::Reply::trickle;
constexpr double kWeek = 7 * 86400.0;

INSTANTIATE_TEST_SUITE_P(
    Limits, TimingTest,
    ::testing::Values(
        // Whichever of the session's and the request's limits is smaller applies.
        TimingCase{"RequestsLimit", kNever, "{}", 30.0, kWeek, 0.3, true},
        TimingCase{"SessionsLimit", kNever, "{}", 0.3, kWeek, 60.0, true},
        // 1.5 s in all, never more than 0.1 s without data.
        TimingCase{"SilenceNotTotalTime", kTrickle, "{\"text\":\"ok!\"}", 1.0, kWeek, 60.0, false},
        // The resource limit ends a task that keeps moving.
        TimingCase{"ResourceLimit", kTrickle, std::string(40, 'x'), 30.0, 0.5, 60.0, true}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace murvel::test

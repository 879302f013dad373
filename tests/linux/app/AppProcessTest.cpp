#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "RawHttpServer.h"
#include "common/Files.h"

namespace murvel::testing {
namespace {

using Server = murvel::test::RawHttpServer;
using murvel::test::waitFor;
using namespace std::chrono_literals;

// A copy of Murvel started as a separate process.
class MurvelProcess : public test::ChildProcess {
 public:
  explicit MurvelProcess(const std::string& argument = {})
      : ChildProcess(argument.empty() ? std::vector<std::string>{MURVEL_UNDER_TEST}
                                      : std::vector<std::string>{MURVEL_UNDER_TEST, argument}) {}
  // The command line as other processes of the machine can read it.
  std::string commandLine() const {
    return readWholeFile("/proc/" + std::to_string(pid()) + "/cmdline").value_or("");
  }
};

// The service at the address the app under test was built with.
class AppProcessTest : public ::testing::Test {
 protected:
  AppProcessTest()
      : service_(
            [this](const Server::Request& request) {
              if (request.requestLine.starts_with("POST /api/auth/exchange")) {
                if (holdExchanges_)
                  return Server::Answer{200, "", Server::Reply::never};
                return Server::Answer{200, R"({"access_key":"key-from-link","email":"a@b.c"})"};
              }
              return Server::Answer{200, "{}"};
            },
            MURVEL_TEST_SERVICE_PORT) {}

  std::vector<std::string> exchangedBodies() const {
    std::vector<std::string> bodies;
    for (const auto& request : service_.requests("POST /api/auth/exchange"))
      bodies.push_back(request.body);
    return bodies;
  }
  // Launch is done once the app has warmed its connection to the service.
  bool launched() const { return service_.waitForRequest("HEAD /api/health"); }

  std::atomic<bool> holdExchanges_{false};
  Server service_;
};

TEST_F(AppProcessTest, LinkThatStartsTheAppIsExchangedAndAQuitMidExchangeIsClean) {
  holdExchanges_ = true;
  MurvelProcess first("murvel://auth?login_token=at-start");
  ASSERT_TRUE(waitFor([&] { return exchangedBodies().size() == 1; }));
  EXPECT_EQ(exchangedBodies()[0], R"({"login_token":"at-start"})");
  // The token was read, and is no longer there for other local users to read.
  EXPECT_THAT(first.commandLine(), ::testing::Not(::testing::HasSubstr("at-start")));
  // The service still holds the exchange open: the quit cancels it, and nothing it completes
  // reaches a part already torn down (a sanitizer report would end the process otherwise).
  first.signal(SIGTERM);
  EXPECT_EQ(first.waitForExit(5s), 0);
}

TEST_F(AppProcessTest, KilledInstanceLeavesNothingThatBlocksTheNext) {
  {
    MurvelProcess crashed;
    ASSERT_TRUE(launched());
    crashed.signal(SIGKILL);
    ASSERT_TRUE(crashed.waitForExit(5s));
  }
  MurvelProcess next;
  std::this_thread::sleep_for(500ms);
  ASSERT_TRUE(next.running());  // not taken for a second copy
  MurvelProcess linker("murvel://auth?login_token=after-crash");
  EXPECT_EQ(linker.waitForExit(5s), 0);
  ASSERT_TRUE(waitFor([&] { return exchangedBodies().size() == 1; }));
  EXPECT_EQ(exchangedBodies()[0], R"({"login_token":"after-crash"})");
}

}  // namespace
}  // namespace murvel::testing

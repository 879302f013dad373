#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <regex>

#include "ChildProcess.h"
#include "ServiceTestSupport.h"

namespace murvel::cloud::test {
namespace {

using ::testing::HasSubstr;
using namespace std::chrono_literals;

// murvel-cloud as its own process, with standard output and error in `log`.
class CloudProcess : public murvel::test::ChildProcess {
 public:
  CloudProcess(std::vector<std::string> arguments, const std::filesystem::path& log)
      : ChildProcess(withProgram(std::move(arguments)), log) {}

  // The port it reports once it listens; 0 if it never does.
  int port() {
    static const std::regex listening("listening on http://127\\.0\\.0\\.1:([0-9]+)/api");
    std::smatch match;
    std::string said;
    murvel::test::waitFor(
        [&] { return std::regex_search(said = log(), match, listening) || !running(); }, 60s);
    return match.empty() ? 0 : std::stoi(match[1]);
  }
  // The exit status, or 128 + the signal that ended it; -1 if it never ends.
  int exitStatus() { return waitForExit(60s).value_or(-1); }

 private:
  static std::vector<std::string> withProgram(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), MURVEL_CLOUD);
    return arguments;
  }
};

struct CommandCase {
  std::vector<std::string> arguments;
  int status;
  std::string says;
};

class CommandLineTest : public ::testing::TestWithParam<CommandCase> {};

TEST_P(CommandLineTest, AnswersAndEndsWithoutServing) {
  murvel::test::TemporaryDirectory directory;
  CloudProcess process(GetParam().arguments, directory.path() / "output");
  EXPECT_EQ(process.exitStatus(), GetParam().status);
  EXPECT_THAT(process.log(), HasSubstr(GetParam().says));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, CommandLineTest,
    ::testing::Values(CommandCase{{"--help"}, 0, "Smart cleanup is rule-based"},
                      CommandCase{{"--version"}, 0, "murvel-cloud "},
                      CommandCase{{"--colour"}, 1, "unknown option \"--colour\""},
                      CommandCase{{"--port", "-1"}, 1, "--port takes a whole number"},
                      CommandCase{{"--data-dir", "/proc/murvel", "--port", "0"},
                                  1,
                                  "cannot make the data directory /proc/murvel"},
                      CommandCase{{"--model-dir", "/nonexistent", "--port", "0", "--data-dir",
                                   "/tmp/murvel-cloud-process-test"},
                                  1,
                                  "speech model is incomplete"}));

// Keys survive the process being killed at any moment: the account database is written
// through before a reply goes out.
TEST(CloudProcessTest, AKeyIssuedBeforeAKillStillWorksAfterARestart) {
  murvel::test::TemporaryDirectory directory;
  const std::string data = (directory.path() / "data").string();
  const std::vector<std::string> serve{"--port", "0", "--decoders", "1", "--data-dir", data};
  std::string key;
  {
    CloudProcess first(serve, directory.path() / "first");
    const int port = first.port();
    ASSERT_GT(port, 0) << first.log();
    httplib::Client client("127.0.0.1", port);
    const auto continued =
        client.Post("/api/auth/continue",
                    httplib::Params{{"email", "kim@example.net"}, {"redirect_uri", "murvel://x"}});
    ASSERT_TRUE(continued);
    const std::string location = continued->get_header_value("Location");
    const auto exchanged =
        client.Post("/api/auth/exchange",
                    nlohmann::json{{"login_token", location.substr(location.find('=') + 1)}}.dump(),
                    "application/json");
    ASSERT_TRUE(exchanged);
    key = nlohmann::json::parse(exchanged->body)["access_key"];
    first.signal(SIGKILL);
    EXPECT_EQ(first.exitStatus(), 128 + SIGKILL);
  }
  CloudProcess second(serve, directory.path() / "second");
  const int port = second.port();
  ASSERT_GT(port, 0) << second.log();
  httplib::Client client("127.0.0.1", port);
  const auto info = client.Get("/api/account/info", {{"Authorization", "Bearer " + key}});
  ASSERT_TRUE(info);
  EXPECT_EQ(nlohmann::json::parse(info->body)["email"], "kim@example.net");
  second.signal(SIGTERM);
  EXPECT_EQ(second.exitStatus(), 0);
  EXPECT_THAT(second.log(), HasSubstr("stopping (SIGTERM)"));
}

}  // namespace
}  // namespace murvel::cloud::test

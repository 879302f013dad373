#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <thread>
#include <tuple>

#include "ChildProcess.h"
#include "TemporaryDirectory.h"

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

// Command lines it does not serve with: what it says, and how it ends.
TEST(CloudProcessTest, AnswersCommandLinesItDoesNotServeWithAndEnds) {
  murvel::test::TemporaryDirectory directory;
  const std::vector<std::tuple<std::vector<std::string>, int, std::string>> lines{
      {{"--help"}, 0, "Smart cleanup is rule-based"},
      {{"--version"}, 0, "murvel-cloud "},
      {{"--colour"}, 1, "unknown option \"--colour\""},
      {{"--data-dir", "/proc/murvel", "--port", "0"},
       1,
       "cannot make the data directory /proc/murvel"},
      {{"--model-dir", "/nonexistent", "--port", "0", "--data-dir",
        (directory.path() / "data").string()},
       1,
       "speech model is incomplete"}};
  int run = 0;
  for (const auto& [arguments, status, says] : lines) {
    CloudProcess process(arguments, directory.path() / std::to_string(++run));
    EXPECT_EQ(process.exitStatus(), status) << arguments.front();
    EXPECT_THAT(process.log(), HasSubstr(says));
  }
}

// A second service on a port already served would split the requests between two sets of
// accounts: it says so and ends instead.
TEST(CloudProcessTest, ASecondServiceOnAServedPortRefusesToStart) {
  murvel::test::TemporaryDirectory directory;
  CloudProcess first({"--port", "0", "--data-dir", (directory.path() / "one").string()},
                     directory.path() / "one.out");
  const int port = first.port();
  ASSERT_GT(port, 0) << first.log();
  CloudProcess second(
      {"--port", std::to_string(port), "--data-dir", (directory.path() / "two").string()},
      directory.path() / "two.out");
  EXPECT_EQ(second.exitStatus(), 1);
  EXPECT_THAT(second.log(), HasSubstr("could not listen"));
}

// A sign-in from the form to its key; nothing when a step brought none.
std::optional<std::string> signIn(httplib::Client& client, const std::string& email) {
  const auto continued = client.Post(
      "/api/auth/continue", httplib::Params{{"email", email}, {"redirect_uri", "murvel://x"}});
  const std::string location = continued ? continued->get_header_value("Location") : "";
  const auto exchanged =
      client.Post("/api/auth/exchange",
                  nlohmann::json{{"login_token", location.substr(location.find('=') + 1)}}.dump(),
                  "application/json");
  const auto reply = nlohmann::json::parse(exchanged ? exchanged->body : "", nullptr, false);
  if (!reply.contains("access_key"))
    return std::nullopt;
  return reply["access_key"].get<std::string>();
}

// A kill amid sign-ins loses no account whose key went out; a stop signal then ends the service
// in order.
TEST(CloudProcessTest, AKillAmidSignInsKeepsEveryKeyThatWentOut) {
  murvel::test::TemporaryDirectory directory;
  const std::string data = (directory.path() / "data").string();
  const std::vector<std::string> serve{"--port", "0", "--decoders", "1", "--data-dir", data};
  std::mutex mutex;
  std::map<std::string, std::string> keys;  // email → key
  {
    CloudProcess first(serve, directory.path() / "first");
    const int port = first.port();
    ASSERT_GT(port, 0) << first.log();
    std::atomic<bool> killed = false;
    std::thread signingIn([&] {
      httplib::Client client("127.0.0.1", port);
      for (int n = 0; !killed; ++n) {
        const std::string email = "p" + std::to_string(n) + "@x.org";
        if (const auto key = signIn(client, email)) {
          std::lock_guard lock(mutex);
          keys[email] = *key;
        }
      }
    });
    murvel::test::waitFor([&] {
      std::lock_guard lock(mutex);
      return keys.size() >= 3;
    });
    first.signal(SIGKILL);
    killed = true;
    signingIn.join();
    EXPECT_EQ(first.exitStatus(), 128 + SIGKILL);
  }
  ASSERT_GE(keys.size(), 3u);
  CloudProcess second(serve, directory.path() / "second");
  const int port = second.port();
  ASSERT_GT(port, 0) << second.log();
  httplib::Client client("127.0.0.1", port);
  for (const auto& [email, key] : keys) {
    const auto info = client.Get("/api/account/info", {{"Authorization", "Bearer " + key}});
    ASSERT_TRUE(info);
    EXPECT_EQ(nlohmann::json::parse(info->body)["email"], email);
  }
  second.signal(SIGTERM);
  EXPECT_EQ(second.exitStatus(), 0);
  EXPECT_THAT(second.log(), HasSubstr("stopping (SIGTERM)"));
}

}  // namespace
}  // namespace murvel::cloud::test

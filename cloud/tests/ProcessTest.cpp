#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <regex>
#include <thread>

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
                      CommandCase{{"--data-dir", "/proc/murvel", "--port", "0"},
                                  1,
                                  "cannot make the data directory /proc/murvel"},
                      CommandCase{{"--model-dir", "/nonexistent", "--port", "0", "--data-dir",
                                   "/tmp/murvel-cloud-process-test"},
                                  1,
                                  "speech model is incomplete"}));

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

// A sign-in from the page to its key; the key, or nothing when a step got no reply.
std::optional<std::string> signIn(httplib::Client& client, const std::string& email,
                                  std::string* usedToken = nullptr) {
  const auto continued = client.Post(
      "/api/auth/continue", httplib::Params{{"email", email}, {"redirect_uri", "murvel://x"}});
  if (!continued)
    return std::nullopt;
  const std::string location = continued->get_header_value("Location");
  const std::string token = location.substr(location.find('=') + 1);
  const auto exchanged = client.Post(
      "/api/auth/exchange", nlohmann::json{{"login_token", token}}.dump(), "application/json");
  if (!exchanged)
    return std::nullopt;
  const auto reply = nlohmann::json::parse(exchanged->body, nullptr, false);
  if (!reply.contains("access_key"))
    return std::nullopt;
  if (usedToken != nullptr)
    *usedToken = token;
  return reply["access_key"].get<std::string>();
}

// A kill while recordings are recognised and sign-ins are under way loses no account whose key
// went out, leaves no used token usable and the database whole.
TEST(CloudProcessTest, AKillUnderLoadKeepsEveryKeyThatWentOut) {
  murvel::test::TemporaryDirectory directory;
  const std::string data = (directory.path() / "data").string();
  const std::vector<std::string> serve{"--port", "0", "--decoders", "1", "--data-dir", data};
  std::mutex mutex;
  std::map<std::string, std::string> keys;  // email → key
  std::string usedToken;
  {
    CloudProcess first(serve, directory.path() / "first");
    const int port = first.port();
    ASSERT_GT(port, 0) << first.log();
    std::atomic<bool> killed = false;
    std::vector<std::thread> load;
    for (int worker = 0; worker < 3; ++worker) {
      load.emplace_back([&, worker] {
        httplib::Client client("127.0.0.1", port);
        for (int n = 0; !killed; ++n) {
          const std::string email =
              "p" + std::to_string(worker) + "-" + std::to_string(n) + "@x.org";
          std::string token;
          const auto key = signIn(client, email, &token);
          std::lock_guard lock(mutex);
          if (key) {
            keys[email] = *key;
            usedToken = token;
          }
          if (worker == 0 && key)
            client.Post("/api/transcribe", transcribeHeaders(*key, "fast", "auto"),
                        Speech::wav("slt", "we need to talk about the budget"), "audio/wav");
        }
      });
    }
    murvel::test::waitFor([&] {
      std::lock_guard lock(mutex);
      return keys.size() >= 6;
    });
    first.signal(SIGKILL);
    killed = true;
    for (auto& thread : load) thread.join();
    EXPECT_EQ(first.exitStatus(), 128 + SIGKILL);
  }
  ASSERT_GE(keys.size(), 6u);
  CloudProcess second(serve, directory.path() / "second");
  const int port = second.port();
  ASSERT_GT(port, 0) << second.log();
  httplib::Client client("127.0.0.1", port);
  for (const auto& [email, key] : keys) {
    const auto info = client.Get("/api/account/info", {{"Authorization", "Bearer " + key}});
    ASSERT_TRUE(info);
    EXPECT_EQ(nlohmann::json::parse(info->body)["email"], email);
  }
  const auto reused = client.Post(
      "/api/auth/exchange", nlohmann::json{{"login_token", usedToken}}.dump(), "application/json");
  ASSERT_TRUE(reused);
  EXPECT_EQ(reused->status, 401);
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open((directory.path() / "data" / "murvel-cloud.db").c_str(), &database),
            SQLITE_OK);
  std::string verdict;
  sqlite3_exec(
      database, "PRAGMA integrity_check",
      [](void* out, int, char** values, char**) {
        *static_cast<std::string*>(out) += values[0];
        return 0;
      },
      &verdict, nullptr);
  sqlite3_close(database);
  EXPECT_EQ(verdict, "ok");
  second.signal(SIGTERM);
  EXPECT_EQ(second.exitStatus(), 0);
  EXPECT_THAT(second.log(), HasSubstr("stopping (SIGTERM)"));
}

}  // namespace
}  // namespace murvel::cloud::test

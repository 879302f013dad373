#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <fcntl.h>
#include <chrono>
#include <nlohmann/json.hpp>
#include <regex>
#include <thread>

#include "ServiceTestSupport.h"

extern char** environ;

namespace murvel::cloud::test {
namespace {

using ::testing::HasSubstr;
using namespace std::chrono_literals;

// murvel-cloud as its own process, with standard output and error in files.
class CloudProcess {
 public:
  CloudProcess(std::vector<std::string> arguments, const std::filesystem::path& output)
      : output_(output) {
    arguments.insert(arguments.begin(), MURVEL_CLOUD);
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0)
      pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
  }
  ~CloudProcess() {
    if (pid_ > 0 && !status_) {
      ::kill(pid_, SIGKILL);
      exitStatus();
    }
  }

  // The port it reports once it listens; 0 if it never does.
  int port() {
    static const std::regex listening("listening on http://127\\.0\\.0\\.1:([0-9]+)/api");
    for (int i = 0; i < 3000; ++i) {
      std::smatch match;
      const std::string said = fileContent(output_);
      if (std::regex_search(said, match, listening))
        return std::stoi(match[1]);
      if (exited())
        return 0;
      std::this_thread::sleep_for(20ms);
    }
    return 0;
  }
  void signal(int number) { ::kill(pid_, number); }
  // The exit status, or 128 + the signal that ended it.
  int exitStatus() {
    if (!status_) {
      int status = 0;
      waitpid(pid_, &status, 0);
      status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    return *status_;
  }
  std::string output() const { return fileContent(output_); }

 private:
  bool exited() {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) != pid_)
      return false;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return true;
  }

  std::filesystem::path output_;
  pid_t pid_ = -1;
  std::optional<int> status_;
};

struct CommandCase {
  std::vector<std::string> arguments;
  int status;
  std::string says;
};

class CommandLineTest : public ::testing::TestWithParam<CommandCase> {};

TEST_P(CommandLineTest, AnswersAndEndsWithoutServing) {
  TestDirectory directory;
  CloudProcess process(GetParam().arguments, directory.path() / "output");
  EXPECT_EQ(process.exitStatus(), GetParam().status);
  EXPECT_THAT(process.output(), HasSubstr(GetParam().says));
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
  TestDirectory directory;
  const std::string data = (directory.path() / "data").string();
  const std::vector<std::string> serve{"--port", "0", "--decoders", "1", "--data-dir", data};
  std::string key;
  {
    CloudProcess first(serve, directory.path() / "first");
    const int port = first.port();
    ASSERT_GT(port, 0) << first.output();
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
  ASSERT_GT(port, 0) << second.output();
  httplib::Client client("127.0.0.1", port);
  const auto info = client.Get("/api/account/info", {{"Authorization", "Bearer " + key}});
  ASSERT_TRUE(info);
  EXPECT_EQ(nlohmann::json::parse(info->body)["email"], "kim@example.net");
  second.signal(SIGTERM);
  EXPECT_EQ(second.exitStatus(), 0);
  EXPECT_THAT(second.output(), HasSubstr("stopping (SIGTERM)"));
}

}  // namespace
}  // namespace murvel::cloud::test

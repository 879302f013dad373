#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "RawHttpServer.h"
#include "VirtualMicrophone.h"
#include "common/Files.h"
#include "platform/linux/stores/SecretKeychainBackend.h"
#include "stores/Keychain.h"

namespace murvel::testing {
namespace {

using Server = murvel::test::RawHttpServer;
using murvel::test::waitFor;
using namespace std::chrono_literals;

// A copy of Murvel started as a separate process, its output in `log` when one is given.
class MurvelProcess : public test::ChildProcess {
 public:
  explicit MurvelProcess(std::vector<std::string> arguments = {},
                         const std::filesystem::path& log = {})
      : ChildProcess(withProgram(std::move(arguments)), log) {}
  // The command line as other processes of the machine can read it.
  std::string commandLine() const {
    return readWholeFile("/proc/" + std::to_string(pid()) + "/cmdline").value_or("");
  }

 private:
  static std::vector<std::string> withProgram(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), MURVEL_UNDER_TEST);
    return arguments;
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
    for (const auto& request : service_.requests()) {
      if (request.requestLine.starts_with("POST /api/auth/exchange"))
        bodies.push_back(request.body);
    }
    return bodies;
  }
  // Launch is done once the app has warmed its connection to the service.
  bool launched() const {
    return waitFor([&] {
      for (const auto& request : service_.requests()) {
        if (request.requestLine.starts_with("HEAD /api/health"))
          return true;
      }
      return false;
    });
  }

  std::atomic<bool> holdExchanges_{false};
  Server service_;
};

TEST_F(AppProcessTest, LaterCopyHandsItsLinkToTheRunningOneAndEnds) {
  MurvelProcess first;
  ASSERT_TRUE(launched());

  MurvelProcess second({"murvel://auth?login_token=from-second-copy"});
  EXPECT_EQ(second.waitForExit(5s), 0);
  ASSERT_TRUE(waitFor([&] { return exchangedBodies().size() == 1; }));
  EXPECT_EQ(exchangedBodies()[0], R"({"login_token":"from-second-copy"})");
  EXPECT_TRUE(first.running());

  // The running copy stored the key it was given, in the desktop's keyring.
  linux_platform::SecretKeychainBackend keychain;
  EXPECT_TRUE(waitFor(
      [&] { return Keychain::load(keychain, Keychain::accessKeyAccount) == "key-from-link"; }));

  first.signal(SIGTERM);
  EXPECT_EQ(first.waitForExit(5s), 0);
}

TEST_F(AppProcessTest, LinkThatStartsTheAppIsExchangedAndAQuitMidExchangeIsClean) {
  holdExchanges_ = true;
  MurvelProcess first({"murvel://auth?login_token=at-start"});
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
  MurvelProcess linker({"murvel://auth?login_token=after-crash"});
  EXPECT_EQ(linker.waitForExit(5s), 0);
  ASSERT_TRUE(waitFor([&] { return exchangedBodies().size() == 1; }));
  EXPECT_EQ(exchangedBodies()[0], R"({"login_token":"after-crash"})");
}

// What a dictation left behind: the history file, if anything was delivered, and the trace.
struct Dictation {
  std::optional<std::string> history;
  std::string trace;
};

// The whole road on a private desktop: Murvel started with `settings` and `accessKey`, a real
// key held down through the X server while flite speaks `words` into the virtual microphone,
// then the upload, the reply, the paste and what is left behind. Murvel is stopped after.
Dictation dictate(const std::string& words, const std::string& settings,
                  const std::string& accessKey) {
  const std::filesystem::path home = std::getenv("HOME");
  const std::filesystem::path speech = home / "speech.wav";
  EXPECT_EQ(std::system(("flite -voice slt -t '" + words + "' -o " + speech.string()).c_str()), 0);
  std::filesystem::create_directories(home / ".config/murvel");
  // No hotkey chosen: the display has no key for Fn, so Right Control is the default.
  const auto settingsFile = home / ".config/murvel/com.murvel.mac.json";
  std::ofstream(settingsFile) << settings;
  linux_platform::SecretKeychainBackend keychain;
  Keychain::save(keychain, accessKey, Keychain::accessKeyAccount);

  MurvelProcess murvel({}, home / "murvel.out");
  // Launch has installed the hotkey once it has noted the version of its launch hint.
  if (!waitFor([&] {
        return readWholeFile(settingsFile).value_or("").find("lastLaunchHintVersion") !=
               std::string::npos;
      })) {
    ADD_FAILURE() << "the app did not finish its launch";
    return {};
  }
  // A first launch opens the panel, and the app becoming active then reinstalls the monitors,
  // which forgets a press held across that moment. Once the panel has come and gone again, its
  // activation is behind us: press then.
  const std::string windows = "xdotool search --onlyvisible --pid " + std::to_string(murvel.pid());
  EXPECT_EQ(std::system(("timeout 10 " + windows + " --sync >/dev/null").c_str()), 0)
      << "the launch hint never showed";
  EXPECT_EQ(std::system("xdotool key Escape"), 0);
  EXPECT_TRUE(waitFor([&] { return std::system((windows + " >/dev/null").c_str()) != 0; }, 5s))
      << "Escape did not close the launch hint's panel";

  EXPECT_EQ(std::system("xdotool keydown Control_R"), 0);
  EXPECT_TRUE(murvel::test::say(speech));
  EXPECT_EQ(std::system("xdotool keyup Control_R"), 0);

  const std::filesystem::path history = home / ".local/share/Murvel/history.json";
  waitFor([&] { return readWholeFile(history).has_value(); }, 30s);
  waitFor([&] { return murvel.log().find("[paste_posted]") != std::string::npos; }, 5s);
  Dictation dictation{readWholeFile(history), murvel.log()};
  murvel.signal(SIGTERM);
  EXPECT_EQ(murvel.waitForExit(5s), 0);
  return dictation;
}

TEST(AppDictationTest, HeldKeyRecordsTheMicrophoneAndDeliversTheReply) {
  Server service(
      [](const Server::Request& request) {
        if (request.requestLine.starts_with("POST /api/transcribe")) {
          return Server::Answer{200, R"({"text":"Meet me at noon by the river."})"};
        }
        return Server::Answer{200, ""};
      },
      MURVEL_TEST_SERVICE_PORT);
  const Dictation dictation =
      dictate("meet me at noon by the river", R"({"cleanupMode":"off"})", "e2e-key");
  ASSERT_TRUE(dictation.history) << "no dictation was delivered; the app wrote:\n"
                                 << dictation.trace;
  EXPECT_THAT(*dictation.history,
              ::testing::HasSubstr(R"("text":"Meet me at noon by the river.")"));

  std::vector<Server::Request> uploads;
  for (const auto& request : service.requests()) {
    if (request.requestLine.starts_with("POST /api/transcribe"))
      uploads.push_back(request);
  }
  ASSERT_EQ(uploads.size(), 1u);
  const std::string& wav = uploads[0].body;
  ASSERT_GT(wav.size(), 16000u);  // more than half a second of 16 kHz mono audio
  EXPECT_EQ(wav.substr(0, 4), "RIFF");
  EXPECT_EQ(wav.substr(8, 4), "WAVE");
  // The speech is in it: the samples are far from silent.
  double energy = 0;
  for (std::size_t i = 44; i + 1 < wav.size(); i += 2) {
    const auto sample = static_cast<std::int16_t>(static_cast<unsigned char>(wav[i]) |
                                                  (static_cast<unsigned char>(wav[i + 1]) << 8));
    energy += static_cast<double>(sample) * sample;
  }
  EXPECT_GT(energy / static_cast<double>((wav.size() - 44) / 2), 1000.0);

  EXPECT_THAT(dictation.trace,
              ::testing::ContainsRegex(R"(\[client_start\] audio_bytes=[0-9]+ cleanup_mode=off)"));
  EXPECT_THAT(dictation.trace,
              ::testing::ContainsRegex(R"(\[client_response\] after_release_ms=)"));
  EXPECT_THAT(dictation.trace, ::testing::ContainsRegex(R"(\[paste_posted\] .*text_chars=29)"));
}

}  // namespace
}  // namespace murvel::testing

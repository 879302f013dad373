// Murvel on a Wayland desktop (the headless sway of tests/linux/session.sh --wayland): the real
// app and service, the hotkey told by the compositor's key bindings, and a native Wayland
// terminal in front that has a tone of its own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <thread>

#include "Journey.h"
#include "VirtualMicrophone.h"
#include "common/Files.h"
#include "platform/linux/stores/SecretKeychainBackend.h"
#include "stores/Keychain.h"

namespace murvel::e2e {
namespace {

// The app id of the window that sway says has the focus, or empty.
std::string focusedAppId(const json& node) {
  if (node.value("focused", false))
    return node.contains("app_id") && node["app_id"].is_string() ? node["app_id"].get<std::string>()
                                                                 : "";
  for (const char* children : {"nodes", "floating_nodes"}) {
    for (const auto& child : node.value(children, json::array())) {
      if (auto id = focusedAppId(child); !id.empty())
        return id;
    }
  }
  return "";
}

std::string focusedAppId() {
  return focusedAppId(json::parse(output("swaymsg -t get_tree"), nullptr, false));
}

std::string accessKey() {
  linux_platform::SecretKeychainBackend keychain;
  return Keychain::load(keychain, Keychain::accessKeyAccount).value_or("");
}

TEST(Wayland, DictationByTheBindingsReachesTheTerminalInFrontInItsOwnTone) {
  const fs::path work = fs::path(std::getenv("HOME")) / "wayland";
  fs::create_directories(work / "tmp");
  setenv("TMPDIR", (work / "tmp").c_str(), 1);
  const Programs programs = builtPrograms();
  Cloud cloud(programs.cloud, work / "cloud");
  ASSERT_TRUE(cloud.start()) << cloud.log();
  // The terminal's own tone is a list; the default tone is not.
  const fs::path settings = fs::path(std::getenv("XDG_CONFIG_HOME")) / "murvel";
  fs::create_directories(settings);
  std::ofstream(settings / "com.murvel.mac.json")
      << R"({"cleanupMode": "smart", "appTones": {"foot": "bullets"}})";

  App app(programs.murvel, work);
  // Running once it listens for the links and commands of later copies.
  const fs::path socket = fs::path(std::getenv("XDG_RUNTIME_DIR")) /
                          ("murvel-" + std::to_string(::getuid()) + ".socket");
  ASSERT_TRUE(waitFor([&] { return fs::exists(socket); }, 30s)) << app.log();
  std::string problem;
  const auto link = signInLink("wayland@example.com", problem);
  ASSERT_TRUE(link) << problem;
  Process handOff({programs.murvel, *link}, work / "second.out");
  ASSERT_EQ(handOff.waitForExit(10s), 0)
      << readWholeFile(work / "second.out").value_or("") << "\nfirst:\n"
      << app.log();
  ASSERT_TRUE(waitFor([] { return !accessKey().empty(); }, 30s)) << app.log() << cloud.log();
  EXPECT_THAT(app.log(), ::testing::HasSubstr("Murvel on Wayland (sway)"));

  // A terminal whose program writes every byte it gets, as it gets it.
  const fs::path typed = work / "typed.txt";
  Process terminal({"/usr/bin/foot", "sh", "-c", "stty -icanon; exec cat >" + typed.string()},
                   work / "foot.out");
  ASSERT_TRUE(waitFor([&] { return fs::exists(typed) && focusedAppId() == "foot"; }, 30s))
      << "foot is not in front: " << readWholeFile(work / "foot.out").value_or("");

  const std::string sentence =
      "first write the report and next call the bank and finally book the flights";
  const auto wav = test::speech(sentence, work, "list");
  // One virtual keyboard holds the key for the whole sentence: a keyboard that goes away lets go
  // of its keys. The hold starts before the speech and ends a moment after it.
  std::ifstream header(wav, std::ios::binary);
  std::uint32_t bytesPerSecond = 0;
  header.seekg(28);
  header.read(reinterpret_cast<char*>(&bytesPerSecond), sizeof bytesPerSecond);
  ASSERT_GT(bytesPerSecond, 0u);
  const auto holdMs = 1000 * fs::file_size(wav) / bytesPerSecond + 800;
  Process hold(
      {"/usr/bin/wtype", "-P", "Control_R", "-s", std::to_string(holdMs), "-p", "Control_R"},
      work / "wtype.out");
  std::this_thread::sleep_for(300ms);
  EXPECT_TRUE(test::say(wav));
  ASSERT_EQ(hold.waitForExit(10s), 0) << readWholeFile(work / "wtype.out").value_or("");

  std::string text;
  ASSERT_TRUE(waitFor(
      [&] {
        text = readWholeFile(typed).value_or("");
        return app.log().find("[paste_posted]") != std::string::npos && !text.empty();
      },
      60s))
      << "nothing arrived in the terminal:\n"
      << app.log() << cloud.log();
  // Let the rest of the paste arrive.
  std::this_thread::sleep_for(500ms);
  text = readWholeFile(typed).value_or("");
  // Plain Control+V would have typed the control character instead.
  EXPECT_EQ(text.find('\x16'), std::string::npos);
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  EXPECT_GE(lines.size(), 2u) << text;
  for (const auto& line : lines) EXPECT_THAT(line, ::testing::StartsWith("- ")) << text;
  // The time from the release to the keystroke, for the record.
  std::smatch posted;
  const std::string log = app.log();
  if (std::regex_search(log, posted, std::regex(R"(\[paste_posted\].*)")))
    std::printf("%s\n", posted[0].str().c_str());
  terminal.signal(SIGTERM);
}

}  // namespace
}  // namespace murvel::e2e

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

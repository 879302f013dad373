// Murvel on a Wayland desktop (the headless sway of tests/linux/session.sh --wayland): the real
// app and service, the hotkey told by the compositor's key bindings, and a native Wayland
// terminal in front that has a tone of its own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "Journey.h"
#include "VirtualMicrophone.h"
#include "common/Files.h"

namespace murvel::e2e {
namespace {

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
  std::string problem;
  ASSERT_TRUE(signInByLink(app, programs.murvel, "wayland@example.com", work, problem))
      << problem << cloud.log();
  EXPECT_THAT(app.log(), ::testing::HasSubstr("Murvel on Wayland (sway)"));

  const fs::path typed = work / "typed.txt";
  const auto terminal = focusedWaylandTerminal(typed, work);
  ASSERT_TRUE(terminal) << "foot is not in front: "
                        << readWholeFile(work / "foot.out").value_or("");

  const std::string sentence =
      "first write the report and next call the bank and finally book the flights";
  ASSERT_TRUE(speakWhileHeldOnWayland(test::speech(sentence, work, "list"), work))
      << readWholeFile(work / "wtype.out").value_or("");

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
  EXPECT_GE(lines.size(), 2u) << text << "\n" << app.log();
  for (const auto& line : lines) EXPECT_THAT(line, ::testing::StartsWith("- ")) << text;
  terminal->signal(SIGTERM);
}

}  // namespace
}  // namespace murvel::e2e

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

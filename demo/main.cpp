// The demonstration that the run command gives on a machine without a display: one dictation on
// the private desktop of tests/linux/session.sh, each step told to the person as it happens,
// ending with the sentence spoken, the text that arrived and screenshots of the panel and Settings.
//
//   murvel_demo SCREENSHOT_DIRECTORY

#include <QGuiApplication>
#include <cstdio>

#include "Journey.h"

namespace murvel::e2e {
namespace {

int demonstrate(const fs::path& screenshots) {
  const std::string sentence = "please send the report to the team before lunch";
  const fs::path work = fs::path(std::getenv("HOME")) / "demo";
  fs::create_directories(work);
  Journey journey(work);
  const auto step = [&](const char* what, bool done) {
    std::printf("  %-44s %s\n", what, done ? "done" : "FAILED");
    std::fflush(stdout);
    if (!done)
      std::fprintf(stderr, "%s\n", journey.problem.c_str());
    return done;
  };
  if (!step("Starting murvel-cloud", journey.cloud.start())) {
    std::fprintf(stderr, "%s\n", journey.cloud.log().c_str());
    return 1;
  }
  journey.target = std::make_unique<TargetWindow>(journey.programs.targetWindow, work);
  if (!step("Signing in through the browser", journey.signIn("demo@example.com")) ||
      !step("Picking Right Control as the hotkey", journey.pickRightControl()))
    return 1;
  const fs::path settingsShot = screenshots / "settings.png";
  const auto settings = journey.app->waitForWindow(isSettings);
  if (!step("Photographing the Settings window",
            settings && screenshot(settingsShot, frameOf(*settings).adjusted(-4, -28, 4, 4))) ||
      !step("Closing the Settings window", journey.closeSettings()))
    return 1;
  const auto text = journey.dictate(sentence, "demo");
  if (!step("Dictating into the text window", text.has_value()))
    return 1;
  const fs::path panelShot = screenshots / "panel.png";
  const auto panel = journey.openPanel();
  if (!step("Photographing the panel", panel && screenshot(panelShot, frameOf(*panel))))
    return 1;
  std::printf("\nSpoken:               %s\nArrived in the window: %s\n", sentence.c_str(),
              text->c_str());
  std::printf("Screenshots:          %s\n                      %s\n", panelShot.c_str(),
              settingsShot.c_str());
  journey.app->quit();
  return 0;
}

}  // namespace
}  // namespace murvel::e2e

int main(int argc, char** argv) {
  // Screenshots are taken through the demonstration's own connection to the private display.
  QGuiApplication application(argc, argv);
  if (argc != 2) {
    std::fprintf(stderr, "usage: murvel_demo SCREENSHOT_DIRECTORY\n");
    return 2;
  }
  return murvel::e2e::demonstrate(argv[1]);
}

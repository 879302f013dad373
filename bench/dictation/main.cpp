// Release to paste through the real murvel-cloud, for a recording of a person played into the
// virtual microphone while the hotkey is held, on the desktop this runs in: an X11 desktop
// (tests/linux/session.sh --tray --keyring --pulse) with a window in front, or a headless sway
// (session.sh --wayland SUBJECT --keyring --pulse) with a native terminal in front and the hotkey
// told by the compositor's bindings. Prints one row for bench/run's table, and to standard error
// what was heard and the service's share of the time.
//
//   murvel_bench_dictation x11|wayland RECORDING [dictations=10]
//   (MURVEL_CLOUD_ARGS gives the service options of its own, as for bench/cloud.sh)
//
// The release is the moment the tool that let go of the key returned (xdotool on X11, wtype on
// Wayland); the paste the moment the app's trace line "paste_posted" appeared in its log.

#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <thread>

#include "Journey.h"
#include "Samples.h"
#include "common/Files.h"

namespace {

using namespace murvel::e2e;
using murvel::bench::msBetween;
using murvel::bench::row;
using murvel::bench::Samples;

int lineCount(const std::string& text, const std::string& part) {
  int count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

// The number after " key=" on the last line of `log` that holds `event`.
std::optional<double> lastLogged(const std::string& log, const std::string& event,
                                 const std::string& key) {
  const auto line = log.rfind(event);
  if (line == std::string::npos)
    return std::nullopt;
  std::smatch match;
  const std::string rest = log.substr(line, log.find('\n', line) - line);
  if (!std::regex_search(rest, match, std::regex("[ \"]" + key + "\"?[=:]([0-9.]+)")))
    return std::nullopt;
  return std::stod(match[1]);
}

int fail(const std::string& name, const std::string& why) {
  std::fprintf(stderr, "%s: %s\n", name.c_str(), why.c_str());
  std::printf("%s\tnot measured\t\t< 800 ms\t\n", name.c_str());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || (std::string(argv[1]) != "x11" && std::string(argv[1]) != "wayland")) {
    std::fprintf(stderr, "usage: murvel_bench_dictation x11|wayland RECORDING [dictations=10]\n");
    return 2;
  }
  const bool wayland = std::string(argv[1]) == "wayland";
  const fs::path recording = argv[2];
  const int dictations = argc > 3 ? std::max(1, std::atoi(argv[3])) : 10;
  const auto audioSeconds = static_cast<double>(fs::file_size(recording) - 44) / 32000.0;
  char length[32];
  std::snprintf(length, sizeof length, "%.1f", audioSeconds);
  const std::string name = std::string("release to paste, ") + length +
                           " s of a person's speech, murvel-cloud, " +
                           (wayland ? "Wayland (sway)" : "X11");

  const fs::path work = fs::path(std::getenv("HOME")) / "bench";
  fs::create_directories(work / "tmp");
  setenv("TMPDIR", (work / "tmp").c_str(), 1);
  const Programs programs = builtPrograms();
  // MURVEL_CLOUD_ARGS: options of the service to measure, such as "--pieces 2".
  std::vector<std::string> options;
  std::istringstream words(std::getenv("MURVEL_CLOUD_ARGS") ? std::getenv("MURVEL_CLOUD_ARGS")
                                                            : "");
  for (std::string word; words >> word;) options.push_back(word);
  Cloud cloud(programs.cloud, work / "cloud", options);
  if (!cloud.start())
    return fail(name, "murvel-cloud did not start:\n" + cloud.log());
  // The text as heard, so that what is timed is the recognition alone.
  const fs::path settings = fs::path(std::getenv("XDG_CONFIG_HOME")) / "murvel";
  fs::create_directories(settings);
  std::ofstream(settings / "com.murvel.mac.json") << R"({"cleanupMode": "off"})";

  App app(programs.murvel, work);
  std::string problem;
  if (!signInByLink(app, programs.murvel, "bench@example.com", work, problem))
    return fail(name, problem);

  const fs::path typed = work / "typed.txt";
  std::unique_ptr<TargetWindow> window;
  std::unique_ptr<Process> terminal;
  if (wayland) {
    terminal = focusedWaylandTerminal(typed, work);
    if (!terminal)
      return fail(name, "the terminal never came to the front");
  } else {
    // The Settings window that a first launch opens goes once the key is there; the window
    // in front takes the paste.
    window = std::make_unique<TargetWindow>(programs.targetWindow, work);
    if (!window->focus())
      return fail(name, "the target window never came to the front");
  }

  const auto targetText = [&] {
    return wayland ? murvel::readWholeFile(typed).value_or("") : window->text();
  };
  Samples releaseToPaste, serviceShare;
  std::size_t lastStart = 0;
  for (int i = 0; i < dictations; ++i) {
    lastStart = targetText().size();
    const int pastesBefore = lineCount(app.log(), "[paste_posted]");
    const auto released =
        wayland ? speakWhileHeldOnWayland(recording, work) : speakWhileHeld(recording);
    if (!released)
      return fail(name, "the key or the microphone did not take part");
    Instant pasted;
    const bool arrived = waitFor(
        [&] {
          pasted = std::chrono::steady_clock::now();
          return lineCount(app.log(), "[paste_posted]") > pastesBefore;
        },
        30s);
    if (!arrived) {
      std::fprintf(stderr, "%s: dictation %d came to no paste\n", name.c_str(), i + 1);
      continue;
    }
    releaseToPaste.values.push_back(msBetween(*released, pasted));
    if (const auto total = lastLogged(app.log(), "[client_response]", "total_ms"))
      serviceShare.values.push_back(*total);
    // A person leaves a moment between dictations.
    std::this_thread::sleep_for(1s);
  }
  // Each paste adds to the window's text: the last one is what follows the text before it.
  const std::string all = targetText();
  const std::string heard = all.substr(std::min(lastStart, all.size()));
  std::fprintf(stderr, "%s: the service's own time, median %.0f ms; the last paste: %.160s%s\n",
               name.c_str(), serviceShare.empty() ? 0.0 : serviceShare.median(), heard.c_str(),
               heard.size() > 160 ? "…" : "");
  row(name, releaseToPaste, "ms", 800.0, "< 800 ms");
  if (terminal)
    terminal->signal(SIGTERM);
  return releaseToPaste.empty() ? 1 : 0;
}

// The app's figures, measured on the real app process inside a private desktop: press to live
// capture, release to the service's first byte beside a bare libcurl floor, the client's own
// overhead, a cold connection against a warm one, and what the app costs while idle. Prints one
// tab-separated row per figure (name, median, spread, target, verdict) for bench/run to lay out;
// notes on what went wrong or what stands out go to standard error.
//
//   murvel_bench_app [dictations=20]
// Runs inside tests/linux/session.sh --tray --keyring --pulse.

#include <curl/curl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "AppUnderTest.h"
#include "CounterMicrophone.h"
#include "Desktop.h"
#include "Floors.h"
#include "LoopbackService.h"
#include "ProcessActivity.h"
#include "Samples.h"
#include "platform/linux/stores/SecretKeychainBackend.h"
#include "stores/Keychain.h"

namespace {

using namespace murvel::bench;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using json = nlohmann::json;
namespace fs = std::filesystem;

constexpr double pasteDelayMs = 15.0;  // the app waits this long between pasteboard and keys
constexpr int wavHeaderBytes = 44;

// A number the app logged as "<key>=<number>".
std::optional<double> loggedNumber(const std::string& line, const std::string& key) {
  const auto at = line.find(" " + key + "=");
  if (at == std::string::npos)
    return std::nullopt;
  return std::strtod(line.c_str() + at + key.size() + 2, nullptr);
}

// The service's own time for the reply, as the app logged it.
std::optional<double> serverReportedMs(const std::string& responseLine) {
  const auto at = responseLine.find("server_timings=");
  if (at == std::string::npos)
    return std::nullopt;
  const auto timings = json::parse(responseLine.substr(at + 15), nullptr, false);
  if (timings.is_discarded() || !timings.contains("total_ms") || !timings["total_ms"].is_number())
    return std::nullopt;
  return timings["total_ms"].get<double>();
}

struct Dictation {
  std::optional<double> pressToCapture;
  std::optional<double> releaseToFirstByte;
  std::optional<double> clientOverhead;
  std::optional<double>
      releaseToClientStart;            // how much of the wait is the app's before the upload
  std::optional<double> replyToPaste;  // by the app's own clock, less the paste delay
  bool uploadOnNewConnection = false;
  std::string upload;  // the recording as the service received it
  std::string problem;
};

struct Bench {
  LoopbackService& service;
  AppUnderTest& app;
  Desktop& desktop;
  CounterMicrophone& microphone;

  // Holds the hotkey for `hold`, then follows the dictation to its paste.
  Dictation dictate(std::chrono::milliseconds hold) {
    Dictation result;
    const std::size_t fromRequest = service.count();
    const std::size_t fromLine = app.lineCount();
    const auto pressed = desktop.rightControl(true);
    std::this_thread::sleep_until(pressed + hold);
    const auto released = desktop.rightControl(false);

    const auto upload = service.waitFor("POST /api/transcribe", fromRequest, 10s);
    if (!upload) {
      result.problem = "no upload reached the service";
      return result;
    }
    result.upload = upload->body;
    result.uploadOnNewConnection = upload->newConnection;
    result.releaseToFirstByte = msBetween(released, upload->firstByte);
    if (upload->body.size() >= wavHeaderBytes + 2) {
      const auto first = static_cast<std::int16_t>(
          static_cast<unsigned char>(upload->body[wavHeaderBytes]) |
          (static_cast<unsigned char>(upload->body[wavHeaderBytes + 1]) << 8));
      if (const auto heard = microphone.heardAt(first, pressed))
        result.pressToCapture = msBetween(pressed, *heard);
      else
        result.problem = "the recording does not start with the microphone's counter";
    }
    const std::string trace = "[" + upload->traceID + "]";
    if (const auto start = app.waitForLine(trace + "[client_start]", fromLine, 10s))
      result.releaseToClientStart = msBetween(released, start->at);
    const auto response = app.waitForLine(trace + "[client_response]", fromLine, 10s);
    const auto paste = app.waitForLine(trace + "[paste_posted]", fromLine, 10s);
    if (!response || !paste) {
      result.problem = "the app logged no reply or no paste for trace " + upload->traceID;
      return result;
    }
    const auto replied = loggedNumber(response->text, "after_release_ms");
    const auto pasted = loggedNumber(paste->text, "after_release_ms");
    if (replied && pasted)
      result.replyToPaste = *pasted - *replied - pasteDelayMs;
    if (const auto serverMs = serverReportedMs(response->text))
      result.clientOverhead = msBetween(released, paste->at) - *serverMs - pasteDelayMs;
    else
      result.problem = "the app's trace carries no service time: " + response->text;
    return result;
  }

  // Dictations, with a pause between them as a person would leave.
  std::vector<Dictation> dictations(int count) {
    std::vector<Dictation> all;
    for (int i = 0; i < count; ++i) {
      all.push_back(dictate(700ms));
      if (!all.back().problem.empty())
        std::fprintf(stderr, "dictation %d: %s\n", i + 1, all.back().problem.c_str());
      std::this_thread::sleep_for(400ms);
    }
    return all;
  }
};

Samples collect(const std::vector<Dictation>& dictations,
                std::optional<double> Dictation::*figure) {
  Samples samples;
  for (const Dictation& dictation : dictations) {
    if (dictation.*figure)
      samples.values.push_back(*(dictation.*figure));
  }
  return samples;
}

// The panel from a click on the tray icon, then the Settings window from its menu, each closed
// again as a person would.
bool openPanelAndSettings(AppUnderTest& app, Desktop& desktop) {
  const auto icon = desktop.trayIconCentre(fs::path(MURVEL_BENCH_SUBJECT).filename().string());
  if (!icon) {
    std::fprintf(stderr, "the app's tray icon never showed\n");
    return false;
  }
  const auto waitForWindow =
      [&](const std::function<bool(const json&)>& matches) -> std::optional<json> {
    for (int i = 0; i < 60; ++i) {
      const auto dump = json::parse(app.dumpWidgets(), nullptr, false);
      if (!dump.is_discarded()) {
        for (const json& window : dump.value("windows", json::array())) {
          if (window.value("visible", false) && matches(window))
            return window;
        }
      }
      std::this_thread::sleep_for(50ms);
    }
    return std::nullopt;
  };
  Desktop::click(icon->first, icon->second, 1);
  if (!waitForWindow(
          [](const json& w) { return w.value("popup", false) && w.value("w", 0) == 340; })) {
    std::fprintf(stderr, "a click on the tray icon opened no panel\n");
    return false;
  }
  Desktop::key("Escape");
  std::this_thread::sleep_for(300ms);
  Desktop::click(icon->first, icon->second, 3);
  const auto menu = waitForWindow([](const json& w) { return w.contains("actions"); });
  if (!menu) {
    std::fprintf(stderr, "a right click on the tray icon opened no menu\n");
    return false;
  }
  for (const json& action : menu->at("actions")) {
    if (action.value("text", "").starts_with("Settings")) {
      Desktop::click(action["x"].get<int>() + action["w"].get<int>() / 2,
                     action["y"].get<int>() + action["h"].get<int>() / 2, 1);
    }
  }
  const auto settings = waitForWindow(
      [](const json& w) { return w.value("title", "").starts_with("Murvel Settings"); });
  if (!settings) {
    std::fprintf(stderr, "the menu's Settings entry opened no window\n");
    return false;
  }
  std::this_thread::sleep_for(500ms);
  desktop.closeWindow(settings->value("title", ""));
  return true;
}

void prepareHome(const fs::path& home) {
  fs::create_directories(home / ".config/murvel");
  std::ofstream(home / ".config/murvel/com.murvel.mac.json")
      << R"({"hotkey":"right_ctrl","cleanupMode":"off","signedInEmail":"bench@example.com",)"
      << R"("lastLaunchHintVersion":"9.9"})";
  murvel::linux_platform::SecretKeychainBackend keychain;
  murvel::Keychain::save(keychain, "bench-key", murvel::Keychain::accessKeyAccount);
}

}  // namespace

int main(int argc, char** argv) {
  const int dictationCount = argc > 1 ? std::max(3, std::atoi(argv[1])) : 20;
  const char* homeVariable = std::getenv("HOME");
  if (homeVariable == nullptr || std::getenv("DISPLAY") == nullptr) {
    std::fprintf(stderr, "run inside tests/linux/session.sh --tray --keyring --pulse\n");
    return 2;
  }
  const fs::path home = homeVariable;
  const fs::path scratch = home / "bench";
  fs::create_directories(scratch);
  curl_global_init(CURL_GLOBAL_DEFAULT);

  CounterMicrophone microphone(scratch);
  if (!microphone.error().empty()) {
    std::fprintf(stderr, "%s\n", microphone.error().c_str());
    return 1;
  }
  Desktop desktop;
  if (!desktop.connected()) {
    std::fprintf(stderr, "no X display\n");
    return 1;
  }
  LoopbackService service(MURVEL_BENCH_SERVICE_PORT);
  prepareHome(home);
  AppUnderTest app(MURVEL_BENCH_SUBJECT, scratch / "widgets.json", scratch);
  if (!service.waitFor("HEAD /api/health", 0, 15s)) {
    std::fprintf(stderr, "the app never finished its launch\n");
    return 1;
  }
  // Let the launch settle: the tray icon docks, the hotkey monitor is installed.
  std::this_thread::sleep_for(1500ms);
  Bench bench{service, app, desktop, microphone};
  bench.dictate(700ms);  // the first dictation loads sounds and opens the session: not counted
  std::this_thread::sleep_for(400ms);

  const auto warm = bench.dictations(dictationCount);
  const Samples releaseToFirstByte = collect(warm, &Dictation::releaseToFirstByte);
  std::string lastUpload;
  for (const Dictation& dictation : warm) {
    if (!dictation.upload.empty())
      lastUpload = dictation.upload;
    if (dictation.uploadOnNewConnection)
      std::fprintf(stderr, "an upload went out on a new connection though it was warmed\n");
  }
  const Samples beforeUpload = collect(warm, &Dictation::releaseToClientStart);
  if (!beforeUpload.empty())
    std::fprintf(stderr, "release to the app's client_start line: median %.1f ms\n",
                 beforeUpload.median());
  const Samples afterReply = collect(warm, &Dictation::replyToPaste);
  if (!afterReply.empty())
    std::fprintf(stderr, "the app's reply to paste_posted, less the paste delay: median %.1f ms\n",
                 afterReply.median());
  Samples floor;
  if (!lastUpload.empty()) {
    const fs::path recording = scratch / "recording.wav";
    std::ofstream(recording, std::ios::binary) << lastUpload;
    floor = bareCurlFloor(service, recording, 3 * dictationCount);
  }
  Samples appSession;
  if (!lastUpload.empty())
    appSession = appSessionUploads(service, scratch / "recording.wav", 3 * dictationCount);
  Samples ratio;
  if (!releaseToFirstByte.empty() && !floor.empty()) {
    ratio.values.push_back(releaseToFirstByte.median() / floor.median());
    std::fprintf(stderr, "release to first byte exceeds the floor by %.1f ms (medians)\n",
                 releaseToFirstByte.median() - floor.median());
  }
  // The release reads the access key from the keyring before it uploads; what that costs here.
  Samples keyringRead;
  murvel::linux_platform::SecretKeychainBackend keychain;
  for (int i = 0; i < dictationCount; ++i) {
    const auto start = Clock::now();
    static_cast<void>(murvel::Keychain::load(keychain, murvel::Keychain::accessKeyAccount));
    keyringRead.values.push_back(msBetween(start, Clock::now()));
  }
  std::fprintf(stderr, "one read of the access key from the keyring: median %.1f ms\n",
               keyringRead.median());

  // Every new connection costs 80 ms; cold: the service closes the warmed connection, so the
  // upload has to open its own.
  service.setAcceptDelay(80ms);
  const int handshakeCount = std::max(3, dictationCount / 2);
  const auto handshakeWarm = bench.dictations(handshakeCount);
  service.setCloseAfterHead(true);
  const auto handshakeCold = bench.dictations(handshakeCount);
  service.setCloseAfterHead(false);
  service.setAcceptDelay(0ms);

  const bool windowsOpened = openPanelAndSettings(app, desktop);
  // Idle is measured once the work is over: the worker pool lets its threads go 30 s after their
  // last task, and each wakes once to end. That winding down is reported on its own.
  {
    const auto before = threadActivity(app.pid());
    std::this_thread::sleep_for(32s);
    const auto after = threadActivity(app.pid());
    std::int64_t wakeups = 0, ended = 0;
    for (const auto& [tid, activity] : activityBetween(before, after)) wakeups += activity.wakeups;
    for (const auto& [tid, activity] : before) ended += after.contains(tid) ? 0 : 1;
    std::fprintf(stderr,
                 "winding down in the 32 s after the last use: %lld wake-ups of lasting threads, "
                 "%lld threads ended\n",
                 static_cast<long long>(wakeups), static_cast<long long>(ended));
  }
  Samples idleWakeups, idleCpuMs, resident;
  std::map<std::string, std::int64_t> wakeupsByThread;
  for (int window = 0; window < 3; ++window) {
    const auto before = threadActivity(app.pid());
    std::this_thread::sleep_for(10s);
    const auto after = threadActivity(app.pid());
    const auto done = activityBetween(before, after);
    double wakeups = 0, cpuNs = 0;
    // A thread that ended in the window woke at least to end; what else it did is gone with it.
    for (const auto& [tid, activity] : before) {
      if (!after.contains(tid)) {
        wakeups += 1;
        wakeupsByThread[activity.name + " (" + std::to_string(tid) + ", ended)"] += 1;
      }
    }
    for (const auto& [tid, activity] : done) {
      wakeups += static_cast<double>(activity.wakeups);
      cpuNs += static_cast<double>(activity.cpuNs);
      wakeupsByThread[activity.name + " (" + std::to_string(tid) + ")"] += activity.wakeups;
    }
    idleWakeups.values.push_back(wakeups);
    idleCpuMs.values.push_back(cpuNs / 1e6);
    resident.values.push_back(residentMB(app.pid()));
  }
  for (const auto& [thread, wakeups] : wakeupsByThread) {
    if (wakeups > 0)
      std::fprintf(stderr, "idle: thread %s woke %lld times in 30 s\n", thread.c_str(),
                   static_cast<long long>(wakeups));
  }

  std::fprintf(stderr,
               "press to live capture dates a recording's first sample by when it went into the "
               "microphone, in 10 ms blocks; below zero, the recording begins with sound from "
               "before the press\n");
  row("press to live capture", collect(warm, &Dictation::pressToCapture), "ms", 30.0, "< 30 ms");
  row("release to first byte (warm)", releaseToFirstByte, "ms");
  row("  bare libcurl POST, open connection", floor, "ms");
  row("  the app's network session alone, open connection", appSession, "ms");
  row("  ratio to the floor (medians)", ratio, "x", 1.5, "< 1.5x");
  row("client overhead", collect(warm, &Dictation::clientOverhead), "ms", 5.0, "< 5 ms");
  row("release to first byte, 80 ms handshake, warm",
      collect(handshakeWarm, &Dictation::releaseToFirstByte), "ms");
  row("release to first byte, 80 ms handshake, cold",
      collect(handshakeCold, &Dictation::releaseToFirstByte), "ms");
  row("idle CPU time per 10 s", idleCpuMs, "ms");
  row("idle wake-ups per 10 s, all threads", idleWakeups, "", 0.5, "0");
  row(windowsOpened ? "resident memory, panel and Settings opened"
                    : "resident memory (panel and Settings did NOT open)",
      resident, "MB", 60.0, "< 60 MB");
  curl_global_cleanup();
  return 0;
}

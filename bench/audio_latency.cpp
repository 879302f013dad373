// Measures, over repeated recordings into one file, the time from record() to the first
// captured audio reaching the recorder, the time record() and stop() hold the caller, and the
// time authorizationStatus() and makeRecorder() take, as a press does them; each as median and
// worst. Every other run plays "Tink" right after record(), as a press does, to show that the
// sound does not hold the capture back.
//
// A real microphone delivers samples all the time. The test server's virtual one is the monitor
// of a null sink, which renders two seconds ahead while nothing plays into it; so for the run a
// low-latency stream of silence is played into it, and the sink is suspended and resumed once to
// drop what it had rendered ahead. Without that the figures measure the null sink, not us.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

#include "dictation/RecorderSettings.h"
#include "platform/linux/audio/PulseAudioCaptureDevice.h"
#include "platform/linux/audio/PulseAudioRecorder.h"
#include "platform/linux/audio/PulseAudioRecorderFactory.h"
#include "platform/linux/audio/PulseAudioSounds.h"
#include "platform/linux/audio/PulseConnection.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace murvel;
using namespace murvel::linux_platform;

double millisecondsBetween(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration<double, std::milli>(to - from).count();
}

struct Series {
  const char* name;
  std::vector<double> values;

  void print() {
    if (values.empty()) {
      std::printf("%-38s no samples\n", name);
      return;
    }
    std::sort(values.begin(), values.end());
    std::printf("%-38s median %7.2f ms   worst %7.2f ms   (n=%zu)\n", name,
                values[values.size() / 2], values.back(), values.size());
  }
};

// Plays silence into the virtual microphone until destroyed.
class LiveMicrophone {
 public:
  LiveMicrophone() {
    const char* arguments[] = {
        "pacat",        "--playback",        "--device=vmic", "--format=s16le", "--rate=16000",
        "--channels=1", "--latency-msec=20", "/dev/zero",     nullptr};
    if (posix_spawnp(&pid_, "pacat", nullptr, nullptr, const_cast<char**>(arguments), environ) != 0)
      pid_ = -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    if (std::system("pactl suspend-sink vmic 1 && pactl suspend-sink vmic 0") != 0)
      std::fprintf(stderr, "could not restart the virtual microphone's sink\n");
  }
  ~LiveMicrophone() {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
  }
  bool running() const { return pid_ > 0; }

 private:
  pid_t pid_ = -1;
};

}  // namespace

int main(int argc, char** argv) {
  const int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 40;
  const auto file = std::filesystem::temp_directory_path() /
                    ("murvel-audio-latency-" + std::to_string(::getpid()) + ".wav");

  LiveMicrophone microphone;
  if (!microphone.running()) {
    std::fprintf(stderr, "pacat could not be started\n");
    return 1;
  }
  auto connection = std::make_shared<PulseConnection>();
  PulseAudioRecorderFactory factory(connection);
  PulseAudioCaptureDevice captureDevice(connection);
  PulseAudioSounds sounds(connection);
  auto tink = sounds.soundNamed("Tink");

  Series status{"authorizationStatus()", {}};
  Series make{"makeRecorder()", {}};
  Series record{"record() returns", {}};
  Series firstAudio{"record() to first audio", {}};
  Series firstAudioWithTink{"record() to first audio, Tink played", {}};
  Series stop{"stop() returns", {}};
  int failures = 0;

  for (int run = -1; run < runs; ++run) {  // run -1 warms up and is not counted
    const auto beforeStatus = Clock::now();
    const int authorization = captureDevice.authorizationStatus();
    const auto beforeMake = Clock::now();
    auto made = factory.makeRecorder(file, murvelRecorderSettings());
    const auto afterMake = Clock::now();
    if (!made.ok()) {
      std::fprintf(stderr, "makeRecorder failed: %s\n", made.error().localizedDescription.c_str());
      return 1;
    }
    auto& recorder = dynamic_cast<PulseAudioRecorder&>(*made.value());
    const auto beforeRecord = Clock::now();
    const bool started = recorder.record();
    const auto afterRecord = Clock::now();
    const bool withTink = run % 2 != 0;
    if (withTink)
      tink->play();
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    const auto beforeStop = Clock::now();
    recorder.stop();
    const auto afterStop = Clock::now();
    const auto first = recorder.firstAudioTime();
    if (run < 0)
      continue;
    if (!started || !first || authorization != PulseAudioCaptureDevice::authorized) {
      ++failures;
      continue;
    }
    status.values.push_back(millisecondsBetween(beforeStatus, beforeMake));
    make.values.push_back(millisecondsBetween(beforeMake, afterMake));
    record.values.push_back(millisecondsBetween(beforeRecord, afterRecord));
    (withTink ? firstAudioWithTink : firstAudio)
        .values.push_back(millisecondsBetween(beforeRecord, *first));
    stop.values.push_back(millisecondsBetween(beforeStop, afterStop));
  }
  std::filesystem::remove(file);

  std::printf("%d recordings of 150 ms, 20 ms fragments\n", runs);
  for (auto* series : {&status, &make, &record, &firstAudio, &firstAudioWithTink, &stop})
    series->print();
  if (failures > 0)
    std::printf("%d recordings never received audio or were not authorised\n", failures);
  return failures == 0 ? 0 : 1;
}

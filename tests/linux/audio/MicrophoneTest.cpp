#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <thread>

#include "AudioTestSupport.h"
#include "TemporaryDirectory.h"
#include "VirtualMicrophone.h"
#include "WavFile.h"
#include "common/Files.h"
#include "dictation/RecorderSettings.h"
#include "platform/linux/audio/AudioErrors.h"
#include "platform/linux/audio/PulseAudioCaptureDevice.h"
#include "platform/linux/audio/PulseAudioRecorderFactory.h"
#include "platform/linux/audio/PulseAudioSounds.h"

namespace murvel::linux_platform::test {
namespace {

using namespace std::chrono_literals;

bool unavailable(CaptureDevice& microphone) {
  const int status = microphone.authorizationStatus();
  return status < 0 || status > 3;
}

// The handler's answer, checked to come exactly once and before requestAccess() returns.
std::optional<bool> requestedAccess(CaptureDevice& microphone) {
  int calls = 0;
  std::optional<bool> answer;
  microphone.requestAccess([&](bool granted) { answer = (++calls, granted); });
  EXPECT_EQ(calls, 1);
  return answer;
}

// The recorder and the microphone status over one connection, as the application has them.
class MicrophoneTest : public ::testing::Test {
 protected:
  std::unique_ptr<AudioRecorder> recorder() {
    auto made = factory_.makeRecorder(file_, murvelRecorderSettings());
    EXPECT_TRUE(made.ok()) << (made.ok() ? "" : made.error().localizedDescription);
    return made.ok() ? std::move(made.value()) : nullptr;
  }

  PlatformError refusal() {
    auto made = factory_.makeRecorder(file_, murvelRecorderSettings());
    return made.ok() ? PlatformError{} : made.error();
  }

  murvel::test::TemporaryDirectory temporary_;
  std::filesystem::path directory_ = temporary_.path();
  std::filesystem::path file_ = directory_ / "murvel_recording.wav";
  std::shared_ptr<PulseConnection> connection_ = std::make_shared<PulseConnection>();
  PulseAudioRecorderFactory factory_{connection_};
  PulseAudioCaptureDevice microphone_{connection_};
};

// Where a stretch of a linear sweep lies in the sweep: the offset whose samples match it best.
std::size_t placeInSweep(const std::vector<std::int16_t>& sweep, const std::int16_t* stretch,
                         std::size_t length) {
  std::size_t best = 0;
  double bestScore = -1;
  for (std::size_t offset = 0; offset + length <= sweep.size(); ++offset) {
    double dot = 0, power = 0;
    for (std::size_t i = 0; i < length; ++i) {
      dot += double(stretch[i]) * sweep[offset + i];
      power += double(sweep[offset + i]) * sweep[offset + i];
    }
    const double score = power > 0 ? dot / std::sqrt(power) : 0;
    if (score > bestScore)
      best = offset, bestScore = score;
  }
  return best;
}

// A microphone hears what is said while the key is held, no earlier and no later: the recording of
// a hold in the middle of a sweep holds exactly the part of the sweep played during the hold.
TEST_F(MicrophoneTest, ASweepPlayedAcrossAHoldComesBackCoveringTheHold) {
  constexpr std::uint32_t rate = 16000;
  constexpr double seconds = 4, from = 300, to = 3000;
  Wav sweep{rate, {}};
  for (std::uint32_t i = 0; i < std::uint32_t(seconds * rate); ++i) {
    const double t = double(i) / rate;
    sweep.samples.push_back(
        std::int16_t(8000 * std::sin(2 * M_PI * (from * t + (to - from) * t * t / (2 * seconds)))));
  }
  const auto file = directory_ / "sweep.wav";
  std::ofstream(file, std::ios::binary)
      << murvel::test::wavFile({.audio = murvel::test::pcmBytes(sweep.samples)});

  murvel::test::Utterance utterance(file);
  const auto started = utterance.started();
  ASSERT_TRUE(started) << utterance.error();
  std::this_thread::sleep_until(*started + 1s);
  const auto press = std::chrono::steady_clock::now();
  auto taking = recorder();
  ASSERT_TRUE(taking && taking->record());
  PulseAudioSounds(connection_).soundNamed("Tink")->play();  // as at a press: it must not interfere
  std::this_thread::sleep_until(*started + 3s);
  const auto release = std::chrono::steady_clock::now();
  taking->stop();
  ASSERT_TRUE(utterance.ended());

  const Wav wav = readWav(file_);
  EXPECT_EQ(wav.sampleRate, rate);
  constexpr std::size_t window = rate / 50;  // 20 ms
  ASSERT_GT(wav.samples.size(), 2 * window);
  const auto first = placeInSweep(sweep.samples, wav.samples.data(), window);
  const auto last =
      placeInSweep(sweep.samples, wav.samples.data() + wav.samples.size() - window, window) +
      window;
  const auto inSweep = [&](std::chrono::steady_clock::time_point instant) {
    return std::chrono::duration<double>(instant - *started).count();
  };
  EXPECT_NEAR(double(first) / rate, inSweep(press), 0.05);
  EXPECT_NEAR(double(last) / rate, inSweep(release), 0.05);
  // And nothing in between went missing or came twice.
  EXPECT_NEAR(double(wav.samples.size()) / rate, double(last - first) / rate, 0.05);
}

TEST_F(MicrophoneTest, ANewRecordingReplacesTheFileWhileReadersKeepTheOldOne) {
  const auto speech = murvel::test::speech("The first take is the longer one.", directory_);
  ASSERT_FALSE(speech.empty());
  auto first = recorder();
  ASSERT_TRUE(first && first->record());
  EXPECT_TRUE(murvel::test::say(speech));
  first->stop();
  const auto firstTake = readWholeFile(file_).value_or("");
  ASSERT_GT(readWav(file_).rms(), 300.0);

  // An upload still reading the first take when the next press comes.
  std::ifstream upload(file_, std::ios::binary);
  auto second = recorder();
  ASSERT_TRUE(second && second->record());
  std::this_thread::sleep_for(200ms);
  second.reset();  // dropped while recording: the file must still be complete

  const Wav replaced = readWav(file_);
  EXPECT_GT(replaced.seconds(), 0.1);
  EXPECT_EQ(replaced.rms(), 0.0) << "the second take should hold only silence";
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(upload), {}), firstTake);
}

TEST_F(MicrophoneTest, StopRightAfterRecordLeavesACompleteFileAndNoCaptureBehind) {
  for (int round = 0; round < 3; ++round) {
    auto taking = recorder();
    ASSERT_TRUE(taking && taking->record());
    taking->stop();
    EXPECT_LT(readWav(file_).seconds(), 0.5);
  }
  // The server may still be making the last stream when stop() returns; it must end it then.
  EXPECT_TRUE(waitFor([] { return run("pactl list source-outputs | grep -q Dictation") != 0; }))
      << "the microphone was left open";
}

TEST_F(MicrophoneTest, TheStatusFollowsTheSourceWithoutAskingTheServer) {
  ASSERT_TRUE(waitFor([&] { return microphone_.authorizationStatus() == 3; }));
  EXPECT_EQ(requestedAccess(microphone_), true);
  {
    const auto frozen = freezeServer();  // a question to the server now goes unanswered
    EXPECT_EQ(microphone_.authorizationStatus(), 3);
    // The recorder does ask before it records, and gives up rather than hang.
    EXPECT_EQ(refusal().code, static_cast<long>(AudioErrorCode::noSoundServer));
  }
  // Without the microphone and the speakers' monitor the server has no source left at all.
  ASSERT_EQ(run("pactl unload-module module-pipe-source && pactl unload-module module-null-sink"),
            0);
  EXPECT_TRUE(waitFor([&] { return unavailable(microphone_); }));
  EXPECT_EQ(requestedAccess(microphone_), false);
  EXPECT_EQ(refusal().localizedDescription, "No microphone was found.");

  ASSERT_EQ(run("pactl load-module module-null-sink sink_name=mic >/dev/null"), 0);
  EXPECT_TRUE(waitFor([&] { return microphone_.authorizationStatus() == 3; }));
}

TEST_F(MicrophoneTest, TheServerGoingAwayEndsTheRecordingAndItsReturnIsNoticed) {
  auto taking = recorder();
  ASSERT_TRUE(taking && taking->record());
  std::this_thread::sleep_for(300ms);
  ASSERT_TRUE(stopSoundServer());
  taking->stop();
  EXPECT_GT(readWav(file_).seconds(), 0.15);
  EXPECT_TRUE(waitFor([&] { return unavailable(microphone_); }));
  EXPECT_EQ(refusal().code, static_cast<long>(AudioErrorCode::noSoundServer));

  ASSERT_TRUE(startSoundServer());
  EXPECT_TRUE(waitFor([&] { return microphone_.authorizationStatus() == 3; }));
  EXPECT_TRUE(recorder());
}

TEST(MicrophoneWithoutServerTest, NothingCanBeRecordedAndTheReasonIsReadable) {
  NoSoundServer absent;
  PulseAudioCaptureDevice microphone;
  EXPECT_TRUE(unavailable(microphone));
  EXPECT_EQ(requestedAccess(microphone), false);

  murvel::test::TemporaryDirectory directory;
  const auto file = directory.path() / "murvel_recording.wav";
  auto made = PulseAudioRecorderFactory().makeRecorder(file, murvelRecorderSettings());
  ASSERT_FALSE(made.ok());
  EXPECT_EQ(made.error().domain, audioErrorDomain);
  EXPECT_EQ(made.error().code, static_cast<long>(AudioErrorCode::noSoundServer));
  EXPECT_EQ(made.error().localizedDescription,
            "No sound server is running, so no microphone can be reached.");
  EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace murvel::linux_platform::test

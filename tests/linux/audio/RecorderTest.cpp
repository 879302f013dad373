#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <thread>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "AudioTestSupport.h"
#include "WavFile.h"
#include "dictation/RecorderSettings.h"
#include "platform/linux/audio/AudioErrors.h"
#include "platform/linux/audio/PulseAudioRecorderFactory.h"
#include "platform/linux/audio/PulseAudioSounds.h"

namespace murvel::linux_platform::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::unique_ptr<AudioRecorder> makeRecorder(AudioRecorderFactory& factory,
                                            const std::filesystem::path& file) {
  auto made = factory.makeRecorder(file, murvelRecorderSettings());
  EXPECT_TRUE(made.ok()) << (made.ok() ? "" : made.error().localizedDescription);
  return made.ok() ? std::move(made.value()) : nullptr;
}

// Reads the file back and checks that it is the format the session asked for, with sizes that
// agree with the file; fails the test otherwise.
WavFile readRecording(const std::filesystem::path& file) {
  auto read = readWav(file);
  EXPECT_TRUE(read.file.has_value()) << read.problem;
  if (!read.file)
    return {};
  const WavFile& wav = *read.file;
  EXPECT_EQ(wav.formatTag, 1);
  EXPECT_EQ(wav.channels, 1);
  EXPECT_EQ(wav.sampleRate, 16000u);
  EXPECT_EQ(wav.byteRate, 32000u);
  EXPECT_EQ(wav.blockAlign, 2);
  EXPECT_EQ(wav.bitsPerSample, 16);
  EXPECT_EQ(wav.dataOffset, 44u);
  EXPECT_EQ(std::filesystem::file_size(file), 44 + 2 * wav.samples.size());
  return wav;
}

std::string contents(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

class RecorderTest : public ::testing::Test {
 protected:
  ResponsiveSink microphone_{"vmic"};
  std::filesystem::path directory_ = scratchDirectory();
  std::filesystem::path file_ = directory_ / "murvel_recording.wav";
};

TEST_F(RecorderTest, RecordsAllOfWhatTheMicrophoneHears) {
  const auto speech = speak("Hello, this is a dictation test.", directory_);
  auto original = readWav(speech);
  ASSERT_TRUE(original.file) << original.problem;

  PulseAudioRecorderFactory factory;
  PulseAudioSounds sounds;
  auto recorder = makeRecorder(factory, file_);
  ASSERT_TRUE(recorder);
  const auto start = Clock::now();
  ASSERT_TRUE(recorder->record());
  sounds.soundNamed("Tink")->play();  // as at a real press: the sound must not get in the way
  playIntoMicrophone(speech);
  std::this_thread::sleep_for(300ms);
  const double untilStop = secondsSince(start);
  recorder->stop();
  const double untilStopped = secondsSince(start);

  const WavFile wav = readRecording(file_);
  // Everything from record() to stop() is in the file, give or take what was still in flight.
  EXPECT_GT(wav.seconds(), untilStop - 0.15);
  EXPECT_LT(wav.seconds(), untilStopped + 0.05);
  EXPECT_GT(wav.seconds(), original.file->seconds());
  // Neither the first nor the last word is lost: the speech's energy arrived whole.
  EXPECT_NEAR(wav.energy() / original.file->energy(), 1.0, 0.1);
}

TEST_F(RecorderTest, ANewRecordingReplacesTheFileWhileReadersKeepTheOldOne) {
  const auto speech = speak("The first take is the longer one.", directory_);
  PulseAudioRecorderFactory factory;

  auto first = makeRecorder(factory, file_);
  ASSERT_TRUE(first && first->record());
  playIntoMicrophone(speech);
  first->stop();
  const auto firstTake = contents(file_);
  ASSERT_GT(readRecording(file_).rms(), 300.0);

  // An upload still reading the first take when the next press comes.
  std::ifstream upload(file_, std::ios::binary);
  auto second = makeRecorder(factory, file_);
  ASSERT_TRUE(second && second->record());
  std::this_thread::sleep_for(200ms);
  second->stop();

  const WavFile replaced = readRecording(file_);
  EXPECT_LT(std::filesystem::file_size(file_), firstTake.size());
  EXPECT_GT(replaced.samples.size(), 0u);
  EXPECT_EQ(replaced.rms(), 0.0) << "the second take should hold only silence";
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(upload), {}), firstTake);
}

int captureStreams() {
  return std::stoi(output("pactl list short source-outputs | wc -l"));
}

TEST_F(RecorderTest, StopRightAfterRecordLeavesACompleteFileAndNoCaptureBehind) {
  PulseAudioRecorderFactory factory;
  for (int round = 0; round < 3; ++round) {
    auto recorder = makeRecorder(factory, file_);
    ASSERT_TRUE(recorder && recorder->record());
    recorder->stop();
    const WavFile wav = readRecording(file_);
    EXPECT_LT(wav.seconds(), 0.5);
  }
  // The server may still be making the last stream when stop() returns; it must end it then.
  for (int i = 0; i < 50 && captureStreams() > 0; ++i) std::this_thread::sleep_for(20ms);
  EXPECT_EQ(captureStreams(), 0) << "the microphone was left open";
}

TEST_F(RecorderTest, ARecorderDroppedWhileRecordingLeavesAValidFile) {
  PulseAudioRecorderFactory factory;
  auto recorder = makeRecorder(factory, file_);
  ASSERT_TRUE(recorder && recorder->record());
  std::this_thread::sleep_for(400ms);
  recorder.reset();

  EXPECT_GT(readRecording(file_).seconds(), 0.25);
}

TEST_F(RecorderTest, TheServerGoingAwayEndsTheRecordingAndItsReturnIsNoticed) {
  PulseAudioRecorderFactory factory;
  auto recorder = makeRecorder(factory, file_);
  ASSERT_TRUE(recorder && recorder->record());
  std::this_thread::sleep_for(300ms);
  ASSERT_TRUE(stopSoundServer());

  recorder->stop();
  EXPECT_GT(readRecording(file_).seconds(), 0.15);

  auto refused = factory.makeRecorder(file_, murvelRecorderSettings());
  ASSERT_FALSE(refused.ok());
  EXPECT_EQ(refused.error().code, static_cast<long>(AudioErrorCode::noSoundServer));

  ASSERT_TRUE(startSoundServer());
  ResponsiveSink restartedMicrophone("vmic");
  const auto speech = speak("Back again.", directory_);
  auto again = makeRecorder(factory, file_);
  ASSERT_TRUE(again && again->record());
  playIntoMicrophone(speech);
  again->stop();
  EXPECT_GT(readRecording(file_).rms(), 300.0);
}

TEST_F(RecorderTest, CreationWithoutAServerFailsWithAReadableReason) {
  NoSoundServer absent;
  PulseAudioRecorderFactory factory;
  auto made = factory.makeRecorder(file_, murvelRecorderSettings());
  ASSERT_FALSE(made.ok());
  EXPECT_EQ(made.error().domain, audioErrorDomain);
  EXPECT_EQ(made.error().code, static_cast<long>(AudioErrorCode::noSoundServer));
  EXPECT_EQ(made.error().localizedDescription,
            "No sound server is running, so no microphone can be reached.");
  EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(RecorderTest, CreationWithoutACaptureSourceSaysNoMicrophoneWasFound) {
  PulseAudioRecorderFactory factory;
  ASSERT_TRUE(makeRecorder(factory, file_));
  // Without its sinks the server has no source left at all.
  ASSERT_EQ(run("pactl unload-module module-null-sink"), 0);

  auto made = factory.makeRecorder(file_, murvelRecorderSettings());
  ASSERT_FALSE(made.ok());
  EXPECT_EQ(made.error().code, static_cast<long>(AudioErrorCode::noMicrophone));
  EXPECT_EQ(made.error().localizedDescription, "No microphone was found.");
}

TEST_F(RecorderTest, AServerThatNeverAnswersIsTreatedAsAbsent) {
  // A socket that accepts connections into its backlog and never says a word.
  const auto socketPath = directory_ / "stuck";
  const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(listener, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  socketPath.string().copy(address.sun_path, sizeof(address.sun_path) - 1);
  ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  ASSERT_EQ(::listen(listener, 4), 0);
  ScopedEnvironment stuck("PULSE_SERVER", "unix:" + socketPath.string());

  auto attempt = std::async(std::launch::async, [&] {
    PulseAudioRecorderFactory factory;
    auto made = factory.makeRecorder(file_, murvelRecorderSettings());
    return made.ok() ? 0L : made.error().code;
  });
  // Only a guard against hanging for ever; the recorder gives up far sooner.
  ASSERT_EQ(attempt.wait_for(10s), std::future_status::ready);
  EXPECT_EQ(attempt.get(), static_cast<long>(AudioErrorCode::noSoundServer));
  ::close(listener);
}

}  // namespace
}  // namespace murvel::linux_platform::test

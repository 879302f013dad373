#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <thread>

#include "AudioTestSupport.h"
#include "TemporaryDirectory.h"
#include "dictation/RecorderSettings.h"
#include "platform/linux/audio/PulseAudioRecorderFactory.h"
#include "platform/linux/audio/PulseAudioSounds.h"
#include "platform/linux/audio/SoundSynthesis.h"

namespace murvel::linux_platform::test {
namespace {

using namespace std::chrono_literals;

// Seconds from the first to the last sample louder than a whisper.
double audibleSpan(const std::vector<std::int16_t>& samples, double sampleRate) {
  std::size_t first = samples.size(), end = 0;
  for (std::size_t i = 0; i < samples.size(); ++i)
    if (std::abs(samples[i]) > 100)
      first = std::min(first, i), end = i + 1;
  return end > first ? double(end - first) / sampleRate : 0;
}

TEST(SoundsTest, TheSoundsAreShortAndSoftAndAreHeardOnTheDefaultSink) {
  for (const auto& clip : {synthesizeTink(), synthesizePop()}) {
    EXPECT_GT(audibleSpan(clip, soundSampleRate), 0.03);
    EXPECT_LT(audibleSpan(clip, soundSampleRate), 0.12);
    const auto [low, high] = std::minmax_element(clip.begin(), clip.end());
    EXPECT_GT(std::max(-*low, int(*high)), 2000);
    EXPECT_LT(std::max(-*low, int(*high)), 16384) << "louder than half of full scale";
    EXPECT_TRUE(clip.front() == 0 && clip.back() == 0) << "a click at either end";
  }

  ASSERT_EQ(run("pactl set-default-source speakers.monitor"), 0);
  murvel::test::TemporaryDirectory directory;
  const auto file = directory.path() / "heard.wav";
  PulseAudioSounds sounds;
  auto made = PulseAudioRecorderFactory().makeRecorder(file, murvelRecorderSettings());
  ASSERT_TRUE(made.ok() && made.value()->record());
  sounds.soundNamed("Tink")->play();
  std::this_thread::sleep_for(600ms);
  made.value()->stop();
  const double heard = audibleSpan(readWav(file).samples, 16000);
  EXPECT_GT(heard, 0.02);
  EXPECT_LT(heard, 0.2);
}

TEST(SoundsTest, OnlyKnownSoundsAreFoundAndPlayingThemNeverWaits) {
  auto connection = std::make_shared<PulseConnection>();
  auto sounds = std::make_unique<PulseAudioSounds>(connection);
  for (const char* unknown : {"Basso", "tink", ""}) EXPECT_EQ(sounds->soundNamed(unknown), nullptr);
  auto pop = sounds->soundNamed("Pop");
  ASSERT_TRUE(pop && sounds->soundNamed("Tink"));
  ASSERT_EQ(connection->defaultSourceState(5s), PulseConnection::SourceState::available);

  std::future<void> playing;
  {
    // A play that waited for the server or for the clip to end would now wait for ever.
    const auto frozen = freezeServer();
    playing = std::async(std::launch::async, [&] {
      for (int i = 0; i < 10; ++i) pop->play();
    });
    ASSERT_EQ(playing.wait_for(10s), std::future_status::ready);
    // Cut off while the server is still making their streams.
    pop.reset();
    sounds.reset();
  }
  // A round trip after the requests: the server has made the streams, and must end them.
  EXPECT_EQ(connection->defaultSourceState(5s), PulseConnection::SourceState::available);
  EXPECT_TRUE(waitFor([] { return run("pactl list sink-inputs | grep -q Feedback") != 0; }));
}

}  // namespace
}  // namespace murvel::linux_platform::test

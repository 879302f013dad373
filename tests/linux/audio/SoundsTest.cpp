#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

#include "AudioTestSupport.h"
#include "WavFile.h"
#include "dictation/RecorderSettings.h"
#include "platform/linux/audio/PulseAudioRecorderFactory.h"
#include "platform/linux/audio/PulseAudioSounds.h"
#include "platform/linux/audio/SoundSynthesis.h"

namespace murvel::linux_platform::test {
namespace {

using namespace std::chrono_literals;

TEST(SoundsTest, OnlyTinkAndPopAreKnown) {
  PulseAudioSounds sounds;
  EXPECT_NE(sounds.soundNamed("Tink"), nullptr);
  EXPECT_NE(sounds.soundNamed("Pop"), nullptr);
  EXPECT_EQ(sounds.soundNamed("Tink"), sounds.soundNamed("Tink"));
  EXPECT_NE(sounds.soundNamed("Tink"), sounds.soundNamed("Pop"));
  EXPECT_EQ(sounds.soundNamed("Basso"), nullptr);
  EXPECT_EQ(sounds.soundNamed("tink"), nullptr);
  EXPECT_EQ(sounds.soundNamed(""), nullptr);
}

// Where a clip is louder than a whisper, in seconds from its first to its last such sample.
double audibleSpan(const std::vector<std::int16_t>& samples, double sampleRate) {
  auto loud = [](std::int16_t s) {
    return std::abs(s) > 100;
  };
  const auto first = std::find_if(samples.begin(), samples.end(), loud);
  const auto last = std::find_if(samples.rbegin(), samples.rend(), loud);
  if (first == samples.end())
    return 0;
  return static_cast<double>(std::distance(first, last.base())) / sampleRate;
}

TEST(SoundsTest, TheClipsAreShortQuietAndDoNotClick) {
  for (const auto& clip : {synthesizeTink(), synthesizePop()}) {
    const double span = audibleSpan(clip, soundSampleRate);
    EXPECT_GT(span, 0.03);
    EXPECT_LT(span, 0.12);
    const auto peak = std::abs(*std::max_element(
        clip.begin(), clip.end(), [](auto a, auto b) { return std::abs(a) < std::abs(b); }));
    EXPECT_GT(peak, 2000);
    EXPECT_LT(peak, 16384) << "louder than half of full scale";
    EXPECT_EQ(clip.front(), 0);
    EXPECT_EQ(clip.back(), 0);
  }
}

TEST(SoundsTest, TinkIsHeardOnTheDefaultSink) {
  ResponsiveSink speakers("speakers");
  ASSERT_EQ(run("pactl set-default-source speakers.monitor"), 0);
  const auto file = scratchDirectory() / "heard.wav";
  PulseAudioRecorderFactory recorders;
  PulseAudioSounds sounds;
  auto made = recorders.makeRecorder(file, murvelRecorderSettings());
  ASSERT_TRUE(made.ok());
  ASSERT_TRUE(made.value()->record());
  sounds.soundNamed("Tink")->play();
  std::this_thread::sleep_for(600ms);
  made.value()->stop();

  auto heard = readWav(file);
  ASSERT_TRUE(heard.file) << heard.problem;
  const double span = audibleSpan(heard.file->samples, 16000);
  EXPECT_GT(span, 0.02);
  EXPECT_LT(span, 0.2);
}

TEST(SoundsTest, PlayReturnsBeforeTheSoundHasPlayedAndSoundsCanBeDroppedMidway) {
  ResponsiveSink speakers("speakers");
  auto connection = std::make_shared<PulseConnection>();
  auto sounds = std::make_unique<PulseAudioSounds>(connection);
  auto pop = sounds->soundNamed("Pop");
  const auto start = std::chrono::steady_clock::now();
  constexpr int plays = 10;
  for (int i = 0; i < plays; ++i) pop->play();
  const auto spent = std::chrono::steady_clock::now() - start;
  // Waiting for each clip to finish would take at least the clips' total length.
  EXPECT_LT(spent, plays * 100ms);

  // The clips are cut off while the connection lives on: nothing of theirs may be touched later.
  pop.reset();
  sounds.reset();
  std::this_thread::sleep_for(300ms);
  PulseConnection::Lock lock(*connection);
  EXPECT_NE(connection->readyContext(1s), nullptr);
}

}  // namespace
}  // namespace murvel::linux_platform::test

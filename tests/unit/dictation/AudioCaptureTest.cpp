#include "dictation/RecorderSettings.h"
#include "fakes/AppHarness.h"

namespace murvel::testing {
namespace {

TEST(AudioCaptureTest, RecorderSettingsDescribe16kHzMono16BitPCM) {
  const RecorderSettings expected{{"AVFormatIDKey", std::int64_t{0x6C70636D}},
                                  {"AVSampleRateKey", 16000.0},
                                  {"AVNumberOfChannelsKey", std::int64_t{1}},
                                  {"AVLinearPCMBitDepthKey", std::int64_t{16}},
                                  {"AVLinearPCMIsFloatKey", false},
                                  {"AVLinearPCMIsBigEndianKey", false},
                                  {"AVLinearPCMIsNonInterleaved", false}};
  EXPECT_EQ(murvelRecorderSettings(), expected);
}

TEST(AudioCaptureTest, EveryRecordingGoesToTheOneFileInTheTemporaryDirectory) {
  AppHarness h;
  EXPECT_EQ(h.app->recordingURL, std::nullopt);
  h.prepareSession();
  EXPECT_EQ(h.app->recordingURL, h.fake.workspace.temporary / "murvel_recording.wav");
  EXPECT_FALSE(std::filesystem::exists(*h.app->recordingURL));  // nothing made on disk yet
  h.app->startRecording();
  h.app->stopRecording();
  h.app->startRecording();
  EXPECT_EQ(h.fake.audioRecorders.urls,
            (std::vector<std::filesystem::path>{*h.app->recordingURL, *h.app->recordingURL}));
  EXPECT_EQ(h.fake.audioRecorders.settings.size(), 2u);
}

}  // namespace
}  // namespace murvel::testing

#include "fakes/AppHarness.h"

namespace murvel::testing {
namespace {

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

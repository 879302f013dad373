#include <gtest/gtest.h>

#include <optional>

#include "AudioTestSupport.h"
#include "platform/linux/audio/PulseAudioCaptureDevice.h"

namespace murvel::linux_platform::test {
namespace {

bool isAnAuthorisationAnswer(int status) {
  return status >= 0 && status <= 3;
}

// The handler's answers, checked to come exactly once and before requestAccess() returns.
std::optional<bool> requestedAccess(CaptureDevice& device) {
  int calls = 0;
  std::optional<bool> answer;
  device.requestAccess([&](bool granted) {
    ++calls;
    answer = granted;
  });
  EXPECT_EQ(calls, 1);
  return answer;
}

TEST(CaptureDeviceTest, NoServerMeansUnavailable) {
  NoSoundServer absent;
  PulseAudioCaptureDevice device;
  EXPECT_FALSE(isAnAuthorisationAnswer(device.authorizationStatus()));
  EXPECT_EQ(requestedAccess(device), false);
}

TEST(CaptureDeviceTest, TheStatusFollowsTheSourceAndTheServer) {
  PulseAudioCaptureDevice device;
  EXPECT_EQ(device.authorizationStatus(), 3);
  EXPECT_EQ(requestedAccess(device), true);

  ASSERT_EQ(run("pactl unload-module module-null-sink"), 0);
  EXPECT_FALSE(isAnAuthorisationAnswer(device.authorizationStatus()));

  ASSERT_TRUE(stopSoundServer());
  EXPECT_FALSE(isAnAuthorisationAnswer(device.authorizationStatus()));
  EXPECT_EQ(requestedAccess(device), false);

  ASSERT_TRUE(startSoundServer());
  EXPECT_EQ(device.authorizationStatus(), 3);
}

}  // namespace
}  // namespace murvel::linux_platform::test

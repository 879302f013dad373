#include <gtest/gtest.h>

#include "dictation/RecorderSettings.h"
#include "platform/linux/audio/AudioErrors.h"
#include "platform/linux/audio/RecorderFormat.h"

namespace murvel::linux_platform::test {
namespace {

TEST(RecorderFormatTest, TheSessionsSettingsAreAccepted) {
  EXPECT_FALSE(checkRecorderSettings(murvelRecorderSettings()).has_value());
}

TEST(RecorderFormatTest, NumbersAndFlagsMayComeInEitherRepresentation) {
  auto settings = murvelRecorderSettings();
  settings["AVSampleRateKey"] = std::int64_t{16000};
  settings["AVNumberOfChannelsKey"] = 1.0;
  settings["AVLinearPCMIsFloatKey"] = std::int64_t{0};
  settings["SomeEncoderKey"] = std::int64_t{128000};  // meaningless for PCM, so ignored
  EXPECT_FALSE(checkRecorderSettings(settings).has_value());
}

struct Refusal {
  const char* key;
  RecorderSettingValue value;  // the wrong value; unused when `remove`
  bool remove;
  const char* says;
};

class RecorderFormatRefusalTest : public ::testing::TestWithParam<Refusal> {};

TEST_P(RecorderFormatRefusalTest, AnyOtherFormatIsRefusedWithTheReason) {
  auto settings = murvelRecorderSettings();
  if (GetParam().remove)
    settings.erase(GetParam().key);
  else
    settings[GetParam().key] = GetParam().value;

  const auto refusal = checkRecorderSettings(settings);
  ASSERT_TRUE(refusal.has_value());
  EXPECT_EQ(refusal->domain, audioErrorDomain);
  EXPECT_EQ(refusal->code, static_cast<long>(AudioErrorCode::unsupportedFormat));
  EXPECT_NE(refusal->localizedDescription.find(GetParam().says), std::string::npos)
      << refusal->localizedDescription;
}

INSTANTIATE_TEST_SUITE_P(
    EachSetting, RecorderFormatRefusalTest,
    ::testing::Values(
        Refusal{"AVFormatIDKey", std::int64_t{0x61616320}, false, "linear PCM"},  // 'aac '
        Refusal{"AVSampleRateKey", 44100.0, false, "16000 Hz"},
        Refusal{"AVSampleRateKey", 16000.5, false, "16000 Hz"},
        Refusal{"AVNumberOfChannelsKey", std::int64_t{2}, false, "mono"},
        Refusal{"AVLinearPCMBitDepthKey", std::int64_t{24}, false, "16-bit"},
        Refusal{"AVLinearPCMBitDepthKey", true, false, "16-bit"},
        Refusal{"AVLinearPCMIsFloatKey", true, false, "integer"},
        Refusal{"AVLinearPCMIsBigEndianKey", true, false, "little-endian"},
        Refusal{"AVLinearPCMIsBigEndianKey", std::int64_t{2}, false, "little-endian"},
        Refusal{"AVLinearPCMIsNonInterleaved", true, false, "interleaved"},
        Refusal{"AVSampleRateKey", false, true, "AVSampleRateKey is missing"},
        Refusal{"AVLinearPCMIsFloatKey", false, true, "AVLinearPCMIsFloatKey is missing"}),
    [](const ::testing::TestParamInfo<Refusal>& info) {
      return std::string(info.param.remove ? "Missing" : "Wrong") + info.param.key +
             std::to_string(info.index);
    });

}  // namespace
}  // namespace murvel::linux_platform::test

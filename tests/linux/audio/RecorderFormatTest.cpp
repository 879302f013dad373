#include <gtest/gtest.h>

#include <optional>

#include "dictation/RecorderSettings.h"
#include "platform/linux/audio/AudioErrors.h"
#include "platform/linux/audio/RecorderFormat.h"

namespace murvel::linux_platform::test {
namespace {

struct Change {
  const char* key;
  std::optional<RecorderSettingValue> value;  // none: the setting is left out
  const char* refusal;                        // part of the reason; null when accepted
};

TEST(RecorderFormatTest, OnlyTheSessionsFormatIsAcceptedInWhicheverRepresentation) {
  EXPECT_FALSE(checkRecorderSettings(murvelRecorderSettings()).has_value());
  const Change changes[] = {
      {"AVSampleRateKey", std::int64_t{16000}, nullptr},
      {"AVLinearPCMIsFloatKey", std::int64_t{0}, nullptr},
      {"SomeEncoderKey", std::int64_t{128000}, nullptr},          // meaningless for PCM, so ignored
      {"AVFormatIDKey", std::int64_t{0x61616320}, "linear PCM"},  // 'aac '
      {"AVSampleRateKey", 16000.5, "16000 Hz"},
      {"AVNumberOfChannelsKey", std::int64_t{2}, "mono"},
      {"AVLinearPCMIsBigEndianKey", true, "little-endian"},
      {"AVSampleRateKey", std::nullopt, "AVSampleRateKey is missing"},
  };
  for (const auto& change : changes) {
    SCOPED_TRACE(std::string(change.key) + (change.refusal ? " refused" : " accepted"));
    auto settings = murvelRecorderSettings();
    if (change.value)
      settings[change.key] = *change.value;
    else
      settings.erase(change.key);
    const auto refusal = checkRecorderSettings(settings);
    EXPECT_EQ(refusal.has_value(), change.refusal != nullptr);
    if (!refusal || !change.refusal)
      continue;
    EXPECT_EQ(refusal->code, static_cast<long>(AudioErrorCode::unsupportedFormat));
    EXPECT_NE(refusal->localizedDescription.find(change.refusal), std::string::npos)
        << refusal->localizedDescription;
  }
}

}  // namespace
}  // namespace murvel::linux_platform::test

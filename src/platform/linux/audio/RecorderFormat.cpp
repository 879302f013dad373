#include "platform/linux/audio/RecorderFormat.h"

#include <string>
#include <variant>

#include "platform/linux/audio/AudioErrors.h"

namespace murvel::linux_platform {

namespace {

constexpr std::int64_t linearPcm = 0x6C70636D;  // 'lpcm'

std::optional<double> number(const RecorderSettingValue& value) {
  if (const auto* i = std::get_if<std::int64_t>(&value))
    return static_cast<double>(*i);
  if (const auto* d = std::get_if<double>(&value))
    return *d;
  return std::nullopt;
}

std::optional<bool> flag(const RecorderSettingValue& value) {
  if (const auto* b = std::get_if<bool>(&value))
    return *b;
  if (const auto* i = std::get_if<std::int64_t>(&value); i != nullptr && (*i == 0 || *i == 1))
    return *i == 1;
  return std::nullopt;
}

struct NumberRule {
  const char* key;
  double required;
  const char* refusal;
};

struct FlagRule {
  const char* key;
  const char* refusal;  // every flag must be false
};

constexpr NumberRule numberRules[] = {
    {"AVFormatIDKey", static_cast<double>(linearPcm), "only linear PCM is recorded"},
    {"AVSampleRateKey", 16000.0, "only 16000 Hz is recorded"},
    {"AVNumberOfChannelsKey", 1.0, "only mono is recorded"},
    {"AVLinearPCMBitDepthKey", 16.0, "only 16-bit samples are recorded"},
};

constexpr FlagRule flagRules[] = {
    {"AVLinearPCMIsFloatKey", "only integer samples are recorded"},
    {"AVLinearPCMIsBigEndianKey", "only little-endian samples are recorded"},
    {"AVLinearPCMIsNonInterleaved", "only interleaved samples are recorded"},
};

PlatformError missing(const char* key) {
  return unsupportedFormatError(std::string("the setting ") + key + " is missing");
}

}  // namespace

std::optional<PlatformError> checkRecorderSettings(const RecorderSettings& settings) {
  for (const auto& rule : numberRules) {
    const auto it = settings.find(rule.key);
    if (it == settings.end())
      return missing(rule.key);
    const auto value = number(it->second);
    if (!value || *value != rule.required)
      return unsupportedFormatError(rule.refusal);
  }
  for (const auto& rule : flagRules) {
    const auto it = settings.find(rule.key);
    if (it == settings.end())
      return missing(rule.key);
    const auto value = flag(it->second);
    if (!value || *value)
      return unsupportedFormatError(rule.refusal);
  }
  return std::nullopt;
}

}  // namespace murvel::linux_platform

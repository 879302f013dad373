#include "stores/Settings.h"

#include "common/Text.h"
#include "hotkey/HotkeyCatalogue.h"

namespace murvel {

namespace {
bool isCleanupMode(std::string_view mode) {
  return mode == "off" || mode == "fast" || mode == "smart";
}
}  // namespace

void Settings::registerDefaults() {
  defaults_.registerDefaults(PropertyValue{{std::string(SettingsKey::aiCleanup), true},
                                           {std::string(SettingsKey::cleanupMode), "fast"}});
}

std::string Settings::cleanupMode() const {
  const std::string stored = defaults_.stringForKey(SettingsKey::cleanupMode).value_or("");
  std::string mode = lowercased(trimmedWhitespaceAndNewlines(stored));
  if (isCleanupMode(mode))
    return mode;
  // An unknown mode falls back on the older boolean form of the same choice.
  return defaults_.boolForKey(SettingsKey::aiCleanup) ? "fast" : "off";
}

void Settings::setCleanupMode(std::string_view mode) {
  const std::string stored = isCleanupMode(mode) ? std::string(mode) : std::string("smart");
  defaults_.setObject(PropertyValue(stored), SettingsKey::cleanupMode);
  defaults_.setBool(stored != "off", SettingsKey::aiCleanup);
}

bool Settings::aiCleanup() const {
  return cleanupMode() != "off";
}

void Settings::setAiCleanup(bool enabled) {
  setCleanupMode(enabled ? "fast" : "off");
}

std::string Settings::hotkey() const {
  const std::string stored = defaults_.stringForKey(SettingsKey::hotkey).value_or("");
  if (auto option = murvelHotkeyOption(stored))
    return option->value;
  return "fn";
}

void Settings::setHotkey(std::string_view token) {
  setString(token, SettingsKey::hotkey);
}

std::string Settings::defaultTone() const {
  return defaults_.stringForKey(SettingsKey::defaultTone).value_or("auto");
}

void Settings::setDefaultTone(std::string_view tone) {
  setString(tone, SettingsKey::defaultTone);
}

AppTones Settings::appTones() const {
  auto dictionary = defaults_.dictionaryForKey(SettingsKey::appTones);
  if (!dictionary)
    return {};
  AppTones tones;
  for (const auto& [bundleIdentifier, tone] : dictionary->items()) {
    if (!tone.is_string())
      return {};  // all or nothing
    tones.emplace(bundleIdentifier, tone.get<std::string>());
  }
  return tones;
}

void Settings::setAppTones(const AppTones& tones) {
  PropertyValue dictionary = PropertyValue::object();
  for (const auto& [bundleIdentifier, tone] : tones) dictionary[bundleIdentifier] = tone;
  defaults_.setObject(dictionary, SettingsKey::appTones);
}

std::string Settings::signedInEmail() const {
  return stringOrEmpty(SettingsKey::signedInEmail);
}

void Settings::setSignedInEmail(std::string_view email) {
  setString(email, SettingsKey::signedInEmail);
}

std::string Settings::lastLaunchHintVersion() const {
  return stringOrEmpty(SettingsKey::lastLaunchHintVersion);
}

void Settings::setLastLaunchHintVersion(std::string_view version) {
  setString(version, SettingsKey::lastLaunchHintVersion);
}

std::string Settings::lastPermissionsPromptVersion() const {
  return stringOrEmpty(SettingsKey::lastPermissionsPromptVersion);
}

void Settings::setLastPermissionsPromptVersion(std::string_view version) {
  setString(version, SettingsKey::lastPermissionsPromptVersion);
}

std::string Settings::stringOrEmpty(std::string_view key) const {
  return defaults_.stringForKey(key).value_or("");
}

void Settings::setString(std::string_view value, std::string_view key) {
  defaults_.setObject(PropertyValue(std::string(value)), key);
}

}  // namespace murvel

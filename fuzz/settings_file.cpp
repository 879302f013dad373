// The settings file as a person may have edited it: every setting still reads as one of its
// allowed values, and the next write leaves a file that reads back as a JSON object.

#include <filesystem>
#include <fstream>

#include "FuzzApp.h"
#include "common/Files.h"
#include "hotkey/HotkeyCatalogue.h"
#include "platform/linux/stores/FileUserDefaults.h"
#include "stores/Settings.h"

using namespace murvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static testing::TemporaryDirectory directory;
  const auto file = directory.path() / "settings.json";
  {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  linux_platform::FileUserDefaults defaults(file);
  Settings settings(defaults);
  settings.registerDefaults();
  const std::string mode = settings.cleanupMode();
  if (mode != "off" && mode != "fast" && mode != "smart")
    fuzzing::violated("a cleanup mode outside the three");
  if (!murvelHotkeyOption(settings.hotkey()))
    fuzzing::violated("a hotkey outside the table");
  (void)settings.defaultTone();
  (void)settings.appTones();
  (void)settings.signedInEmail();
  (void)settings.lastLaunchHintVersion();
  (void)settings.lastPermissionsPromptVersion();
  (void)settings.aiCleanup();

  settings.setSignedInEmail("fuzz@example.com");
  const auto written = readWholeFile(file);
  if (!written || !nlohmann::json::parse(*written, nullptr, false).is_object())
    fuzzing::violated("a write left a file that is not a JSON object");
  return 0;
}

#pragma once

#include <filesystem>
#include <string>

namespace murvel::test {

// `text` spoken by flite in `voice` as `directory`/`name`.wav. Its voices kal16, slt, awb and rms
// speak in the format the app records, 16 kHz mono 16-bit PCM. Empty when flite failed.
std::filesystem::path speech(const std::string& text, const std::filesystem::path& directory,
                             const std::string& name = "speech",
                             const std::string& voice = "kal16");

}  // namespace murvel::test

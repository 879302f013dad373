#include "Speech.h"

#include "ChildProcess.h"

namespace murvel::test {

std::filesystem::path speech(const std::string& text, const std::filesystem::path& directory,
                             const std::string& name, const std::string& voice) {
  const auto file = directory / (name + ".wav");
  ChildProcess flite({"flite", "-voice", voice, "-t", text, "-o", file.string()});
  return flite.waitForExit(std::chrono::seconds(60)) == 0 ? file : std::filesystem::path();
}

}  // namespace murvel::test

#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"

namespace murvel::linux_platform::test {

// Runs a shell command; 0 when it succeeded.
inline int run(const std::string& command) {
  return std::system(command.c_str());
}

using murvel::test::waitFor;

// Stops the session's sound server, or starts one with the virtual microphone again; true once
// that is done.
bool stopSoundServer();
bool startSoundServer();

// 16-bit mono PCM read back independently of the writer, from a file with the canonical 44-byte
// header whose every size field is checked against the file; a test failure otherwise.
struct Wav {
  std::uint32_t sampleRate = 0;
  std::vector<std::int16_t> samples;

  double seconds() const { return sampleRate == 0 ? 0 : double(samples.size()) / sampleRate; }
  double rms() const;
};
Wav readWav(const std::filesystem::path& file);

// Points the sound clients of this process at a socket where no server listens.
struct NoSoundServer {
  NoSoundServer() { setenv("PULSE_SERVER", "unix:/nonexistent/murvel-test", 1); }
  ~NoSoundServer() { unsetenv("PULSE_SERVER"); }
};

// Stops the session's sound server in its tracks until the handle goes: it keeps its connections
// but answers nothing.
std::shared_ptr<void> freezeServer();

}  // namespace murvel::linux_platform::test

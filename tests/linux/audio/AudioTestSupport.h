#pragma once

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "common/Files.h"

namespace murvel::linux_platform::test {

using murvel::test::waitFor;

// Runs a shell command; 0 when it succeeded.
inline int run(const std::string& command) {
  return std::system(command.c_str());
}

inline bool soundServerAnswers() {
  return run("pactl info >/dev/null 2>&1") == 0;
}

// Stops the session's sound server; true once it no longer answers.
inline bool stopSoundServer() {
  run("pulseaudio --kill >/dev/null 2>&1");
  return waitFor([] { return !soundServerAnswers(); });
}

// Starts a sound server with the session's virtual microphone again; its feeder opens the new
// server's end of the FIFO by itself.
inline bool startSoundServer() {
  return run(std::string("pulseaudio -D -n --exit-idle-time=-1 --load=module-native-protocol-unix "
                         "--load='module-pipe-source source_name=vmic file=") +
             std::getenv("MURVEL_MIC_FIFO") + " format=s16le rate=16000 channels=1' 2>/dev/null") ==
             0 &&
         waitFor(soundServerAnswers) && run("pactl set-default-source vmic") == 0;
}

// 16-bit mono PCM read back independently of the writer.
struct Wav {
  std::uint32_t sampleRate = 0;
  std::vector<std::int16_t> samples;

  double seconds() const { return sampleRate == 0 ? 0 : double(samples.size()) / sampleRate; }
  double rms() const {
    double sum = 0;
    for (auto s : samples) sum += double(s) * s;
    return samples.empty() ? 0 : std::sqrt(sum / double(samples.size()));
  }
};

// Reads a file with the canonical 44-byte header whose every size field is checked against the
// file; a test failure otherwise.
inline Wav readWav(const std::filesystem::path& file) {
  const std::string bytes = readWholeFile(file).value_or("");
  const auto field = [&](std::size_t at, int width) {
    std::uint32_t value = 0;
    for (int i = width - 1; i >= 0; --i)
      value = (value << 8) | static_cast<unsigned char>(bytes[at + std::size_t(i)]);
    return value;
  };
  Wav wav;
  if (bytes.size() < 44 || bytes.compare(0, 4, "RIFF") != 0 ||
      bytes.compare(8, 8, "WAVEfmt ") != 0 || bytes.compare(36, 4, "data") != 0) {
    ADD_FAILURE() << file << " is not a WAV file with the canonical header";
    return wav;
  }
  const std::uint32_t size = bytes.size(), rate = field(24, 4);
  // RIFF size, format size, PCM, mono, byte rate, block align, bits per sample, data size.
  EXPECT_EQ((std::vector{field(4, 4), field(16, 4), field(20, 2), field(22, 2), field(28, 4),
                         field(32, 2), field(34, 2), field(40, 4)}),
            (std::vector{size - 8, 16u, 1u, 1u, 2 * rate, 2u, 16u, size - 44}));
  wav.sampleRate = rate;
  wav.samples.resize((bytes.size() - 44) / 2);
  std::copy_n(&bytes[44], 2 * wav.samples.size(), reinterpret_cast<char*>(wav.samples.data()));
  return wav;
}

// Points the sound clients of this process at a socket where no server listens.
struct NoSoundServer {
  NoSoundServer() { setenv("PULSE_SERVER", "unix:/nonexistent/murvel-test", 1); }
  ~NoSoundServer() { unsetenv("PULSE_SERVER"); }
};

// Stops the session's sound server in its tracks until the handle goes: it keeps its connections
// but answers nothing.
inline std::shared_ptr<void> freezeServer() {
  int pid = -1;
  std::ifstream(std::filesystem::path(std::getenv("XDG_RUNTIME_DIR")) / "pulse/pid") >> pid;
  EXPECT_EQ(pid > 0 ? ::kill(pid, SIGSTOP) : -1, 0) << "the sound server was not stopped";
  return {nullptr, [pid](void*) {
            if (pid > 0)
              ::kill(pid, SIGCONT);
          }};
}

}  // namespace murvel::linux_platform::test

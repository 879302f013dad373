#include "AudioTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <iterator>
#include <thread>

#include <signal.h>

namespace murvel::linux_platform::test {

static bool serverAnswers() {
  return run("pactl info >/dev/null 2>&1") == 0;
}

bool stopSoundServer() {
  run("pulseaudio --kill >/dev/null 2>&1");
  return waitFor([] { return !serverAnswers(); });
}

bool startSoundServer() {
  // The same microphone again: its feeder opens the new server's end of the FIFO by itself.
  return run(std::string("pulseaudio -D -n --exit-idle-time=-1 --load=module-native-protocol-unix "
                         "--load='module-pipe-source source_name=vmic file=") +
             std::getenv("MURVEL_MIC_FIFO") + " format=s16le rate=16000 channels=1' 2>/dev/null") ==
             0 &&
         waitFor(serverAnswers) && run("pactl set-default-source vmic") == 0;
}

double Wav::rms() const {
  double sum = 0;
  for (auto s : samples) sum += double(s) * s;
  return samples.empty() ? 0 : std::sqrt(sum / double(samples.size()));
}

Wav readWav(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), {}};
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

std::shared_ptr<void> freezeServer() {
  int pid = -1;
  std::ifstream(std::filesystem::path(std::getenv("XDG_RUNTIME_DIR")) / "pulse/pid") >> pid;
  EXPECT_EQ(pid > 0 ? ::kill(pid, SIGSTOP) : -1, 0) << "the sound server was not stopped";
  return {nullptr, [pid](void*) {
            if (pid > 0)
              ::kill(pid, SIGCONT);
          }};
}

}  // namespace murvel::linux_platform::test

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

bool eventually(const std::function<bool()>& done) {
  for (int i = 0; i < 250 && !done(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  return done();
}

std::filesystem::path scratchDirectory() {
  static int counter = 0;
  auto directory =
      std::filesystem::path(std::getenv("XDG_RUNTIME_DIR")) / std::to_string(counter++);
  std::filesystem::create_directories(directory);
  return directory;
}

std::filesystem::path speak(const std::string& text, const std::filesystem::path& directory) {
  const auto file = directory / "speech.wav";
  EXPECT_EQ(run("flite -t '" + text + "' -o " + file.string()), 0);
  return file;
}

void playIntoMicrophone(const std::filesystem::path& file) {
  EXPECT_EQ(run("paplay --device=vmic " + file.string()), 0);
}

bool stopSoundServer() {
  run("pulseaudio --kill >/dev/null 2>&1");
  return eventually([] { return !serverAnswers(); });
}

bool startSoundServer() {
  return run("pulseaudio -D -n --exit-idle-time=-1 --load=module-native-protocol-unix "
             "--load='module-null-sink sink_name=vmic rate=16000 channels=1' 2>/dev/null") == 0 &&
         eventually(serverAnswers) && run("pactl set-default-source vmic.monitor") == 0;
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

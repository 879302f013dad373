#include "CounterMicrophone.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace murvel::bench {

namespace {

constexpr int sampleRate = 16000;
constexpr int blockSamples = 160;  // 10 ms
constexpr int period = 32000;      // the counter wraps every two seconds

std::string commandOutput(const std::string& command) {
  std::string result;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pipe)) result += buffer;
    pclose(pipe);
  }
  while (!result.empty() && (result.back() == '\n' || result.back() == ' ')) result.pop_back();
  return result;
}

}  // namespace

CounterMicrophone::CounterMicrophone(const std::filesystem::path& directory) {
  const auto fifo = directory / "counter-microphone";
  moduleIndex_ = commandOutput(
      "pactl load-module module-pipe-source source_name=counter_mic format=s16le rate=16000 "
      "channels=1 file=" +
      fifo.string());
  if (moduleIndex_.empty() || std::system("pactl set-default-source counter_mic") != 0) {
    error_ = "PulseAudio would not load a pipe source";
    return;
  }
  // The source holds the pipe open for reading, so neither open waits.
  const int drain = open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  const int fd = open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0 || drain < 0) {
    error_ = "the pipe source's pipe cannot be opened";
    return;
  }
  start_ = Clock::now();
  feeder_ = std::thread([this, fd, drain] { feed(fd, drain); });
}

CounterMicrophone::~CounterMicrophone() {
  stop_ = true;
  if (feeder_.joinable())
    feeder_.join();
  if (!moduleIndex_.empty())
    static_cast<void>(std::system(("pactl unload-module " + moduleIndex_).c_str()));
}

void CounterMicrophone::feed(int fd, int drain) {
  // steady_clock is CLOCK_MONOTONIC: the first block goes in at start_, each next one 10 ms on.
  const auto origin =
      std::chrono::duration_cast<std::chrono::nanoseconds>(start_.time_since_epoch());
  timespec deadline{static_cast<time_t>(origin.count() / 1'000'000'000),
                    static_cast<long>(origin.count() % 1'000'000'000)};
  std::array<std::int16_t, blockSamples> block{};
  for (std::int64_t k = 0; !stop_;) {
    for (auto& sample : block) sample = static_cast<std::int16_t>(k++ % period + 1);
    // The source reads the pipe only while something records; what it left there meanwhile is
    // old, and a real microphone would never hand it over. Only the newest block may wait.
    int queued = 0;
    if (ioctl(drain, FIONREAD, &queued) == 0 && queued > static_cast<int>(sizeof block)) {
      std::array<char, 65536> old;
      const auto excess = static_cast<std::size_t>(queued) - sizeof block;
      [[maybe_unused]] const auto dropped = read(drain, old.data(), std::min(excess, old.size()));
    }
    if (write(fd, block.data(), sizeof block) != static_cast<ssize_t>(sizeof block))
      break;
    deadline.tv_nsec += 10'000'000;
    if (deadline.tv_nsec >= 1'000'000'000) {
      deadline.tv_nsec -= 1'000'000'000;
      ++deadline.tv_sec;
    }
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr);
  }
  close(fd);
  close(drain);
}

std::optional<CounterMicrophone::Clock::time_point> CounterMicrophone::heardAt(
    std::int16_t value, Clock::time_point near) const {
  if (value < 1 || value > period)
    return std::nullopt;
  // Sample k went in with its block, at the start of block k / 160.
  const auto blockTime = [&](std::int64_t k) {
    return start_ + std::chrono::milliseconds(10 * (k / blockSamples));
  };
  const double nearSamples = std::chrono::duration<double>(near - start_).count() * sampleRate;
  const std::int64_t base = value - 1;
  const std::int64_t wraps = std::llround((nearSamples - static_cast<double>(base)) / period);
  const std::int64_t k = base + std::max<std::int64_t>(0, wraps) * period;
  return blockTime(k);
}

}  // namespace murvel::bench

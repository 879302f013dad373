// The voice of the private desktop's virtual microphone (tests/linux/session.sh --pulse), which
// the demonstration, the benchmarks and the tests speak into: feeds the FIFO of PulseAudio's pipe
// source with 16 kHz mono samples in real time, all the time, the way a sound card delivers them.
// Between utterances it sends silence; on request it sends the samples of a WAV file of that
// format instead (tests/support/Speech.h makes them so).
//
//   murvel_mic_feeder FIFO CONTROL_SOCKET
//
// A client connects to CONTROL_SOCKET and writes "play /path/to/file.wav\n". The feeder queues the
// file and answers "started <ns>\n" when its first block goes into the FIFO and "ended <ns>\n"
// after its last one, each with the CLOCK_MONOTONIC instant of that write, or "error <why>\n".
//
// Blocks leave on absolute deadlines of the monotonic clock, so the pace never drifts. The FIFO
// never holds more than two blocks: when the sound server is not reading (nothing records, or it
// is frozen, killed, restarted) the oldest samples go, so what it reads later is never old.

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "cloud/WavFormat.h"

namespace murvel::test {
namespace {

constexpr int rate = 16000;
constexpr int blockSamples = rate / 100;  // 10 ms
constexpr long blockNanoseconds = 10'000'000;

// The samples of a WAV file in the microphone's format, 16 kHz mono 16-bit PCM, or why not.
std::variant<std::vector<std::int16_t>, std::string> loadWav(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in)
    return "cannot read " + path;
  auto samples = cloud::readWavSamples(std::string{std::istreambuf_iterator<char>(in), {}});
  if (!samples.ok())
    return path + ": " + samples.problem();
  return std::move(samples.value());
}

struct Utterance {
  std::vector<std::int16_t> samples;
  int client;  // the control connection that asked, answered and closed when it ends
};

std::mutex queueMutex;
std::deque<Utterance> queue;

void answer(int client, const std::string& line) {
  [[maybe_unused]] const auto sent = ::send(client, line.data(), line.size(), MSG_NOSIGNAL);
}

long long nanoseconds(const timespec& t) {
  return t.tv_sec * 1'000'000'000LL + t.tv_nsec;
}

// Takes requests on the control socket, one per connection, and queues what is to be said.
void serveControl(int listener) {
  for (;;) {
    const int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0)
      continue;
    std::string line;
    char c;
    while (line.size() < 4096 && ::recv(client, &c, 1, 0) == 1 && c != '\n') line += c;
    if (!line.starts_with("play ")) {
      answer(client, "error expected \"play <file>\"\n");
      ::close(client);
      continue;
    }
    auto loaded = loadWav(line.substr(5));
    if (auto* why = std::get_if<std::string>(&loaded)) {
      answer(client, "error " + *why + "\n");
      ::close(client);
      continue;
    }
    std::lock_guard lock(queueMutex);
    queue.push_back({std::move(std::get<0>(loaded)), client});
  }
}

// The FIFO, written like a sound card's buffer: it holds only the newest samples. The sound
// server reads it only while something records, so whatever it has not taken beyond one block
// is old and is drained here; a recording then starts with what is heard now.
class Fifo {
 public:
  explicit Fifo(std::string path) : path_(std::move(path)) {}
  ~Fifo() { close(); }

  void write(const std::int16_t* samples) {
    struct stat now;
    // A restarted server makes the FIFO anew.
    if (writer_ >= 0 && (::stat(path_.c_str(), &now) != 0 || now.st_ino != inode_))
      close();
    if (writer_ < 0 && !open())
      return;  // no FIFO yet: this block is lost, as a microphone's would be
    int unread = 0;
    if (::ioctl(writer_, FIONREAD, &unread) == 0 && unread > blockBytes) {
      char old[4096];
      const auto excess =
          std::min<std::size_t>(std::size_t(unread - blockBytes) & ~std::size_t(1), sizeof old);
      [[maybe_unused]] const auto drained = ::read(drainer_, old, excess);
    }
    [[maybe_unused]] const auto written = ::write(writer_, samples, blockBytes);
  }

 private:
  static constexpr int blockBytes = blockSamples * sizeof(std::int16_t);

  bool open() {
    struct stat status;
    if (::stat(path_.c_str(), &status) != 0 || !S_ISFIFO(status.st_mode))
      return false;
    // The read end first: with it, opening the write end never waits or fails.
    drainer_ = ::open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    writer_ = drainer_ < 0 ? -1 : ::open(path_.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (writer_ < 0 || ::fstat(writer_, &status) != 0) {
      close();
      return false;
    }
    inode_ = status.st_ino;
    return true;
  }

  void close() {
    for (int* fd : {&writer_, &drainer_}) {
      if (*fd >= 0)
        ::close(*fd);
      *fd = -1;
    }
  }

  std::string path_;
  int writer_ = -1, drainer_ = -1;
  ino_t inode_ = 0;
};

int listenOn(const std::string& path) {
  const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (listener < 0 || path.size() >= sizeof address.sun_path)
    return -1;
  std::strcpy(address.sun_path, path.c_str());
  ::unlink(path.c_str());
  if (::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener, 16) != 0)
    return -1;
  return listener;
}

int feed(const std::string& fifoPath, const std::string& controlPath) {
  const int listener = listenOn(controlPath);
  if (listener < 0) {
    std::fprintf(stderr, "murvel_mic_feeder: cannot listen on %s: %s\n", controlPath.c_str(),
                 std::strerror(errno));
    return 1;
  }
  std::thread(serveControl, listener).detach();
  // A sound card keeps time whatever else the machine does; ask for the same where allowed.
  const sched_param realtime{.sched_priority = 10};
  ::pthread_setschedparam(::pthread_self(), SCHED_FIFO, &realtime);

  Fifo fifo(fifoPath);
  std::optional<Utterance> current;
  std::size_t position = 0;
  std::int16_t block[blockSamples];
  timespec deadline;
  ::clock_gettime(CLOCK_MONOTONIC, &deadline);
  for (;;) {
    if (!current) {
      std::lock_guard lock(queueMutex);
      if (!queue.empty()) {
        current = std::move(queue.front());
        queue.pop_front();
        position = 0;
      }
    }
    std::fill(std::begin(block), std::end(block), 0);
    if (current) {
      const std::size_t count =
          std::min<std::size_t>(blockSamples, current->samples.size() - position);
      std::copy_n(current->samples.begin() + std::ptrdiff_t(position), count, block);
      position += count;
    }
    while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
    }
    fifo.write(block);
    if (current) {
      timespec now;
      ::clock_gettime(CLOCK_MONOTONIC, &now);
      if (position <= blockSamples)
        answer(current->client, "started " + std::to_string(nanoseconds(now)) + "\n");
      if (position >= current->samples.size()) {
        answer(current->client, "ended " + std::to_string(nanoseconds(now)) + "\n");
        ::close(current->client);
        current.reset();
      }
    }
    deadline.tv_nsec += blockNanoseconds;
    if (deadline.tv_nsec >= 1'000'000'000) {
      deadline.tv_nsec -= 1'000'000'000;
      ++deadline.tv_sec;
    }
    // After a stall (the machine under load) a sound card overruns and carries on from now; it
    // does not deliver the missed time in a burst.
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    if (nanoseconds(now) - nanoseconds(deadline) > 10 * blockNanoseconds)
      deadline = now;
  }
}

}  // namespace
}  // namespace murvel::test

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s FIFO CONTROL_SOCKET\n", argv[0]);
    return 2;
  }
  ::signal(SIGPIPE, SIG_IGN);
  return murvel::test::feed(argv[1], argv[2]);
}

#include "AudioTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace murvel::linux_platform::test {

namespace {

std::string quoted(const std::string& text) {
  std::string out = "'";
  for (char c : text) {
    if (c == '\'')
      out += "'\\''";
    else
      out += c;
  }
  return out + "'";
}

bool serverAnswers() {
  return run("pactl info >/dev/null 2>&1") == 0;
}

}  // namespace

int run(const std::string& command) {
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string output(const std::string& command) {
  std::string text;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[256];
    while (std::fgets(buffer, sizeof(buffer), pipe) != nullptr) text += buffer;
    pclose(pipe);
  }
  return text;
}

std::filesystem::path scratchDirectory() {
  static std::atomic<int> counter{0};
  const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
  auto directory = std::filesystem::path(::testing::TempDir()) /
                   ("murvel-audio-" + std::string(info->name()) + "-" + std::to_string(counter++));
  std::filesystem::remove_all(directory);
  std::filesystem::create_directories(directory);
  return directory;
}

std::filesystem::path speak(const std::string& text, const std::filesystem::path& directory) {
  const auto file = directory / "speech.wav";
  EXPECT_EQ(run("flite -t " + quoted(text) + " -o " + quoted(file.string())), 0);
  return file;
}

void playIntoMicrophone(const std::filesystem::path& file) {
  EXPECT_EQ(run("paplay --device=vmic " + quoted(file.string())), 0);
}

bool stopSoundServer() {
  run("pulseaudio --kill >/dev/null 2>&1");
  for (int i = 0; i < 100 && serverAnswers(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  return !serverAnswers();
}

bool startSoundServer() {
  const int started =
      run("pulseaudio -D -n --exit-idle-time=-1 --daemonize=yes --log-target=stderr "
          "--load=module-native-protocol-unix "
          "--load='module-null-sink sink_name=vmic rate=16000 channels=1' "
          "--load='module-null-sink sink_name=speakers' 2>/dev/null");
  if (started != 0)
    return false;
  for (int i = 0; i < 100 && !serverAnswers(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  return run("pactl set-default-source vmic.monitor") == 0 &&
         run("pactl set-default-sink speakers") == 0;
}

ResponsiveSink::ResponsiveSink(const std::string& sink) {
  const auto countInputs = [] {
    return std::stoi(output("pactl list short sink-inputs | wc -l"));
  };
  const int before = countInputs();
  const std::string device = "--device=" + sink;
  const char* arguments[] = {
      "pacat",        "--playback",   device.c_str(),      "--format=s16le",
      "--rate=16000", "--channels=1", "--latency-msec=20", "--client-name=murvel-test-silence",
      "/dev/zero",    nullptr};
  pid_t pid = -1;
  if (posix_spawnp(&pid, "pacat", nullptr, nullptr, const_cast<char**>(arguments), environ) != 0) {
    ADD_FAILURE() << "pacat could not be started";
    return;
  }
  pid_ = pid;
  for (int i = 0; i < 100 && countInputs() <= before; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_GT(countInputs(), before) << "the silence never reached " << sink;
  EXPECT_EQ(run("pactl suspend-sink " + sink + " 1 && pactl suspend-sink " + sink + " 0"), 0);
}

ResponsiveSink::~ResponsiveSink() {
  if (pid_ <= 0)
    return;
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
}

ScopedEnvironment::ScopedEnvironment(const char* name, const std::string& value) : name_(name) {
  if (const char* old = std::getenv(name))
    previous_ = old;
  setenv(name, value.c_str(), 1);
}

ScopedEnvironment::~ScopedEnvironment() {
  if (previous_)
    setenv(name_, previous_->c_str(), 1);
  else
    unsetenv(name_);
}

NoSoundServer::NoSoundServer()
    : server_("PULSE_SERVER", "unix:" + (scratchDirectory() / "no-server").string()) {}

}  // namespace murvel::linux_platform::test

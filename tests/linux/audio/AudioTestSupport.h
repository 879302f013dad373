#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace murvel::linux_platform::test {

// Runs a shell command and returns its exit status.
int run(const std::string& command);

// Runs a shell command and returns what it printed.
std::string output(const std::string& command);

// A fresh empty directory for one test.
std::filesystem::path scratchDirectory();

// A spoken sentence made with flite, as a WAV file in `directory`.
std::filesystem::path speak(const std::string& text, const std::filesystem::path& directory);

// Plays a file into the virtual microphone and returns when it has been played.
void playIntoMicrophone(const std::filesystem::path& file);

// Stops the session's sound server and waits (a few seconds at most) until it is gone.
bool stopSoundServer();

// Starts a sound server like the session's again, with the virtual microphone as default source.
bool startSoundServer();

// Keeps a null sink of the private server rendering in small steps, as a real device does, for
// the life of the object. Left alone, a null sink that nothing plays into renders two seconds
// ahead and sleeps, so a new recording of its monitor, or a sound played into it, waits for up to
// two seconds. A low-latency stream of silence holds it to small steps, and suspending and
// resuming it once drops what it had rendered ahead.
class ResponsiveSink {
 public:
  explicit ResponsiveSink(const std::string& sink);
  ~ResponsiveSink();
  ResponsiveSink(const ResponsiveSink&) = delete;
  ResponsiveSink& operator=(const ResponsiveSink&) = delete;

 private:
  int pid_ = -1;
};

// Sets an environment variable for the life of the object.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, const std::string& value);
  ~ScopedEnvironment();
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  const char* name_;
  std::optional<std::string> previous_;
};

// Points the sound clients of this process at a socket where no server listens.
class NoSoundServer {
 public:
  NoSoundServer();

 private:
  ScopedEnvironment server_;
};

}  // namespace murvel::linux_platform::test

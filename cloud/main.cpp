// murvel-cloud: the local transcription service. Everything it does lives in the library;
// this file reads the command line, puts the parts together and waits for a stop signal.

#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <memory>
#include <mutex>
#include <thread>

#include "cloud/Options.h"
#include "cloud/RecognitionQueue.h"
#include "cloud/Recognizer.h"
#include "cloud/RemoteRecognizer.h"
#include "cloud/Service.h"
#include "cloud/Store.h"

#ifndef MURVEL_VERSION
#define MURVEL_VERSION "0"
#endif

namespace {

using namespace murvel::cloud;

std::int64_t secondsNow() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// One line on standard error, stamped with the time in UTC.
void writeLog(std::string_view line) {
  static std::mutex mutex;
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ", &utc);
  std::lock_guard lock(mutex);
  std::fprintf(stderr, "%s %.*s\n", stamp, static_cast<int>(line.size()), line.data());
  std::fflush(stderr);
}

int fail(const std::string& problem) {
  std::fprintf(stderr, "murvel-cloud: %s\n", problem.c_str());
  return 1;
}

std::optional<std::string> environmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

// The data directory, made if missing, readable by its owner alone.
bool prepareDataDirectory(const std::filesystem::path& directory, std::string& problem) {
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error || !std::filesystem::is_directory(directory, error)) {
    problem = "cannot make the data directory " + directory.string() +
              (error ? ": " + error.message() : "");
    return false;
  }
  ::chmod(directory.c_str(), 0700);
  return true;
}

// The recogniser's API key: the first line of --recognizer-key-file, else
// $MURVEL_RECOGNIZER_KEY, else none (servers on this computer often want none).
bool readRecognizerKey(const RecognizerOptions& remote, std::string& key, std::string& problem) {
  if (remote.keyFile.empty()) {
    key = environmentValue("MURVEL_RECOGNIZER_KEY").value_or("");
    return true;
  }
  std::FILE* file = std::fopen(remote.keyFile.c_str(), "r");
  if (file == nullptr) {
    problem = "cannot read the recogniser's key from " + remote.keyFile.string();
    return false;
  }
  char line[4096] = {};
  const bool read = std::fgets(line, sizeof line, file) != nullptr;
  std::fclose(file);
  key = read ? line : "";
  while (!key.empty() && (key.back() == '\n' || key.back() == '\r' || key.back() == ' '))
    key.pop_back();
  if (key.empty()) {
    problem = "the recogniser's key file " + remote.keyFile.string() + " is empty";
    return false;
  }
  return true;
}

int run(const Options& options) {
  std::string problem;
  if (!prepareDataDirectory(options.dataDirectory, problem))
    return fail(problem);
  auto store = Store::open(options.dataDirectory / "murvel-cloud.db");
  if (!store.ok())
    return fail(store.problem());

  if (options.issueKeyFor) {
    const auto issued = store.value()->issueAccessKey(*options.issueKeyFor, secondsNow());
    if (!issued.ok())
      return fail(issued.problem());
    std::printf("%s\n", issued.value().accessKey.c_str());
    return 0;
  }

  // SIGINT and SIGTERM are taken by one thread that stops the service; every other thread,
  // made after this, has them blocked.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);

  std::vector<DecodeFunction> decoders;
  const RecognizerOptions& remote = options.recognizer;
  std::string apiKey;
  if (!remote.url.empty() && !readRecognizerKey(remote, apiKey, problem))
    return fail(problem);
  // With a recogniser elsewhere, each worker sends its recording there; --decoders still
  // bounds how many are under way at once.
  for (int i = 0; i < options.decoders && !remote.url.empty(); ++i) {
    decoders.push_back([remote, apiKey](std::span<const std::int16_t> samples) {
      return recognizeRemotely(remote, apiKey, samples);
    });
  }
  for (int i = 0; i < options.decoders && remote.url.empty(); ++i) {
    auto recognizer = Recognizer::load(options.modelDirectory);
    if (!recognizer.ok())
      return fail(recognizer.problem());
    std::shared_ptr<Recognizer> shared = std::move(recognizer.value());
    decoders.push_back(
        [shared](std::span<const std::int16_t> samples) { return shared->recognize(samples); });
  }
  // Asked to, the local decoders take a recording in pieces cut at its pauses when they are
  // free; a recogniser elsewhere always gets it whole.
  SplitFunction split;
  if (remote.url.empty() && options.pieces > 1) {
    split = [most = static_cast<std::size_t>(options.pieces)](std::span<const std::int16_t> samples,
                                                              std::size_t free) {
      return piecesAtPauses(samples, std::min(free, most));
    };
  }
  RecognitionQueue recognition(std::move(decoders), static_cast<std::size_t>(options.waitingLimit),
                               std::move(split));

  ServiceSettings settings;
  settings.bindAddress = options.bindAddress;
  settings.port = options.port;
  settings.maxUploadBytes = options.maxUploadBytes;
  settings.keepAliveSeconds = options.keepAliveSeconds;
  settings.requestThreads =
      static_cast<std::size_t>(16 + 2 * (options.decoders + options.waitingLimit));
  settings.secondsNow = secondsNow;
  settings.spoolDirectory = options.dataDirectory / "spool";
  if (!prepareDataDirectory(settings.spoolDirectory, problem))
    return fail(problem);
  Service service(settings, *store.value(), recognition, writeLog);
  const auto port = service.bind();
  if (!port.ok())
    return fail(port.problem());

  std::thread stopper([&] {
    int received = 0;
    sigwait(&stopSignals, &received);
    writeLog(received == SIGINT ? "stopping (SIGINT)" : "stopping (SIGTERM)");
    recognition.stop();
    service.shutDown();
  });
  const std::string host = options.bindAddress.find(':') != std::string::npos
                               ? "[" + options.bindAddress + "]"
                               : options.bindAddress;
  std::printf("murvel-cloud %s listening on http://%s:%d/api\n", MURVEL_VERSION, host.c_str(),
              port.value());
  std::fflush(stdout);
  writeLog("listening on " + host + ":" + std::to_string(port.value()) + " with " +
           std::to_string(options.decoders) + " decoders, data in " +
           options.dataDirectory.string());
  if (!remote.url.empty()) {
    writeLog("recordings go to the speech recogniser at " + hostOf(remote.url).value_or("?") +
             (apiKey.empty() ? ", without a key" : ", with a key"));
  }

  const bool served = service.serve();
  // Wakes the stopper when the service ended by itself.
  pthread_kill(stopper.native_handle(), SIGTERM);
  stopper.join();
  return served ? 0 : fail("the service stopped listening");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const CommandLine line =
        parseCommandLine(std::vector<std::string>(argv + 1, argv + argc),
                         Environment{environmentValue("XDG_DATA_HOME"), environmentValue("HOME")});
    switch (line.action) {
      case CommandLine::Action::help:
        std::fputs(helpText().c_str(), stdout);
        return 0;
      case CommandLine::Action::version:
        std::printf("murvel-cloud %s\n", MURVEL_VERSION);
        return 0;
      case CommandLine::Action::refuse:
        return fail(line.problem);
      case CommandLine::Action::run:
        break;
    }
    return run(line.options);
  } catch (const std::exception& error) {
    return fail(std::string("stopped by an unexpected failure: ") + error.what());
  }
}

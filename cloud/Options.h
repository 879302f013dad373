#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "cloud/RecognizerOptions.h"

namespace murvel::cloud {

// How the service runs, as the operator set it on the command line.
struct Options {
  std::string bindAddress = "127.0.0.1";
  int port = 8787;  // 0: any free port, which is then reported
  std::filesystem::path dataDirectory;
  std::filesystem::path modelDirectory = "/usr/share/pocketsphinx/model/en-us";
  int decoders = 2;      // recognitions that run at the same time, one decoder each
  int waitingLimit = 4;  // recognitions that may wait for a decoder before the service is busy
  int pieces = 1;        // how many pieces at its pauses a recording may be decoded in at once
  std::uint64_t maxUploadBytes = 50ull * 1024 * 1024;
  int keepAliveSeconds = 120;
  // With --issue-key: make an access key for this address, print it and stop.
  std::optional<std::string> issueKeyFor;
  RecognizerOptions recognizer;  // by default, recordings are decoded here

  friend bool operator==(const Options&, const Options&) = default;
};

// What the environment contributes: the place of the data directory.
struct Environment {
  std::optional<std::string> xdgDataHome;
  std::optional<std::string> home;
};

struct CommandLine {
  enum class Action { run, help, version, refuse };
  Action action = Action::run;
  Options options;
  std::string problem;  // with `refuse`
};

// Reads the arguments after the program's name. The data directory defaults to
// $XDG_DATA_HOME/murvel-cloud, or ~/.local/share/murvel-cloud when that is unset or relative.
CommandLine parseCommandLine(const std::vector<std::string>& arguments,
                             const Environment& environment);

// What --help prints.
std::string helpText();

}  // namespace murvel::cloud

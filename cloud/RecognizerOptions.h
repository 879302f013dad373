#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace murvel::cloud {

// A speech recogniser on another server that takes each recording instead of the local decoder:
// one that speaks the common audio-transcription interface (POST {url}/audio/transcriptions).
// Without a URL the recordings stay on this computer.
struct RecognizerOptions {
  std::string url;  // the server's base URL, such as https://host/v1; empty: the local decoder
  std::string model;
  std::filesystem::path keyFile;  // the API key; else $MURVEL_RECOGNIZER_KEY, else none
  std::string language;           // ISO 639-1, or empty to let the server tell
  std::string prompt;             // words the server should expect, or empty
  int timeoutSeconds = 30;

  friend bool operator==(const RecognizerOptions&, const RecognizerOptions&) = default;
};

// Whether `name` is one of the --recognizer options.
bool isRecognizerOption(std::string_view name);
// Stores the value of the --recognizer option `name`; the problem with it, if any.
std::optional<std::string> setRecognizerOption(std::string_view name, const std::string& value,
                                               RecognizerOptions& options);
// What is missing or wrong once every option is read.
std::optional<std::string> recognizerOptionsProblem(const RecognizerOptions& options);

// The host of an http or https URL, without port or brackets; nothing when it has none.
std::optional<std::string> hostOf(std::string_view url);

}  // namespace murvel::cloud

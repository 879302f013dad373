#include "cloud/RecognizerOptions.h"

#include <algorithm>
#include <charconv>

namespace murvel::cloud {

namespace {

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

std::string_view authorityOf(std::string_view url) {
  const std::size_t start = url.find("://");
  if (start == std::string_view::npos)
    return {};
  const std::string_view rest = url.substr(start + 3);
  return rest.substr(0, rest.find_first_of("/?#"));
}

// Plain http stays on this computer or not at all: the audio and the key travel in the clear.
bool isLoopback(const std::string& host) {
  if (host == "localhost" || host == "::1")
    return true;
  if (!host.starts_with("127."))
    return false;
  return std::all_of(host.begin(), host.end(), [](char c) { return c == '.' || std::isdigit(c); });
}

}  // namespace

std::optional<std::string> hostOf(std::string_view url) {
  std::string_view authority = authorityOf(url);
  if (authority.find('@') != std::string_view::npos)
    return std::nullopt;
  std::string_view host;
  if (authority.starts_with('[')) {
    const std::size_t close = authority.find(']');
    if (close == std::string_view::npos)
      return std::nullopt;
    host = authority.substr(1, close - 1);
  } else {
    host = authority.substr(0, authority.find(':'));
  }
  if (host.empty())
    return std::nullopt;
  return lowerCase(host);
}

bool isRecognizerOption(std::string_view name) {
  return name == "--recognizer" || name == "--recognizer-model" ||
         name == "--recognizer-key-file" || name == "--recognizer-language" ||
         name == "--recognizer-prompt" || name == "--recognizer-timeout";
}

std::optional<std::string> setRecognizerOption(std::string_view name, const std::string& value,
                                               RecognizerOptions& options) {
  if (name == "--recognizer") {
    const std::string scheme = lowerCase(value.substr(0, value.find("://") + 3));
    if (scheme != "https://" && scheme != "http://")
      return "--recognizer takes an https:// URL, not \"" + value + "\"";
    if (authorityOf(value).find('@') != std::string_view::npos)
      return std::string(
          "--recognizer takes a URL without a name or key in it; give the key in "
          "--recognizer-key-file or MURVEL_RECOGNIZER_KEY");
    const auto host = hostOf(value);
    if (!host)
      return "--recognizer takes a URL with a host, not \"" + value + "\"";
    if (scheme == "http://" && !isLoopback(*host))
      return "--recognizer needs https:// for a server on another computer (\"" + value +
             "\"): plain http would send the recordings and the key in the clear";
    options.url = value;
    while (options.url.ends_with('/')) options.url.pop_back();
    return std::nullopt;
  }
  if (name == "--recognizer-timeout") {
    int seconds = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), seconds);
    if (error != std::errc() || end != value.data() + value.size() || seconds < 1 || seconds > 600)
      return "--recognizer-timeout takes a whole number from 1 to 600, not \"" + value + "\"";
    options.timeoutSeconds = seconds;
    return std::nullopt;
  }
  if (value.empty() && name != "--recognizer-prompt")
    return std::string(name) + " takes a value";
  if (name == "--recognizer-model")
    options.model = value;
  else if (name == "--recognizer-key-file")
    options.keyFile = value;
  else if (name == "--recognizer-language")
    options.language = value;
  else
    options.prompt = value;
  return std::nullopt;
}

std::optional<std::string> recognizerOptionsProblem(const RecognizerOptions& options) {
  if (options.url.empty()) {
    if (options != RecognizerOptions{})
      return std::string("the --recognizer-… options need --recognizer URL");
    return std::nullopt;
  }
  if (options.model.empty())
    return std::string("--recognizer needs --recognizer-model NAME, the model the server runs");
  return std::nullopt;
}

}  // namespace murvel::cloud

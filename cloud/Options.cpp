#include "cloud/Options.h"

#include <charconv>
#include <functional>
#include <map>

#include "cloud/SignIn.h"

namespace murvel::cloud {

namespace {

std::optional<long long> integerIn(std::string_view text, long long low, long long high) {
  long long value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < low || value > high)
    return std::nullopt;
  return value;
}

std::optional<std::filesystem::path> defaultDataDirectory(const Environment& environment) {
  if (environment.xdgDataHome && environment.xdgDataHome->starts_with('/'))
    return std::filesystem::path(*environment.xdgDataHome) / "murvel-cloud";
  if (environment.home && environment.home->starts_with('/'))
    return std::filesystem::path(*environment.home) / ".local/share/murvel-cloud";
  return std::nullopt;
}

CommandLine refuse(std::string problem) {
  CommandLine line;
  line.action = CommandLine::Action::refuse;
  line.problem = std::move(problem) + " (see murvel-cloud --help)";
  return line;
}

}  // namespace

CommandLine parseCommandLine(const std::vector<std::string>& arguments,
                             const Environment& environment) {
  CommandLine line;
  Options& options = line.options;
  bool dataDirectoryGiven = false;

  // Each option that takes a value: how to store it, or the problem with it.
  using Setter = std::function<std::optional<std::string>(const std::string&)>;
  const auto number = [](const char* name, long long low, long long high, auto store) {
    return Setter([=](const std::string& value) -> std::optional<std::string> {
      const auto parsed = integerIn(value, low, high);
      if (!parsed) {
        return std::string(name) + " takes a whole number from " + std::to_string(low) + " to " +
               std::to_string(high) + ", not \"" + value + "\"";
      }
      store(*parsed);
      return std::nullopt;
    });
  };
  const std::map<std::string, Setter> valued{
      {"--port",
       number("--port", 0, 65535, [&](long long v) { options.port = static_cast<int>(v); })},
      {"--decoders",
       number("--decoders", 1, 16, [&](long long v) { options.decoders = static_cast<int>(v); })},
      {"--queue",
       number("--queue", 0, 256, [&](long long v) { options.waitingLimit = static_cast<int>(v); })},
      {"--pieces",
       number("--pieces", 1, 16, [&](long long v) { options.pieces = static_cast<int>(v); })},
      {"--max-upload-mb", number("--max-upload-mb", 1, 1024,
                                 [&](long long v) {
                                   options.maxUploadBytes =
                                       static_cast<std::uint64_t>(v) * 1024 * 1024;
                                 })},
      {"--keep-alive",
       number("--keep-alive", 1, 3600,
              [&](long long v) { options.keepAliveSeconds = static_cast<int>(v); })},
      {"--bind", Setter([&](const std::string& value) -> std::optional<std::string> {
         if (value.empty())
           return std::string("--bind takes an address");
         options.bindAddress = value;
         return std::nullopt;
       })},
      {"--data-dir", Setter([&](const std::string& value) -> std::optional<std::string> {
         if (value.empty())
           return std::string("--data-dir takes a directory");
         options.dataDirectory = value;
         dataDirectoryGiven = true;
         return std::nullopt;
       })},
      {"--model-dir", Setter([&](const std::string& value) -> std::optional<std::string> {
         if (value.empty())
           return std::string("--model-dir takes a directory");
         options.modelDirectory = value;
         return std::nullopt;
       })},
      {"--issue-key", Setter([&](const std::string& value) -> std::optional<std::string> {
         const auto email = normalisedEmail(value);
         if (!email)
           return "--issue-key takes an email address, not \"" + value + "\"";
         options.issueKeyFor = *email;
         return std::nullopt;
       })},
  };

  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--help" || argument == "-h") {
      line.action = CommandLine::Action::help;
      return line;
    }
    if (argument == "--version") {
      line.action = CommandLine::Action::version;
      return line;
    }
    const std::size_t equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    const auto setter = valued.find(name);
    if (setter == valued.end() && !isRecognizerOption(name))
      return refuse("unknown option \"" + argument + "\"");
    std::string value;
    if (equals != std::string::npos) {
      value = argument.substr(equals + 1);
    } else if (i + 1 < arguments.size()) {
      value = arguments[++i];
    } else {
      return refuse(name + " needs a value");
    }
    if (auto problem = setter != valued.end()
                           ? setter->second(value)
                           : setRecognizerOption(name, value, options.recognizer))
      return refuse(*problem);
  }
  if (auto problem = recognizerOptionsProblem(options.recognizer))
    return refuse(*problem);
  if (!dataDirectoryGiven) {
    const auto directory = defaultDataDirectory(environment);
    if (!directory)
      return refuse("neither XDG_DATA_HOME nor HOME is an absolute path: give --data-dir");
    options.dataDirectory = *directory;
  }
  return line;
}

std::string helpText() {
  return R"(Usage: murvel-cloud [OPTION]...
The local Murvel transcription service: speech recognition, text cleanup and sign-in for the
Murvel app, on http://ADDRESS:PORT/api. It recognises US English offline with PocketSphinx.

Options:
  --port N            TCP port to listen on (default 8787; 0 picks a free one and prints it)
  --bind ADDRESS      address to listen on (default 127.0.0.1, this computer only); another
                      address exposes the service to the network, which it is not built for
  --data-dir DIR      where accounts, login tokens and access keys are kept
                      (default $XDG_DATA_HOME/murvel-cloud or ~/.local/share/murvel-cloud)
  --model-dir DIR     the US-English PocketSphinx model (default
                      /usr/share/pocketsphinx/model/en-us, from the package pocketsphinx-en-us)
  --decoders N        recognitions run at the same time, each with its own decoder of about
                      100 MB (default 2, at most 16)
  --queue N           recognitions that may wait for a free decoder (default 4); beyond that a
                      transcription is refused with "The service is busy" until one ends
  --pieces N          cut a recording at its pauses into up to N pieces that free decoders
                      decode at once, for a quicker answer on an idle service at some cost in
                      accuracy (default 1: each recording decoded whole)
  --max-upload-mb N   the largest request body in MiB (default 50)
  --keep-alive S      seconds an idle connection stays open (default 120)
  --issue-key EMAIL   make an access key for EMAIL (making its account if it is new), print
                      it and exit; for scripts and for clients that cannot sign in by browser
  --recognizer URL    send each recording to the speech recogniser at URL instead of decoding
                      it here: a server of the common audio-transcription interface
                      (POST URL/audio/transcriptions), such as http://127.0.0.1:8000/v1 on
                      this computer or https://HOST/v1; plain http only to this computer.
                      Without it no recording leaves this computer
  --recognizer-model NAME       the model the server should use (needed with --recognizer)
  --recognizer-key-file FILE    the server's API key, else $MURVEL_RECOGNIZER_KEY, else none
  --recognizer-language CODE    the language spoken (ISO 639-1, such as en), else the server's
                                own guess
  --recognizer-prompt TEXT      words the server should expect, such as names
  --recognizer-timeout S        seconds to wait for the server (default 30)
  --version           print the version and exit
  -h, --help          print this help and exit

Cleanup (the X-Murvel-Cleanup-Mode header of transcribe, "mode" of cleanup):
  off     the transcript as recognised: lower case, without punctuation
  fast    fillers ("um", "uh", "you know" and "I mean" set off as asides) and stuttered
          words removed, spacing and capitals tidied; no other word changes
  smart   fast, then written in the tone: auto keeps the speaker's words and closes each
          sentence with a full stop or question mark; casual uses contractions and leaves
          off the final full stop; formal uses full forms ("do not", "going to") and sentence
          punctuation; bullets writes one "- " line per point
  Smart cleanup is rule-based: fixed rules over words and punctuation, not a language model.
  Mode and tone names are read in any case. An unknown or missing mode is treated as off
  (the reply says cleanup_attempted false, cleanup_mode "off"); an unknown or missing tone
  as auto.

Logs go to standard error, one line per request, with the client's trace id; never keys,
tokens, addresses or transcripts. SIGINT or SIGTERM stops the service.
)";
}

}  // namespace murvel::cloud

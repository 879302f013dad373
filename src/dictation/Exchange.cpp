#include "common/Json.h"
#include "shell/AppDelegate.h"

namespace murvel {

namespace {

const char* const noResponseMessage = "No response from server.";
const char* const parseErrorMessage = "Parse error.";
const char* const unexpectedResponseMessage = "Unexpected response.";

}  // namespace

void AppDelegate::sendTranscription(DictationValues values, Date prepareStart, long long fileSize) {
  UrlRequest request;
  request.url = apiURL("transcribe");
  request.httpMethod = "POST";
  request.setValue("Bearer " + values.accessKey, "Authorization");
  request.setValue("audio/wav", "Content-Type");
  request.setValue("audio.wav", "X-Murvel-Audio-Filename");
  request.setValue(values.traceID, "X-Murvel-Trace-ID");
  request.setValue(values.cleanupMode, "X-Murvel-Cleanup-Mode");
  request.setValue(std::to_string(fileSize), "Content-Length");
  if (values.shouldClean && !values.tone.empty())
    request.setValue(values.tone, "X-Murvel-Tone");

  const Date requestStart = platform_.dispatch.now();
  logDictationTrace(values.traceID, "client_start",
                    {{"audio_bytes", std::int64_t{fileSize}},
                     {"cleanup_mode", values.cleanupMode},
                     {"prepare_ms", millisecondsBetween(requestStart, prepareStart)},
                     {"record_ms", values.duration * 1000.0}});

  // The audio goes up from the file as it lies; it is never loaded here.
  auto task = getApiSession()->uploadTask(
      std::move(request), recordingURL.value_or(std::filesystem::path()),
      [weakSelf = weak_from_this(), &dispatch = platform_.dispatch, values, requestStart](
          std::optional<std::string> data, std::optional<HttpResponse>,
          std::optional<PlatformError> error) {
        dispatch.async([weakSelf, values, requestStart, data = std::move(data),
                        error = std::move(error)]() mutable {
          if (auto self = weakSelf.lock()) {
            self->handleTranscriptionOutcome(values, requestStart, std::move(data),
                                             std::move(error));
          }
        });
      });
  task->resume();
}

void AppDelegate::handleTranscriptionOutcome(const DictationValues& values, Date requestStart,
                                             std::optional<std::string> data,
                                             std::optional<PlatformError> error) {
  const Date receivedAt = platform_.dispatch.now();
  if (error) {
    logDictationTrace(values.traceID, "client_error",
                      {{"after_release_ms", millisecondsBetween(receivedAt, values.releasedAt)},
                       {"error", error->localizedDescription}});
    announce(DictationState::error(error->localizedDescription));
    return;
  }
  if (!data) {
    logDictationTrace(values.traceID, "client_error",
                      {{"after_release_ms", millisecondsBetween(receivedAt, values.releasedAt)},
                       {"error", std::string("no_response")}});
    announce(DictationState::error(noResponseMessage));
    return;
  }
  const auto parsed = parseJSONObjectOrArray(*data);
  if (!parsed) {
    announce(DictationState::error(parseErrorMessage));
    return;
  }
  // Any other JSON value, an array for instance, is a reply without keys.
  const nlohmann::json reply = parsed->is_object() ? *parsed : nlohmann::json::object();
  const Date parsedAt = platform_.dispatch.now();

  auto timings = reply.find("timings");
  const nlohmann::json serverTimings =
      (timings != reply.end() && timings->is_object()) ? *timings : nlohmann::json::object();
  logDictationTrace(values.traceID, "client_response",
                    {{"after_release_ms", millisecondsBetween(parsedAt, values.releasedAt)},
                     {"network_ms", millisecondsBetween(receivedAt, requestStart)},
                     {"parse_ms", millisecondsBetween(parsedAt, receivedAt)},
                     {"server_timings", serverTimings}});

  if (auto text = stringMember(reply, "text"); text && !text->empty()) {
    handleTranscribedText(reply, std::move(*text), values);
    return;
  }
  // The status code is never looked at: the reply's keys decide.
  if (auto message = stringMember(reply, "error")) {
    announce(DictationState::error(*message));
    return;
  }
  auto errorObject = reply.find("error");
  if (errorObject != reply.end()) {
    if (auto message = stringMember(*errorObject, "message")) {
      announce(DictationState::error(*message));
      return;
    }
  }
  announce(DictationState::error(unexpectedResponseMessage));
}

}  // namespace murvel

#include "common/Json.h"
#include "common/Text.h"
#include "shell/AppDelegate.h"

namespace murvel {

std::string AppDelegate::currentCleanupTone() {
  std::string bundleIdentifier;
  if (frontmostAppBeforeRecording && frontmostAppBeforeRecording->bundleIdentifier) {
    bundleIdentifier = *frontmostAppBeforeRecording->bundleIdentifier;
  }
  const AppTones tones = settings.appTones();
  if (auto found = tones.find(bundleIdentifier); found != tones.end())
    return found->second;
  return settings.defaultTone();
}

std::string AppDelegate::cleanupModeDisplayName(std::optional<std::string> mode) {
  const std::string value = mode ? *mode : settings.cleanupMode();
  if (value == "fast")
    return "Fast cleanup";
  if (value == "smart")
    return "Smart cleanup";
  return "Cleanup off";
}

void AppDelegate::handleTranscribedText(const nlohmann::json& reply, std::string text,
                                        const DictationValues& values) {
  if (!values.shouldClean) {
    finishWithText(std::move(text), values.duration, false, std::string("off"), values.traceID,
                   values.releasedAt);
    return;
  }
  auto attempted = reply.find("cleanup_attempted");
  if (attempted == reply.end() || !attempted->is_boolean()) {
    // This service does not report on cleanup: ask for it separately.
    aiClean(std::move(text), values.accessKey, values.duration, values.cleanupMode, values.traceID,
            values.releasedAt);
    return;
  }
  auto appliedMember = reply.find("cleanup_applied");
  const bool applied =
      appliedMember != reply.end() && appliedMember->is_boolean() && appliedMember->get<bool>();
  const std::string mode = stringMember(reply, "cleanup_mode").value_or(values.cleanupMode);
  const bool cleanupFailed = attempted->get<bool>() && !applied;
  finishWithText(std::move(text), values.duration, cleanupFailed, mode, values.traceID,
                 values.releasedAt);
}

void AppDelegate::aiClean(std::string text, std::string accessKey, double duration,
                          std::string cleanupMode, std::optional<std::string> traceID,
                          std::optional<Date> releasedAt) {
  UrlRequest request;
  request.url = apiURL("cleanup");
  request.httpMethod = "POST";
  request.setValue("Bearer " + accessKey, "Authorization");
  request.setValue("application/json", "Content-Type");
  if (traceID)
    request.setValue(*traceID, "X-Murvel-Trace-ID");
  request.httpBody =
      compactJSON({{"text", text}, {"tone", currentCleanupTone()}, {"mode", cleanupMode}});
  const Date cleanupStart = platform_.dispatch.now();

  auto completion = [weakSelf = weak_from_this(), &dispatch = platform_.dispatch,
                     text = std::move(text), duration, cleanupMode = std::move(cleanupMode),
                     traceID, releasedAt,
                     cleanupStart](std::optional<std::string> data, std::optional<HttpResponse>,
                                   std::optional<PlatformError> error) mutable {
    dispatch.async([weakSelf, text = std::move(text), duration,
                    cleanupMode = std::move(cleanupMode), traceID, releasedAt, cleanupStart,
                    data = std::move(data), failed = error.has_value()]() mutable {
      auto self = weakSelf.lock();
      if (!self)
        return;
      std::optional<std::string> cleaned;
      if (!failed && data) {
        if (auto parsed = parseJSONObjectOrArray(*data))
          cleaned = stringMember(*parsed, "text");
      }
      // Emptiness is judged before trimming: a text of blanks alone is a success.
      if (cleaned && !cleaned->empty()) {
        if (traceID) {
          self->logDictationTrace(
              *traceID, "legacy_cleanup_done",
              {{"cleanup_ms", millisecondsBetween(self->platform_.dispatch.now(), cleanupStart)}});
        }
        self->finishWithText(trimmedWhitespaceAndNewlines(*cleaned), duration, false,
                             std::move(cleanupMode), traceID, releasedAt);
        return;
      }
      if (traceID && releasedAt) {
        self->logDictationTrace(
            *traceID, "legacy_cleanup_failed",
            {{"after_release_ms",
              millisecondsBetween(self->platform_.dispatch.now(), *releasedAt)}});
      }
      // A failed cleanup never loses the dictation: the raw text goes out.
      self->finishWithText(std::move(text), duration, true, std::move(cleanupMode), traceID,
                           releasedAt);
    });
  };
  getApiSession()->dataTask(std::move(request), std::move(completion))->resume();
}

}  // namespace murvel

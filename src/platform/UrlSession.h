#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/PlatformError.h"

namespace murvel {

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

// An HTTP request: the URL, the method, the headers in the order they were set, an optional
// body and a timeout.
struct UrlRequest {
  std::string url;
  std::string httpMethod = "GET";
  HttpHeaders headers;
  std::optional<std::string> httpBody;
  // Seconds the request may wait for data, 60 unless set. The session's own limit applies too.
  double timeoutInterval = 60.0;

  // Sets a header field; a field of the same name (in any case) is replaced in its place.
  void setValue(std::string value, std::string_view field);
  // The value of a header field, looked up without regard to case.
  std::optional<std::string> valueForHTTPHeaderField(std::string_view field) const;
};

struct HttpResponse {
  long statusCode = 0;
  HttpHeaders headers;
};

// Called once per task, on a thread of the session, with what arrived: the body (possibly
// empty), the response, and a transport failure if there was one.
using TaskCompletion =
    std::function<void(std::optional<std::string> data, std::optional<HttpResponse> response,
                       std::optional<PlatformError> error)>;

class UrlSessionTask {
 public:
  virtual ~UrlSessionTask() = default;
  // Starts the task. It runs to its end whether or not the task object is kept.
  virtual void resume() = 0;
};

struct UrlSessionConfiguration {
  int httpMaximumConnectionsPerHost = 6;
  // Seconds a request may wait for data before it fails with a timeout.
  double timeoutIntervalForRequest = 60.0;
  // Seconds a whole task may take.
  double timeoutIntervalForResource = 7 * 24 * 3600.0;
  // False: without a network a request fails at once instead of waiting for one.
  bool waitsForConnectivity = false;
};

class UrlSession {
 public:
  virtual ~UrlSession() = default;

  virtual std::shared_ptr<UrlSessionTask> dataTask(UrlRequest request,
                                                   TaskCompletion completion) = 0;

  // Sends the file at `fromFile` as the body, streamed from disk; the request's own body is not
  // used. The caller's Content-Length header is sent as given.
  virtual std::shared_ptr<UrlSessionTask> uploadTask(UrlRequest request,
                                                     std::filesystem::path fromFile,
                                                     TaskCompletion completion) = 0;
};

class UrlSessions {
 public:
  virtual ~UrlSessions() = default;

  virtual std::shared_ptr<UrlSession> sessionWithConfiguration(
      const UrlSessionConfiguration& configuration) = 0;

  // The process-wide session with the default configuration.
  virtual std::shared_ptr<UrlSession> sharedSession() = 0;
};

}  // namespace murvel

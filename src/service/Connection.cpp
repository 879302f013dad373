#include "service/ServiceURL.h"
#include "shell/AppDelegate.h"

namespace murvel {

std::string AppDelegate::apiURL(std::string_view pathComponent) const {
  return appendingPathComponent(apiBaseURL, pathComponent);
}

std::shared_ptr<UrlSession> AppDelegate::getApiSession() {
  if (!apiSession) {
    UrlSessionConfiguration configuration;
    configuration.httpMaximumConnectionsPerHost = 2;
    configuration.timeoutIntervalForRequest = 30.0;
    configuration.waitsForConnectivity = false;
    apiSession = platform_.urlSessions.sessionWithConfiguration(configuration);
  }
  return apiSession;
}

void AppDelegate::prewarmAPIConnection() {
  UrlRequest request;
  request.url = apiURL("health");
  request.httpMethod = "HEAD";
  request.timeoutInterval = 5.0;
  getApiSession()->dataTask(std::move(request), [](auto&&...) {})->resume();
}

}  // namespace murvel

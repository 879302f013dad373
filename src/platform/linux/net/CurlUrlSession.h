#pragma once

#include <memory>
#include <thread>

#include "platform/UrlSession.h"

namespace murvel::linux_platform {

class SessionWorker;

// A session on libcurl's multi interface: one thread of its own, one pool of connections.
//
// - httpMaximumConnectionsPerHost bounds the open connections to each host; a request beyond it
//   waits in the session until one comes free.
// - Timeouts: a request fails with "The request timed out." once no data has moved in either
//   direction for the smaller of timeoutIntervalForRequest and the request's own timeoutInterval
//   (a value of 0 or below counts as unset). The clock starts when the task is resumed, so time
//   spent waiting for a connection counts, and every byte sent or received restarts it: a slow
//   upload or a trickling reply goes on as long as it keeps moving. timeoutIntervalForResource
//   bounds the whole task, from resume to the end.
// - Redirects are followed, to http and https only. TLS peers are always verified: against the
//   trusted authorities and against the host name of the URL. A peer that fails either is
//   refused with serverCertificateUntrusted, whose sentence says why in plain words.
// - waitsForConnectivity is not consulted: a request without a route fails at once, and a
//   failed request is never retried. (libcurl does send a request again, once, when the pooled
//   connection it picked turns out to have been closed before any reply came; the body is read
//   again from the start.)
// - Completions run on the session's thread, once per resumed task. A completion that throws is
//   caught and reported on standard error; the thread goes on.
// - The session lives as long as its last reference. Its destruction stops the thread: tasks
//   still under way complete with a cancellation error first, and a task resumed afterwards
//   completes with one at once, on the thread that resumed it. Dropping the last reference
//   inside a completion is allowed.
class CurlUrlSession final : public UrlSession {
 public:
  // `certificateAuthorities`, a PEM file, replaces the system's bundle of trusted authorities:
  // for tests against a peer of their own.
  explicit CurlUrlSession(const UrlSessionConfiguration& configuration,
                          std::optional<std::filesystem::path> certificateAuthorities = {});
  ~CurlUrlSession() override;
  CurlUrlSession(const CurlUrlSession&) = delete;
  CurlUrlSession& operator=(const CurlUrlSession&) = delete;

  std::shared_ptr<UrlSessionTask> dataTask(UrlRequest request, TaskCompletion completion) override;
  std::shared_ptr<UrlSessionTask> uploadTask(UrlRequest request, std::filesystem::path fromFile,
                                             TaskCompletion completion) override;

 private:
  std::shared_ptr<UrlSessionTask> makeTask(UrlRequest request,
                                           std::optional<std::filesystem::path> fromFile,
                                           TaskCompletion completion);

  const UrlSessionConfiguration configuration_;
  const std::optional<std::filesystem::path> certificateAuthorities_;
  // Shared with the thread and with the tasks, which may outlive the session.
  std::shared_ptr<SessionWorker> worker_;
  std::thread thread_;
};

}  // namespace murvel::linux_platform

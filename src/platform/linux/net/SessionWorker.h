#pragma once

#include <curl/curl.h>

#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "platform/linux/net/CurlTransfer.h"

namespace murvel::linux_platform {

// The engine of one session: a libcurl multi handle, and so one pool of connections, driven by
// run() on the session's own thread. Other threads only hand transfers over with submit() and
// wake the thread; nothing else of the multi handle is touched off that thread.
class SessionWorker {
 public:
  explicit SessionWorker(long maximumConnectionsPerHost);
  ~SessionWorker();
  SessionWorker(const SessionWorker&) = delete;
  SessionWorker& operator=(const SessionWorker&) = delete;

  // The loop of the session's thread. It sleeps in curl_multi_poll until a socket, a deadline or
  // a submission needs it, and returns once stop() was called and every transfer has completed.
  void run();

  // Any thread. Queues the transfer for the worker thread; after stop() the transfer completes
  // at once, on the calling thread, as cancelled.
  void submit(std::unique_ptr<CurlTransfer> transfer);

  // Any thread, any number of times. Transfers still under way complete as cancelled.
  void stop();

 private:
  using Clock = CurlTransfer::Clock;

  void start(std::unique_ptr<CurlTransfer> transfer);
  void collectFinished();
  void expireOverdue(Clock::time_point now);
  int millisecondsToNextDeadline(Clock::time_point now) const;
  void cancelRunning();

  std::mutex mutex_;
  // Guarded by mutex_. While it is true the multi handle exists and may be woken.
  bool accepting_ = true;
  std::vector<std::unique_ptr<CurlTransfer>> submitted_;
  CURLM* multi_;

  // The worker thread's alone.
  std::unordered_map<CURL*, std::unique_ptr<CurlTransfer>> running_;
};

}  // namespace murvel::linux_platform

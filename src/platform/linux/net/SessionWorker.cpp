#include "platform/linux/net/SessionWorker.h"

#include <algorithm>
#include <climits>
#include <utility>

#include "platform/linux/net/UrlErrors.h"

namespace murvel::linux_platform {

SessionWorker::SessionWorker(long maximumConnectionsPerHost) : multi_(curl_multi_init()) {
  // Without a handle (out of memory) the session takes nothing: every task ends as cancelled.
  accepting_ = multi_ != nullptr;
  // A transfer beyond the limit waits inside libcurl for a connection of the host to come free.
  curl_multi_setopt(multi_, CURLMOPT_MAX_HOST_CONNECTIONS, std::max(maximumConnectionsPerHost, 0L));
}

SessionWorker::~SessionWorker() {
  // run() frees the handle on its way out; this covers a worker whose thread never ran.
  if (multi_)
    curl_multi_cleanup(multi_);
}

void SessionWorker::submit(std::unique_ptr<CurlTransfer> transfer) {
  {
    std::lock_guard lock(mutex_);
    if (accepting_) {
      submitted_.push_back(std::move(transfer));
      curl_multi_wakeup(multi_);
      return;
    }
  }
  transfer->fail(urlError(UrlErrorCode::cancelled));
}

void SessionWorker::stop() {
  std::lock_guard lock(mutex_);
  if (!accepting_)
    return;
  accepting_ = false;
  curl_multi_wakeup(multi_);
}

void SessionWorker::run() {
  if (!multi_)
    return;
  for (;;) {
    std::vector<std::unique_ptr<CurlTransfer>> arrived;
    bool stopping = false;
    {
      std::lock_guard lock(mutex_);
      arrived.swap(submitted_);
      stopping = !accepting_;
    }
    if (stopping) {
      for (auto& transfer : arrived) transfer->fail(urlError(UrlErrorCode::cancelled));
      break;
    }
    for (auto& transfer : arrived) start(std::move(transfer));

    int stillRunning = 0;
    curl_multi_perform(multi_, &stillRunning);
    collectFinished();
    expireOverdue(Clock::now());

    // libcurl shortens the wait on its own when one of its timers is due sooner.
    curl_multi_poll(multi_, nullptr, 0, millisecondsToNextDeadline(Clock::now()), nullptr);
  }
  cancelRunning();
  // accepting_ is false, so no other thread reaches the handle any more.
  curl_multi_cleanup(multi_);
  multi_ = nullptr;
}

void SessionWorker::start(std::unique_ptr<CurlTransfer> transfer) {
  if (std::optional<PlatformError> error = transfer->prepare(Clock::now())) {
    transfer->fail(std::move(*error));
    return;
  }
  CURL* easy = transfer->handle();
  if (curl_multi_add_handle(multi_, easy) != CURLM_OK) {
    transfer->fail(urlError(UrlErrorCode::unknown));
    return;
  }
  running_.emplace(easy, std::move(transfer));
}

void SessionWorker::collectFinished() {
  int queued = 0;
  while (CURLMsg* message = curl_multi_info_read(multi_, &queued)) {
    if (message->msg != CURLMSG_DONE)
      continue;
    // The message dies with the removal of its handle: copy what is needed first.
    CURL* easy = message->easy_handle;
    const CURLcode result = message->data.result;
    curl_multi_remove_handle(multi_, easy);
    auto node = running_.extract(easy);
    if (node)
      node.mapped()->finish(result);
  }
}

void SessionWorker::expireOverdue(Clock::time_point now) {
  std::vector<std::unique_ptr<CurlTransfer>> overdue;
  for (auto it = running_.begin(); it != running_.end();) {
    if (it->second->deadline() <= now) {
      curl_multi_remove_handle(multi_, it->first);
      overdue.push_back(std::move(it->second));
      it = running_.erase(it);
    } else {
      ++it;
    }
  }
  // Completions run after the walk: none of them may see the map half changed.
  for (auto& transfer : overdue) transfer->fail(urlError(UrlErrorCode::timedOut));
}

int SessionWorker::millisecondsToNextDeadline(Clock::time_point now) const {
  Clock::time_point next = Clock::time_point::max();
  for (const auto& [easy, transfer] : running_) next = std::min(next, transfer->deadline());
  if (next == Clock::time_point::max())
    return INT_MAX;
  if (next <= now)
    return 0;
  // Rounded up, so that the thread never wakes just short of the deadline and sleeps again.
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - now).count();
  return static_cast<int>(std::min<decltype(wait)>(wait, INT_MAX));
}

void SessionWorker::cancelRunning() {
  std::vector<std::unique_ptr<CurlTransfer>> cancelled;
  for (auto& [easy, transfer] : running_) {
    curl_multi_remove_handle(multi_, easy);
    cancelled.push_back(std::move(transfer));
  }
  running_.clear();
  for (auto& transfer : cancelled) transfer->fail(urlError(UrlErrorCode::cancelled));
}

}  // namespace murvel::linux_platform

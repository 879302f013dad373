#include "platform/linux/net/CurlUrlSession.h"

#include <chrono>
#include <cmath>
#include <mutex>
#include <utility>

#include "platform/linux/net/CurlGlobal.h"
#include "platform/linux/net/CurlTransfer.h"
#include "platform/linux/net/SessionWorker.h"

namespace murvel::linux_platform {

namespace {

// A limit in seconds; 0, negative or not a number means none. Capped far beyond any real use so
// that the clock arithmetic cannot overflow.
std::optional<CurlTransfer::Clock::duration> limitFrom(double seconds) {
  if (!(seconds > 0))
    return std::nullopt;
  constexpr double kLongest = 10.0 * 365 * 24 * 3600;
  return std::chrono::duration_cast<CurlTransfer::Clock::duration>(
      std::chrono::duration<double>(std::min(seconds, kLongest)));
}

CurlTransfer::Limits limitsFor(const UrlSessionConfiguration& configuration,
                               const UrlRequest& request) {
  std::optional<CurlTransfer::Clock::duration> idle =
      limitFrom(configuration.timeoutIntervalForRequest);
  if (const auto own = limitFrom(request.timeoutInterval))
    idle = idle ? std::min(*idle, *own) : *own;
  return {idle, limitFrom(configuration.timeoutIntervalForResource)};
}

class CurlSessionTask final : public UrlSessionTask {
 public:
  CurlSessionTask(std::shared_ptr<SessionWorker> worker, std::unique_ptr<CurlTransfer> transfer)
      : worker_(std::move(worker)), transfer_(std::move(transfer)) {}

  void resume() override {
    std::unique_ptr<CurlTransfer> transfer;
    {
      std::lock_guard lock(mutex_);
      transfer = std::move(transfer_);
    }
    // Only the first resume starts anything.
    if (transfer)
      worker_->submit(std::move(transfer));
  }

 private:
  const std::shared_ptr<SessionWorker> worker_;
  std::mutex mutex_;
  std::unique_ptr<CurlTransfer> transfer_;
};

}  // namespace

CurlUrlSession::CurlUrlSession(const UrlSessionConfiguration& configuration,
                               std::optional<std::filesystem::path> certificateAuthorities)
    : configuration_(configuration), certificateAuthorities_(std::move(certificateAuthorities)) {
  ensureCurlGlobalInit();
  worker_ = std::make_shared<SessionWorker>(configuration_.httpMaximumConnectionsPerHost);
  // The thread holds the worker too: it may outlive this object by a moment (see below).
  thread_ = std::thread([worker = worker_] { worker->run(); });
}

CurlUrlSession::~CurlUrlSession() {
  worker_->stop();
  if (thread_.get_id() == std::this_thread::get_id()) {
    // The last reference went inside a completion, on the session's own thread: it cannot wait
    // for itself, and finishes the loop on its own right after.
    thread_.detach();
  } else {
    thread_.join();
  }
}

std::shared_ptr<UrlSessionTask> CurlUrlSession::dataTask(UrlRequest request,
                                                         TaskCompletion completion) {
  return makeTask(std::move(request), std::nullopt, std::move(completion));
}

std::shared_ptr<UrlSessionTask> CurlUrlSession::uploadTask(UrlRequest request,
                                                           std::filesystem::path fromFile,
                                                           TaskCompletion completion) {
  return makeTask(std::move(request), std::move(fromFile), std::move(completion));
}

std::shared_ptr<UrlSessionTask> CurlUrlSession::makeTask(
    UrlRequest request, std::optional<std::filesystem::path> fromFile, TaskCompletion completion) {
  const CurlTransfer::Limits limits = limitsFor(configuration_, request);
  auto transfer = std::make_unique<CurlTransfer>(std::move(request), std::move(fromFile), limits,
                                                 std::move(completion));
  if (certificateAuthorities_)
    transfer->trustOnly(*certificateAuthorities_);
  return std::make_shared<CurlSessionTask>(worker_, std::move(transfer));
}

}  // namespace murvel::linux_platform

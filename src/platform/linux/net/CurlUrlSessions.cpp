#include "platform/linux/net/CurlUrlSessions.h"

#include "platform/linux/net/CurlGlobal.h"
#include "platform/linux/net/CurlUrlSession.h"

namespace murvel::linux_platform {

namespace {

std::shared_ptr<UrlSession> processSharedSession() {
  // Only a weak reference is static: the session ends with the factories and callers that hold
  // it, in the program's own order, and not among the static destructors after main.
  static std::mutex mutex;
  static std::weak_ptr<UrlSession> current;
  std::lock_guard lock(mutex);
  std::shared_ptr<UrlSession> session = current.lock();
  if (!session) {
    session = std::make_shared<CurlUrlSession>(UrlSessionConfiguration{});
    current = session;
  }
  return session;
}

}  // namespace

CurlUrlSessions::CurlUrlSessions() {
  ensureCurlGlobalInit();
}

std::shared_ptr<UrlSession> CurlUrlSessions::sessionWithConfiguration(
    const UrlSessionConfiguration& configuration) {
  return std::make_shared<CurlUrlSession>(configuration);
}

std::shared_ptr<UrlSession> CurlUrlSessions::sharedSession() {
  std::lock_guard lock(mutex_);
  if (!shared_)
    shared_ = processSharedSession();
  return shared_;
}

}  // namespace murvel::linux_platform

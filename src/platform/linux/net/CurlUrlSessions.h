#pragma once

#include <memory>
#include <mutex>

#include "platform/UrlSession.h"

namespace murvel::linux_platform {

// Makes libcurl sessions (see CurlUrlSession). libcurl is initialised by the constructor, so make
// the factory before other threads start.
class CurlUrlSessions final : public UrlSessions {
 public:
  CurlUrlSessions();

  std::shared_ptr<UrlSession> sessionWithConfiguration(
      const UrlSessionConfiguration& configuration) override;

  // One session with the default configuration for the whole process: every factory hands out
  // the same one while any of them (or any caller) still holds it.
  std::shared_ptr<UrlSession> sharedSession() override;

 private:
  std::mutex mutex_;
  std::shared_ptr<UrlSession> shared_;
};

}  // namespace murvel::linux_platform

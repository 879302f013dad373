#include "platform/linux/net/CurlGlobal.h"

#include <curl/curl.h>

namespace murvel::linux_platform {

void ensureCurlGlobalInit() {
  // A function-local static runs the initialisation exactly once even if two threads race here.
  // It is never cleaned up: sessions may still be ending while static objects are destroyed.
  [[maybe_unused]] static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
}

}  // namespace murvel::linux_platform

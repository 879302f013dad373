#pragma once

#include <curl/curl.h>

#include <string_view>

#include "platform/PlatformError.h"

namespace murvel::linux_platform {

// The domain of every transport failure reported by the sessions.
inline constexpr std::string_view urlErrorDomain = "murvel.url";

// Stable codes of transport failures; the logic may compare against them.
enum class UrlErrorCode : long {
  unknown = -1,
  cancelled = -999,
  badUrl = -1000,
  timedOut = -1001,
  unsupportedUrl = -1002,
  cannotFindHost = -1003,
  cannotConnectToHost = -1004,
  networkConnectionLost = -1005,
  tooManyRedirects = -1007,
  notConnectedToInternet = -1009,
  badServerResponse = -1011,
  fileDoesNotExist = -1100,
  cannotReadFile = -1102,
  secureConnectionFailed = -1200,
  serverCertificateUntrusted = -1202,
  // A loopback service that another user of the computer runs, or whose owner cannot be told.
  serviceOfAnotherUser = -1300,
};

// The failure with its sentence for the user.
PlatformError urlError(UrlErrorCode code);

// The failure for a transfer that libcurl ended with `result`; `osErrno` is the system error of
// the last connection attempt (CURLINFO_OS_ERRNO), 0 if none.
PlatformError urlErrorForCurl(CURLcode result, long osErrno);

}  // namespace murvel::linux_platform

#include "platform/linux/net/UrlErrors.h"

#include <cerrno>
#include <string>

namespace murvel::linux_platform {

namespace {

std::string_view sentenceFor(UrlErrorCode code) {
  switch (code) {
    case UrlErrorCode::cancelled:
      return "The request was cancelled.";
    case UrlErrorCode::badUrl:
      return "The URL is not valid.";
    case UrlErrorCode::timedOut:
      return "The request timed out.";
    case UrlErrorCode::unsupportedUrl:
      return "The URL is not supported.";
    case UrlErrorCode::cannotFindHost:
      return "A server with the specified hostname could not be found.";
    case UrlErrorCode::cannotConnectToHost:
      return "Could not connect to the server.";
    case UrlErrorCode::networkConnectionLost:
      return "The network connection was lost.";
    case UrlErrorCode::tooManyRedirects:
      return "There were too many redirects.";
    case UrlErrorCode::notConnectedToInternet:
      return "The Internet connection appears to be offline.";
    case UrlErrorCode::badServerResponse:
      return "The server sent a reply that could not be read.";
    case UrlErrorCode::fileDoesNotExist:
      return "The file to upload does not exist.";
    case UrlErrorCode::cannotReadFile:
      return "The file to upload could not be read.";
    case UrlErrorCode::secureConnectionFailed:
      return "An SSL error has occurred and a secure connection to the server cannot be made.";
    case UrlErrorCode::serverCertificateUntrusted:
      return "The certificate for this server is invalid. You might be connecting to a server "
             "that is pretending to be the one you asked for, which could put your confidential "
             "information at risk.";
    case UrlErrorCode::serviceOfAnotherUser:
      return "The service at this address on your computer is not run by you, so Murvel "
             "sends it nothing.";
    case UrlErrorCode::unknown:
      break;
  }
  return "An unknown network error occurred.";
}

UrlErrorCode codeForCurl(CURLcode result, long osErrno) {
  switch (result) {
    case CURLE_UNSUPPORTED_PROTOCOL:
      return UrlErrorCode::unsupportedUrl;
    case CURLE_URL_MALFORMAT:
      return UrlErrorCode::badUrl;
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
      return UrlErrorCode::cannotFindHost;
    case CURLE_COULDNT_CONNECT:
      // No route at all is the machine being offline, not the server refusing.
      if (osErrno == ENETUNREACH || osErrno == ENETDOWN)
        return UrlErrorCode::notConnectedToInternet;
      return UrlErrorCode::cannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
      return UrlErrorCode::timedOut;
    case CURLE_PARTIAL_FILE:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_FAIL_REWIND:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
      return UrlErrorCode::networkConnectionLost;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_RANGE_ERROR:
      return UrlErrorCode::badServerResponse;
    case CURLE_TOO_MANY_REDIRECTS:
      return UrlErrorCode::tooManyRedirects;
    case CURLE_READ_ERROR:
      return UrlErrorCode::cannotReadFile;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_CLIENTCERT:
    case CURLE_USE_SSL_FAILED:
      return UrlErrorCode::secureConnectionFailed;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return UrlErrorCode::serverCertificateUntrusted;
    default:
      return UrlErrorCode::unknown;
  }
}

}  // namespace

PlatformError urlError(UrlErrorCode code) {
  return PlatformError{std::string(urlErrorDomain), static_cast<long>(code),
                       std::string(sentenceFor(code))};
}

PlatformError urlErrorForCurl(CURLcode result, long osErrno) {
  const UrlErrorCode code = codeForCurl(result, osErrno);
  PlatformError error = urlError(code);
  if (code == UrlErrorCode::unknown) {
    // Rare failures keep libcurl's own words, so that a report from the field says what happened.
    error.localizedDescription =
        "An unknown network error occurred (" + std::string(curl_easy_strerror(result)) + ").";
  }
  return error;
}

}  // namespace murvel::linux_platform

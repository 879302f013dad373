#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "platform/UrlSession.h"

namespace murvel::linux_platform {

// One task: its request, the easy handle that carries it and what has arrived so far. Built on
// any thread; from prepare() on it belongs to the session's worker thread.
class CurlTransfer {
 public:
  using Clock = std::chrono::steady_clock;

  struct Limits {
    // The longest stretch with no data moving either way; unset means none.
    std::optional<Clock::duration> idle;
    // The longest the whole task may take; unset means none.
    std::optional<Clock::duration> total;
  };

  CurlTransfer(UrlRequest request, std::optional<std::filesystem::path> uploadFile, Limits limits,
               TaskCompletion completion);
  ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  // The peer is verified against the authorities in this PEM file instead of the system's.
  void trustOnly(std::filesystem::path certificateAuthorities) {
    certificateAuthorities_ = std::move(certificateAuthorities);
  }

  // Builds the easy handle and starts the clocks. On failure (the file to upload is missing, say)
  // the transfer must not be run; the failure is what the completion gets.
  std::optional<PlatformError> prepare(Clock::time_point now);

  CURL* handle() const { return easy_.get(); }

  // The moment the task runs out of time unless data moves before; Clock::time_point::max() when
  // it has no limit.
  Clock::time_point deadline() const;

  // Hands what libcurl reported for the finished transfer to the completion.
  void finish(CURLcode result);
  // Hands a failure of the session's own making (timeout, shutdown) to the completion.
  void fail(PlatformError error);

 private:
  struct EasyDeleter {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
  };
  struct HeaderListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };
  struct FileDeleter {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::optional<PlatformError> setUpBody();
  bool setUpHeaders();
  void complete(std::optional<std::string> data, std::optional<HttpResponse> response,
                std::optional<PlatformError> error);

  static size_t onBody(char* data, size_t size, size_t count, void* self);
  static size_t onHeader(char* data, size_t size, size_t count, void* self);
  static size_t onRead(char* buffer, size_t size, size_t count, void* self);
  static int onSeek(void* self, curl_off_t offset, int origin);
  static int onConnected(void* self, char* serverAddress, char* clientAddress, int serverPort,
                         int clientPort);
  static int onProgress(void* self, curl_off_t downloadTotal, curl_off_t downloaded,
                        curl_off_t uploadTotal, curl_off_t uploaded);

  UrlRequest request_;
  std::optional<std::filesystem::path> uploadFile_;
  Limits limits_;
  TaskCompletion completion_;
  std::optional<std::filesystem::path> certificateAuthorities_;

  // Declared before the easy handle, so that they outlive it: it points at both.
  std::unique_ptr<curl_slist, HeaderListDeleter> headerList_;
  std::unique_ptr<std::FILE, FileDeleter> file_;
  std::unique_ptr<CURL, EasyDeleter> easy_;
  bool fileReadFailed_ = false;
  bool serviceOfAnotherUser_ = false;
  int openError_ = 0;

  Clock::time_point startedAt_;
  Clock::time_point lastActivityAt_;
  curl_off_t downloaded_ = 0;
  curl_off_t uploaded_ = 0;

  std::string body_;
  HttpHeaders responseHeaders_;
};

}  // namespace murvel::linux_platform

#include "platform/linux/net/CurlTransfer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <exception>
#include <string_view>
#include <utility>

#include "platform/linux/net/LoopbackOwner.h"
#include "platform/linux/net/UrlErrors.h"

namespace murvel::linux_platform {

namespace {

std::string_view trimmed(std::string_view text) {
  const auto isSpace = [](char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
  };
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

// The caller's Content-Length as a number, if it is one.
std::optional<curl_off_t> declaredLength(const UrlRequest& request) {
  const std::optional<std::string> field = request.valueForHTTPHeaderField("Content-Length");
  if (!field)
    return std::nullopt;
  const std::string_view digits = trimmed(*field);
  curl_off_t length = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
  if (error != std::errc() || end != digits.data() + digits.size() || length < 0)
    return std::nullopt;
  return length;
}

}  // namespace

CurlTransfer::CurlTransfer(UrlRequest request, std::optional<std::filesystem::path> uploadFile,
                           Limits limits, TaskCompletion completion)
    : request_(std::move(request)),
      uploadFile_(std::move(uploadFile)),
      limits_(limits),
      completion_(std::move(completion)) {
  // Opened when the task is made, on the caller's thread: a recording that replaces the file
  // before the worker gets to this task cannot take this upload's content away.
  if (uploadFile_) {
    file_.reset(std::fopen(uploadFile_->c_str(), "rb"));
    if (!file_)
      openError_ = errno;
  }
}

CurlTransfer::~CurlTransfer() = default;

std::optional<PlatformError> CurlTransfer::prepare(Clock::time_point now) {
  startedAt_ = now;
  lastActivityAt_ = now;
  easy_.reset(curl_easy_init());
  if (!easy_)
    return urlError(UrlErrorCode::unknown);
  CURL* easy = easy_.get();

  curl_easy_setopt(easy, CURLOPT_URL, request_.url.c_str());
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(easy, CURLOPT_MAXREDIRS, 16L);
  // Stated rather than left to the defaults: a peer is always verified.
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  if (certificateAuthorities_) {
    curl_easy_setopt(easy, CURLOPT_CAINFO, certificateAuthorities_->c_str());
    curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
  }

  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &CurlTransfer::onBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &CurlTransfer::onHeader);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(easy, CURLOPT_XFERINFOFUNCTION, &CurlTransfer::onProgress);
  curl_easy_setopt(easy, CURLOPT_XFERINFODATA, this);
  curl_easy_setopt(easy, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, &CurlTransfer::onConnected);
  curl_easy_setopt(easy, CURLOPT_PREREQDATA, this);
  if (limits_.idle) {
    // libcurl's own connect limit (300 s by default) must not cut in before ours.
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(*limits_.idle);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(milliseconds.count()));
  }

  if (std::optional<PlatformError> error = setUpBody())
    return error;
  if (!setUpHeaders())
    return urlError(UrlErrorCode::unknown);
  return std::nullopt;
}

std::optional<PlatformError> CurlTransfer::setUpBody() {
  CURL* easy = easy_.get();
  const std::string& method = request_.httpMethod;
  if (uploadFile_) {
    if (!file_) {
      return urlError(openError_ == ENOENT ? UrlErrorCode::fileDoesNotExist
                                           : UrlErrorCode::cannotReadFile);
    }
    std::optional<curl_off_t> length = declaredLength(request_);
    if (!length) {
      struct stat status {};
      if (fstat(fileno(file_.get()), &status) != 0)
        return urlError(UrlErrorCode::cannotReadFile);
      length = status.st_size;
    }
    curl_easy_setopt(easy, CURLOPT_POST, 1L);
    curl_easy_setopt(easy, CURLOPT_READFUNCTION, &CurlTransfer::onRead);
    curl_easy_setopt(easy, CURLOPT_READDATA, this);
    // A reused connection that turns out closed makes libcurl send the body again from the start.
    curl_easy_setopt(easy, CURLOPT_SEEKFUNCTION, &CurlTransfer::onSeek);
    curl_easy_setopt(easy, CURLOPT_SEEKDATA, this);
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, *length);
    if (method != "POST")
      curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.c_str());
  } else if (method == "HEAD") {
    curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
  } else if (method == "GET" && !request_.httpBody) {
    curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
  } else if (request_.httpBody || method == "POST") {
    if (!request_.httpBody)
      request_.httpBody.emplace();
    // libcurl reads the body from our copy, which lives as long as the handle.
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(request_.httpBody->size()));
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request_.httpBody->data());
    if (method != "POST")
      curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.c_str());
  } else {
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.c_str());
  }
  return std::nullopt;
}

bool CurlTransfer::setUpHeaders() {
  const auto append = [this](const std::string& line) {
    curl_slist* head = curl_slist_append(headerList_.get(), line.c_str());
    if (!head)
      return false;
    // Only the first entry changes the head of the list.
    if (!headerList_)
      headerList_.reset(head);
    return true;
  };
  for (const auto& [name, value] : request_.headers) {
    // "Name;" is how libcurl is told to send a field with an empty value.
    if (!append(value.empty() ? name + ";" : name + ": " + value))
      return false;
  }
  // libcurl adds these fields of its own accord (Accept: */*, a form Content-Type on a POST, and
  // Expect: 100-continue on a large upload, which then waits for the server's go-ahead). An empty
  // entry removes its default and sends nothing, so the request carries what the caller set.
  for (const std::string field : {"Accept", "Content-Type", "Expect"}) {
    if (!request_.valueForHTTPHeaderField(field) && !append(field + ":"))
      return false;
  }
  curl_easy_setopt(easy_.get(), CURLOPT_HTTPHEADER, headerList_.get());
  return true;
}

CurlTransfer::Clock::time_point CurlTransfer::deadline() const {
  Clock::time_point deadline = Clock::time_point::max();
  if (limits_.idle)
    deadline = std::min(deadline, lastActivityAt_ + *limits_.idle);
  if (limits_.total)
    deadline = std::min(deadline, startedAt_ + *limits_.total);
  return deadline;
}

void CurlTransfer::finish(CURLcode result) {
  if (result == CURLE_OK) {
    long status = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
    complete(std::move(body_), HttpResponse{status, std::move(responseHeaders_)}, std::nullopt);
    return;
  }
  if (serviceOfAnotherUser_) {
    complete(std::nullopt, std::nullopt, urlError(UrlErrorCode::serviceOfAnotherUser));
    return;
  }
  if (fileReadFailed_) {
    complete(std::nullopt, std::nullopt, urlError(UrlErrorCode::cannotReadFile));
    return;
  }
  long osErrno = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_OS_ERRNO, &osErrno);
  complete(std::nullopt, std::nullopt, urlErrorForCurl(result, osErrno));
}

void CurlTransfer::fail(PlatformError error) {
  complete(std::nullopt, std::nullopt, std::move(error));
}

void CurlTransfer::complete(std::optional<std::string> data, std::optional<HttpResponse> response,
                            std::optional<PlatformError> error) {
  // Taken out first, so that nothing can call it a second time.
  TaskCompletion completion = std::exchange(completion_, nullptr);
  if (!completion)
    return;
  try {
    completion(std::move(data), std::move(response), std::move(error));
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "murvel: a network completion handler threw: %s\n", exception.what());
  } catch (...) {
    std::fprintf(stderr, "murvel: a network completion handler threw\n");
  }
}

size_t CurlTransfer::onBody(char* data, size_t size, size_t count, void* self) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  transfer.lastActivityAt_ = Clock::now();
  transfer.body_.append(data, size * count);
  return size * count;
}

size_t CurlTransfer::onHeader(char* data, size_t size, size_t count, void* self) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  transfer.lastActivityAt_ = Clock::now();
  const std::string_view raw(data, size * count);
  const std::string_view line = trimmed(raw);
  HttpHeaders& headers = transfer.responseHeaders_;
  if (line.starts_with("HTTP/")) {
    // A new status line: an interim or redirect response went before, and only the last counts.
    headers.clear();
  } else if (!raw.empty() && (raw.front() == ' ' || raw.front() == '\t')) {
    if (!headers.empty() && !line.empty())
      headers.back().second.append(" ").append(line);
  } else if (const size_t colon = line.find(':'); colon != std::string_view::npos) {
    headers.emplace_back(std::string(trimmed(line.substr(0, colon))),
                         std::string(trimmed(line.substr(colon + 1))));
  }
  return size * count;
}

size_t CurlTransfer::onRead(char* buffer, size_t size, size_t count, void* self) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  const size_t read = std::fread(buffer, 1, size * count, transfer.file_.get());
  if (read == 0 && std::ferror(transfer.file_.get())) {
    transfer.fileReadFailed_ = true;
    return CURL_READFUNC_ABORT;
  }
  transfer.lastActivityAt_ = Clock::now();
  return read;
}

int CurlTransfer::onSeek(void* self, curl_off_t offset, int origin) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  return fseeko(transfer.file_.get(), static_cast<off_t>(offset), origin) == 0 ? CURL_SEEKFUNC_OK
                                                                               : CURL_SEEKFUNC_FAIL;
}

int CurlTransfer::onConnected(void* self, char* serverAddress, char* clientAddress, int serverPort,
                              int clientPort) {
  // Every user of the computer may listen on a loopback port: words and keys go only to a
  // service of this user's own, on a connection that is checked before each request is sent.
  if (!isLoopbackAddress(serverAddress))
    return CURL_PREREQFUNC_OK;
  const std::optional<uid_t> owner =
      loopbackConnectionOwner({serverAddress, serverPort}, {clientAddress, clientPort});
  if (owner && *owner == geteuid())
    return CURL_PREREQFUNC_OK;
  static_cast<CurlTransfer*>(self)->serviceOfAnotherUser_ = true;
  return CURL_PREREQFUNC_ABORT;
}

int CurlTransfer::onProgress(void* self, curl_off_t, curl_off_t downloaded, curl_off_t,
                             curl_off_t uploaded) {
  // The only sign that a body handed over whole (a JSON request) has gone out.
  auto& transfer = *static_cast<CurlTransfer*>(self);
  if (downloaded != transfer.downloaded_ || uploaded != transfer.uploaded_) {
    transfer.downloaded_ = downloaded;
    transfer.uploaded_ = uploaded;
    transfer.lastActivityAt_ = Clock::now();
  }
  return 0;
}

}  // namespace murvel::linux_platform

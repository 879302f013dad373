#include "Floors.h"

#include <curl/curl.h>

#include <cstdio>
#include <future>
#include <memory>
#include <string>

#include "platform/linux/net/CurlUrlSessions.h"

namespace murvel::bench {

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

std::size_t discard(char*, std::size_t size, std::size_t count, void*) {
  return size * count;
}

std::size_t readFile(char* buffer, std::size_t size, std::size_t count, void* file) {
  return std::fread(buffer, size, count, static_cast<FILE*>(file));
}

}  // namespace

Samples bareCurlFloor(LoopbackService& service, const fs::path& recording, int runs) {
  Samples floor;
  CURL* easy = curl_easy_init();
  curl_slist* headers = nullptr;
  for (const char* header : {"Content-Type: audio/wav", "Authorization: Bearer bench", "Expect:"})
    headers = curl_slist_append(headers, header);
  const std::string url = service.url("/api/transcribe");
  curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(easy, CURLOPT_POST, 1L);
  curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                   static_cast<curl_off_t>(fs::file_size(recording)));
  curl_easy_setopt(easy, CURLOPT_READFUNCTION, &readFile);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &discard);
  for (int run = -1; run < runs; ++run) {  // the first run opens the connection
    FILE* file = std::fopen(recording.c_str(), "rb");
    curl_easy_setopt(easy, CURLOPT_READDATA, file);
    const std::size_t from = service.count();
    const auto start = Clock::now();
    const CURLcode code = curl_easy_perform(easy);
    std::fclose(file);
    const auto request = service.waitFor("POST /api/transcribe", from, 5s);
    if (code != CURLE_OK || !request) {
      std::fprintf(stderr, "bare libcurl POST failed: %s\n", curl_easy_strerror(code));
      continue;
    }
    if (run >= 0 && !request->newConnection)
      floor.values.push_back(msBetween(start, request->firstByte));
  }
  curl_slist_free_all(headers);
  curl_easy_cleanup(easy);
  return floor;
}

Samples appSessionUploads(LoopbackService& service, const fs::path& recording, int runs) {
  Samples samples;
  murvel::linux_platform::CurlUrlSessions sessions;
  murvel::UrlSessionConfiguration configuration;
  configuration.httpMaximumConnectionsPerHost = 2;
  configuration.timeoutIntervalForRequest = 30.0;
  configuration.waitsForConnectivity = false;
  const auto session = sessions.sessionWithConfiguration(configuration);
  const auto runToEnd = [](const std::shared_ptr<murvel::UrlSessionTask>& task,
                           std::promise<void>& done) {
    task->resume();
    done.get_future().wait();
  };
  for (int run = -1; run < runs; ++run) {  // the first run opens the connection
    murvel::UrlRequest upload;
    upload.url = service.url("/api/transcribe");
    upload.httpMethod = "POST";
    upload.setValue("Bearer bench", "Authorization");
    upload.setValue("audio/wav", "Content-Type");
    upload.setValue(std::to_string(fs::file_size(recording)), "Content-Length");
    std::promise<void> done;
    const std::size_t from = service.count();
    auto task =
        session->uploadTask(std::move(upload), recording, [&done](auto&&...) { done.set_value(); });
    const auto start = Clock::now();
    runToEnd(task, done);
    const auto request = service.waitFor("POST /api/transcribe", from, 5s);
    if (run >= 0 && request && !request->newConnection)
      samples.values.push_back(msBetween(start, request->firstByte));
  }
  return samples;
}

}  // namespace murvel::bench

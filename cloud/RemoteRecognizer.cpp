#include "cloud/RemoteRecognizer.h"

#include <curl/curl.h>

#include <cstring>
#include <memory>
#include <mutex>

#include "cloud/RecognizerReply.h"

namespace murvel::cloud {

namespace {

constexpr std::size_t largestReply = 1024 * 1024;

void putLittleEndian(std::string& out, std::uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

std::string wavFile(std::span<const std::int16_t> samples) {
  const auto dataBytes = static_cast<std::uint32_t>(samples.size() * sizeof(std::int16_t));
  std::string wav = "RIFF";
  putLittleEndian(wav, 36 + dataBytes, 4);
  wav += "WAVEfmt ";
  putLittleEndian(wav, 16, 4);
  putLittleEndian(wav, 1, 2);  // linear PCM
  putLittleEndian(wav, 1, 2);  // one channel
  putLittleEndian(wav, 16000, 4);
  putLittleEndian(wav, 32000, 4);
  putLittleEndian(wav, 2, 2);
  putLittleEndian(wav, 16, 2);
  wav += "data";
  putLittleEndian(wav, dataBytes, 4);
  for (const std::int16_t sample : samples)
    putLittleEndian(wav, static_cast<std::uint16_t>(sample), 2);
  return wav;
}

std::size_t collect(char* data, std::size_t size, std::size_t count, void* reply) {
  auto& body = *static_cast<std::string*>(reply);
  if (body.size() + size * count > largestReply)
    return 0;  // ends the transfer: no transcript is that long
  body.append(data, size * count);
  return size * count;
}

void addField(curl_mime* form, const char* name, const std::string& value) {
  curl_mimepart* part = curl_mime_addpart(form);
  curl_mime_name(part, name);
  curl_mime_data(part, value.data(), value.size());
}

}  // namespace

Outcome<std::string> recognizeRemotely(const RecognizerOptions& options, const std::string& apiKey,
                                       std::span<const std::int16_t> samples) {
  using Text = Outcome<std::string>;
  static std::once_flag initialised;
  std::call_once(initialised, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  const std::string server = "The speech recogniser at " + hostOf(options.url).value_or("?");

  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(),
                                                                 &curl_easy_cleanup);
  if (!curl)
    return Text::failure("The request to the speech recogniser could not be made.");
  const std::unique_ptr<curl_mime, decltype(&curl_mime_free)> form(curl_mime_init(curl.get()),
                                                                   &curl_mime_free);
  // The fields in the order of the interface's documentation: the file, then the model.
  const std::string wav = wavFile(samples);
  curl_mimepart* file = curl_mime_addpart(form.get());
  curl_mime_name(file, "file");
  curl_mime_filename(file, "recording.wav");
  curl_mime_type(file, "audio/wav");
  curl_mime_data(file, wav.data(), wav.size());
  addField(form.get(), "model", options.model);
  if (!options.language.empty())
    addField(form.get(), "language", options.language);
  if (!options.prompt.empty())
    addField(form.get(), "prompt", options.prompt);

  // Without "Expect:" a recording over a megabyte would wait a second for the server's go-ahead.
  curl_slist* headerList = curl_slist_append(nullptr, "Expect:");
  if (!apiKey.empty())
    headerList = curl_slist_append(headerList, ("Authorization: Bearer " + apiKey).c_str());
  const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(headerList,
                                                                            &curl_slist_free_all);
  std::string body;
  const std::string url = options.url + "/audio/transcriptions";
  CURL* c = curl.get();
  curl_easy_setopt(c, CURLOPT_URL, url.c_str());
  curl_easy_setopt(c, CURLOPT_PROTOCOLS_STR, "http,https");
  // A redirect could lead the recording somewhere the user did not choose.
  curl_easy_setopt(c, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(c, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(c, CURLOPT_CONNECTTIMEOUT_MS, 10000L);
  curl_easy_setopt(c, CURLOPT_TIMEOUT_MS, static_cast<long>(options.timeoutSeconds) * 1000L);
  curl_easy_setopt(c, CURLOPT_MIMEPOST, form.get());
  curl_easy_setopt(c, CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(c, CURLOPT_WRITEFUNCTION, &collect);
  curl_easy_setopt(c, CURLOPT_WRITEDATA, &body);
  const CURLcode result = curl_easy_perform(c);
  switch (result) {
    case CURLE_OK:
      break;
    case CURLE_OPERATION_TIMEDOUT:
      return Text::failure(server + " did not answer within " +
                           std::to_string(options.timeoutSeconds) + " s.");
    case CURLE_COULDNT_CONNECT:
    case CURLE_COULDNT_RESOLVE_HOST:
      return Text::failure(server + " could not be reached.");
    case CURLE_WRITE_ERROR:
      return Text::failure(server + " sent a reply longer than a transcript can be.");
    default:
      return Text::failure(server + " failed: " + curl_easy_strerror(result) + ".");
  }
  long status = 0;
  curl_easy_getinfo(c, CURLINFO_RESPONSE_CODE, &status);
  return recognizerReplyText(status, body);
}

}  // namespace murvel::cloud

#include <nlohmann/json.hpp>

#include <chrono>
#include <sstream>

#include "cloud/AudioSpool.h"
#include "cloud/Cleanup.h"
#include "cloud/Endpoints.h"
#include "cloud/HttpServer.h"
#include "cloud/RecognitionQueue.h"
#include "cloud/Recognizer.h"
#include "cloud/WavUpload.h"

namespace murvel::cloud {

namespace {

using Clock = std::chrono::steady_clock;

double millisecondsBetween(Clock::time_point start, Clock::time_point end) {
  return std::chrono::duration<double, std::milli>(end - start).count();
}

std::optional<std::string> headerOf(const httplib::Request& request, const char* name) {
  if (!request.has_header(name))
    return std::nullopt;
  return request.get_header_value(name);
}

// Times in milliseconds with one decimal, as the trace shows them.
double rounded(double milliseconds) {
  return static_cast<double>(static_cast<long long>(milliseconds * 10.0 + 0.5)) / 10.0;
}

}  // namespace

void handleHealth(Service::Context& context, const httplib::Request&, httplib::Response& response) {
  const RecognitionQueue::Load load = context.recognition.load();
  reply::json(response, 200,
              nlohmann::json{{"status", "ok"},
                             {"decoders", load.workers},
                             {"decoding", load.busy},
                             {"waiting", load.waiting}}
                  .dump());
}

void handleTranscribe(Service::Context& context, const httplib::Request& request,
                      httplib::Response& response, const httplib::ContentReader& reader) {
  const Clock::time_point start = Clock::now();
  const std::string trace = traceOf(request);
  const CleanupChoice choice =
      cleanupChoice(headerOf(request, "X-Murvel-Cleanup-Mode"), headerOf(request, "X-Murvel-Tone"));

  // The body is always read to its end, also when it is refused, so that the connection can
  // carry the next request.
  const auto account = authorisedEmail(context, request, response);
  if (!account) {
    reader([](const char*, std::size_t) { return true; });
    return;
  }
  auto spool = AudioSpool::create(context.settings.spoolDirectory);
  if (!spool.ok()) {
    reader([](const char*, std::size_t) { return true; });
    reply::error(response, 500, spool.problem());
    return;
  }
  WavUpload upload([&spool](std::string_view audio, std::string& problem) {
    return spool.value().append(audio, problem);
  });
  // A body sent in chunks announces no length, so the limit is counted here as it arrives.
  const std::uint64_t limit = context.settings.maxUploadBytes;
  std::uint64_t bodyBytes = 0;
  bool tooLarge = false;
  const bool received = reader([&](const char* data, std::size_t length) {
    bodyBytes += length;
    if (bodyBytes > limit) {
      tooLarge = true;
      return false;
    }
    upload.receive(std::string_view(data, length));
    return true;
  });
  if (!received) {
    if (response.status == 413 || tooLarge) {
      // The rest of the body is still on its way: this connection cannot carry another request,
      // and what still comes is read and dropped, so that the client reads this reply rather
      // than a reset.
      response.set_header("Connection", "close");
      HttpServer::closeAfterReply();
      reply::error(response, 413,
                   "The recording is larger than the service takes (" +
                       std::to_string(context.settings.maxUploadBytes / (1024 * 1024)) + " MiB).");
    } else {
      reply::error(response, 400, "The upload was cut off before its end.");
    }
    return;
  }
  const auto audioBytes = upload.finish();
  if (!audioBytes.ok()) {
    reply::error(response, 415, audioBytes.problem());
    return;
  }
  auto samples = spool.value().samples();
  if (!samples.ok()) {
    reply::error(response, 500, samples.problem());
    return;
  }
  const Clock::time_point uploaded = Clock::now();
  const double audioMs = static_cast<double>(samples.value().size()) * 1000.0 /
                         static_cast<double>(recognitionSampleRate);
  if (!holdsSound(samples.value())) {
    reply::error(response, 422, "The recording is silent: nothing was heard.");
    return;
  }
  auto pending = context.recognition.submit(std::move(samples.value()));
  if (!pending) {
    reply::error(response, 503,
                 "The service is busy with other recordings; try again in a moment.");
    context.log("transcribe trace=" + trace + " refused: all decoders busy");
    return;
  }
  const Recognition recognition = pending->get();
  if (!recognition.words.ok()) {
    reply::error(response, 500, recognition.words.problem());
    return;
  }
  if (recognition.words.value().empty()) {
    reply::error(response, 422, "No speech was recognised in the recording.");
    return;
  }
  const Clock::time_point cleanupStart = Clock::now();
  const std::string text = cleanedText(recognition.words.value(), choice);
  const Clock::time_point done = Clock::now();
  if (text.empty()) {
    reply::error(response, 422, "Only filler words were recognised in the recording.");
    return;
  }
  const bool cleaned = choice.mode != CleanupMode::off;
  const nlohmann::json timings{{"audio_ms", rounded(audioMs)},
                               {"upload_ms", rounded(millisecondsBetween(start, uploaded))},
                               {"wait_ms", rounded(recognition.waitMs)},
                               {"decode_ms", rounded(recognition.decodeMs)},
                               {"decode_cpu_ms", rounded(recognition.decodeCpuMs)},
                               {"cleanup_ms", rounded(millisecondsBetween(cleanupStart, done))},
                               {"total_ms", rounded(millisecondsBetween(start, done))}};
  reply::json(response, 200,
              nlohmann::json{{"text", text},
                             {"timings", timings},
                             {"cleanup_attempted", cleaned},
                             {"cleanup_applied", cleaned},
                             {"cleanup_mode", nameOf(choice.mode)}}
                  .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));

  std::ostringstream line;
  line << "transcribe trace=" << trace << " mode=" << nameOf(choice.mode);
  if (cleaned)
    line << " tone=" << nameOf(choice.tone);
  line << " audio_ms=" << rounded(audioMs) << " wait_ms=" << rounded(recognition.waitMs)
       << " decode_ms=" << rounded(recognition.decodeMs)
       << " total_ms=" << rounded(millisecondsBetween(start, done));
  context.log(line.str());
}

}  // namespace murvel::cloud

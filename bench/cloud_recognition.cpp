// Word error rate and real-time factor of the local service's recognition: sends each recording
// of a fixed set of sentences, spoken in several voices, to a running murvel-cloud one at a
// time, without cleanup, and scores the text it returns against the sentence.
//
//   MURVEL_CLOUD_KEY=<access key> murvel_bench_cloud BASE_URL SENTENCES WAV_DIR VOICE...
//
// The recording of sentence n (from 1) in voice v is WAV_DIR/v-n.wav. The real-time factor is
// decode time over audio time, as the service measures both.

#include <httplib.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "cloud/WordErrorRate.h"

namespace {

using murvel::cloud::scoredWords;
using murvel::cloud::wordErrors;

struct Totals {
  std::size_t errors = 0;
  std::size_t words = 0;
  std::size_t sentences = 0;
  std::size_t failed = 0;
  double audioMs = 0;
  double decodeMs = 0;
  double decodeCpuMs = 0;

  void add(const Totals& other) {
    errors += other.errors;
    words += other.words;
    sentences += other.sentences;
    failed += other.failed;
    audioMs += other.audioMs;
    decodeMs += other.decodeMs;
    decodeCpuMs += other.decodeCpuMs;
  }
};

double ratio(double part, double whole) {
  return whole == 0 ? 0.0 : part / whole;
}

void print(const std::string& name, const Totals& totals) {
  std::printf("%-8s %9zu %6zu %7zu %7.1f%% %8.1f %9.1f %6.3f %8.3f\n", name.c_str(),
              totals.sentences, totals.words, totals.errors,
              100.0 * ratio(static_cast<double>(totals.errors), static_cast<double>(totals.words)),
              totals.audioMs / 1000.0, totals.decodeMs / 1000.0,
              ratio(totals.decodeMs, totals.audioMs), ratio(totals.decodeCpuMs, totals.audioMs));
}

std::optional<std::string> readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in)
    return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace

int main(int argc, char** argv) {
  const char* key = std::getenv("MURVEL_CLOUD_KEY");
  if (argc < 5 || key == nullptr) {
    std::fprintf(stderr, "usage: MURVEL_CLOUD_KEY=<key> %s BASE_URL SENTENCES WAV_DIR VOICE...\n",
                 argv[0]);
    return 2;
  }
  const std::string base = argv[1];
  std::vector<std::string> sentences;
  {
    std::ifstream in(argv[2]);
    for (std::string line; std::getline(in, line);) {
      if (!line.empty())
        sentences.push_back(line);
    }
  }
  if (sentences.empty()) {
    std::fprintf(stderr, "no sentences in %s\n", argv[2]);
    return 2;
  }
  const std::string wavDirectory = argv[3];

  httplib::Client client(base);
  client.set_read_timeout(120, 0);
  const httplib::Headers headers{{"Authorization", std::string("Bearer ") + key},
                                 {"X-Murvel-Cleanup-Mode", "off"}};
  const bool verbose = std::getenv("MURVEL_BENCH_VERBOSE") != nullptr;

  // RTF is decode time over audio time; RTF_cpu counts the decoder's processor time instead,
  // which other work on the machine does not stretch.
  std::printf("%-8s %9s %6s %7s %8s %8s %9s %6s %8s\n", "voice", "sentences", "words", "errors",
              "WER", "audio_s", "decode_s", "RTF", "RTF_cpu");
  Totals all;
  for (int v = 4; v < argc; ++v) {
    const std::string voice = argv[v];
    Totals totals;
    for (std::size_t n = 0; n < sentences.size(); ++n) {
      const std::string path = wavDirectory + "/" + voice + "-" + std::to_string(n + 1) + ".wav";
      const auto wav = readFile(path);
      if (!wav) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return 1;
      }
      const auto reference = scoredWords(sentences[n]);
      totals.sentences += 1;
      totals.words += reference.size();
      const auto result = client.Post("/api/transcribe", headers, *wav, "audio/wav");
      if (!result) {
        std::fprintf(stderr, "the service did not answer: %s\n",
                     httplib::to_string(result.error()).c_str());
        return 1;
      }
      const auto reply = nlohmann::json::parse(result->body, nullptr, false);
      std::string text;
      if (result->status == 200 && reply.is_object() && reply.contains("text")) {
        text = reply.value("text", "");
        const auto& timings = reply["timings"];
        totals.audioMs += timings.value("audio_ms", 0.0);
        totals.decodeMs += timings.value("decode_ms", 0.0);
        totals.decodeCpuMs += timings.value("decode_cpu_ms", 0.0);
      } else {
        // Nothing recognised counts every word of the sentence as missed.
        totals.failed += 1;
      }
      const auto errors = wordErrors(reference, scoredWords(text));
      totals.errors += errors.errors;
      if (verbose && errors.errors > 0) {
        std::fprintf(stderr, "%s-%zu: \"%s\" heard as \"%s\"\n", voice.c_str(), n + 1,
                     sentences[n].c_str(), text.c_str());
      }
    }
    print(voice, totals);
    all.add(totals);
  }
  print("all", all);
  if (all.failed > 0)
    std::printf("%zu recordings were refused or heard as nothing\n", all.failed);
  return 0;
}

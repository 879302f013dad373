// Word error rate and real-time factor of the local service's recognition: sends recordings to
// a running murvel-cloud one at a time, without cleanup, and scores the text it returns against
// what was said.
//
//   MURVEL_CLOUD_KEY=<key> murvel_bench_cloud BASE_URL SENTENCES WAV_DIR VOICE...
//   MURVEL_CLOUD_KEY=<key> murvel_bench_cloud BASE_URL --people SPEECH_DIR
//
// The first form scores synthetic voices: the recording of sentence n (from 1) in voice v is
// WAV_DIR/v-n.wav, and there is a row per voice. The second scores recordings of people, listed
// with their transcripts in SPEECH_DIR/refs.tsv (file, reference, ...), in one row named
// "people", followed by the five recordings heard worst. The real-time factor is decode time
// over audio time, as the service measures both.

#include <httplib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cloud/WordErrorRate.h"

namespace {

using murvel::cloud::scoredWords;
using murvel::cloud::wordErrors;

struct Recording {
  std::string group;  // the row it is counted in
  std::string path;
  std::string reference;
};

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

struct Heard {
  const Recording* recording;
  std::string text;
  std::size_t errors;
  std::size_t words;
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

std::vector<std::string> nonEmptyLines(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty())
      lines.push_back(line);
  }
  return lines;
}

// The recordings of people: the file and its reference, the first two columns of refs.tsv
// after its header line.
std::vector<Recording> peopleRecordings(const std::string& directory) {
  std::vector<Recording> recordings;
  const auto lines = nonEmptyLines(directory + "/refs.tsv");
  for (std::size_t i = 1; i < lines.size(); ++i) {
    const std::size_t first = lines[i].find('\t');
    if (first == std::string::npos)
      continue;
    const std::size_t second = lines[i].find('\t', first + 1);
    recordings.push_back({"people", directory + "/" + lines[i].substr(0, first),
                          lines[i].substr(first + 1, second - first - 1)});
  }
  return recordings;
}

}  // namespace

int main(int argc, char** argv) {
  const char* key = std::getenv("MURVEL_CLOUD_KEY");
  const bool people = argc == 4 && std::string(argv[2]) == "--people";
  if ((argc < 5 && !people) || key == nullptr) {
    std::fprintf(stderr,
                 "usage: MURVEL_CLOUD_KEY=<key> %s BASE_URL SENTENCES WAV_DIR VOICE...\n"
                 "       MURVEL_CLOUD_KEY=<key> %s BASE_URL --people SPEECH_DIR\n",
                 argv[0], argv[0]);
    return 2;
  }
  const std::string base = argv[1];
  std::vector<Recording> recordings;
  if (people) {
    recordings = peopleRecordings(argv[3]);
  } else {
    const auto sentences = nonEmptyLines(argv[2]);
    for (int v = 4; v < argc; ++v) {
      for (std::size_t n = 0; n < sentences.size(); ++n) {
        recordings.push_back(
            {argv[v], std::string(argv[3]) + "/" + argv[v] + "-" + std::to_string(n + 1) + ".wav",
             sentences[n]});
      }
    }
  }
  if (recordings.empty()) {
    std::fprintf(stderr, "no recordings to score in %s\n", argv[people ? 3 : 2]);
    return 2;
  }

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
  Totals group;
  std::size_t groups = 0;
  std::vector<Heard> heard;
  for (std::size_t i = 0; i < recordings.size(); ++i) {
    const Recording& recording = recordings[i];
    const auto wav = readFile(recording.path);
    if (!wav) {
      std::fprintf(stderr, "cannot read %s\n", recording.path.c_str());
      return 1;
    }
    const auto reference = scoredWords(recording.reference);
    group.sentences += 1;
    group.words += reference.size();
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
      group.audioMs += timings.value("audio_ms", 0.0);
      group.decodeMs += timings.value("decode_ms", 0.0);
      group.decodeCpuMs += timings.value("decode_cpu_ms", 0.0);
    } else {
      // Nothing recognised counts every word of the sentence as missed.
      group.failed += 1;
    }
    const auto errors = wordErrors(reference, scoredWords(text));
    group.errors += errors.errors;
    heard.push_back({&recording, text, errors.errors, reference.size()});
    if (verbose && errors.errors > 0) {
      std::fprintf(stderr, "%s: \"%s\" heard as \"%s\"\n", recording.path.c_str(),
                   recording.reference.c_str(), text.c_str());
    }
    if (i + 1 == recordings.size() || recordings[i + 1].group != recording.group) {
      print(recording.group, group);
      all.add(group);
      group = Totals{};
      ++groups;
    }
  }
  if (groups > 1)
    print("all", all);
  if (all.failed > 0)
    std::printf("%zu recordings were refused or heard as nothing\n", all.failed);
  if (people) {
    // Worst first by the share of their words missed.
    std::stable_sort(heard.begin(), heard.end(), [](const Heard& a, const Heard& b) {
      return a.errors * b.words > b.errors * a.words;
    });
    std::printf("heard worst:\n");
    for (std::size_t i = 0; i < std::min<std::size_t>(5, heard.size()); ++i) {
      const Heard& h = heard[i];
      const std::string name = h.recording->path.substr(h.recording->path.rfind('/') + 1);
      std::printf("  %s  %zu of %zu words wrong\n    said:  %s\n    heard: %s\n", name.c_str(),
                  h.errors, h.words, h.recording->reference.c_str(), h.text.c_str());
    }
  }
  return 0;
}

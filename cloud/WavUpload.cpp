#include "cloud/WavUpload.h"

#include <algorithm>

namespace murvel::cloud {

WavUpload::WavUpload(Sink sink, std::size_t headerLimit)
    : sink_(std::move(sink)), headerLimit_(headerLimit) {}

void WavUpload::receive(std::string_view chunk) {
  received_ += chunk.size();
  if (problem_)
    return;
  if (headerDone_) {
    takeAudio(chunk);
    return;
  }
  head_.append(chunk);
  // Only the first bytes up to the limit are ever judged, so that a header's fate, refused for
  // what it says or for its length, is the same however the body is cut into chunks.
  const WavHeaderCheck check = checkWavHeader(std::string_view(head_).substr(0, headerLimit_));
  switch (check.status) {
    case WavHeaderCheck::Status::refused:
      problem_ = check.problem;
      head_.clear();
      return;
    case WavHeaderCheck::Status::needMoreBytes:
      if (head_.size() > headerLimit_) {
        problem_ = "The WAV header is longer than " + std::to_string(headerLimit_ / 1024) +
                   " KiB before the audio begins.";
        head_.clear();
      }
      return;
    case WavHeaderCheck::Status::complete: {
      headerDone_ = true;
      if (check.layout.declaredDataBytes)
        remaining_ = *check.layout.declaredDataBytes;
      std::string head = std::move(head_);
      head_.clear();
      takeAudio(std::string_view(head).substr(check.layout.dataOffset));
      return;
    }
  }
}

void WavUpload::takeAudio(std::string_view audio) {
  if (remaining_) {
    // Chunks after the data chunk hold no audio.
    audio = audio.substr(
        0, static_cast<std::size_t>(std::min<std::uint64_t>(audio.size(), *remaining_)));
    *remaining_ -= audio.size();
  }
  if (audio.empty())
    return;
  std::string problem;
  if (!sink_(audio, problem)) {
    problem_ = std::move(problem);
    return;
  }
  audioBytes_ += audio.size();
}

Outcome<std::uint64_t> WavUpload::finish() const {
  if (problem_)
    return Outcome<std::uint64_t>::failure(*problem_);
  if (!headerDone_)
    return Outcome<std::uint64_t>::failure(incompleteHeaderProblem(received_));
  if (audioBytes_ < 2)
    return Outcome<std::uint64_t>::failure("The WAV file holds no audio.");
  return Outcome<std::uint64_t>::success(audioBytes_);
}

}  // namespace murvel::cloud

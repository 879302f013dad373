#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "cloud/Outcome.h"
#include "cloud/WavFormat.h"

namespace murvel::cloud {

// Takes an uploaded WAV file as it arrives, chunk by chunk: the bytes before the audio stay in
// memory until the header is understood, then only the audio goes on to the sink. After a
// refusal the rest of the body is taken and dropped, so the connection stays in step.
class WavUpload {
 public:
  // Stores audio bytes; false when they could not be stored, with the reason in `problem`.
  using Sink = std::function<bool(std::string_view audio, std::string& problem)>;

  // A header longer than this, before the first sample, is refused.
  static constexpr std::size_t defaultHeaderLimit = 64 * 1024;

  explicit WavUpload(Sink sink, std::size_t headerLimit = defaultHeaderLimit);

  void receive(std::string_view chunk);
  // Whether the upload is already refused; the rest of it is then dropped unread.
  bool refused() const { return problem_.has_value(); }

  // Once the body has ended: the number of audio bytes the sink took, or why the upload is
  // refused.
  Outcome<std::uint64_t> finish() const;

 private:
  void takeAudio(std::string_view audio);

  Sink sink_;
  std::size_t headerLimit_;
  std::string head_;
  bool headerDone_ = false;
  std::optional<std::uint64_t> remaining_;  // audio bytes the header still promises
  std::uint64_t received_ = 0;
  std::uint64_t audioBytes_ = 0;
  std::optional<std::string> problem_;
};

}  // namespace murvel::cloud

// Uploads to the local service's transcribe endpoint: any bytes, arriving in any pieces. The
// header check never points past what it was given, and how the body is cut into pieces never
// changes what is stored or why it is refused.

#include <cstdint>
#include <string>
#include <string_view>

#include "Violated.h"
#include "cloud/WavFormat.h"
#include "cloud/WavUpload.h"

using namespace murvel;

namespace {

struct Received {
  std::string audio;
  bool ok = false;
  std::string problem;
  std::uint64_t audioBytes = 0;
};

Received upload(std::string_view body, std::size_t pieceSize) {
  Received received;
  cloud::WavUpload upload(
      [&](std::string_view audio, std::string&) {
        received.audio.append(audio);
        return true;
      },
      1024);
  for (std::size_t at = 0; at < body.size(); at += pieceSize)
    upload.receive(body.substr(at, pieceSize));
  const auto outcome = upload.finish();
  received.ok = outcome.ok();
  if (received.ok)
    received.audioBytes = outcome.value();
  else
    received.problem = outcome.problem();
  return received;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The first byte sets the size of the pieces; the rest is the body.
  if (size == 0)
    return 0;
  const std::size_t pieceSize = 1 + data[0] % 61;
  const std::string_view body(reinterpret_cast<const char*>(data) + 1, size - 1);

  const cloud::WavHeaderCheck check = cloud::checkWavHeader(body);
  if (check.status == cloud::WavHeaderCheck::Status::complete &&
      check.layout.dataOffset > body.size())
    fuzzing::violated("the audio begins past the end of the bytes");
  if (check.status == cloud::WavHeaderCheck::Status::refused && check.problem.empty())
    fuzzing::violated("a header refused without a reason");

  const Received whole = upload(body, body.size() + 1);
  const Received pieces = upload(body, pieceSize);
  if (whole.ok != pieces.ok || whole.problem != pieces.problem || whole.audio != pieces.audio)
    fuzzing::violated("the pieces an upload came in changed its outcome");
  if (whole.ok && whole.audioBytes != whole.audio.size())
    fuzzing::violated("the audio counted is not the audio stored");
  if (!whole.ok && whole.problem.empty())
    fuzzing::violated("an upload refused without a reason");

  const auto samples = cloud::readWavSamples(body);
  if (samples.ok() && !whole.ok)
    fuzzing::violated("a file read whole is refused as an upload");
  return 0;
}

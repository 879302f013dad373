#include "cloud/Pauses.h"

#include <algorithm>
#include <numeric>

namespace murvel::cloud {

namespace {

constexpr std::size_t frameSamples = 160;      // 10 ms
constexpr std::size_t pauseFrames = 20;        // the quiet stretch a cut looks for: 200 ms
constexpr std::size_t searchFrames = 150;      // how far from an even share a cut may move
constexpr std::size_t shortestPiece = 32'000;  // two seconds: less gives the decoder too little
// A pause is at most this share of the speech level's energy (about 15 dB below it).
constexpr double pauseShare = 1.0 / 30.0;

}  // namespace

std::vector<Piece> piecesAtPauses(std::span<const std::int16_t> samples, std::size_t count) {
  count = std::min(count, samples.size() / shortestPiece);
  if (count < 2)
    return {Piece{0, samples.size()}};

  // The energy of each 10 ms, and over each 200 ms that starts there.
  const std::size_t frames = samples.size() / frameSamples;
  std::vector<double> energy(frames);
  for (std::size_t frame = 0; frame < frames; ++frame) {
    const auto part = samples.subspan(frame * frameSamples, frameSamples);
    energy[frame] = std::accumulate(part.begin(), part.end(), 0.0, [](double sum, std::int16_t s) {
      return sum + static_cast<double>(s) * s;
    });
  }
  std::vector<double> stretch(frames - pauseFrames + 1);
  double sum = std::accumulate(energy.begin(), energy.begin() + pauseFrames, 0.0);
  for (std::size_t first = 0; first < stretch.size(); ++first) {
    stretch[first] = sum;
    if (first + pauseFrames < frames)
      sum += energy[first + pauseFrames] - energy[first];
  }
  // The speech level: what the loudest tenth of the frames reach.
  std::vector<double> sorted = energy;
  const auto loud = sorted.begin() + static_cast<std::ptrdiff_t>(frames * 9 / 10);
  std::nth_element(sorted.begin(), loud, sorted.end());
  const double pauseLimit = *loud * pauseFrames * pauseShare;

  const std::size_t shortestFrames = shortestPiece / frameSamples;
  std::vector<Piece> pieces;
  std::size_t begin = 0;  // in frames
  for (std::size_t cut = 1; cut < count; ++cut) {
    const std::size_t share = frames * cut / count;
    const std::size_t lowest =
        std::max(begin + shortestFrames, share - std::min(share, searchFrames));
    const std::size_t highest =
        std::min({share + searchFrames, frames - std::min(frames, shortestFrames), stretch.size()});
    if (lowest + pauseFrames / 2 >= highest)
      continue;
    std::size_t quietest = lowest;
    for (std::size_t first = lowest; first + pauseFrames / 2 < highest; ++first) {
      if (stretch[first] < stretch[quietest])
        quietest = first;
    }
    if (stretch[quietest] > pauseLimit)
      continue;
    const std::size_t at = quietest + pauseFrames / 2;
    pieces.push_back(Piece{begin * frameSamples, at * frameSamples});
    begin = at;
  }
  pieces.push_back(Piece{begin * frameSamples, samples.size()});
  return pieces;
}

}  // namespace murvel::cloud

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "cloud/Pauses.h"

namespace murvel::cloud {
namespace {

constexpr double rate = 16000;

// A loud 400 Hz tone standing for speech, `seconds` long, silent in the given stretches.
std::vector<std::int16_t> speechWithPauses(double seconds,
                                           std::vector<std::pair<double, double>> pauses) {
  std::vector<std::int16_t> samples(static_cast<std::size_t>(seconds * rate));
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double t = static_cast<double>(i) / rate;
    const bool paused = std::any_of(pauses.begin(), pauses.end(), [t](auto pause) {
      return t >= pause.first && t < pause.second;
    });
    samples[i] = paused ? 0 : static_cast<std::int16_t>(8000 * std::sin(2 * M_PI * 400 * t));
  }
  return samples;
}

TEST(PiecesAtPauses, CutsOnlyInsidePausesAndNeverLeavesAPieceUnderTwoSeconds) {
  // The first pause would leave a piece of one second; the second is near the middle.
  const auto samples = speechWithPauses(6, {{1.0, 1.3}, {2.8, 3.2}, {4.5, 4.8}});
  for (const std::size_t asked : {2u, 3u}) {
    const auto pieces = piecesAtPauses(samples, asked);
    ASSERT_EQ(pieces.size(), 2u) << asked;
    EXPECT_EQ(pieces[0].begin, 0u);
    EXPECT_EQ(pieces[0].end, pieces[1].begin);
    EXPECT_EQ(pieces[1].end, samples.size());
    EXPECT_GE(pieces[0].end, 2.8 * rate);
    EXPECT_LE(pieces[0].end, 3.2 * rate);
  }
  // Without a pause, or too short for two pieces, a recording stays whole.
  const auto unbroken = speechWithPauses(6, {});
  EXPECT_EQ(piecesAtPauses(unbroken, 2), (std::vector<Piece>{{0, unbroken.size()}}));
  const auto brief = speechWithPauses(3.5, {{1.6, 1.9}});
  EXPECT_EQ(piecesAtPauses(brief, 2), (std::vector<Piece>{{0, brief.size()}}));
}

}  // namespace
}  // namespace murvel::cloud

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace murvel::cloud {

// A stretch of a recording, as sample indices from `begin` up to but not including `end`.
struct Piece {
  std::size_t begin = 0;
  std::size_t end = 0;
  friend bool operator==(const Piece&, const Piece&) = default;
};

// Cuts a 16 kHz recording into at most `count` pieces at its pauses, so that the pieces can be
// decoded at the same time by several decoders: each cut goes into the quietest fifth of a second
// near an even share of the recording, where that is clearly quieter than the speech around it,
// and no piece is shorter than two seconds. Without such pauses the recording stays whole.
std::vector<Piece> piecesAtPauses(std::span<const std::int16_t> samples, std::size_t count);

}  // namespace murvel::cloud

#pragma once

#include <cstdint>
#include <vector>

namespace murvel::linux_platform {

// The two feedback sounds, made in code as 16-bit mono samples at `sampleRate`. Both are short
// and quiet, and begin and end at zero so they do not click.
inline constexpr std::uint32_t soundSampleRate = 48000;

// A bright short tick: a high partial-rich tone that dies away in a few tens of milliseconds.
std::vector<std::int16_t> synthesizeTink(std::uint32_t sampleRate = soundSampleRate);

// A soft low pop: a tone that drops quickly in pitch under a rounded envelope.
std::vector<std::int16_t> synthesizePop(std::uint32_t sampleRate = soundSampleRate);

}  // namespace murvel::linux_platform

#include "platform/linux/audio/SoundSynthesis.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace murvel::linux_platform {

namespace {

constexpr double twoPi = 2 * std::numbers::pi;

// Rises over `attack` seconds along half a cosine, and falls to zero over the last `release`
// seconds before `end`, the time of the last sample, so the sound has no hard edges.
double edges(double t, double end, double attack, double release) {
  double gain = 1.0;
  if (t < attack)
    gain *= 0.5 - 0.5 * std::cos(std::numbers::pi * t / attack);
  if (t > end - release)
    gain *= std::max(0.0, (end - t) / release);
  return gain;
}

std::int16_t toSample(double value) {
  return static_cast<std::int16_t>(std::lround(std::clamp(value, -1.0, 1.0) * 32767.0));
}

}  // namespace

std::vector<std::int16_t> synthesizeTink(std::uint32_t sampleRate) {
  constexpr double length = 0.07;
  constexpr double pitch = 2600.0;
  constexpr double level = 0.2;
  const auto count = static_cast<std::size_t>(length * sampleRate);
  const double end = static_cast<double>(count - 1) / sampleRate;
  std::vector<std::int16_t> samples(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double t = static_cast<double>(i) / sampleRate;
    // Slightly inharmonic upper partials that fade faster give the metallic brightness.
    const double tone = std::sin(twoPi * pitch * t) +
                        0.45 * std::sin(twoPi * pitch * 2.76 * t) * std::exp(-t / 0.008) +
                        0.2 * std::sin(twoPi * pitch * 5.4 * t) * std::exp(-t / 0.004);
    const double envelope = std::exp(-t / 0.015) * edges(t, end, 0.001, 0.005);
    samples[i] = toSample(level * envelope * tone / 1.65);
  }
  return samples;
}

std::vector<std::int16_t> synthesizePop(std::uint32_t sampleRate) {
  constexpr double length = 0.1;
  constexpr double level = 0.3;
  const auto count = static_cast<std::size_t>(length * sampleRate);
  const double end = static_cast<double>(count - 1) / sampleRate;
  std::vector<std::int16_t> samples(count);
  double phase = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    const double t = static_cast<double>(i) / sampleRate;
    const double pitch = 140.0 + 260.0 * std::exp(-t / 0.018);
    phase += twoPi * pitch / sampleRate;
    const double envelope = std::exp(-t / 0.03) * edges(t, end, 0.004, 0.01);
    samples[i] = toSample(level * envelope * std::sin(phase));
  }
  return samples;
}

}  // namespace murvel::linux_platform

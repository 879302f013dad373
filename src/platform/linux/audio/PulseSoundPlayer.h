#pragma once

#include <pulse/pulseaudio.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/linux/audio/PulseConnection.h"

namespace murvel::linux_platform {

// Plays short clips through the default sink over the shared connection, each on a stream of its
// own so that clips may overlap. play() only sends the request; the clip is written, played and
// released on the event thread.
class PulseSoundPlayer {
 public:
  using Clip = std::vector<std::int16_t>;  // mono, soundSampleRate

  explicit PulseSoundPlayer(std::shared_ptr<PulseConnection> connection);
  // Clips still playing are cut off.
  ~PulseSoundPlayer();

  PulseSoundPlayer(const PulseSoundPlayer&) = delete;
  PulseSoundPlayer& operator=(const PulseSoundPlayer&) = delete;

  void play(std::shared_ptr<const Clip> clip);

 private:
  struct Playback;
  static void onStateChanged(pa_stream* stream, void* playback);
  static void onDrained(pa_stream* stream, int success, void* playback);
  void end(Playback& playback);

  std::shared_ptr<PulseConnection> connection_;
  // Touched only with the connection's lock held.
  std::vector<std::unique_ptr<Playback>> playing_;
};

}  // namespace murvel::linux_platform

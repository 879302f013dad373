#pragma once

#include <memory>

#include "platform/Sounds.h"
#include "platform/linux/audio/PulseConnection.h"
#include "platform/linux/audio/PulseSoundPlayer.h"

namespace murvel::linux_platform {

// The feedback sounds: "Tink" when a recording starts and "Pop" when it ends, both made in code
// and played through the default sink. No other name is known.
class PulseAudioSounds final : public Sounds {
 public:
  PulseAudioSounds();
  explicit PulseAudioSounds(std::shared_ptr<PulseConnection> connection);

  // The same object for every lookup of a name, or null for an unknown one.
  std::shared_ptr<Sound> soundNamed(std::string_view name) override;

 private:
  std::shared_ptr<PulseSoundPlayer> player_;
  std::shared_ptr<Sound> tink_;
  std::shared_ptr<Sound> pop_;
};

}  // namespace murvel::linux_platform

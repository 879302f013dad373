#include "platform/linux/audio/PulseAudioSounds.h"

#include <utility>

#include "platform/linux/audio/SoundSynthesis.h"

namespace murvel::linux_platform {

namespace {

class SynthesizedSound final : public Sound {
 public:
  SynthesizedSound(std::shared_ptr<PulseSoundPlayer> player, PulseSoundPlayer::Clip clip)
      : player_(std::move(player)),
        clip_(std::make_shared<const PulseSoundPlayer::Clip>(std::move(clip))) {}

  void play() override { player_->play(clip_); }

 private:
  std::shared_ptr<PulseSoundPlayer> player_;
  std::shared_ptr<const PulseSoundPlayer::Clip> clip_;
};

}  // namespace

PulseAudioSounds::PulseAudioSounds() : PulseAudioSounds(std::make_shared<PulseConnection>()) {}

PulseAudioSounds::PulseAudioSounds(std::shared_ptr<PulseConnection> connection)
    : player_(std::make_shared<PulseSoundPlayer>(std::move(connection))),
      tink_(std::make_shared<SynthesizedSound>(player_, synthesizeTink())),
      pop_(std::make_shared<SynthesizedSound>(player_, synthesizePop())) {}

std::shared_ptr<Sound> PulseAudioSounds::soundNamed(std::string_view name) {
  if (name == "Tink")
    return tink_;
  if (name == "Pop")
    return pop_;
  return nullptr;
}

}  // namespace murvel::linux_platform

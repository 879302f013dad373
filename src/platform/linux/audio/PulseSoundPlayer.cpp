#include "platform/linux/audio/PulseSoundPlayer.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/linux/audio/SoundSynthesis.h"

namespace murvel::linux_platform {

namespace {

using namespace std::chrono_literals;

constexpr pa_sample_spec clipSpec{PA_SAMPLE_S16LE, soundSampleRate, 1};

// Spent only when the connection was lost since the last use and a server is there but slow.
constexpr auto reconnectTimeout = 100ms;

}  // namespace

struct PulseSoundPlayer::Playback {
  PulseSoundPlayer* player;
  std::shared_ptr<const Clip> clip;
  pa_stream* stream = nullptr;
  pa_operation* drain = nullptr;
};

PulseSoundPlayer::PulseSoundPlayer(std::shared_ptr<PulseConnection> connection)
    : connection_(std::move(connection)) {}

PulseSoundPlayer::~PulseSoundPlayer() {
  PulseConnection::Lock lock(*connection_);
  while (!playing_.empty()) end(*playing_.back());
}

void PulseSoundPlayer::play(std::shared_ptr<const Clip> clip) {
  if (!clip || clip->empty())
    return;
  PulseConnection::Lock lock(*connection_);
  pa_context* context = connection_->readyContext(reconnectTimeout);
  if (context == nullptr)
    return;  // a feedback sound is not worth a failure

  pa_proplist* properties = pa_proplist_new();
  pa_proplist_sets(properties, PA_PROP_MEDIA_ROLE, "event");
  pa_stream* stream =
      pa_stream_new_with_proplist(context, "Feedback", &clipSpec, nullptr, properties);
  pa_proplist_free(properties);
  if (stream == nullptr)
    return;

  auto playback = std::make_unique<Playback>(Playback{this, std::move(clip), stream});
  pa_stream_set_state_callback(stream, onStateChanged, playback.get());
  playing_.push_back(std::move(playback));
  if (pa_stream_connect_playback(stream, nullptr, nullptr, PA_STREAM_NOFLAGS, nullptr, nullptr) < 0)
    end(*playing_.back());
}

void PulseSoundPlayer::onStateChanged(pa_stream* stream, void* data) {
  auto& playback = *static_cast<Playback*>(data);
  switch (pa_stream_get_state(stream)) {
    case PA_STREAM_READY: {
      const auto& clip = *playback.clip;
      pa_stream_write(stream, clip.data(), clip.size() * sizeof(clip[0]), nullptr, 0,
                      PA_SEEK_RELATIVE);
      // Draining starts playback at once, whatever the prebuffer, and reports when it is over.
      playback.drain = pa_stream_drain(stream, onDrained, &playback);
      if (playback.drain == nullptr)
        playback.player->end(playback);
      break;
    }
    case PA_STREAM_FAILED:
    case PA_STREAM_TERMINATED:
      playback.player->end(playback);
      break;
    default:
      break;
  }
}

void PulseSoundPlayer::onDrained(pa_stream*, int, void* data) {
  auto& playback = *static_cast<Playback*>(data);
  // Completing, not to be cancelled: only this reference is let go.
  pa_operation_unref(playback.drain);
  playback.drain = nullptr;
  playback.player->end(playback);
}

void PulseSoundPlayer::end(Playback& playback) {
  if (playback.drain != nullptr) {
    // Cancelled so that its callback cannot arrive for a playback that is gone.
    pa_operation_cancel(playback.drain);
    pa_operation_unref(playback.drain);
  }
  pa_stream_set_state_callback(playback.stream, nullptr, nullptr);
  PulseConnection::release(playback.stream);
  std::erase_if(playing_, [&](const auto& each) { return each.get() == &playback; });
}

}  // namespace murvel::linux_platform

#include "platform/linux/audio/PulseAudioRecorder.h"

#include <utility>

namespace murvel::linux_platform {

namespace {

using namespace std::chrono_literals;

constexpr pa_sample_spec captureSpec{PA_SAMPLE_S16LE, WavWriter::sampleRate, 1};

// The server delivers audio in pieces of this length: small enough that little is in flight
// when the recording stops, large enough not to wake the event thread needlessly.
constexpr auto fragmentLength = 20ms;

// Only spent when the connection was lost since the recorder was made.
constexpr auto reconnectTimeout = 500ms;

// stop() waits at most this long for the server to hand over the audio it already captured.
constexpr auto handOverTimeout = 250ms;

}  // namespace

PulseAudioRecorder::PulseAudioRecorder(std::shared_ptr<PulseConnection> connection,
                                       std::filesystem::path path)
    : connection_(std::move(connection)), path_(std::move(path)) {}

PulseAudioRecorder::~PulseAudioRecorder() {
  stop();
}

bool PulseAudioRecorder::record() {
  if (stream_ != nullptr)
    return true;
  // The file is replaced first, so that a capture that cannot start leaves an empty recording
  // rather than the previous one.
  if (!file_.open(path_))
    return false;
  firstAudio_.store(0);

  PulseConnection::Lock lock(*connection_);
  pa_context* context = connection_->readyContext(reconnectTimeout);
  if (context != nullptr)
    stream_ = pa_stream_new(context, "Dictation", &captureSpec, nullptr);
  if (stream_ == nullptr) {
    file_.close();
    return false;
  }
  pa_stream_set_read_callback(stream_, onReadable, this);
  pa_buffer_attr buffering{};
  buffering.maxlength = static_cast<std::uint32_t>(-1);
  buffering.tlength = static_cast<std::uint32_t>(-1);
  buffering.prebuf = static_cast<std::uint32_t>(-1);
  buffering.minreq = static_cast<std::uint32_t>(-1);
  buffering.fragsize = static_cast<std::uint32_t>(pa_usec_to_bytes(
      std::chrono::duration_cast<std::chrono::microseconds>(fragmentLength).count(), &captureSpec));
  // Null device: the default source, followed if the user changes it during the recording.
  if (pa_stream_connect_record(stream_, nullptr, &buffering, PA_STREAM_ADJUST_LATENCY) < 0) {
    releaseStream();
    file_.close();
    return false;
  }
  return true;
}

void PulseAudioRecorder::stop() {
  {
    PulseConnection::Lock lock(*connection_);
    if (stream_ != nullptr) {
      if (pa_stream_get_state(stream_) == PA_STREAM_READY) {
        // Corking is a round trip on the same ordered channel as the audio: once its answer is
        // in, so is everything the server captured before it.
        connection_->finish(pa_stream_cork(stream_, 1, nullptr, nullptr),
                            PulseConnection::deadlineAfter(handOverTimeout));
      }
      takeReadable();
      releaseStream();
    }
  }
  // The event thread no longer writes to the file, so it is closed outside the lock.
  file_.close();
}

std::optional<std::chrono::steady_clock::time_point> PulseAudioRecorder::firstAudioTime() const {
  const auto ticks = firstAudio_.load();
  if (ticks == 0)
    return std::nullopt;
  return std::chrono::steady_clock::time_point(std::chrono::steady_clock::duration(ticks));
}

void PulseAudioRecorder::onReadable(pa_stream*, std::size_t, void* self) {
  static_cast<PulseAudioRecorder*>(self)->takeReadable();
}

void PulseAudioRecorder::takeReadable() {
  // pa_stream_readable_size() is (size_t)-1 on error, and then the peek fails.
  while (pa_stream_readable_size(stream_) > 0) {
    const void* data = nullptr;
    std::size_t bytes = 0;
    if (pa_stream_peek(stream_, &data, &bytes) < 0 || bytes == 0)
      break;
    if (firstAudio_.load(std::memory_order_relaxed) == 0)
      firstAudio_.store(std::chrono::steady_clock::now().time_since_epoch().count());
    // Null data is a gap the server reports; it is kept as silence so the timing stays true.
    file_.append(data, bytes);
    pa_stream_drop(stream_);
  }
}

void PulseAudioRecorder::releaseStream() {
  pa_stream_set_read_callback(stream_, nullptr, nullptr);
  PulseConnection::release(stream_);
  stream_ = nullptr;
}

}  // namespace murvel::linux_platform

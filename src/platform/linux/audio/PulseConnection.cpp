#include "platform/linux/audio/PulseConnection.h"

#include <pulse/rtclock.h>

#include <utility>

namespace murvel::linux_platform {

namespace {

struct Expiry {
  pa_threaded_mainloop* loop;
  bool expired = false;
};

void onExpiry(pa_mainloop_api*, pa_time_event*, const struct timeval*, void* data) {
  auto* expiry = static_cast<Expiry*>(data);
  expiry->expired = true;
  pa_threaded_mainloop_signal(expiry->loop, 0);
}

bool isSettled(pa_context_state_t state) {
  return state == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state);
}

}  // namespace

PulseConnection::PulseConnection(std::string applicationName)
    : applicationName_(std::move(applicationName)), loop_(pa_threaded_mainloop_new()) {
  if (loop_ == nullptr)
    return;
  pa_threaded_mainloop_set_name(loop_, "murvel-pulse");
  if (pa_threaded_mainloop_start(loop_) < 0) {
    pa_threaded_mainloop_free(loop_);
    loop_ = nullptr;
    return;
  }
  Lock lock(*this);
  startConnecting();
}

PulseConnection::~PulseConnection() {
  if (loop_ == nullptr)
    return;
  {
    Lock lock(*this);
    dropContext();
  }
  pa_threaded_mainloop_stop(loop_);
  pa_threaded_mainloop_free(loop_);
}

PulseConnection::Lock::Lock(PulseConnection& connection) : loop_(connection.loop_) {
  if (loop_ != nullptr)
    pa_threaded_mainloop_lock(loop_);
}

PulseConnection::Lock::~Lock() {
  if (loop_ != nullptr)
    pa_threaded_mainloop_unlock(loop_);
}

void PulseConnection::startConnecting() {
  context_ = pa_context_new(pa_threaded_mainloop_get_api(loop_), applicationName_.c_str());
  if (context_ == nullptr)
    return;
  pa_context_set_state_callback(
      context_, [](pa_context*, void* self) { static_cast<PulseConnection*>(self)->signal(); },
      this);
  // No autospawn: an absent server must be reported at once, not started behind the user's back.
  // A failure here leaves the context in the failed state, which readyContext() handles.
  pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
}

void PulseConnection::dropContext() {
  if (context_ == nullptr)
    return;
  pa_context_set_state_callback(context_, nullptr, nullptr);
  pa_context_disconnect(context_);
  // Streams made on this context hold their own reference, so they outlive this one safely.
  pa_context_unref(context_);
  context_ = nullptr;
}

pa_context* PulseConnection::readyContext(std::chrono::milliseconds timeout) {
  if (loop_ == nullptr)
    return nullptr;
  if (context_ != nullptr && pa_context_get_state(context_) == PA_CONTEXT_READY)
    return context_;
  if (context_ == nullptr || !PA_CONTEXT_IS_GOOD(pa_context_get_state(context_))) {
    dropContext();
    startConnecting();
    if (context_ == nullptr)
      return nullptr;
  }
  waitUntil([this] { return isSettled(pa_context_get_state(context_)); }, deadlineAfter(timeout));
  if (pa_context_get_state(context_) == PA_CONTEXT_READY)
    return context_;
  // A server that accepts the socket and never answers is as good as none; the next call starts
  // afresh.
  dropContext();
  return nullptr;
}

bool PulseConnection::waitUntil(const std::function<bool()>& done, pa_usec_t deadline) {
  if (done())
    return true;
  Expiry expiry{loop_};
  pa_time_event* timer = nullptr;
  pa_mainloop_api* api = pa_threaded_mainloop_get_api(loop_);
  if (context_ != nullptr) {
    timer = pa_context_rttime_new(context_, deadline, onExpiry, &expiry);
  } else {
    const pa_usec_t now = pa_rtclock_now();
    struct timeval when;
    pa_timeval_add(pa_gettimeofday(&when), deadline > now ? deadline - now : 0);
    timer = api->time_new(api, &when, onExpiry, &expiry);
  }
  while (!done() && !expiry.expired) pa_threaded_mainloop_wait(loop_);
  if (timer != nullptr)
    api->time_free(timer);
  return done();
}

bool PulseConnection::finish(pa_operation* operation, pa_usec_t deadline) {
  if (operation == nullptr)
    return false;
  pa_operation_set_state_callback(
      operation, [](pa_operation*, void* self) { static_cast<PulseConnection*>(self)->signal(); },
      this);
  const bool completed = waitUntil(
      [operation] { return pa_operation_get_state(operation) != PA_OPERATION_RUNNING; }, deadline);
  if (pa_operation_get_state(operation) == PA_OPERATION_RUNNING)
    pa_operation_cancel(operation);
  const bool done = completed && pa_operation_get_state(operation) == PA_OPERATION_DONE;
  pa_operation_unref(operation);
  return done;
}

void PulseConnection::signal() {
  if (loop_ != nullptr)
    pa_threaded_mainloop_signal(loop_, 0);
}

PulseConnection::SourceState PulseConnection::defaultSourceState(
    std::chrono::milliseconds timeout) {
  const pa_usec_t deadline = deadlineAfter(timeout);
  Lock lock(*this);
  pa_context* context = readyContext(timeout);
  if (context == nullptr)
    return SourceState::noServer;

  bool found = false;
  // The server resolves the default source by this name, in one round trip.
  pa_operation* operation = pa_context_get_source_info_by_name(
      context, "@DEFAULT_SOURCE@",
      [](pa_context*, const pa_source_info* info, int, void* found) {
        if (info != nullptr)
          *static_cast<bool*>(found) = true;
      },
      &found);
  if (!finish(operation, deadline))
    return SourceState::noServer;
  return found ? SourceState::available : SourceState::noSource;
}

void PulseConnection::release(pa_stream* stream) {
  if (pa_stream_get_state(stream) == PA_STREAM_READY) {
    pa_stream_disconnect(stream);
  } else if (pa_stream_get_state(stream) == PA_STREAM_CREATING) {
    // The context keeps its own reference until the stream ends, so it outlives ours.
    pa_stream_set_state_callback(
        stream,
        [](pa_stream* made, void*) {
          if (pa_stream_get_state(made) == PA_STREAM_READY)
            pa_stream_disconnect(made);
        },
        nullptr);
  }
  pa_stream_unref(stream);
}

pa_usec_t PulseConnection::deadlineAfter(std::chrono::milliseconds timeout) {
  return pa_rtclock_now() +
         static_cast<pa_usec_t>(
             std::chrono::duration_cast<std::chrono::microseconds>(timeout).count());
}

}  // namespace murvel::linux_platform

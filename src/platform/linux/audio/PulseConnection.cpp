#include "platform/linux/audio/PulseConnection.h"

#include <pulse/rtclock.h>
#include <sys/eventfd.h>
#include <unistd.h>

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

// The server's own changes include its default source; a source's, its coming and going.
constexpr auto followedChanges =
    static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SOURCE);

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
  wakeFd_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (wakeFd_ >= 0) {
    pa_mainloop_api* api = pa_threaded_mainloop_get_api(loop_);
    wake_ = api->io_new(api, wakeFd_, PA_IO_EVENT_INPUT, onWake, this);
  }
  startConnecting();
}

PulseConnection::~PulseConnection() {
  if (loop_ == nullptr)
    return;
  {
    Lock lock(*this);
    if (wake_ != nullptr) {
      pa_mainloop_api* api = pa_threaded_mainloop_get_api(loop_);
      api->io_free(wake_);
    }
    dropContext();
  }
  pa_threaded_mainloop_stop(loop_);
  pa_threaded_mainloop_free(loop_);
  if (wakeFd_ >= 0)
    ::close(wakeFd_);
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
  watched_.store(Watch::connecting);
  pa_context_set_state_callback(context_, onContextState, this);
  // No autospawn: an absent server must be reported at once, not started behind the user's back.
  // A failure here leaves the context in the failed state, which readyContext() handles.
  if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
    watched_.store(Watch::down);
}

void PulseConnection::dropContext() {
  watched_.store(Watch::down);
  if (context_ == nullptr)
    return;
  pa_context_set_state_callback(context_, nullptr, nullptr);
  pa_context_set_subscribe_callback(context_, nullptr, nullptr);
  // Queries still under way are cancelled with the connection, so their answers never arrive.
  pa_context_disconnect(context_);
  // Streams made on this context hold their own reference, so they outlive this one safely.
  pa_context_unref(context_);
  context_ = nullptr;
}

void PulseConnection::onContextState(pa_context* context, void* self) {
  auto& connection = *static_cast<PulseConnection*>(self);
  switch (pa_context_get_state(context)) {
    case PA_CONTEXT_READY:
      connection.watched_.store(Watch::unanswered);
      pa_context_set_subscribe_callback(context, onServerEvent, self);
      if (pa_operation* subscribed =
              pa_context_subscribe(context, followedChanges, nullptr, nullptr))
        pa_operation_unref(subscribed);
      connection.askForDefaultSource(context);
      break;
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED:
      // A server that was there and went away may be back at once (a restart, or a socket that
      // starts it on demand): one attempt right away. An attempt that fails makes no other; the
      // next use or status question asks again.
      if (connection.watched_.exchange(Watch::down) >= Watch::unanswered) {
        connection.dropContext();
        connection.startConnecting();
      }
      break;
    default:
      break;
  }
  connection.signal();
}

void PulseConnection::askForDefaultSource(pa_context* context) {
  // The server resolves the default source by this name, in one round trip. Answers come in the
  // order asked, so the last one to arrive is the newest.
  if (pa_operation* asked =
          pa_context_get_source_info_by_name(context, "@DEFAULT_SOURCE@", onDefaultSource, this))
    pa_operation_unref(asked);
}

void PulseConnection::onServerEvent(pa_context* context, pa_subscription_event_type_t event,
                                    std::uint32_t, void* self) {
  // A source's own changes (volume, running or idle) happen at every recording and leave the
  // default as it is; sources coming and going, and the server's default, are what count.
  if ((event & PA_SUBSCRIPTION_EVENT_FACILITY_MASK) == PA_SUBSCRIPTION_EVENT_SOURCE &&
      (event & PA_SUBSCRIPTION_EVENT_TYPE_MASK) == PA_SUBSCRIPTION_EVENT_CHANGE)
    return;
  static_cast<PulseConnection*>(self)->askForDefaultSource(context);
}

void PulseConnection::onDefaultSource(pa_context* context, const pa_source_info* info, int last,
                                      void* self) {
  auto& connection = *static_cast<PulseConnection*>(self);
  if (context != connection.context_)
    return;
  if (info != nullptr)
    connection.watched_.store(Watch::available);
  else if (last < 0)  // the name resolves to nothing: the server has no source at all
    connection.watched_.store(Watch::noSource);
}

void PulseConnection::onWake(pa_mainloop_api*, pa_io_event*, int fd, pa_io_event_flags_t,
                             void* self) {
  std::uint64_t count = 0;
  if (::read(fd, &count, sizeof(count)) < 0)
    return;
  auto& connection = *static_cast<PulseConnection*>(self);
  if (connection.context_ == nullptr ||
      !PA_CONTEXT_IS_GOOD(pa_context_get_state(connection.context_))) {
    connection.dropContext();
    connection.startConnecting();
  }
}

void PulseConnection::wakeEventThread() {
  if (wakeFd_ < 0)
    return;
  const std::uint64_t one = 1;
  // Cannot block: the counter would have to reach its maximum first.
  [[maybe_unused]] const auto written = ::write(wakeFd_, &one, sizeof(one));
}

PulseConnection::SourceState PulseConnection::knownSourceState() {
  switch (watched_.load()) {
    case Watch::unanswered:
    case Watch::available:
      return SourceState::available;
    case Watch::noSource:
      return SourceState::noSource;
    case Watch::connecting:
      return SourceState::noServer;
    case Watch::down:
      break;
  }
  wakeEventThread();
  return SourceState::noServer;
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

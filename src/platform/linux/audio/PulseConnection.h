#pragma once

#include <pulse/pulseaudio.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace murvel::linux_platform {

// One connection to the sound server with its own event thread, shared by the recorder, the
// microphone status and the sounds, so that none of them pays for connecting when it is used.
// It starts connecting when made and connects again on demand after the server went away.
//
// The event thread also follows the server's sources and default source, so that whether there
// is a microphone can be answered at once, without a round trip (knownSourceState).
//
// Every call on the context or its streams needs the event thread's lock (Lock), and every
// libpulse callback runs on the event thread with that lock held.
class PulseConnection {
 public:
  explicit PulseConnection(std::string applicationName = "Murvel");
  ~PulseConnection();

  PulseConnection(const PulseConnection&) = delete;
  PulseConnection& operator=(const PulseConnection&) = delete;

  class Lock {
   public:
    explicit Lock(PulseConnection& connection);
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    pa_threaded_mainloop* loop_;
  };

  enum class SourceState { available, noSource, noServer };

  // With the lock held: the connected context, connecting first when there is none and waiting
  // at most `timeout` for it; null when no server answered in time.
  pa_context* readyContext(std::chrono::milliseconds timeout);

  // With the lock held: waits until `done()` holds or the monotonic time `deadline` (libpulse
  // microseconds) has passed. Callbacks that change what `done` reads call signal(). False on
  // timeout.
  bool waitUntil(const std::function<bool()>& done, pa_usec_t deadline);

  // With the lock held: waits for `operation` to complete, at most until `deadline`, and
  // releases it. An operation still running then is cancelled, so its callback never runs.
  // True when it completed; a null operation (the request could not be sent) is false.
  bool finish(pa_operation* operation, pa_usec_t deadline);

  // Wakes every waiter. Called from callbacks on the event thread.
  void signal();

  // Whether a server answers and has a default capture source. Takes the lock itself and
  // answers within about `timeout`.
  SourceState defaultSourceState(std::chrono::milliseconds timeout);

  // The same question answered at once from what the event thread last heard, without the lock
  // and without a round trip; any thread. The event thread refreshes it when it connects and on
  // every change the server reports to its sources or its default source. Between connecting and
  // the server's first answer about its sources (a millisecond on a local server) a connected
  // server counts as having a source: the recorder still asks before it records. While no
  // connection is up or being made this is noServer, and the event thread is asked to connect
  // again without waiting for it, so that a server that came back is seen shortly after.
  SourceState knownSourceState();

  static pa_usec_t deadlineAfter(std::chrono::milliseconds timeout);

  // With the lock held: lets go of a stream whose callbacks were cleared. It is disconnected now,
  // or, if the server is still making it, as soon as it is made: a stream dropped while being
  // made would otherwise come to life on the server and stay there.
  static void release(pa_stream* stream);

 private:
  // What the event thread knows of the server, in the order a connection goes through: from
  // `unanswered` on, the connection is up.
  enum class Watch : std::uint8_t { down, connecting, unanswered, available, noSource };

  void startConnecting();
  void dropContext();
  void askForDefaultSource(pa_context* context);
  void wakeEventThread();

  static void onContextState(pa_context* context, void* self);
  static void onServerEvent(pa_context* context, pa_subscription_event_type_t event, std::uint32_t,
                            void* self);
  static void onDefaultSource(pa_context* context, const pa_source_info* info, int last,
                              void* self);
  static void onWake(pa_mainloop_api*, pa_io_event*, int fd, pa_io_event_flags_t, void* self);

  std::string applicationName_;
  pa_threaded_mainloop* loop_ = nullptr;
  pa_context* context_ = nullptr;
  std::atomic<Watch> watched_{Watch::down};
  // Written by any thread to have the event thread connect again; read there.
  int wakeFd_ = -1;
  pa_io_event* wake_ = nullptr;
};

}  // namespace murvel::linux_platform

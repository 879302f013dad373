#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "NetTestSupport.h"
#include "RawHttpServer.h"

namespace murvel::test {
namespace {

using linux_platform::UrlErrorCode;
using SessionTest = NetTest;

TEST_F(SessionTest, WarmUpLeavesTheConnectionThatTheUploadUses) {
  RawHttpServer server({.body = R"({"text":"warm"})"});
  const std::filesystem::path file = writeFile("recording.wav", patternBytes(64 * 1024));

  const Outcome health =
      log.run(session->dataTask(makeRequest(server.url("/api/health"), "HEAD"), log.record()));
  const Outcome upload = log.run(session->uploadTask(
      makeRequest(server.url("/api/transcribe"), "POST", {{"Content-Type", "audio/wav"}}), file,
      log.record()));

  EXPECT_FALSE(health.error);
  // A HEAD reply has no body, and the completion still gets data: an empty one.
  EXPECT_EQ(health.data, "");
  EXPECT_FALSE(upload.error);
  EXPECT_EQ(upload.data, R"({"text":"warm"})");
  ASSERT_EQ(server.requests().size(), 2u);
  EXPECT_EQ(server.acceptedConnections(), 1);
}

TEST_F(SessionTest, ConcurrentTasksShareTwoConnectionsAndCompleteOnceOnTheSessionsThread) {
  // Each reply takes a while, so that requests pile up behind the two connections.
  RawHttpServer server({.delay = std::chrono::milliseconds(60)});
  constexpr int kThreads = 3;
  constexpr int kTasksEach = 4;
  constexpr int kTasks = kThreads * kTasksEach;

  std::vector<std::thread> callers;
  for (int t = 0; t < kThreads; ++t) {
    callers.emplace_back([&, t] {
      for (int i = t * kTasksEach; i < (t + 1) * kTasksEach; ++i)
        session->dataTask(makeRequest(server.url("/api/cleanup"), "POST", {}, "{}"), log.record(i))
            ->resume();
    });
  }
  for (std::thread& caller : callers) caller.join();
  ASSERT_EQ(log.waitFor(kTasks).size(), static_cast<size_t>(kTasks));
  // Once the session is gone its thread has ended: nothing can come later.
  session.reset();

  const std::vector<Outcome> outcomes = log.outcomes();
  std::set<int> tags;
  for (const Outcome& outcome : outcomes) {
    EXPECT_FALSE(outcome.error) << outcome.error->localizedDescription;
    EXPECT_EQ(outcome.data, "{}");
    EXPECT_EQ(outcome.thread, outcomes[0].thread);
    tags.insert(outcome.tag);
  }
  EXPECT_NE(outcomes[0].thread, std::this_thread::get_id());
  EXPECT_EQ(outcomes.size(), size_t(kTasks));
  EXPECT_EQ(tags.size(), size_t(kTasks)) << "every task completes exactly once";
  EXPECT_EQ(server.mostOpenAtOnce(), 2);
  EXPECT_EQ(server.acceptedConnections(), 2);
}

TEST_F(SessionTest, DestroyingTheSessionEndsTasksInFlightWithAnError) {
  RawHttpServer server({.reply = RawHttpServer::Reply::never});
  // Two tasks on the wire and one waiting for a connection.
  for (int i = 0; i < 3; ++i)
    session->dataTask(makeRequest(server.url("/api/health"), "HEAD"), log.record())->resume();
  const std::shared_ptr<UrlSessionTask> late =
      session->dataTask(makeRequest(server.url("/api/health"), "HEAD"), log.record());
  ASSERT_TRUE(server.waitForRequests(2));
  session.reset();

  // The destructor waited for the thread, so every completion has run by now.
  ASSERT_EQ(log.outcomes().size(), 3u);
  // A task resumed after its session ended completes at once.
  late->resume();
  const std::vector<Outcome> outcomes = log.outcomes();
  ASSERT_EQ(outcomes.size(), 4u);
  for (const Outcome& outcome : outcomes)
    expectError(outcome, UrlErrorCode::cancelled, "The request was cancelled.");
}

TEST_F(SessionTest, ACompletionThatThrowsLeavesTheSessionWorking) {
  RawHttpServer server;
  const auto careless = log.record(0, [] { throw std::runtime_error("a careless handler"); });
  log.run(session->dataTask(makeRequest(server.url("/api/health"), "HEAD"), careless));
  EXPECT_FALSE(
      log.run(session->dataTask(makeRequest(server.url("/api/health"), "HEAD"), log.record()))
          .error);
}

TEST_F(SessionTest, TheLastReferenceMayGoInsideACompletion) {
  RawHttpServer server;
  const std::weak_ptr<UrlSession> watcher = session;
  auto held = std::make_shared<std::shared_ptr<UrlSession>>(std::exchange(session, nullptr));
  const auto release = log.record(0, [held] { held->reset(); });

  EXPECT_FALSE(
      log.run((*held)->dataTask(makeRequest(server.url("/api/health"), "HEAD"), release)).error);
  EXPECT_TRUE(watcher.expired());
}

TEST_F(SessionTest, TheSharedSessionIsOneForTheProcess) {
  linux_platform::CurlUrlSessions second;
  const std::shared_ptr<UrlSession> shared = sessions.sharedSession();
  EXPECT_EQ(shared, second.sharedSession());
  EXPECT_NE(shared, session);
  RawHttpServer server;
  EXPECT_EQ(log.run(shared->dataTask(makeRequest(server.url("/"), "GET"), log.record())).data,
            "{}");
}

}  // namespace
}  // namespace murvel::test

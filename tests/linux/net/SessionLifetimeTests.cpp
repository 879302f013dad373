#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "NetTestSupport.h"
#include "RawHttpServer.h"
#include "platform/linux/net/CurlUrlSessions.h"
#include "platform/linux/net/UrlErrors.h"

namespace murvel::test {
namespace {

using linux_platform::CurlUrlSessions;
using linux_platform::UrlErrorCode;

TEST(SessionLifetimeTest, EachCompletionRunsOnceOnTheSessionsThread) {
  CompletionLog log;
  RawHttpServer server;
  CurlUrlSessions sessions;
  std::shared_ptr<UrlSession> session = sessions.sessionWithConfiguration({});
  constexpr int kTasks = 8;
  std::vector<std::atomic<int>> calls(kTasks);

  std::vector<std::thread> callers;
  for (int half = 0; half < 2; ++half) {
    callers.emplace_back([&, half] {
      for (int i = half; i < kTasks; i += 2) {
        const TaskCompletion record = log.record();
        session
            ->dataTask(makeRequest(server.url("/api/account/info"), "GET"),
                       [&, i, record](auto data, auto response, auto error) {
                         ++calls[i];
                         record(std::move(data), std::move(response), std::move(error));
                       })
            ->resume();
      }
    });
  }
  for (std::thread& caller : callers) caller.join();
  ASSERT_EQ(log.waitFor(kTasks).size(), static_cast<size_t>(kTasks));
  // Once the session is gone its thread has ended: nothing can come later.
  session.reset();

  const std::vector<Outcome> outcomes = log.outcomes();
  ASSERT_EQ(outcomes.size(), static_cast<size_t>(kTasks));
  for (int i = 0; i < kTasks; ++i) EXPECT_EQ(calls[i], 1) << "task " << i;
  for (const Outcome& outcome : outcomes) {
    EXPECT_FALSE(outcome.error);
    EXPECT_EQ(outcome.thread, outcomes[0].thread);
  }
  EXPECT_NE(outcomes[0].thread, std::this_thread::get_id());
  for (const std::thread& caller : callers) EXPECT_NE(outcomes[0].thread, caller.get_id());
}

TEST(SessionLifetimeTest, ACompletionThatThrowsLeavesTheSessionWorking) {
  CompletionLog log;
  RawHttpServer server;
  CurlUrlSessions sessions;
  const auto session = sessions.sessionWithConfiguration({});
  const TaskCompletion record = log.record();

  session
      ->dataTask(makeRequest(server.url("/api/health"), "HEAD"),
                 [record](auto data, auto response, auto error) {
                   record(std::move(data), std::move(response), std::move(error));
                   throw std::runtime_error("a careless handler");
                 })
      ->resume();
  ASSERT_EQ(log.waitFor(1).size(), 1u);
  session->dataTask(makeRequest(server.url("/api/health"), "HEAD"), log.record())->resume();
  const std::vector<Outcome> outcomes = log.waitFor(2);

  ASSERT_EQ(outcomes.size(), 2u);
  EXPECT_FALSE(outcomes[1].error);
}

TEST(SessionLifetimeTest, DestroyingTheSessionEndsTasksInFlightWithAnError) {
  CompletionLog log;
  RawHttpServer server({.reply = RawHttpServer::Reply::never});
  CurlUrlSessions sessions;
  UrlSessionConfiguration configuration;
  configuration.httpMaximumConnectionsPerHost = 2;
  std::shared_ptr<UrlSession> session = sessions.sessionWithConfiguration(configuration);

  // Two tasks on the wire and one waiting for a connection.
  for (int i = 0; i < 3; ++i)
    session->dataTask(makeRequest(server.url("/api/health"), "HEAD"), log.record())->resume();
  const std::shared_ptr<UrlSessionTask> late =
      session->dataTask(makeRequest(server.url("/api/health"), "HEAD"), log.record());
  ASSERT_TRUE(server.waitForRequests(2));
  session.reset();

  // The destructor waited for the thread, so every completion has run by now.
  std::vector<Outcome> outcomes = log.outcomes();
  ASSERT_EQ(outcomes.size(), 3u);
  // A task resumed after its session ended completes at once.
  late->resume();
  outcomes = log.outcomes();
  ASSERT_EQ(outcomes.size(), 4u);
  for (const Outcome& outcome : outcomes) {
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->code, static_cast<long>(UrlErrorCode::cancelled));
    EXPECT_EQ(outcome.error->localizedDescription, "The request was cancelled.");
  }
}

TEST(SessionLifetimeTest, TheLastReferenceMayGoInsideACompletion) {
  CompletionLog log;
  // Holds the session inside the completion and tells when it let go of it.
  struct Holder {
    std::shared_ptr<UrlSession> session;
    std::promise<void> released;
    ~Holder() {
      session.reset();
      released.set_value();
    }
  };
  RawHttpServer server;
  CurlUrlSessions sessions;
  auto holder = std::make_shared<Holder>();
  holder->session = sessions.sessionWithConfiguration({});
  const std::weak_ptr<UrlSession> watcher = holder->session;
  std::future<void> released = holder->released.get_future();
  const TaskCompletion record = log.record();

  holder->session
      ->dataTask(makeRequest(server.url("/api/health"), "HEAD"),
                 [record, holder](auto data, auto response, auto error) {
                   record(std::move(data), std::move(response), std::move(error));
                 })
      ->resume();
  holder.reset();
  const std::vector<Outcome> outcomes = log.waitFor(1);

  ASSERT_EQ(outcomes.size(), 1u);
  EXPECT_FALSE(outcomes[0].error);
  ASSERT_EQ(released.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_TRUE(watcher.expired());
}

TEST(SessionLifetimeTest, TheSharedSessionIsOneForTheProcess) {
  CompletionLog log;
  RawHttpServer server;
  CurlUrlSessions first;
  CurlUrlSessions second;
  const std::shared_ptr<UrlSession> shared = first.sharedSession();

  EXPECT_EQ(shared, first.sharedSession());
  EXPECT_EQ(shared, second.sharedSession());
  EXPECT_NE(shared, first.sessionWithConfiguration({}));
  shared->dataTask(makeRequest(server.url("/api/account/info"), "GET"), log.record())->resume();
  const std::vector<Outcome> outcomes = log.waitFor(1);
  ASSERT_EQ(outcomes.size(), 1u);
  EXPECT_EQ(outcomes[0].data, "{}");
}

}  // namespace
}  // namespace murvel::test

#include "fakes/FakeNetwork.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace murvel::testing {

namespace {

class FakeTask final : public UrlSessionTask {
 public:
  explicit FakeTask(std::shared_ptr<FakeUrlSessions::Task> task) : task_(std::move(task)) {}
  void resume() override { task_->resumed = true; }

 private:
  std::shared_ptr<FakeUrlSessions::Task> task_;
};

class FakeSession final : public UrlSession {
 public:
  FakeSession(FakeUrlSessions& owner, const UrlSessionConfiguration* configuration)
      : owner_(owner), configuration_(configuration) {}

  std::shared_ptr<UrlSessionTask> dataTask(UrlRequest request, TaskCompletion completion) override {
    return add(std::move(request), std::nullopt, std::move(completion));
  }
  std::shared_ptr<UrlSessionTask> uploadTask(UrlRequest request, std::filesystem::path fromFile,
                                             TaskCompletion completion) override {
    return add(std::move(request), std::move(fromFile), std::move(completion));
  }

 private:
  std::shared_ptr<UrlSessionTask> add(UrlRequest request, std::optional<std::filesystem::path> file,
                                      TaskCompletion completion) {
    auto task = std::make_shared<FakeUrlSessions::Task>();
    task->request = std::move(request);
    task->uploadFile = std::move(file);
    task->completion = std::move(completion);
    task->session = configuration_;
    if (owner_.journal)
      owner_.journal->push_back(task->request.httpMethod + " " + task->request.url);
    owner_.tasks.push_back(task);
    return std::make_shared<FakeTask>(task);
  }

  FakeUrlSessions& owner_;
  const UrlSessionConfiguration* configuration_;
};

}  // namespace

std::shared_ptr<UrlSession> FakeUrlSessions::sessionWithConfiguration(
    const UrlSessionConfiguration& configuration) {
  configurations.push_back(configuration);
  // Tasks point at their session's configuration, kept here for the life of the fake.
  kept_.push_back(std::make_shared<UrlSessionConfiguration>(configuration));
  return std::make_shared<FakeSession>(*this, kept_.back().get());
}

std::shared_ptr<UrlSession> FakeUrlSessions::sharedSession() {
  if (!shared_)
    shared_ = std::make_shared<FakeSession>(*this, nullptr);
  return shared_;
}

std::vector<std::shared_ptr<FakeUrlSessions::Task>> FakeUrlSessions::tasksFor(
    std::string_view suffix) const {
  std::vector<std::shared_ptr<Task>> found;
  for (const auto& task : tasks) {
    if (task->resumed && task->request.url.ends_with(suffix))
      found.push_back(task);
  }
  return found;
}

TaskCompletion FakeUrlSessions::takeOldest(std::string_view suffix) {
  for (auto& task : tasksFor(suffix)) {
    if (task->completion)
      return std::exchange(task->completion, nullptr);
  }
  ADD_FAILURE() << "no request on " << suffix << " is waiting for a reply";
  return [](auto&&...) {
  };
}

void FakeUrlSessions::reply(std::string_view suffix, std::optional<std::string> body, long status) {
  const auto response = body ? std::optional(HttpResponse{status, {}}) : std::nullopt;
  takeOldest(suffix)(std::move(body), response, std::nullopt);
}

void FakeUrlSessions::fail(std::string_view suffix, PlatformError error) {
  takeOldest(suffix)(std::nullopt, std::nullopt, std::move(error));
}

}  // namespace murvel::testing

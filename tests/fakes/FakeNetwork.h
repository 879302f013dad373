#pragma once

#include <memory>
#include <vector>

#include "platform/UrlSession.h"

namespace murvel::testing {

// Sessions that keep every task they are given; the test completes them by hand.
class FakeUrlSessions final : public UrlSessions {
 public:
  struct Task {
    UrlRequest request;
    std::optional<std::filesystem::path> uploadFile;
    TaskCompletion completion;
    const UrlSessionConfiguration* session = nullptr;  // null: the shared session
    bool resumed = false;
  };

  std::shared_ptr<UrlSession> sessionWithConfiguration(
      const UrlSessionConfiguration& configuration) override;
  std::shared_ptr<UrlSession> sharedSession() override;

  // The resumed tasks whose URL ends with `suffix`, oldest first.
  std::vector<std::shared_ptr<Task>> tasksFor(std::string_view suffix) const;
  // Completes the oldest uncompleted resumed task for `suffix` with a body; with none, with
  // neither data nor an error.
  void reply(std::string_view suffix, std::optional<std::string> body, long status = 200);
  void fail(std::string_view suffix, PlatformError error);

  std::vector<UrlSessionConfiguration> configurations;
  std::vector<std::shared_ptr<Task>> tasks;
  std::vector<std::string>* journal = nullptr;  // gets "<method> <url>" for each task made

 private:
  // The completion of the oldest resumed task on `suffix` not yet completed, taken from it.
  TaskCompletion takeOldest(std::string_view suffix);
  std::shared_ptr<UrlSession> shared_;
  std::vector<std::shared_ptr<UrlSessionConfiguration>> kept_;
};

}  // namespace murvel::testing

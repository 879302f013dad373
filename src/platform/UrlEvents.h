#pragma once

#include <functional>
#include <optional>
#include <string>

namespace murvel {

// A request from the desktop to open a URL with this application.
struct UrlEvent {
  // The text of the event's direct object, when it has one.
  std::optional<std::string> directObjectString;
};

class UrlEvents {
 public:
  virtual ~UrlEvents() = default;
  // Routes URL-open events to `handler` on the main thread from now on, including the one that
  // started the application.
  virtual void setEventHandler(std::function<void(const UrlEvent&)> handler) = 0;
};

}  // namespace murvel

#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/UrlEvents.h"

class QObject;

namespace murvel::linux_platform {

class SingleInstance;

// URL events are the murvel: URLs of this process's command line and those that later
// processes hand over. They wait until a handler is set, then reach it on the main thread, on a
// later turn of its event loop.
class LinuxUrlEvents final : public UrlEvents {
 public:
  // Takes over the URL delivery of `instance`, which must outlive this object.
  explicit LinuxUrlEvents(SingleInstance& instance);
  ~LinuxUrlEvents() override;

  void setEventHandler(std::function<void(const UrlEvent&)> handler) override;

 private:
  void enqueue(std::string url);
  void scheduleDelivery();
  void deliver();

  SingleInstance& instance_;
  std::unique_ptr<QObject> context_;
  std::function<void(const UrlEvent&)> handler_;
  std::vector<std::string> pending_;
  bool deliveryScheduled_ = false;
};

}  // namespace murvel::linux_platform

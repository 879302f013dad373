#include "platform/linux/desktop/LinuxUrlEvents.h"

#include <QObject>

#include "platform/linux/desktop/SingleInstance.h"

namespace murvel::linux_platform {

namespace {

// What waits for a handler is bounded: other processes send the URLs.
constexpr std::size_t maxPendingUrls = 16;

}  // namespace

LinuxUrlEvents::LinuxUrlEvents(SingleInstance& instance)
    : instance_(instance), context_(std::make_unique<QObject>()) {
  pending_ = instance_.launchUrls();
  instance_.setUrlReceiver([this](const std::string& url) { enqueue(url); });
}

LinuxUrlEvents::~LinuxUrlEvents() {
  instance_.setUrlReceiver({});
}

void LinuxUrlEvents::setEventHandler(std::function<void(const UrlEvent&)> handler) {
  handler_ = std::move(handler);
  scheduleDelivery();
}

void LinuxUrlEvents::enqueue(std::string url) {
  if (!handler_ && pending_.size() >= maxPendingUrls)
    return;
  pending_.push_back(std::move(url));
  scheduleDelivery();
}

void LinuxUrlEvents::scheduleDelivery() {
  if (!handler_ || pending_.empty() || deliveryScheduled_)
    return;
  deliveryScheduled_ = true;
  // Never from inside setEventHandler or the socket's reading: the handler runs on a turn of
  // its own, as a URL event does. The context drops the call if this object is gone by then.
  QMetaObject::invokeMethod(
      context_.get(), [this] { deliver(); }, Qt::QueuedConnection);
}

void LinuxUrlEvents::deliver() {
  deliveryScheduled_ = false;
  if (!handler_)
    return;
  auto urls = std::move(pending_);
  pending_.clear();
  // A copy, so that a handler which replaces itself doesn't end its own call.
  auto handler = handler_;
  for (auto& url : urls) handler(UrlEvent{std::move(url)});
}

}  // namespace murvel::linux_platform

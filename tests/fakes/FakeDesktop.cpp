#include "fakes/FakeDesktop.h"

namespace murvel::testing {

long FakeAlerts::runModal(const Alert& alert) {
  shown.push_back(alert);
  if (answers.empty()) {
    return alertFirstButtonReturn + static_cast<long>(alert.buttonTitles.size()) - 1;
  }
  const long answer = answers.front();
  answers.pop_front();
  return answer;
}

std::optional<MonitorToken> FakeEventMonitors::addLocalMonitor(
    std::uint64_t mask, std::function<std::optional<KeyEvent>(const KeyEvent&)> handler) {
  local_[next_] = {mask, std::move(handler)};
  return next_++;
}

std::optional<MonitorToken> FakeEventMonitors::addGlobalMonitor(
    std::uint64_t mask, std::function<void(const KeyEvent&)> handler) {
  global_[next_] = {mask, std::move(handler)};
  return next_++;
}

void FakeEventMonitors::removeMonitor(MonitorToken token) {
  local_.erase(token);
  global_.erase(token);
}

std::optional<KeyEvent> FakeEventMonitors::sendLocal(const KeyEvent& event) {
  // A copy, since a handler may add or remove monitors while it runs.
  const auto handlers = local_;
  std::optional<KeyEvent> current = event;
  for (const auto& [token, local] : handlers) {
    if (!current)
      break;
    if (local_.count(token) == 0 || (local.mask & (1ull << event.type)) == 0)
      continue;
    current = local.handler(*current);
  }
  return current;
}

void FakeEventMonitors::sendGlobal(const KeyEvent& event) {
  const auto handlers = global_;
  for (const auto& [token, global] : handlers) {
    if (global_.count(token) == 0 || (global.mask & (1ull << event.type)) == 0)
      continue;
    global.handler(event);
  }
}

std::vector<std::uint64_t> FakeEventMonitors::localMasks() const {
  std::vector<std::uint64_t> masks;
  for (const auto& [token, local] : local_) masks.push_back(local.mask);
  return masks;
}

}  // namespace murvel::testing

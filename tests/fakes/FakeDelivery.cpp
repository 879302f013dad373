#include "fakes/FakeDelivery.h"

namespace murvel::testing {

void FakePasteboard::clearContents() {
  operations.push_back("clear");
  content.reset();
}

bool FakePasteboard::setString(const std::string& text, std::string_view type) {
  operations.push_back("set:" + std::string(type) + ":" + text);
  if (type == pasteboardTypeString)
    content = text;
  return true;
}

std::optional<std::string> FakePasteboard::stringForType(std::string_view type) {
  if (type != pasteboardTypeString)
    return std::nullopt;
  return content;
}

std::shared_ptr<EventSource> FakeKeyEventPoster::eventSourceCreate(std::int32_t) {
  return std::make_shared<EventSource>();
}

std::optional<KeyboardEvent> FakeKeyEventPoster::keyboardEventCreate(const EventSource* source,
                                                                     std::uint16_t virtualKey,
                                                                     bool keyDown) {
  if (source == nullptr)
    return std::nullopt;
  return KeyboardEvent{virtualKey, keyDown, 0};
}

void FakeKeyEventPoster::eventPost(std::int32_t tap, const KeyboardEvent& event) {
  posted.emplace_back(tap, event);
}

}  // namespace murvel::testing

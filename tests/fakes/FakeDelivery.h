#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/KeyEventPoster.h"
#include "platform/Pasteboard.h"

namespace murvel::testing {

// A pasteboard that records every operation: "clear", then "set:<type>:<text>".
class FakePasteboard final : public Pasteboard {
 public:
  void clearContents() override;
  bool setString(const std::string& text, std::string_view type) override;
  std::optional<std::string> stringForType(std::string_view type) override;

  std::vector<std::string> operations;
  std::optional<std::string> content;
};

// Records the synthetic keystrokes as they are posted, with the tap they went to.
class FakeKeyEventPoster final : public KeyEventPoster {
 public:
  std::shared_ptr<EventSource> eventSourceCreate(std::int32_t stateID) override;
  std::optional<KeyboardEvent> keyboardEventCreate(const EventSource* source,
                                                   std::uint16_t virtualKey, bool keyDown) override;
  void eventPost(std::int32_t tap, const KeyboardEvent& event) override;

  std::vector<std::pair<std::int32_t, KeyboardEvent>> posted;
};

}  // namespace murvel::testing

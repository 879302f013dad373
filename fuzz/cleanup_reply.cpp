// A transcript whose reply says nothing of cleanup is cleaned by a second request; whatever that
// request brings back, the transcript is delivered.

#include "FuzzApp.h"
#include "common/Json.h"
#include "common/Text.h"

using namespace murvel;

namespace {

// A cleanup that answers with blanks alone has succeeded and delivers the empty text; every other
// delivery holds words, the cleaned ones or the transcript.
bool replyIsBlanksOnly(const std::uint8_t* data, std::size_t size) {
  const auto reply =
      parseJSONObjectOrArray(std::string_view(reinterpret_cast<const char*>(data), size));
  if (!reply)
    return false;
  const auto text = stringMember(*reply, "text");
  return text && !text->empty() && trimmedWhitespaceAndNewlines(*text).empty();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzzing::FuzzApp f;
  f.upload("smart");
  const std::string transcript = R"({"text":"so um this is what I said"})";
  f.fake.urlSessions.reply("/transcribe", transcript);
  f.settle();
  if (f.fake.urlSessions.tasksFor("/cleanup").size() != 1)
    fuzzing::violated("no cleanup request for a reply that says nothing of cleanup");
  f.reply("/cleanup", data, size);

  if (f.shown.empty() || f.shown.back().kind != DictationState::Kind::done)
    fuzzing::violated("a transcript was lost to its cleanup");
  if (f.fake.pasteboard.content != f.shown.back().text)
    fuzzing::violated("the delivered text is not on the pasteboard");
  if (f.shown.back().text.empty() && !replyIsBlanksOnly(data, size))
    fuzzing::violated("a transcript was emptied by its cleanup");
  return 0;
}
